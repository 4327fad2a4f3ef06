// Number printing, field quoting, the CSV/TSV/JSON layouts, and the streamed rows against
// the stored sheet.
#include <gtest/gtest.h>

#include <charconv>
#include <climits>
#include <limits>
#include <random>
#include <sstream>
#include <variant>

#include "cli/NumberFormat.h"
#include "cli/SheetWriters.h"
#include "cli/StreamSink.h"

using namespace zmcli;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr OutputFormat kFormats[] = {OutputFormat::kCsv, OutputFormat::kTsv, OutputFormat::kJson};

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

// The streamed output, or "fell back".
std::string Streamed(const Table& table, OutputFormat format, bool typed = false) {
    std::ostringstream out;
    OutputBuffer buffer(out);
    StreamSink sink(format, buffer);
    Deliver(sink, table, typed);
    if (sink.FellBack())
        return "fell back";
    sink.Finish();
    buffer.Finish();
    return out.str();
}

template <typename T>
T ParseBack(const std::string& text) {
    T value{};
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

}  // namespace

TEST(NumberFormat, ShortestExactTexts) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {FormatFloat(0.1f), "0.1"},
        {FormatFloat(1.0f / 3.0f), "0.33333334"},
        {FormatFloat(16777216.0f), "16777216"},
        {FormatFloat(-0.0f), "-0"},
        {FormatDouble(0.1), "0.1"},
        {FormatDouble(1.0 / 3.0), "0.3333333333333333"},
        {FormatDouble(1234567.5), "1234567.5"},
        {FormatInteger(LLONG_MIN), "-9223372036854775808"},
        {FormatInteger(9007199254740993LL), "9007199254740993"},
        {FormatDouble(kNaN), "NaN"},
        {FormatDouble(-kNaN), "NaN"},
        {FormatFloat(static_cast<float>(kInf)), "inf"},
        {FormatDouble(-kInf), "-inf"},
    };
    for (const auto& [printed, expected] : cases)
        EXPECT_EQ(printed, expected);
    for (float v : {0.1f, 1e-38f, 3.4028235e38f, 1.17549435e-38f, 1e-45f, 123456.789f})
        EXPECT_EQ(ParseBack<float>(FormatFloat(v)), v) << FormatFloat(v);
    for (double v : {0.1 + 0.2, 1e300, 5e-324, -2.5e-10, 9007199254740993.0})
        EXPECT_EQ(ParseBack<double>(FormatDouble(v)), v) << FormatDouble(v);
}

TEST(SheetWriters, TextFieldsInEachLayout) {
    using enum OutputFormat;
    const std::string fffd = "\xEF\xBF\xBD";
    const std::vector<std::tuple<OutputFormat, std::string, std::string>> cases = {
        {kCsv, "plain text", "plain text"},
        {kCsv, "", ""},
        {kCsv, "a,b", "\"a,b\""},
        {kCsv, "say \"hi\"", "\"say \"\"hi\"\"\""},
        {kCsv, "two\nlines", "\"two\nlines\""},
        {kCsv, "cr\r", "\"cr\r\""},
        {kCsv, "tab\tstays", "tab\tstays"},
        {kTsv, "a\tb\nc\rd\\e", "a\\tb\\nc\\rd\\\\e"},
        {kTsv, "a,\"b\"", "a,\"b\""},
        {kJson, "q\"b\\", "\"q\\\"b\\\\\""},
        {kJson, "\n\r\t\b\f", "\"\\n\\r\\t\\b\\f\""},
        {kJson, std::string("\x01\x1f\x7f\0", 4), "\"\\u0001\\u001f\\u007f\\u0000\""},
        // Valid two-, three- and four-byte sequences pass; each byte of a broken one
        // (lone continuation, overlong, surrogate, cut short, past U+10FFFF) is replaced.
        {kJson, "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\""},
        {kJson, "\x80", "\"" + fffd + "\""},
        {kJson, "\xC0\xAF", "\"" + fffd + fffd + "\""},
        {kJson, "\xED\xA0\x80", "\"" + fffd + fffd + fffd + "\""},
        {kJson, "\xE2\x82", "\"" + fffd + fffd + "\""},
        {kJson, "\xF4\x90\x80\x80x", "\"" + fffd + fffd + fffd + fffd + "x\""},
    };
    for (const auto& [format, text, expected] : cases)
        EXPECT_EQ(FieldText(format, text), expected) << text;
}

// Precision of each overload, texts, NaN/inf, missing cells, and the growth, drops and
// rewrites of the stored sheet; the streamed rows must print the same wherever they can.
TEST(SheetWriters, WholeSheetsStoredAndStreamed) {
    const Table table{3,
                      3,
                      {{1, 1, "name"},
                       {2, 1, "a,b"},
                       {3, 1, "x\ty"},
                       {1, 2, 7},
                       {2, 2, 0.1},
                       {3, 2, 0.1f},
                       {1, 3, kNaN},
                       {3, 3, static_cast<float>(-kInf)}}};
    const std::vector<std::pair<OutputFormat, std::string>> expected = {
        {OutputFormat::kCsv, "name,\"a,b\",x\ty\n7,0.1,0.1\nNaN,,-inf\n"},
        {OutputFormat::kTsv, "name\ta,b\tx\\ty\n7\t0.1\t0.1\nNaN\t\t-inf\n"},
        {OutputFormat::kJson,
         "{\"columns\": 3, \"rows\": 3, \"cells\": [\n"
         "  [\"name\", \"a,b\", \"x\\ty\"],\n"
         "  [7, 0.1, 0.1],\n"
         "  [null, null, null]\n"
         "]}\n"}};
    for (const auto& [format, text] : expected) {
        EXPECT_EQ(Stored(table, format), text);
        EXPECT_EQ(Streamed(table, format), text);
    }
    // Empty, and announced but never filled.
    EXPECT_EQ(Streamed({0, 0, {}}, OutputFormat::kJson),
              "{\"columns\": 0, \"rows\": 0, \"cells\": []}\n");
    EXPECT_EQ(Streamed({0, 0, {}}, OutputFormat::kCsv), "");
    EXPECT_EQ(Streamed({2, 2, {}}, OutputFormat::kJson),
              "{\"columns\": 2, \"rows\": 2, \"cells\": [\n  [null, null],\n  [null, null]\n]}\n");

    const Table wide{
        4,
        1,
        {{1, 1, 0.1}, {2, 1, 9007199254740993LL}, {3, 1, 2147483647}, {4, 1, 3.14159265358979}}};
    EXPECT_EQ(Streamed(wide, OutputFormat::kCsv),
              "0.1,9007199254740993,2147483647,3.14159265358979\n");

    // Out of order, beyond the announced size, dropped, rewritten, and a text bigger
    // than one storage block.
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
                       {1, 2, "a second text longer than the first"},
                       {1, 3, "a third text, longer"},
                       {3, 3, big.c_str()},
                       {2, 3, static_cast<const char*>(nullptr)}}};
    EXPECT_EQ(
        Stored(messy, OutputFormat::kCsv),
        "first,short,\na second text longer than the first,,wide\n\"a third text, longer\",," +
            big + "\n");
    EXPECT_EQ(Streamed(messy, OutputFormat::kCsv), "fell back");
    SheetSink counting;
    Deliver(counting, messy, false);
    EXPECT_EQ(counting.GetSheet().DroppedCells(), 4);
}

TEST(StreamSink, FallsBackExactlyWhenRowsCannotBePrintedInOrder) {
    using enum OutputFormat;
    const std::vector<std::tuple<Table, OutputFormat, bool>> cases = {
        {{2, 2, {{1, 2, 1}, {1, 1, 1}}}, kCsv, true},               // an earlier row
        {{2, 2, {{2, 1, 1}, {1, 1, 1}}}, kCsv, true},               // an earlier column
        {{2, 2, {{1, 1, 1}, {1, 1, 2}}}, kTsv, true},               // the same cell again
        {{2, 2, {{3, 1, 1}}}, kCsv, true},                          // wider than announced
        {{2, 2, {{1, 3, 1}}}, kJson, true},                         // JSON head has the rows
        {{2, 2, {{1, 3, 1}}}, kCsv, false},                         // CSV can grow down
        {{2, 2, {{1, 2, 1}, {0, 1, 1}, {1, 0, 1}}}, kJson, false},  // dropped cells
        {{2, 2, {{1, 2, "x"}, {1, 1, ""}}}, kCsv, false},           // typed empty: no cell
    };
    for (const auto& [table, format, fallsBack] : cases) {
        const std::string streamed = Streamed(table, format, true);
        EXPECT_EQ(streamed == "fell back", fallsBack) << streamed;
        if (!fallsBack) {
            EXPECT_EQ(streamed, Stored(table, format, true));
        }
    }
    // A new size after rows went out cannot be honoured; before, it can.
    std::ostringstream out;
    OutputBuffer buffer(out);
    StreamSink sink(kCsv, buffer);
    sink.SetDataSize(1, 1);
    sink.SetDataSize(2, 1);
    sink.Set(2, 1, 5);
    EXPECT_FALSE(sink.FellBack());
    sink.SetDataSize(2, 9);
    EXPECT_TRUE(sink.FellBack());
}

// Random tables delivered row by row print the same streamed and stored, typed or not.
TEST(StreamSink, PrintsWhatTheStoredSheetPrints) {
    const char* const texts[] = {
        "1.5",  "1.50",  "-0",        "0",     "007",           ".5",     "1e5",
        "1000", "1e+05", "10000000",  "0.001", "0.0001",        "-12.25", "123456789012345678",
        "",     "a,b",   "say \"x\"", "x\ty",  "M\xC3\xBCller", "\xFF",   "inf",
        "NaN",  " 1",    "+1"};
    std::mt19937 random(5);
    for (int round = 0; round < 300; ++round) {
        Table table{1 + static_cast<int>(random() % 5), static_cast<int>(random() % 6), {}};
        const int lastRow = table.rows + static_cast<int>(random() % 3);
        for (int row = 1; row <= lastRow; ++row) {
            for (int col = 1; col <= table.cols; ++col) {
                switch (random() % 7) {
                    case 0:
                        break;  // missing
                    case 1:
                        table.cells.push_back({col, row, static_cast<int>(random() % 2000) - 1000});
                        break;
                    case 2:
                        table.cells.push_back(
                            {col, row, std::ldexp(double(random()), -int(random() % 40))});
                        break;
                    case 3:
                        table.cells.push_back(
                            {col, row, random() % 9 ? float(random()) / 7 : float(kNaN)});
                        break;
                    default:
                        table.cells.push_back({col, row, texts[random() % std::size(texts)]});
                }
            }
        }
        for (OutputFormat format : kFormats) {
            for (bool typed : {false, true}) {
                const std::string streamed = Streamed(table, format, typed);
                if (streamed == "fell back") {
                    EXPECT_TRUE(format == OutputFormat::kJson && lastRow > table.rows);
                    continue;
                }
                ASSERT_EQ(streamed, Stored(table, format, typed)) << round;
            }
        }
    }
}
