// Registration of the FDC XML format. The reader itself parses with xerces-c and so lives
// in the library's XML module; the factory reaches it through the module's entry.
#pragma once

#include "framework/SprFileFactory.h"
#include "framework/SpreadsheetFile.h"

// What the XML module offers for FDC XML files.
struct FdcReaderEntry {
    // True when the file parses and validates as an FDC request.
    bool (*isMyKindOfFile)(const char* file);
    // A new reader, or null when memory is short.
    SpreadsheetFile* (*newReader)();
};

// Registers the FDC XML format and recognises its files by validation.
class BrooksideXMLFactory : public SprFileFactory {
  public:
    BrooksideXMLFactory();

  protected:
    MyKindOfFile IsMyKindOfFile(const char* file) override;
    SpreadsheetFile* GetSpreadsheetFile() override;
};
