// One worksheet part of an .xlsx package, read as a stream: its cells, held compactly
// (shared strings by index), and its size, the extent of the cells.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "formats/workbook/WorkbookValues.h"

namespace zm {
class ZipPackage;
}

namespace zm::xlsx {

struct SheetCells {
    enum class Kind : uint8_t { kNumber, kDate, kShared, kText };
    // 16 bytes a cell: a sheet of millions of cells is held in tens of megabytes.
    struct Cell {
        int32_t row;  // 0-based
        uint16_t col;
        Kind kind;
        union {
            double number;   // kNumber, kDate
            uint32_t index;  // kShared: shared string; kText: entry of `texts`
        };
        static Cell Number(int row, int col, Kind kind, double number) {
            Cell cell{row, static_cast<uint16_t>(col), kind, {}};
            cell.number = number;
            return cell;
        }
        static Cell Index(int row, int col, Kind kind, uint32_t index) {
            Cell cell{row, static_cast<uint16_t>(col), kind, {}};
            cell.index = index;
            return cell;
        }
    };
    // The cells in the order they were read, kept in blocks so that growing never
    // copies what is already held.
    class CellList {
      public:
        void push_back(const Cell& cell) {
            if (blocks.empty() || blocks.back().size() == kBlock) {
                blocks.emplace_back();
                blocks.back().reserve(kBlock);
            }
            blocks.back().push_back(cell);
        }
        size_t size() const {
            return blocks.empty() ? 0 : (blocks.size() - 1) * kBlock + blocks.back().size();
        }
        template <class F>
        void ForEach(F&& f) const {
            for (const auto& block : blocks)
                for (const Cell& cell : block)
                    f(cell);
        }

      private:
        static constexpr size_t kBlock = 65536;
        std::vector<std::vector<Cell>> blocks;
    };
    CellList cells;
    std::vector<std::string> texts;
    int rows = 0;
    int cols = 0;
    // Cells with a value that were left out: beyond the last column or row a worksheet
    // can have, and shared-string cells whose index is no index (negative, not a number).
    long long outside = 0;
    long long unresolved = 0;
};

// How the part is read: its cell data scanned directly where the scan can (the XML
// parser otherwise), only by the XML parser, or only by the scan (false where it gives up).
enum class SheetParser { kFast, kXml, kScan };

// Reads the part; false when it is missing or not well-formed. `dateStyles` tells which
// cell styles format numbers as dates.
bool ReadSheet(const ZipPackage& package, const std::string& part,
               const std::vector<bool>& dateStyles, SheetCells& out, std::string& error,
               SheetParser parser = SheetParser::kFast);

// The 0-based column of a cell reference such as "AA10" (26), letters in either case;
// -1 without letters, kMaxCols for a column beyond the last.
int ColumnOfReference(std::string_view reference);
// The 0-based row of a cell reference ("AA10": 9); -1 without digits after the letters,
// kMaxRows for a row beyond the last (or row 0, which no sheet has).
int RowOfReference(std::string_view reference);

}  // namespace zm::xlsx
