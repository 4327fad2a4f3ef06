// The sheet the Python module reads into: cells kept column by column, ready to become
// NumPy columns, instead of the command line's row-by-row sheet.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "framework/host/SheetSink.h"
#include "platform/RawArray.h"

namespace zmpy {

// Each column is one array of 64-bit slots, one per row from row 1. A slot holds a
// number as its double, or a NaN whose payload marks a missing cell or indexes the
// column's texts. Numbers that are NaN are stored as the plain quiet NaN, so they never
// look like a marker.
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
    // The number of a text cell within its column's texts (cells with the same text
    // often share one), and how many there are; -1 for a cell that is not text.
    long long TextIndexAt(int col, int row) const {
        const uint64_t slot = SlotAt(col, row);
        return IsText(slot) ? static_cast<long long>(slot & kIndexMask) : -1;
    }
    size_t TextCount(int col) const;
    // Whether the column holds no text cell from row `first` down. Answered from a count
    // when the only text is a heading above `first`, else by looking at each cell.
    bool NumbersOnlyFrom(int col, int first) const;
    std::string_view TextOfIndex(int col, size_t index) const {
        return columns[col - 1].texts[index];
    }
    // Copies rows first..first+count-1 of a column as doubles, NaN for missing and
    // text cells.
    void CopyNumbers(int col, int first, size_t count, double* out) const;

  private:
    static constexpr uint64_t kMissingSlot = 0x7FF0'0000'0000'0001;
    static constexpr uint64_t kTextTag = 0x7FF1;  // top 16 bits; the index below them
    static constexpr uint64_t kIndexMask = (uint64_t{1} << 48) - 1;
    static constexpr size_t kKnownTexts = 4096;
    static constexpr size_t kRecentTexts = 32;

    struct Column {
        zm::RawArray<uint64_t> slots;
        zm::RawArray<std::string_view> texts;
        // The distinct texts seen first, and their index: measurement tables repeat
        // their labels, which then share one stored text (and one Python string).
        std::unordered_map<std::string_view, uint64_t> known;
        // A few entries of `known` by a cheap hash, 1 + index (0: none), looked at first:
        // a column of labels repeats a handful of texts a million times.
        uint16_t recent[kRecentTexts] = {};
        // Text cells stored so far, counting a rewritten cell again: never fewer than the
        // column holds.
        size_t textCells = 0;
    };

    static bool IsText(uint64_t slot) { return (slot >> 48) == kTextTag; }
    static size_t RecentHash(std::string_view text) {
        const size_t n = text.size();
        return (n * 7 + static_cast<unsigned char>(text[0]) * 3 +
                static_cast<unsigned char>(text[n - 1]) + static_cast<unsigned char>(text[n / 2])) %
               kRecentTexts;
    }
    uint64_t SlotAt(int col, int row) const {
        if (col < 1 || row < 1 || static_cast<size_t>(col) > columns.size())
            return kMissingSlot;
        const zm::RawArray<uint64_t>& slots = columns[col - 1].slots;
        return static_cast<size_t>(row) <= slots.Size() ? slots[row - 1] : kMissingSlot;
    }
    // The slot of a cell, made when needed; null when the cell is dropped.
    uint64_t* Slot(int col, int row) {
        if (!InPlace(col, row) && !MakeSlot(col, row))
            return nullptr;
        ++cellsStored;
        maxCol = std::max(maxCol, col);
        maxRow = std::max(maxRow, row);
        return &columns[col - 1].slots[row - 1];
    }
    // Rows arrive mostly in order: true when the slot exists, or is the next of its
    // column and fits what the column holds already (it is then added).
    bool InPlace(int col, int row) {
        if (col < 1 || static_cast<size_t>(col) > columns.size() || row < 1)
            return false;
        zm::RawArray<uint64_t>& slots = columns[col - 1].slots;
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
    // Makes the columns and rows up to a cell within the allowance; false (the cell
    // counted as dropped) when it lies outside the sheet or beyond the allowance.
    bool MakeSlot(int col, int row);
    const char* StoreText(std::string_view text);
    // Stores a text cell through the column's map of known texts; returns 1 + the index
    // when the map holds the text, else 0.
    uint32_t SetKnownText(Column& column, uint64_t* slot, std::string_view text);

    std::vector<Column> columns;
    std::vector<std::unique_ptr<char[]>> textBlocks;
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

    const ColumnSheet& Sheet() const { return sheet; }

  private:
    ColumnSheet sheet;
};

// A float as the command line prints it, its shortest decimal text, read back as a double.
double Widened(float value);

}  // namespace zmpy
