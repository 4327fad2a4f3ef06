// Texts of BIFF records: BIFF8 unicode strings (8-bit "compressed" or UTF-16, with
// rich-text runs and extension data) and the shared string table spread over CONTINUE
// records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zm::biff {

// Reads a BIFF8 unicode string at `pos` of data[0, size): a character count of one or
// two bytes (`wideCount`), an option byte, the optional run count and extension size,
// the characters, then the runs and extension, which are skipped. Moves `pos` past it;
// false when the record ends first (what was read stays in `out`, and `missing`, when
// given, says how many of its characters were not there).
bool ReadUnicodeString(const uint8_t* data, size_t size, size_t& pos, bool wideCount,
                       std::string& out, size_t* missing = nullptr);

// Decodes the shared string table record by record. A string cut at a record boundary
// continues in the next CONTINUE record, which starts with a new option byte for the
// rest of its characters; its runs and extension may be cut too.
class SharedStrings {
  public:
    // The SST record: the unique-string count at offset 4 sizes the table (never more
    // than the record's bytes could hold), strings from offset 8.
    void Begin(const uint8_t* data, size_t size, uint64_t bytesLeftInStream);
    void Continue(const uint8_t* data, size_t size);
    // The first record after the table's last CONTINUE: a string still owed characters
    // was cut short (its length claims more than the file holds).
    void End();
    const std::vector<std::string>& Table() const { return table; }
    // The indexes of the strings cut short, in increasing order.
    const std::vector<uint32_t>& Cut() const { return cut; }

  private:
    void Decode(const uint8_t* data, size_t size, size_t pos);

    std::vector<std::string> table;
    std::vector<uint32_t> cut;
    size_t owedChars = 0;  // characters still owed to the last string
    size_t owedSkip = 0;   // run and extension bytes still to skip
};

}  // namespace zm::biff
