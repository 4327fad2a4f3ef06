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

// The length of `text` when it is a plain decimal that std::to_chars prints back
// unchanged from the double it reads as ("12.5", "-0.001", "0", "1000"), so that its
// printed form is the text itself; 0 for anything else ("12.50", ".5", "007", "1e3",
// "0.0001", "").
size_t ShortestDecimalLength(const char* text);

}  // namespace zmcli
