// The host-data adapters: number forwarding, argument order, and the binary layout of
// host objects, proved with a host derived from the public classes and with one that
// only shares their layout.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "framework/DLLSpreadSheetData.h"

namespace {

// What a host saw, one line per call, in the host's own argument order.
using Calls = std::vector<std::string>;

std::string Num(float v) {
    return std::to_string(v);
}

// A host read target derived from the public class.
class DerivedReadHost : public ZmHostReadTarget {
  public:
    explicit DerivedReadHost(Calls& c) : calls(c) {}
    void SetNumber(int row, int col, float v) override {
        calls.push_back("num " + std::to_string(row) + " " + std::to_string(col) + " " + Num(v));
    }
    void SetText(int row, int col, const char* t) override {
        calls.push_back("text " + std::to_string(row) + " " + std::to_string(col) + " [" + t + "]");
    }
    void SetSize(int r, int c) override {
        calls.push_back("size " + std::to_string(r) + " " + std::to_string(c));
        rows = r;
        cols = c;
    }
    int MapRow(int counter) override {
        calls.push_back("map " + std::to_string(counter));
        return counter * 10;
    }
    Calls& calls;
};

// A host read target from a "foreign" compiler: no common base, only the same table
// order (number, text, size, two unused, map row) and the counts at bytes 24 and 28.
class HandLaidReadHost {
  public:
    explicit HandLaidReadHost(Calls& c) : calls(&c) {}
    virtual void Number(int row, int col, float v) {
        calls->push_back("num " + std::to_string(row) + " " + std::to_string(col) + " " + Num(v));
    }
    virtual void Text(int row, int col, const char* t) {
        calls->push_back("text " + std::to_string(row) + " " + std::to_string(col) + " [" + t +
                         "]");
    }
    virtual void Size(int r, int c) {
        calls->push_back("size " + std::to_string(r) + " " + std::to_string(c));
        rowCount = r;
        colCount = c;
    }
    virtual void Unused3() {}
    virtual void Unused4() {}
    virtual int Map(int counter) {
        calls->push_back("map " + std::to_string(counter));
        return counter * 10;
    }
    Calls* calls;
    void* spare = nullptr;
    int32_t rowCount = 0;
    int32_t colCount = 0;
};

// Write sources of both kinds over one 2 x 3 table: row 1 texts, row 2 numbers, (2,3) empty.
unsigned char TypeAt(int row, int col) {
    if (row == 1)
        return kHostText;
    return col == 3 ? kHostMissing : kHostNumber;
}

class DerivedWriteSource : public ZmHostWriteSource {
  public:
    DerivedWriteSource() {
        rows = 2;
        cols = 3;
    }
    unsigned char GetCellType(int row, int col) override { return TypeAt(row, col); }
    float GetNumber(int row, int col) override { return row * 100.0f + col + 0.5f; }
    const char* GetText(int row, int col) override {
        last = "r" + std::to_string(row) + "c" + std::to_string(col);
        return col == 3 ? nullptr : last.c_str();
    }
    bool GetDataOrigin(int* col, int* row) override {
        *col = 2;
        *row = 2;
        return true;
    }
    std::string last;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(HandLaidReadHost, rowCount) == 24);
static_assert(offsetof(HandLaidReadHost, colCount) == 28);
#pragma GCC diagnostic pop

// The adapters' expected traffic, whichever host object sits behind them.
void ExpectReadForwarding(void* host, Calls& calls, const int32_t& rows, const int32_t& cols) {
    DLLReadSpreadSheetData sink(host);
    sink.SetDataSize(3, 4);  // cols, rows
    EXPECT_EQ(rows, 4);
    EXPECT_EQ(cols, 3);
    EXPECT_EQ(sink.GetNumberOfRows(), 4);
    EXPECT_EQ(sink.GetNumberOfColumns(), 3);

    ReadSpreadSheetData& s = sink;
    s.Set(2, 1, 1234567.0);                     // whole and above what a float keeps: text
    s.Set(2, 2, 1234567.5);                     // fractional: float
    s.Set(2, 3, 999990.0);                      // the boundary itself: float
    s.Set(2, 4, 999991.0);                      // just above: text
    s.Set(3, 1, -1234567.0);                    // negative wholes stay numbers
    s.Set(3, 2, 9.3e18);                        // at or above 2^63: float
    s.Set(3, 3, static_cast<long long>(-99));   // the missing marker
    s.Set(3, 4, static_cast<long long>(-100));  // other integers: decimal text
    s.Set(1, 1, 7);                             // int: float
    s.Set(1, 2, 0.25f);
    s.Set(1, 3, "name");
    s.Set(1, 4, 9007199254740993LL);
    EXPECT_EQ(s.MapRow(5), 50);

    const Calls expected = {
        "size 4 3",
        "text 1 2 [1234567]",
        "num 2 2 " + Num(1234567.5f),
        "num 3 2 " + Num(999990.0f),
        "text 4 2 [999991]",
        "num 1 3 " + Num(-1234567.0f),
        "num 2 3 " + Num(9.3e18f),
        "text 3 3 []",
        "text 4 3 [-100]",
        "num 1 1 " + Num(7.0f),
        "num 2 1 " + Num(0.25f),
        "text 3 1 [name]",
        "text 4 1 [9007199254740993]",
        "map 5",
    };
    EXPECT_EQ(calls, expected);

    // The counts are read from the host object's bytes, not remembered by the adapter.
    const_cast<int32_t&>(rows) = 11;
    const_cast<int32_t&>(cols) = 13;
    EXPECT_EQ(sink.GetNumberOfRows(), 11);
    EXPECT_EQ(sink.GetNumberOfColumns(), 13);
}

void ExpectWriteForwarding(void* host) {
    DLLWriteSpreadSheetData source(host);
    EXPECT_EQ(source.GetNumberOfRows(), 2);
    EXPECT_EQ(source.GetNumberOfColumns(), 3);
    // The adapter takes (col, row); the host sees (row, col).
    EXPECT_TRUE(source.IsText(2, 1));
    EXPECT_FALSE(source.IsNumber(2, 1));
    EXPECT_TRUE(source.IsNumber(2, 2));
    EXPECT_FALSE(source.IsMissing(2, 2));
    EXPECT_TRUE(source.IsMissing(3, 2));
    EXPECT_FALSE(source.IsText(3, 2));
    EXPECT_EQ(source.GetNumber(3, 2), 203.5f);
    EXPECT_EQ(source.GetText(2, 1), "r1c2");
    EXPECT_EQ(source.GetText(3, 1), "");  // a null text reads as empty
    int col = 0, row = 0;
    EXPECT_TRUE(source.GetDataOrigin(&col, &row));
    EXPECT_EQ(col, 2);
    EXPECT_EQ(row, 2);
}

TEST(DLLReadSpreadSheetData, ForwardsToADerivedHost) {
    Calls calls;
    DerivedReadHost host(calls);
    ExpectReadForwarding(&host, calls, host.rows, host.cols);
}

TEST(DLLReadSpreadSheetData, ForwardsToAHostThatOnlySharesTheLayout) {
    Calls calls;
    HandLaidReadHost host(calls);
    ExpectReadForwarding(&host, calls, host.rowCount, host.colCount);
}

TEST(DLLReadSpreadSheetData, NotANumberAndInfinityTravelAsFloats) {
    Calls calls;
    DerivedReadHost host(calls);
    DLLReadSpreadSheetData sink(&host);
    ReadSpreadSheetData& s = sink;
    s.Set(1, 1, std::numeric_limits<double>::quiet_NaN());
    s.Set(1, 2, std::numeric_limits<double>::infinity());
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].rfind("num 1 1 ", 0), 0u);
    EXPECT_EQ(calls[1].rfind("num 2 1 ", 0), 0u);
}

TEST(DLLWriteSpreadSheetData, ReadsADerivedSource) {
    DerivedWriteSource source;
    ExpectWriteForwarding(&source);
}

TEST(DLLWriteSpreadSheetData, ReadsASourceThatOnlySharesTheLayout) {
    // Counts at bytes 32 and 36: pointer-size fields fill 8..31 in this layout.
    struct Layout {
        virtual unsigned char Type(int row, int col) { return TypeAt(row, col); }
        virtual float Number(int row, int col) { return row * 100.0f + col + 0.5f; }
        virtual const char* Text(int row, int col) {
            snprintf(buffer, sizeof buffer, "r%dc%d", row, col);
            return col == 3 ? nullptr : buffer;
        }
        virtual bool Origin(int* col, int* row) {
            *col = 2;
            *row = 2;
            return true;
        }
        char buffer[24] = {};
        int32_t rowCount = 2;
        int32_t colCount = 3;
    };
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
    static_assert(offsetof(Layout, rowCount) == 32);
    static_assert(offsetof(Layout, colCount) == 36);
#pragma GCC diagnostic pop
    Layout source;
    ExpectWriteForwarding(&source);
}

}  // namespace
