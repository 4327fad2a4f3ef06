// The Excel 97-2003 reader: workbook globals, worksheet tests, sheet choice and cells.
#include "formats/workbook/ExcelFile.h"

#include <algorithm>
#include <cstring>

#include "formats/workbook/SpreadsheetDate.h"
#include "formats/workbook/biff/BiffStream.h"
#include "formats/workbook/biff/BiffStrings.h"
#include "framework/OptionsRecord.h"
#include "framework/SprFileFactory.h"
#include "platform/CodePage.h"
#include "platform/ErrorText.h"
#include "platform/Log.h"
#include "platform/Translate.h"

namespace {

// Record types.
constexpr uint16_t kEof = 0x000A;
constexpr uint16_t kFilePass = 0x002F;
constexpr uint16_t kContinue = 0x003C;
constexpr uint16_t kCodePage = 0x0042;
constexpr uint16_t kWsBool = 0x0081;
constexpr uint16_t kBoundSheet = 0x0085;
constexpr uint16_t kSheetOffset = 0x008E;
constexpr uint16_t kBundleHeader = 0x008F;
constexpr uint16_t kXf = 0x00E0;
constexpr uint16_t kSst = 0x00FC;
constexpr uint16_t kFormat = 0x041E;
constexpr uint16_t kShrFmla = 0x04BC;

// Sheets never hold more than this many rows and columns; larger DIMENSIONS are damage.
constexpr int kMaxRows = 1048576;
constexpr int kMaxCols = 16384;

// Records that hold a cell, its row at offset 0 and its column at offset 2.
bool IsCellRecord(uint16_t type) {
    switch (type) {
        case 0x0002:
        case 0x0003:
        case 0x0004:
        case 0x0005:
        case 0x0006:
        case 0x0203:
        case 0x0204:
        case 0x0205:
        case 0x0206:
        case 0x0406:
        case 0x007E:
        case 0x027E:
        case 0x00BD:
        case 0x00D6:
        case 0x00FD:
            return true;
        default:
            return false;
    }
}

bool IsBof(uint16_t type) {
    return (type & 0xFF) == 0x09 && (type >> 8) <= 0x08;
}

}  // namespace

ExcelFile::ExcelFile() : record(std::make_unique<Record>()) {}

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

int ExcelFile::Open(bool readMode, const char* file, ZmImportOpenOptions* options) {
    if (status != 0)
        return status;
    if (!readMode)
        return SetStatus(kStatusWrongMode);
    if (int code = OpenFile(file); code != 0) {
        stream.reset();
        return SetStatus(code);
    }
    if (int code = GetSheet(options); code != 0) {
        stream.reset();
        return SetStatus(code);
    }
    return status;
}

int ExcelFile::OpenFile(const char* file) {
    worksheets.clear();
    testedSheets.clear();
    sharedStrings.clear();
    dateXf.clear();
    dateFormats.clear();
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
    // The raw bytes from offset 3 on, its length from offset 2; the first two bytes that
    // are 0 read as "_", so that the text goes on past a BIFF8 length's high byte and
    // option byte. A date format has two of "ymdhms", one after the other.
    const size_t length =
        std::min<size_t>(record->data[2], record->length > 3 ? record->length - 3 : 0);
    std::string text(reinterpret_cast<const char*>(record->data + 3), length);
    for (size_t i = 0; i < std::min<size_t>(2, text.size()); ++i) {
        if (text[i] == '\0')
            text[i] = '_';
    }
    const char* p = text.c_str();
    const size_t first = std::strcspn(p, "ymdhms");
    if (p[first] != '\0' && p[first + 1 + std::strcspn(p + first + 1, "ymdhms")] != '\0')
        dateFormats.insert(uI2Shuffle(record->data, 0));
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
        if (type == kEof)
            break;
        if (inSst && type == kContinue) {
            sst.Continue(data, length);
            continue;
        }
        inSst = false;
        if (type == kFilePass) {
            SetStatus(kEncrypted);
            return;
        }
        if (type == kCodePage && length >= 2) {
            codePage = std::make_unique<zm::CodePageText>(uI2Shuffle(data, 0));
        } else if (type == kBoundSheet && length >= 8 && (uI2Shuffle(data, 4) & 0x0F00) == 0) {
            // The name first: testing the sheet reads other records into the buffer.
            const uint32_t position = static_cast<uint32_t>(I4Shuffle(data, 0));
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
            if (!stream->Seek(static_cast<uint32_t>(I4Shuffle(record->data, 0))))
                break;
            continue;
        }
        if (type == kCodePage && record->length >= 2)
            codePage = std::make_unique<zm::CodePageText>(uI2Shuffle(record->data, 0));
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
    for (;;) {
        if (!ReadBiffRecord()) {
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
        } else if ((type & 0xFF) == 0x00 && record->length >= (biff8 ? 12 : 8)) {
            const long long rows = biff8 ? static_cast<uint32_t>(I4Shuffle(record->data, 4))
                                         : uI2Shuffle(record->data, 2);
            const int cols = uI2Shuffle(record->data, biff8 ? 10 : 6);
            dimensionRows = static_cast<int>(std::min<long long>(rows, kMaxRows));
            dimensionCols = std::min(cols, kMaxCols);
            result = rows == 0 && cols == 256 ? kEmptySheet : 0;
        } else if (type == kWsBool && record->length >= 1 && (record->data[0] & 0x10)) {
            result = kEmptySheet;  // a dialog sheet
            break;
        }
    }
    dimensionRows = std::max(dimensionRows, cellRows);
    dimensionCols = std::max(dimensionCols, cellCols);
    stream->Seek(back);
    return result;
}

int ExcelFile::GetSheet(ZmImportOpenOptions* options) {
    if (status != 0)
        return status;
    if (worksheets.empty())
        return kNoSheets;
    const std::vector<std::string> names = GetWorksheets();
    if (worksheets.size() == 1) {
        choice.names = {names.front()};
    } else if (options == nullptr || options->size == 0 || options->data == nullptr) {
        GetSheetOptions(names);
        if (status == kStatusAborted)
            return status;
        if (options != nullptr)
            choice.Write(options, names.size());
    } else if (!choice.Read(options, names)) {
        return kOpenFailed;
    }
    // Only names of this workbook; without any, the first sheet.
    std::vector<std::string> kept;
    for (const std::string& name : choice.names) {
        if (std::find(names.begin(), names.end(), name) != names.end())
            kept.push_back(name);
    }
    if (kept.empty())
        kept.push_back(names.front());
    choice.names = kept;
    readName = choice.ReadName();
    sizeEstablished = false;
    return 0;
}

void ExcelFile::GetSheetOptions(const std::vector<std::string>& names) {
    choice.names = names;
    choice.layout = sideBySideFlag ? zm::SheetChoice::kSideBySide : zm::SheetChoice::kStacked;
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
    choice.names = names;
    readName = choice.ReadName();
    sizeEstablished = false;
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
    const zm::SheetSize size = zm::CombinedSize(sizes, choice.layout);
    numRows = size.rows;
    numCols = size.cols;
    sizeEstablished = true;
    return 0;
}

int ExcelFile::GetNumRows() {
    return status != 0 ? -1 : SpreadsheetFile::GetNumRows();
}

int ExcelFile::GetNumCols() {
    return status != 0 ? -1 : SpreadsheetFile::GetNumCols();
}

int ExcelFile::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    if (stream == nullptr)
        return SetStatus(kOpenFailed);
    if (GetNumRows() < 0 || GetNumCols() < 0)
        return status;
    if (sink == nullptr)
        return status;
    const std::vector<size_t> indexes = GetSheetIndexes(choice.names);
    const bool several = indexes.size() > 1;
    const bool sideBySide = choice.layout == zm::SheetChoice::kSideBySide;
    int rowOffset = 0, colOffset = 0;
    for (size_t i : indexes) {
        const Worksheet& sheet = worksheets[i];
        if (int code = ReadSheet(sink, sheet, rowOffset, colOffset); code != 0)
            return SetStatus(code);
        if (several) {
            // The extra column (stacked) or row (side by side) names each value's sheet.
            const std::string label = zm::SheetLabel(sheet.name);
            if (sideBySide) {
                for (int c = 1; c <= sheet.cols; ++c)
                    sink->Set(colOffset + c, numRows, label.c_str());
            } else {
                for (int r = 1; r <= sheet.rows; ++r)
                    sink->Set(numCols, rowOffset + r, label.c_str());
            }
        }
        (sideBySide ? colOffset : rowOffset) += sideBySide ? sheet.cols : sheet.rows;
    }
    return status;
}

std::string ExcelFile::RecordText(size_t offset, bool wideCount, bool biff2Length) {
    const size_t length = static_cast<size_t>(record->length);
    const uint8_t* data = record->data;
    std::string text;
    if (offset >= length)
        return text;
    if (biff8 && !biff2Length) {
        size_t pos = offset;
        zm::biff::ReadUnicodeString(data, length, pos, wideCount, text);
        return text;
    }
    size_t count, start;
    if (wideCount && !biff2Length) {
        if (length - offset < 2)
            return text;
        count = uI2Shuffle(data, offset);
        start = offset + 2;
    } else {
        count = data[offset];
        start = offset + 1;
    }
    return codePage->ToUtf8(data + start, std::min(count, length - std::min(start, length)));
}

void ExcelFile::Set(ReadSpreadSheetData* sink, int row, int col, unsigned xf, double value) {
    if (xf < dateXf.size() && dateXf[xf]) {
        const std::string text = zm::SerialToDateText(value);
        if (!text.empty()) {
            sink->Set(col, row, text.c_str());
            return;
        }
    }
    sink->Set(col, row, value);
}

int ExcelFile::ReadSheet(ReadSpreadSheetData* sink, const Worksheet& sheet, int rowOffset,
                         int colOffset) {
    if (!stream->Seek(sheet.position) || !ReadBiffRecord() || !IsBof(record->type))
        return kBadSheetRecord;
    // A cell's place in the sink, or false when it lies outside the sheet's size.
    auto place = [&](size_t rowAt, size_t colAt, int& row, int& col) {
        if (static_cast<size_t>(record->length) < std::max(rowAt, colAt) + 2)
            return false;
        const int r = uI2Shuffle(record->data, rowAt), c = uI2Shuffle(record->data, colAt);
        if (r >= sheet.rows || c >= sheet.cols)
            return false;
        row = rowOffset + r + 1;
        col = colOffset + c + 1;
        return true;
    };
    for (;;) {
        if (!ReadBiffRecord())
            return kBadSheetRecord;
        const uint16_t type = record->type;
        const size_t size = static_cast<size_t>(record->length);
        const uint8_t* data = record->data;
        int row = 0, col = 0;
        if (type == kEof)
            return 0;
        if (IsBof(type)) {
            while (ReadBiffRecord() && record->type != kEof) {
            }
            continue;
        }
        switch (type) {
            case kCodePage:
                if (size >= 2)
                    codePage = std::make_unique<zm::CodePageText>(uI2Shuffle(data, 0));
                break;
            case 0x0002:  // INTEGER (BIFF2)
                if (size >= 9 && place(0, 2, row, col))
                    sink->Set(col, row, static_cast<int>(I2Shuffle(data, 7)));
                break;
            case 0x0003:  // NUMBER (BIFF2)
                if (size >= 15 && place(0, 2, row, col))
                    sink->Set(col, row, DShuffle(data, 7));
                break;
            case 0x0203:  // NUMBER
                if (size >= 14 && place(0, 2, row, col))
                    Set(sink, row, col, uI2Shuffle(data, 4), DShuffle(data, 6));
                break;
            case 0x0004:  // LABEL (BIFF2)
                if (place(0, 2, row, col))
                    sink->Set(col, row, RecordText(7, false, true).c_str());
                break;
            case 0x0204:  // LABEL
            case 0x00D6:  // RSTRING: formatting runs ignored
                if (place(0, 2, row, col))
                    sink->Set(col, row, RecordText(6, true, false).c_str());
                break;
            case 0x00FD:  // LABELSST
                if (size >= 10 && place(0, 2, row, col)) {
                    const uint32_t index = static_cast<uint32_t>(I4Shuffle(data, 6));
                    if (index < sharedStrings.size())
                        sink->Set(col, row, sharedStrings[index].c_str());
                }
                break;
            case 0x007E:  // RK as some documentation numbers it
            case 0x027E:  // RK as the files store it
                if (size >= 10 && place(0, 2, row, col))
                    Set(sink, row, col, uI2Shuffle(data, 4),
                        NumFromRk(static_cast<uint32_t>(I4Shuffle(data, 6))));
                break;
            case 0x00BD: {  // MULRK: (XF, RK) pairs from the first column on
                if (size < 12 || !place(0, 2, row, col))
                    break;
                const size_t pairs = (size - 6) / 6;
                const int firstCol = uI2Shuffle(data, 2);
                for (size_t i = 0; i < pairs; ++i) {
                    if (firstCol + static_cast<long long>(i) >= sheet.cols)
                        break;
                    const size_t at = 4 + 6 * i;
                    Set(sink, row, col + static_cast<int>(i), uI2Shuffle(data, at),
                        NumFromRk(static_cast<uint32_t>(I4Shuffle(data, at + 2))));
                }
                break;
            }
            case 0x0006:    // FORMULA (BIFF2, and again from BIFF5 on)
            case 0x0206:    // FORMULA (BIFF3)
            case 0x0406: {  // FORMULA (BIFF4)
                // BIFF2 keeps 3 bytes of cell attributes where later versions keep the XF.
                const bool old = type == 0x0006 && biff2;
                const size_t at = old ? 7 : 6;
                if (size < at + 8 || !place(0, 2, row, col))
                    break;
                if (uI2Shuffle(data, at + 6) != 0xFFFF) {
                    if (old)
                        sink->Set(col, row, DShuffle(data, at));
                    else
                        Set(sink, row, col, uI2Shuffle(data, 4), DShuffle(data, at));
                    break;
                }
                if (data[at] != 0)
                    break;  // a boolean, an error or an empty result: no value
                // A text result: the STRING record follows, perhaps after a shared formula.
                if (!ReadBiffRecord())
                    return kBadSheetRecord;
                if (record->type == kShrFmla && !ReadBiffRecord())
                    return kBadSheetRecord;
                if (record->type == 0x0007 && biff2)
                    sink->Set(col, row, RecordText(0, false, true).c_str());
                else if (record->type == 0x0207)
                    sink->Set(col, row, RecordText(0, true, false).c_str());
                else if (record->type == kEof)
                    return 0;
                break;
            }
            default:
                break;  // BOOLERR and everything else: no value
        }
    }
}

void ExcelFile::Close() {
    stream.reset();
    worksheets.clear();
    sharedStrings.clear();
    choice = zm::SheetChoice();
    readName.clear();
    sizeEstablished = false;
    SpreadsheetFile::Close();
}

const char* ExcelFile::GetReadFile() {
    return readName.c_str();
}

ZmImportOpenOptions* ExcelFile::GetFileReadOptions(const char* file, bool flag) {
    sideBySideFlag = flag;
    Close();
    Open(true, file, nullptr);
    if (status == kStatusAborted) {
        choice.names.clear();
        return nullptr;
    }
    if (status != 0)
        return nullptr;
    auto* record = new ZmImportOpenOptions{0, nullptr};
    choice.Write(record, worksheets.size());
    return record;
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
