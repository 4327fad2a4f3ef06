// The netCDF C library, loaded the first time a file that can be netCDF is opened: most
// reads never meet one, and the library pulls in HDF5 and the network and crypto
// libraries, whose loading would otherwise lengthen every start of a program.
#pragma once

#include <netcdf.h>

#include <string>

namespace zm {

// clang-format off
#define ZM_NETCDF_FUNCTIONS(X) \
    X(close) X(free_string) X(get_att) X(get_att_double) X(get_att_string) X(get_att_text) \
    X(get_var) X(get_var1_double) X(get_vara) X(get_vara_double) X(get_vara_float) \
    X(get_vara_int) X(get_vara_short) X(get_vara_text) X(get_vara_uchar) X(inq_att) \
    X(inq_attid) X(inq_attlen) X(inq_attname) X(inq_dimid) X(inq_dimlen) X(inq_format) \
    X(inq_nvars) X(inq_type) X(inq_var) X(inq_var_chunking) X(inq_vardimid) X(inq_varid) \
    X(inq_varname) X(inq_varnatts) X(inq_varndims) X(inq_vartype) X(open) \
    X(set_var_chunk_cache)
// clang-format on

// The library's functions used here, each under its name without the "nc_" prefix.
struct NetCdfFunctions {
#define ZM_NETCDF_MEMBER(name) decltype(&::nc_##name) name = nullptr;
    ZM_NETCDF_FUNCTIONS(ZM_NETCDF_MEMBER)
#undef ZM_NETCDF_MEMBER
};

// The functions, loading the library on first use; null when it cannot be loaded, with
// the reason in `error`.
const NetCdfFunctions* LoadNetCdf(std::string& error);

// True when the file begins like a file the library reads: a classic header ("CDF"), or
// an HDF5 signature at the start or at one of the offsets (512, 1024, 2048, ...) where a
// user block may push it. Files that cannot be netCDF never load the library.
bool MayBeNetCdf(const std::string& path, unsigned long long fileSize);

}  // namespace zm
