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
    // Opens the file for reading and chooses its sheets: the only one, those `options`
    // name or, without options, those GetSheetOptions chooses.
    int Open(bool readMode, const char* file, ZmImportOpenOptions* options) override;
    // The worksheet names in file order.
    virtual std::vector<std::string> GetWorksheets() const = 0;
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
    // `openFailed` is the reader's code for a file it cannot open (or options that are no
    // settings), `noSheets` for a workbook without a worksheet.
    WorkbookFile(int openFailed, int noSheets) : openFailed(openFailed), noSheets(noSheets) {}

    // Chooses the sheets when several exist and no options were given: all of them, in
    // file order, laid out as the flag last given to GetFileReadOptions says. An override
    // cancels by storing kStatusAborted.
    virtual void GetSheetOptions(const std::vector<std::string>& names);

    // Takes `names` as the choice as they are, in that order.
    void SetChoice(const std::vector<std::string>& names);
    // Sizes the table from the chosen sheets' sizes, in the order of the choice.
    void SetSize(const std::vector<zm::SheetSize>& sheets);
    // The checks before reading: false when there is nothing to read into `sink`, with
    // the open failure stored when the file is not open.
    bool ReadyToRead(ReadSpreadSheetData* sink, bool open);

    zm::SheetChoice choice;

  private:
    // Opens the file and reads its list of sheets; 0 or the code that refuses it.
    virtual int OpenFile(const char* file) = 0;
    // Lets go of the file after an open that failed.
    virtual void ReleaseFile() = 0;
    // Chooses among the workbook's sheets by `options` (or GetSheetOptions); 0, a code,
    // or the stored status when the choice was cancelled.
    int ChooseSheets(const std::vector<std::string>& names, ZmImportOpenOptions* options);

    int openFailed, noSheets;
    std::string readName;
    size_t available = 0;  // the workbook's sheets
    bool sideBySideFlag = false;
};
