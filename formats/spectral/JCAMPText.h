// Text helpers of the JCAMP-DX reader: lines, blanks, label names and comments.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace zm::jcamp {

inline bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

// Both ends without blanks (strstrip).
inline std::string_view Strip(std::string_view text) {
    while (!text.empty() && (IsBlank(text.front()) || text.front() == '\r'))
        text.remove_prefix(1);
    while (!text.empty() && (IsBlank(text.back()) || text.back() == '\r'))
        text.remove_suffix(1);
    return text;
}

// The line without the blanks before it: some writers indent their labels.
inline std::string_view Unindented(std::string_view line) {
    while (!line.empty() && IsBlank(line.front()))
        line.remove_prefix(1);
    return line;
}

// A line that starts a label (or a comment label) ends the data before it.
inline bool EndsData(std::string_view line) {
    line = Unindented(line);
    return !line.empty() && line.front() == '#';
}

// Every blank removed (deblank).
inline std::string Deblank(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        if (!IsBlank(c) && c != '\r')
            out.push_back(c);
    }
    return out;
}

// The text up to a "$$" comment.
inline std::string_view WithoutComment(std::string_view text) {
    const size_t at = text.find("$$");
    return at == std::string_view::npos ? text : text.substr(0, at);
}

// Label names ignore blanks, dashes, slashes, underscores and case: "Data Type",
// "DATA-TYPE" and "datatype" are one name, "DATATYPE".
inline std::string NormaliseName(std::string_view name) {
    std::string out;
    out.reserve(name.size());
    for (char c : name) {
        if (IsBlank(c) || c == '-' || c == '/' || c == '_' || c == '\r')
            continue;
        out.push_back(c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c);
    }
    return out;
}

// A value compared as a keyword: no comment, no blanks, upper case.
inline std::string Keyword(std::string_view value) {
    std::string out = Deblank(WithoutComment(value));
    for (char& c : out) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    return out;
}

// `count` items of `itemBytes` rounded up to fill whole 2 MiB pages once they take
// 1 MiB or more: a buffer that ends inside a huge page gets its last part in 4 KiB
// pages, one page fault each.
inline size_t WholeHugePages(size_t count, size_t itemBytes) {
    constexpr size_t kHugePage = size_t{2} << 20;
    if (count >= (size_t{1} << 20) / itemBytes && count < SIZE_MAX / itemBytes - kHugePage) {
        const size_t bytes = (count * itemBytes + kHugePage - 1) & ~(kHugePage - 1);
        return bytes / itemBytes;
    }
    return count;
}

// The first line end (LF or CR) in [p, end), or `end`. Eight bytes at a time: data
// lines are long runs of value characters between rare line ends.
inline const char* FindLineEnd(const char* p, const char* end) {
    constexpr uint64_t kOnes = 0x0101010101010101ull;
    constexpr uint64_t kHighs = 0x8080808080808080ull;
    while (end - p >= 8) {
        uint64_t word;
        std::memcpy(&word, p, 8);
        const uint64_t lf = word ^ (kOnes * '\n');
        const uint64_t cr = word ^ (kOnes * '\r');
        // A byte of `lf` or `cr` is zero where the word holds a line end.
        if ((((lf - kOnes) & ~lf) | ((cr - kOnes) & ~cr)) & kHighs)
            break;
        p += 8;
    }
    while (p < end && *p != '\n' && *p != '\r')
        ++p;
    return p;
}

// The line that starts at `pos` (without its end), moving `pos` past its end: LF, CR LF
// or a lone CR. False at the end of the text.
inline bool NextLine(std::string_view text, size_t& pos, std::string_view& line) {
    const size_t size = text.size();
    if (pos >= size)
        return false;
    const char* data = text.data();
    size_t end = static_cast<size_t>(FindLineEnd(data + pos, data + size) - data);
    line = std::string_view(data + pos, end - pos);
    if (end < size && data[end] == '\r' && end + 1 < size && data[end + 1] == '\n')
        ++end;
    pos = end < size ? end + 1 : size;
    return true;
}

}  // namespace zm::jcamp
