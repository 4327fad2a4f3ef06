// Column-by-column storage of the cells a reader delivers to the Python module.
#include "python/ColumnSheet.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "framework/host/FastNumbers.h"
#include "framework/host/TextTyping.h"
#include "platform/FloatText.h"
#include "platform/ShortestDecimal.h"

namespace zmpy {

void ColumnSheet::Announce(int cols, int rows) {
    announcedCols = std::clamp(cols, 0, kMaxColumns);
    announcedRows = std::max(rows, 0);
}

int ColumnSheet::Columns() const {
    return std::max(announcedCols, maxCol);
}

int ColumnSheet::Rows() const {
    return std::max(announcedRows, maxRow);
}

void ColumnSheet::MakeGrid() {
    gridTried = true;
    const size_t cols = static_cast<size_t>(announcedCols);
    const size_t rows = static_cast<size_t>(announcedRows);
    if (cols == 0 || rows == 0 || !columns.empty() || cols * rows > kFreeSlots)
        return;
    // The block is reserved, not touched: a line's slots are set in order as its cells
    // arrive, so the pages of an extent the file never fills are never used.
    grid.block = std::make_shared<Block>();
    grid.block->Reserve(cols * rows);
    grid.block->Extend(cols * rows);
    grid.cols = cols;
    grid.rows = rows;
    grid.rowMajor = cols > rows;
    grid.length = grid.rowMajor ? cols : rows;
    grid.filled.assign(grid.rowMajor ? rows : cols, 0);
    grid.othersEnd.assign(grid.filled.size(), 0);
    // A wide sheet names each column in its first row: room for a text per column, so
    // that the tables do not grow page by page (a reserved page costs nothing unused).
    if (grid.rowMajor) {
        texts.Reserve(cols);
        textCells.Reserve(cols);
    }
    slotsHeld += cols * rows;
}

void ColumnSheet::Spill() {
    // A column holds the rows up to the last one whose line reaches it.
    std::vector<size_t> heights(grid.cols, grid.rowMajor ? 0 : grid.rows);
    for (size_t line = 0; line < grid.filled.size(); ++line) {
        if (!grid.rowMajor)
            heights[line] = grid.filled[line];
        else
            std::fill(heights.begin(), heights.begin() + grid.filled[line], line + 1);
    }
    std::vector<Column> moved(grid.cols);
    size_t held = 0;
    for (size_t c = 0; c < grid.cols; ++c) {
        Block& slots = moved[c].slots;
        slots.Reserve(heights[c]);
        for (size_t r = 0; r < heights[c]; ++r)
            slots.Push(SlotAt(static_cast<int>(c) + 1, static_cast<int>(r) + 1));
        held += heights[c];
    }
    columns = std::move(moved);
    slotsHeld = held + grid.cols * kSlotsPerColumn;
    grid = Grid{};
}

ColumnSheet::ColumnView ColumnSheet::ViewOf(int col) const {
    if (grid.block != nullptr) {
        if (grid.rowMajor || col < 1 || static_cast<size_t>(col) > grid.cols)
            return {};
        const size_t c = static_cast<size_t>(col) - 1;
        return {grid.block->Data() + c * grid.length, grid.filled[c], 1};
    }
    if (col < 1 || static_cast<size_t>(col) > columns.size())
        return {};
    const Block& slots = columns[col - 1].slots;
    return {slots.Data(), slots.Size(), 1};
}

bool ColumnSheet::MakeSlot(int col, int row) {
    if (col < 1 || row < 1 || col > kMaxColumns) {
        ++dropped;
        return false;
    }
    if (grid.block != nullptr)
        Spill();
    const size_t allowance = kFreeSlots + kSlotsPerCell * cellsStored;
    if (static_cast<size_t>(col) > columns.size()) {
        const size_t added = (col - columns.size()) * kSlotsPerColumn;
        if (slotsHeld + added > allowance) {
            ++dropped;
            return false;
        }
        columns.resize(col);
        slotsHeld += added;
    }
    Block& slots = columns[col - 1].slots;
    if (static_cast<size_t>(row) > slots.Size()) {
        const size_t added = row - slots.Size();
        if (slotsHeld + added > allowance) {
            ++dropped;
            return false;
        }
        // The first cell of a column makes room for the rows the reader announced, as
        // far as the allowance goes, so that the column is not copied as it grows.
        if (slots.Capacity() == 0 && announcedRows > row)
            slots.Reserve(std::min<size_t>(announcedRows, allowance - slotsHeld));
        slots.Resize(row, kMissingSlot);
        slotsHeld += added;
    }
    return true;
}

size_t ColumnSheet::StoreRun(uint64_t* out, size_t held, const double* values, size_t count,
                             size_t& freshMissing) {
    // Finite values have an exponent below all ones. Cells held before keep their slot
    // for a value that is not finite, new ones become missing; both loops run vectorised.
    constexpr uint64_t kExponent = 0x7FF0'0000'0000'0000;
    const size_t kept = std::min(count, held);
    size_t stored = 0;
    for (size_t i = 0; i < kept; ++i) {
        const uint64_t bits = std::bit_cast<uint64_t>(values[i]);
        const bool finite = (bits & kExponent) != kExponent;
        out[i] = finite ? bits : out[i];
        stored += finite;
    }
    size_t fresh = 0;
    for (size_t i = kept; i < count; ++i) {
        const uint64_t bits = std::bit_cast<uint64_t>(values[i]);
        const bool finite = (bits & kExponent) != kExponent;
        out[i] = finite ? bits : kMissingSlot;
        fresh += finite;
    }
    freshMissing = count - kept - fresh;
    return stored + fresh;
}

bool ColumnSheet::SetNumbersDown(int col, int row, const double* values, size_t count) {
    // Values past the last finite one store nothing and must not lengthen the column.
    while (count > 0 && !std::isfinite(values[count - 1]))
        --count;
    if (count == 0)
        return true;
    if (col < 1 || row < 1 || col > kMaxColumns ||
        count > static_cast<size_t>(std::numeric_limits<int>::max() - row) + 1)
        return false;
    if (!gridTried)
        MakeGrid();
    const int last = row + static_cast<int>(count - 1);
    if (grid.block != nullptr) {
        if (!InGrid(col, last))
            return false;  // cell by cell, which moves the grid into columns
        if (grid.rowMajor) {
            for (size_t i = 0; i < count; ++i) {
                if (std::isfinite(values[i]))
                    SetNumber(col, row + static_cast<int>(i), values[i]);
            }
            return true;
        }
        GridRun(LineOf(col, row), PlaceOf(col, row), values, count);
    } else if (!ColumnRun(col, row, values, count)) {
        return false;
    }
    maxCol = std::max(maxCol, col);
    maxRow = std::max(maxRow, last);
    return true;
}

bool ColumnSheet::ColumnRun(int col, int row, const double* values, size_t count) {
    const size_t first = static_cast<size_t>(row) - 1;
    const size_t end = first + count;
    const size_t newColumns =
        static_cast<size_t>(col) > columns.size() ? static_cast<size_t>(col) - columns.size() : 0;
    const size_t held = newColumns != 0 ? 0 : columns[col - 1].slots.Size();
    const size_t addedSlots = end > held ? end - held : 0;
    const size_t allowance = kFreeSlots + kSlotsPerCell * cellsStored;
    if (slotsHeld + newColumns * kSlotsPerColumn + addedSlots > allowance)
        return false;
    if (newColumns != 0) {
        columns.resize(col);
        slotsHeld += newColumns * kSlotsPerColumn;
    }
    Block& slots = columns[col - 1].slots;
    if (slots.Capacity() == 0 && static_cast<size_t>(announcedRows) > end)
        slots.Reserve(std::min<size_t>(announcedRows, allowance - slotsHeld));
    slots.Resize(first, kMissingSlot);
    const size_t before = slots.Size();
    if (end > before)
        slots.Extend(end - before);
    slotsHeld += addedSlots;
    size_t freshMissing;
    cellsStored += StoreRun(&slots[first], before - first, values, count, freshMissing);
    return true;
}

void ColumnSheet::GridRun(size_t line, size_t place, const double* values, size_t count) {
    const size_t held = grid.filled[line] > place ? grid.filled[line] - place : 0;
    size_t freshMissing;
    const size_t stored =
        StoreRun(GridSlots(line, place, count), held, values, count, freshMissing);
    if (freshMissing != 0)
        MarkOthers(line, place + count);
    cellsStored += stored;
}

void ColumnSheet::SetNumbersAcross(int col, int row, const double* values, size_t count) {
    while (count > 0 && !std::isfinite(values[count - 1]))
        --count;
    if (count == 0)
        return;
    if (!gridTried)
        MakeGrid();
    if (grid.block != nullptr && grid.rowMajor && col >= 1 &&
        count <= static_cast<size_t>(std::numeric_limits<int>::max() - col) + 1 &&
        InGrid(col + static_cast<int>(count - 1), row)) {
        GridRun(LineOf(col, row), PlaceOf(col, row), values, count);
        maxCol = std::max(maxCol, col + static_cast<int>(count - 1));
        maxRow = std::max(maxRow, row);
        return;
    }
    for (size_t i = 0; i < count; ++i) {
        if (std::isfinite(values[i]))
            SetNumber(col + static_cast<int>(i), row, values[i]);
    }
}

void ColumnSheet::SetText(int col, int row, std::string_view text) {
    uint64_t* slot = Slot(col, row);
    if (slot == nullptr)
        return;
    if (grid.block != nullptr)
        MarkOthers(LineOf(col, row), PlaceOf(col, row) + 1);
    textCells.Resize(col, 0);
    if (textCells[col - 1] != std::numeric_limits<uint32_t>::max())
        ++textCells[col - 1];
    if (recent.Empty())
        recent.Resize(kRecentTexts, Recent{0, 0});
    const uint64_t hash = TextHash(text);
    const auto tag = static_cast<uint32_t>(hash >> 32);
    Recent& last = recent[hash & (kRecentTexts - 1)];
    if (last.index != 0 && last.tag == tag && texts[last.index - 1] == text) {
        *slot = (kTextTag << 48) | (last.index - 1);
        return;
    }
    texts.Push({StoreText(text), text.size()});
    const uint64_t index = texts.Size() - 1;
    *slot = (kTextTag << 48) | index;
    if (index < std::numeric_limits<uint32_t>::max())
        last = {static_cast<uint32_t>(index + 1), tag};
}

const char* ColumnSheet::StoreText(std::string_view text) {
    if (text.empty())
        return "";
    // Blocks grow with the texts held, from 64 KiB to 4 MiB.
    if (text.size() > blockFree) {
        const size_t blockSize =
            std::max(std::clamp(textBytes, size_t{1} << 16, size_t{4} << 20), text.size());
        textBlocks.emplace_back();
        textBlocks.back().Reserve(blockSize);
        blockNext = textBlocks.back().Extend(blockSize);
        blockFree = blockSize;
    }
    textBytes += text.size();
    char* stored = blockNext;
    std::memcpy(stored, text.data(), text.size());
    blockNext += text.size();
    blockFree -= text.size();
    return stored;
}

ColumnSheet::Kind ColumnSheet::KindAt(int col, int row) const {
    const uint64_t slot = SlotAt(col, row);
    if (slot == kMissingSlot)
        return Kind::kMissing;
    return IsText(slot) || IsHeading(slot) ? Kind::kText : Kind::kNumber;
}

std::string_view ColumnSheet::TextAt(int col, int row) const {
    const uint64_t slot = SlotAt(col, row);
    if (IsHeading(slot))
        return HeadingText(slot & kIndexMask);
    if (!IsText(slot))
        return {};
    return texts[slot & kIndexMask];
}

bool ColumnSheet::SetHeadingsAcross(int col, int row, std::string_view prefix, const float* x,
                                    size_t count) {
    if (count == 0)
        return true;
    if (!gridTried)
        MakeGrid();
    if (grid.block == nullptr || !grid.rowMajor || col < 1 ||
        count > static_cast<size_t>(std::numeric_limits<int>::max() - col) + 1 ||
        !InGrid(col + static_cast<int>(count - 1), row) || !InGrid(col, row))
        return false;
    const size_t first = headingX.Size();
    headingRuns.push_back({first, std::string(prefix), col, row});
    headingX.Append(x, count);
    const size_t line = LineOf(col, row), place = PlaceOf(col, row);
    uint64_t* slots = GridSlots(line, place, count);
    for (size_t i = 0; i < count; ++i)
        slots[i] = (kHeadingTag << 48) | (first + i);
    MarkOthers(line, place + count);
    const int last = col + static_cast<int>(count - 1);
    cellsStored += count;
    maxCol = std::max(maxCol, last);
    maxRow = std::max(maxRow, row);
    return true;
}

std::string_view ColumnSheet::HeadingText(size_t index) const {
    if (headingTexts.Empty()) {
        // Room for the longest text of each run: "%g" of a float takes at most 13
        // characters ("-1.17549e-38").
        size_t room = 0;
        for (size_t r = 0; r < headingRuns.size(); ++r) {
            const size_t end =
                r + 1 < headingRuns.size() ? headingRuns[r + 1].first : headingX.Size();
            room += (end - headingRuns[r].first) * (headingRuns[r].prefix.size() + 14);
        }
        headingBytes.Reserve(room + 32);
        char* out = headingBytes.Extend(room + 32);
        headingTexts.Reserve(headingX.Size());
        for (size_t r = 0; r < headingRuns.size(); ++r) {
            const std::string& prefix = headingRuns[r].prefix;
            const size_t end =
                r + 1 < headingRuns.size() ? headingRuns[r + 1].first : headingX.Size();
            for (size_t i = headingRuns[r].first; i < end; ++i) {
                std::memcpy(out, prefix.data(), prefix.size());
                const size_t length =
                    prefix.size() + zm::FormatG6(headingX[i], out + prefix.size());
                headingTexts.Push({out, length});
                out += length;
            }
        }
    }
    return headingTexts[index];
}

size_t ColumnSheet::HeadingsIn(int col) const {
    size_t count = 0;
    for (size_t r = 0; r < headingRuns.size(); ++r) {
        const size_t end = r + 1 < headingRuns.size() ? headingRuns[r + 1].first : headingX.Size();
        const HeadingRun& run = headingRuns[r];
        count += col >= run.col && static_cast<size_t>(col - run.col) < end - run.first;
    }
    return count;
}

bool ColumnSheet::NumbersOnlyFrom(int col, int first) const {
    if (col < 1)
        return true;
    const size_t counted =
        (static_cast<size_t>(col) <= textCells.Size() ? textCells[col - 1] : 0) + HeadingsIn(col);
    if (counted == 0)
        return true;
    size_t above = 0;
    for (int row = 1; row < first && above < counted; ++row)
        above += KindAt(col, row) == Kind::kText;
    if (above == counted)
        return true;
    for (int row = std::max(first, 1); row <= maxRow; ++row) {
        if (KindAt(col, row) == Kind::kText)
            return false;
    }
    return true;
}

namespace {

// Slots as doubles: missing and text slots are NaNs already, and a stored NaN is the
// quiet one; every NaN becomes the quiet NaN, without a branch, so that the loop runs
// vectorised.
void CopyNormalized(const uint64_t* from, size_t stride, size_t count, double* out) {
    const uint64_t quiet = std::bit_cast<uint64_t>(std::numeric_limits<double>::quiet_NaN());
    auto one = [quiet](uint64_t slot) {
        const bool isNan = (slot & ~(uint64_t{1} << 63)) > 0x7FF0'0000'0000'0000;
        return std::bit_cast<double>(isNan ? quiet : slot);
    };
    if (stride == 1) {
        for (size_t i = 0; i < count; ++i)
            out[i] = one(from[i]);
    } else {
        for (size_t i = 0; i < count; ++i)
            out[i] = one(from[i * stride]);
    }
}

}  // namespace

void ColumnSheet::CopyNumbers(int col, int first, size_t count, double* out) const {
    if (RowMajor()) {
        for (size_t i = 0; i < count; ++i) {
            const uint64_t slot = SlotAt(col, first + static_cast<int>(i));
            CopyNormalized(&slot, 1, 1, out + i);
        }
        return;
    }
    const ColumnView view = ViewOf(col);
    const size_t begin = first >= 1 ? static_cast<size_t>(first - 1) : 0;
    const size_t stored = view.size > begin ? std::min(count, view.size - begin) : 0;
    if (stored != 0)
        CopyNormalized(view.data + begin * view.stride, view.stride, stored, out);
    std::fill(out + stored, out + count, std::numeric_limits<double>::quiet_NaN());
}

void ColumnSheet::CopyAll(int first, size_t rows, size_t cols, bool rowMajor, double* out) const {
    if (!rowMajor) {
        for (size_t c = 0; c < cols; ++c)
            CopyNumbers(static_cast<int>(c) + 1, first, rows, out + c * rows);
        return;
    }
    // Row after row: a wide grid hands each row over as one run of slots.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (size_t r = 0; r < rows; ++r) {
        const size_t row = static_cast<size_t>(first) + r;  // 1-based
        double* line = out + r * cols;
        size_t stored = 0;
        if (RowMajor() && row >= 1 && row <= grid.rows) {
            stored = std::min(grid.filled[row - 1], cols);
            CopyNormalized(grid.block->Data() + (row - 1) * grid.length, 1, stored, line);
        } else if (!RowMajor()) {
            for (size_t c = 0; c < cols; ++c)
                CopyNumbers(static_cast<int>(c) + 1, static_cast<int>(row), 1, line + c);
            stored = cols;
        }
        std::fill(line + stored, line + cols, nan);
    }
}

std::shared_ptr<ColumnSheet::Block> ColumnSheet::SharedNumbers() {
    if (grid.block == nullptr || static_cast<size_t>(Columns()) != grid.cols ||
        static_cast<size_t>(Rows()) != grid.rows)
        return nullptr;
    for (size_t line = 0; line < grid.filled.size(); ++line) {
        if (grid.filled[line] != grid.length)
            GridSlots(line, grid.length, 0);
    }
    return grid.block;
}

void ColumnSheetSink::Set(int col, int row, float value) {
    sheet.SetNumber(col, row, Widened(value));
    progress.Tick(row, 0);
}

void ColumnSheetSink::SetNumbersAcross(int col, int row, const float* values, size_t count) {
    constexpr size_t kChunk = 4096;
    double wide[kChunk];
    while (count > 0) {
        const size_t n = std::min(count, kChunk);
        WidenFloats(values, n, wide);
        SetNumbersAcross(col, row, wide, n);
        col += static_cast<int>(n);
        values += n;
        count -= n;
    }
}

void ColumnSheetSink::SetHeadingsAcross(int col, int row, const char* prefix, const float* x,
                                        size_t count) {
    const unsigned char lead = static_cast<unsigned char>(prefix[0]);
    const bool staysText = (lead | 0x20) >= 'a' && (lead | 0x20) <= 'z';
    if ((staysText || !typeTexts) && sheet.SetHeadingsAcross(col, row, prefix, x, count))
        progress.TickMany(count);
    else
        CommandSink::SetHeadingsAcross(col, row, prefix, x, count);
}

void ColumnSheetSink::Set(int col, int row, const char* text) {
    progress.Tick(row, 0);
    SetTyped(col, row, text);
}

void ColumnSheetSink::SetTextsAcross(int col, int row, const char* texts, const uint32_t* lengths,
                                     size_t count) {
    progress.TickMany(count);
    const bool direct = typeTexts && sheet.InTallGrid(col, row, count);
    for (size_t i = 0; i < count; ++i) {
        const int at = col + static_cast<int>(i);
        double number;
        if (direct && zmhost::ParsePlainDecimal(texts, number))
            sheet.SetGridNumber(at, row, number);
        else
            SetTyped(at, row, texts);
        texts += lengths[i] + size_t{1};
    }
}

void ColumnSheetSink::SetTyped(int col, int row, const char* text) {
    double number;
    if (!typeTexts) {
        sheet.SetText(col, row, text != nullptr ? text : "");
        return;
    }
    if (text == nullptr)
        return;
    if (zmhost::ParsePlainDecimal(text, number)) {
        sheet.SetNumber(col, row, number);
        return;
    }
    // A number, blanks around it and a sign aside, starts with a digit or a point.
    const unsigned char first = static_cast<unsigned char>(*text);
    const bool mayBeNumber = first - unsigned{'0'} <= 9 || first == '.' || first == '-' ||
                             first == '+' || first == ' ' || first == '\t';
    if (mayBeNumber && zmhost::ParseNumberText(text, number))
        sheet.SetNumber(col, row, number);
    else if (first != '\0')
        sheet.SetText(col, row, text);
}

namespace {

// Exact powers of ten as doubles.
constexpr auto kTens = [] {
    std::array<double, 23> powers{1};
    for (size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}();
constexpr auto kIntTens = [] {
    std::array<uint64_t, 20> powers{1};
    for (size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}();

// Whether the shortest text of a whole float of at least 2^24 is its exact digits: the
// fixed form, as long as the exponent form's "d.ddde+XX" is not shorter.
bool FixedIsShorter(float magnitude, zm::ShortestDecimal decimal) {
    if (magnitude >= 18446744073709551616.0f)
        return false;  // 20 digits or more: longer than any exponent form
    const auto whole = static_cast<uint64_t>(magnitude);
    const auto digitsOf = [](uint64_t n) {
        size_t count = 1;
        while (count < kIntTens.size() && n >= kIntTens[count])
            ++count;
        return count;
    };
    const size_t significant = digitsOf(decimal.significand);
    return digitsOf(whole) <= significant + (significant > 1) + 4;
}

}  // namespace

// The double nearest to the text std::to_chars writes for a float, read back, without the
// text: the text holds the float's shortest digits, except that a whole number written
// without an exponent is written exactly.
double Widened(float value) {
    if (!std::isfinite(value))
        return value;
    const float magnitude = std::fabs(value);
    // A whole number below 2^24 is its own shortest text.
    if (magnitude < 16777216.0f && std::trunc(value) == value)
        return value;
    const zm::ShortestDecimal decimal = zm::ShortestDecimalOf(magnitude);
    if (magnitude >= 16777216.0f && FixedIsShorter(magnitude, decimal))
        return value;
    // At most nine digits, an exact double: times or over an exact power of ten, one
    // rounding gives what reading the whole text would.
    auto digits = static_cast<double>(decimal.significand);
    int exponent = decimal.exponent;
    if (exponent > 22 && decimal.significand <= (uint64_t{1} << 53) / kIntTens[exponent - 22]) {
        digits *= kTens[exponent - 22];  // still exact
        exponent = 22;
    }
    double wide;
    if (exponent >= 0 && exponent <= 22) {
        wide = digits * kTens[exponent];
    } else if (exponent < 0 && exponent >= -22) {
        wide = digits / kTens[-exponent];
    } else {
        // Beyond the exact powers: the text itself, read back.
        char text[32];
        const auto end = std::to_chars(text, text + sizeof text, value).ptr;
        double out = value;
        std::from_chars(text, end, out);
        return out;
    }
    return std::signbit(value) ? -wide : wide;
}

}  // namespace zmpy

namespace zmpy {

std::shared_ptr<ColumnSheet::Block> ColumnSheet::SharedColumn(int col, int first,
                                                              const double*& start) const {
    if (grid.block == nullptr || grid.rowMajor || col < 1 || static_cast<size_t>(col) > grid.cols ||
        first < 1 || static_cast<size_t>(first) - 1 > grid.length ||
        static_cast<size_t>(Rows()) != grid.rows)
        return nullptr;
    const size_t line = static_cast<size_t>(col) - 1;
    if (grid.filled[line] != grid.length || grid.othersEnd[line] > static_cast<size_t>(first) - 1)
        return nullptr;
    start = reinterpret_cast<const double*>(grid.block->Data() + line * grid.length + first - 1);
    return grid.block;
}

}  // namespace zmpy
