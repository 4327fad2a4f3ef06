// Where the values of one matrix go in the sheet: as a grid in the file's column-major
// order, or as one list across a row or down a column (names and IDs).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

#include "framework/SpreadSheetData.h"

namespace zm::mat {

class CellCursor {
  public:
    enum Layout { kGrid, kAcross, kDown };

    // `rows` is the matrix's row count, used by the grid layout.
    CellCursor(int col0, int row0, int64_t rows, Layout layout)
        : col(col0), row(row0), col0(col0), row0(row0), rows(rows), layout(layout) {}

    // Not-a-number and infinities leave the cell missing, as the application has no
    // other value for them.
    void Put(ReadSpreadSheetData* sink, double value) {
        if (std::isfinite(value))
            sink->Set(col, row, value);
        Advance();
    }
    // `n` values in a row of the matrix's order, handed to the sink a run at a time: a
    // grid a column run at a time, a list all at once.
    void PutBlock(ReadSpreadSheetData* sink, const double* values, size_t n) {
        if (layout == kAcross) {
            sink->SetNumbersAcross(col, row, values, n);
            col += static_cast<int>(n);
            return;
        }
        if (layout == kDown) {
            sink->SetNumbersDown(col, row, values, n);
            row += static_cast<int>(n);
            return;
        }
        while (n > 0) {
            const size_t run = static_cast<size_t>(std::min<int64_t>(rows - inColumn, n));
            sink->SetNumbersDown(col, row, values, run);
            values += run;
            n -= run;
            inColumn += static_cast<int64_t>(run);
            row += static_cast<int>(run);
            if (inColumn == rows) {
                inColumn = 0;
                row = row0;
                ++col;
            }
        }
    }
    void Put(ReadSpreadSheetData* sink, const std::string& text) {
        if (!text.empty())
            sink->Set(col, row, text.c_str());
        Advance();
    }
    // Moves to the value at 0-based `index` of the matrix's column-major order.
    void Seek(int64_t index) {
        if (layout == kAcross) {
            col = col0 + static_cast<int>(index);
        } else if (layout == kDown) {
            row = row0 + static_cast<int>(index);
        } else {
            inColumn = index % rows;
            col = col0 + static_cast<int>(index / rows);
            row = row0 + static_cast<int>(inColumn);
        }
    }
    void Advance() {
        if (layout == kAcross) {
            ++col;
        } else if (layout == kDown || ++inColumn < rows) {
            ++row;
        } else {
            inColumn = 0;
            row = row0;
            ++col;
        }
    }

  private:
    int col, row;
    int col0, row0;
    int64_t rows;
    int64_t inColumn = 0;
    Layout layout;
};

}  // namespace zm::mat
