// Plain-decimal fast paths of number reading, exact by construction.
#include "framework/host/FastNumbers.h"

#include <cstdint>

namespace zmhost {

const double kExactPowersOf10[23] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                     1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                     1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

bool FastParseDecimal(const char* first, const char* last, double& value) {
    return ReadPlainDecimal<false>(first, last, value);
}

size_t ShortestDecimalLength(const char* text) {
    // One pass up to the terminating zero: the length comes with the check.
    const char* p = *text == '-' ? text + 1 : text;
    const char* const intBegin = p;
    while (static_cast<unsigned char>(*p - '0') <= 9)
        ++p;
    const int intDigits = static_cast<int>(p - intBegin);
    // At least one integer digit, and no zero in front of another.
    if (intDigits == 0 || (intDigits > 1 && *intBegin == '0'))
        return 0;
    int fracDigits = 0, leadingFracZeros = 0;
    if (*p == '.') {
        const char* const fracBegin = ++p;
        while (static_cast<unsigned char>(*p - '0') <= 9)
            ++p;
        fracDigits = static_cast<int>(p - fracBegin);
        // The shortest form never ends in a point or a zero after the point.
        if (fracDigits == 0 || p[-1] == '0')
            return 0;
        while (fracBegin[leadingFracZeros] == '0')
            ++leadingFracZeros;
    }
    const size_t length = static_cast<size_t>(p - text);
    if (*p != '\0')
        return 0;
    if (*intBegin == '0' && fracDigits == 0)
        return length;  // "0" and "-0"
    // Digits from the first non-zero one on: at most fifteen, so that (by the fifteen-digit
    // guarantee of doubles) no other decimal as short reads back to the same double.
    int significant, exponent;
    if (*intBegin != '0') {
        if (intDigits + fracDigits > 15)
            return 0;
        significant = intDigits + fracDigits;
        if (fracDigits == 0) {
            while (intBegin[significant - 1] == '0')
                --significant;
        }
        exponent = intDigits - 1;
    } else {
        significant = fracDigits - leadingFracZeros;
        if (significant > 15)
            return 0;
        exponent = -(leadingFracZeros + 1);
    }
    // The printer takes fixed notation unless scientific ("d.ddde-05") is shorter.
    const int fixedLength = static_cast<int>(p - intBegin);
    const int sciLength =
        (significant > 1 ? significant + 1 : 1) + 2 + (exponent >= 100 || exponent <= -100 ? 3 : 2);
    return fixedLength <= sciLength ? length : 0;
}

}  // namespace zmhost
