// Fuzz target: one file found in a plug-in folder. The loader's checks decide whether
// it may be loaded: a damaged or foreign object is refused with a reason and never
// reaches the dynamic loader; one that passes is loaded and asked for the interface.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/DynamicLibrary.h"

namespace fs = std::filesystem;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The folder, made once and removed when the process ends.
    static const struct Folder {
        fs::path path =
            fs::temp_directory_path() / ("zmimport-fuzz-plugins-" + std::to_string(::getpid()));
        Folder() { fs::create_directories(path); }
        ~Folder() {
            std::error_code ignored;
            fs::remove_all(path, ignored);
        }
    } scratch;
    const fs::path& folder = scratch.path;
    // A new name for every input: a library the dynamic loader keeps mapped after
    // dlclose must never see its file rewritten underneath it.
    static unsigned long long counter = 0;
    const fs::path candidate = folder / ("candidate-" + std::to_string(++counter) + ".so");
    if (std::FILE* out = std::fopen(candidate.c_str(), "wb")) {
        std::fwrite(data, 1, size, out);
        std::fclose(out);
    }
    for (const std::string& path : zm::ListSharedLibraries(folder.string())) {
        if (!zm::SharedObjectProblem(path).empty())
            continue;
        // A whole object of this machine: load it as the loader would. Each run loads a
        // new file, so the handle is kept only as long as the questions take.
        if (void* module = zm::OpenModule(path)) {
            zm::FindSymbol(module, "ZmImportSizeFileFormatsSupported");
            zm::FindSymbol(module, "ZmImportGetFileFormatInfo");
            zm::CloseModule(module);
        }
    }
    std::error_code ignored;
    fs::remove(candidate, ignored);
    return 0;
}
