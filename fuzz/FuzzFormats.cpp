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

#include "framework/SpreadsheetFile.h"
#include "framework/ZmHostData.h"
#include "framework/ZmImport.h"

namespace fs = std::filesystem;

namespace {

[[noreturn]] void Broken(const char* format, const char* what) {
    std::fprintf(stderr, "format \"%s\": %s\n", format, what);
    std::abort();
}

class CheckingHost : public ZmHostReadTarget {
  public:
    void SetNumber(int row, int col, float) override { Check(row, col); }
    void SetText(int row, int col, const char* text) override {
        Check(row, col);
        if (text == nullptr)
            std::abort();
        volatile size_t n = std::strlen(text);
        (void)n;
    }
    void SetSize(int r, int c) override {
        rows = r;
        cols = c;
    }
    void Check(int row, int col) {
        if (row < 1 || col < 1 || row > rows || col > cols)
            outside = true;
    }
    bool outside = false;
};

// The input is written to one file that every format reaches under a name with one of
// its own extensions (through a link), since some formats go by the extension.
struct Workspace {
    fs::path dir;
    fs::path data;
    std::map<std::string, std::string> byExtension;

    Workspace() {
        dir = fs::temp_directory_path() / ("zmimport-fuzz-" + std::to_string(::getpid()));
        fs::create_directories(dir);
        data = dir / "input";
        std::fclose(std::fopen(data.c_str(), "wb"));
    }
    ~Workspace() {
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
    const std::string& PathFor(const std::string& extension) {
        auto it = byExtension.find(extension);
        if (it != byExtension.end())
            return it->second;
        const fs::path link = dir / ("input" + extension);
        std::error_code ec;
        if (extension != "")
            fs::create_symlink(data, link, ec);
        return byExtension[extension] = (extension.empty() ? data : link).string();
    }
};

// One of the format's extensions, picked by the input so each gets its turn; the
// wildcard ".*" means no particular extension.
std::string ExtensionFor(const ZmImportFileFormatInfo* info, size_t pick) {
    if (info->extensionCount <= 0 || info->extensions == nullptr)
        return "";
    const char* p = info->extensions;
    for (int i = static_cast<int>(pick % info->extensionCount); i > 0; --i)
        p += std::strlen(p) + 1;
    return std::strcmp(p, ".*") == 0 ? "" : p;
}

void Exercise(int format, const char* name, const char* file) {
    const char type = ZmImportIsCorrectFileType(format, file);
    if (type < 0 || type > 2)
        Broken(name, "detection answer out of range");
    if (ZmImportOpenOptions* options = ZmImportGetFileOptions(format, file, true)) {
        delete[] options->data;
        delete options;
    }
    void* handle = nullptr;
    const bool opened = ZmImportOpen(format, file, true, &handle, nullptr);
    if (handle == nullptr)
        Broken(name, "no handle");
    auto* reader = static_cast<SpreadsheetFile*>(handle);
    if (opened) {
        int rows = -2, cols = -2;
        const bool sized = ZmImportEstablishSize(format, handle, &rows, &cols);
        if (rows < -1 || cols < -1)
            Broken(name, "impossible size");
        if (!sized && reader->GetStatus() == 0)
            Broken(name, "failed sizing without a status");
        CheckingHost host;
        host.SetSize(rows < 0 ? 0 : rows, cols < 0 ? 0 : cols);
        const bool read = ZmImportRead(format, handle, &host);
        if (host.outside)
            Broken(name, "cell outside the announced table");
        if (!read && reader->GetStatus() == 0)
            Broken(name, "failed read without a status");
        if (const char* w = ZmImportGetWarning(format, handle))
            (void)std::strlen(w);
        if (const char* r = ZmImportGetFileRead(handle))
            (void)std::strlen(r);
    } else if (reader->GetStatus() == 0) {
        Broken(name, "failed open without a status");
    }
    const char* text = ZmImportGetLastError(format, handle);
    if (reader->GetStatus() != 0 && text[0] == '\0')
        Broken(name, "failure without a text");
    ZmImportClose(format, handle);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Workspace workspace;
    std::FILE* out = std::fopen(workspace.data.c_str(), "wb");
    if (out == nullptr)
        return 0;
    if (size > 0)
        std::fwrite(data, 1, size, out);
    std::fclose(out);

    const int formats = ZmImportSizeFileFormatsSupported();
    for (int format = 1; format <= formats; ++format) {
        const ZmImportFileFormatInfo* info = ZmImportGetFileFormatInfo(format);
        const std::string& file = workspace.PathFor(ExtensionFor(info, size));
        Exercise(format, info->name, file.c_str());
    }
    return 0;
}
