// The plain-decimal shortcuts give exactly what std::from_chars and std::to_chars give.
#include "framework/host/FastNumbers.h"
#include "framework/host/NumberFormat.h"
#include "framework/host/TextTyping.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <random>
#include <string>

namespace {

std::string General(double value) {
    char buffer[64];
    return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

// The printer writes decimal texts as the general conversion does.
void CheckPrinting(double value) {
    ASSERT_EQ(zmhost::FormatDouble(value), General(value)) << std::hexfloat << value;
}

// "[-]digits[.digits]", now and then with zeros in front or no integer digits.
std::string RandomDecimal(std::mt19937_64& random) {
    std::string text = random() % 2 ? "-" : "";
    const int intDigits = static_cast<int>(random() % 17), fracDigits = 1 + random() % 9;
    for (int i = 0; i < intDigits; ++i)
        text +=
            static_cast<char>('0' + (i == 0 && random() % 8 ? 1 + random() % 9 : random() % 10));
    if (intDigits == 0 || random() % 3)
        text += '.' + std::to_string(random()).substr(0, fracDigits);
    return text;
}

}  // namespace

TEST(FastNumbers, DecimalTextsReadAndPrintAsTheGeneralConversionsDo) {
    std::mt19937_64 random(7);
    int parsed = 0, shortest = 0;
    for (int round = 0; round < 300000; ++round) {
        const std::string text = RandomDecimal(random);
        const char* const end = text.data() + text.size();
        double expected = 0, value = 0;
        ASSERT_EQ(std::from_chars(text.data(), end, expected).ptr, end) << text;
        if (zmhost::FastParseDecimal(text.data(), end, value)) {
            ++parsed;
            ASSERT_EQ(std::memcmp(&value, &expected, sizeof value), 0) << text;
        }
        if (const size_t length = zmhost::ShortestDecimalLength(text.c_str())) {
            ++shortest;
            ASSERT_EQ(length, text.size());
            ASSERT_EQ(General(expected), text);
        }
        CheckPrinting(expected);
    }
    // The shortcuts are taken for the texts of modest length.
    EXPECT_GT(parsed, 100000);
    EXPECT_GT(shortest, 30000);
    // Around powers of two and ten the rounding interval is lopsided or a decimal sits
    // right at its edge.
    for (int e = -20; e <= 52; ++e) {
        for (double base : {std::ldexp(1.0, e), std::pow(10.0, e % 16)}) {
            for (double v : {base, std::nextafter(base, 0.0), std::nextafter(base, 1e300)})
                CheckPrinting(v);
        }
    }

    double value = 0;
    for (const char* text : {"1e5", "1.5.2", "", "-", "+1", "0x10", "12345678901234567890"})
        EXPECT_FALSE(zmhost::FastParseDecimal(text, text + std::strlen(text), value)) << text;
    for (const char* text : {"0", "-0", "1000", "0.001", "-12.5", "123456789012345"})
        EXPECT_EQ(zmhost::ShortestDecimalLength(text), std::strlen(text)) << text;
    for (const char* text : {"", "-", "1e3", ".5", "007", "1.", "1.50", "10000000", "0.0001",
                             "1234567890123456", "+1", "1 "})
        EXPECT_EQ(zmhost::ShortestDecimalLength(text), 0u) << text;
}

// The one-pass reader of whole cells answers only where the typing of texts gives a
// number, and then with the same bits.
TEST(FastNumbers, PlainDecimalCellsTypeAsTheTextTypingDoes) {
    auto check = [](const std::string& text) -> bool {
        double fast = 0, general = 0;
        if (zmhost::ParsePlainDecimal(text.c_str(), fast)) {
            EXPECT_TRUE(zmhost::ParseNumberText(text.c_str(), general)) << text;
            EXPECT_EQ(std::memcmp(&fast, &general, sizeof fast), 0) << text;
            return true;
        }
        return false;
    };
    std::mt19937_64 random(11);
    int taken = 0;
    for (int round = 0; round < 100000; ++round)
        taken += check(RandomDecimal(random));
    EXPECT_GT(taken, 50000);
    for (const char* text : {"0", "-0", ".5", "-.5", "1.", "-1.", "007", "123456789012345",
                             "0.00000000000001", "999999999999999", "-1234.5678"})
        EXPECT_TRUE(check(text)) << text;
    double value = 0;
    ASSERT_TRUE(zmhost::ParsePlainDecimal("-0", value));
    EXPECT_TRUE(std::signbit(value));
    // Left to the general reader: exponents, signs and blanks, sixteen digits and more,
    // words, a lone sign or point, a second point or sign, a decimal comma.
    const char* const general[] = {"1e5",
                                   "1E-3",
                                   "+3",
                                   " 1",
                                   "1 ",
                                   "\t2",
                                   "1234567890123456",
                                   "0.1000000000000000055",
                                   "12345678901234567890",
                                   "nan",
                                   "inf",
                                   "-inf",
                                   "",
                                   "-",
                                   ".",
                                   "-.",
                                   "1.2.3",
                                   "--1",
                                   "1-",
                                   "1,5",
                                   "0x10",
                                   "1.5x"};
    for (const char* text : general)
        EXPECT_FALSE(zmhost::ParsePlainDecimal(text, value)) << text;
}
