// Linear interpolation of a sampled curve at new abscissas.
#pragma once

#include <vector>

#include "platform/ZmExport.h"

namespace zm {

// The values of the curve (x, y) at each of `targetX`, by linear interpolation between
// the two neighbouring source points. The source x may run upwards or downwards (or
// in no order: it is then sorted with its y). A target within a few ulps of an end of
// the source range counts as that end. A target further outside the source range, a
// source with fewer than one point, or x and y of different lengths give NaN; a target
// equal to a source x gives that point's y.
ZMIMPORT_API std::vector<double> InterpolateVector(const std::vector<double>& x,
                                                   const std::vector<double>& y,
                                                   const std::vector<double>& targetX);

}  // namespace zm
