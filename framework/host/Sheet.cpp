// Sparse-row storage of the cells a reader delivers.
#include "framework/host/Sheet.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace zmhost {

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
    ++placed;
    if (cachedCells == nullptr || cachedRow != row) {
        if (cachedCells != nullptr)
            lastRowWidth = cachedCells->size();
        const size_t at = static_cast<size_t>(row);
        if (at < rowIndex.size() && rowIndex[at] != nullptr) {
            cachedCells = rowIndex[at];
        } else {
            // Rows usually arrive in order: a new last row is inserted at the end directly.
            auto [it, inserted] = row > maxRow ? std::pair{rows.try_emplace(rows.end(), row), true}
                                               : rows.try_emplace(row);
            // A column-by-column read leaves the last row one cell wide: the announced
            // width, where the allowance takes it, spares the row its regrowth copies.
            const size_t announcedWidth = static_cast<size_t>(announcedCols);
            const size_t width = lastRowWidth < announcedWidth && Affordable(announcedWidth)
                                     ? announcedWidth
                                     : lastRowWidth;
            if (inserted && Affordable(width)) {
                it->second.reserve(width);
                slots += it->second.capacity();
            }
            cachedCells = &it->second;
            const int indexed = std::min(std::max(announcedRows, blockRows), kIndexedRows);
            if (at <= static_cast<size_t>(indexed)) {
                if (rowIndex.size() <= at)
                    rowIndex.resize(static_cast<size_t>(indexed) + 1);
                rowIndex[at] = cachedCells;
            }
        }
        cachedRow = row;
    }
    const size_t width = static_cast<size_t>(col);
    const size_t capacity = cachedCells->capacity();
    if (width > capacity) {
        // Grow by doubling where the allowance permits, else to exactly the cell.
        size_t grown = std::min(std::max(width, 2 * capacity), size_t{kMaxColumns});
        if (!Affordable(grown - capacity))
            grown = width;
        if (!Affordable(grown - capacity)) {
            --placed;
            ++dropped;
            return nullptr;
        }
        cachedCells->reserve(grown);
        slots += cachedCells->capacity() - capacity;
    }
    // A column-major reader lengthens each row by one cell at a time: append that cell
    // directly rather than through the general resize.
    if (width == cachedCells->size() + 1)
        cachedCells->emplace_back();
    else if (width > cachedCells->size())
        cachedCells->resize(width);
    maxCol = std::max(maxCol, col);
    maxRow = std::max(maxRow, row);
    return &(*cachedCells)[col - 1];
}

void Sheet::SetDouble(int col, int row, double value) {
    if (Cell* cell = Slot(col, row)) {
        ClearBlock(col, row);
        cell->kind = Cell::Kind::kDouble;
        cell->d = value;
    }
}

void Sheet::SetFloat(int col, int row, float value) {
    if (Cell* cell = Slot(col, row)) {
        ClearBlock(col, row);
        cell->kind = Cell::Kind::kFloat;
        cell->f = value;
    }
}

void Sheet::SetInteger(int col, int row, long long value) {
    if (Cell* cell = Slot(col, row)) {
        ClearBlock(col, row);
        cell->kind = Cell::Kind::kInteger;
        cell->i = value;
    }
}

void Sheet::SetText(int col, int row, const char* text) {
    if (Cell* cell = Slot(col, row)) {
        ClearBlock(col, row);
        if (text == nullptr)
            text = "";
        // Texts longer than 4 GiB are cut; no reader delivers such a cell.
        const size_t length = std::min<size_t>(std::strlen(text), UINT32_MAX);
        // A rewritten text cell reuses its storage when the new text fits there.
        if (cell->kind == Cell::Kind::kText && length <= cell->textLength) {
            std::memcpy(const_cast<char*>(cell->text), text, length);
            const_cast<char*>(cell->text)[length] = '\0';
        } else {
            cell->text = StoreText(text, length);
            cell->kind = Cell::Kind::kText;
        }
        cell->textLength = static_cast<uint32_t>(length);
    }
}

const char* Sheet::StoreText(const char* text, size_t length) {
    constexpr size_t kBlockSize = size_t{1} << 20;
    const size_t size = length + 1;
    if (size > blockFree) {
        const size_t blockSize = std::max(kBlockSize, size);
        textBlocks.push_back(std::make_unique_for_overwrite<char[]>(blockSize));
        blockNext = textBlocks.back().get();
        blockFree = blockSize;
    }
    char* stored = blockNext;
    std::memcpy(stored, text, length);
    stored[length] = '\0';
    blockNext += size;
    blockFree -= size;
    return stored;
}

const Cell* Sheet::At(int col, int row) const {
    if (col < 1 || row < 1)
        return nullptr;
    const std::vector<Cell>* cells = RowCells(row);
    if (cells != nullptr && static_cast<size_t>(col) <= cells->size() &&
        (*cells)[col - 1].kind != Cell::Kind::kMissing)
        return &(*cells)[col - 1];
    const double number = BlockAt(col, row);
    if (number != number)
        return nullptr;
    blockCell.kind = Cell::Kind::kDouble;
    blockCell.d = number;
    return &blockCell;
}

bool Sheet::InBlock(int col, int row, size_t count, int dc, int dr) {
    if (col < 1 || row < 1 || count == 0)
        return false;
    const long long lastCol = col + dc * static_cast<long long>(count - 1);
    const long long lastRow = row + dr * static_cast<long long>(count - 1);
    if (!HasBlock()) {
        // Made once, for the announced size, where the allowance takes it (counted as
        // the cell slots of the same bytes) and each of its rows has a place in the row
        // index, so that cells kept one by one in it are found without a search.
        const size_t cells =
            static_cast<size_t>(announcedCols) * static_cast<size_t>(announcedRows);
        const size_t asSlots = cells * sizeof(double) / sizeof(Cell);
        if (cells == 0 || announcedRows > kIndexedRows || !Affordable(asSlots))
            return false;
        block = std::make_unique_for_overwrite<double[]>(cells);
        std::fill_n(block.get(), cells, kNoNumber);
        blockCols = announcedCols;
        blockRows = announcedRows;
        slots += asSlots;
        // Every row kept one by one within the block is indexed from now on.
        if (rowIndex.size() <= static_cast<size_t>(blockRows))
            rowIndex.resize(static_cast<size_t>(blockRows) + 1);
        for (auto& [number, cells] : rows) {
            if (number > blockRows)
                break;
            rowIndex[static_cast<size_t>(number)] = &cells;
        }
    }
    return lastCol <= blockCols && lastRow <= blockRows;
}

void Sheet::ClearSingle(int col, int row) {
    const size_t at = static_cast<size_t>(row);
    if (at < rowIndex.size() && rowIndex[at] != nullptr &&
        static_cast<size_t>(col) <= rowIndex[at]->size())
        (*rowIndex[at])[col - 1].kind = Cell::Kind::kMissing;
}

void Sheet::SetDoubles(int col, int row, const double* values, size_t count, int dc, int dr) {
    if (!InBlock(col, row, count, dc, dr)) {
        for (size_t i = 0; i < count; ++i) {
            if (std::isfinite(values[i]))
                SetDouble(col + dc * static_cast<int>(i), row + dr * static_cast<int>(i),
                          values[i]);
        }
        return;
    }
    // Cells kept one by one give way to the run's numbers.
    const bool singles = !rows.empty();
    double* to = block.get() + static_cast<size_t>(col - 1) * blockRows + (row - 1);
    const ptrdiff_t step = dr != 0 ? 1 : blockRows;
    size_t stored = 0, last = 0;
    for (size_t i = 0; i < count; ++i, to += step) {
        if (!std::isfinite(values[i]))
            continue;
        *to = values[i];
        ++stored;
        last = i;
        if (singles)
            ClearSingle(col + dc * static_cast<int>(i), row + dr * static_cast<int>(i));
    }
    if (stored == 0)
        return;
    placed += stored;
    maxCol = std::max(maxCol, col + dc * static_cast<int>(last));
    maxRow = std::max(maxRow, row + dr * static_cast<int>(last));
}

void Sheet::SetDoublesDown(int col, int row, const double* values, size_t count) {
    SetDoubles(col, row, values, count, 0, 1);
}

void Sheet::SetDoublesAcross(int col, int row, const double* values, size_t count) {
    SetDoubles(col, row, values, count, 1, 0);
}

const std::vector<Cell>* Sheet::RowCells(int row) const {
    // Writers ask for the rows in order: try the row after the last one found first.
    if (lastFound != rows.end() && lastFound->first < row) {
        auto next = std::next(lastFound);
        if (next != rows.end() && next->first == row) {
            lastFound = next;
            return &next->second;
        }
    }
    auto it = rows.find(row);
    if (it == rows.end())
        return nullptr;
    lastFound = it;
    return &it->second;
}

}  // namespace zmhost
