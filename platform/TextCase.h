// Comparisons of names that ignore the case of ASCII letters, as file systems, packages and
// compound files compare their entry names, extensions and ids.
#pragma once

#include <algorithm>
#include <string_view>

namespace zm {

inline char LowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline bool EqualNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return LowerAscii(x) == LowerAscii(y);
           });
}

inline bool EndsWithNoCase(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && EqualNoCase(text.substr(text.size() - end.size()), end);
}

}  // namespace zm
