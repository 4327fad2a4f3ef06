// Numbers as "%g" writes them, without printf and without the locale.
#pragma once

#include <cstddef>

#include "platform/ZmExport.h"

namespace zm {

// Writes `value` with six significant digits as printf's "%g" does in the C locale
// (trailing zeros dropped, exponent form below 1e-4 and from 1e6 on) into `out`, which
// holds at least 32 characters, and ends it with a zero. Returns the length.
// Headings of millions of columns are written this way: the float's shortest decimal
// digits, rounded to six, are laid out directly.
ZMIMPORT_API size_t FormatG6(float value, char* out);

}  // namespace zm
