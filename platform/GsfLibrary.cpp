// Loading libgsf on first use.
#include "platform/GsfLibrary.h"

#include "platform/DynamicLibrary.h"

namespace zm {

const GsfFunctions* LoadGsf(std::string& error) {
    const auto bind = [](void* module, GsfFunctions& f, std::string& missing) {
#define ZM_GSF_BIND(name) BindFunction(module, #name, f.name, missing);
        ZM_GSF_FUNCTIONS(ZM_GSF_BIND)
#undef ZM_GSF_BIND
    };
    return LoadLibraryOnce<GsfFunctions>(ZM_GSF_SONAME, bind, error);
}

}  // namespace zm
