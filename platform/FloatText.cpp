// Six-digit "%g" texts of floats from their shortest decimal form.
#include "platform/FloatText.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace zm {

namespace {

size_t Finish(char* out, char* end) {
    *end = '\0';
    return static_cast<size_t>(end - out);
}

size_t Printed(float value, char* out) {
    return Finish(out, std::to_chars(out, out + 31, value, std::chars_format::general, 6).ptr);
}

// Rounds shortest digits to six. The shortest digits lie within half a float step of
// the exact value and are the closest of their length to it, so no six-digit rounding
// boundary lies between the two, unless the digits end exactly on one ("…5" as the
// seventh and last digit): then false, and the exact value must decide.
bool RoundToSix(char* digits, int& count, int& exponent) {
    constexpr int kPrecision = 6;
    if (count <= kPrecision)
        return true;
    if (digits[kPrecision] == '5' && count == kPrecision + 1)
        return false;
    const bool up = digits[kPrecision] >= '5';
    count = kPrecision;
    if (up) {
        int i = kPrecision - 1;
        while (i >= 0 && digits[i] == '9')
            digits[i--] = '0';
        if (i >= 0) {
            ++digits[i];
        } else {
            digits[0] = '1';
            ++exponent;
        }
    }
    while (count > 1 && digits[count - 1] == '0')
        --count;
    return true;
}

}  // namespace

size_t FormatG6(float value, char* out) {
    constexpr int kPrecision = 6;
    // Zero, infinities, NaN and subnormal floats (too coarse for the rounding rule)
    // go through the library's own six-digit conversion.
    if (!std::isnormal(value))
        return Printed(value, out);
    char shortest[32];
    const auto written =
        std::to_chars(shortest, shortest + sizeof shortest, value, std::chars_format::scientific);
    char digits[16];
    int count = 0;
    const char* p = shortest + (value < 0);
    for (; p < written.ptr && *p != 'e'; ++p) {
        if (*p != '.' && count < static_cast<int>(sizeof digits))
            digits[count++] = *p;
    }
    int exponent = 0;
    if (p == written.ptr ||
        std::from_chars(p + 1 + (p[1] == '+'), written.ptr, exponent).ec != std::errc() ||
        !RoundToSix(digits, count, exponent))
        return Printed(value, out);

    char* q = out;
    if (value < 0)
        *q++ = '-';
    if (exponent < -4 || exponent >= kPrecision) {
        *q++ = digits[0];
        if (count > 1) {
            *q++ = '.';
            std::memcpy(q, digits + 1, count - 1);
            q += count - 1;
        }
        *q++ = 'e';
        *q++ = exponent < 0 ? '-' : '+';
        const int magnitude = exponent < 0 ? -exponent : exponent;
        if (magnitude < 10)
            *q++ = '0';
        q = std::to_chars(q, out + 31, magnitude).ptr;
    } else if (exponent < 0) {
        *q++ = '0';
        *q++ = '.';
        for (int i = -1; i > exponent; --i)
            *q++ = '0';
        std::memcpy(q, digits, count);
        q += count;
    } else {
        for (int i = 0; i <= exponent; ++i)
            *q++ = i < count ? digits[i] : '0';
        if (count > exponent + 1) {
            *q++ = '.';
            std::memcpy(q, digits + exponent + 1, count - exponent - 1);
            q += count - exponent - 1;
        }
    }
    return Finish(out, q);
}

}  // namespace zm
