// The table a read produces: a grid of number, text or missing cells, addressed 1-based.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

namespace zmhost {

// One cell, kept compact: the kind says which member holds the value. Numbers keep the
// type the reader delivered them in, so that printing can honour that type's precision.
struct Cell {
    enum class Kind : uint8_t { kMissing, kDouble, kFloat, kInteger, kText };
    Kind kind = Kind::kMissing;
    uint32_t textLength = 0;  // of `text`; it fills what would be padding
    union {
        double d;
        float f;
        long long i;
        const char* text;  // zero-terminated, in one of the sheet's text blocks
    };
    Cell() : i(0) {}
};
static_assert(sizeof(Cell) == 16, "a sheet holds millions of cells");

// Rows are stored sparsely (a row exists once a cell of it arrives) and each row holds
// its cells densely, so a reader that announces a huge table but delivers little costs
// little. Cells right of kMaxColumns or at positions below 1 are dropped and counted, and
// so are cells that would make the rows hold more slots than the allowance below: a file
// that places a few cells far to the right in many rows cannot make the sheet allocate
// what their positions imply.
class Sheet {
  public:
    // A chromatogram of millions of points is one row of millions of columns.
    static constexpr int kMaxColumns = 1 << 24;
    // Slots the rows may hold in all before the relative rule applies (128 MiB of cells).
    static constexpr size_t kFreeSlots = size_t{1} << 23;
    // Beyond the free slots, at most this many slots per stored cell.
    static constexpr size_t kSlotsPerCell = 64;

    Sheet() = default;
    // Not copied or moved: the row cache holds an iterator into `rows`.
    Sheet(const Sheet&) = delete;
    Sheet& operator=(const Sheet&) = delete;

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
    std::string_view TextOf(const Cell& cell) const { return {cell.text, cell.textLength}; }

  private:
    Cell* Slot(int col, int row);

    std::map<int, std::vector<Cell>> rows;
    // Copies a text into the current block (a new one when it does not fit). Texts are
    // packed end to end rather than kept as one string object each: a large read holds
    // millions of short texts.
    const char* StoreText(const char* text, size_t length);

    std::vector<std::unique_ptr<char[]>> textBlocks;
    size_t blockFree = 0;
    char* blockNext = nullptr;
    int announcedCols = 0;
    int announcedRows = 0;
    int maxCol = 0;
    int maxRow = 0;
    long long dropped = 0;
    // Cells placed so far and the slots (row capacities) they hold, for the allowance.
    size_t placed = 0;
    size_t slots = 0;
    bool Affordable(size_t moreSlots) const {
        return slots + moreSlots <= kFreeSlots + kSlotsPerCell * placed;
    }
    // Rows usually arrive one after another; remembering the last keeps Set O(1).
    int cachedRow = 0;
    std::vector<Cell>* cachedCells = nullptr;
    // The rows of the announced size, up to kIndexedRows, by number: a reader that
    // delivers column by column changes rows with every cell, and the map would be
    // searched each time. Map nodes stay where they are, so the pointers stay valid.
    static constexpr int kIndexedRows = 1 << 20;
    std::vector<std::vector<Cell>*> rowIndex;
    // Width of the last row that received cells: a new row reserves as much, since rows
    // of one table are usually alike.
    size_t lastRowWidth = 0;
    // The row RowCells found last; sequential lookups step on from it.
    mutable std::map<int, std::vector<Cell>>::const_iterator lastFound = rows.end();
};

}  // namespace zmhost
