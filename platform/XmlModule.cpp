// Loading the XML module beside the library on first use.
#include "platform/XmlModule.h"

#include <dlfcn.h>

#include <mutex>
#include <string>

#include "platform/DynamicLibrary.h"
#include "platform/Exception.h"

// Defined by the module's objects; present here only in programs that link them in.
extern "C" const zm::XmlModule* zm_xml_module() __attribute__((weak));

namespace zm {

namespace {

// Named like a versioned library so that the plug-in loader, which tries every "*.so"
// beside the program, leaves it alone.
constexpr const char* kModuleName = "libzmimport_xml.so.0";

// The folder of the file this code was loaded from (the library), with its slash.
std::string OwnFolder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&XmlModuleSymbol), &info) == 0 || info.dli_fname == nullptr)
        return std::string();
    const std::string path = info.dli_fname;
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

struct Loaded {
    void* module = nullptr;
    std::string error;
};

const Loaded& LoadOnce() {
    static Loaded loaded;
    static std::once_flag once;
    std::call_once(once, [] {
        const std::string beside = OwnFolder() + kModuleName;
        loaded.module = OpenModule(beside);
        if (loaded.module == nullptr) {
            loaded.error = LastLoadError();
            // An installation that keeps the module on the loader's search path.
            loaded.module = OpenModule(kModuleName);
        }
    });
    return loaded;
}

}  // namespace

void* XmlModuleSymbol(const char* symbol) {
    const Loaded& loaded = LoadOnce();
    if (loaded.module == nullptr)
        throw Exception("The XML part of the library ({1}) could not be loaded: {2}",
                        {kModuleName, loaded.error});
    void* address = FindSymbol(loaded.module, symbol);
    if (address == nullptr)
        throw Exception("The XML part of the library ({1}) lacks {2}.", {kModuleName, symbol});
    return address;
}

const XmlModule& Xml() {
    static const XmlModule* const module = XmlModuleEntry(zm_xml_module, "zm_xml_module");
    return *module;
}

}  // namespace zm
