// OLE compound files (structured storage): the test for one, the names of the root
// storage's entries, and an entry opened as a byte stream. Over libgsf.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ZmExport.h"

namespace zm {

// One stream of a compound file, read from the start or from any position.
class ZMIMPORT_API CompoundStream {
  public:
    ~CompoundStream();
    CompoundStream(const CompoundStream&) = delete;
    CompoundStream& operator=(const CompoundStream&) = delete;

    // Copies up to `count` bytes at the position into `buffer` and moves on; returns how
    // many were copied (fewer only at the end of the stream or after a failure).
    size_t Read(void* buffer, size_t count);
    // Moves to `position` from the start; false (and the position unchanged) past the end.
    bool Seek(uint64_t position);
    uint64_t Tell() const;
    uint64_t Size() const;
    // True once a read failed before the end of the stream (a damaged chain of sectors or
    // a failing medium); Read then returned 0 as at the end.
    bool Failed() const { return failed; }

  private:
    friend class CompoundFile;
    explicit CompoundStream(void* input);
    void* input;  // GsfInput*
    bool failed = false;
};

class ZMIMPORT_API CompoundFile {
  public:
    // True when the file starts with the compound-file signature.
    static bool IsCompoundFile(const std::string& path);
    // Opens the file; null when it cannot be read as a compound file, with the reason in
    // `error` when given.
    static std::unique_ptr<CompoundFile> Open(const std::string& path,
                                              std::string* error = nullptr);
    ~CompoundFile();
    CompoundFile(const CompoundFile&) = delete;
    CompoundFile& operator=(const CompoundFile&) = delete;

    // The names of the root storage's entries, streams and storages, in directory order.
    std::vector<std::string> EntryNames() const;
    // The first stream of the root storage whose name equals `name` without regard to
    // case (writers spell "Workbook" as "WORKBOOK" too); null when there is none or it
    // is a storage.
    std::unique_ptr<CompoundStream> OpenStream(std::string_view name) const;
    // The stream at `index` of EntryNames; null for a storage or a bad index.
    std::unique_ptr<CompoundStream> OpenStream(size_t index) const;

  private:
    CompoundFile(void* file, void* infile);
    void* file;    // GsfInput* over the whole file
    void* infile;  // GsfInfile* of the root storage
};

}  // namespace zm
