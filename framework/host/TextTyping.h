// How a host's sheet types the texts a reader delivers, as the application's
// data object does: a text that is entirely a number becomes that number, an empty text
// a missing cell.
#pragma once

#include "framework/ZmImportTypes.h"

namespace zmhost {

// True when `text` is one number in C-locale notation and nothing else ("1.5", "-2",
// "3e3", ".5"); infinities, NaN, blanks and a leading "+" do not count.
bool ParseNumberText(const char* text, double& value);

// Whether a read through this format types its texts unless told to keep them: the
// formats that deliver every cell as text (delimited text, CSV, DIF and their kin).
bool TypesTextsByDefault(const ZmImportFileFormatInfo& info);

}  // namespace zmhost
