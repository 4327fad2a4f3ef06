// A plug-in whose Open fails but which cannot explain why: it lacks ZmImportGetLastError.
#include "framework/ZmImport.h"

namespace {
const ZmImportFileFormatInfo kFormat = {
    "Silent Format", "Silent Files (*.silent)", nullptr, 1, ".silent\0", 0, 1, 0, 1, 0, nullptr};
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
}
