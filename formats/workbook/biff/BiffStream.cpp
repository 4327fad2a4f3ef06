// The byte source of a BIFF record stream.
#include "formats/workbook/biff/BiffStream.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/CompoundFile.h"

namespace zm::biff {

BaseStream::BaseStream(const std::string& path) {
    if (!CompoundFile::IsCompoundFile(path)) {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            status = 1;
            return;
        }
        bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        return;
    }
    const auto file = CompoundFile::Open(path);
    if (file == nullptr) {
        status = 1;
        return;
    }
    // The first entry of the root storage, in directory order, that is a workbook stream
    // (BIFF8 "Workbook", BIFF5 "Book"), whatever the case of its name.
    const std::vector<std::string> names = file->EntryNames();
    for (size_t i = 0; i < names.size(); ++i) {
        std::string lower = names[i];
        for (char& c : lower)
            c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        if (lower != "workbook" && lower != "book")
            continue;
        auto stream = file->OpenStream(i);
        if (stream == nullptr)
            continue;
        // A stream cannot hold more than the file it lives in, whatever its directory
        // entry claims: read in pieces up to that bound.
        std::error_code error;
        const uint64_t limit =
            std::min<uint64_t>(stream->Size(), std::filesystem::file_size(path, error));
        uint8_t piece[65536];
        while (bytes.size() < limit) {
            const size_t want =
                static_cast<size_t>(std::min<uint64_t>(sizeof piece, limit - bytes.size()));
            const size_t got = stream->Read(piece, want);
            bytes.insert(bytes.end(), piece, piece + got);
            if (got < want)
                break;
        }
        return;
    }
    status = 2;
}

bool BaseStream::Read(void* buffer, size_t count) {
    if (count > bytes.size() - position)
        return false;
    if (count > 0)
        std::memcpy(buffer, bytes.data() + position, count);
    position += count;
    return true;
}

bool BaseStream::Seek(uint64_t to) {
    if (to > bytes.size())
        return false;
    position = to;
    return true;
}

const uint8_t* BaseStream::Peek(size_t count) const {
    return count <= bytes.size() - position ? bytes.data() + position : nullptr;
}

}  // namespace zm::biff
