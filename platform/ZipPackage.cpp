// Zip packages over zipios++, with a limit on what an entry may inflate to.
#include "platform/ZipPackage.h"

#include <zipios++/zipfile.h>
#include <zipios++/ziphead.h>
#include <zipios++/zipinputstream.h>

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <streambuf>

#include "platform/InputFile.h"

namespace zm {

namespace {

bool EqualNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; };
               return lower(x) == lower(y);
           });
}

// Passes an inflating stream on and fails once more than `limit` bytes came out.
class LimitedBuffer : public std::streambuf {
  public:
    LimitedBuffer(std::unique_ptr<std::istream> source, uint64_t limit)
        : source(std::move(source)), left(limit) {}

    bool overran = false;

  protected:
    int_type underflow() override {
        if (gptr() < egptr())
            return traits_type::to_int_type(*gptr());
        if (overran)
            throw std::length_error("zip entry inflates past its limit");
        if (!source || !*source)
            return traits_type::eof();
        source->read(buffer, sizeof buffer);
        const auto got = static_cast<uint64_t>(source->gcount());
        if (got == 0)
            return traits_type::eof();
        if (got > left) {
            // Thrown from the buffer, this sets the reading stream's badbit, so that a
            // reader cannot take an overrun for the end of the entry.
            overran = true;
            throw std::length_error("zip entry inflates past its limit");
        }
        left -= got;
        setg(buffer, buffer, buffer + got);
        return traits_type::to_int_type(*gptr());
    }

  private:
    std::unique_ptr<std::istream> source;
    uint64_t left;
    char buffer[64 * 1024];
};

// The stream handed out: it owns its buffer and turns an overrun into a failure.
class LimitedStream : public std::istream {
  public:
    LimitedStream(std::unique_ptr<std::istream> source, uint64_t limit)
        : std::istream(nullptr), buffer(std::move(source), limit) {
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
            package->entries.push_back(
                {central->getName(), central->getSize(), central->getCompressedSize()});
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
        uint64_t bound = limit;
        if (entry->size != 0xFFFFFFFFu)
            bound = entry->size > limit ? 0 : entry->size;
        return std::make_unique<LimitedStream>(std::move(source), bound);
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
    return ReadResult::kOk;
}

}  // namespace zm
