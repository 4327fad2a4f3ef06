// The plain-decimal fast paths give exactly what std::from_chars and std::to_chars give.
#include "cli/FastNumbers.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>

namespace {

// "[-]digits[.digits]" with the given numbers of digits on each side of the point.
std::string RandomDecimal(std::mt19937_64& random, int intDigits, int fracDigits) {
    std::string text = random() % 2 ? "-" : "";
    for (int i = 0; i < intDigits; ++i)
        text +=
            static_cast<char>('0' + (i == 0 && intDigits > 1 ? 1 + random() % 9 : random() % 10));
    if (fracDigits > 0) {
        text += '.';
        for (int i = 0; i < fracDigits; ++i)
            text += static_cast<char>('0' + random() % 10);
    }
    return text;
}

std::string General(double value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

void ExpectSameAsGeneralPrinter(double value, int& fast) {
    char buffer[32];
    if (const size_t length = zmcli::FastShortestFixed(value, buffer)) {
        ++fast;
        ASSERT_EQ(std::string(buffer, length), General(value)) << std::hexfloat << value;
    }
}

TEST(FastNumbers, ReadingAgreesWithFromChars) {
    std::mt19937_64 random(7);
    int fast = 0;
    for (int round = 0; round < 200000; ++round) {
        const std::string text =
            RandomDecimal(random, static_cast<int>(random() % 17), static_cast<int>(random() % 24));
        double expected = 0;
        const auto result = std::from_chars(text.data(), text.data() + text.size(), expected);
        double value = 0;
        if (!zmcli::FastParseDecimal(text.data(), text.data() + text.size(), value))
            continue;
        ++fast;
        ASSERT_EQ(result.ptr, text.data() + text.size()) << text;
        ASSERT_EQ(std::memcmp(&value, &expected, sizeof value), 0) << text;
    }
    EXPECT_GT(fast, 50000);  // the shortcut is taken for the texts of modest length
    double value = 0;
    for (const char* text : {"1e5", "1.5.2", "", "-", "+1", "0x10", "12345678901234567890"}) {
        EXPECT_FALSE(zmcli::FastParseDecimal(text, text + std::strlen(text), value)) << text;
    }
}

TEST(FastNumbers, PrintingAgreesWithToChars) {
    std::mt19937_64 random(11);
    int fast = 0;
    // Values read from typical decimal texts.
    for (int round = 0; round < 300000; ++round) {
        const std::string text = RandomDecimal(random, 1 + static_cast<int>(random() % 12),
                                               static_cast<int>(random() % 9));
        double value = 0;
        std::from_chars(text.data(), text.data() + text.size(), value);
        ExpectSameAsGeneralPrinter(value, fast);
    }
    EXPECT_GT(fast, 200000);
    // Arbitrary doubles, and the neighbours of powers of two and ten, where the rounding
    // interval is lopsided or a decimal sits right at its edge.
    for (int round = 0; round < 300000; ++round) {
        uint64_t bits = random();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        const double scale = std::ldexp(1.0, static_cast<int>(random() % 100) - 50);
        value = std::fmod(std::fabs(value), 1.0) * scale;
        ExpectSameAsGeneralPrinter(value, fast);
    }
    for (int e = -20; e <= 52; ++e) {
        for (double base : {std::ldexp(1.0, e), std::pow(10.0, e % 16)}) {
            ExpectSameAsGeneralPrinter(base, fast);
            ExpectSameAsGeneralPrinter(std::nextafter(base, 0.0), fast);
            ExpectSameAsGeneralPrinter(std::nextafter(base, 1e300), fast);
        }
    }
}

TEST(FastNumbers, ShortestDecimalsAreTheirOwnPrintedForm) {
    std::mt19937_64 random(13);
    int shortest = 0;
    for (int round = 0; round < 200000; ++round) {
        std::string text = RandomDecimal(random, 1 + static_cast<int>(random() % 17),
                                         static_cast<int>(random() % 8));
        if (random() % 8 == 0)
            text.insert(text[0] == '-' ? 1 : 0, random() % 2 ? "0" : "0.000");
        const size_t length = zmcli::ShortestDecimalLength(text.c_str());
        if (length == 0)
            continue;
        ++shortest;
        double value = 0;
        std::from_chars(text.data(), text.data() + text.size(), value);
        ASSERT_EQ(length, text.size()) << text;
        ASSERT_EQ(General(value), text);
    }
    EXPECT_GT(shortest, 50000);
    for (const char* text : {"0", "-0", "1000", "0.001", "-12.5", "123456789012345"})
        EXPECT_EQ(zmcli::ShortestDecimalLength(text), std::strlen(text)) << text;
    for (const char* text : {"", "-", "1e3", ".5", "007", "1.", "1.50", "10000000", "0.0001",
                             "1234567890123456", "+1", "1 "})
        EXPECT_EQ(zmcli::ShortestDecimalLength(text), 0u) << text;
}

}  // namespace
