// Shortest decimals from the {fmt} library's Dragonbox conversion, about twice as fast as
// the standard library's and giving the same digits.
#include "platform/ShortestDecimal.h"

// The full table of powers of ten: no recovery step per conversion.
#define FMT_USE_FULL_CACHE_DRAGONBOX 1
#include <fmt/format.h>

namespace zm {

ShortestDecimal ShortestDecimalOf(double value) {
    const auto decimal = fmt::detail::dragonbox::to_decimal(value);
    return {decimal.significand, decimal.exponent};
}

ShortestDecimal ShortestDecimalOf(float value) {
    const auto decimal = fmt::detail::dragonbox::to_decimal(value);
    return {decimal.significand, decimal.exponent};
}

}  // namespace zm
