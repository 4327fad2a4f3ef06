// Line reading from the worksheet stream of a DEXAN design file.
#include "formats/text/DexanWorksheet.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/CodePage.h"
#include "platform/CompoundFile.h"

namespace {

constexpr size_t kChunk = 64 * 1024;

// True when `bytes` are UTF-8; a sequence cut by the end of the sample is allowed.
bool LooksLikeUtf8(const unsigned char* bytes, size_t size) {
    size_t i = 0;
    while (i < size) {
        const unsigned char lead = bytes[i];
        size_t length = lead < 0x80             ? 1
                        : (lead & 0xE0) == 0xC0 ? 2
                        : (lead & 0xF0) == 0xE0 ? 3
                        : (lead & 0xF8) == 0xF0 ? 4
                                                : 0;
        if (length == 0 || (length == 2 && lead < 0xC2) || (length == 4 && lead > 0xF4))
            return false;
        for (size_t k = 1; k < length; ++k) {
            if (i + k >= size)
                return true;
            if ((bytes[i + k] & 0xC0) != 0x80)
                return false;
        }
        i += length;
    }
    return true;
}

// The Windows code page of a "windowsNNNN" key, or 0.
int WindowsCodePage(const std::string& key) {
    constexpr std::string_view kPrefix = "windows";
    if (key.compare(0, kPrefix.size(), kPrefix) != 0)
        return 0;
    int number = 0;
    const char* first = key.data() + kPrefix.size();
    const auto result = std::from_chars(first, key.data() + key.size(), number);
    return result.ec == std::errc() && result.ptr == key.data() + key.size() ? number : 0;
}

}  // namespace

DexanWorksheet::DexanWorksheet(std::unique_ptr<zm::CompoundStream> input,
                               const std::string& encodingKey)
    : stream(std::move(input)) {
    int codePageNumber = WindowsCodePage(encodingKey);
    if (codePageNumber == 0 && encodingKey != "utf8") {
        std::vector<unsigned char> sample(kChunk);
        sample.resize(stream->Read(sample.data(), sample.size()));
        if (!LooksLikeUtf8(sample.data(), sample.size()))
            codePageNumber = 1252;
    }
    if (codePageNumber != 0)
        codePage = std::make_unique<zm::CodePageText>(codePageNumber);
    Rewind();
}

DexanWorksheet::~DexanWorksheet() = default;

bool DexanWorksheet::Rewind() {
    begin = end = 0;
    atEnd = false;
    atStart = true;
    return stream->Seek(0);
}

bool DexanWorksheet::Fill() {
    if (atEnd)
        return false;
    if (begin > 0) {
        std::memmove(buffer.data(), buffer.data() + begin, end - begin);
        end -= begin;
        begin = 0;
    }
    if (buffer.size() < end + kChunk)
        buffer.resize(end + kChunk);
    const size_t got = stream->Read(buffer.data() + end, kChunk);
    end += got;
    atEnd = got == 0;
    return got > 0;
}

bool DexanWorksheet::GetLine(std::string& line) {
    size_t searched = 0;  // bytes after `begin` known to hold no line feed
    for (;;) {
        if (atStart) {
            if (end - begin < 3 && Fill())
                continue;
            if (end - begin >= 3 && std::memcmp(buffer.data() + begin, "\xEF\xBB\xBF", 3) == 0)
                begin += 3;
            atStart = false;
        }
        const char* from = buffer.data() + begin;
        const void* feed = std::memchr(from + searched, '\n', end - begin - searched);
        size_t length = 0;
        if (feed != nullptr) {
            length = static_cast<size_t>(static_cast<const char*>(feed) - from);
        } else {
            // Fill keeps the unread bytes at the front, so `searched` stays valid.
            searched = end - begin;
            if (Fill())
                continue;
            if (begin == end)
                return false;
            length = end - begin;
            from = buffer.data() + begin;
        }
        const bool ascii = std::none_of(from, from + length, [](char c) { return c & 0x80; });
        if (codePage == nullptr || ascii)
            line.assign(from, length);
        else
            line = codePage->ToUtf8(reinterpret_cast<const uint8_t*>(from), length);
        begin = std::min(end, begin + length + 1);
        return true;
    }
}

bool DexanWorksheet::ReadFailed() const {
    return stream->Failed();
}
