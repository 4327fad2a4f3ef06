// BIFF8 unicode strings and the shared string table.
#include "formats/workbook/biff/BiffStrings.h"

#include <algorithm>

#include "platform/CodePage.h"

namespace zm::biff {

namespace {

uint16_t U16(const uint8_t* p) {
    return static_cast<uint16_t>(p[0] | p[1] << 8);
}

uint32_t U32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0] | p[1] << 8 | p[2] << 16) | static_cast<uint32_t>(p[3]) << 24;
}

// Appends up to `count` characters at data[pos] (one or two bytes each) as UTF-8;
// returns how many there were room for.
size_t AppendChars(const uint8_t* data, size_t size, size_t& pos, size_t count, bool wide,
                   std::string& out) {
    const size_t width = wide ? 2 : 1;
    const size_t take = std::min(count, (size - pos) / width);
    out += wide ? CodePageText::Utf16LeToUtf8(data + pos, take)
                : CodePageText::Latin1ToUtf8(data + pos, take);
    pos += take * width;
    return take;
}

}  // namespace

bool ReadUnicodeString(const uint8_t* data, size_t size, size_t& pos, bool wideCount,
                       std::string& out, size_t* missing) {
    out.clear();
    if (missing != nullptr)
        *missing = 0;
    const size_t countBytes = wideCount ? 2 : 1;
    if (size < pos || size - pos < countBytes + 1)
        return false;
    const size_t count = wideCount ? U16(data + pos) : data[pos];
    const uint8_t flags = data[pos + countBytes];
    pos += countBytes + 1;
    if (missing != nullptr)
        *missing = count;
    size_t runs = 0, extension = 0;
    if (flags & 0x08) {
        if (size - pos < 2)
            return false;
        runs = U16(data + pos);
        pos += 2;
    }
    if (flags & 0x04) {
        if (size - pos < 4)
            return false;
        extension = U32(data + pos);
        pos += 4;
    }
    const size_t got = AppendChars(data, size, pos, count, flags & 0x01, out);
    if (missing != nullptr)
        *missing = count - got;
    if (got < count)
        return false;
    const size_t skip = runs * 4 + extension;
    if (skip > size - pos) {
        pos = size;
        return false;
    }
    pos += skip;
    return true;
}

void SharedStrings::Begin(const uint8_t* data, size_t size, uint64_t bytesLeftInStream) {
    table.clear();
    cut.clear();
    owedChars = 0;
    owedSkip = 0;
    if (size < 8)
        return;
    // Each string takes at least three bytes: a count beyond that is not believed.
    const uint64_t count = U32(data + 4);
    table.reserve(static_cast<size_t>(std::min<uint64_t>(count, (size + bytesLeftInStream) / 3)));
    Decode(data, size, 8);
}

void SharedStrings::Continue(const uint8_t* data, size_t size) {
    size_t pos = 0;
    if (owedChars > 0 && !table.empty() && size > 0) {
        const bool wide = data[pos++] & 0x01;
        owedChars -= AppendChars(data, size, pos, owedChars, wide, table.back());
        if (owedChars > 0)
            return;
    }
    Decode(data, size, pos);
}

void SharedStrings::End() {
    if (owedChars > 0 && !table.empty())
        cut.push_back(static_cast<uint32_t>(table.size() - 1));
    owedChars = 0;
    owedSkip = 0;
}

void SharedStrings::Decode(const uint8_t* data, size_t size, size_t pos) {
    const size_t skipped = std::min(owedSkip, size - pos);
    pos += skipped;
    owedSkip -= skipped;
    while (size - pos >= 3) {
        const size_t count = U16(data + pos);
        const uint8_t flags = data[pos + 2];
        pos += 3;
        size_t runs = 0, extension = 0;
        if (flags & 0x08) {
            if (size - pos < 2)
                return;
            runs = U16(data + pos);
            pos += 2;
        }
        if (flags & 0x04) {
            if (size - pos < 4)
                return;
            extension = U32(data + pos);
            pos += 4;
        }
        table.emplace_back();
        const size_t got = AppendChars(data, size, pos, count, flags & 0x01, table.back());
        const size_t skip = runs * 4 + extension;
        if (got < count) {
            owedChars = count - got;
            owedSkip = skip;
            return;
        }
        if (skip > size - pos) {
            owedSkip = skip - (size - pos);
            return;
        }
        pos += skip;
    }
}

}  // namespace zm::biff
