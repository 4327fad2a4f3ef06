// A sink that records every cell a reader delivers, for assertions and golden dumps.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <variant>

#include "framework/SpreadSheetData.h"
#include "framework/SpreadsheetFile.h"

namespace zmtest {

// A recorded cell: a number (kept as double, whichever overload delivered it) or a text.
struct Cell {
    enum Kind { kNumber, kText } kind = kNumber;
    double number = 0;
    std::string text;
    // Which overload delivered it: 'i' int, 'l' long long, 'd' double, 'f' float, 't' text.
    char via = 'f';
};

class RecordingSink : public ReadSpreadSheetData {
  public:
    int GetNumberOfColumns() override { return cols; }
    int GetNumberOfRows() override { return rows; }
    void SetDataSize(int c, int r) override {
        cols = c;
        rows = r;
        ++sizeCalls;
    }
    void Set(int col, int row, int value) override { Put(col, row, value, 'i'); }
    void Set(int col, int row, long long value) override {
        Put(col, row, static_cast<double>(value), 'l');
    }
    void Set(int col, int row, double value) override { Put(col, row, value, 'd'); }
    void Set(int col, int row, float value) override { Put(col, row, value, 'f'); }
    void Set(int col, int row, const char* text) override {
        cells[{row, col}] = {Cell::kText, 0, text != nullptr ? text : "", 't'};
    }

    bool Has(int col, int row) const { return cells.count({row, col}) != 0; }
    const Cell& At(int col, int row) const { return cells.at({row, col}); }
    double Number(int col, int row) const { return At(col, row).number; }
    const std::string& Text(int col, int row) const { return At(col, row).text; }

    // One line per cell, "row<TAB>col<TAB>kind<TAB>value", in row then column order.
    std::string Dump() const;

    std::map<std::pair<int, int>, Cell> cells;  // key: (row, col)
    int cols = 0, rows = 0, sizeCalls = 0;

  private:
    void Put(int col, int row, double value, char via) {
        cells[{row, col}] = {Cell::kNumber, value, "", via};
    }
};

// Opens `file` with `reader`, sizes the sink from the reader, reads, and returns the
// status of the first failing step (0 when all succeeded). The reader stays open.
int ReadAll(SpreadsheetFile& reader, const std::string& file, RecordingSink& sink,
            ZmImportOpenOptions* options = nullptr);

}  // namespace zmtest
