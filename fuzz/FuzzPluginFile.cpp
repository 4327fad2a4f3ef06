// Fuzz target: one file found in a plug-in folder, through the loader's object check
// that keeps damaged and foreign files away from the dynamic loader. Whatever passes is
// not loaded here: a shared object runs its own code once loaded, and fuzzing showed
// that altered relocations of a whole-looking object can crash the dynamic loader
// itself, which no check short of the loader can rule out. The check covers what
// happens by accident (cut or foreign files); the plug-in folder is trusted as code is.
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
        if (size != 0)
            std::fwrite(data, 1, size, out);
        std::fclose(out);
    }
    for (const std::string& path : zm::ListSharedLibraries(folder.string())) {
        const std::string problem = zm::SharedObjectProblem(path);
        // Every refusal says why, in a short text the command line prints.
        if (!problem.empty() && problem.size() > 80)
            std::abort();
    }
    std::error_code ignored;
    fs::remove(candidate, ignored);
    return 0;
}
