// The sheet seen from a writer.
#include "framework/host/SheetSource.h"

#include "framework/host/NumberFormat.h"

namespace zmhost {

namespace {

bool IsText(const Cell* cell) {
    return cell != nullptr && cell->kind == Cell::Kind::kText;
}

}  // namespace

SheetWriteSource::SheetWriteSource(const Sheet& sheet) : sheet(sheet) {
    rows = sheet.Rows();
    cols = sheet.Columns();
    // Names stand in the first row and column when any cell there (past the corner) is a
    // text; the numbers start after them.
    for (int c = 2; c <= cols && originRow == 1; ++c) {
        if (IsText(sheet.At(c, 1)))
            originRow = 2;
    }
    for (int r = 2; r <= rows && originCol == 1; ++r) {
        if (IsText(sheet.At(1, r)))
            originCol = 2;
    }
}

unsigned char SheetWriteSource::GetCellType(int row, int col) {
    const Cell* cell = sheet.At(col, row);
    if (cell == nullptr || cell->kind == Cell::Kind::kMissing)
        return kHostMissing;
    return cell->kind == Cell::Kind::kText ? kHostText : kHostNumber;
}

float SheetWriteSource::GetNumber(int row, int col) {
    const Cell* cell = sheet.At(col, row);
    if (cell == nullptr)
        return 0;
    switch (cell->kind) {
        case Cell::Kind::kDouble:
            return static_cast<float>(cell->d);
        case Cell::Kind::kFloat:
            return cell->f;
        case Cell::Kind::kInteger:
            return static_cast<float>(cell->i);
        default:
            return 0;
    }
}

const char* SheetWriteSource::GetText(int row, int col) {
    const Cell* cell = sheet.At(col, row);
    text.clear();
    if (cell != nullptr) {
        switch (cell->kind) {
            case Cell::Kind::kText:
                text = sheet.TextOf(*cell);
                break;
            case Cell::Kind::kDouble:
                text = FormatDouble(cell->d);
                break;
            case Cell::Kind::kFloat:
                text = FormatFloat(cell->f);
                break;
            case Cell::Kind::kInteger:
                text = FormatInteger(cell->i);
                break;
            case Cell::Kind::kMissing:
                break;
        }
    }
    return text.c_str();
}

bool SheetWriteSource::GetDataOrigin(int* col, int* row) {
    if (col != nullptr)
        *col = originCol;
    if (row != nullptr)
        *row = originRow;
    return true;
}

}  // namespace zmhost
