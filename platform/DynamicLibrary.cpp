// Shared-library loading over dlopen/dlsym and folder listing over std::filesystem.
#include "platform/DynamicLibrary.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace zm {

void* OpenExecutableModule() {
    return dlopen(nullptr, RTLD_NOW);
}

void* OpenModule(const std::string& path) {
    return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* FindSymbol(void* module, const char* name) {
    if (module == nullptr || name == nullptr)
        return nullptr;
    return dlsym(module, name);
}

std::string ExecutablePath() {
    std::error_code error;
    std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : path.string();
}

std::vector<std::string> ListSharedLibraries(const std::string& folder) {
    std::vector<std::string> found;
    if (folder.empty())
        return found;
    std::error_code error;
    std::filesystem::directory_iterator it(folder, error);
    if (error)
        return found;
    for (const std::filesystem::directory_iterator end; it != end; it.increment(error)) {
        if (error)
            break;
        const std::filesystem::path& path = it->path();
        if (path.extension() != ".so" || path.stem().empty())
            continue;
        std::error_code statError;
        if (!std::filesystem::is_regular_file(path, statError))
            continue;
        found.push_back(path.string());
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace zm
