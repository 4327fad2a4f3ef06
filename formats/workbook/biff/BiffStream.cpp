// The byte source of a BIFF record stream.
#include "formats/workbook/biff/BiffStream.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "platform/CompoundFile.h"

namespace zm::biff {

namespace {

constexpr size_t kReadAhead = 256 * 1024;

}  // namespace

BaseStream::BaseStream(const std::string& path) {
    std::error_code error;
    const uint64_t fileSize = std::filesystem::file_size(path, error);
    if (error) {
        status = 1;
        return;
    }
    if (!CompoundFile::IsCompoundFile(path)) {
        file = std::fopen(path.c_str(), "rb");
        status = file != nullptr ? 0 : 1;
        size = fileSize;
        return;
    }
    compound = CompoundFile::Open(path);
    if (compound == nullptr) {
        status = 1;
        return;
    }
    // The BIFF8 "Workbook" stream, else the BIFF5 "Book" stream, whatever the case of
    // their names. A file that holds both keeps the BIFF5 copy for old programs, and that
    // copy has '?' for every character outside its code page.
    const std::vector<std::string> names = compound->EntryNames();
    for (const char* wanted : {"workbook", "book"}) {
        for (size_t i = 0; i < names.size(); ++i) {
            std::string lower = names[i];
            for (char& c : lower)
                c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
            if (lower != wanted)
                continue;
            inner = compound->OpenStream(i);
            if (inner == nullptr)
                continue;
            // A stream cannot hold more than the file it lives in, whatever its directory
            // entry claims.
            size = std::min<uint64_t>(inner->Size(), fileSize);
            return;
        }
    }
    status = 2;
}

BaseStream::~BaseStream() {
    if (file != nullptr)
        std::fclose(file);
}

bool BaseStream::Fill() {
    const size_t want = static_cast<size_t>(std::min<uint64_t>(kReadAhead, size - position));
    buffer.resize(want);
    size_t got = 0;
    if (inner != nullptr) {
        if (inner->Seek(position))
            got = inner->Read(buffer.data(), want);
    } else if (file != nullptr && std::fseek(file, static_cast<long>(position), SEEK_SET) == 0) {
        got = std::fread(buffer.data(), 1, want, file);
    }
    buffer.resize(got);
    bufferStart = position;
    return got == want;
}

bool BaseStream::Read(void* out, size_t count) {
    if (count > size - position)
        return false;
    auto* to = static_cast<uint8_t*>(out);
    while (count > 0) {
        if (position < bufferStart || position >= bufferStart + buffer.size()) {
            if (!Fill() && buffer.empty())
                return false;
        }
        const size_t offset = static_cast<size_t>(position - bufferStart);
        const size_t take = std::min(count, buffer.size() - offset);
        if (take == 0)
            return false;
        std::memcpy(to, buffer.data() + offset, take);
        to += take;
        position += take;
        count -= take;
    }
    return true;
}

bool BaseStream::Seek(uint64_t to) {
    if (to > size)
        return false;
    position = to;
    return true;
}

}  // namespace zm::biff
