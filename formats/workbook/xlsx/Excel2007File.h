// Excel 2007 workbooks (.xlsx): Office Open XML packages.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "formats/workbook/WorkbookFile.h"
#include "formats/workbook/xlsx/XlsxParts.h"
#include "formats/workbook/xlsx/XlsxSheet.h"
#include "platform/ZmExport.h"

namespace zm {
class WorkbookLayout;
class ZipPackage;
}  // namespace zm

// Reads one or several worksheets of an .xlsx package, or of a binary .xlsb one: shared
// and inline strings, numbers, booleans as "TRUE"/"FALSE", formula results, and numbers
// in date styles as date texts, in the workbook's date system (1900 or 1904). Several
// sheets are stacked or put side by side as in the .xls reader. Worksheet parts are read
// as streams. Cells beyond the sheet limits and shared-string cells that name no string
// are left out and counted in the warning. Codes 768-774; reads only.
class ZMIMPORT_API Excel2007File : public WorkbookFile {
  public:
    enum Status {
        kNoData = 768,
        kNoSheets = 769,
        kOpenFailed = 770,
        kCorrupt = 771,
        kBadSize = 772,
        kUnsupported = 773,
        kOutOfMemory = 774,
    };

    Excel2007File();
    ~Excel2007File() override;

    void Close() override;
    int Read(ReadSpreadSheetData* sink) override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    const char* GetWarningMessage() override;

    std::vector<std::string> GetWorksheets() const override;

  private:
    int EstablishSize() override;
    int OpenFile(const char* file) override;
    void ReleaseFile() override;
    // The binary workbook's sheets, shared strings and date styles.
    int OpenBinary(const std::string& workbook);
    // Reads the selected sheets' cells, once.
    int LoadSheets();
    // One loaded sheet's cells into the sink, placed by `layout`.
    void ReadSheet(ReadSpreadSheetData* sink, zm::WorkbookLayout& layout, size_t index);

    std::unique_ptr<zm::ZipPackage> package;
    std::vector<zm::xlsx::SheetPart> sheets;
    zm::xlsx::StringTable sharedStrings;
    std::vector<bool> dateStyles;
    std::vector<zm::xlsx::SheetCells> loaded;  // per selected sheet, in selection order
    bool sheetsLoaded = false;
    bool binary = false;
    bool date1904 = false;          // dates count from 1904-01-01
    long long unknownRecords = 0;   // records of binary sheets that were not understood
    long long outsideCells = 0;     // cells beyond the sheet limits, left out
    long long unresolvedCells = 0;  // shared-string cells naming no string
    std::string warning;
};
