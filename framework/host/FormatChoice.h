// Choosing the format of files that were given without one.
#pragma once

#include <string>
#include <vector>

namespace zmhost {

// The 1-based index of the format to read the files with, or 0 when there is none, as
// the application chooses it: the import driver checks the files (they must exist and
// be no folders) and the plug-in loader decides by the first file's content, then by its
// extension. When there is none, `why` (if given) receives the driver's text.
// A workbook's content (a zip package or a BIFF workbook) outranks the extension; a
// file with binary content that only the text formats would take is refused.
int ChooseFormat(const std::vector<std::string>& files, std::string* why = nullptr);

// The refusal of a binary file no format recognises; it names the file itself.
std::string BinaryRefusal(const std::string& file);

// Why no format reads `file`, from what ChooseFormat told: "FILE: " before a text that
// does not name the file itself.
std::string NoFormatText(const std::string& file, const std::string& why);

}  // namespace zmhost
