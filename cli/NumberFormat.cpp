// Number printing on std::to_chars, which is locale-independent and round-trip exact.
#include "cli/NumberFormat.h"

#include "cli/FastNumbers.h"

#include <charconv>
#include <cmath>

namespace zmcli {

namespace {

template <typename T>
std::string Shortest(T value) {
    if (std::isnan(value))
        return "NaN";
    if (std::isinf(value))
        return value < 0 ? "-inf" : "inf";
    char buffer[64];
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof(buffer), value);
    return std::string(buffer, ec == std::errc() ? end : buffer);
}

}  // namespace

std::string FormatDouble(double value) {
    char buffer[32];
    if (const size_t length = FastShortestFixed(value, buffer))
        return std::string(buffer, length);
    return Shortest(value);
}

std::string FormatFloat(float value) {
    return Shortest(value);
}

std::string FormatInteger(long long value) {
    char buffer[24];
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof(buffer), value);
    return std::string(buffer, ec == std::errc() ? end : buffer);
}

}  // namespace zmcli
