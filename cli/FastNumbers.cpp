// Plain-decimal fast paths of number reading and printing, exact by construction.
#include "cli/FastNumbers.h"

#include <cmath>
#include <cstdint>

namespace zmcli {

const double kExactPowersOf10[23] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                     1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                     1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

namespace {

const double* const kPow10 = kExactPowersOf10;
constexpr uint64_t kExactLimit = uint64_t{1} << 53;

int DigitCount(uint64_t m) {
    int n = 1;
    while (m >= 10) {
        m /= 10;
        ++n;
    }
    return n;
}

template <uint64_t kUnit, int kDigits>
void StripZeros(uint64_t& m, int& k) {
    if (k >= kDigits && m % kUnit == 0) {
        m /= kUnit;
        k -= kDigits;
    }
}

}  // namespace

bool FastParseDecimal(const char* first, const char* last, double& value) {
    return ReadPlainDecimal<false>(first, last, value);
}

size_t FastShortestFixed(double value, char* out) {
    const double a = std::fabs(value);
    // Zero, tiny, huge and non-finite values: the general printer decides.
    if (!(a >= 1e-5 && a < 1e15))
        return 0;
    // Scale to fifteen significant digits. A value read from a decimal of at most
    // fifteen digits lands within 0.2 of that decimal's digits, so rounding finds them;
    // by the fifteen-digit guarantee of doubles no shorter decimal reads back to the
    // same value, so dropping trailing zeros leaves the shortest form.
    int k;
    if (a >= 1.0) {
        int intDigits = 1;
        while (intDigits < 15 && a >= kPow10[intDigits])
            ++intDigits;
        k = 15 - intDigits;
    } else {
        int zeros = 0;
        while (a * kPow10[zeros + 1] < 1.0)
            ++zeros;
        k = 15 + zeros;
    }
    uint64_t m = static_cast<uint64_t>(a * kPow10[k] + 0.5);
    // Trailing zeros go in halving steps rather than one at a time; constant divisors
    // compile to multiplications.
    StripZeros<100000000, 8>(m, k);
    StripZeros<10000, 4>(m, k);
    StripZeros<100, 2>(m, k);
    StripZeros<10, 1>(m, k);
    // Values that need more than fifteen digits do not read back. (No neighbour of m can
    // read back as well: two decimals of at most fifteen digits are two doubles.)
    if (static_cast<double>(m) / kPow10[k] != a)
        return 0;

    // Fixed notation must not be longer than scientific, or the general printer
    // chooses scientific.
    const int mDigits = DigitCount(m);
    const int intDigits = mDigits > k ? mDigits - k : 1;
    const int fixedLength = intDigits + (k > 0 ? 1 + k : 0);
    int significant = mDigits;
    for (uint64_t t = m; t % 10 == 0; t /= 10)
        --significant;
    const int exponent = mDigits - 1 - k;
    const int sciLength =
        1 + (significant > 1 ? significant : 0) + 2 + (exponent >= 100 || exponent <= -100 ? 3 : 2);
    if (fixedLength > sciLength)
        return 0;

    // The digits of m with a point k places from the right, zeros in front as needed.
    char digitsText[24];
    int n = 0;
    for (uint64_t t = m; n == 0 || t > 0; t /= 10)
        digitsText[n++] = static_cast<char>('0' + t % 10);
    while (n < k + 1)
        digitsText[n++] = '0';
    size_t length = 0;
    if (value < 0)
        out[length++] = '-';
    for (int i = n - 1; i >= 0; --i) {
        out[length++] = digitsText[i];
        if (i == k && k > 0)
            out[length++] = '.';
    }
    return length;
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
    // Digits from the first non-zero one on: at most fifteen, so that (as in
    // FastShortestFixed) no other decimal as short reads back to the same double.
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

}  // namespace zmcli
