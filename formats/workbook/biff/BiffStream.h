// The byte source of a BIFF record stream: a plain file (BIFF2-4 worksheets and
// workbooks) or the "Workbook"/"Book" stream of a compound file, held in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zm::biff {

// Reads, seeks and tells like a file; Status is 0 while all is well. Construction
// status: 0 open, 2 a compound file without a workbook stream, 1 anything else.
class BaseStream {
  public:
    explicit BaseStream(const std::string& path);

    // Copies `count` bytes at the position; false (nothing copied) when fewer remain.
    bool Read(void* buffer, size_t count);
    // Moves to an absolute position within the stream; false past the end.
    bool Seek(uint64_t position);
    uint64_t Tell() const { return position; }
    uint64_t Size() const { return bytes.size(); }
    int Status() const { return status; }
    // Direct view of the bytes at the position, `count` long, or null.
    const uint8_t* Peek(size_t count) const;

  private:
    std::vector<uint8_t> bytes;
    uint64_t position = 0;
    int status = 0;
};

}  // namespace zm::biff
