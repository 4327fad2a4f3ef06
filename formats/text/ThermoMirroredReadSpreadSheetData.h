// A sink that keeps every cell of a text table as text, by line and cell, so that a
// reader can hand the table on in another order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/SpreadSheetData.h"

// Cells are addressed as the text reader delivers them: the cell number as the column,
// the line number as the row, both from 1. Cells outside the announced size are dropped.
// Cells arrive line by line, in order: the texts live in one block, the cells' offsets
// in one array with the first cell of each line marked, and every empty cell shares one
// empty text, so that a table of empty cells costs four bytes per delimiter of the file.
// With a column filter, line 1 (the names) is kept whole and later lines keep only the
// cells of columns whose name the filter wants.
class ThermoMirroredReadSpreadSheetData : public ReadSpreadSheetData {
  public:
    ThermoMirroredReadSpreadSheetData(int cells, int lines);

    int GetNumberOfColumns() override { return cells; }
    int GetNumberOfRows() override { return lineCount; }
    void SetDataSize(int cols, int rows) override;
    void Set(int col, int row, const char* text) override;
    void Set(int col, int row, float value) override;
    using ReadSpreadSheetData::Set;

    // Keeps, below line 1, only the columns whose line-1 text `wanted` accepts. Set
    // before the first cell arrives.
    void SetColumnFilter(std::function<bool(std::string_view)> wanted) {
        filter = std::move(wanted);
    }

    // At most this many cells can come (a file cannot hold more cells than bytes and
    // lines): room for the kept ones is made once instead of by repeated doubling.
    void SetCellBudget(size_t maxCells) { budget = maxCells; }

    int CellCount() const { return cells; }
    int LineCount() const { return lineCount; }
    // The text of cell `cell` of line `line`; null when the file has no such cell.
    const char* Cell(int line, int cell) const;
    // True when the texts outgrew what the offsets can address (4 GB): cells were lost.
    bool Overflowed() const { return overflowed; }

  private:
    static constexpr uint32_t kMissing = UINT32_MAX;

    int cells = 0;
    int lineCount = 0;
    int openLines = 0;              // lines whose first cell has arrived
    std::vector<size_t> lineStart;  // per open line, its first entry in `offsets`
    std::vector<uint32_t> offsets;  // per cell, where its text starts in `texts`
    std::string texts;              // an empty text first, then each nonempty cell's text
    bool overflowed = false;
    std::function<bool(std::string_view)> filter;
    // Per column, its place among the kept columns below line 1 (-1: dropped); built
    // from line 1 when the first later line arrives. Empty without a filter.
    std::vector<int> kept;
    bool keptBuilt = false;
    size_t budget = 0;

    // Where cell `cell` (from 1) of line `line` lives within its line; -1 when dropped.
    int Place(int line, int cell) const;
    void BuildKept();
};
