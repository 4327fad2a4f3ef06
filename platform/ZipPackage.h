// Zip packages (the containers of .xlsx and .xlsb workbooks): the entries of the central
// directory, and an entry read whole or as a stream, never beyond a limit the caller
// sets, so that an entry that inflates to gigabytes costs no more than the limit. An
// entry may inflate to at most kMaxInflation times its compressed size (or to
// kInflationFloor for small entries), and what it inflates to must match the CRC-32 and
// the size the directory declares: a stream that breaks either fails (badbit).
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
        uint32_t crc = 0;
    };
    // Real workbook parts inflate to a few dozen times their compressed size (about 140
    // times at most for long runs of one text); beyond this ratio an entry is a bomb.
    static constexpr uint64_t kMaxInflation = 256;
    static constexpr uint64_t kInflationFloor = uint64_t{1} << 20;
    enum class ReadResult { kOk, kMissing, kTooLarge, kDamaged };

    // Opens the package; null when it is no readable zip file (or no regular file, or one
    // beyond 4 GB), the reason in `error`.
    static std::unique_ptr<ZipPackage> Open(const std::string& path, std::string* error = nullptr);
    ~ZipPackage();
    ZipPackage(const ZipPackage&) = delete;
    ZipPackage& operator=(const ZipPackage&) = delete;

    const std::vector<Entry>& Entries() const { return entries; }
    // The entry named `name`, compared without case as package part names are; null when
    // there is none.
    const Entry* Find(std::string_view name) const;
    // Reads an entry whole into `out`: kTooLarge when it inflates to more than `limit`
    // bytes, kDamaged when its data cannot be inflated or does not match its checksum.
    ReadResult Read(std::string_view name, std::string& out, uint64_t limit) const;
    // The most an entry's stream delivers under `limit`: its declared size, unless that
    // is beyond the limit or the inflation ratio allows (then 0: the stream fails).
    static uint64_t InflatedBound(const Entry& entry, uint64_t limit);
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
