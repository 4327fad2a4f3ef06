// Number printing on std::to_chars, which is locale-independent and round-trip exact.
#include "cli/NumberFormat.h"

#include "cli/FastNumbers.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace zmcli {

namespace {

template <typename T>
size_t Shortest(T value, char* out) {
    const char* special = std::isnan(value)   ? "NaN"
                          : std::isinf(value) ? (value < 0 ? "-inf" : "inf")
                                              : nullptr;
    if (special != nullptr) {
        const size_t length = std::strlen(special);
        std::memcpy(out, special, length);
        return length;
    }
    auto [end, ec] = std::to_chars(out, out + kNumberRoom, value);
    return ec == std::errc() ? static_cast<size_t>(end - out) : 0;
}

}  // namespace

size_t PrintDouble(double value, char* out) {
    if (const size_t length = FastShortestFixed(value, out))
        return length;
    return Shortest(value, out);
}

size_t PrintFloat(float value, char* out) {
    return Shortest(value, out);
}

size_t PrintInteger(long long value, char* out) {
    auto [end, ec] = std::to_chars(out, out + kNumberRoom, value);
    return ec == std::errc() ? static_cast<size_t>(end - out) : 0;
}

std::string FormatDouble(double value) {
    char buffer[kNumberRoom];
    return std::string(buffer, PrintDouble(value, buffer));
}

std::string FormatFloat(float value) {
    char buffer[kNumberRoom];
    return std::string(buffer, PrintFloat(value, buffer));
}

std::string FormatInteger(long long value) {
    char buffer[kNumberRoom];
    return std::string(buffer, PrintInteger(value, buffer));
}

}  // namespace zmcli
