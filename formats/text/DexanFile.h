// Worksheets of the DEXAN design-of-experiments program.
#pragma once

#include <memory>

#include "formats/text/TextFile.h"

namespace zm {
class CompoundFile;
}
class DexanWorksheet;

// A worksheet comes as a plain delimited text file (.dat), read exactly as the text
// reader reads it, or inside a design file (.mip): an OLE compound file whose first
// entry named "*.dat" holds the worksheet text, cut into cells with the same options.
// Every cell goes to the sink as text. Read only. Codes: 515 (no worksheet in the
// design file), 516 (not a readable compound file), 3 (writing), and those of the text
// reader.
class ZMIMPORT_API DexanFile : public TextFile {
  public:
    enum Status {
        kNoWorksheet = 515,
        kNotDexanFile = 516,
    };

    DexanFile();
    ~DexanFile() override;
    DexanFile(const DexanFile&) = delete;
    DexanFile& operator=(const DexanFile&) = delete;

    // True when `name` is that of a worksheet entry: longer than three characters and
    // ending in ".dat".
    static bool IsWorksheetName(const std::string& name);

    int Open(bool readMode, const char* path, ZmImportOpenOptions* options) override;
    int Read(ReadSpreadSheetData* sink) override;
    int Write(WriteSpreadSheetData* source) override;
    void Close() override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;

  private:
    int EstablishSize() override;
    int SizeWorksheet();
    // The ranged read of the text reader, taking its lines from the worksheet stream.
    int ReadWorksheet(ReadSpreadSheetData* sink, int lastCol, int lastRow, int firstCol,
                      int firstRow, const TextFileOptions& options);

    std::unique_ptr<zm::CompoundFile> compoundFile;
    std::unique_ptr<DexanWorksheet> worksheet;
    bool useCompound = false;
};
