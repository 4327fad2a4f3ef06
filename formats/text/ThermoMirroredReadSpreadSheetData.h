// A sink that keeps every cell of a text table as text, by line and cell, so that a
// reader can hand the table on in another order.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "framework/SpreadSheetData.h"

// Cells are addressed as the text reader delivers them: the cell number as the column,
// the line number as the row, both from 1. Cells outside the announced size are dropped.
// The texts live in one block; each line keeps only the offsets of its cells, so a
// table costs little more than its text.
class ThermoMirroredReadSpreadSheetData : public ReadSpreadSheetData {
  public:
    ThermoMirroredReadSpreadSheetData(int cells, int lines);

    int GetNumberOfColumns() override { return cells; }
    int GetNumberOfRows() override { return static_cast<int>(lines.size()); }
    void SetDataSize(int cols, int rows) override;
    void Set(int col, int row, const char* text) override;
    void Set(int col, int row, float value) override;
    using ReadSpreadSheetData::Set;

    int CellCount() const { return cells; }
    int LineCount() const { return static_cast<int>(lines.size()); }
    // The text of cell `cell` of line `line`; null when the file has no such cell.
    const char* Cell(int line, int cell) const;

  private:
    static constexpr size_t kMissing = static_cast<size_t>(-1);

    int cells = 0;
    std::vector<std::vector<size_t>> lines;  // per line, the offset of each cell's text
    std::string texts;                       // every cell's text, each ended by a zero byte
};
