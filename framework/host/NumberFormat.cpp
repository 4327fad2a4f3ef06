// Number printing in the form std::to_chars gives (shortest round-trip digits, fixed
// notation unless scientific is shorter), laid out here from the shortest decimal.
#include "framework/host/NumberFormat.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "platform/ShortestDecimal.h"

namespace zmhost {

namespace {

// "00" to "99": two digits per step.
constexpr char kDigitPairs[201] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

constexpr uint64_t kPowersOf10[20] = {1,
                                      10,
                                      100,
                                      1000,
                                      10000,
                                      100000,
                                      1000000,
                                      10000000,
                                      100000000,
                                      1000000000,
                                      10000000000,
                                      100000000000,
                                      1000000000000,
                                      10000000000000,
                                      100000000000000,
                                      1000000000000000,
                                      10000000000000000,
                                      100000000000000000,
                                      1000000000000000000,
                                      10000000000000000000u};

// Decimal digits of m > 0: the bit length times log10(2) guesses, one comparison decides.
int DigitCount(uint64_t m) {
    const int bits = 64 - __builtin_clzll(m);
    const int guess = (bits * 1233) >> 12;
    return guess + (m >= kPowersOf10[guess]);
}

// The eight digits of m < 10^8, zeros in front, as the bytes of one word in text order:
// both four-digit halves, then their two-digit quarters, then the single digits are split
// off in every lane at once by multiplying with scaled reciprocals (exact below 10^4 and
// 10^2).
[[gnu::always_inline]] inline uint64_t EightDigits(uint32_t m) {
    uint64_t y = (m / 10000) | (uint64_t{m % 10000} << 32);
    uint64_t z = ((y * 10486) >> 20) & 0x0000007F0000007Fu;
    y = z | ((y - 100 * z) << 16);
    z = ((y * 103) >> 10) & 0x000F000F000F000Fu;
    y = z | ((y - 10 * z) << 8);
    return y + 0x3030303030303030u;
}

// The last `count` (1 to 8) of a word's digits at p; writes eight bytes.
[[gnu::always_inline]] inline void StoreLast(uint64_t digits, int count, char* p) {
    digits >>= 8 * (8 - count);
    std::memcpy(p, &digits, 8);
}

// Writes the n digits of m at p, and at most eight bytes past them in all.
[[gnu::always_inline]] inline void WriteDigits(uint64_t m, int n, char* p) {
    if (n <= 8) {
        StoreLast(EightDigits(static_cast<uint32_t>(m)), n, p);
        return;
    }
    const auto low = EightDigits(static_cast<uint32_t>(m % 100000000));
    m /= 100000000;
    if (n <= 16) {
        StoreLast(EightDigits(static_cast<uint32_t>(m)), n - 8, p);
    } else {
        StoreLast(EightDigits(static_cast<uint32_t>(m / 100000000)), n - 16, p);
        const auto middle = EightDigits(static_cast<uint32_t>(m % 100000000));
        std::memcpy(p + n - 16, &middle, 8);
    }
    std::memcpy(p + n - 8, &low, 8);
}

size_t Special(bool nan, bool negative, char* out) {
    const char* text = nan ? "NaN" : negative ? "-inf" : "inf";
    const size_t length = std::strlen(text);
    std::memcpy(out, text, length);
    return length;
}

// Lays out significand x 10^exponent as std::to_chars does without a format: fixed
// notation when it is not longer than scientific ("d.ddde+XX", at least two exponent
// digits). Returns 0 for fixed notation of an integer that is not `belowExactLimit`, where
// the type no longer holds every integer: the general conversion decides those digits.
size_t LayOut(zm::ShortestDecimal decimal, bool negative, bool belowExactLimit, char* out) {
    const uint64_t m = decimal.significand;
    const int e = decimal.exponent;
    const int n = DigitCount(m);
    const int sciExponent = n - 1 + e;
    const int sciAbs = sciExponent < 0 ? -sciExponent : sciExponent;
    const int sciLength = n + (n > 1) + 2 + (sciAbs >= 100 ? 3 : 2);
    const int fixedLength = e >= 0 ? n + e : sciExponent >= 0 ? n + 1 : n + 1 - sciExponent;
    char* p = out;
    if (negative)
        *p++ = '-';
    // The copies below write a few bytes past the text's end, within the kNumberRoom the
    // caller gives: fixed notation is chosen only while it is at most five places longer
    // than the digits.
    if (fixedLength <= sciLength) {
        if (e >= 0) {
            if (!belowExactLimit)
                return 0;
            WriteDigits(m, n, p);
            std::memcpy(p + n, "00000000", 8);
        } else if (sciExponent >= 0) {
            // All digits one place on, then the integer digits back over the gap.
            const int intDigits = sciExponent + 1;
            WriteDigits(m, n, p + 1);
            for (int i = 0; i < intDigits; ++i)
                p[i] = p[i + 1];
            p[intDigits] = '.';
        } else {
            std::memcpy(p, "0.000000", 8);
            WriteDigits(m, n, p + 1 - sciExponent);
        }
        return static_cast<size_t>(p - out) + fixedLength;
    }
    // Scientific: the first digit, the point and the rest when there is more than one.
    WriteDigits(m, n, p + 1);
    p[0] = p[1];
    p[1] = '.';
    p += n > 1 ? n + 1 : 1;
    *p++ = 'e';
    *p++ = sciExponent < 0 ? '-' : '+';
    if (sciAbs >= 100) {
        *p++ = static_cast<char>('0' + sciAbs / 100);
        std::memcpy(p, kDigitPairs + 2 * (sciAbs % 100), 2);
    } else {
        std::memcpy(p, kDigitPairs + 2 * sciAbs, 2);
    }
    p += 2;
    return static_cast<size_t>(p - out);
}

// An integer m > 0 that the type holds exactly: its own digits are the shortest that read
// back, as no other integer lies within half a unit of it, and fewer digits would be a
// multiple of ten. With at most four trailing zeros fixed notation is never longer than
// scientific and the digits go straight out; with more, scientific may be the shorter
// ("1e+05").
size_t Integral(uint64_t m, bool negative, char* out) {
    if (m % 100000 == 0) {
        int zeros = 0;
        for (; m % 10 == 0; m /= 10)
            ++zeros;
        return LayOut({m, zeros}, negative, true, out);
    }
    *out = '-';
    char* p = out + negative;
    const int n = DigitCount(m);
    WriteDigits(m, n, p);
    return negative + static_cast<size_t>(n);
}

template <typename T>
size_t Shortest(T value, char* out) {
    const bool negative = std::signbit(value);
    if (!std::isfinite(value))
        return Special(std::isnan(value), negative, out);
    if (value == 0) {
        std::memcpy(out, "-0", 2);
        return negative ? 2 : (out[0] = '0', 1);
    }
    // 2^24 for floats, 2^53 for doubles.
    constexpr T kExactLimit = T(uint64_t{1} << std::numeric_limits<T>::digits);
    const T magnitude = negative ? -value : value;
    if (magnitude < kExactLimit) {
        const auto whole = static_cast<uint64_t>(magnitude);
        if (static_cast<T>(whole) == magnitude)
            return Integral(whole, negative, out);
    }
    if (const size_t length =
            LayOut(zm::ShortestDecimalOf(magnitude), negative, magnitude < kExactLimit, out))
        return length;
    auto [end, ec] = std::to_chars(out, out + kNumberRoom, value);
    return ec == std::errc() ? static_cast<size_t>(end - out) : 0;
}

// The common cell of a spectrum or a matrix of counts: a whole number below 2^32 (2^24
// for a float) with at most four trailing zeros, whose digits are its shortest text (see
// Integral). Writes them at p, with the sign, and returns where they end; null for any
// other value (zero included, whose sign decides its text).
template <typename T>
[[gnu::always_inline]] inline char* SmallWhole(T value, char* p) {
    constexpr double kLimit = sizeof(T) == sizeof(float) ? 16777216.0 : 4294967296.0;
    const double magnitude = std::fabs(static_cast<double>(value));
    if (!(magnitude < kLimit))
        return nullptr;
    const auto m = static_cast<uint32_t>(magnitude);
    if (static_cast<double>(m) != magnitude || m % 100000 == 0)
        return nullptr;
    *p = '-';
    p += std::signbit(value);
    const int n = DigitCount(m);
    WriteDigits(m, n, p);
    return p + n;
}

template <typename T>
size_t PrintSeparated(const T* values, size_t count, std::string_view separator, char* out) {
    // Both bytes of the separator go out every time; the number overwrites the second
    // when the separator has one.
    const char first = separator[0];
    const char second = separator.size() > 1 ? separator[1] : '\0';
    const size_t width = separator.size() > 1 ? 2 : 1;
    char* p = out;
    for (size_t i = 0; i < count; ++i) {
        p[0] = first;
        p[1] = second;
        p += width;
        if (char* const end = SmallWhole(values[i], p))
            p = end;
        else
            p += Shortest(values[i], p);
    }
    return static_cast<size_t>(p - out);
}

}  // namespace

size_t PrintDouble(double value, char* out) {
    return Shortest(value, out);
}

size_t PrintSeparatedNumbers(const double* values, size_t count, std::string_view separator,
                             char* out) {
    return PrintSeparated(values, count, separator, out);
}

size_t PrintSeparatedNumbers(const float* values, size_t count, std::string_view separator,
                             char* out) {
    return PrintSeparated(values, count, separator, out);
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

}  // namespace zmhost
