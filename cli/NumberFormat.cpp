// Number printing in the form std::to_chars gives (shortest round-trip digits, fixed
// notation unless scientific is shorter), laid out here from the shortest decimal.
#include "cli/NumberFormat.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "platform/ShortestDecimal.h"

namespace zmcli {

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

// Writes the eight digits of m < 10^8, zeros in front, without a loop.
void WriteEight(uint32_t m, char* p) {
    const uint32_t high = m / 10000, low = m % 10000;
    std::memcpy(p, kDigitPairs + 2 * (high / 100), 2);
    std::memcpy(p + 2, kDigitPairs + 2 * (high % 100), 2);
    std::memcpy(p + 4, kDigitPairs + 2 * (low / 100), 2);
    std::memcpy(p + 6, kDigitPairs + 2 * (low % 100), 2);
}

// The digits of a significand, right-aligned in 24 places (every uint64_t fits), so that
// its n digits start at Start(n); the 24 places after them are zero bytes, so that the
// layouts below copy a fixed 24 bytes (the length that is kept is decided apart).
struct Digits {
    char text[48] = {};
    explicit Digits(uint64_t m) {
        WriteEight(static_cast<uint32_t>(m / 10000000000000000u), text);
        WriteEight(static_cast<uint32_t>(m / 100000000 % 100000000), text + 8);
        WriteEight(static_cast<uint32_t>(m % 100000000), text + 16);
    }
    const char* Start(int n) const { return text + 24 - n; }
};

size_t Special(bool nan, bool negative, char* out) {
    const char* text = nan ? "NaN" : negative ? "-inf" : "inf";
    const size_t length = std::strlen(text);
    std::memcpy(out, text, length);
    return length;
}

// Lays out significand x 10^exponent as std::to_chars does without a format: fixed
// notation when it is not longer than scientific ("d.ddde+XX", at least two exponent
// digits). Returns 0 for fixed notation of integers not below `exactLimit`, from where
// on the type no longer holds every integer: the general conversion decides their digits.
size_t LayOut(zm::ShortestDecimal decimal, bool negative, bool belowExactLimit, char* out) {
    const uint64_t m = decimal.significand;
    const int e = decimal.exponent;
    const int n = DigitCount(m);
    const int sciExponent = n - 1 + e;
    const int sciAbs = sciExponent < 0 ? -sciExponent : sciExponent;
    const int sciLength = n + (n > 1) + 2 + (sciAbs >= 100 ? 3 : 2);
    const int fixedLength = e >= 0 ? n + e : sciExponent >= 0 ? n + 1 : n + 1 - sciExponent;
    const Digits digits(m);
    const char* const first = digits.Start(n);
    char* p = out;
    if (negative)
        *p++ = '-';
    // Each copy below writes a fixed number of bytes past the text's end, within the
    // kNumberRoom the caller gives: fixed notation is chosen only while it is at most four
    // or five places longer than the digits.
    if (fixedLength <= sciLength) {
        if (e >= 0) {
            if (!belowExactLimit)
                return 0;
            std::memcpy(p, first, 24);
            std::memcpy(p + n, "00000000", 8);
        } else if (sciExponent >= 0) {
            const int intDigits = sciExponent + 1;
            std::memcpy(p, first, 24);
            p[intDigits] = '.';
            std::memcpy(p + intDigits + 1, first + intDigits, 24);
        } else {
            std::memcpy(p, "0.000000", 8);
            std::memcpy(p + 1 - sciExponent, first, 24);
        }
        return static_cast<size_t>(p - out) + fixedLength;
    }
    // Scientific: the first digit, the point and the rest when there is more than one.
    p[0] = first[0];
    p[1] = '.';
    std::memcpy(p + 2, first + 1, 24);
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
    if (const size_t length =
            LayOut(zm::ShortestDecimalOf(magnitude), negative, magnitude < kExactLimit, out))
        return length;
    auto [end, ec] = std::to_chars(out, out + kNumberRoom, value);
    return ec == std::errc() ? static_cast<size_t>(end - out) : 0;
}

}  // namespace

size_t PrintDouble(double value, char* out) {
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
