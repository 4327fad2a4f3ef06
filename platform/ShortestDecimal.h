// The shortest decimal that reads back to a binary floating-point value.
#pragma once

#include <cstdint>

#include "platform/ZmExport.h"

namespace zm {

// significand x 10^exponent: the decimal with the fewest digits that reads back to the
// value, and of those the closest to it; no trailing zeros in the significand.
struct ShortestDecimal {
    uint64_t significand;
    int exponent;
};

// For finite non-zero values only; the sign is left to the caller.
ZMIMPORT_API ShortestDecimal ShortestDecimalOf(double value);
ZMIMPORT_API ShortestDecimal ShortestDecimalOf(float value);

}  // namespace zm
