// Text typing, the CSV/TSV/JSON layouts, the streamed rows against the
// stored sheet, and the sheet seen as a write source.
#include <gtest/gtest.h>

#include <unistd.h>

#include <climits>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>
#include <variant>

#include "cli/StreamSink.h"
#include "framework/host/SheetSource.h"
#include "framework/host/TextTyping.h"

using namespace zmcli;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

using Value = std::variant<int, long long, double, float, const char*>;
struct Delivery {
    int col, row;
    Value value;
};
struct Table {
    int cols, rows;
    std::vector<Delivery> cells;
};

void Deliver(CommandSink& sink, const Table& table, bool typed) {
    sink.TypeTexts(typed);
    sink.SetDataSize(table.cols, table.rows);
    for (const Delivery& d : table.cells)
        std::visit([&](auto v) { sink.Set(d.col, d.row, v); }, d.value);
}

std::string Stored(const Table& table, OutputFormat format, bool typed = false) {
    SheetSink sink;
    Deliver(sink, table, typed);
    std::ostringstream out;
    WriteSheet(sink.GetSheet(), format, out);
    return out.str();
}

// The rows printed while the table is delivered (or the cells the sink kept, printed
// at the end), or "fell back".
std::string Streamed(const Table& table, OutputFormat format, bool typed = false) {
    std::ostringstream out;
    OutputBuffer buffer(out);
    StreamSink sink(format, buffer);
    Deliver(sink, table, typed);
    if (sink.FellBack())
        return "fell back";
    if (const Sheet* kept = sink.Kept())
        WriteSheet(*kept, format, buffer);  // out of order before any row went out
    else
        sink.Finish();
    buffer.Finish();
    return out.str();
}

}  // namespace

TEST(TextTyping, OnlyWholeNumbersBecomeNumbers) {
    double v = 0;
    for (const auto& [text, expected] :
         std::vector<std::pair<const char*, double>>{{"1.5", 1.5},
                                                     {"-2", -2},
                                                     {"3e3", 3000},
                                                     {".5", 0.5},
                                                     {"007", 7},
                                                     {"-0.25E-2", -0.0025},
                                                     // blanks around and a plus sign, as
                                                     // Python and pandas read them
                                                     {" 1.5", 1.5},
                                                     {"\t-2 \t", -2},
                                                     {"+1", 1},
                                                     {" +.5 ", 0.5}}) {
        EXPECT_TRUE(ParseNumberText(text, v) && v == expected) << text;
    }
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

TEST(SheetWriters, WholeSheetsStoredAndStreamed) {
    const Table table{3,
                      3,
                      {{1, 1, "name"},
                       {2, 1, "a,b"},
                       {3, 1, "x\ty"},
                       {1, 2, 9007199254740993LL},
                       {2, 2, 0.1},
                       {3, 2, 0.1f},
                       {1, 3, -kNaN},
                       {3, 3, -kInf}}};
    for (const auto& [format, text] : std::vector<std::pair<OutputFormat, std::string>>{
             {OutputFormat::kCsv, "name,\"a,b\",x\ty\n9007199254740993,0.1,0.1\nNaN,,-inf\n"},
             {OutputFormat::kTsv, "name\ta,b\tx\\ty\n9007199254740993\t0.1\t0.1\nNaN\t\t-inf\n"},
             {OutputFormat::kJson,
              "{\"columns\": 3, \"rows\": 3, \"cells\": [\n"
              "  [\"name\", \"a,b\", \"x\\ty\"],\n"
              "  [9007199254740993, 0.1, 0.1],\n"
              "  [null, null, null]\n]}\n"}}) {
        EXPECT_EQ(Stored(table, format), text);
        EXPECT_EQ(Streamed(table, format), text);
    }
    EXPECT_EQ(Streamed({0, 0, {}}, OutputFormat::kJson),
              "{\"columns\": 0, \"rows\": 0, \"cells\": []}\n");
    EXPECT_EQ(Stored({2, 2, {}}, OutputFormat::kJson),
              "{\"columns\": 2, \"rows\": 2, \"cells\": [\n  [null, null],\n  [null, null]\n]}\n");

    // The stored sheet grows, drops, and keeps rewritten texts, also one bigger than a block.
    const std::string big(3 << 20, 'x');
    const Table messy{1,
                      1,
                      {{1, 3, "third"},
                       {1, 1, "first"},
                       {2, 1, "long enough text"},
                       {3, 2, "wide"},
                       {0, 1, 1},
                       {1, -4, 1},
                       {Sheet::kMaxColumns + 1, 1, 1},
                       {INT_MAX, INT_MAX, "far"},
                       {2, 1, "short"},
                       {1, 2, 2.5},
                       {1, 2, "a, b"},
                       {1, 3, "a third text, longer"},
                       {3, 3, big.c_str()}}};
    EXPECT_EQ(Stored(messy, OutputFormat::kCsv),
              "first,short,\n\"a, b\",,wide\n\"a third text, longer\",," + big + "\n");
    SheetSink counting;
    Deliver(counting, messy, false);
    EXPECT_EQ(counting.GetSheet().DroppedCells(), 4);
}

// Random tables, mostly delivered row by row, print the same streamed and stored; the
// stream falls back only for a cell out of order or beyond the size already printed.
TEST(StreamSink, PrintsWhatTheStoredSheetPrintsOrFallsBack) {
    const char* const texts[] = {
        "1.5", "1.50", "-0",        "0",     "007",           ".5",
        "1e5", "1000", "10000000",  "0.001", "0.0001",        "123456789012345678",
        "",    "a,b",  "say \"x\"", "x\ty",  "M\xC3\xBCller", "\xFF",
        "inf", " 1",   "+1"};
    std::vector<Value> values = {7, -1000, 9007199254740993LL, 0.1, 1e300, 5e-324, 0.1f, -kInf};
    values.insert(values.end(), std::begin(texts), std::end(texts));
    std::mt19937 random(5);
    auto value = [&] { return values[random() % values.size()]; };
    int fellBack = 0;
    for (int round = 0; round < 400; ++round) {
        Table table{1 + static_cast<int>(random() % 5), static_cast<int>(random() % 6), {}};
        const int lastRow = table.rows + static_cast<int>(random() % 3);
        for (int row = 1; row <= lastRow; ++row) {
            for (int col = 1; col <= table.cols; ++col) {
                if (random() % 4 != 0)
                    table.cells.push_back({col, row, value()});
            }
        }
        const bool disturbed = random() % 4 == 0;
        if (disturbed) {  // one more cell anywhere, also outside the sheet
            const int col = static_cast<int>(random() % (table.cols + 2));
            table.cells.push_back({col, static_cast<int>(random() % (lastRow + 2)), value()});
        }
        for (OutputFormat format : {OutputFormat::kCsv, OutputFormat::kTsv, OutputFormat::kJson}) {
            for (bool typed : {false, true}) {
                const std::string streamed = Streamed(table, format, typed);
                if (streamed != "fell back") {
                    ASSERT_EQ(streamed, Stored(table, format, typed)) << round;
                } else {
                    ++fellBack;
                    EXPECT_TRUE(disturbed ||
                                (format == OutputFormat::kJson && lastRow > table.rows));
                }
            }
        }
    }
    EXPECT_GT(fellBack, 100);

    // A new size is honoured until the first row goes out.
    std::ostringstream out;
    OutputBuffer buffer(out);
    StreamSink sink(OutputFormat::kCsv, buffer);
    sink.SetDataSize(1, 1);
    sink.SetDataSize(2, 1);
    sink.Set(2, 1, 5);
    EXPECT_FALSE(sink.FellBack());
    sink.SetDataSize(2, 9);
    EXPECT_TRUE(sink.FellBack());

    // Whole columns, before any row went out, are kept rather than read again.
    std::ostringstream columns;
    OutputBuffer columnBuffer(columns);
    StreamSink columnSink(OutputFormat::kCsv, columnBuffer);
    const double first[] = {1, 2, 3}, second[] = {4, kNaN, 6};
    columnSink.SetDataSize(2, 3);
    columnSink.SetNumbersDown(1, 1, first, 3);
    columnSink.SetNumbersDown(2, 1, second, 3);
    EXPECT_FALSE(columnSink.FellBack());
    ASSERT_NE(columnSink.Kept(), nullptr);
    WriteSheet(*columnSink.Kept(), OutputFormat::kCsv, columnBuffer);
    columnBuffer.Finish();
    EXPECT_EQ(columns.str(), "1,4\n2,\n3,6\n");
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
                v = random() % 5 == 0 ? kNaN : static_cast<double>(random() % 1000) / 8;
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
