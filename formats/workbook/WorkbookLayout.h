// Where the cells of the chosen worksheets go in the one table a workbook reader hands
// its sink: one sheet as it is; several stacked (rows after rows) with an extra last
// column, or side by side with an extra last row, that names the sheet each value came
// from. Only rows (stacked) or columns (side by side) holding a value get that name, so a
// sheet's declared size costs no cells.
#pragma once

#include <string>
#include <vector>

#include "formats/workbook/SheetChoice.h"
#include "framework/SpreadSheetData.h"

namespace zm {

class WorkbookLayout {
  public:
    // `table` is the size of the whole table (CombinedSize of the sheets).
    WorkbookLayout(ReadSpreadSheetData* sink, int layout, size_t sheetCount, SheetSize table);

    // Starts the next sheet, `size` large and called `name`.
    void Begin(const std::string& name, SheetSize size);
    // The table's 1-based row and column of the current sheet's 0-based cell (row, col),
    // or false when it lies outside the sheet. Cells come in row order, mostly: the rows
    // before `row` are taken as finished and get the sheet's name.
    bool Place(int row, int col, int& tableRow, int& tableCol);
    // Names the sheet's remaining rows and moves on past it.
    void End();

  private:
    void LabelRowsBefore(int row);

    ReadSpreadSheetData* sink;
    const bool sideBySide;
    const bool labelled;  // several sheets: each value's sheet is named
    const SheetSize table;
    std::string label;
    SheetSize sheet;
    int rowOffset = 0, colOffset = 0;
    int finished = 0;  // rows of the current sheet before this one are labelled
    std::vector<bool> rowUsed, colUsed;
};

}  // namespace zm
