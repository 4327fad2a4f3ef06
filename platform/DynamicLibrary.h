// Loading shared libraries and resolving their exported functions by name.
#pragma once

#include <string>
#include <vector>

namespace zm {

// The host executable itself as a module (its exported symbols and those of the
// libraries it was linked with), or null.
void* OpenExecutableModule();
// Loads a library with every symbol bound now and kept local to it; null on failure.
void* OpenModule(const std::string& path);
// The dynamic loader's text for the last failed load, or empty.
std::string LastLoadError();
// The address of an exported symbol of `module`, or null.
void* FindSymbol(void* module, const char* name);
// The same, found also in the libraries `module` depends on (GLib's functions for libgsf).
void* FindSymbolWithDependencies(void* module, const char* name);

template <typename Function>
Function FindFunction(void* module, const char* name) {
    return reinterpret_cast<Function>(FindSymbol(module, name));
}

// Fills `slot` with the function `name` of `module` or of a library it depends on, or adds
// the name to `missing`.
template <typename Function>
void BindFunction(void* module, const char* name, Function& slot, std::string& missing) {
    slot = reinterpret_cast<Function>(FindSymbolWithDependencies(module, name));
    if (slot == nullptr)
        missing += (missing.empty() ? "" : ", ") + std::string(name);
}

// A C library loaded by its file name (`soname`) the first time it is needed, and never
// unloaded; `bind(module, functions, missing)` binds its functions into `Functions`, a
// struct of function pointers. Null when the library cannot be loaded or lacks one of
// them, with the reason in `error`.
template <typename Functions, typename Bind>
const Functions* LoadLibraryOnce(const char* soname, Bind bind, std::string& error) {
    struct Loaded {
        Functions functions;
        std::string error;
    };
    static const Loaded loaded = [&] {
        Loaded result;
        void* module = OpenModule(soname);
        if (module == nullptr) {
            result.error = std::string(soname) + " could not be loaded: " + LastLoadError();
            return result;
        }
        std::string missing;
        bind(module, result.functions, missing);
        if (!missing.empty())
            result.error = std::string(soname) + " lacks " + missing;
        return result;
    }();
    if (!loaded.error.empty()) {
        error = loaded.error;
        return nullptr;
    }
    return &loaded.functions;
}

// Why the file at `path` cannot be loaded as a shared object of this machine, or empty
// when it can: an ELF shared object of this word size, byte order and processor whose
// headers and every loadable segment lie inside the file. The dynamic loader maps a
// truncated object and then faults on the missing pages, so such files are refused here.
std::string SharedObjectProblem(const std::string& path);

// The full path of the running executable; empty when it cannot be read.
std::string ExecutablePath();
// The regular files (links followed) named "*.so" in `folder`, sorted by name so that
// every run lists them in the same order. A folder that cannot be read gives none.
std::vector<std::string> ListSharedLibraries(const std::string& folder);

}  // namespace zm
