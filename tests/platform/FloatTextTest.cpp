// Six-digit "%g" texts of floats against the C library's printf.
#include "platform/FloatText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace {

// "" when our text of `value` is printf's, else both texts.
std::string Mismatch(float value) {
    char ours[32], theirs[64];
    const size_t length = zm::FormatG6(value, ours);
    std::snprintf(theirs, sizeof theirs, "%g", static_cast<double>(value));
    return length == std::strlen(ours) && std::strcmp(ours, theirs) == 0
               ? ""
               : std::string(ours) + " instead of " + theirs;
}

TEST(FloatText, EdgesGridsDecadesAndRandomBitsMatchPrintf) {
    for (float value : {0.0f, -0.0f, 999999.5f, 1e-5f, 1e30f, -1e-30f, 3.4028235e38f, 1.4e-45f,
                        9.999995f, std::numeric_limits<float>::infinity()})
        ASSERT_EQ(Mismatch(value), "");
    char nan[32];
    zm::FormatG6(std::nanf(""), nan);
    EXPECT_NE(std::string(nan).find("nan"), std::string::npos);
    // Grids as chromatograms have them: start + i * step, computed in float.
    for (float step : {0.2f, 0.05f, 0.001f, 1.0f / 60.0f, 0.0125f}) {
        for (int i = 0; i < 200000; i += 7)
            ASSERT_EQ(Mismatch(0.35f + static_cast<float>(i) * step), "");
    }
    // Runs of consecutive floats at each power of ten and at six-digit rounding ties
    // (binary fractions whose seventh digit is an exact 5, e.g. 1.015625).
    for (float start : {1e-4f, 1e-3f, 0.01f, 0.1f, 1.0f, 10.0f, 100.0f, 1000.0f, 1e4f, 1e5f, 1e6f,
                        1.015625f, 2.0078125f, 0.00048828125f, 1234.5625f, 99999.95f}) {
        float x = start;
        for (int i = 0; i < 3000; ++i)
            x = std::nextafter(x, 0.0f);
        for (int i = 0; i < 6000; ++i, x = std::nextafter(x, 2e6f)) {
            ASSERT_EQ(Mismatch(x), "");
            ASSERT_EQ(Mismatch(-x), "");
        }
    }
    for (int i = 0; i < 1 << 16; ++i)  // every multiple of 1/1024 below 64: many ties
        ASSERT_EQ(Mismatch(static_cast<float>(i) / 1024.0f), "");
    // Random floats spread evenly over the decades written without an exponent, and
    // random bit patterns.
    std::mt19937 random(777);
    std::uniform_real_distribution<float> decade(-4.5f, 6.5f);
    for (int i = 0; i < 300000; ++i)
        ASSERT_EQ(Mismatch(std::pow(10.0f, decade(random))), "");
    for (int i = 0; i < 200000; ++i) {
        const uint32_t bits = random();
        float x;
        std::memcpy(&x, &bits, sizeof x);
        if (!std::isnan(x)) {
            ASSERT_EQ(Mismatch(x), "");
        }
    }
}

}  // namespace
