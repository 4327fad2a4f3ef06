// Exact shortcuts for the common numbers of measurement tables: plain decimals of at most
// fifteen or so digits. Both answer false where the general conversion must decide.
#pragma once

#include <cstddef>

namespace zmcli {

// Reads "[-]digits[.digits]" with one to fifteen digits in all: the quotient of two
// exact doubles, so one correctly rounded division gives what std::from_chars gives.
bool FastParseDecimal(const char* first, const char* last, double& value);

// Writes the text std::to_chars(value) would write when that text is in fixed notation
// with at most fifteen significant digits; returns its length, or 0 when the general
// conversion must decide. `out` holds at least 32 bytes.
size_t FastShortestFixed(double value, char* out);

}  // namespace zmcli
