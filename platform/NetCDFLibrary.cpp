// Loading the netCDF C library on first use.
#include "platform/NetCDFLibrary.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>

#include "platform/DynamicLibrary.h"

namespace zm {

namespace {

struct Loaded {
    NetCdfFunctions functions;
    bool complete = false;
    std::string error;
};

const Loaded& LoadOnce() {
    static Loaded loaded;
    static std::once_flag once;
    std::call_once(once, [] {
        void* library = OpenModule(ZM_NETCDF_SONAME);
        if (library == nullptr) {
            loaded.error =
                "the netCDF library (" ZM_NETCDF_SONAME ") could not be loaded: " + LastLoadError();
            return;
        }
        NetCdfFunctions& f = loaded.functions;
        std::string missing;
#define ZM_NETCDF_FIND(name)                                       \
    f.name = FindFunction<decltype(f.name)>(library, "nc_" #name); \
    if (f.name == nullptr)                                         \
        missing += missing.empty() ? "nc_" #name : ", nc_" #name;
        ZM_NETCDF_FUNCTIONS(ZM_NETCDF_FIND)
#undef ZM_NETCDF_FIND
        if (!missing.empty()) {
            loaded.error = "the netCDF library (" ZM_NETCDF_SONAME ") lacks " + missing;
            return;
        }
        loaded.complete = true;
    });
    return loaded;
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

const NetCdfFunctions* LoadNetCdf(std::string& error) {
    const Loaded& loaded = LoadOnce();
    if (!loaded.complete) {
        error = loaded.error;
        return nullptr;
    }
    return &loaded.functions;
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
