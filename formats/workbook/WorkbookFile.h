// What every reader of a workbook with several worksheets does the same way: the choice of
// sheets and its options, the table's size from the chosen sheets and the name of what
// was read.
#pragma once

#include <string>
#include <vector>

#include "formats/workbook/SheetChoice.h"
#include "framework/SpreadsheetFile.h"
#include "platform/ZmExport.h"

class ZMIMPORT_API WorkbookFile : public SpreadsheetFile {
  public:
    // -1 once an error is stored, the table's size otherwise.
    int GetNumRows() override;
    int GetNumCols() override;
    // The chosen sheets' names joined by "_", "" for one sheet with a default name.
    const char* GetReadFile() override;
    // Opens the file to offer its choice: all its sheets, stacked or (with `flag`) side by
    // side, unless GetSheetOptions chooses otherwise. Null when the file cannot be read or
    // the choice was cancelled.
    ZmImportOpenOptions* GetFileReadOptions(const char* file, bool flag) override;
    void Close() override;

  protected:
    // Chooses the sheets when several exist and no options were given: all of them, in
    // file order, laid out as the flag last given to GetFileReadOptions says. An override
    // cancels by storing kStatusAborted.
    virtual void GetSheetOptions(const std::vector<std::string>& names);

    // Chooses among the workbook's sheets `names` by `options` (or GetSheetOptions): 0,
    // `noSheets` without any sheet, `badOptions` for options that are no settings, or the
    // stored status when the choice was cancelled.
    int ChooseSheets(const std::vector<std::string>& names, ZmImportOpenOptions* options,
                     int noSheets, int badOptions);
    // Takes `names` as the choice as they are, in that order.
    void SetChoice(const std::vector<std::string>& names);
    // Sizes the table from the chosen sheets' sizes, in the order of the choice.
    void SetSize(const std::vector<zm::SheetSize>& sheets);
    // The checks before reading: false when there is nothing to read into `sink`, with
    // `openFailed` stored when the file is not open.
    bool ReadyToRead(ReadSpreadSheetData* sink, bool open, int openFailed);

    zm::SheetChoice choice;

  private:
    std::string readName;
    size_t available = 0;  // the workbook's sheets
    bool sideBySideFlag = false;
};
