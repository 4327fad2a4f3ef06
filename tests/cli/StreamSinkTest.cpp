// The rows the read command prints while they are read, against the stored sheet in
// each layout.
#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <random>
#include <sstream>
#include <type_traits>
#include <variant>

#include "cli/StreamSink.h"

using namespace zmcli;
using namespace zmhost;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

// Numbers delivered at once across a row, from the cell's column on.
struct Across {
    std::vector<double> numbers;
    bool asFloats = false;  // delivered as the sink's own 32-bit numbers
};
using Value = std::variant<int, long long, double, float, const char*, Across>;
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
        std::visit(
            [&](const auto& v) {
                if constexpr (std::is_same_v<std::decay_t<decltype(v)>, Across>) {
                    const std::vector<float> floats(v.numbers.begin(), v.numbers.end());
                    if (v.asFloats)
                        sink.SetNumbersAcross(d.col, d.row, floats.data(), floats.size());
                    else
                        sink.SetNumbersAcross(d.col, d.row, v.numbers.data(), v.numbers.size());
                } else
                    sink.Set(d.col, d.row, v);
            },
            d.value);
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
        // Some rows end in a run of numbers, some of them missing; a run now and then
        // reaches past the table's width.
        bool disturbed = false;
        for (int row = 1; row <= lastRow; ++row) {
            const int runFrom =
                random() % 3 == 0 ? 1 + static_cast<int>(random() % table.cols) : table.cols + 1;
            for (int col = 1; col < runFrom; ++col) {
                if (random() % 4 != 0)
                    table.cells.push_back({col, row, value()});
            }
            if (runFrom > table.cols)
                continue;
            Across run;
            run.asFloats = random() % 2 == 0;
            const bool past = random() % 8 == 0;
            disturbed = disturbed || past;
            while (static_cast<int>(run.numbers.size()) < table.cols - runFrom + 1 + past) {
                const double choices[] = {kNaN, -kInf, 0.1, 1e6, -4158, 1e300, 5e-324};
                run.numbers.push_back(choices[random() % std::size(choices)]);
            }
            table.cells.push_back({runFrom, row, run});
        }
        disturbed = random() % 4 == 0 || disturbed;
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
