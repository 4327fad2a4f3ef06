// Six-digit "%g" texts of floats from their shortest decimal form.
#include "platform/FloatText.h"

#include <array>
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

// Lays out `count` significant digits without an exponent: "0.000ddd" below one, else
// the integer digits (padded with zeros) and the rest after a point. Returns the end.
char* LayOutFixed(const char* digits, int count, int exponent, char* q) {
    if (exponent < 0) {
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
    return q;
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

// Writes values from 1e-4 up to 1e6, the range "%g" writes without an exponent, by
// exact arithmetic: the float times 10^(5 - exponent) is exact in a double (a 24-bit
// significand times 5^9 at most needs 45 bits), so its integer part and remainder give
// the six digits and the exact rounding, ties to even as printf rounds. Returns 0 when
// the value lies outside that range and the general path must write it.
size_t FixedG6(float value, char* out) {
    static constexpr double kPowers[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};
    static constexpr double kLimits[] = {1e-4, 1e-3, 1e-2, 1e-1, 1e0, 1e1, 1e2, 1e3, 1e4, 1e5};
    const double magnitude = std::fabs(static_cast<double>(value));
    if (!(magnitude >= 1e-4 && magnitude < 1e6))
        return 0;
    // The decimal exponent: the scaled value must have six digits before the point.
    int exponent = 5;
    while (exponent > -4 && magnitude < kLimits[exponent + 4])
        --exponent;
    const double scaled = magnitude * kPowers[5 - exponent];
    unsigned number = static_cast<unsigned>(scaled);  // below 10^7: truncation is floor
    const double rest = scaled - number;
    if (rest > 0.5 || (rest == 0.5 && (number & 1) != 0))
        ++number;
    if (number >= 1000000) {  // rounded up to the next power of ten
        number = 100000;
        ++exponent;
        if (exponent > 5)
            return 0;
    }
    if (number < 100000)  // the exponent guess was off by one: let the general path decide
        return 0;
    // Three digits at a time from a table of "000" to "999".
    static constexpr auto kTriples = [] {
        std::array<char, 3000> table{};
        for (int i = 0; i < 1000; ++i) {
            table[3 * i] = static_cast<char>('0' + i / 100);
            table[3 * i + 1] = static_cast<char>('0' + i / 10 % 10);
            table[3 * i + 2] = static_cast<char>('0' + i % 10);
        }
        return table;
    }();
    char digits[6];
    std::memcpy(digits, &kTriples[3 * (number / 1000)], 3);
    std::memcpy(digits + 3, &kTriples[3 * (number % 1000)], 3);
    int count = 6;
    while (count > 1 && digits[count - 1] == '0')
        --count;
    char* q = out;
    if (value < 0)
        *q++ = '-';
    return Finish(out, LayOutFixed(digits, count, exponent, q));
}

}  // namespace

size_t FormatG6(float value, char* out) {
    constexpr int kPrecision = 6;
    if (const size_t length = FixedG6(value, out))
        return length;
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
    } else {
        q = LayOutFixed(digits, count, exponent, q);
    }
    return Finish(out, q);
}

}  // namespace zm
