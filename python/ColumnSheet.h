// The sheet the Python module reads into: cells kept in blocks ready to become NumPy
// arrays, instead of the command line's row-by-row sheet.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/host/SheetSink.h"
#include "platform/RawArray.h"

namespace zmpy {

// Cells are 64-bit slots: a number as its double, or a quiet NaN whose payload marks a
// missing cell or indexes the sheet's texts. Numbers that are NaN are stored as the plain
// quiet NaN, so they never look like a marker; the markers being quiet NaNs, an array
// over the slots reads every cell that is not a number as NaN, without a floating-point
// exception.
//
// When the reader announces an extent that fits the free slots, every cell of it lives in
// one block (the grid): column by column for a tall sheet, row by row for a wide one (one
// row per spectrum, thousands to millions of columns), so that neither a column nor a
// cell costs an allocation of its own and a sheet of numbers becomes a NumPy array
// without a copy. A cell outside the announced extent moves the grid's cells into
// columns of their own, one array of slots per column, which then grow as needed.
class ColumnSheet {
  public:
    // As wide as the command line's sheet: a long chromatogram is one row.
    static constexpr int kMaxColumns = 1 << 24;
    // Slots kept in all before the relative rule applies (128 MiB of slots).
    static constexpr size_t kFreeSlots = size_t{1} << 24;
    // Beyond the free slots, the columns may hold at most this many slots per stored
    // cell: a file that places a few cells far apart is cut rather than allowed to make
    // the sheet allocate what its extent implies.
    static constexpr size_t kSlotsPerCell = 64;

    enum class Kind { kMissing, kNumber, kText };
    using Block = zm::RawArray<uint64_t>;

    void Announce(int cols, int rows);
    void SetNumber(int col, int row, double value) {
        // Every NaN is stored as the quiet one: other bit patterns mark missing and text.
        if (uint64_t* slot = Slot(col, row))
            *slot = std::bit_cast<uint64_t>(
                std::isnan(value) ? std::numeric_limits<double>::quiet_NaN() : value);
    }
    void SetText(int col, int row, std::string_view text);
    // Numbers for rows `row` on of a column at once; a value that is not finite leaves
    // its cell as it is. False, with nothing stored, when the run does not fit the sheet
    // or the slot allowance as a whole: the caller then stores it cell by cell.
    bool SetNumbersDown(int col, int row, const double* values, size_t count);
    // Numbers for columns `col` on of a row, with the same rule for values that are not
    // finite; a wide grid takes them at once, any other sheet cell by cell.
    void SetNumbersAcross(int col, int row, const double* values, size_t count);
    // Whether cells `col`..`col`+count-1 of `row` lie in a tall grid (one block, column
    // after column), where SetGridNumber may store them.
    bool InTallGrid(int col, int row, size_t count) {
        if (!gridTried)
            MakeGrid();
        return grid.block != nullptr && !grid.rowMajor && col >= 1 && row >= 1 &&
               count <= grid.cols && static_cast<size_t>(col) - 1 <= grid.cols - count &&
               static_cast<size_t>(row) <= grid.rows;
    }
    // SetNumber for a cell InTallGrid accepted, without looking for its place again.
    [[gnu::always_inline]] void SetGridNumber(int col, int row, double value) {
        const uint64_t bits = std::bit_cast<uint64_t>(value);
        const uint64_t quiet = std::bit_cast<uint64_t>(std::numeric_limits<double>::quiet_NaN());
        *GridSlots(static_cast<size_t>(col) - 1, static_cast<size_t>(row) - 1, 1) =
            value == value ? bits : quiet;
        ++cellsStored;
        maxCol = std::max(maxCol, col);
        maxRow = std::max(maxRow, row);
    }
    // Text cells `prefix` + the x as zm::FormatG6 writes it for columns `col` on of a
    // row, kept as their numbers until a text is asked for: a chromatogram's millions of
    // headings are mostly never read as texts. False, with nothing stored, unless a wide
    // grid holds the run.
    bool SetHeadingsAcross(int col, int row, std::string_view prefix, const float* x, size_t count);

    // The extent: the announced size grown to every stored cell.
    int Columns() const;
    int Rows() const;
    int LastRowSet() const { return maxRow; }
    int AnnouncedRows() const { return announcedRows; }
    // Cells left out: outside the sheet, or beyond what the slot allowance keeps.
    long long DroppedCells() const { return dropped; }

    // What a cell holds; rows and columns are 1-based and may lie outside the extent.
    Kind KindAt(int col, int row) const;
    double NumberAt(int col, int row) const { return std::bit_cast<double>(SlotAt(col, row)); }
    std::string_view TextAt(int col, int row) const;
    // The number of a text cell within the sheet's texts (cells with the same text often
    // share one), and how many there are; -1 for a cell that is not text.
    long long TextIndexAt(int col, int row) const {
        const uint64_t slot = SlotAt(col, row);
        if (IsHeading(slot))
            return static_cast<long long>(texts.Size() + (slot & kIndexMask));
        return IsText(slot) ? static_cast<long long>(slot & kIndexMask) : -1;
    }
    size_t TextCount() const { return texts.Size() + headingX.Size(); }
    std::string_view TextOfIndex(size_t index) const {
        return index < texts.Size() ? texts[index] : HeadingText(index - texts.Size());
    }
    // Whether the column holds no text cell from row `first` down. Answered from a count
    // when the only text is a heading above `first`, else by looking at each cell.
    bool NumbersOnlyFrom(int col, int first) const;
    // Copies rows first..first+count-1 of a column as doubles, NaN for missing and
    // text cells.
    void CopyNumbers(int col, int first, size_t count, double* out) const;
    // Whether the sheet keeps its cells row by row (a wide grid).
    bool RowMajor() const { return grid.block != nullptr && grid.rowMajor; }
    // Rows first..first+rows-1 of columns 1..cols as doubles, NaN for missing and text
    // cells: row after row when `rowMajor`, else column after column.
    void CopyAll(int first, size_t rows, size_t cols, bool rowMajor, double* out) const;
    // The block of the whole sheet, for an array that shares it, when the grid holds
    // every cell of the extent (cells never set are marked missing first); null
    // otherwise. Slots written through such an array are read back as the cells they
    // then encode.
    std::shared_ptr<Block> SharedNumbers();
    // The block holding rows first..Rows() of a column one after another, and where they
    // start, when each of them is a number; null otherwise.
    std::shared_ptr<Block> SharedColumn(int col, int first, const double*& start) const;

  private:
    static constexpr uint64_t kMissingSlot = 0x7FF8'0000'0000'0001;
    static constexpr uint64_t kTextTag = 0x7FF9;  // top 16 bits; the index below them
    static constexpr uint64_t kIndexMask = (uint64_t{1} << 48) - 1;
    static constexpr uint64_t kHeadingTag = 0x7FFA;  // the index of the heading's x below
    // Entries of the table of recent texts.
    static constexpr size_t kRecentTexts = size_t{1} << 16;
    // What one column of its own costs, counted in slots against the allowance.
    static constexpr size_t kSlotsPerColumn = 24;

    struct Column {
        Block slots;
    };
    // The announced extent in one block of lines, the columns of a tall grid or the rows
    // of a wide one; the first `filled[line]` slots of a line are set.
    struct Grid {
        std::shared_ptr<Block> block;
        size_t cols = 0;
        size_t rows = 0;
        bool rowMajor = false;
        size_t length = 0;  // of a line
        std::vector<size_t> filled;
        // Per line, 1 + the last place that may hold a missing cell or a text (0: none):
        // the slots after it are numbers, which an array may share.
        std::vector<size_t> othersEnd;
    };
    // The slots of one column as the sheet keeps them: `size` from row 1, `stride` apart.
    struct ColumnView {
        const uint64_t* data = nullptr;
        size_t size = 0;
        size_t stride = 1;
    };

    // A text slot names a text the sheet holds; a slot written through a shared array
    // that looks like one but names none reads as a number.
    bool IsText(uint64_t slot) const {
        return (slot >> 48) == kTextTag && (slot & kIndexMask) < texts.Size();
    }
    bool IsHeading(uint64_t slot) const {
        return (slot >> 48) == kHeadingTag && (slot & kIndexMask) < headingX.Size();
    }
    // The text of heading `index`; the first call makes every heading's text.
    std::string_view HeadingText(size_t index) const;
    // FNV-1a over the text: labels are short, and the table takes the low bits.
    static uint64_t TextHash(std::string_view text) {
        uint64_t hash = 0xcbf29ce484222325;
        for (const char c : text)
            hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
        return hash ^ (hash >> 29);
    }
    bool InGrid(int col, int row) const {
        return col >= 1 && row >= 1 && static_cast<size_t>(col) <= grid.cols &&
               static_cast<size_t>(row) <= grid.rows;
    }
    size_t LineOf(int col, int row) const {
        return static_cast<size_t>(grid.rowMajor ? row : col) - 1;
    }
    size_t PlaceOf(int col, int row) const {
        return static_cast<size_t>(grid.rowMajor ? col : row) - 1;
    }
    uint64_t SlotAt(int col, int row) const {
        if (grid.block != nullptr) {
            if (!InGrid(col, row))
                return kMissingSlot;
            const size_t line = LineOf(col, row), place = PlaceOf(col, row);
            return place < grid.filled[line] ? (*grid.block)[line * grid.length + place]
                                             : kMissingSlot;
        }
        if (col < 1 || row < 1 || static_cast<size_t>(col) > columns.size())
            return kMissingSlot;
        const Block& slots = columns[col - 1].slots;
        return static_cast<size_t>(row) <= slots.Size() ? slots[row - 1] : kMissingSlot;
    }
    // The slot of a cell, made when needed; null when the cell is dropped.
    uint64_t* Slot(int col, int row) {
        if (!gridTried)
            MakeGrid();
        uint64_t* slot;
        if (grid.block != nullptr && InGrid(col, row))
            slot = GridSlots(LineOf(col, row), PlaceOf(col, row), 1);
        else if (InPlace(col, row) || MakeSlot(col, row))
            slot = &columns[col - 1].slots[row - 1];
        else
            return nullptr;
        ++cellsStored;
        maxCol = std::max(maxCol, col);
        maxRow = std::max(maxRow, row);
        return slot;
    }
    // Slots `place`..`place`+count-1 of a grid line, those before them that were never
    // set marked missing first.
    uint64_t* GridSlots(size_t line, size_t place, size_t count) {
        uint64_t* first = &(*grid.block)[line * grid.length];
        size_t& filled = grid.filled[line];
        if (place > filled) {
            std::fill(first + filled, first + place, kMissingSlot);
            MarkOthers(line, place);
        }
        filled = std::max(filled, place + count);
        return first + place;
    }
    void MarkOthers(size_t line, size_t end) {
        grid.othersEnd[line] = std::max(grid.othersEnd[line], end);
    }
    // Rows arrive mostly in order: true when the slot exists, or is the next of its
    // column and fits what the column holds already (it is then added).
    bool InPlace(int col, int row) {
        if (col < 1 || static_cast<size_t>(col) > columns.size() || row < 1)
            return false;
        Block& slots = columns[col - 1].slots;
        const size_t held = slots.Size();
        if (static_cast<size_t>(row) <= held)
            return true;
        if (static_cast<size_t>(row) != held + 1 || held == slots.Capacity() ||
            slotsHeld >= kFreeSlots + kSlotsPerCell * cellsStored)
            return false;
        slots.Push(kMissingSlot);
        ++slotsHeld;
        return true;
    }
    // The grid for the announced extent, tried once before the first cell.
    void MakeGrid();
    // Moves the grid's cells into columns of their own.
    void Spill();
    // The slots of a column kept one after another or at one stride: a column of its
    // own or of a tall grid, else none.
    ColumnView ViewOf(int col) const;
    // Stores a run into a grid line, which holds it.
    void GridRun(size_t line, size_t place, const double* values, size_t count);
    // Stores a run into a column of its own; false, with nothing stored, when it does not
    // fit the slot allowance.
    bool ColumnRun(int col, int row, const double* values, size_t count);
    // Makes the columns and rows up to a cell within the allowance; false (the cell
    // counted as dropped) when it lies outside the sheet or beyond the allowance.
    bool MakeSlot(int col, int row);
    // Stores a run of numbers into `out`, whose first `held` slots hold cells already;
    // returns how many numbers were finite, and in `freshMissing` how many new slots were
    // left missing.
    static size_t StoreRun(uint64_t* out, size_t held, const double* values, size_t count,
                           size_t& freshMissing);
    const char* StoreText(std::string_view text);
    Grid grid;
    bool gridTried = false;
    std::vector<Column> columns;
    // Text cells stored per column, counting a rewritten cell again and stopping at the
    // largest count: never fewer than the column holds.
    zm::RawArray<uint32_t> textCells;
    zm::RawArray<std::string_view> texts;
    // The x of each heading and where the runs of headings with one prefix begin: at
    // heading `first`, in cell (`col`, `row`) and the cells to its right. Headings are
    // counted as text cells of their columns through their runs.
    struct HeadingRun {
        size_t first;
        std::string prefix;
        int col;
        int row;
    };
    // Headings stored in a column, counting a rewritten cell again.
    size_t HeadingsIn(int col) const;
    zm::RawArray<float> headingX;
    std::vector<HeadingRun> headingRuns;
    mutable zm::RawArray<std::string_view> headingTexts;
    mutable zm::RawArray<char> headingBytes;
    // The text last stored under each hash, 1 + its index (0: none), and the hash's top
    // bits: measurement tables repeat their labels, which then share one stored text (and
    // one Python string), while a sheet of distinct texts (a spectrum's headings) costs
    // one look each, mostly without comparing texts.
    struct Recent {
        uint32_t index;
        uint32_t tag;
    };
    zm::RawArray<Recent> recent;
    // From 1 MiB on a block is mapped memory the next read may reuse.
    std::vector<zm::RawArray<char>> textBlocks;
    size_t blockFree = 0;
    size_t textBytes = 0;
    char* blockNext = nullptr;
    size_t slotsHeld = 0;
    size_t cellsStored = 0;
    int announcedCols = 0;
    int announcedRows = 0;
    int maxCol = 0;
    int maxRow = 0;
    long long dropped = 0;
};

// Types texts as the command line's sink does and stores every cell in a ColumnSheet.
class ColumnSheetSink : public zmhost::CommandSink {
  public:
    ColumnSheetSink() : CommandSink(nullptr) {}

    int GetNumberOfColumns() override { return sheet.Columns(); }
    int GetNumberOfRows() override { return sheet.Rows(); }
    void SetDataSize(int cols, int rows) override { sheet.Announce(cols, rows); }

    void Set(int col, int row, int value) override {
        sheet.SetNumber(col, row, value);
        progress.Tick(row, 0);
    }
    void Set(int col, int row, long long value) override {
        sheet.SetNumber(col, row, static_cast<double>(value));
        progress.Tick(row, 0);
    }
    void Set(int col, int row, double value) override {
        sheet.SetNumber(col, row, value);
        progress.Tick(row, 0);
    }
    void Set(int col, int row, float value) override;
    // Typed as ParseNumberText types it; plain decimals take a one-pass shortcut.
    void Set(int col, int row, const char* text) override;
    void SetNumbersDown(int col, int row, const double* values, size_t count) override {
        if (sheet.SetNumbersDown(col, row, values, count))
            progress.TickMany(count);
        else
            CommandSink::SetNumbersDown(col, row, values, count);
    }
    void SetNumbersAcross(int col, int row, const double* values, size_t count) override {
        sheet.SetNumbersAcross(col, row, values, count);
        progress.TickMany(count);
    }
    // A spectrum's 32-bit values, each widened as a single float cell is.
    void SetNumbersAcross(int col, int row, const float* values, size_t count) override;
    // A row of texts, typed as Set types each; the plain decimals of a row that lies in a
    // tall grid go straight to their slots.
    void SetTextsAcross(int col, int row, const char* texts, const uint32_t* lengths,
                        size_t count) override;
    // Headings that typing leaves texts (the prefix starts with a letter) are kept as
    // their x values.
    void SetHeadingsAcross(int col, int row, const char* prefix, const float* x,
                           size_t count) override;

    const ColumnSheet& Sheet() const { return sheet; }
    std::shared_ptr<ColumnSheet::Block> SharedNumbers() { return sheet.SharedNumbers(); }

  private:
    // Set for a text, without the progress tick.
    void SetTyped(int col, int row, const char* text);

    ColumnSheet sheet;
};

// A float as the command line prints it, its shortest decimal text, read back as a double.
double Widened(float value);
// Widened of each of `count` floats.
void WidenFloats(const float* in, size_t count, double* out);

}  // namespace zmpy
