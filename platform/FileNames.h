// File-name helpers: several names in one string, narrow/wide paths, titles and extensions.
#pragma once

#include <string>
#include <vector>

#include "platform/ZmExport.h"

namespace zm {

// Several file names travel as one string joined by line feeds. A name that holds a line
// feed or a carriage return, or starts with a double quote, is written in double quotes
// with \n, \r, \" and \\ escapes, so it stays one name.
ZMIMPORT_API std::string JoinFileNames(const std::vector<std::string>& names);
// Splits at line feeds, dropping one carriage return before each and empty entries, and
// undoes the quoting of JoinFileNames. A string holding a line feed that names an existing
// file as a whole is that one name.
ZMIMPORT_API std::vector<std::string> SplitFileNames(const std::string& joined);

// Narrow paths are UTF-8; wide paths are converted to and from it.
ZMIMPORT_API std::string WideToNarrow(const std::wstring& path);
ZMIMPORT_API std::wstring NarrowToWide(const std::string& path);

// "dir/name.ext" gives "name" and ".ext" (the dot included; empty without a dot).
ZMIMPORT_API std::string FileTitle(const std::string& path);
ZMIMPORT_API std::string FileExtension(const std::string& path);

}  // namespace zm
