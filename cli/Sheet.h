// The table a read produces: a grid of number, text or missing cells, addressed 1-based.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace zmcli {

// One cell, kept compact: the kind says which member holds the value. Numbers keep the
// type the reader delivered them in, so that printing can honour that type's precision.
struct Cell {
    enum class Kind : uint8_t { kMissing, kDouble, kFloat, kInteger, kText };
    Kind kind = Kind::kMissing;
    union {
        double d;
        float f;
        long long i;
        uint32_t text;  // index into the sheet's text pool
    };
    Cell() : i(0) {}
};

// Rows are stored sparsely (a row exists once a cell of it arrives) and each row holds
// its cells densely, so a reader that announces a huge table but delivers little costs
// little. Cells right of kMaxColumns or at positions below 1 are dropped and counted.
class Sheet {
  public:
    static constexpr int kMaxColumns = 1 << 20;

    // The size the reader announced; the extent never shrinks below what was stored.
    void Announce(int cols, int rows);

    void SetDouble(int col, int row, double value);
    void SetFloat(int col, int row, float value);
    void SetInteger(int col, int row, long long value);
    void SetText(int col, int row, const char* text);

    // The printable extent: the announced size grown to every stored cell.
    int Columns() const;
    int Rows() const;
    int AnnouncedRows() const { return announcedRows; }
    // Highest row that received a cell so far (0 before any).
    int LastRowSet() const { return maxRow; }
    long long DroppedCells() const { return dropped; }

    // The cell at a position, or null when it is missing.
    const Cell* At(int col, int row) const;
    // The stored cells of a row, left to right (may be shorter than Columns()), or null.
    const std::vector<Cell>* RowCells(int row) const;
    const std::string& TextOf(const Cell& cell) const { return texts[cell.text]; }

  private:
    Cell* Slot(int col, int row);

    std::map<int, std::vector<Cell>> rows;
    std::vector<std::string> texts;
    int announcedCols = 0;
    int announcedRows = 0;
    int maxCol = 0;
    int maxRow = 0;
    long long dropped = 0;
    // Rows usually arrive one after another; remembering the last keeps Set O(1).
    int cachedRow = 0;
    std::vector<Cell>* cachedCells = nullptr;
};

}  // namespace zmcli
