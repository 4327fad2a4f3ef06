// The record streams of binary workbooks (.xlsb): every part but the relationships is a
// sequence of records, each a variable-length id and size followed by its data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace zm::xlsb {

// A record as read. `data` points into the reader's buffer and stays valid until the
// next record is read.
struct Record {
    uint32_t id = 0;
    uint32_t size = 0;
    const uint8_t* data = nullptr;
};

// Reads records from a part's stream. An id is one byte, or two when the first has its
// high bit set (the second byte is taken whole). A size takes one to four bytes of seven
// bits each, low bits first, each byte but the last with its high bit set: a record holds
// up to 256 MB, and the buffer grows with what the part actually holds, never with
// what a size claims.
class RecordReader {
  public:
    explicit RecordReader(std::istream& in);

    // The next record; false at the end of the part or when it ends inside a record.
    bool ReadBiffRecord(Record& record);
    // Reads records until one with `id`; false when the part ends first.
    bool FindRecord(uint32_t id, Record& record);
    // The part ended inside a record, or its stream failed (damaged or over its limit).
    bool Damaged() const { return damaged; }
    // Reads what is left of the part without parsing it, so that all of it passes the
    // zip layer's checksum; false when the part is damaged.
    bool ReadToEnd();

  private:
    // Makes at least `count` bytes available from `next`; false when the part ends first.
    bool Have(size_t count);
    bool ReadId(uint32_t& value);
    bool ReadSize(uint32_t& value);

    std::istream& in;
    std::vector<uint8_t> buffer;
    size_t next = 0, end = 0;
    bool atEnd = false;
    bool damaged = false;
};

// Little-endian values at a byte offset of record data the caller has checked.
uint16_t U16At(const uint8_t* data, size_t offset);
uint32_t U32At(const uint8_t* data, size_t offset);
double DoubleAt(const uint8_t* data, size_t offset);

// `count` UTF-16 code units as UTF-8.
std::string GetStringDataPart(const uint8_t* data, uint32_t count);
// The string whose 32-bit character count is at `offset` of the record, characters
// following it; false when the record is too short for it. `after` gets the offset
// after the characters.
bool StringAt(const Record& record, size_t offset, std::string& out, size_t* after = nullptr);

// The text of an error cell: "#NULL!" (0x00), "#DIV/0!" (0x07), "#VALUE!" (0x0F), "#REF!"
// (0x17), "#NAME?" (0x1D), "#NUM!" (0x24), "#N/A" (0x2A), "#GETTING_DATA" (0x2B); any other
// code reads "Unknown error code".
const char* GetErrorString(uint8_t code);

}  // namespace zm::xlsb
