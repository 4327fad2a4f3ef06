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
}

void ThermoMirroredReadSpreadSheetData::Set(int col, int row, const char* text) {
    // Lines come in order; a cell of a line already passed has no place any more.
    if (col < 1 || col > cells || row < 1 || row > lineCount || row < openLines)
        return;
    while (openLines < row) {
        lineStart.push_back(offsets.size());
        ++openLines;
    }
    const size_t first = lineStart.back();
    const auto index = static_cast<size_t>(col) - 1;
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
    if (line < 1 || line > openLines || cell < 1)
        return nullptr;
    const auto at = static_cast<size_t>(line) - 1;
    const size_t first = lineStart[at];
    const size_t end = at + 1 < lineStart.size() ? lineStart[at + 1] : offsets.size();
    if (static_cast<size_t>(cell) > end - first)
        return nullptr;
    const uint32_t offset = offsets[first + static_cast<size_t>(cell) - 1];
    return offset == kMissing ? nullptr : texts.data() + offset;
}
