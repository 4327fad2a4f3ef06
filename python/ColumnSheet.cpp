// Column-by-column storage of the cells a reader delivers to the Python module.
#include "python/ColumnSheet.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "framework/host/FastNumbers.h"
#include "framework/host/TextTyping.h"

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

bool ColumnSheet::MakeSlot(int col, int row) {
    if (col < 1 || row < 1 || col > kMaxColumns) {
        ++dropped;
        return false;
    }
    // What one entry of the column list costs, counted in slots against the allowance.
    constexpr size_t kSlotsPerColumn = sizeof(Column) / sizeof(uint64_t);
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
    zm::RawArray<uint64_t>& slots = columns[col - 1].slots;
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

bool ColumnSheet::SetNumbersDown(int col, int row, const double* values, size_t count) {
    // Values past the last finite one store nothing and must not lengthen the column.
    while (count > 0 && !std::isfinite(values[count - 1]))
        --count;
    if (count == 0)
        return true;
    if (col < 1 || row < 1 || col > kMaxColumns ||
        count > static_cast<size_t>(std::numeric_limits<int>::max() - row) + 1)
        return false;
    constexpr size_t kSlotsPerColumn = sizeof(Column) / sizeof(uint64_t);
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
    zm::RawArray<uint64_t>& slots = columns[col - 1].slots;
    if (slots.Capacity() == 0 && static_cast<size_t>(announcedRows) > end)
        slots.Reserve(std::min<size_t>(announcedRows, allowance - slotsHeld));
    slots.Resize(first, kMissingSlot);
    const size_t before = slots.Size();
    if (end > before)
        slots.Extend(end - before);
    slotsHeld += addedSlots;
    // Finite values have an exponent below all ones. Cells held before keep their slot
    // for a value that is not finite, new ones become missing; both loops run vectorised.
    constexpr uint64_t kExponent = 0x7FF0'0000'0000'0000;
    uint64_t* out = &slots[first];
    const size_t kept = std::min(count, before - first);
    size_t stored = 0;
    for (size_t i = 0; i < kept; ++i) {
        const uint64_t bits = std::bit_cast<uint64_t>(values[i]);
        const bool finite = (bits & kExponent) != kExponent;
        out[i] = finite ? bits : out[i];
        stored += finite;
    }
    for (size_t i = kept; i < count; ++i) {
        const uint64_t bits = std::bit_cast<uint64_t>(values[i]);
        const bool finite = (bits & kExponent) != kExponent;
        out[i] = finite ? bits : kMissingSlot;
        stored += finite;
    }
    cellsStored += stored;
    maxCol = std::max(maxCol, col);
    maxRow = std::max(maxRow, static_cast<int>(end));
    return true;
}

void ColumnSheet::SetText(int col, int row, std::string_view text) {
    if (uint64_t* slot = Slot(col, row)) {
        Column& column = columns[col - 1];
        ++column.textCells;
        if (text.empty()) {
            SetKnownText(column, slot, text);
            return;
        }
        uint16_t& recent = column.recent[RecentHash(text)];
        if (recent != 0 && column.texts[recent - 1] == text) {
            *slot = (kTextTag << 48) | (recent - 1);
            return;
        }
        // Only texts of `known` are remembered, so that a text gets the same index
        // either way.
        if (const uint32_t known = SetKnownText(column, slot, text); known != 0)
            recent = static_cast<uint16_t>(known);
    }
}

uint32_t ColumnSheet::SetKnownText(Column& column, uint64_t* slot, std::string_view text) {
    if (const auto found = column.known.find(text); found != column.known.end()) {
        *slot = (kTextTag << 48) | found->second;
        return static_cast<uint32_t>(found->second + 1);
    }
    const std::string_view stored(StoreText(text), text.size());
    column.texts.Push(stored);
    const uint64_t index = column.texts.Size() - 1;
    *slot = (kTextTag << 48) | index;
    if (column.known.size() >= kKnownTexts)
        return 0;
    column.known.emplace(stored, index);
    return static_cast<uint32_t>(index + 1);
}

const char* ColumnSheet::StoreText(std::string_view text) {
    // Blocks grow with the texts held, from 64 KiB to 4 MiB.
    if (text.size() > blockFree) {
        const size_t blockSize =
            std::max(std::clamp(textBytes, size_t{1} << 16, size_t{4} << 20), text.size());
        textBlocks.push_back(std::make_unique_for_overwrite<char[]>(blockSize));
        blockNext = textBlocks.back().get();
        blockFree = blockSize;
        zm::AdviseHugePages(blockNext, blockSize);
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
    return IsText(slot) ? Kind::kText : Kind::kNumber;
}

std::string_view ColumnSheet::TextAt(int col, int row) const {
    const uint64_t slot = SlotAt(col, row);
    if (!IsText(slot))
        return {};
    return columns[col - 1].texts[slot & kIndexMask];
}

size_t ColumnSheet::TextCount(int col) const {
    return col >= 1 && static_cast<size_t>(col) <= columns.size() ? columns[col - 1].texts.Size()
                                                                  : 0;
}

bool ColumnSheet::NumbersOnlyFrom(int col, int first) const {
    if (col < 1 || static_cast<size_t>(col) > columns.size())
        return true;
    const size_t counted = columns[col - 1].textCells;
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

void ColumnSheet::CopyNumbers(int col, int first, size_t count, double* out) const {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const zm::RawArray<uint64_t>* slots =
        col >= 1 && static_cast<size_t>(col) <= columns.size() ? &columns[col - 1].slots : nullptr;
    const size_t begin = first >= 1 ? static_cast<size_t>(first - 1) : 0;
    const size_t held = slots != nullptr && slots->Size() > begin ? slots->Size() - begin : 0;
    const size_t stored = std::min(count, held);
    const uint64_t* from = stored != 0 ? slots->Data() + begin : nullptr;
    // Missing and text slots are NaNs already, and a stored NaN is the quiet one: every
    // NaN becomes the quiet NaN, without a branch, so that the loop runs vectorised.
    const uint64_t quiet = std::bit_cast<uint64_t>(nan);
    for (size_t i = 0; i < stored; ++i) {
        const uint64_t slot = from[i];
        const bool isNan = (slot & ~(uint64_t{1} << 63)) > 0x7FF0'0000'0000'0000;
        out[i] = std::bit_cast<double>(isNan ? quiet : slot);
    }
    std::fill(out + stored, out + count, nan);
}

void ColumnSheetSink::Set(int col, int row, float value) {
    sheet.SetNumber(col, row, Widened(value));
    progress.Tick(row, 0);
}

void ColumnSheetSink::Set(int col, int row, const char* text) {
    progress.Tick(row, 0);
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

double Widened(float value) {
    if (!std::isfinite(value))
        return value;
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    double out = value;
    std::from_chars(text, end, out);
    return out;
}

}  // namespace zmpy
