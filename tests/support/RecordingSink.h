// A sink that records every cell a reader delivers, for assertions and golden dumps.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

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

// An expected cell: a text, a number, or none at all (Absent).
struct Expect {
    Expect(int c, int r, const char* t) : col(c), row(r), kind(Cell::kText), text(t) {}
    Expect(int c, int r, double n) : col(c), row(r), kind(Cell::kNumber), number(n) {}
    int col, row;
    Cell::Kind kind;
    double number = 0;
    std::string text;
    bool absent = false;
};
template <class V>
Expect At(int col, int row, V value) {
    return Expect(col, row, value);
}
inline Expect Absent(int col, int row) {
    Expect e(col, row, 0.0);
    e.absent = true;
    return e;
}

// Fails the running test, naming `where` and the cell, for each expected cell that `sink`
// does not hold as given.
void ExpectCells(const RecordingSink& sink, const std::vector<Expect>& cells,
                 const std::string& where = "");

// Opens `file` with `reader`, sizes the sink from the reader, reads, and returns the
// status of the first failing step (0 when all succeeded). The reader stays open.
int ReadAll(SpreadsheetFile& reader, const std::string& file, RecordingSink& sink,
            ZmImportOpenOptions* options = nullptr);

// ReadAll, then the status and the size the reader answers, as "0 4x3" (rows x columns).
std::string ReadSized(SpreadsheetFile& reader, const std::string& file, RecordingSink& sink,
                      ZmImportOpenOptions* options = nullptr);

}  // namespace zmtest
