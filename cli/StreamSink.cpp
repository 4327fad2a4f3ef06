// Printing rows while they are read.
#include "cli/StreamSink.h"

#include <cmath>
#include <cstring>
#include <type_traits>

#include "framework/host/FastNumbers.h"
#include "framework/host/TextTyping.h"

namespace zmcli {

using namespace zmhost;

void StreamSink::SetDataSize(int newCols, int newRows) {
    if (kept) {
        kept->SetDataSize(newCols, newRows);
        return;
    }
    newCols = std::clamp(newCols, 0, Sheet::kMaxColumns);
    newRows = std::max(newRows, 0);
    if (begun) {
        fellBack = fellBack || newCols != cols || newRows != rows;
        return;
    }
    cols = newCols;
    rows = newRows;
}

void StreamSink::BeginTable() {
    printer.BeginTable(cols, rows);
    begun = true;
}

void StreamSink::MissingUpTo(int col) {
    for (int c = lastCol + 1; c <= col; ++c) {
        if (c > 1)
            printer.Separator();
        printer.Missing();
    }
    lastCol = col;
}

void StreamSink::EndRow() {
    MissingUpTo(cols);
    printer.EndRow();
}

void StreamSink::EmptyRow(int row) {
    printer.BeginRow(row);
    lastCol = 0;
    EndRow();
}

void StreamSink::StartKeeping() {
    kept = std::make_unique<zmhost::SheetSink>();
    kept->TypeTexts(typeTexts);
    kept->SetDataSize(cols, rows);
}

bool StreamSink::FitsInOrder(int col, int row, long long last) const {
    const bool inOrder = row > currentRow || (row == currentRow && col > lastCol);
    return !fellBack && !kept && col >= 1 && row >= 1 && inOrder && last <= cols &&
           (row <= rows || format != OutputFormat::kJson);
}

bool StreamSink::Place(int col, int row) {
    if (fellBack || kept)
        return false;
    if (col < 1 || row < 1 || col > Sheet::kMaxColumns) {
        ++dropped;
        return false;
    }
    const bool inOrder = row > currentRow || (row == currentRow && col > lastCol);
    const bool inSize = col <= cols && (row <= rows || format != OutputFormat::kJson);
    if (!inOrder || !inSize) {
        if (begun)
            fellBack = true;
        else
            StartKeeping();
        return false;
    }
    if (row > currentRow) {
        if (!begun)
            BeginTable();
        if (currentRow > 0)
            EndRow();
        for (int r = currentRow + 1; r < row; ++r)
            EmptyRow(r);
        printer.BeginRow(row);
        currentRow = row;
        lastCol = 0;
    }
    MissingUpTo(col - 1);
    if (col > 1)
        printer.Separator();
    lastCol = col;
    progress.Tick(row, rows);
    return true;
}

void StreamSink::Set(int col, int row, int value) {
    if (Place(col, row))
        printer.Integer(value);
    else if (kept)
        Keep(col, row, value);
}

void StreamSink::Set(int col, int row, long long value) {
    if (Place(col, row))
        printer.Integer(value);
    else if (kept)
        Keep(col, row, value);
}

void StreamSink::Set(int col, int row, double value) {
    if (Place(col, row))
        printer.Double(value);
    else if (kept)
        Keep(col, row, value);
}

void StreamSink::Set(int col, int row, float value) {
    if (Place(col, row))
        printer.Float(value);
    else if (kept)
        Keep(col, row, value);
}

void StreamSink::Set(int col, int row, const char* text) {
    if (kept) {
        Keep(col, row, text);
        return;
    }
    PrintText(col, row, text);
    // The cell that made the sink begin keeping was not printed: it is the first kept.
    if (kept)
        Keep(col, row, text);
}

void StreamSink::SetNumbersDown(int col, int row, const double* values, size_t count) {
    // A column of a table more than one column wide is followed by the next from the top:
    // when nothing is printed yet, the cells are kept from the start.
    if (!kept && !begun && !fellBack && count > 1 && cols > 1)
        StartKeeping();
    if (kept) {
        kept->SetNumbersDown(col, row, values, count);
        progress.TickMany(count);
        return;
    }
    ReadSpreadSheetData::SetNumbersDown(col, row, values, count);
}

void StreamSink::SetNumbersAcross(int col, int row, const double* values, size_t count) {
    Across(col, row, values, count);
}

void StreamSink::SetNumbersAcross(int col, int row, const float* values, size_t count) {
    Across(col, row, values, count);
}

template <typename T>
void StreamSink::Across(int col, int row, const T* values, size_t count) {
    if (kept) {
        static_cast<ReadSpreadSheetData&>(*kept).SetNumbersAcross(col, row, values, count);
        progress.TickMany(count);
        return;
    }
    // A run that lies in order within the table is printed as it stands; any other goes
    // cell by cell, which finds what to do with the cells out of order or outside.
    if (count == 0 || !FitsInOrder(col, row, col + static_cast<long long>(count) - 1)) {
        ReadSpreadSheetData::SetNumbersAcross(col, row, values, count);
        return;
    }
    // A value that is not finite leaves its cell missing.
    size_t i = 0;
    while (i < count) {
        size_t end = i;
        while (end < count && std::isfinite(values[end]))
            ++end;
        if (end > i && Place(col + static_cast<int>(i), row)) {
            if constexpr (std::is_same_v<T, float>)
                printer.Float(values[i]);
            else
                printer.Double(values[i]);
            printer.SeparatedNumbers(values + i + 1, end - i - 1);
            lastCol = col + static_cast<int>(end) - 1;
            progress.TickMany(end - i - 1);
        }
        i = end + 1;
    }
}

void StreamSink::PrintText(int col, int row, const char* text) {
    if (text == nullptr)
        text = "";
    if (!typeTexts) {
        if (Place(col, row))
            printer.Text(text);
        return;
    }
    // Typed, an empty text is a missing cell: nothing to place.
    if (*text == '\0')
        return;
    double number;
    if (const size_t length = ShortestDecimalLength(text)) {
        // Its printed form as a number is the text itself.
        if (Place(col, row))
            printer.NumberText({text, length});
    } else if (ParseNumberText(text, number)) {
        if (Place(col, row))
            printer.Double(number);
    } else if (Place(col, row)) {
        printer.Text(text);
    }
}

void StreamSink::Finish() {
    if (fellBack || kept)
        return;
    if (!begun)
        BeginTable();
    if (currentRow > 0)
        EndRow();
    const int total = std::max(rows, currentRow);
    for (long long r = currentRow + 1LL; r <= total; ++r)
        EmptyRow(static_cast<int>(r));
    printer.EndTable(total);
}

}  // namespace zmcli
