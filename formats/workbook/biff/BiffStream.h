// The byte source of a BIFF record stream: a plain file (BIFF2-4 worksheets and
// workbooks) or the "Workbook"/"Book" stream of a compound file, read in place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace zm {
class CompoundFile;
class CompoundStream;
}  // namespace zm

namespace zm::biff {

// Reads, seeks and tells like a file; Status is 0 while all is well. Construction
// status: 0 open, 2 a compound file without a workbook stream, 1 anything else.
class BaseStream {
  public:
    explicit BaseStream(const std::string& path);
    ~BaseStream();
    BaseStream(const BaseStream&) = delete;
    BaseStream& operator=(const BaseStream&) = delete;

    // Copies `count` bytes at the position; false (nothing copied) when fewer remain.
    bool Read(void* buffer, size_t count);
    // Moves to an absolute position within the stream; false past the end.
    bool Seek(uint64_t position);
    uint64_t Tell() const { return position; }
    uint64_t Size() const { return size; }
    int Status() const { return status; }

  private:
    // Refills the read-ahead buffer from `position`.
    bool Fill();

    std::unique_ptr<CompoundFile> compound;
    std::unique_ptr<CompoundStream> inner;  // the workbook stream of a compound file
    std::FILE* file = nullptr;              // or the plain file
    uint64_t size = 0;
    uint64_t position = 0;
    // Bytes of the stream from `bufferStart` on, read ahead in large pieces.
    std::vector<uint8_t> buffer;
    uint64_t bufferStart = 0;
    int status = 0;
};

}  // namespace zm::biff
