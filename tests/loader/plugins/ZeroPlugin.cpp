// A plug-in that exports the listing functions but offers no format. It reports on
// the error stream when the host initialises and releases it.
#include <cstdio>

#include "framework/ZmImport.h"

extern "C" {
ZMIMPORT_API int ZmImportSizeFileFormatsSupported() {
    return 0;
}
ZMIMPORT_API const ZmImportFileFormatInfo* ZmImportGetFileFormatInfo(int) {
    return nullptr;
}
ZMIMPORT_API void ZmImportInitPackage() {
    std::fputs("zero plug-in initialised\n", stderr);
}
ZMIMPORT_API void ZmImportReleasePackage() {
    std::fputs("zero plug-in released\n", stderr);
}
}
