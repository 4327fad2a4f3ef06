// Zip packages over zipios++, with a limit on what an entry may inflate to.
#include "platform/ZipPackage.h"

#include <zipios++/zipfile.h>
#include <zipios++/ziphead.h>
#include <zipios++/zipinputstream.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <streambuf>

#include <zlib.h>

#include "platform/InputFile.h"
#include "platform/ReadMeter.h"
#include "platform/TextCase.h"

namespace zm {

namespace {

// What the directory says an entry inflates to; the size is unknown (zip64 keeps it
// elsewhere) when `sizeKnown` is false.
struct Expected {
    uint64_t size = 0;
    bool sizeKnown = true;
    uint32_t crc = 0;
    bool pastSizeIsDamage = false;  // the limit is the declared size itself
};

// The package file an entry lies in and its compressed size, so that what has come out
// of it tells the read's meter how much of the file has been taken in.
struct Placement {
    std::string path;
    uint64_t compressedSize = 0;
};

// Passes an inflating stream on, fails once more than `limit` bytes came out, and at the
// end of the entry compares what came out with the directory's CRC-32 and size.
class LimitedBuffer : public std::streambuf {
  public:
    LimitedBuffer(std::unique_ptr<std::istream> source, uint64_t limit, Expected expected,
                  Placement placement)
        : source(std::move(source)),
          left(limit),
          expected(expected),
          placement(std::move(placement)) {}

    bool overran = false;
    bool damaged = false;

  protected:
    int_type underflow() override {
        if (gptr() < egptr())
            return traits_type::to_int_type(*gptr());
        if (overran || damaged)
            throw std::length_error("zip entry failed");
        if (!source || ended)
            return traits_type::eof();
        source->read(buffer, sizeof buffer);
        const auto got = static_cast<uint64_t>(source->gcount());
        if (got > left) {
            // Thrown from the buffer, this sets the reading stream's badbit, so that a
            // reader cannot take an overrun for the end of the entry.
            if (expected.pastSizeIsDamage)
                Fail();
            overran = true;
            throw std::length_error("zip entry inflates past its limit");
        }
        left -= got;
        total += got;
        crc = crc32_z(crc, reinterpret_cast<const Bytef*>(buffer), static_cast<size_t>(got));
        TellMeter();
        if (source->bad() || (!*source && !source->eof()))
            Fail();
        if (source->eof()) {
            ended = true;
            if (crc != expected.crc || (expected.sizeKnown && total != expected.size))
                Fail();
        }
        if (got == 0)
            return traits_type::eof();
        setg(buffer, buffer, buffer + got);
        return traits_type::to_int_type(*gptr());
    }

  private:
    // The compressed bytes behind what came out, in proportion to the declared size:
    // the parts of a package are read in no order of their places in the file, so the
    // meter is told how many more bytes were taken in, not where.
    void TellMeter() {
        if (!expected.sizeKnown || expected.size == 0 || placement.path.empty())
            return;
        const double part = static_cast<double>(std::min(total, expected.size)) /
                            static_cast<double>(expected.size);
        const auto taken =
            static_cast<uint64_t>(part * static_cast<double>(placement.compressedSize));
        if (taken > told)
            ReadMeter::Advanced(placement.path, taken - told);
        told = std::max(told, taken);
    }

    [[noreturn]] void Fail() {
        damaged = true;
        throw std::runtime_error("zip entry does not match its checksum or size");
    }

    std::unique_ptr<std::istream> source;
    uint64_t left;
    Expected expected;
    Placement placement;
    uint64_t told = 0;  // compressed bytes the meter was told of
    uint64_t total = 0;
    uLong crc = crc32_z(0, nullptr, 0);
    bool ended = false;
    char buffer[64 * 1024];
};

// The stream handed out: it owns its buffer and turns an overrun into a failure.
class LimitedStream : public std::istream {
  public:
    LimitedStream(std::unique_ptr<std::istream> source, uint64_t limit, Expected expected,
                  Placement placement)
        : std::istream(nullptr), buffer(std::move(source), limit, expected, std::move(placement)) {
        rdbuf(&buffer);
    }
    bool Overran() const { return buffer.overran; }

  private:
    LimitedBuffer buffer;
};

}  // namespace

struct ZipPackage::Impl {
    std::string path;
    std::unique_ptr<zipios::ZipFile> zip;
    std::vector<uint32_t> localHeaders;  // per entry, where its local header starts
};

ZipPackage::ZipPackage(std::unique_ptr<Impl> impl) : impl(std::move(impl)) {}

ZipPackage::~ZipPackage() = default;

std::unique_ptr<ZipPackage> ZipPackage::Open(const std::string& path, std::string* error) {
    // Only a regular file of bounded size goes to the zip library.
    if (!CheckContainerFile(path, kMaxContainerBytes, error))
        return nullptr;
    try {
        auto impl = std::make_unique<Impl>();
        impl->path = path;
        impl->zip = std::make_unique<zipios::ZipFile>(path);
        std::unique_ptr<ZipPackage> package(new ZipPackage(std::move(impl)));
        for (const auto& entry : package->impl->zip->entries()) {
            const auto* central = dynamic_cast<const zipios::ZipCDirEntry*>(entry.get());
            if (central == nullptr || !central->isValid())
                continue;
            package->entries.push_back({central->getName(), central->getSize(),
                                        central->getCompressedSize(), central->getCrc()});
            package->impl->localHeaders.push_back(central->getLocalHeaderOffset());
        }
        return package;
    } catch (const std::exception& e) {
        if (error != nullptr)
            *error = e.what();
    } catch (...) {
        if (error != nullptr)
            *error = "not a zip file";
    }
    return nullptr;
}

const ZipPackage::Entry* ZipPackage::Find(std::string_view name) const {
    for (const Entry& entry : entries) {
        if (EqualNoCase(entry.name, name))
            return &entry;
    }
    return nullptr;
}

uint64_t ZipPackage::InflatedBound(const Entry& entry, uint64_t limit) {
    const uint64_t bound =
        std::min(limit, std::max(kInflationFloor, entry.compressedSize * kMaxInflation));
    if (entry.size == 0xFFFFFFFFu)
        return bound;
    return entry.size > bound ? 0 : entry.size;
}

std::unique_ptr<std::istream> ZipPackage::OpenStream(std::string_view name, uint64_t limit) const {
    const Entry* entry = Find(name);
    if (entry == nullptr)
        return nullptr;
    try {
        // The entry is opened at its own local header: looking it up by name in this
        // version of zipios++ hands out the entry after it.
        const auto index = static_cast<size_t>(entry - entries.data());
        auto source =
            std::make_unique<zipios::ZipInputStream>(impl->path, impl->localHeaders[index]);
        // An entry may not inflate beyond what the directory declares for it (a bomb
        // hides its size there), and one declared beyond the limit yields nothing. The
        // value 0xFFFFFFFF stands for a size kept elsewhere (zip64): the limit alone holds.
        const bool sizeKnown = entry->size != 0xFFFFFFFFu;
        const uint64_t bound = InflatedBound(*entry, limit);
        // Past its own declared size an entry is damaged; past the limit, too large.
        const bool pastSizeIsDamage = sizeKnown && bound == entry->size;
        return std::make_unique<LimitedStream>(
            std::move(source), bound,
            Expected{entry->size, sizeKnown, entry->crc, pastSizeIsDamage},
            Placement{impl->path, entry->compressedSize});
    } catch (...) {
        return nullptr;
    }
}

ZipPackage::ReadResult ZipPackage::Read(std::string_view name, std::string& out,
                                        uint64_t limit) const {
    out.clear();
    const Entry* entry = Find(name);
    if (entry == nullptr)
        return ReadResult::kMissing;
    if (entry->size > limit)
        return ReadResult::kTooLarge;
    auto stream = OpenStream(name, limit);
    if (!stream)
        return ReadResult::kDamaged;
    try {
        // The declared size is only a hint: reading is what the limit guards.
        out.reserve(static_cast<size_t>(std::min<uint64_t>(entry->size, limit)));
        char chunk[64 * 1024];
        while (stream->read(chunk, sizeof chunk) || stream->gcount() > 0)
            out.append(chunk, static_cast<size_t>(stream->gcount()));
    } catch (...) {
        return ReadResult::kDamaged;
    }
    if (static_cast<LimitedStream*>(stream.get())->Overran()) {
        out.clear();
        return ReadResult::kTooLarge;
    }
    if (stream->bad()) {
        out.clear();
        return ReadResult::kDamaged;
    }
    return ReadResult::kOk;
}

}  // namespace zm
