// The XML module's entry for FDC XML files.
#include <new>

#include "formats/process/BrooksideXML.h"
#include "formats/process/BrooksideXMLFactory.h"
#include "platform/ZmExport.h"

namespace {

bool IsFdcFile(const char* file) {
    return BrooksideXML::IsMyKindOfFile(file);
}

SpreadsheetFile* NewFdcReader() {
    return new (std::nothrow) BrooksideXML;
}

}  // namespace

extern "C" ZMIMPORT_API const FdcReaderEntry* zm_fdc_reader() {
    static const FdcReaderEntry entry{IsFdcFile, NewFdcReader};
    return &entry;
}
