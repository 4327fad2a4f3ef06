// Fuzz target: one input goes to every registered format through the exported
// functions, as a host would drive them. Besides crashes it stops on broken promises:
// a failure without a status or text, an impossible size, a cell outside the table.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>

#include "tests/support/ExerciseFormat.h"

namespace fs = std::filesystem;

namespace {

// The input is written to one file that every format reaches under a name with one of
// its own extensions (through a link), since some formats go by the extension.
struct Workspace {
    fs::path dir = fs::temp_directory_path() / ("zmimport-fuzz-" + std::to_string(::getpid()));
    fs::path data = dir / "input";
    std::map<std::string, std::string> byExtension;

    Workspace() { fs::create_directories(dir); }
    ~Workspace() {
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
    // One of the format's extensions, picked by `pick` so each gets its turn; the
    // wildcard ".*" means no particular extension.
    const std::string& PathFor(const ZmImportFileFormatInfo* info, size_t pick) {
        std::string extension;
        if (info->extensionCount > 0 && info->extensions != nullptr) {
            const char* p = info->extensions;
            for (int i = static_cast<int>(pick % info->extensionCount); i > 0; --i)
                p += std::strlen(p) + 1;
            extension = std::strcmp(p, ".*") == 0 ? "" : p;
        }
        auto it = byExtension.find(extension);
        if (it != byExtension.end())
            return it->second;
        const fs::path link = dir / ("input" + extension);
        std::error_code ec;
        if (!extension.empty())
            fs::create_symlink(data, link, ec);
        return byExtension[extension] = (extension.empty() ? data : link).string();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Workspace workspace;
    std::FILE* out = std::fopen(workspace.data.c_str(), "wb");
    if (out == nullptr)
        return 0;
    if (size > 0)
        std::fwrite(data, 1, size, out);
    std::fclose(out);

    for (int format = 1; format <= ZmImportSizeFileFormatsSupported(); ++format) {
        const ZmImportFileFormatInfo* info = ZmImportGetFileFormatInfo(format);
        const std::string& file = workspace.PathFor(info, size);
        const std::string broken = zmtest::ExerciseFormat(format, file.c_str());
        if (!broken.empty()) {
            std::fprintf(stderr, "format \"%s\": %s\n", info->name, broken.c_str());
            std::abort();
        }
    }
    return 0;
}
