// The sheet choice, sizing and options shared by the workbook readers.
#include "formats/workbook/WorkbookFile.h"

int WorkbookFile::GetNumRows() {
    return status != 0 ? -1 : SpreadsheetFile::GetNumRows();
}

int WorkbookFile::GetNumCols() {
    return status != 0 ? -1 : SpreadsheetFile::GetNumCols();
}

const char* WorkbookFile::GetReadFile() {
    return readName.c_str();
}

void WorkbookFile::Close() {
    choice = zm::SheetChoice();
    readName.clear();
    available = 0;
    sizeEstablished = false;
    SpreadsheetFile::Close();
}

int WorkbookFile::Open(bool readMode, const char* file, ZmImportOpenOptions* options) {
    if (status != 0)
        return status;
    if (!readMode)
        return SetStatus(kStatusWrongMode);
    int code = OpenFile(file);
    if (code == 0)
        code = ChooseSheets(GetWorksheets(), options);
    if (code != 0) {
        ReleaseFile();
        return SetStatus(code);
    }
    return status;
}

int WorkbookFile::ChooseSheets(const std::vector<std::string>& names,
                               ZmImportOpenOptions* options) {
    if (status != 0)
        return status;
    if (names.empty())
        return noSheets;
    available = names.size();
    const auto outcome = choice.Choose(names, options, [&] {
        GetSheetOptions(names);
        return status != kStatusAborted;
    });
    if (outcome == zm::SheetChoice::Outcome::kCancelled)
        return status;
    if (outcome == zm::SheetChoice::Outcome::kBadOptions)
        return openFailed;
    readName = choice.ReadName();
    sizeEstablished = false;
    return 0;
}

void WorkbookFile::GetSheetOptions(const std::vector<std::string>& names) {
    choice.names = names;
    choice.layout = sideBySideFlag ? zm::SheetChoice::kSideBySide : zm::SheetChoice::kStacked;
}

void WorkbookFile::SetChoice(const std::vector<std::string>& names) {
    choice.names = names;
    readName = choice.ReadName();
    sizeEstablished = false;
}

void WorkbookFile::SetSize(const std::vector<zm::SheetSize>& sheets) {
    const zm::SheetSize size = zm::CombinedSize(sheets, choice.layout);
    numRows = size.rows;
    numCols = size.cols;
    sizeEstablished = true;
}

bool WorkbookFile::ReadyToRead(ReadSpreadSheetData* sink, bool open) {
    if (status != 0)
        return false;
    if (!open) {
        SetStatus(openFailed);
        return false;
    }
    return GetNumRows() >= 0 && GetNumCols() >= 0 && sink != nullptr;
}

ZmImportOpenOptions* WorkbookFile::GetFileReadOptions(const char* file, bool flag) {
    sideBySideFlag = flag;
    Close();
    Open(true, file, nullptr);
    if (status == kStatusAborted) {
        choice.names.clear();
        return nullptr;
    }
    if (status != 0)
        return nullptr;
    return choice.NewRecord(available);
}
