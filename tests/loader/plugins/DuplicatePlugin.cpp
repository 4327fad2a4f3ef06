// A plug-in offering a format under a name another plug-in uses too; built twice, with
// DUPLICATE_TAG telling the copies apart. Files starting with "DUP" are surely theirs.
#include <cstdio>
#include <cstring>

#include "framework/ZmHostData.h"
#include "framework/ZmImport.h"

namespace {
const ZmImportFileFormatInfo kFormat = {
    "Duplicate Format", "Duplicate Files (*.dup)", nullptr, 1, ".dup\0", 0, 1, 0, 1, 0, nullptr};
int handleObject = 0;
}  // namespace

extern "C" {
ZMIMPORT_API int ZmImportSizeFileFormatsSupported() {
    return 1;
}
ZMIMPORT_API const ZmImportFileFormatInfo* ZmImportGetFileFormatInfo(int) {
    return &kFormat;
}
ZMIMPORT_API char ZmImportIsCorrectFileType(int, const char* file) {
    char head[4] = {};
    std::FILE* in = std::fopen(file, "rb");
    if (in == nullptr)
        return 0;
    const size_t got = std::fread(head, 1, 3, in);
    std::fclose(in);
    return got == 3 && std::memcmp(head, "DUP", 3) == 0 ? 2 : 0;
}
ZMIMPORT_API bool ZmImportOpen(int, const char*, bool, void** handle, ZmImportOpenOptions*) {
    *handle = &handleObject;
    return true;
}
ZMIMPORT_API void ZmImportClose(int, void*) {}
ZMIMPORT_API bool ZmImportEstablishSize(int, void*, int* rows, int* cols) {
    *rows = 1;
    *cols = 1;
    return true;
}
// Tells which copy read the file.
ZMIMPORT_API bool ZmImportRead(int, void*, void* target) {
    static_cast<ZmHostReadTarget*>(target)->SetText(1, 1, DUPLICATE_TAG);
    return true;
}
}
