// Sparse-row storage of the cells a reader delivers.
#include "framework/host/Sheet.h"

#include <algorithm>
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
            if (at <= std::min(announcedRows, kIndexedRows)) {
                if (rowIndex.size() <= at)
                    rowIndex.resize(static_cast<size_t>(std::min(announcedRows, kIndexedRows)) + 1);
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
    const std::vector<Cell>* cells = RowCells(row);
    if (cells == nullptr || col < 1 || static_cast<size_t>(col) > cells->size())
        return nullptr;
    const Cell& cell = (*cells)[col - 1];
    return cell.kind == Cell::Kind::kMissing ? nullptr : &cell;
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
