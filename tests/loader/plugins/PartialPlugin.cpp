// A plug-in that exports only the listing, open and close functions: every other
// operation must surface as a missing function. Without a content test, it counts as
// a possible reader of every file.
#include "framework/ZmImport.h"

namespace {
const ZmImportFileFormatInfo kFormat = {
    "Partial Format", "Partial Files (*.part)", nullptr, 1, ".part\0", 0, 1, 0, 1, 0, nullptr};
int openHandles = 0;
}  // namespace

extern "C" {
ZMIMPORT_API int ZmImportSizeFileFormatsSupported() {
    return 1;
}
ZMIMPORT_API const ZmImportFileFormatInfo* ZmImportGetFileFormatInfo(int) {
    return &kFormat;
}
ZMIMPORT_API bool ZmImportOpen(int, const char*, bool, void** handle, ZmImportOpenOptions*) {
    *handle = &openHandles;
    ++openHandles;
    return true;
}
ZMIMPORT_API void ZmImportClose(int, void*) {
    --openHandles;
}
ZMIMPORT_API const char* ZmImportGetLastError(int, void*) {
    return "partial failure";
}
}
