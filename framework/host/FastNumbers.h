// Exact shortcuts for the common numbers of measurement tables: plain decimals of at most
// fifteen or so digits. Both answer false where the general conversion must decide.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zmhost {

// Powers of ten that doubles hold exactly, 1e0 to 1e22.
extern const double kExactPowersOf10[23];

// Reads "[-]digits[.digits]" (".5" and "1." included) with one to fifteen digits in all,
// in one pass: the whole of [p, last), or with `kTerminated` the whole zero-terminated
// text at p (`last` unused). At most 15 digits stay below 2^53, so the quotient of two
// exact doubles, rounded once, is what the general conversion gives.
template <bool kTerminated>
[[gnu::always_inline]] inline bool ReadPlainDecimal(const char* p, const char* last,
                                                    double& value) {
    const bool negative = (kTerminated || p < last) && *p == '-';
    p += negative;
    uint64_t mantissa = 0;  // wraps harmlessly past 15 digits: those are refused below
    int digits = 0;
    int pointAt = -1;  // digits before the point; -1 without one
    for (; kTerminated || p < last; ++p) {
        const unsigned digit = static_cast<unsigned char>(*p) - unsigned{'0'};
        if (digit <= 9) {
            mantissa = mantissa * 10 + digit;
            ++digits;
        } else if (*p == '.' && pointAt < 0) {
            pointAt = digits;
        } else {
            break;
        }
    }
    const bool whole = kTerminated ? *p == '\0' : p == last;
    if (!whole || digits == 0 || digits > 15)
        return false;
    const double magnitude =
        static_cast<double>(mantissa) / kExactPowersOf10[pointAt < 0 ? 0 : digits - pointAt];
    value = negative ? -magnitude : magnitude;
    return true;
}

// Reads a whole zero-terminated plain decimal as above: the common cell of a measurement
// table. False for anything else, with nothing to say about the text: blanks, signs,
// exponents, long digit strings and words go to the general reader.
[[gnu::always_inline]] inline bool ParsePlainDecimal(const char* text, double& value) {
    return ReadPlainDecimal<true>(text, nullptr, value);
}

// Reads "[-]digits[.digits]" with one to fifteen digits in all: the quotient of two
// exact doubles, so one correctly rounded division gives what std::from_chars gives.
bool FastParseDecimal(const char* first, const char* last, double& value);

// The length of `text` when it is a plain decimal that std::to_chars prints back
// unchanged from the double it reads as ("12.5", "-0.001", "0", "1000"), so that its
// printed form is the text itself; 0 for anything else ("12.50", ".5", "007", "1e3",
// "0.0001", "").
size_t ShortestDecimalLength(const char* text);

}  // namespace zmhost
