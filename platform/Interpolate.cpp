// Linear interpolation of a sampled curve at new abscissas.
#include "platform/Interpolate.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace zm {

std::vector<double> InterpolateVector(const std::vector<double>& x, const std::vector<double>& y,
                                      const std::vector<double>& targetX) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    std::vector<double> out(targetX.size(), nan);
    if (x.size() != y.size() || x.empty())
        return out;
    // The source as points of increasing x; points without a finite x cannot be placed.
    std::vector<double> sx, sy;
    sx.reserve(x.size());
    sy.reserve(y.size());
    if (std::is_sorted(x.begin(), x.end())) {
        sx = x;
        sy = y;
    } else if (std::is_sorted(x.rbegin(), x.rend())) {
        sx.assign(x.rbegin(), x.rend());
        sy.assign(y.rbegin(), y.rend());
    } else {
        std::vector<size_t> order(x.size());
        std::iota(order.begin(), order.end(), size_t{0});
        std::stable_sort(order.begin(), order.end(),
                         [&x](size_t a, size_t b) { return x[a] < x[b]; });
        for (size_t i : order) {
            sx.push_back(x[i]);
            sy.push_back(y[i]);
        }
    }
    size_t kept = 0;
    for (size_t i = 0; i < sx.size(); ++i) {
        if (std::isfinite(sx[i])) {
            sx[kept] = sx[i];
            sy[kept] = sy[i];
            ++kept;
        }
    }
    sx.resize(kept);
    sy.resize(kept);
    if (sx.empty())
        return out;
    // A grid computed as first + i * step may end a rounding step or two beyond the
    // other curve's ends although both name the same first and last x: targets within a
    // few ulps of an end are taken as that end.
    const double slack = 8 * std::numeric_limits<double>::epsilon() *
                         std::max(std::fabs(sx.front()), std::fabs(sx.back()));
    for (size_t i = 0; i < targetX.size(); ++i) {
        double t = targetX[i];
        if (t < sx.front() && t >= sx.front() - slack)
            t = sx.front();
        else if (t > sx.back() && t <= sx.back() + slack)
            t = sx.back();
        if (!(t >= sx.front() && t <= sx.back()))
            continue;
        const auto hi = static_cast<size_t>(std::lower_bound(sx.begin(), sx.end(), t) - sx.begin());
        if (sx[hi] == t || hi == 0) {
            out[i] = sy[hi];
            continue;
        }
        const size_t lo = hi - 1;
        const double span = sx[hi] - sx[lo];
        const double f = (t - sx[lo]) / span;
        out[i] = sy[lo] + f * (sy[hi] - sy[lo]);
    }
    return out;
}

}  // namespace zm
