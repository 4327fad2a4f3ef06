// Loading the netCDF C library on first use.
#include "platform/NetCDFLibrary.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "platform/DynamicLibrary.h"

namespace zm {

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

const NetCdfFunctions* LoadNetCdf(std::string& error) {
    const auto bind = [](void* module, NetCdfFunctions& f, std::string& missing) {
#define ZM_NETCDF_BIND(name) BindFunction(module, "nc_" #name, f.name, missing);
        ZM_NETCDF_FUNCTIONS(ZM_NETCDF_BIND)
#undef ZM_NETCDF_BIND
    };
    return LoadLibraryOnce<NetCdfFunctions>(ZM_NETCDF_SONAME, bind, error);
}

bool MayBeNetCdf(const std::string& path, unsigned long long fileSize) {
    static constexpr unsigned char kHdf5[8] = {0x89, 'H', 'D', 'F', '\r', '\n', 0x1A, '\n'};
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
    if (!file)
        return false;
    unsigned char head[8] = {};
    if (std::fread(head, 1, sizeof head, file.get()) < 4)
        return false;
    if (std::memcmp(head, "CDF", 3) == 0 || std::memcmp(head, kHdf5, sizeof kHdf5) == 0)
        return true;
    for (unsigned long long offset = 512; offset + sizeof head <= fileSize; offset *= 2) {
        if (std::fseek(file.get(), static_cast<long>(offset), SEEK_SET) != 0 ||
            std::fread(head, 1, sizeof head, file.get()) != sizeof head)
            return false;
        if (std::memcmp(head, kHdf5, sizeof kHdf5) == 0)
            return true;
    }
    return false;
}

}  // namespace zm
