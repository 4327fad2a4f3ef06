// Runs of numbers handed to a sink that keeps cells one by one.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/support/RecordingSink.h"

namespace {

const double kNan = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

TEST(NumberRuns, DefaultSetsEachFiniteValueThroughTheDoubleOverload) {
    const std::vector<double> values = {1.5, kNan, kInf, -kInf, -0.0, 4.9e-324, 1e300};
    zmtest::RecordingSink down, across;
    down.SetNumbersDown(3, 4, values.data(), values.size());
    across.SetNumbersAcross(2, 9, values.data(), values.size());
    const std::vector<int> finite = {0, 4, 5, 6};
    ASSERT_EQ(down.cells.size(), finite.size());
    ASSERT_EQ(across.cells.size(), finite.size());
    for (int i : finite) {
        ASSERT_TRUE(down.Has(3, 4 + i)) << i;
        ASSERT_TRUE(across.Has(2 + i, 9)) << i;
        EXPECT_EQ(down.At(3, 4 + i).via, 'd');
        EXPECT_EQ(std::signbit(down.Number(3, 4 + i)), std::signbit(values[i]));
        EXPECT_EQ(down.Number(3, 4 + i), values[i]);
        EXPECT_EQ(across.Number(2 + i, 9), values[i]);
    }
}

TEST(NumberRuns, ValueThatIsNotFiniteLeavesTheCellAsItWas) {
    zmtest::RecordingSink sink;
    sink.Set(1, 2, "kept");
    sink.Set(1, 3, 7.0);
    const double values[] = {kNan, kInf, 8.0};
    sink.SetNumbersDown(1, 2, values, 3);
    EXPECT_EQ(sink.Text(1, 2), "kept");
    EXPECT_EQ(sink.Number(1, 3), 7.0);
    EXPECT_EQ(sink.Number(1, 4), 8.0);
    sink.SetNumbersAcross(1, 3, values, 0);
    EXPECT_EQ(sink.cells.size(), 3u);
}

}  // namespace
