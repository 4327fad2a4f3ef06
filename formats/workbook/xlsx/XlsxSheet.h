// One worksheet part of an .xlsx package, read as a stream: its cells, held compactly
// (shared strings by index), and its size, the extent of the cells.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zm {
class ZipPackage;
}

namespace zm::xlsx {

struct SheetCells {
    enum class Kind : uint8_t { kNumber, kDate, kShared, kText };
    struct Cell {
        int row;  // 0-based
        int col;
        Kind kind;
        double number;   // kNumber, kDate
        uint32_t index;  // kShared: shared string; kText: entry of `texts`
    };
    std::vector<Cell> cells;
    std::vector<std::string> texts;
    int rows = 0;
    int cols = 0;
};

// Reads the part; false when it is missing or not well-formed. `dateStyles` tells which
// cell styles format numbers as dates.
bool ReadSheet(const ZipPackage& package, const std::string& part,
               const std::vector<bool>& dateStyles, SheetCells& out, std::string& error);

// The 0-based column of a cell reference such as "AA10" (26); -1 without letters.
int ColumnOfReference(const std::string& reference);

}  // namespace zm::xlsx
