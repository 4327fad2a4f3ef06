// The registry of built-in formats: one self-registering factory object per format.
#pragma once

#include "framework/SpreadsheetFile.h"
#include "framework/ZmImportTypes.h"
#include "platform/ZmExport.h"

// Base of every format factory. A factory lives at namespace scope; its constructor
// enters the format record into the process-wide registry, ordered by filter text.
// Formats are addressed by their 1-based position in that order.
class ZMIMPORT_API SprFileFactory {
  public:
    // The answer of content detection.
    enum MyKindOfFile {
        kSurely = 0,     // recognised by content
        kCanRead = 1,    // weakest claim: readable as this format, content not examined
        kPlausible = 2,  // content cannot tell, the extension decides
        kNotMine = 3,    // not this format
    };

    SprFileFactory(const SprFileFactory&) = default;
    SprFileFactory& operator=(const SprFileFactory&) = default;

    int GetPriority() { return priority; }

    static int SizeInfos();
    static MyKindOfFile IsMyKindOfFile(int index, const char* file);
    static SpreadsheetFile* GetSpreadsheetFile(int index);
    // The record at 1-based `index`; an index below 2 gives the first record and an
    // index past the end gives null.
    static const ZmImportFileFormatInfo* GetInfo(int index);

  protected:
    SprFileFactory(const char* name, const char* filter, const char* saveFilter, int extensionCount,
                   const char* extensions, char canWrite, char canRead, char multiFile, char flag4,
                   char flag5, char priority);

    virtual MyKindOfFile IsMyKindOfFile(const char* file) = 0;
    virtual SpreadsheetFile* GetSpreadsheetFile() = 0;

  private:
    // Deliberately left unset by the registering constructor, so factories in static
    // storage compare with priority 0 when a later factory of the same name arrives.
    int priority;
};
