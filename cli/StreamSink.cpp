// Printing rows while they are read.
#include "cli/StreamSink.h"

#include <cstring>

#include "framework/host/FastNumbers.h"
#include "framework/host/TextTyping.h"

namespace zmcli {

using namespace zmhost;

void StreamSink::SetDataSize(int newCols, int newRows) {
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

bool StreamSink::Place(int col, int row) {
    if (fellBack)
        return false;
    if (col < 1 || row < 1 || col > Sheet::kMaxColumns) {
        ++dropped;
        return false;
    }
    const bool inOrder = row > currentRow || (row == currentRow && col > lastCol);
    const bool inSize = col <= cols && (row <= rows || format != OutputFormat::kJson);
    if (!inOrder || !inSize) {
        fellBack = true;
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
}

void StreamSink::Set(int col, int row, long long value) {
    if (Place(col, row))
        printer.Integer(value);
}

void StreamSink::Set(int col, int row, double value) {
    if (Place(col, row))
        printer.Double(value);
}

void StreamSink::Set(int col, int row, float value) {
    if (Place(col, row))
        printer.Float(value);
}

void StreamSink::Set(int col, int row, const char* text) {
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
    if (fellBack)
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
