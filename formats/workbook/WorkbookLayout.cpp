// The placing of several worksheets' cells in one table, with the column or row naming
// each value's sheet.
#include "formats/workbook/WorkbookLayout.h"

#include <algorithm>

#include "framework/SpreadSheetData.h"

namespace zm {

WorkbookLayout::WorkbookLayout(ReadSpreadSheetData* sink, int layout, size_t sheetCount,
                               SheetSize table)
    : sink(sink),
      sideBySide(layout == SheetChoice::kSideBySide),
      labelled(sheetCount > 1),
      table(table) {}

void WorkbookLayout::Begin(const std::string& name, SheetSize size) {
    sheet = size;
    label = labelled ? SheetLabel(name) : std::string();
    finished = 0;
    rowUsed.assign(static_cast<size_t>(std::max(0, size.rows)), false);
    colUsed.assign(static_cast<size_t>(std::max(0, size.cols)), false);
}

void WorkbookLayout::LabelRowsBefore(int row) {
    // Rows are labelled once finished, so that the label comes after the row's cells and
    // the sink receives the cells in row order.
    if (!labelled || sideBySide)
        return;
    for (; finished < std::min(row, sheet.rows); ++finished) {
        if (rowUsed[static_cast<size_t>(finished)])
            sink->Set(table.cols, rowOffset + finished + 1, label.c_str());
    }
}

bool WorkbookLayout::Place(int row, int col, int& tableRow, int& tableCol) {
    if (row < 0 || col < 0 || row >= sheet.rows || col >= sheet.cols)
        return false;
    LabelRowsBefore(row);
    const size_t r = static_cast<size_t>(row), c = static_cast<size_t>(col);
    if (labelled) {
        if (sideBySide && !colUsed[c])
            sink->Set(colOffset + col + 1, table.rows, label.c_str());
        else if (!sideBySide && row < finished && !rowUsed[r])
            sink->Set(table.cols, rowOffset + row + 1, label.c_str());  // a row out of order
    }
    rowUsed[r] = true;
    colUsed[c] = true;
    tableRow = rowOffset + row + 1;
    tableCol = colOffset + col + 1;
    return true;
}

void WorkbookLayout::End() {
    LabelRowsBefore(sheet.rows);
    (sideBySide ? colOffset : rowOffset) += sideBySide ? sheet.cols : sheet.rows;
}

}  // namespace zm
