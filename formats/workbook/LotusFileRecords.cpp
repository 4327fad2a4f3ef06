// The Lotus 1-2-3 reader's walk over the record stream: the RANGE record that sizes the
// table and the cell records that fill it.
#include <algorithm>
#include <exception>
#include <string>

#include "formats/workbook/LotusFile.h"
#include "platform/CodePage.h"
#include "platform/Translate.h"

namespace {

// The worksheet grid of 1-2-3 release 2 and Symphony: no table is bigger. A RANGE
// reaching past it is cut to it, and a cell record past it (which 1-2-3 cannot write) is
// left out with a warning: one such record would otherwise widen the table to 65,536
// columns and rows of empty cells that nothing in the file backs.
constexpr int kGridColumns = 256;
constexpr int kGridRows = 8192;

// The smallest data of each cell record: format byte, column, row, then the value.
constexpr uint16_t kCellHeader = 5;
constexpr uint16_t kIntegerLength = kCellHeader + 2;
constexpr uint16_t kNumberLength = kCellHeader + 8;
constexpr uint16_t kFormulaLength = kCellHeader + 8 + 2;

bool IsCellRecord(uint16_t type) {
    return type == LotusFile::kInteger || type == LotusFile::kNumber || type == LotusFile::kLabel ||
           type == LotusFile::kFormula;
}

// The first character of a label sets its alignment in the cell: ' left, " right,
// ^ centred, \ repeated across the cell. It is layout, not part of the text.
bool IsAlignmentPrefix(uint8_t c) {
    return c == '\'' || c == '"' || c == '^' || c == '\\';
}

}  // namespace

bool LotusFile::Rewind() {
    if (stream == nullptr)
        return false;
    stream->clear();
    stream->seekg(0);
    return !stream->fail();
}

int LotusFile::ReadRecordTypeAndLength(uint16_t& type, uint16_t& length) {
    uint8_t head[4];
    stream->read(reinterpret_cast<char*>(head), sizeof head);
    if (stream->gcount() != static_cast<std::streamsize>(sizeof head))
        return stream->bad() ? kReadFailed : kUnexpectedEof;
    type = GetUInt16(head, 0);
    length = GetUInt16(head, 2);
    return 0;
}

int LotusFile::ReadRecordData(uint16_t length) {
    // `record` holds the biggest length 16 bits can announce.
    stream->read(reinterpret_cast<char*>(record.data()), length);
    if (stream->gcount() != static_cast<std::streamsize>(length))
        return stream->bad() ? kReadFailed : kUnexpectedEof;
    return 0;
}

int LotusFile::FindLotusRecord(uint16_t type, std::vector<uint8_t>& buffer, uint16_t& length) {
    if (!Rewind())
        return kReadFailed;
    for (;;) {
        uint16_t found = 0;
        if (int code = ReadRecordTypeAndLength(found, length); code != 0)
            return code;
        if (int code = ReadRecordData(length); code != 0)
            return code;
        if (found == type) {
            buffer.assign(record.begin(), record.begin() + length);
            return 0;
        }
        if (found == kEof)
            return kNoSize;
    }
}

void LotusFile::CellExtent(int& maxCol, int& maxRow) {
    maxCol = maxRow = -1;
    outsideGrid = 0;
    if (!Rewind())
        return;
    Cell cell;
    for (;;) {
        uint16_t type = 0, length = 0;
        if (ReadRecordTypeAndLength(type, length) != 0 || ReadRecordData(length) != 0 ||
            type == kEof)
            return;
        if (!IsCellRecord(type))
            continue;
        // Reading stops at the first corrupt cell, so cells after it do not count.
        if (!DecodeCell(type, length, cell, false))
            return;
        if (cell.col >= kGridColumns || cell.row >= kGridRows) {
            ++outsideGrid;
            continue;
        }
        maxCol = std::max(maxCol, cell.col);
        maxRow = std::max(maxRow, cell.row);
    }
}

int LotusFile::EstablishSize() {
    if (status != 0)
        return status;
    if (stream == nullptr)
        return SetStatus(kOpenFailed);
    // RANGE, 8 bytes: first column, first row, last column, last row.
    std::vector<uint8_t> range;
    uint16_t length = 0;
    if (FindLotusRecord(kRange, range, length) != 0 || length < 8)
        return SetStatus(kNoSize);
    const int cols = GetUInt16(range.data(), 4) - GetUInt16(range.data(), 0) + 1;
    const int rows = GetUInt16(range.data(), 6) - GetUInt16(range.data(), 2) + 1;
    // Writers have been seen to leave cells outside their RANGE; those cells widen the
    // table, so that none is lost.
    int maxCol = -1, maxRow = -1;
    CellExtent(maxCol, maxRow);
    numCols = std::max(std::clamp(cols, 0, kGridColumns), maxCol + 1);
    numRows = std::max(std::clamp(rows, 0, kGridRows), maxRow + 1);
    warning.clear();
    if (outsideGrid > 0) {
        warning = zm::Translate(
            "Cells beyond the worksheet's 256 columns and 8192 rows were left out: %1%.");
        warning.replace(warning.find("%1%"), 3, std::to_string(outsideGrid));
    }
    sizeEstablished = true;
    return 0;
}

bool LotusFile::DecodeCell(uint16_t type, uint16_t length, Cell& cell, bool wantValue) const {
    const uint8_t* data = record.data();
    // 0x00 uint8: format; 0x01 uint16: column; 0x03 uint16: row; 0x05: the value.
    const uint16_t least = type == kInteger  ? kIntegerLength
                           : type == kNumber ? kNumberLength
                           : type == kLabel  ? kCellHeader + 1
                                             : kFormulaLength;
    if (length < least)
        return false;
    cell.col = GetUInt16(data, 1);
    cell.row = GetUInt16(data, 3);
    if (type == kLabel) {
        // Zero-terminated text; one without its zero is not a label 1-2-3 wrote.
        const auto* text = data + kCellHeader;
        const auto* end = std::find(text, data + length, 0);
        if (end == data + length)
            return false;
        if (!wantValue)
            return true;
        if (text != end && IsAlignmentPrefix(*text))
            ++text;
        cell.kind = Cell::kText;
        cell.text = codePage->ToUtf8(text, static_cast<size_t>(end - text));
        return true;
    }
    if (type == kFormula) {
        // 0x0D uint16: size of the compiled formula that follows.
        if (GetUInt16(data, kNumberLength) > length - kFormulaLength)
            return false;
        if (wantValue)
            ReadFormula(cell);
        return true;
    }
    if (!wantValue)
        return true;
    if (type == kInteger) {
        cell.kind = Cell::kInt;
        cell.integer = GetInt16(data, kCellHeader);
        return true;
    }
    cell.number = GetDouble(data, kCellHeader);
    cell.kind = IsValidDouble(cell.number) ? Cell::kDouble : Cell::kText;
    cell.text.clear();
    return true;
}

void LotusFile::ReadFormula(Cell& cell) const {
    // Only the result 1-2-3 cached when it last calculated is used, never the formula.
    cell.number = GetDouble(record.data(), kCellHeader);
    cell.kind = IsValidDouble(cell.number) ? Cell::kDouble : Cell::kText;
    cell.text.clear();
}

int LotusFile::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    if (stream == nullptr)
        return SetStatus(kOpenFailed);
    if (GetNumRows() < 0 || GetNumCols() < 0)
        return status;
    if (sink == nullptr)
        return status;
    if (!Rewind())
        return SetStatus(kReadFailed);
    try {
        Cell cell;
        for (;;) {
            uint16_t type = 0, length = 0;
            if (int code = ReadRecordTypeAndLength(type, length); code != 0)
                return SetStatus(code);
            if (int code = ReadRecordData(length); code != 0)
                return SetStatus(code);
            if (type == kEof)
                return status;
            if (!IsCellRecord(type))
                continue;
            if (!DecodeCell(type, length, cell, true))
                return SetStatus(kCorruptRecord);
            // Cells beyond the grid were counted for the warning.
            if (cell.col >= numCols || cell.row >= numRows)
                continue;
            const int col = cell.col + 1, row = cell.row + 1;
            if (cell.kind == Cell::kInt)
                sink->Set(col, row, cell.integer);
            else if (cell.kind == Cell::kDouble)
                sink->Set(col, row, cell.number);
            else
                sink->Set(col, row, cell.text.c_str());
        }
    } catch (const std::exception&) {
        return SetUnknownException();
    }
}
