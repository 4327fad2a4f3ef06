// Number printing against the standard library's shortest round-trip conversion: the same
// text for every kind of value the readers deliver, and that text reads back exactly.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "framework/host/NumberFormat.h"

namespace {

template <typename T>
std::string Expected(T value) {
    if (std::isnan(value))
        return "NaN";
    if (std::isinf(value))
        return value < 0 ? "-inf" : "inf";
    char buffer[64];
    return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

// Counts mismatches and reports the first few, so that one run shows the pattern.
template <typename T>
void Check(T value, int& mismatches) {
    const std::string printed =
        sizeof(T) == sizeof(float) ? zmhost::FormatFloat(value) : zmhost::FormatDouble(value);
    const std::string expected = Expected(value);
    if (printed != expected && ++mismatches <= 10)
        ADD_FAILURE() << "printed " << printed << ", expected " << expected;
    // A row's run prints each number as well, after its separator.
    char run[2 + zmhost::kNumberRoom];
    const size_t length = zmhost::PrintSeparatedNumbers(&value, 1, ", ", run);
    if (std::string(run, length) != ", " + expected && ++mismatches <= 10)
        ADD_FAILURE() << "in a run printed " << std::string(run, length);
    if (std::isfinite(value)) {
        T back{};
        std::from_chars(printed.data(), printed.data() + printed.size(), back);
        if (std::memcmp(&back, &value, sizeof value) != 0 && ++mismatches <= 10)
            ADD_FAILURE() << printed << " does not read back";
    }
}

}  // namespace

// Edge values, every power of ten with its neighbours (where fixed and scientific
// notation trade places and the digit count changes), then random values of every kind.
TEST(NumberFormat, EdgeAndRandomValuesPrintAsTheStandardConversion) {
    using Limits = std::numeric_limits<double>;
    std::vector<double> edges = {0.0,
                                 Limits::quiet_NaN(),
                                 Limits::infinity(),
                                 Limits::min(),
                                 Limits::denorm_min(),
                                 Limits::max(),
                                 0.2 + 0.1,
                                 1.0 / 3,
                                 9007199254740993.0,
                                 123456789012345680.0,
                                 1e23,
                                 2148999936.0};  // as a float "2.149e+09"
    for (int k = -330; k <= 310; ++k) {
        const double p = std::pow(10.0, k);
        for (double v : {p, std::nextafter(p, 0.0), std::nextafter(p, HUGE_VAL), 1.5 * p, 9.99 * p})
            edges.push_back(v);
    }
    int mismatches = 0;
    for (double v : edges) {
        for (double w : {v, -v}) {
            Check(w, mismatches);
            Check(static_cast<float>(w), mismatches);
        }
    }
    std::mt19937_64 random(25);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int i = 0; i < 400000; ++i) {
        const uint64_t bits = random();
        double anyDouble;
        std::memcpy(&anyDouble, &bits, sizeof anyDouble);
        float anyFloat;
        const auto floatBits = static_cast<uint32_t>(bits >> 32);
        std::memcpy(&anyFloat, &floatBits, sizeof anyFloat);
        // Measurement-like values: uniform doubles, floats widened to double, integers
        // of every size, short decimals.
        const double integer = static_cast<double>(static_cast<int64_t>(bits) >> (bits % 64));
        const double decimal = std::round(unit(random) * 1e6) / 1000.0;
        for (double v : {anyDouble, unit(random), static_cast<double>(anyFloat), integer, decimal})
            Check(v, mismatches);
        Check(anyFloat, mismatches);
        Check(static_cast<float>(unit(random)), mismatches);
    }
    EXPECT_EQ(mismatches, 0);
}

// Whole numbers take a path of their own: of every length, with and without trailing
// zeros (where scientific notation may be the shorter), up to and past where the type
// stops holding every integer.
TEST(NumberFormat, WholeNumbersPrintAsTheStandardConversion) {
    std::mt19937_64 random(53);
    int mismatches = 0;
    for (int i = 0; i < 1000000; ++i) {
        const uint64_t bits = random();
        const int digits = 1 + static_cast<int>(bits % 17);
        const auto scale = static_cast<uint64_t>(std::pow(10.0, static_cast<int>(bits >> 8) % 8));
        const uint64_t whole = (random() % static_cast<uint64_t>(std::pow(10.0, digits))) * scale;
        const double sign = bits & 0x10000 ? -1.0 : 1.0;
        const double d = sign * static_cast<double>(whole);
        const double near53 = sign * static_cast<double>((uint64_t{1} << 53) - 64 + bits % 128);
        const float f = static_cast<float>(sign * static_cast<double>(whole % 100000000));
        const float near24 =
            static_cast<float>(sign * static_cast<double>((1 << 24) - 64 + bits % 128));
        for (double v : {d, near53})
            Check(v, mismatches);
        for (float v : {f, near24})
            Check(v, mismatches);
    }
    EXPECT_EQ(mismatches, 0);
}

TEST(NumberFormat, IntegersAndSpecialsKeepTheirForms) {
    EXPECT_EQ(zmhost::FormatInteger(std::numeric_limits<long long>::min()), "-9223372036854775808");
    EXPECT_EQ(zmhost::FormatDouble(-0.0), "-0");
    EXPECT_EQ(zmhost::FormatFloat(-0.0f), "-0");
    // A float keeps a float's shortest digits, at most nine.
    EXPECT_EQ(zmhost::FormatFloat(0.1f), "0.1");
    EXPECT_EQ(zmhost::FormatDouble(0.1f), "0.10000000149011612");
    EXPECT_EQ(zmhost::FormatFloat(16777217.0f), "16777216");
    EXPECT_EQ(zmhost::FormatDouble(1e15), "1e+15");
    EXPECT_EQ(zmhost::FormatDouble(123456789012345.0), "123456789012345");
    EXPECT_EQ(zmhost::FormatDouble(1e-5), "1e-05");
    EXPECT_EQ(zmhost::FormatDouble(0.0001), "1e-04");
    EXPECT_EQ(zmhost::FormatDouble(0.001), "0.001");  // as long as "1e-03": fixed
}
