// Printing numbers in their shortest form that reads back to the same value.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zmhost {

// Each Print writes into `out` (at least kNumberRoom bytes) and returns the length.
constexpr size_t kNumberRoom = 32;

// Shortest round-trip text of a double; "NaN", "inf" or "-inf" when not finite.
size_t PrintDouble(double value, char* out);
// Shortest text that reads back to the same float (0.1f prints "0.1"); same specials.
size_t PrintFloat(float value, char* out);
size_t PrintInteger(long long value, char* out);
// Each of `count` numbers after `separator` (one or two characters), as PrintDouble or
// PrintFloat prints it, into `out` (at least `count` times kNumberRoom and the
// separator's size): the cells of a row's run.
size_t PrintSeparatedNumbers(const double* values, size_t count, std::string_view separator,
                             char* out);
size_t PrintSeparatedNumbers(const float* values, size_t count, std::string_view separator,
                             char* out);

std::string FormatDouble(double value);
std::string FormatFloat(float value);
std::string FormatInteger(long long value);

}  // namespace zmhost
