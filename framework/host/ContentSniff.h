// What a file's first bytes say before any format is asked: a workbook package or a
// BIFF workbook whatever the file's name, and content that is no text at all.
#pragma once

#include <string>

namespace zmhost {

// "Excel2007 File" for a zip package holding a workbook part, "Excel File" for a compound
// file with a "Workbook" or "Book" stream or a bare BIFF stream; "" when the content
// does not name a format.
std::string FormatNamedByContent(const std::string& file);

// True when more than a tenth of the first 64 KiB are NUL or other control bytes that
// no text holds (UTF-16 text aside).
bool LooksBinary(const std::string& file);

// True for the formats that take any text: what detection falls back to.
bool IsTextLikeFormat(const std::string& formatName);

}  // namespace zmhost
