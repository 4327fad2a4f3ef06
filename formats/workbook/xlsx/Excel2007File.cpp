// The Excel 2007 workbook reader: package, sheet choice and cells.
#include "formats/workbook/xlsx/Excel2007File.h"

#include <algorithm>
#include <new>

#include "formats/workbook/SpreadsheetDate.h"
#include "formats/workbook/WorkbookLayout.h"
#include "formats/workbook/xlsb/XlsbParts.h"
#include "formats/workbook/xlsb/XlsbSheet.h"
#include "framework/OptionsRecord.h"
#include "framework/SprFileFactory.h"
#include "platform/ErrorText.h"
#include "platform/Log.h"
#include "platform/TextCase.h"
#include "platform/Translate.h"
#include "platform/ZipPackage.h"

Excel2007File::Excel2007File() : WorkbookFile(kOpenFailed, kNoSheets) {}

Excel2007File::~Excel2007File() = default;

void Excel2007File::ReleaseFile() {
    package.reset();
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
    const auto endsWith = [&](const char* end) { return zm::EndsWithNoCase(workbook, end); };
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
    SetSize(sizes);
    return 0;
}

int Excel2007File::Read(ReadSpreadSheetData* sink) {
    if (!ReadyToRead(sink, package != nullptr))
        return status;
    zm::WorkbookLayout layout(sink, choice.layout, loaded.size(), {numRows, numCols});
    for (size_t s = 0; s < loaded.size(); ++s)
        ReadSheet(sink, layout, s);
    return status;
}

void Excel2007File::ReadSheet(ReadSpreadSheetData* sink, zm::WorkbookLayout& layout, size_t index) {
    const zm::xlsx::SheetCells& sheet = loaded[index];
    layout.Begin(choice.names[index], {sheet.rows, sheet.cols});
    sheet.cells.ForEach([&](const zm::xlsx::SheetCells::Cell& cell) {
        int row = 0, col = 0;
        if (!layout.Place(cell.row, cell.col, row, col))
            return;
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
    layout.End();
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
    WorkbookFile::Close();
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
