// Numbers as the bytes a binary file stores them, for building files in tests.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

namespace zmtest {

// `v` in `n` bytes, least significant first, or most significant first when `big`.
inline std::string Uint(uint64_t v, int n, bool big = false) {
    std::string s(static_cast<size_t>(n), '\0');
    for (int i = 0; i < n; ++i)
        s[big ? n - 1 - i : i] = static_cast<char>(v >> (8 * i));
    return s;
}
inline std::string U16(uint16_t v, bool big = false) {
    return Uint(v, 2, big);
}
inline std::string U32(uint32_t v, bool big = false) {
    return Uint(v, 4, big);
}
inline std::string F64(double v, bool big = false) {
    uint64_t bits;
    std::memcpy(&bits, &v, 8);
    return Uint(bits, 8, big);
}

}  // namespace zmtest
