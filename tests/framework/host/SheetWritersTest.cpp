// Text typing, the fields of the CSV/TSV/JSON layouts, the stored sheet's limits and its
// block of numbers, the sheet seen as a write source and the output buffer.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "framework/host/OutputBuffer.h"
#include "framework/host/SheetSink.h"
#include "framework/host/SheetSource.h"
#include "framework/host/SheetWriters.h"
#include "framework/host/TextTyping.h"

using namespace zmhost;

TEST(TextTyping, OnlyWholeNumbersBecomeNumbers) {
    double v = 0;
    // Blanks around and a plus sign are taken, as Python and pandas read them.
    const std::pair<const char*, double> numbers[] = {
        {"1.5", 1.5},          {"-2", -2},    {"3e3", 3000},   {".5", 0.5}, {"007", 7},
        {"-0.25E-2", -0.0025}, {" 1.5", 1.5}, {"\t-2 \t", -2}, {"+1", 1},   {" +.5 ", 0.5}};
    for (const auto& [text, expected] : numbers)
        EXPECT_TRUE(ParseNumberText(text, v) && v == expected) << text;
    for (const char* text : {"", " ", "+", "+-1", "1 2", "- 1", "inf", "-inf", "nan", "NaN", "1,5",
                             "0x10", "1e", "-", ".", "12abc", static_cast<const char*>(nullptr)})
        EXPECT_FALSE(ParseNumberText(text, v)) << (text ? text : "null");
}

TEST(SheetWriters, TextFieldsInEachLayout) {
    using enum OutputFormat;
    const std::string bad = "\xEF\xBF\xBD";  // U+FFFD for each byte of a broken sequence
    const std::vector<std::tuple<OutputFormat, std::string, std::string>> cases = {
        {kCsv, "plain, \"q\"", "\"plain, \"\"q\"\"\""},
        {kCsv, "tab\tstays", "tab\tstays"},
        {kCsv, "two\nlines", "\"two\nlines\""},
        {kCsv, "cr\r", "\"cr\r\""},
        {kCsv, "", ""},
        {kTsv, "a\tb\nc\rd\\e", "a\\tb\\nc\\rd\\\\e"},
        {kTsv, "a,\"b\"", "a,\"b\""},
        {kJson, "q\"b\\\n\r\t\b\f", "\"q\\\"b\\\\\\n\\r\\t\\b\\f\""},
        {kJson, std::string("\x01\x1f\x7f\0", 4), "\"\\u0001\\u001f\\u007f\\u0000\""},
        {kJson, "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\""},
        {kJson, "\x80|\xC0\xAF|\xED\xA0\x80|\xF4\x90\x80\x80|\xE2\x82",
         "\"" + bad + "|" + bad + bad + "|" + bad + bad + bad + "|" + bad + bad + bad + bad + "|" +
             bad + bad + "\""}};
    for (const auto& [format, text, expected] : cases)
        EXPECT_EQ(FieldText(format, text), expected) << text;
}

// Cell types, texts and numbers of the write source are checked by the conversions in
// CommandsTest; the data origin only here.
TEST(Sheet, KeepsLongRowsButNotFarScatteredCells) {
    // A chromatogram of two million points is one row as wide: nothing of it is dropped.
    Sheet wide;
    for (int col = 1; col <= 2000000; ++col)
        wide.SetFloat(col, 2, static_cast<float>(col));
    EXPECT_EQ(wide.DroppedCells(), 0);
    EXPECT_EQ(wide.Columns(), 2000000);
    EXPECT_EQ(wide.At(2000000, 2)->f, 2000000.0f);

    // One cell four million columns to the right in each of many rows would ask for four
    // million slots per row: past the free slots, such cells are dropped, not allocated.
    Sheet scattered;
    for (int row = 1; row <= 200; ++row)
        scattered.SetInteger(1 << 22, row, row);
    EXPECT_EQ(scattered.DroppedCells(), 198);
    EXPECT_EQ(scattered.At(1 << 22, 2)->i, 2);
    EXPECT_EQ(scattered.At(1 << 22, 200), nullptr);
    scattered.SetInteger(Sheet::kMaxColumns + 1, 1, 1);
    EXPECT_EQ(scattered.DroppedCells(), 199);
    scattered.SetInteger(1, 1, 5);  // a row already held takes cells on its left
    EXPECT_EQ(scattered.At(1, 1)->i, 5);
}

// Runs of numbers kept in the block print as the same numbers given cell by cell, mixed
// with single cells in either order, with gaps, and partly or wholly outside the size.
TEST(Sheet, RunsOfNumbersPrintAsTheSameCellsOneByOne) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        SheetSink bulk;
        Sheet single;
        const int cols = 1 + static_cast<int>(random() % 6);
        const int rows = static_cast<int>(random() % 7);
        bulk.SetDataSize(cols, rows);
        single.Announce(cols, rows);
        for (int step = 0; step < 12; ++step) {
            const int col = static_cast<int>(random() % 9) - 1;
            const int row = static_cast<int>(random() % 9) - 1;
            std::vector<double> run(random() % 6);
            for (double& v : run)
                v = random() % 5 == 0 ? std::nan("") : static_cast<double>(random() % 1000) / 8;
            const bool down = random() % 2 == 0;
            switch (random() % 4) {
                case 0:
                    bulk.Set(col, row, "t");
                    single.SetText(col, row, "t");
                    break;
                case 1:
                    bulk.Set(col, row, 0.5f);
                    single.SetFloat(col, row, 0.5f);
                    break;
                default:
                    if (down)
                        bulk.SetNumbersDown(col, row, run.data(), run.size());
                    else
                        bulk.SetNumbersAcross(col, row, run.data(), run.size());
                    for (size_t i = 0; i < run.size(); ++i) {
                        if (!std::isnan(run[i]))
                            single.SetDouble(col + (down ? 0 : static_cast<int>(i)),
                                             row + (down ? static_cast<int>(i) : 0), run[i]);
                    }
            }
        }
        std::ostringstream fromBulk, fromSingle;
        WriteSheet(bulk.GetSheet(), OutputFormat::kCsv, fromBulk);
        WriteSheet(single, OutputFormat::kCsv, fromSingle);
        ASSERT_EQ(fromBulk.str(), fromSingle.str()) << round;
        EXPECT_EQ(bulk.GetSheet().DroppedCells(), single.DroppedCells()) << round;
        for (int row = 1; row <= single.Rows(); ++row) {
            for (int col = 1; col <= single.Columns(); ++col) {
                const Cell* a = bulk.GetSheet().At(col, row);
                const Cell* b = single.At(col, row);
                ASSERT_EQ(a == nullptr, b == nullptr) << round;
                if (a != nullptr) {
                    EXPECT_EQ(a->kind, b->kind) << round;
                }
            }
        }
    }
}

TEST(SheetWriteSource, DataBeginsAfterARowAndAColumnOfNames) {
    Sheet sheet;
    sheet.SetText(2, 1, "x");
    sheet.SetText(1, 2, "row");
    sheet.SetDouble(2, 2, 0.1);
    int col = 0, row = 0;
    ASSERT_TRUE(SheetWriteSource(sheet).GetDataOrigin(&col, &row));
    EXPECT_EQ(std::pair(col, row), std::pair(2, 2));
    sheet.SetDouble(1, 2, 1);
    ASSERT_TRUE(SheetWriteSource(sheet).GetDataOrigin(&col, &row));
    EXPECT_EQ(std::pair(col, row), std::pair(1, 2));
}

// What an open file (standard output redirected, say) already held stays; what the
// output added is taken back by Rewind and by a failed read.
TEST(OutputBuffer, TakesBackOnlyItsOwnPartOfAnOpenFile) {
    const std::string path = testing::TempDir() + "zm-output-buffer-" + std::to_string(getpid());
    std::FILE* file = std::fopen(path.c_str(), "w+");
    ASSERT_NE(file, nullptr);
    std::fputs("kept\n", file);
    auto contents = [&] {
        std::fflush(file);
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    OutputBuffer first(file, 1);  // every row goes out at once
    first.Append("abc\n");
    first.RowDone();
    EXPECT_EQ(contents(), "kept\nabc\n");
    first.Rewind();
    first.Append("xy\n");
    EXPECT_TRUE(first.Finish());
    OutputBuffer failed(file, 1);
    failed.Append("partial\n");
    failed.RowDone();
    failed.Abandon();
    EXPECT_EQ(contents(), "kept\nxy\n");
    std::fclose(file);
    std::remove(path.c_str());
}
