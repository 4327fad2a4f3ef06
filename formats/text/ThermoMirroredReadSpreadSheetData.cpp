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
    lines.clear();
    // Line vectors stay empty until their cells arrive: a line costs what it holds.
    lines.resize(static_cast<size_t>(std::max(rows, 0)));
    texts.clear();
}

void ThermoMirroredReadSpreadSheetData::Set(int col, int row, const char* text) {
    if (col < 1 || col > cells || row < 1 || static_cast<size_t>(row) > lines.size())
        return;
    std::vector<size_t>& line = lines[static_cast<size_t>(row) - 1];
    if (line.size() < static_cast<size_t>(col))
        line.resize(static_cast<size_t>(col), kMissing);
    line[static_cast<size_t>(col) - 1] = texts.size();
    if (text != nullptr)
        texts.append(text, std::strlen(text));
    texts.push_back('\0');
}

void ThermoMirroredReadSpreadSheetData::Set(int col, int row, float value) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer - 1, value);
    *result.ptr = '\0';
    Set(col, row, static_cast<const char*>(buffer));
}

const char* ThermoMirroredReadSpreadSheetData::Cell(int line, int cell) const {
    if (line < 1 || static_cast<size_t>(line) > lines.size() || cell < 1)
        return nullptr;
    const std::vector<size_t>& offsets = lines[static_cast<size_t>(line) - 1];
    if (static_cast<size_t>(cell) > offsets.size())
        return nullptr;
    const size_t offset = offsets[static_cast<size_t>(cell) - 1];
    return offset == kMissing ? nullptr : texts.data() + offset;
}
