// Choosing the format of files that were given without one.
#pragma once

#include <string>
#include <vector>

namespace zmcli {

// The 1-based index of the format to read the files with, or 0 when no format claims
// them. The first file decides: the first format sure of its content wins; otherwise a
// format whose extension list holds the file's extension, one that finds the file
// plausible before one that merely can read it.
int ChooseFormat(const std::vector<std::string>& files);

}  // namespace zmcli
