// The line-start x check of JCAMP-DX data blocks that announce no point count.
#include "formats/spectral/JCAMPLineStarts.h"

#include <algorithm>
#include <cmath>

namespace zm::jcamp {

namespace {

// The difference between the points a stretch of `span` x holds at `step` apart and the
// `have` points found there, when it is half a line (`line` points) or more; else 0.
long long Shortfall(double span, double step, size_t have, size_t line) {
    const double implied = std::round(span / step);
    if (!std::isfinite(implied) || std::fabs(implied) > 1e15)
        return 0;
    const long long missing = static_cast<long long>(implied) - static_cast<long long>(have);
    const auto tolerance = static_cast<long long>(std::max<size_t>(line, 2) / 2);
    return std::llabs(missing) >= std::max(tolerance, 1LL) ? missing : 0;
}

}  // namespace

size_t PointsByLineStarts(const std::vector<LineStart>& starts, size_t read,
                          const AxisLabels& axis) {
    if (starts.size() < 3 || read == 0)
        return read;
    std::vector<double> steps;
    std::vector<size_t> gaps;
    steps.reserve(starts.size());
    for (size_t k = 1; k < starts.size(); ++k) {
        if (starts[k].index <= starts[k - 1].index)
            return read;  // out of order: no judgement
        const size_t gap = starts[k].index - starts[k - 1].index;
        steps.push_back((starts[k].x - starts[k - 1].x) * axis.xFactor / static_cast<double>(gap));
        gaps.push_back(gap);
    }
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    const double step = *middle;
    std::nth_element(gaps.begin(), gaps.begin() + static_cast<std::ptrdiff_t>(gaps.size() / 2),
                     gaps.end());
    const size_t line = gaps[gaps.size() / 2];
    if (!std::isfinite(step) || step == 0)
        return read;

    long long missing = 0;
    for (size_t k = 1; k < starts.size(); ++k) {
        const double span = (starts[k].x - starts[k - 1].x) * axis.xFactor;
        missing += Shortfall(span, step, starts[k].index - starts[k - 1].index, line);
    }
    if (axis.hasFirstX)
        missing += Shortfall(starts.front().x * axis.xFactor - axis.firstX, step,
                             starts.front().index, line);
    if (axis.hasLastX && starts.back().index < read) {
        // From the last line's first point to LASTX, the last point included.
        missing += Shortfall(axis.lastX - starts.back().x * axis.xFactor, step,
                             read - 1 - starts.back().index, line);
    }
    const long long expected = static_cast<long long>(read) + missing;
    return expected > 0 ? static_cast<size_t>(expected) : read;
}

}  // namespace zm::jcamp
