// Relative equality of x values, used by the spectral readers to decide whether several
// files share one x axis.
#pragma once

#include <algorithm>
#include <cmath>

namespace zm {

// Values closer than one part in a million are one value: instruments store a sampling
// interval of 0.2 s as 0.2 in one file and 0.2000001 in the next.
constexpr double kSpectralTolerance = 1e-6;

// a and b are equal when |a - b| < 1e-6 * max(|a|, |b|) (or both are zero). Infinities and
// NaN never compare equal.
inline bool SpectralValuesEqual(double a, double b) {
    if (!std::isfinite(a) || !std::isfinite(b))
        return false;
    return a == b || std::fabs(a - b) < kSpectralTolerance * std::max(std::fabs(a), std::fabs(b));
}

}  // namespace zm
