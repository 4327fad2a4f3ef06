// The Excel 97-2003 reader's cells: every cell record of a worksheet placed in the sink,
// numbers in date formats as date texts, and the extra column or row naming each sheet.
#include <algorithm>

#include "formats/workbook/ExcelFile.h"
#include "formats/workbook/SpreadsheetDate.h"
#include "formats/workbook/biff/BiffRecords.h"
#include "formats/workbook/biff/BiffStream.h"
#include "formats/workbook/biff/BiffStrings.h"
#include "platform/CodePage.h"

using namespace zm::biff::records;

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
        // The extra column (stacked) or row (side by side) names each value's sheet; the
        // column is filled row by row as the rows are finished, so cells come in row order.
        const std::string label = several ? zm::SheetLabel(sheet.name) : std::string();
        if (int code = ReadSheet(sink, sheet, rowOffset, colOffset,
                                 several && !sideBySide ? &label : nullptr);
            code != 0)
            return SetStatus(code);
        if (several && sideBySide) {
            for (int c = 1; c <= sheet.cols; ++c)
                sink->Set(colOffset + c, numRows, label.c_str());
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
                         int colOffset, const std::string* stackedLabel) {
    int labelled = 0;  // rows of this sheet that got their label
    auto labelRowsBefore = [&](int fileRow) {
        for (; stackedLabel != nullptr && labelled < std::min(fileRow, sheet.rows); ++labelled)
            sink->Set(numCols, rowOffset + labelled + 1, stackedLabel->c_str());
    };
    if (!stream->Seek(sheet.position) || !ReadBiffRecord() || !IsBof(record->type))
        return kBadSheetRecord;
    // A cell's place in the sink, or false when it lies outside the sheet's size.
    auto place = [&](size_t rowAt, size_t colAt, int& row, int& col) {
        if (static_cast<size_t>(record->length) < std::max(rowAt, colAt) + 2)
            return false;
        const int r = uI2Shuffle(record->data, rowAt), c = uI2Shuffle(record->data, colAt);
        if (r >= sheet.rows || c >= sheet.cols)
            return false;
        labelRowsBefore(r);
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
        if (type == kEof) {
            labelRowsBefore(sheet.rows);
            return 0;
        }
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
                else if (record->type == kEof) {
                    labelRowsBefore(sheet.rows);
                    return 0;
                }
                break;
            }
            default:
                break;  // BOOLERR and everything else: no value
        }
    }
}
