// The Excel 97-2003 reader: opening, workbook globals, worksheet tests, sheet choice,
// options and texts. The cells are read in ExcelFileCells.cpp.
#include "formats/workbook/ExcelFile.h"

#include <algorithm>
#include <cstring>

#include "formats/workbook/biff/BiffRecords.h"
#include "formats/workbook/biff/BiffStream.h"
#include "formats/workbook/biff/BiffStrings.h"
#include "framework/OptionsRecord.h"
#include "framework/SprFileFactory.h"
#include "platform/CodePage.h"
#include "platform/ErrorText.h"
#include "platform/Log.h"
#include "platform/Translate.h"

using namespace zm::biff::records;

namespace {

inline constexpr uint16_t kDateMode = 0x0022;

// Sheets of BIFF8 hold at most 65536 rows, older ones 16384, all of them 256 columns: a
// DIMENSIONS record that declares more describes no cell the format can hold.
int DeclaredRowsLimit(bool biff8) {
    return biff8 ? 65536 : 16384;
}
inline constexpr int kDeclaredColsLimit = 256;

}  // namespace

bool ExcelFile::IsDateFormatText(std::string text) {
    // A date format has two of "ymdhms", one after the other. The first two bytes that are
    // 0 read as "_", so that a BIFF8 format's text goes on past its length's high byte and
    // option byte.
    for (size_t i = 0; i < std::min<size_t>(2, text.size()); ++i) {
        if (text[i] == '\0')
            text[i] = '_';
    }
    const char* p = text.c_str();
    const size_t first = std::strcspn(p, "ymdhms");
    return p[first] != '\0' && p[first + 1 + std::strcspn(p + first + 1, "ymdhms")] != '\0';
}

ExcelFile::ExcelFile() : WorkbookFile(kOpenFailed, kNoSheets), record(std::make_unique<Record>()) {}

ExcelFile::~ExcelFile() = default;

int16_t ExcelFile::I2Shuffle(const uint8_t* data, size_t offset) {
    return static_cast<int16_t>(uI2Shuffle(data, offset));
}

uint16_t ExcelFile::uI2Shuffle(const uint8_t* data, size_t offset) {
    return static_cast<uint16_t>(data[offset] | data[offset + 1] << 8);
}

int32_t ExcelFile::I4Shuffle(const uint8_t* data, size_t offset) {
    return static_cast<int32_t>(static_cast<uint32_t>(uI2Shuffle(data, offset)) |
                                static_cast<uint32_t>(uI2Shuffle(data, offset + 2)) << 16);
}

double ExcelFile::DShuffle(const uint8_t* data, size_t offset) {
    uint64_t bits = 0;
    for (int i = 7; i >= 0; --i)
        bits = bits << 8 | data[offset + static_cast<size_t>(i)];
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

double ExcelFile::NumFromRk(uint32_t rk) {
    double value;
    if (rk & 0x02) {
        value = static_cast<double>(static_cast<int32_t>(rk) >> 2);
    } else {
        const uint64_t bits = static_cast<uint64_t>(rk & 0xFFFFFFFCu) << 32;
        std::memcpy(&value, &bits, sizeof value);
    }
    return (rk & 0x01) ? value / 100.0 : value;
}

bool ExcelFile::ReadBiffRecord() {
    uint8_t head[4];
    if (!stream->Read(head, 4))
        return false;
    record->type = uI2Shuffle(head, 0);
    record->length = I2Shuffle(head, 2);
    const int limit = biff8 ? 8224 : 2080;
    if (record->length < 0 || record->length > limit)
        return false;
    return stream->Read(record->data, static_cast<size_t>(record->length));
}

void ExcelFile::ReleaseFile() {
    stream.reset();
}

int ExcelFile::OpenFile(const char* file) {
    worksheets.clear();
    testedSheets.clear();
    sharedStrings.clear();
    dateXf.clear();
    dateFormats.clear();
    oldFormats = 0;
    ownFormats = false;
    date1904 = false;
    cutStrings.clear();
    walked = 0;
    choice = zm::SheetChoice();
    codePage = std::make_unique<zm::CodePageText>(1252);
    stream = std::make_unique<zm::biff::BaseStream>(file != nullptr ? file : "");
    if (stream->Status() == 2)
        return kNoExcelStream;
    if (stream->Status() != 0)
        return kOpenFailed;
    biff8 = true;  // the widest length limit for the first record
    if (!ReadBiffRecord() || record->length < 4 || (record->type & 0xFF) != 0x09)
        return kNotExcel;
    version = record->type >> 8;
    if (version > 8)
        return kUnknownVersion;
    biff2 = version == 0;
    biff8 = uI2Shuffle(record->data, 0) == 0x0600;
    const uint16_t substream = uI2Shuffle(record->data, 2);
    if (substream == 0x0005 || (substream == 0x0100 && version == 4)) {
        ReadWorkbookGlobals();
        return status;
    }
    if (substream == 0x0010) {
        const int code = IsWorksheet(0);
        if (code == 0 || code == kEmptySheet)
            worksheets.push_back({"", 0, dimensionCols, dimensionRows});
        else
            return code;
        choice.names = {""};
    }
    return 0;
}

void ExcelFile::NoteFormat() {
    // BIFF5/8: the index, then the raw bytes from offset 3 on, their length at offset 2.
    const size_t length =
        std::min<size_t>(record->data[2], record->length > 3 ? record->length - 3 : 0);
    if (IsDateFormatText(std::string(reinterpret_cast<const char*>(record->data + 3), length)))
        dateFormats.insert(uI2Shuffle(record->data, 0));
}

void ExcelFile::NoteOldFormatRecord() {
    const uint16_t type = record->type;
    const size_t length = static_cast<size_t>(record->length);
    const uint8_t* data = record->data;
    if (!ownFormats) {
        // A worksheet's own formats replace whatever an earlier sheet of a BIFF4 workbook
        // brought.
        ownFormats = true;
        oldFormats = 0;
        dateFormats.clear();
        dateXf.clear();
    }
    if (type == 0x001E || type == 0x041E) {
        // FORMAT: a text with a one-byte length, at offset 0 (BIFF2, BIFF3) or 2 (BIFF4);
        // formats are numbered in the order they come.
        const size_t at = type == 0x041E ? 2 : 0;
        if (length > at) {
            const size_t n = std::min<size_t>(data[at], length - at - 1);
            if (IsDateFormatText(std::string(reinterpret_cast<const char*>(data + at + 1), n)))
                dateFormats.insert(oldFormats);
        }
        ++oldFormats;
    } else if (type == 0x0043 && length >= 3) {  // XF (BIFF2): format in the low 6 bits
        dateXf.push_back(dateFormats.count(data[2] & 0x3Fu) != 0);
    } else if ((type == 0x0243 || type == 0x0443) && length >= 2) {  // XF (BIFF3, BIFF4)
        dateXf.push_back(dateFormats.count(data[1]) != 0);
    }
}

void ExcelFile::ReadWorkbookGlobals() {
    if (status != 0)
        return;
    if (version == 4) {
        ReadBiff4Bundles();
        return;
    }
    dateFormats = {14, 15, 16, 17, 18, 19, 20, 21, 22, 45, 46, 47};
    zm::biff::SharedStrings sst;
    bool inSst = false;
    for (;;) {
        if (!ReadBiffRecord()) {
            SetStatus(kBadGlobalsRecord);
            return;
        }
        const uint16_t type = record->type;
        const size_t length = static_cast<size_t>(record->length);
        const uint8_t* data = record->data;
        if (type == kEof) {
            sst.End();
            break;
        }
        if (inSst && type == kContinue) {
            sst.Continue(data, length);
            continue;
        }
        if (inSst)
            sst.End();
        inSst = false;
        if (type == kFilePass) {
            SetStatus(kEncrypted);
            return;
        }
        if (type == kCodePage && length >= 2) {
            codePage = std::make_unique<zm::CodePageText>(uI2Shuffle(data, 0));
        } else if (type == kDateMode && length >= 2) {
            date1904 = uI2Shuffle(data, 0) == 1;
        } else if (type == kBoundSheet && length >= 8 && (uI2Shuffle(data, 4) & 0x0F00) == 0) {
            // The name first: testing the sheet reads other records into the buffer.
            const uint32_t position = static_cast<uint32_t>(I4Shuffle(data, 0));
            // A second sheet record for a sheet already listed adds nothing the file holds.
            if (testedSheets.count(position) != 0)
                continue;
            std::string name;
            if (biff8) {
                size_t pos = 6;
                zm::biff::ReadUnicodeString(data, length, pos, false, name);
            } else {
                name = codePage->ToUtf8(data + 7, std::min<size_t>(data[6], length - 7));
            }
            const int code = IsWorksheet(position);
            if (code == kEmptySheet)
                continue;
            if (code != 0) {
                SetStatus(kBadGlobalsRecord);
                return;
            }
            worksheets.push_back({name, position, dimensionCols, dimensionRows});
        } else if (type == kXf && length >= 4) {
            dateXf.push_back(dateFormats.count(uI2Shuffle(data, 2)) != 0);
        } else if (type == kSst) {
            sst.Begin(data, length, stream->Size() - stream->Tell());
            inSst = true;
        } else if (type == kFormat && length >= 3) {
            NoteFormat();
        }
    }
    sharedStrings = sst.Table();
    cutStrings = sst.Cut();
    if (!worksheets.empty())
        choice.names = {worksheets.front().name};
}

void ExcelFile::ReadBiff4Bundles() {
    // A BIFF4 workbook: each sheet is a bundle, announced by its header, that holds a
    // whole worksheet stream from BOF to EOF.
    for (;;) {
        if (!ReadBiffRecord())
            break;
        const uint16_t type = record->type;
        if (type == kEof)
            break;
        if (type == kSheetOffset && record->length >= 4) {
            // The next bundle lies ahead: an offset back (or onto this record) would walk
            // the same bundles again and again.
            const uint32_t next = static_cast<uint32_t>(I4Shuffle(record->data, 0));
            if (next < stream->Tell()) {
                SetStatus(kBadGlobalsRecord);
                return;
            }
            if (!stream->Seek(next))
                break;
            continue;
        }
        if (type == kCodePage && record->length >= 2)
            codePage = std::make_unique<zm::CodePageText>(uI2Shuffle(record->data, 0));
        if (type == kDateMode && record->length >= 2)
            date1904 = uI2Shuffle(record->data, 0) == 1;
        if (type != kBundleHeader || record->length < 5)
            continue;
        const size_t n = std::min<size_t>(record->data[4], static_cast<size_t>(record->length) - 5);
        const std::string name = codePage->ToUtf8(record->data + 5, n);
        const uint64_t bof = stream->Tell();
        if (!ReadBiffRecord())
            break;
        if (IsBof(record->type) && record->length >= 4 && uI2Shuffle(record->data, 2) == 0x0010 &&
            IsWorksheet(bof) == 0)
            worksheets.push_back({name, bof, dimensionCols, dimensionRows});
        // On to the end of this bundle's sheet; the next record is the next bundle.
        while (ReadBiffRecord() && record->type != kEof) {
        }
    }
    if (!worksheets.empty())
        choice.names = {worksheets.front().name};
}

int ExcelFile::IsWorksheet(uint64_t position) {
    // Many sheet records may point at the same place; each place is walked once, so that
    // a small file cannot make the walk quadratic.
    if (const auto known = testedSheets.find(position); known != testedSheets.end()) {
        dimensionRows = known->second.rows;
        dimensionCols = known->second.cols;
        return known->second.result;
    }
    const int result = TestWorksheet(position);
    testedSheets[position] = {result, dimensionRows, dimensionCols};
    return result;
}

int ExcelFile::TestWorksheet(uint64_t position) {
    const uint64_t back = stream->Tell();
    dimensionRows = 0;
    dimensionCols = 0;
    int result = kEmptySheet;
    bool seenBof = false;
    int cellRows = 0, cellCols = 0;
    if (!stream->Seek(position)) {
        stream->Seek(back);
        return kBadSheetRecord;
    }
    // Sheets do not overlap, so walking them all reads the stream about once; sheet
    // records that point into each other must not make the walk quadratic.
    const uint64_t budget = 2 * stream->Size();
    for (;;) {
        if (walked + (stream->Tell() - position) > budget || !ReadBiffRecord()) {
            result = kBadSheetRecord;
            break;
        }
        const uint16_t type = record->type;
        if (type == kEof)
            break;
        if (IsBof(type)) {
            if (seenBof) {
                // A chart embedded in the sheet: its records end with its own EOF.
                while (ReadBiffRecord() && record->type != kEof) {
                }
            }
            seenBof = true;
            continue;
        }
        if (IsCellRecord(type) && record->length >= 4) {
            // Some writers declare fewer rows or columns than they fill (Gnumeric, Quattro
            // Pro, exporters): the cells themselves widen the sheet, so none is lost.
            const int row = uI2Shuffle(record->data, 0);
            int col = uI2Shuffle(record->data, 2);
            if (type == 0x00BD && record->length >= 6)
                col = uI2Shuffle(record->data, static_cast<size_t>(record->length) - 2);
            cellRows = std::max(cellRows, std::min(row + 1, kMaxRows));
            cellCols = std::max(cellCols, std::min(col + 1, kMaxCols));
        } else if ((type == 0x0200 || type == 0x0000) &&
                   record->length >= (biff8 && type == 0x0200 ? 12 : 8)) {
            // DIMENSIONS: the last row and column + 1, rows in 32 bits from BIFF8 on.
            const bool wide = biff8 && type == 0x0200;
            const long long rows = wide ? static_cast<uint32_t>(I4Shuffle(record->data, 4))
                                        : uI2Shuffle(record->data, 2);
            const int cols = uI2Shuffle(record->data, wide ? 10 : 6);
            dimensionRows = static_cast<int>(std::min<long long>(rows, DeclaredRowsLimit(biff8)));
            dimensionCols = std::min(cols, kDeclaredColsLimit);
            result = rows == 0 && cols == 256 ? kEmptySheet : 0;
        } else if (type == kWsBool && record->length >= 1 && (record->data[0] & 0x10)) {
            result = kEmptySheet;  // a dialog sheet
            break;
        }
    }
    dimensionRows = std::max(dimensionRows, cellRows);
    dimensionCols = std::max(dimensionCols, cellCols);
    walked += stream->Tell() - position;
    stream->Seek(back);
    return result;
}

std::vector<std::string> ExcelFile::GetWorksheets() const {
    std::vector<std::string> names;
    for (const Worksheet& sheet : worksheets)
        names.push_back(sheet.name);
    return names;
}

bool ExcelFile::SetCurWorksheet(const std::vector<std::string>& names) {
    const std::vector<std::string> known = GetWorksheets();
    for (const std::string& name : names) {
        if (std::find(known.begin(), known.end(), name) == known.end())
            return false;
    }
    SetChoice(names);
    return true;
}

std::vector<size_t> ExcelFile::GetSheetIndexes(const std::vector<std::string>& names) const {
    std::vector<size_t> indexes;
    for (const std::string& name : names) {
        for (size_t i = 0; i < worksheets.size(); ++i) {
            if (worksheets[i].name == name) {
                indexes.push_back(i);
                break;
            }
        }
    }
    return indexes;
}

int ExcelFile::EstablishSize() {
    if (status != 0)
        return status;
    std::vector<zm::SheetSize> sizes;
    for (size_t i : GetSheetIndexes(choice.names))
        sizes.push_back({worksheets[i].rows, worksheets[i].cols});
    SetSize(sizes);
    return 0;
}

void ExcelFile::Close() {
    stream.reset();
    worksheets.clear();
    sharedStrings.clear();
    WorkbookFile::Close();
}

const char* ExcelFile::GetWarningMessage() {
    if (damagedCells <= 0)
        return nullptr;
    warning = zm::FormatMessage(
        zm::Translate("%1% cells of the Excel file could not be read in full: their text is cut "
                      "short or refers to a shared string the file does not hold."),
        damagedCells);
    return warning.c_str();
}

void ExcelFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    const char* text = nullptr;
    switch (status) {
        case kOpenFailed:
            text = "Unable to open Excel file.";
            break;
        case kBadGlobalsRecord:
            text =
                "An error occurred when reading the Workbook section in the Excel file. An "
                "invalid BIFF-record was found.";
            break;
        case kBadSheetRecord:
            text =
                "An error occurred when reading a Worksheet in the Excel file. An invalid "
                "BIFF-record was found.";
            break;
        case kNotExcel:
            text = "This file does not appear to be a valid Excel file.";
            break;
        case kEmptySheet:
            text = "The specified Worksheet is either a dialog / form or has no data.";
            break;
        case kEncrypted:
            text =
                "%1% cannot read (password-) protected Excel workbooks. You will need to "
                "remove the password protection to be able to read the file into %1%.";
            break;
        case kNoExcelStream:
            text = "No Excel stream was found in the file.";
            break;
        case kNoSheets:
            text = "The excel file does not contain any sheets.";
            break;
        case kUnknownVersion:
            text =
                "%1% can not read this version of Excel files. Only Excel files based on the "
                "BIFF2 to BIFF8 formats can be read. This includes files generated by Excel "
                "version 2, 3, 4, 5, 95, 97, 2000 & XP.";
            break;
        default:
            SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
            return;
    }
    zm::CopyErrorText(zm::FormatMessage(zm::Translate(text), zm::GetApplicationName()), buffer,
                      bufferSize);
}

namespace {

// Binary workbooks cannot be told from their content alone here; the extension decides.
class ExcelFileFactory : public SprFileFactory {
  public:
    ExcelFileFactory()
        : SprFileFactory("Excel File", "Excel 97-2003 Workbook (*.xl*)", nullptr, 2, ".xls\0.xlw\0",
                         0, 1, 0, 1, 1, 1) {}

  protected:
    MyKindOfFile IsMyKindOfFile(const char*) override { return kPlausible; }
    SpreadsheetFile* GetSpreadsheetFile() override { return new ExcelFile; }
};

ExcelFileFactory theExcelFileFactory;

}  // namespace
