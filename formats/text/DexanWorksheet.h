// The worksheet stream inside a DEXAN design file, read line by line as UTF-8.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace zm {
class CompoundStream;
class CodePageText;
}  // namespace zm

// Lines end at a line feed; a UTF-8 byte-order mark at the start is skipped. The bytes
// are UTF-8 when the encoding key says so, a Windows code page for the "windows..."
// keys, and otherwise UTF-8 when the stream's first 64 KiB are valid UTF-8 and
// windows-1252 when they are not (decided once, never per line).
class DexanWorksheet {
  public:
    DexanWorksheet(std::unique_ptr<zm::CompoundStream> stream, const std::string& encodingKey);
    ~DexanWorksheet();
    DexanWorksheet(const DexanWorksheet&) = delete;
    DexanWorksheet& operator=(const DexanWorksheet&) = delete;

    // Back to the first line; false when the stream cannot be moved.
    bool Rewind();
    // The next line without its line feed; false at the end when nothing is left.
    bool GetLine(std::string& line);
    // True when the worksheet's stream could not be read to its end.
    bool ReadFailed() const;

  private:
    // Reads more bytes after those not yet handed out; false at the end of the stream.
    bool Fill();

    std::unique_ptr<zm::CompoundStream> stream;
    std::unique_ptr<zm::CodePageText> codePage;  // null when the bytes are UTF-8
    std::vector<char> buffer;
    size_t begin = 0, end = 0;  // bytes read and not yet handed out
    bool atEnd = false;
    bool atStart = true;
};
