// A host program built only against the installed headers and library.
#include <cstdio>
#include <cstring>

#include "framework/SprFileFactory.h"
#include "framework/ZmImport.h"

int main() {
    ZmImportInitPackage();
    const int count = ZmImportSizeFileFormatsSupported();
    const ZmImportFileFormatInfo* first = ZmImportGetFileFormatInfo(1);
    std::printf("%d %s\n", count, first->name);
    const bool ok = count == SprFileFactory::SizeInfos() && count >= 22 &&
                    std::strcmp(first->name, "Brimrose File") == 0;
    ZmImportReleasePackage();
    return ok ? 0 : 1;
}
