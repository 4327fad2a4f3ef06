// The value decoder of JCAMP-DX data lines: plain (AFFN, PAC), squeezed (SQZ),
// difference (DIF) and repeated (DUP) values, missing ones, and the plain numbers of
// point tables.
#pragma once

#include <charconv>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "formats/spectral/JCAMPFile.h"

namespace zm::jcamp {

// What a character can be in a value: a digit, the first character of a squeezed (SQZ)
// or difference (DIF) value with its digit and sign, a sign, a repeat count (DUP), a
// blank, or what ends a value (a separator) or goes on after its digits.
enum CharKind : uint16_t {
    kDigitChar = 1,
    kLeadChar = 2,      // @ A-I a-i % J-R j-r
    kNegativeLead = 4,  // a-i j-r
    kDifferenceLead = 8,
    kSignChar = 16,
    kDupChar = 32,
    kBlankChar = 64,
    kSeparatorChar = 128,  // ; ,
    kPointChar = 256,      // . ,
    kExponentChar = 512,   // E e
};

struct CharClass {
    uint16_t kind = 0;
    uint8_t digit = 0;
};

struct CharTable {
    CharClass of[256];
    constexpr CharTable() {
        for (int c = '0'; c <= '9'; ++c)
            of[c] = {kDigitChar, static_cast<uint8_t>(c - '0')};
        of[static_cast<int>('@')] = {kLeadChar, 0};
        of[static_cast<int>('%')] = {kLeadChar | kDifferenceLead, 0};
        for (int d = 1; d <= 9; ++d) {
            const uint8_t digit = static_cast<uint8_t>(d);
            of['A' + d - 1] = {kLeadChar, digit};
            of['a' + d - 1] = {kLeadChar | kNegativeLead, digit};
            of['J' + d - 1] = {kLeadChar | kDifferenceLead, digit};
            of['j' + d - 1] = {kLeadChar | kDifferenceLead | kNegativeLead, digit};
        }
        of[static_cast<int>('E')].kind |= kExponentChar;
        of[static_cast<int>('e')].kind |= kExponentChar;
        for (int c = 'S'; c <= 'Z'; ++c)
            of[c] = {kDupChar, static_cast<uint8_t>(c - 'S' + 1)};
        of[static_cast<int>('s')] = {kDupChar, 9};
        of[static_cast<int>('+')] = {kSignChar, 0};
        of[static_cast<int>('-')] = {kSignChar, 0};
        for (char c : {' ', '\t', '\v', '\f'})
            of[static_cast<unsigned char>(c)] = {kBlankChar, 0};
        of[static_cast<int>(';')] = {kSeparatorChar, 0};
        of[static_cast<int>(',')] = {kSeparatorChar | kPointChar, 0};
        of[static_cast<int>('.')] = {kPointChar, 0};
    }
    const CharClass& operator[](char c) const { return of[static_cast<unsigned char>(c)]; }
};

constexpr CharTable kChars;

inline bool Is(const char* p, const char* end, uint16_t kind) {
    return p < end && (kChars[*p].kind & kind) != 0;
}

// Powers of ten a double holds exactly.
constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
constexpr int kMostExactDigits = 15;
// The longest numeral read: digits before the point, with the point and its digits,
// with the exponent.
constexpr ptrdiff_t kMostWholeDigits = 40, kMostDecimalText = 58, kMostText = 64;

// One value of a data line: an absolute value repeated `count` times (count > 0), a
// difference applied -count times (count < 0), or the line's end (count 0).
struct Value {
    double number = 0;
    int count = 0;
    bool missing = false;
};

// Where the parts of a numeral lie, for the rare one a double cannot be built of
// exactly by hand: more than 15 digits, or an exponent.
struct Numeral {
    int lead = 0;  // 1 when a squeezed or difference character gave the first digit
    char leadDigit = '0';
    const char* whole = nullptr;     // the digits before the point
    const char* point = nullptr;     // the decimal point or comma, or null
    const char* exponent = nullptr;  // the "E", or null
    const char* end = nullptr;
};

// True when the numeral is no longer than a value may be: up to 40 digits before the
// point, 58 characters up to the exponent and 64 in all.
inline bool WithinLength(const Numeral& n) {
    const char* const decimalEnd = n.exponent != nullptr ? n.exponent : n.end;
    const ptrdiff_t whole = (n.point != nullptr ? n.point : decimalEnd) - n.whole + n.lead;
    const ptrdiff_t decimal = decimalEnd - n.whole + n.lead;
    return whole <= kMostWholeDigits && decimal <= kMostDecimalText &&
           n.end - n.whole + n.lead <= kMostText;
}

// The numeral's value by a locale-independent parse of its text rebuilt as sign-less
// digits, point, decimals and exponent; false when it is no finite number.
[[gnu::noinline]] inline bool ParseNumeral(const Numeral& n, double& value) {
    if (!WithinLength(n))
        return false;
    char text[kMostText];
    size_t length = 0;
    if (n.lead != 0)
        text[length++] = n.leadDigit;
    for (const char* p = n.whole; p < n.end && length < sizeof text; ++p)
        text[length++] = p == n.point ? '.' : p == n.exponent ? 'e' : *p;
    const auto [end, ec] = std::from_chars(text, text + length, value);
    return ec == std::errc() && end == text + length && std::isfinite(value);
}

// Moves past the digits at `p`, adding them to `digits` (which wraps past 19 digits,
// when it is not used), and returns where they end.
[[gnu::always_inline]] inline const char* ReadDigits(const char* p, const char* end,
                                                     uint64_t& digits) {
    unsigned d;
    while (p < end && (d = static_cast<unsigned char>(*p) - unsigned{'0'}) <= 9) {
        digits = digits * 10 + d;
        ++p;
    }
    return p;
}

// Moves `p` past the blanks and the one separator (";" or ",") after a value.
[[gnu::always_inline]] inline void SkipSeparator(const char*& p, const char* end) {
    if (Is(p, end, kBlankChar | kSeparatorChar)) {
        while (Is(p, end, kBlankChar))
            ++p;
        if (Is(p, end, kSeparatorChar))
            ++p;
    }
}

// The repeat count that starts with the repeat character at `p` (capped, as no block
// holds more values), moving `p` past its digits.
[[gnu::always_inline]] inline int ReadRepeatCount(const char*& p, const char* end) {
    long long n = kChars[*p].digit;
    ++p;
    CharClass next;
    while (p < end && ((next = kChars[*p]).kind & kDigitChar)) {
        n = std::min<long long>(n * 10 + next.digit, INT32_MAX);
        ++p;
    }
    return static_cast<int>(n);
}

// An exponent at `p`: "E" or "e" with a signed digit, or in point tables, where "E"
// cannot be a squeezed digit, with a bare digit.
template <bool kPoints>
[[gnu::always_inline]] inline bool AtExponent(const char* p, const char* end) {
    return end - p > 1 && (kChars[*p].kind & kExponentChar) &&
           ((end - p > 2 && (kChars[p[1]].kind & kSignChar) && (kChars[p[2]].kind & kDigitChar)) ||
            (kPoints && (kChars[p[1]].kind & kDigitChar)));
}

// The value that starts with something other than a digit or a squeezed or difference
// character: a sign, a missing value, a point, or a character out of place. Moves `p`
// to the digits of a number (0 with `v.missing` false), or past a missing value (0
// with `v.missing` true); else the error code.
template <bool kPoints>
int DecodeRareStart(const char*& p, const char* end, bool& negative, Value& v) {
    const char c = *p;
    if (kChars[c].kind & kSignChar) {
        const char* next = p + 1;
        if (!Is(next, end, kDigitChar) && !(next < end && (*next == '.' || *next == ',')))
            return JCAMPFile::kIllegalCharacter;
        negative = c == '-';
        ++p;
        return 0;
    }
    if (c == '?' || (c == ',' && (kPoints || !Is(p + 1, end, kDigitChar)))) {
        v.missing = true;
        v.number = std::numeric_limits<double>::quiet_NaN();
        v.count = 1;
        SkipSeparator(++p, end);
        return 0;
    }
    if (kChars[c].kind & kPointChar)
        return 0;
    return kPoints ? JCAMPFile::kInvalidCharacter : JCAMPFile::kIllegalCharacter;
}

// The rest of a value whose numeral `n` has been read up to `p` and that is more than
// plain digits: a repeat count (DUP), an exponent, no digit or more than 15. Moves `p`
// past it, with its value and repeat count; returns 0 or the error code.
template <bool kPoints>
int FinishValue(const char*& p, const char* end, Numeral& n, uint64_t digits, ptrdiff_t decimals,
                int& repeat, double& number) {
    constexpr int kBadNumber =
        kPoints ? JCAMPFile::kInvalidCharacter : JCAMPFile::kIllegalCharacter;
    const ptrdiff_t count = n.end - n.whole + n.lead - (n.point != nullptr);
    if (count == 0 || (count > kMostExactDigits && !WithinLength(n)))
        return kBadNumber;  // no digit, or too many
    if (!kPoints && Is(p, end, kDupChar)) {
        repeat = ReadRepeatCount(p, end);
        if (Is(p, end, kDupChar))
            return JCAMPFile::kTwoDups;
    } else if (AtExponent<kPoints>(p, end)) {
        n.exponent = p;
        p += (kChars[p[1]].kind & kSignChar) ? 2 : 1;
        while (Is(p, end, kDigitChar))
            ++p;
        n.end = p;
    }
    if (count <= kMostExactDigits && n.exponent == nullptr) {
        number = static_cast<double>(digits);
        if (decimals > 0)
            number /= kPowersOfTen[decimals];
        return 0;
    }
    return ParseNumeral(n, number) ? 0 : kBadNumber;
}

// Takes the next value off a data line at `p`, which moves past it and past the blanks
// and the one separator that follow. Ordinate lines (kPoints false) hold plain (AFFN,
// PAC), squeezed (SQZ), difference (DIF) and repeated (DUP) values, "?" for a missing
// one and a decimal comma; point tables (kPoints true) hold plain numbers, "?", and
// commas between values. Returns 0 or the error code.
//
// A numeral of up to 15 digits without an exponent, nearly every value, is built by
// hand: its digits are an integer a double holds exactly, and so is 10^15, so one
// division rounds to the very double that parsing its text gives. Anything longer goes
// to that parse.
template <bool kPoints>
[[gnu::always_inline]] inline int DecodeValue(const char*& p, const char* const end, Value& v) {
    v.missing = false;
    if (!kPoints && Is(p, end, kLeadChar)) {
        // The bulk of compressed data: a squeezed or difference digit and a few more,
        // right before the next such value or the line's end.
        const CharClass first = kChars[*p];
        uint64_t digits = first.digit;
        const char* q = ReadDigits(p + 1, end, digits);
        const bool exact = q - p <= kMostExactDigits;
        const int repeat = Is(q, end, kDupChar) ? ReadRepeatCount(q, end) : 1;
        if (exact && (q == end || (kChars[*q].kind & (kLeadChar | kExponentChar)) == kLeadChar)) {
            const auto number = static_cast<double>(digits);
            v.number = (first.kind & kNegativeLead) ? -number : number;
            v.count = (first.kind & kDifferenceLead) ? -repeat : repeat;
            p = q;
            return 0;
        }
    }
    while (Is(p, end, kBlankChar))
        ++p;
    if (p == end) {
        v.number = 0;
        v.count = 0;
        return 0;
    }
    const CharClass first = kChars[*p];
    uint64_t digits = 0;
    int lead = 0;
    bool negative = false, difference = false;
    if ((first.kind & kLeadChar) && (!kPoints || (first.kind & kExponentChar))) {
        digits = first.digit;
        lead = 1;
        negative = (first.kind & kNegativeLead) != 0;
        difference = (first.kind & kDifferenceLead) != 0;
        ++p;
    } else if (!(first.kind & kDigitChar)) {
        const int code = DecodeRareStart<kPoints>(p, end, negative, v);
        if (code != 0 || v.missing)
            return code;
    }
    const char* const whole = p;
    p = ReadDigits(p, end, digits);
    const char* point = nullptr;
    uint16_t after = p < end ? kChars[*p].kind : 0;
    if ((after & kPointChar) && (!kPoints || *p == '.')) {
        point = p;
        p = ReadDigits(p + 1, end, digits);
        after = p < end ? kChars[*p].kind : 0;
    }
    const ptrdiff_t count = p - whole + lead - (point != nullptr);
    const ptrdiff_t decimals = point != nullptr ? p - point - 1 : 0;
    int repeat = 1;
    double number = 0;
    if (count > 0 && count <= kMostExactDigits && !(after & (kDupChar | kExponentChar))) {
        number = static_cast<double>(digits);  // the bulk of values
        if (decimals > 0)
            number /= kPowersOfTen[decimals];
    } else {
        Numeral numeral{lead, static_cast<char>('0' + first.digit), whole, point, nullptr, p};
        const int code = FinishValue<kPoints>(p, end, numeral, digits, decimals, repeat, number);
        if (code != 0)
            return code;
    }
    v.number = negative ? -number : number;
    v.count = difference ? -repeat : repeat;
    SkipSeparator(p, end);
    return 0;
}

}  // namespace zm::jcamp
