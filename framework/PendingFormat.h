// Stand-in for a registered format whose reader is not built: it recognises no file
// and every operation answers "not implemented".
#pragma once

#include "framework/SprFileFactory.h"
#include "framework/SpreadsheetFile.h"

class PendingFormatFile : public SpreadsheetFile {
  public:
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    int Open(bool readMode, const char* file, ZmImportOpenOptions* options) override;
    int Read(ReadSpreadSheetData* sink) override;
    int Write(WriteSpreadSheetData* source) override;

  private:
    int EstablishSize() override;
};

// Factory base of a pending format; the derived factory passes its registry row.
class PendingFormatFactory : public SprFileFactory {
  protected:
    using SprFileFactory::SprFileFactory;
    MyKindOfFile IsMyKindOfFile(const char*) override { return kNotMine; }
    SpreadsheetFile* GetSpreadsheetFile() override { return new PendingFormatFile; }
};

// Declares and registers the factory of a pending format under its own class name.
#define ZM_PENDING_FORMAT(FactoryClass, ...)                  \
    namespace {                                               \
    class FactoryClass : public PendingFormatFactory {        \
      public:                                                 \
        FactoryClass() : PendingFormatFactory(__VA_ARGS__) {} \
    };                                                        \
    FactoryClass the##FactoryClass;                           \
    }
