// The host-data adapters: number forwarding, argument order, and the binary layout of
// host objects, proved with hosts that only share the layout of the public classes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "framework/DLLSpreadSheetData.h"

namespace {

using Calls = std::vector<std::string>;

std::string Cell(int row, int col) {
    return std::to_string(row) + " " + std::to_string(col);
}

// A read target from a "foreign" compiler: no common base, only the same table order
// (number, text, size, two unused, map row) and the counts at bytes 24 and 28.
struct HandLaidReadHost {
    virtual void Number(int row, int col, float v) {
        calls->push_back("num " + Cell(row, col) + " " + std::to_string(v));
    }
    virtual void Text(int row, int col, const char* t) {
        calls->push_back("text " + Cell(row, col) + " [" + t + "]");
    }
    virtual void Size(int r, int c) {
        calls->push_back("size " + Cell(r, c));
        rowCount = r;
        colCount = c;
    }
    virtual void Unused3() {}
    virtual void Unused4() {}
    virtual int Map(int counter) { return counter * 10; }
    Calls* calls;
    void* spare = nullptr;
    int32_t rowCount = 0;
    int32_t colCount = 0;
};

// A write source laid out the same way, counts at bytes 32 and 36, over a 2 x 3 table:
// row 1 texts, row 2 numbers, (2, 3) empty.
struct HandLaidWriteSource {
    virtual unsigned char Type(int row, int col) {
        return row == 1 ? kHostText : col == 3 ? kHostMissing : kHostNumber;
    }
    virtual float Number(int row, int col) { return row * 100.0f + col + 0.5f; }
    virtual const char* Text(int row, int col) {
        std::snprintf(buffer, sizeof buffer, "r%dc%d", row, col);
        return col == 3 ? nullptr : buffer;
    }
    virtual bool Origin(int* col, int* row) {
        *col = 2;
        *row = 4;
        return true;
    }
    char buffer[24] = {};
    int32_t rowCount = 2;
    int32_t colCount = 3;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(HandLaidReadHost, rowCount) == 24 &&
              offsetof(HandLaidReadHost, colCount) == 28);
static_assert(offsetof(HandLaidWriteSource, rowCount) == 32 &&
              offsetof(HandLaidWriteSource, colCount) == 36);
#pragma GCC diagnostic pop

TEST(DLLReadSpreadSheetData, ForwardsNumbersAsFloatsOrTextsRowFirst) {
    Calls calls;
    HandLaidReadHost host;
    host.calls = &calls;
    DLLReadSpreadSheetData sink(&host);
    sink.SetDataSize(3, 4);  // cols, rows
    EXPECT_EQ(std::pair(host.rowCount, host.colCount), std::pair(4, 3));
    EXPECT_EQ(sink.MapRow(5), 50);
    const std::pair<std::function<void(ReadSpreadSheetData&)>, std::string> kCases[] = {
        // Whole doubles above what a float keeps go as text; 999990 itself is a float.
        {[](auto& s) { s.Set(2, 1, 1234567.0); }, "text 1 2 [1234567]"},
        {[](auto& s) { s.Set(2, 2, 1234567.5); }, "num 2 2 " + std::to_string(1234567.5f)},
        {[](auto& s) { s.Set(2, 3, 999990.0); }, "num 3 2 " + std::to_string(999990.0f)},
        {[](auto& s) { s.Set(2, 4, 999991.0); }, "text 4 2 [999991]"},
        {[](auto& s) { s.Set(3, 1, -1234567.0); }, "num 1 3 " + std::to_string(-1234567.0f)},
        {[](auto& s) { s.Set(3, 2, 9.3e18); }, "num 2 3 " + std::to_string(9.3e18f)},  // >= 2^63
        {[](auto& s) { s.Set(3, 3, std::nan("")); }, "num 3 3 nan"},
        {[](auto& s) { s.Set(3, 4, -HUGE_VAL); }, "num 4 3 -inf"},
        // Integers: -99 is the missing marker, other long longs go as decimal text.
        {[](auto& s) { s.Set(1, 1, -99LL); }, "text 1 1 []"},
        {[](auto& s) { s.Set(1, 2, -100LL); }, "text 2 1 [-100]"},
        {[](auto& s) { s.Set(1, 3, 9007199254740993LL); }, "text 3 1 [9007199254740993]"},
        {[](auto& s) { s.Set(1, 4, 7); }, "num 4 1 " + std::to_string(7.0f)},
        {[](auto& s) { s.Set(1, 5, 0.25f); }, "num 5 1 " + std::to_string(0.25f)},
        {[](auto& s) { s.Set(1, 6, "name"); }, "text 6 1 [name]"},
    };
    for (const auto& [set, expected] : kCases) {
        calls.clear();
        set(sink);
        EXPECT_EQ(calls, Calls{expected});
    }
    // The counts are read from the host object's bytes, not remembered by the adapter.
    host.rowCount = 11;
    host.colCount = 13;
    EXPECT_EQ(std::pair(sink.GetNumberOfRows(), sink.GetNumberOfColumns()), std::pair(11, 13));
}

TEST(DLLWriteSpreadSheetData, ReadsTheSourceRowFirst) {
    HandLaidWriteSource host;
    DLLWriteSpreadSheetData source(&host);
    EXPECT_EQ(std::pair(source.GetNumberOfRows(), source.GetNumberOfColumns()), std::pair(2, 3));
    // The adapter takes (col, row); the host sees (row, col).
    EXPECT_TRUE(source.IsText(2, 1));
    EXPECT_FALSE(source.IsNumber(2, 1));
    EXPECT_TRUE(source.IsNumber(2, 2));
    EXPECT_FALSE(source.IsMissing(2, 2));
    EXPECT_TRUE(source.IsMissing(3, 2));
    EXPECT_EQ(source.GetNumber(3, 2), 203.5f);
    EXPECT_EQ(source.GetText(2, 1), "r1c2");
    EXPECT_EQ(source.GetText(3, 1), "");  // a null text reads as empty
    int col = 0, row = 0;
    EXPECT_TRUE(source.GetDataOrigin(&col, &row));
    EXPECT_EQ(std::pair(col, row), std::pair(2, 4));
}

}  // namespace
