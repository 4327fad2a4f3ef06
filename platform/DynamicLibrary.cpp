// Shared-library loading over dlopen/dlsym and folder listing over std::filesystem.
#include "platform/DynamicLibrary.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace zm {

void* OpenExecutableModule() {
    return dlopen(nullptr, RTLD_NOW);
}

namespace {

// The object (executable or shared library) whose image holds `address`, or null.
const link_map* ObjectHolding(const void* address) {
    Dl_info info;
    void* where = nullptr;
    if (dladdr1(address, &info, &where, RTLD_DL_LINKMAP) == 0)
        return nullptr;
    return static_cast<const link_map*>(where);
}

}  // namespace

void* OpenModule(const std::string& path) {
    return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* FindSymbol(void* module, const char* name) {
    if (module == nullptr || name == nullptr)
        return nullptr;
    void* symbol = dlsym(module, name);
    // The executable's handle stands for the whole program, libraries it links included.
    static void* const program = OpenExecutableModule();
    if (symbol == nullptr || module == program)
        return symbol;
    // dlsym on a library also searches the libraries that it depends on. A plug-in that
    // links this library would otherwise get the library's own function in place of one
    // it lacks, so a symbol counts only when the plug-in itself defines it.
    link_map* own = nullptr;
    if (dlinfo(module, RTLD_DI_LINKMAP, &own) != 0 || own == nullptr)
        return nullptr;
    return ObjectHolding(symbol) == own ? symbol : nullptr;
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
