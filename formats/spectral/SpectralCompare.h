// Relative equality of x values, used by the spectral readers to decide whether several
// files share one x axis.
#pragma once

#include <algorithm>
#include <cmath>

namespace zm {

// The single-precision epsilon.
constexpr double kSpectralEpsilon = 1.1920928955078125e-7;

// a and b are equal when |a - b| <= epsilon * 2^e, e being the binary exponent of the larger
// magnitude. Infinities and NaN never compare equal.
inline bool SpectralValuesEqual(double a, double b) {
    if (!std::isfinite(a) || !std::isfinite(b))
        return false;
    int exponent = 0;
    std::frexp(std::max(std::fabs(a), std::fabs(b)), &exponent);
    return std::fabs(a - b) <= std::ldexp(kSpectralEpsilon, exponent);
}

}  // namespace zm
