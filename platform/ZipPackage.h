// Zip packages (the containers of .xlsx and .xlsb workbooks): the entries of the central
// directory, and an entry read whole or as a stream, never beyond a limit the caller
// sets, so that an entry that inflates to gigabytes costs no more than the limit.
#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ZmExport.h"

namespace zm {

class ZMIMPORT_API ZipPackage {
  public:
    struct Entry {
        std::string name;
        uint64_t size = 0;  // as the directory declares it, inflated
        uint64_t compressedSize = 0;
    };
    enum class ReadResult { kOk, kMissing, kTooLarge, kDamaged };

    // Opens the package; null when it is no readable zip file, the reason in `error`.
    static std::unique_ptr<ZipPackage> Open(const std::string& path, std::string* error = nullptr);
    ~ZipPackage();
    ZipPackage(const ZipPackage&) = delete;
    ZipPackage& operator=(const ZipPackage&) = delete;

    const std::vector<Entry>& Entries() const { return entries; }
    // The entry named `name`, compared without case as package part names are; null when
    // there is none.
    const Entry* Find(std::string_view name) const;
    // Reads an entry whole into `out`: kTooLarge when it inflates to more than `limit`
    // bytes, kDamaged when its data cannot be inflated.
    ReadResult Read(std::string_view name, std::string& out, uint64_t limit) const;
    // The entry as a stream that fails (badbit) once more than `limit` bytes would come
    // out of it; null when there is no such entry.
    std::unique_ptr<std::istream> OpenStream(std::string_view name, uint64_t limit) const;

  private:
    struct Impl;
    explicit ZipPackage(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl;
    std::vector<Entry> entries;
};

}  // namespace zm
