// The read command's sink: prints each row as soon as the reader moves past it.
#pragma once

#include <algorithm>
#include <memory>

#include "framework/host/SheetSink.h"
#include "framework/host/SheetWriters.h"

namespace zmcli {

// Readers announce the table's size first and most then deliver cells row by row, left
// to right; such a table is printed while it is read, without being kept. A cell that
// breaks that order (an earlier row or column, the same cell again) or lies outside the
// announced size (which CSV and TSV rows and the JSON head have already been printed
// with) cannot be printed that way: the sink then ignores the rest of the read and says
// FellBack(), and the command reads the file again into a stored sheet. When the order
// breaks before anything was printed (a reader that delivers whole columns), the sink
// keeps the cells itself instead, and Kept() is the stored sheet to print: nothing needs
// to be read again.
// Cells at positions below 1 or right of Sheet::kMaxColumns are dropped and counted, as
// the stored sheet does.
class StreamSink : public zmhost::CommandSink {
  public:
    StreamSink(zmhost::OutputFormat format, zmhost::OutputBuffer& out,
               std::FILE* progressTerminal = nullptr)
        : CommandSink(progressTerminal), format(format), printer(format, out) {}

    int GetNumberOfColumns() override { return kept ? kept->GetNumberOfColumns() : cols; }
    int GetNumberOfRows() override {
        return kept ? kept->GetNumberOfRows() : std::max(rows, currentRow);
    }
    void SetDataSize(int cols, int rows) override;

    void Set(int col, int row, int value) override;
    void Set(int col, int row, long long value) override;
    void Set(int col, int row, double value) override;
    void Set(int col, int row, float value) override;
    void Set(int col, int row, const char* text) override;
    void SetNumbersDown(int col, int row, const double* values, size_t count) override;
    void SetNumbersAcross(int col, int row, const double* values, size_t count) override;
    void SetNumbersAcross(int col, int row, const float* values, size_t count) override;

    // The sheet the cells went to once the sink began keeping them, or null.
    const zmhost::Sheet* Kept() const { return kept ? &kept->GetSheet() : nullptr; }

    // Prints what is left after a complete read: the open row, rows that received no
    // cell, the end of the table.
    void Finish();
    bool FellBack() const { return fellBack; }
    long long DroppedCells() const {
        return dropped + (kept ? kept->GetSheet().DroppedCells() : 0);
    }

  private:
    // Prints up to the cell's field; false when the cell is not to be printed (it is then
    // to be kept when Keeping()).
    bool Place(int col, int row);
    // True when the cells from `col` to `last` of `row` are all printed where they stand.
    bool FitsInOrder(int col, int row, long long last) const;
    template <typename T>
    void Across(int col, int row, const T* values, size_t count);
    void StartKeeping();
    template <class T>
    void Keep(int col, int row, T value) {
        kept->Set(col, row, value);
        progress.Tick(row, rows);
    }
    void PrintText(int col, int row, const char* text);
    void BeginTable();
    void MissingUpTo(int col);
    void EndRow();
    void EmptyRow(int row);

    zmhost::OutputFormat format;
    zmhost::RowPrinter printer;
    int cols = 0;
    int rows = 0;
    int currentRow = 0;  // the row being printed; 0 before the first
    int lastCol = 0;     // the last column printed in it
    bool begun = false;  // the table's head is out: the announced size is final
    bool fellBack = false;
    long long dropped = 0;
    std::unique_ptr<zmhost::SheetSink> kept;
};

}  // namespace zmcli
