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

std::string Printf(float value) {
    char text[64];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(value));
    return text;
}

std::string Ours(float value) {
    char text[32];
    const size_t length = zm::FormatG6(value, text);
    EXPECT_EQ(length, std::strlen(text));
    return text;
}

TEST(FloatText, EdgeValuesMatchPrintf) {
    const float values[] = {0.0f,
                            -0.0f,
                            0.2f,
                            0.0001f,
                            0.00001f,
                            0.000123456f,
                            1.0f,
                            100.0f,
                            123456.0f,
                            999999.0f,
                            999999.5f,
                            1000000.0f,
                            1234567.0f,
                            1e-5f,
                            -2.5f,
                            1e30f,
                            -1e-30f,
                            3.4028235e38f,
                            1.4e-45f,
                            0.1f + 0.2f,
                            16777216.0f,
                            9.999995f,
                            99999.95f,
                            0.30000001f,
                            std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity()};
    for (float value : values)
        EXPECT_EQ(Ours(value), Printf(value)) << std::hexfloat << value;
    EXPECT_EQ(Ours(std::nanf("")).find("nan") != std::string::npos, true);
}

TEST(FloatText, RetentionGridsAndRandomBitPatternsMatchPrintf) {
    // Grids as chromatograms have them: start + i * step, computed in float.
    for (float step : {0.2f, 0.05f, 0.001f, 1.0f / 60.0f, 0.0125f}) {
        for (int i = 0; i < 200000; i += 7) {
            const float x = 0.35f + static_cast<float>(i) * step;
            ASSERT_EQ(Ours(x), Printf(x)) << i << " " << step;
        }
    }
    std::mt19937 random(12345);
    for (int i = 0; i < 200000; ++i) {
        const uint32_t bits = random();
        float x;
        std::memcpy(&x, &bits, sizeof x);
        if (std::isnan(x))
            continue;
        ASSERT_EQ(Ours(x), Printf(x)) << std::hexfloat << x;
    }
}

TEST(FloatText, EveryDecadeWithoutExponentMatchesPrintf) {
    // Runs of consecutive floats at each power of ten and at six-digit rounding ties
    // (binary fractions whose seventh digit is an exact 5, e.g. 1.015625), then random
    // floats spread evenly over the decades written without an exponent.
    for (float start : {1e-4f, 1e-3f, 0.01f, 0.1f, 1.0f, 10.0f, 100.0f, 1000.0f, 1e4f, 1e5f, 1e6f,
                        1.015625f, 2.0078125f, 0.00048828125f, 1234.5625f, 99999.95f}) {
        float x = start;
        for (int i = 0; i < 3000; ++i)
            x = std::nextafter(x, 0.0f);
        for (int i = 0; i < 6000; ++i, x = std::nextafter(x, 2e6f)) {
            ASSERT_EQ(Ours(x), Printf(x)) << std::hexfloat << x;
            ASSERT_EQ(Ours(-x), Printf(-x)) << std::hexfloat << -x;
        }
    }
    std::mt19937 random(777);
    std::uniform_real_distribution<float> decade(-4.5f, 6.5f);
    for (int i = 0; i < 300000; ++i) {
        const float x = std::pow(10.0f, decade(random));
        ASSERT_EQ(Ours(x), Printf(x)) << std::hexfloat << x;
    }
    for (int i = 0; i < 1 << 16; ++i) {  // every multiple of 1/1024 below 64: many ties
        const float x = static_cast<float>(i) / 1024.0f;
        ASSERT_EQ(Ours(x), Printf(x)) << std::hexfloat << x;
    }
}

}  // namespace
