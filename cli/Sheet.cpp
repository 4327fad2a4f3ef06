// Sparse-row storage of the cells a reader delivers.
#include "cli/Sheet.h"

#include <algorithm>

namespace zmcli {

void Sheet::Announce(int cols, int rows) {
    announcedCols = std::clamp(cols, 0, kMaxColumns);
    announcedRows = std::max(rows, 0);
}

int Sheet::Columns() const {
    return std::max(announcedCols, maxCol);
}

int Sheet::Rows() const {
    return std::max(announcedRows, maxRow);
}

Cell* Sheet::Slot(int col, int row) {
    if (col < 1 || row < 1 || col > kMaxColumns) {
        ++dropped;
        return nullptr;
    }
    if (cachedCells == nullptr || cachedRow != row) {
        auto it = rows.try_emplace(row).first;
        cachedRow = row;
        cachedCells = &it->second;
    }
    if (static_cast<size_t>(col) > cachedCells->size())
        cachedCells->resize(col);
    maxCol = std::max(maxCol, col);
    maxRow = std::max(maxRow, row);
    return &(*cachedCells)[col - 1];
}

void Sheet::SetDouble(int col, int row, double value) {
    if (Cell* cell = Slot(col, row)) {
        cell->kind = Cell::Kind::kDouble;
        cell->d = value;
    }
}

void Sheet::SetFloat(int col, int row, float value) {
    if (Cell* cell = Slot(col, row)) {
        cell->kind = Cell::Kind::kFloat;
        cell->f = value;
    }
}

void Sheet::SetInteger(int col, int row, long long value) {
    if (Cell* cell = Slot(col, row)) {
        cell->kind = Cell::Kind::kInteger;
        cell->i = value;
    }
}

void Sheet::SetText(int col, int row, const char* text) {
    if (Cell* cell = Slot(col, row)) {
        // A rewritten text cell reuses its pool entry instead of piling up strings.
        if (cell->kind != Cell::Kind::kText) {
            cell->text = static_cast<uint32_t>(texts.size());
            texts.emplace_back();
            cell->kind = Cell::Kind::kText;
        }
        texts[cell->text] = text != nullptr ? text : "";
    }
}

const Cell* Sheet::At(int col, int row) const {
    const std::vector<Cell>* cells = RowCells(row);
    if (cells == nullptr || col < 1 || static_cast<size_t>(col) > cells->size())
        return nullptr;
    const Cell& cell = (*cells)[col - 1];
    return cell.kind == Cell::Kind::kMissing ? nullptr : &cell;
}

const std::vector<Cell>* Sheet::RowCells(int row) const {
    auto it = rows.find(row);
    return it == rows.end() ? nullptr : &it->second;
}

}  // namespace zmcli
