// The text store behind the Thermo SIEVE reader's reshaping.
#include "formats/text/ThermoMirroredReadSpreadSheetData.h"

#include <algorithm>
#include <charconv>
#include <cstring>

ThermoMirroredReadSpreadSheetData::ThermoMirroredReadSpreadSheetData(int cells, int lines) {
    SetDataSize(cells, lines);
}

void ThermoMirroredReadSpreadSheetData::SetDataSize(int cols, int rows) {
    cells = std::max(cols, 0);
    lineCount = std::max(rows, 0);
    openLines = 0;
    lineStart.clear();
    offsets.clear();
    texts.assign(1, '\0');  // offset 0: the text every empty cell shares
    overflowed = false;
    kept.clear();
    keptBuilt = false;
}

int ThermoMirroredReadSpreadSheetData::Place(int line, int cell) const {
    if (line == 1 || !filter)
        return cell - 1;
    const auto column = static_cast<size_t>(cell) - 1;
    return column < kept.size() ? kept[column] : -1;
}

void ThermoMirroredReadSpreadSheetData::BuildKept() {
    keptBuilt = true;
    if (!filter)
        return;
    int next = 0;
    kept.assign(static_cast<size_t>(cells), -1);
    for (int c = 1; c <= cells; ++c) {
        const char* name = Cell(1, c);
        if (name != nullptr && filter(name))
            kept[static_cast<size_t>(c) - 1] = next++;
    }
    const auto later = static_cast<size_t>(std::max(lineCount - 1, 0));
    const size_t most = later == 0 || static_cast<size_t>(next) <= SIZE_MAX / later
                            ? static_cast<size_t>(next) * later
                            : SIZE_MAX;
    offsets.reserve(offsets.size() + std::min(most, budget));
}

void ThermoMirroredReadSpreadSheetData::Set(int col, int row, const char* text) {
    // Lines come in order; a cell of a line already passed has no place any more.
    if (col < 1 || col > cells || row < 1 || row > lineCount || row < openLines)
        return;
    if (row > 1 && !keptBuilt)
        BuildKept();
    const int place = Place(row, col);
    if (place < 0)
        return;
    while (openLines < row) {
        lineStart.push_back(offsets.size());
        ++openLines;
    }
    const size_t first = lineStart.back();
    const auto index = static_cast<size_t>(place);
    if (offsets.size() - first > index)
        return;  // cells of a line come in order too
    offsets.resize(first + index, kMissing);
    const size_t length = text != nullptr ? std::strlen(text) : 0;
    if (length == 0) {
        offsets.push_back(0);
        return;
    }
    if (texts.size() + length + 1 >= kMissing) {
        overflowed = true;
        offsets.push_back(kMissing);
        return;
    }
    offsets.push_back(static_cast<uint32_t>(texts.size()));
    texts.append(text, length);
    texts.push_back('\0');
}

void ThermoMirroredReadSpreadSheetData::Set(int col, int row, float value) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer - 1, value);
    *result.ptr = '\0';
    Set(col, row, static_cast<const char*>(buffer));
}

const char* ThermoMirroredReadSpreadSheetData::Cell(int line, int cell) const {
    if (line < 1 || line > openLines || cell < 1 || cell > cells)
        return nullptr;
    const int place = Place(line, cell);
    if (place < 0)
        return nullptr;
    const auto at = static_cast<size_t>(line) - 1;
    const size_t first = lineStart[at];
    const size_t end = at + 1 < lineStart.size() ? lineStart[at + 1] : offsets.size();
    if (static_cast<size_t>(place) >= end - first)
        return nullptr;
    const uint32_t offset = offsets[first + static_cast<size_t>(place)];
    return offset == kMissing ? nullptr : texts.data() + offset;
}
