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

}  // namespace
