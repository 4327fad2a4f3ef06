// Printing numbers in their shortest form that reads back to the same value.
#pragma once

#include <string>

namespace zmcli {

// Shortest round-trip text of a double; "NaN", "inf" or "-inf" when not finite.
std::string FormatDouble(double value);
// Shortest text that reads back to the same float (0.1f prints "0.1"); same specials.
std::string FormatFloat(float value);
std::string FormatInteger(long long value);

}  // namespace zmcli
