// Number printing, field quoting and the CSV/TSV/JSON layout of whole sheets.
#include <gtest/gtest.h>

#include <charconv>
#include <climits>
#include <cmath>
#include <limits>
#include <sstream>

#include "cli/NumberFormat.h"
#include "cli/SheetSink.h"
#include "cli/SheetWriters.h"

using namespace zmcli;

namespace {

std::string Written(const Sheet& sheet, OutputFormat format) {
    std::ostringstream out;
    WriteSheet(sheet, format, out);
    return out.str();
}

template <typename T>
T ParseBack(const std::string& text) {
    T value{};
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

}  // namespace

TEST(NumberFormat, FloatsPrintAsTheShortestTextOfTheFloat) {
    EXPECT_EQ(FormatFloat(0.1f), "0.1");
    EXPECT_EQ(FormatFloat(1.0f / 3.0f), "0.33333334");
    EXPECT_EQ(FormatFloat(16777216.0f), "16777216");
    EXPECT_EQ(FormatFloat(-0.0f), "-0");
    for (float v : {0.1f, 1e-38f, 3.4028235e38f, 1.17549435e-38f, 1e-45f, 123456.789f}) {
        EXPECT_EQ(ParseBack<float>(FormatFloat(v)), v) << FormatFloat(v);
    }
}

TEST(NumberFormat, DoublesKeepFullPrecisionAndIntegersStayExact) {
    EXPECT_EQ(FormatDouble(0.1), "0.1");
    EXPECT_EQ(FormatDouble(1.0 / 3.0), "0.3333333333333333");
    EXPECT_EQ(FormatDouble(1234567.5), "1234567.5");
    for (double v : {0.1 + 0.2, 1e300, 5e-324, -2.5e-10, 9007199254740993.0}) {
        EXPECT_EQ(ParseBack<double>(FormatDouble(v)), v) << FormatDouble(v);
    }
    EXPECT_EQ(FormatInteger(LLONG_MIN), "-9223372036854775808");
    EXPECT_EQ(FormatInteger(9007199254740993LL), "9007199254740993");
}

TEST(NumberFormat, NonFiniteValuesHaveFixedSpellings) {
    EXPECT_EQ(FormatDouble(std::numeric_limits<double>::quiet_NaN()), "NaN");
    EXPECT_EQ(FormatDouble(-std::numeric_limits<double>::quiet_NaN()), "NaN");
    EXPECT_EQ(FormatFloat(std::numeric_limits<float>::infinity()), "inf");
    EXPECT_EQ(FormatDouble(-std::numeric_limits<double>::infinity()), "-inf");
}

TEST(SheetWriters, CsvQuotesOnlyFieldsThatNeedIt) {
    EXPECT_EQ(CsvField("plain text"), "plain text");
    EXPECT_EQ(CsvField(""), "");
    EXPECT_EQ(CsvField("a,b"), "\"a,b\"");
    EXPECT_EQ(CsvField("say \"hi\""), "\"say \"\"hi\"\"\"");
    EXPECT_EQ(CsvField("two\nlines"), "\"two\nlines\"");
    EXPECT_EQ(CsvField("cr\r"), "\"cr\r\"");
    EXPECT_EQ(CsvField("tab\tstays"), "tab\tstays");
}

TEST(SheetWriters, TsvEscapesSoEveryRowStaysOneLine) {
    EXPECT_EQ(TsvField("a\tb\nc\rd\\e"), "a\\tb\\nc\\rd\\\\e");
    EXPECT_EQ(TsvField("a,\"b\""), "a,\"b\"");
}

TEST(SheetWriters, JsonStringsEscapeControlsAndRepairInvalidUtf8) {
    EXPECT_EQ(JsonString("q\"b\\"), "\"q\\\"b\\\\\"");
    EXPECT_EQ(JsonString("\n\r\t\b\f"), "\"\\n\\r\\t\\b\\f\"");
    EXPECT_EQ(JsonString(std::string("\x01\x1f\x7f\0", 4)), "\"\\u0001\\u001f\\u007f\\u0000\"");
    // Valid two-, three- and four-byte sequences pass through unchanged.
    EXPECT_EQ(JsonString("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"),
              "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"");
    const std::string fffd = "\xEF\xBF\xBD";
    EXPECT_EQ(JsonString("\x80"), "\"" + fffd + "\"");                        // lone continuation
    EXPECT_EQ(JsonString("\xC0\xAF"), "\"" + fffd + fffd + "\"");             // overlong
    EXPECT_EQ(JsonString("\xED\xA0\x80"), "\"" + fffd + fffd + fffd + "\"");  // surrogate
    EXPECT_EQ(JsonString("\xE2\x82"), "\"" + fffd + fffd + "\"");  // cut short at the end
    EXPECT_EQ(JsonString("\xF4\x90\x80\x80x"), "\"" + fffd + fffd + fffd + fffd + "x\"");
}

TEST(SheetWriters, WholeSheetsInEachLayout) {
    SheetSink sink;
    sink.SetDataSize(3, 3);
    sink.Set(1, 1, "name");
    sink.Set(2, 1, "a,b");
    sink.Set(3, 1, "x\ty");
    sink.Set(1, 2, 7);
    sink.Set(2, 2, 0.1);
    sink.Set(3, 2, 0.1f);
    sink.Set(1, 3, std::numeric_limits<double>::quiet_NaN());
    sink.Set(3, 3, -std::numeric_limits<float>::infinity());
    const Sheet& sheet = sink.GetSheet();

    EXPECT_EQ(Written(sheet, OutputFormat::kCsv), "name,\"a,b\",x\ty\n7,0.1,0.1\nNaN,,-inf\n");
    EXPECT_EQ(Written(sheet, OutputFormat::kTsv), "name\ta,b\tx\\ty\n7\t0.1\t0.1\nNaN\t\t-inf\n");
    EXPECT_EQ(Written(sheet, OutputFormat::kJson),
              "{\"columns\": 3, \"rows\": 3, \"cells\": [\n"
              "  [\"name\", \"a,b\", \"x\\ty\"],\n"
              "  [7, 0.1, 0.1],\n"
              "  [null, null, null]\n"
              "]}\n");
}

TEST(SheetWriters, EmptyAndUnfilledSheets) {
    Sheet empty;
    EXPECT_EQ(Written(empty, OutputFormat::kJson),
              "{\"columns\": 0, \"rows\": 0, \"cells\": []}\n");
    EXPECT_EQ(Written(empty, OutputFormat::kCsv), "");

    // Announced but never filled: every cell prints as missing.
    Sheet announced;
    announced.Announce(2, 2);
    EXPECT_EQ(Written(announced, OutputFormat::kCsv), ",\n,\n");
    EXPECT_EQ(Written(announced, OutputFormat::kJson),
              "{\"columns\": 2, \"rows\": 2, \"cells\": [\n  [null, null],\n  [null, null]\n]}\n");
}

TEST(SheetSink, EveryOverloadKeepsItsOwnPrecision) {
    SheetSink sink;
    sink.SetDataSize(4, 1);
    sink.Set(1, 1, 0.1);                 // would be 0.100000001 through a float
    sink.Set(2, 1, 9007199254740993LL);  // not representable as a double
    sink.Set(3, 1, 2147483647);
    sink.Set(4, 1, 3.14159265358979);
    EXPECT_EQ(Written(sink.GetSheet(), OutputFormat::kCsv),
              "0.1,9007199254740993,2147483647,3.14159265358979\n");
}

TEST(SheetSink, CellsOutsideTheAnnouncedSizeGrowOrAreDropped) {
    SheetSink sink;
    sink.SetDataSize(1, 1);
    sink.Set(1, 1, "a");
    sink.Set(3, 2, 5);  // beyond the announced size: the sheet grows
    sink.Set(0, 1, 1);
    sink.Set(1, -4, 1);
    sink.Set(Sheet::kMaxColumns + 1, 1, 1);
    sink.Set(INT_MAX, INT_MAX, "far away");
    sink.Set(2, 1, static_cast<const char*>(nullptr));
    EXPECT_EQ(sink.GetSheet().DroppedCells(), 4);
    EXPECT_EQ(Written(sink.GetSheet(), OutputFormat::kCsv), "a,,\n,,5\n");
    // A text rewritten with a number and back stays consistent.
    sink.Set(1, 1, 2.5);
    sink.Set(1, 1, "b");
    EXPECT_EQ(Written(sink.GetSheet(), OutputFormat::kCsv), "b,,\n,,5\n");
}

TEST(SheetSink, TextsAndRowsSurviveRewritesAndAnyOrder) {
    SheetSink sink;
    // Rows out of order, and a row wider than the rows before it.
    sink.Set(1, 3, "third");
    sink.Set(1, 1, "first");
    sink.Set(2, 1, "long enough text");
    sink.Set(1, 2, "second");
    sink.Set(3, 2, "wide");
    // Rewrites: shorter (in place), longer (stored anew), empty.
    sink.Set(2, 1, "short");
    sink.Set(1, 2, "a second text longer than the first");
    sink.Set(1, 3, "");
    // A text bigger than one storage block.
    const std::string big(3 << 20, 'x');
    sink.Set(3, 3, big.c_str());
    const Sheet& sheet = sink.GetSheet();
    EXPECT_EQ(sheet.TextOf(*sheet.At(2, 1)), "short");
    EXPECT_EQ(sheet.TextOf(*sheet.At(3, 3)).size(), big.size());
    // Lookups in order and out of order agree.
    EXPECT_EQ(sheet.TextOf(*sheet.At(3, 2)), "wide");
    EXPECT_EQ(sheet.TextOf(*sheet.At(1, 1)), "first");
    EXPECT_EQ(sheet.At(2, 3), nullptr);
    EXPECT_EQ(Written(sheet, OutputFormat::kCsv),
              "first,short,\na second text longer than the first,,wide\n,," + big + "\n");
}
