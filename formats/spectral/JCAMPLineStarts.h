// The x that starts each data line of a JCAMP-DX block, and what it says about the count
// of points the block should hold.
#pragma once

#include <cstddef>
#include <vector>

namespace zm::jcamp {

// One data line: the x written at its start (before the x factor) and the index, within
// the block, of the point that x belongs to.
struct LineStart {
    double x = 0;
    size_t index = 0;
};

// The x axis the labels give a block of evenly spaced points.
struct AxisLabels {
    double xFactor = 1;
    double firstX = 0, lastX = 0;
    bool hasFirstX = false, hasLastX = false;
};

// The number of points the line starts call for when they disagree with the `read`
// points found, else `read`. The step between points is the median of the steps the
// consecutive line starts give, so that one missing (or extra) line does not skew it; a
// stretch between two line starts, before the first or after the last, that differs
// from its points by half a line or more counts as points missing (or too many).
size_t PointsByLineStarts(const std::vector<LineStart>& starts, size_t read,
                          const AxisLabels& axis);

}  // namespace zm::jcamp
