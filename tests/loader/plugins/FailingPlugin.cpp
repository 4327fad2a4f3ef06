// A plug-in whose Open always fails with a text of its own.
#include "framework/ZmImport.h"

namespace {
const ZmImportFileFormatInfo kFormat = {
    "Failing Format", "Failing Files (*.fail)", nullptr, 1, ".fail\0", 0, 1, 0, 1, 0, nullptr};
int handleObject = 0;
}  // namespace

extern "C" {
ZMIMPORT_API int ZmImportSizeFileFormatsSupported() {
    return 1;
}
ZMIMPORT_API const ZmImportFileFormatInfo* ZmImportGetFileFormatInfo(int) {
    return &kFormat;
}
ZMIMPORT_API char ZmImportIsCorrectFileType(int, const char*) {
    return 0;
}
ZMIMPORT_API bool ZmImportOpen(int, const char*, bool, void** handle, ZmImportOpenOptions*) {
    *handle = &handleObject;
    return false;
}
ZMIMPORT_API void ZmImportClose(int, void*) {}
ZMIMPORT_API const char* ZmImportGetLastError(int, void* handle) {
    return handle == &handleObject ? "The instrument header block is damaged." : "wrong handle";
}
}
