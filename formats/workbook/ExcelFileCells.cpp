// The Excel 97-2003 reader's cells: every cell record of a worksheet placed in the sink,
// numbers in date formats as date texts, and the extra column or row naming each sheet.
#include <algorithm>

#include "formats/workbook/ExcelFile.h"
#include "formats/workbook/SpreadsheetDate.h"
#include "formats/workbook/WorkbookLayout.h"
#include "formats/workbook/WorkbookValues.h"
#include "formats/workbook/biff/BiffRecords.h"
#include "formats/workbook/biff/BiffStream.h"
#include "formats/workbook/biff/BiffStrings.h"
#include "platform/CodePage.h"

using namespace zm::biff::records;

namespace {

// A boolean or an error value as its text.
const char* BoolErrText(bool isError, uint8_t value) {
    return isError ? zm::ErrorValueText(value) : (value != 0 ? "TRUE" : "FALSE");
}

}  // namespace

int ExcelFile::Read(ReadSpreadSheetData* sink) {
    if (!ReadyToRead(sink, stream != nullptr))
        return status;
    damagedCells = 0;
    const std::vector<size_t> indexes = GetSheetIndexes(choice.names);
    zm::WorkbookLayout layout(sink, choice.layout, indexes.size(), {numRows, numCols});
    for (size_t i : indexes) {
        if (int code = ReadSheet(sink, layout, worksheets[i]); code != 0)
            return SetStatus(code);
    }
    return status;
}

std::string ExcelFile::RecordText(size_t offset, bool wideCount, bool biff2Length) {
    const size_t length = static_cast<size_t>(record->length);
    const uint8_t* data = record->data;
    const bool unicode = biff8 && !biff2Length;
    const size_t countBytes = wideCount && !biff2Length ? 2 : 1;
    if (offset > length || length - offset < countBytes) {
        ++damagedCells;
        return std::string();
    }
    const size_t count = countBytes == 2 ? uI2Shuffle(data, offset) : data[offset];
    if (count == 0)
        return std::string();  // writers differ on whether an empty text has an option byte
    if (unicode && length - offset < countBytes + 1) {
        ++damagedCells;
        return std::string();
    }
    size_t owed = count;
    std::string text, bytes;
    if (unicode) {
        size_t pos = offset;
        zm::biff::ReadUnicodeString(data, length, pos, wideCount, text, &owed);
    } else {
        const size_t start = offset + countBytes;
        bytes.assign(reinterpret_cast<const char*>(data + start), std::min(count, length - start));
        owed = count - bytes.size();
    }
    // The rest comes in CONTINUE records. In BIFF8 each starts with the option byte of its
    // characters (one or two bytes each); some writers leave it out, and then the first
    // byte is a character, never 0 or 1, in the width so far. Before BIFF8 they hold the
    // bytes alone.
    bool wide = unicode && offset + countBytes < length && (data[offset + countBytes] & 0x01);
    while (owed > 0) {
        const uint64_t next = stream->Tell();
        if (!ReadBiffRecord() || record->type != kContinue || record->length == 0) {
            stream->Seek(next);
            break;
        }
        const size_t size = static_cast<size_t>(record->length);
        const uint8_t* part = record->data;
        if (unicode) {
            size_t from = 0;
            if (part[0] <= 0x01) {
                wide = part[0] == 0x01;
                from = 1;
            }
            const size_t take = std::min(owed, (size - from) / (wide ? 2 : 1));
            text += wide ? zm::CodePageText::Utf16LeToUtf8(part + from, take)
                         : zm::CodePageText::Latin1ToUtf8(part + from, take);
            owed -= take;
        } else {
            const size_t take = std::min(owed, size);
            bytes.append(reinterpret_cast<const char*>(part), take);
            owed -= take;
        }
    }
    if (owed > 0)
        ++damagedCells;  // the length claims more than the file holds: what is there is kept
    return unicode ? text
                   : codePage->ToUtf8(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

void ExcelFile::Set(ReadSpreadSheetData* sink, int row, int col, unsigned xf, double value) {
    if (xf < dateXf.size() && dateXf[xf]) {
        const std::string text = zm::SerialToDateText(value, date1904);
        if (!text.empty()) {
            sink->Set(col, row, text.c_str());
            return;
        }
    }
    sink->Set(col, row, value);
}

bool ExcelFile::Place(zm::WorkbookLayout& layout, int fileCol, int& row, int& col) {
    if (record->length < 4)
        return false;
    const int r = uI2Shuffle(record->data, 0);
    const int c = fileCol >= 0 ? fileCol : uI2Shuffle(record->data, 2);
    return layout.Place(r, c, row, col);
}

int ExcelFile::ReadSheet(ReadSpreadSheetData* sink, zm::WorkbookLayout& layout,
                         const Worksheet& sheet) {
    if (!stream->Seek(sheet.position) || !ReadBiffRecord() || !IsBof(record->type))
        return kBadSheetRecord;
    layout.Begin(sheet.name, {sheet.rows, sheet.cols});
    ownFormats = false;
    for (unsigned records = 1;; ++records) {
        if (!ReadBiffRecord())
            return kBadSheetRecord;
        if (records % 4096 == 0)
            sink->ReportBytesRead(stream->Tell(), stream->Size());
        if (record->type == kEof) {
            layout.End();
            return 0;
        }
        if (IsBof(record->type)) {
            while (ReadBiffRecord() && record->type != kEof) {
            }
            continue;
        }
        if (!ReadCellRecord(sink, layout))
            return kBadSheetRecord;
    }
}

bool ExcelFile::ReadCellRecord(ReadSpreadSheetData* sink, zm::WorkbookLayout& layout) {
    const uint16_t type = record->type;
    const size_t size = static_cast<size_t>(record->length);
    const uint8_t* data = record->data;
    // BIFF2 cells keep 3 bytes of attributes where later versions keep the XF: its low 6
    // bits are the XF, or 63 to say that an IXFE record before the cell holds it.
    const unsigned oldXf = size >= 5 ? ((data[4] & 0x3Fu) == 0x3F ? biff2Xf : data[4] & 0x3Fu) : 0;
    int row = 0, col = 0;
    switch (type) {
        case 0x0005:  // BOOLERR (BIFF2): the value, then 1 for an error
        case 0x0205:  // BOOLERR
            if (const size_t v = type == 0x0005 ? 7 : 6;
                size >= v + 2 && Place(layout, -1, row, col)) {
                if (const char* text = BoolErrText(data[v + 1] != 0, data[v]))
                    sink->Set(col, row, text);
            }
            return true;
        case 0x0004:  // LABEL (BIFF2)
        case 0x0204:  // LABEL
        case 0x00D6:  // RSTRING
        case 0x00FD:  // LABELSST
            ReadTextCell(sink, layout);
            return true;
        case 0x0006:  // FORMULA (BIFF2, and again from BIFF5 on)
        case 0x0206:  // FORMULA (BIFF3)
        case 0x0406:  // FORMULA (BIFF4)
            if (size >= 4 && Place(layout, -1, row, col))
                return ReadFormulaResult(sink, row, col, type == 0x0006 && biff2 ? oldXf : ~0u);
            return true;
        default:
            if (!ReadNumberCell(sink, layout, oldXf))
                NoteSheetSetting();
            return true;
    }
}

void ExcelFile::NoteSheetSetting() {
    const size_t size = static_cast<size_t>(record->length);
    const uint8_t* data = record->data;
    switch (record->type) {
        case kCodePage:
            if (size >= 2)
                codePage = std::make_unique<zm::CodePageText>(uI2Shuffle(data, 0));
            break;
        case 0x0022:  // DATEMODE, in the worksheet stream of BIFF2-4
            if (size >= 2)
                date1904 = uI2Shuffle(data, 0) == 1;
            break;
        case 0x0044:  // IXFE (BIFF2)
            if (size >= 2)
                biff2Xf = uI2Shuffle(data, 0);
            break;
        case 0x001E:  // FORMAT (BIFF2, BIFF3)
        case 0x041E:  // FORMAT (BIFF4 here; BIFF5 and BIFF8 keep theirs in the globals)
        case 0x0043:  // XF (BIFF2)
        case 0x0243:  // XF (BIFF3)
        case 0x0443:  // XF (BIFF4)
            if (version < 8)
                NoteOldFormatRecord();
            break;
        default:
            break;  // everything else holds no value
    }
}

void ExcelFile::ReadTextCell(ReadSpreadSheetData* sink, zm::WorkbookLayout& layout) {
    const uint16_t type = record->type;
    int row = 0, col = 0;
    if (type == 0x00FD) {  // LABELSST: an index into the shared strings
        if (record->length < 10 || !Place(layout, -1, row, col))
            return;
        const uint32_t index = static_cast<uint32_t>(I4Shuffle(record->data, 6));
        if (index >= sharedStrings.size() ||
            std::binary_search(cutStrings.begin(), cutStrings.end(), index))
            ++damagedCells;
        if (index < sharedStrings.size())
            sink->Set(col, row, sharedStrings[index].c_str());
        return;
    }
    // LABEL of BIFF2 has a one-byte length; RSTRING's formatting runs are ignored.
    if (Place(layout, -1, row, col)) {
        const bool biff2Label = type == 0x0004;
        sink->Set(col, row, RecordText(biff2Label ? 7 : 6, !biff2Label, biff2Label).c_str());
    }
}

bool ExcelFile::ReadNumberCell(ReadSpreadSheetData* sink, zm::WorkbookLayout& layout,
                               unsigned oldXf) {
    const size_t size = static_cast<size_t>(record->length);
    const uint8_t* data = record->data;
    int row = 0, col = 0;
    switch (record->type) {
        case 0x0002:  // INTEGER (BIFF2): an unsigned 16-bit number
            if (size >= 9 && Place(layout, -1, row, col)) {
                if (oldXf < dateXf.size() && dateXf[oldXf])
                    Set(sink, row, col, oldXf, uI2Shuffle(data, 7));
                else
                    sink->Set(col, row, static_cast<int>(uI2Shuffle(data, 7)));
            }
            return true;
        case 0x0003:  // NUMBER (BIFF2)
            if (size >= 15 && Place(layout, -1, row, col))
                Set(sink, row, col, oldXf, DShuffle(data, 7));
            return true;
        case 0x0203:  // NUMBER
            if (size >= 14 && Place(layout, -1, row, col))
                Set(sink, row, col, uI2Shuffle(data, 4), DShuffle(data, 6));
            return true;
        case 0x007E:  // RK as some documentation numbers it
        case 0x027E:  // RK as the files store it
            if (size >= 10 && Place(layout, -1, row, col))
                Set(sink, row, col, uI2Shuffle(data, 4),
                    NumFromRk(static_cast<uint32_t>(I4Shuffle(data, 6))));
            return true;
        case 0x00BD: {  // MULRK: (XF, RK) pairs from the first column on
            const size_t pairs = size < 12 ? 0 : (size - 6) / 6;
            const int firstCol = uI2Shuffle(data, 2);
            for (size_t i = 0; i < pairs; ++i) {
                if (!Place(layout, firstCol + static_cast<int>(i), row, col))
                    break;
                const size_t from = 4 + 6 * i;
                Set(sink, row, col, uI2Shuffle(data, from),
                    NumFromRk(static_cast<uint32_t>(I4Shuffle(data, from + 2))));
            }
            return true;
        }
        default:
            return false;
    }
}

bool ExcelFile::ReadFormulaResult(ReadSpreadSheetData* sink, int row, int col, unsigned oldXf) {
    // BIFF2 keeps 3 bytes of cell attributes where later versions keep the XF.
    const bool old = oldXf != ~0u;
    const size_t at = old ? 7 : 6;
    const uint8_t* data = record->data;
    if (static_cast<size_t>(record->length) < at + 8)
        return true;
    if (uI2Shuffle(data, at + 6) != 0xFFFF) {
        Set(sink, row, col, old ? oldXf : uI2Shuffle(data, 4), DShuffle(data, at));
        return true;
    }
    // Not a number: the first byte says what. 1 a boolean and 2 an error, its value in the
    // third byte; 3 an empty text; 0 a text, in the STRING record that follows (perhaps
    // after the formula's shared part).
    if (data[at] == 1 || data[at] == 2) {
        if (const char* text = BoolErrText(data[at] == 2, data[at + 2]))
            sink->Set(col, row, text);
        return true;
    }
    if (data[at] != 0)
        return true;
    const uint64_t back = stream->Tell();
    if (!ReadBiffRecord())
        return false;
    // SHRFMLA, ARRAY or TABLE: the formula's shared part comes first.
    if ((record->type == kShrFmla || record->type == 0x0221 || record->type == 0x0236) &&
        !ReadBiffRecord())
        return false;
    if (record->type == 0x0007 && biff2)
        sink->Set(col, row, RecordText(0, false, true).c_str());
    else if (record->type == 0x0207)
        sink->Set(col, row, RecordText(0, true, false).c_str());
    else
        stream->Seek(back);  // no text after all: the record is read as any other
    return true;
}
