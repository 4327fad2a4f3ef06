// The Excel 2007 workbook reader: package, sheet choice and cells.
#include "formats/workbook/xlsx/Excel2007File.h"

#include <strings.h>
#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <new>

#include "formats/workbook/SpreadsheetDate.h"
#include "formats/workbook/xlsb/XlsbParts.h"
#include "formats/workbook/xlsb/XlsbSheet.h"
#include "framework/OptionsRecord.h"
#include "framework/SprFileFactory.h"
#include "platform/ErrorText.h"
#include "platform/Log.h"
#include "platform/Translate.h"
#include "platform/ZipPackage.h"

Excel2007File::Excel2007File() = default;

Excel2007File::~Excel2007File() = default;

int Excel2007File::Open(bool readMode, const char* file, ZmImportOpenOptions* options) {
    if (status != 0)
        return status;
    if (!readMode)
        return SetStatus(kStatusWrongMode);
    if (int code = OpenFile(file); code != 0) {
        package.reset();
        return SetStatus(code);
    }
    if (int code = GetSheet(options); code != 0) {
        package.reset();
        return SetStatus(code);
    }
    return status;
}

int Excel2007File::OpenFile(const char* file) {
    sheets.clear();
    sharedStrings.clear();
    dateStyles.clear();
    loaded.clear();
    sheetsLoaded = false;
    unknownRecords = 0;
    outsideCells = 0;
    unresolvedCells = 0;
    date1904 = false;
    choice = zm::SheetChoice();
    const std::string path = file != nullptr ? file : "";
    package = zm::ZipPackage::Open(path);
    if (package == nullptr)
        return kOpenFailed;
    // Binary workbooks (.xlsb) keep their parts as records; the package's relationships
    // name the workbook part, "xl/workbook.bin" there.
    const std::string workbook = zm::xlsx::FindWorkbookPart(*package);
    const auto endsWith = [&](const char* end) {
        const size_t n = std::strlen(end);
        return workbook.size() >= n && strcasecmp(workbook.c_str() + workbook.size() - n, end) == 0;
    };
    binary = endsWith(".bin") ||
             (package->Find(workbook) == nullptr && package->Find("xl/workbook.bin") != nullptr);
    if (binary)
        return OpenBinary(binary && endsWith(".bin") ? workbook : "xl/workbook.bin");
    if (package->Find(workbook) == nullptr || !endsWith(".xml"))
        return kUnsupported;
    try {
        zm::xlsx::PackageLayout layout;
        if (!zm::xlsx::ReadLayout(*package, layout) ||
            !zm::xlsx::ReadSharedStrings(*package, layout.sharedStrings, sharedStrings) ||
            !zm::xlsx::ReadDateStyles(*package, layout.styles, dateStyles))
            return kCorrupt;
        sheets = std::move(layout.sheets);
        date1904 = layout.date1904;
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    }
    return 0;
}

int Excel2007File::OpenBinary(const std::string& workbook) {
    using zm::xlsb::PartResult;
    const size_t slash = workbook.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : workbook.substr(0, slash + 1);
    try {
        if (zm::xlsb::InitBinarySheetsVector(*package, workbook, sheets, date1904) !=
                PartResult::kOk ||
            zm::xlsb::InitBinarySharedStringsVector(*package, folder + "sharedStrings.bin",
                                                    sharedStrings) == PartResult::kCorrupt ||
            zm::xlsb::InitBinaryFormatInfo(*package, folder + "styles.bin", dateStyles) ==
                PartResult::kCorrupt)
            return kCorrupt;
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    }
    return 0;
}

std::vector<std::string> Excel2007File::GetWorksheets() const {
    std::vector<std::string> names;
    for (const auto& sheet : sheets)
        names.push_back(sheet.name);
    return names;
}

int Excel2007File::GetSheet(ZmImportOpenOptions* options) {
    if (sheets.empty())
        return kNoSheets;
    const std::vector<std::string> names = GetWorksheets();
    const auto outcome = choice.Choose(names, options, [&] {
        GetSheetOptions(names);
        return status != kStatusAborted;
    });
    if (outcome == zm::SheetChoice::Outcome::kCancelled)
        return status;
    if (outcome == zm::SheetChoice::Outcome::kBadOptions)
        return kOpenFailed;
    readName = choice.ReadName();
    return 0;
}

void Excel2007File::GetSheetOptions(const std::vector<std::string>& names) {
    choice.names = names;
    choice.layout = sideBySideFlag ? zm::SheetChoice::kSideBySide : zm::SheetChoice::kStacked;
}

int Excel2007File::LoadSheets() {
    if (sheetsLoaded)
        return 0;
    loaded.clear();
    for (const std::string& name : choice.names) {
        const auto sheet = std::find_if(sheets.begin(), sheets.end(),
                                        [&](const auto& s) { return s.name == name; });
        if (sheet == sheets.end())
            continue;
        zm::xlsx::SheetCells cells;
        std::string error;
        try {
            if (binary) {
                if (zm::xlsb::ReadBinarySheet(*package, sheet->part, dateStyles, cells,
                                              unknownRecords) != zm::xlsb::SheetResult::kOk)
                    return kCorrupt;
            } else if (!zm::xlsx::ReadSheet(*package, sheet->part, dateStyles, cells, error)) {
                return kCorrupt;
            }
        } catch (const std::bad_alloc&) {
            return kOutOfMemory;
        }
        outsideCells += cells.outside;
        unresolvedCells += cells.unresolved;
        cells.cells.ForEach([&](const zm::xlsx::SheetCells::Cell& cell) {
            if (cell.kind == zm::xlsx::SheetCells::Kind::kShared &&
                cell.index >= sharedStrings.size())
                ++unresolvedCells;
        });
        loaded.push_back(std::move(cells));
    }
    sheetsLoaded = true;
    return 0;
}

int Excel2007File::EstablishSize() {
    if (status != 0)
        return status;
    if (int code = LoadSheets(); code != 0)
        return SetStatus(code);
    std::vector<zm::SheetSize> sizes;
    for (const auto& cells : loaded)
        sizes.push_back({cells.rows, cells.cols});
    const zm::SheetSize size = zm::CombinedSize(sizes, choice.layout);
    numRows = size.rows;
    numCols = size.cols;
    sizeEstablished = true;
    return 0;
}

int Excel2007File::GetNumRows() {
    return status != 0 ? -1 : SpreadsheetFile::GetNumRows();
}

int Excel2007File::GetNumCols() {
    return status != 0 ? -1 : SpreadsheetFile::GetNumCols();
}

int Excel2007File::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    if (package == nullptr)
        return SetStatus(kOpenFailed);
    if (GetNumRows() < 0 || GetNumCols() < 0 || sink == nullptr)
        return status;
    const bool several = loaded.size() > 1;
    const bool sideBySide = choice.layout == zm::SheetChoice::kSideBySide;
    int rowOffset = 0, colOffset = 0;
    for (size_t s = 0; s < loaded.size(); ++s) {
        const zm::xlsx::SheetCells& sheet = loaded[s];
        // In the stacked layout the column naming the sheet is filled row by row as the
        // rows are finished, so that the cells arrive in row order.
        const std::string label = several ? zm::SheetLabel(choice.names[s]) : std::string();
        int labelled = 0;  // rows of this sheet that got their label
        auto labelRowsBefore = [&](int row) {
            for (; several && !sideBySide && labelled < std::min(row, sheet.rows); ++labelled)
                sink->Set(numCols, rowOffset + labelled + 1, label.c_str());
        };
        sheet.cells.ForEach([&](const zm::xlsx::SheetCells::Cell& cell) {
            labelRowsBefore(cell.row);
            const int row = rowOffset + cell.row + 1, col = colOffset + cell.col + 1;
            using Kind = zm::xlsx::SheetCells::Kind;
            switch (cell.kind) {
                case Kind::kNumber:
                    sink->Set(col, row, cell.number);
                    break;
                case Kind::kDate: {
                    const std::string text = zm::SerialToDateText(cell.number, date1904);
                    if (text.empty())
                        sink->Set(col, row, cell.number);
                    else
                        sink->Set(col, row, text.c_str());
                    break;
                }
                case Kind::kShared:
                    if (cell.index < sharedStrings.size())
                        sink->Set(col, row, sharedStrings[cell.index]);
                    break;
                case Kind::kText:
                    sink->Set(col, row, sheet.texts[cell.index].c_str());
                    break;
            }
        });
        labelRowsBefore(sheet.rows);
        if (several && sideBySide) {
            for (int c = 1; c <= sheet.cols; ++c)
                sink->Set(colOffset + c, numRows, label.c_str());
        }
        (sideBySide ? colOffset : rowOffset) += sideBySide ? sheet.cols : sheet.rows;
    }
    return status;
}

const char* Excel2007File::GetWarningMessage() {
    warning.clear();
    if (unknownRecords > 0)
        warning = zm::FormatMessage(
            zm::Translate("%1% records was found that %2% doesn't know how to read.\nThese can be "
                          "web-links, drawings, formulas or other type of data that isn't\n"
                          "interesting for %2%.\n"),
            unknownRecords, zm::GetApplicationName());
    if (outsideCells > 0)
        warning += zm::FormatMessage(
            zm::Translate("%1% cells beyond column XFD or row 1048576 were left out.\n"),
            outsideCells);
    if (unresolvedCells > 0)
        warning += zm::FormatMessage(
            zm::Translate("%1% cells name a shared string the workbook does not hold; they were "
                          "left empty.\n"),
            unresolvedCells);
    return warning.empty() ? nullptr : warning.c_str();
}

void Excel2007File::Close() {
    package.reset();
    unknownRecords = 0;
    outsideCells = 0;
    unresolvedCells = 0;
    binary = false;
    date1904 = false;
    sheets.clear();
    sharedStrings.clear();
    loaded.clear();
    sheetsLoaded = false;
    readName.clear();
    sizeEstablished = false;
    SpreadsheetFile::Close();
}

const char* Excel2007File::GetReadFile() {
    return readName.c_str();
}

ZmImportOpenOptions* Excel2007File::GetFileReadOptions(const char* file, bool flag) {
    sideBySideFlag = flag;
    Close();
    Open(true, file, nullptr);
    if (status == kStatusAborted) {
        choice.names.clear();
        return nullptr;
    }
    if (status != 0)
        return nullptr;
    return choice.NewRecord(sheets.size());
}

void Excel2007File::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    const char* text = nullptr;
    switch (status) {
        case kNoData:
            text = "The sheets contains no data.";
            break;
        case kNoSheets:
            text = "The file contains no sheets.";
            break;
        case kOpenFailed:
            text = "Unable to open Excel file.";
            break;
        case kCorrupt:
            text = "The file is corrupt.";
            break;
        case kBadSize:
            text = "At least one of the sheets do not have a correct size.";
            break;
        case kUnsupported:
            text = "The file contains an unsupported format.";
            break;
        case kOutOfMemory:
            text = "Out of memory while parsing XML, try using a binary format.";
            break;
        default:
            SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
            return;
    }
    zm::CopyErrorText(zm::Translate(text), buffer, bufferSize);
}

namespace {

// Packages are told apart by extension: the zip container says nothing of its content.
class Excel2007FileFactory : public SprFileFactory {
  public:
    Excel2007FileFactory()
        : SprFileFactory("Excel2007 File", "Excel Workbook (*.xlsx; *.xlsb)",
                         "Excel Workbook (*.xlsx)", 2, ".xlsx\0.xlsb\0", 0, 1, 0, 1, 0, 1) {}

  protected:
    MyKindOfFile IsMyKindOfFile(const char*) override { return kPlausible; }
    SpreadsheetFile* GetSpreadsheetFile() override { return new Excel2007File; }
};

Excel2007FileFactory theExcel2007FileFactory;

}  // namespace
