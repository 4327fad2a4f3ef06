// Runs of numbers handed to a sink that keeps cells one by one.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/support/RecordingSink.h"

namespace {

const double kNan = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

// Each finite value goes through the double overload; a value that is not finite leaves
// its cell as it was.
TEST(NumberRuns, DefaultSetsEachFiniteValueThroughTheDoubleOverload) {
    const std::vector<double> values = {1.5, kNan, kInf, -kInf, -0.0, 4.9e-324, 1e300};
    zmtest::RecordingSink down, across;
    down.Set(3, 5, "kept");
    down.SetNumbersDown(3, 4, values.data(), values.size());
    across.SetNumbersAcross(2, 9, values.data(), values.size());
    across.SetNumbersAcross(1, 1, values.data(), 0);
    const std::vector<int> finite = {0, 4, 5, 6};
    ASSERT_EQ(down.cells.size(), finite.size() + 1);
    ASSERT_EQ(across.cells.size(), finite.size());
    EXPECT_EQ(down.Text(3, 5), "kept");
    for (int i : finite) {
        ASSERT_TRUE(down.Has(3, 4 + i)) << i;
        ASSERT_TRUE(across.Has(2 + i, 9)) << i;
        EXPECT_EQ(down.At(3, 4 + i).via, 'd');
        EXPECT_EQ(std::signbit(down.Number(3, 4 + i)), std::signbit(values[i]));
        EXPECT_EQ(down.Number(3, 4 + i), values[i]);
        EXPECT_EQ(across.Number(2 + i, 9), values[i]);
    }
}

}  // namespace
