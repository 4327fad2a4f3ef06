// A bounds walk over the header of a classic netCDF file, done before the netCDF library
// opens it.
#pragma once

#include <cstdint>
#include <string>

namespace zm {

// Walks the header of a classic, 64-bit offset or 64-bit data netCDF file and tells
// whether every count in it (dimensions, attributes, variables, name lengths, a
// variable's dimension list, attribute values) fits in the file. The netCDF library
// allocates each list as long as its count says before reading it, so a header claiming
// a billion variables or dimension ids would cost gigabytes; such a file is refused here.
// So is a file cut short: one whose header places a variable's data (in the last record,
// for record variables) beyond the end of the file, which the library would read as
// zeros.
// Files that do not begin with a classic signature (netCDF-4 on HDF5, anything else)
// pass: the netCDF library decides about them.
bool ClassicHeaderFits(const std::string& path, uint64_t fileSize);

}  // namespace zm
