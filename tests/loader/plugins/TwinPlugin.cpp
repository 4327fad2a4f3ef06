// A plug-in with two formats sharing the extension ".twin": "Twin A" reads only,
// "Twin B" also writes. Neither can tell a file by content. Reading yields the format
// index the plug-in was called with; writing dumps the host's source as text lines.
#include <cstdio>
#include <string>

#include "framework/ZmHostData.h"
#include "framework/ZmImport.h"

namespace {
const ZmImportFileFormatInfo kFormats[2] = {
    {"Twin A", "Twin A Files (*.twin)", nullptr, 1, ".twin\0", 0, 1, 0, 1, 0, nullptr},
    {"Twin B", "Twin B Files (*.twin)", "Twin B Files (*.twin)", 1, ".twin\0", 1, 1, 0, 1, 0,
     nullptr},
};

struct Twin {
    int formatIndex;
    std::string file;
    std::string warning;
};
}  // namespace

extern "C" {
ZMIMPORT_API int ZmImportSizeFileFormatsSupported() {
    return 2;
}
ZMIMPORT_API const ZmImportFileFormatInfo* ZmImportGetFileFormatInfo(int index) {
    return &kFormats[index == 2 ? 1 : 0];
}
ZMIMPORT_API char ZmImportIsCorrectFileType(int, const char*) {
    return 1;
}
ZMIMPORT_API bool ZmImportOpen(int index, const char* file, bool, void** handle,
                               ZmImportOpenOptions*) {
    *handle = new Twin{index, file, "read by format " + std::to_string(index)};
    return true;
}
ZMIMPORT_API void ZmImportClose(int, void* handle) {
    delete static_cast<Twin*>(handle);
}
ZMIMPORT_API const char* ZmImportGetLastError(int, void*) {
    return "twin failure";
}
ZMIMPORT_API bool ZmImportEstablishSize(int, void*, int* rows, int* cols) {
    *rows = 1;
    *cols = 2;
    return true;
}
ZMIMPORT_API bool ZmImportRead(int formatIndex, void* handle, void* target) {
    auto* host = static_cast<ZmHostReadTarget*>(target);
    host->SetNumber(1, 1, static_cast<float>(formatIndex));
    host->SetNumber(1, 2, static_cast<float>(static_cast<Twin*>(handle)->formatIndex));
    return true;
}
// One line per cell in row order, "row col type value", then the origin and the size
// the source announced.
ZMIMPORT_API bool ZmImportWrite(int, void* handle, void* source) {
    auto* host = static_cast<ZmHostWriteSource*>(source);
    std::FILE* out = std::fopen(static_cast<Twin*>(handle)->file.c_str(), "w");
    if (out == nullptr)
        return false;
    for (int row = 1; row <= host->rows; ++row) {
        for (int col = 1; col <= host->cols; ++col) {
            const unsigned char type = host->GetCellType(row, col);
            if (type == kHostNumber)
                std::fprintf(out, "%d %d n %g\n", row, col, host->GetNumber(row, col));
            else if (type == kHostText)
                std::fprintf(out, "%d %d t %s\n", row, col, host->GetText(row, col));
            else
                std::fprintf(out, "%d %d m\n", row, col);
        }
    }
    int originCol = 0;
    int originRow = 0;
    const bool origin = host->GetDataOrigin(&originCol, &originRow);
    std::fprintf(out, "origin %d %d %d\nsize %d %d\n", origin, originCol, originRow, host->rows,
                 host->cols);
    std::fclose(out);
    return true;
}
ZMIMPORT_API const char* ZmImportGetWarning(int, void* handle) {
    return static_cast<Twin*>(handle)->warning.c_str();
}
ZMIMPORT_API const char* ZmImportGetFileRead(void* handle) {
    return static_cast<Twin*>(handle)->file.c_str();
}
}
