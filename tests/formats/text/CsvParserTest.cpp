// The CSV state machine on text held in memory: quoting, blanks, line ends, end-of-input
// rules, delivery limits, and agreement of the byte-scanning and code-point routes.
#include "formats/text/CsvParser.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <string>
#include <vector>

#include "platform/Exception.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Grid;

Grid Parse(const std::string& text, const CsvDialect& dialect = CsvDialect::Pelmora(),
           bool byCodePoint = false) {
    CsvParser parser(dialect, text, INT_MAX, byCodePoint);
    zmtest::RecordingSink sink;
    parser.GetData(sink, INT_MAX, INT_MAX);
    return zmtest::ToGrid(sink);
}

CsvDialect Tweaked(CsvDialect dialect, void (*tweak)(CsvDialect&)) {
    tweak(dialect);
    return dialect;
}

const CsvDialect kPelmora = CsvDialect::Pelmora();
const CsvDialect kNoDoubling = Tweaked(kPelmora, [](CsvDialect& d) { d.doubleQuote = 0; });
const CsvDialect kNoQuoting = Tweaked(kPelmora, [](CsvDialect& d) { d.quoting = false; });
const CsvDialect kEscape = Tweaked(kPelmora, [](CsvDialect& d) { d.escapeChar = U'\\'; });
const CsvDialect kSection = Tweaked(kPelmora, [](CsvDialect& d) { d.delimiter = 0xA7; });

struct Case {
    const char* what;
    std::string input;
    Grid expected;
    CsvDialect dialect = kPelmora;
};

TEST(CsvParser, StateMachine) {
    const Case cases[] = {
        {"doubled quote", "\"a\"\"b\"\n", {{"a\"b"}}},
        {"quoted CR LF and LF", "\"x\r\ny\",\"p\nq\"\r\n", {{"x\ny", "p\nq"}}},
        {"quoted lone CR", "\"x\ry\"\n", {{"x\ny"}}},
        {"quote inside an unquoted field", "ab\"c,d\n", {{"ab\"c", "d"}}},
        {"text after a closing quote joins", "\"ab\"cd,e\n", {{"abcd", "e"}}},
        {"delimiter inside quotes", "\"a,b\",c\n", {{"a,b", "c"}}},
        {"closing quote without doubling", "\"a\"\"b\",c\n", {{"a\"b\"", "c"}}, kNoDoubling},
        {"quoting off", "\"a,b\"\n", {{"\"a", "b\""}}, kNoQuoting},
        {"leading blanks dropped", "  a  ,   \"b\" \n", {{"a  ", "b "}}},
        {"leading blanks kept", "  a\n", {{"  a"}}, CsvDialect::Excel()},
        {"empty fields", "a,\n,,b\n", {{"a", ""}, {"", "", "b"}}},
        {"blank line is a row", "a\n\nb\n", {{"a"}, {}, {"b"}}},
        {"blank CR LF line", "a\r\n\r\nb\r\n", {{"a"}, {}, {"b"}}},
        {"last line without end", "a\nb", {{"a"}, {"b"}}},
        {"final line end adds no row", "a\nb\n", {{"a"}, {"b"}}},
        {"lone CR ends lines", "a,b\rc,d\r", {{"a", "b"}, {"c", "d"}}},
        {"empty line at the end", "a\n\n", {{"a"}, {}}},
        {"zero byte is a character", std::string("a\0b,c\n", 6), {{"a", "c"}}},
        {"unterminated quote drops the row", "a,b\nc,\"d\n", {{"a", "b"}}},
        {"unterminated over CR LF", "a\n\"open\r\nstill", {{"a"}}},
        {"closing quote at the end", "a\n\"x\"", {{"a"}, {"x"}}},
        {"escaped delimiter", "a\\,b,c\n", {{"a,b", "c"}}, kEscape},
        {"escaped quote", "\"q\\\"x\",y\n", {{"q\"x", "y"}}, kEscape},
        {"escaped line feed", "a\\\nb\n", {{"a\nb"}}, kEscape},
        {"trailing escape drops the row", "k\nab\\", {{"k"}}, kEscape},
        {"non-ASCII delimiter",
         "\xC3\xA9t\xC3\xA9\xC2\xA7\"\xE2\x82\xAC\"\n",
         {{"\xC3\xA9t\xC3\xA9", "\xE2\x82\xAC"}},
         kSection},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(Parse(c.input, c.dialect), c.expected);
    }
}

TEST(CsvParser, StrictDialectRejectsTextAfterClosingQuote) {
    CsvDialect d = CsvDialect::Excel();
    d.strict = true;
    EXPECT_EQ(Parse("\"a\",b\n", d), (Grid{{"a", "b"}}));
    try {
        Parse("\"a\"x\n", d);
        FAIL() << "no exception";
    } catch (const zm::Exception& e) {
        EXPECT_STREQ(e.what(), "',' expected after '\"'");
    }
    d.delimiter = U';';
    EXPECT_THROW(Parse("\"a\"\xC3\xA9\n", d), zm::Exception);
}

TEST(CsvParser, LimitsOnParsingAndDelivery) {
    // Parsing stops once maxRows rows are finished.
    CsvParser limited(kPelmora, "a\nb,c,d\ne\n", 2);
    EXPECT_EQ(limited.RowCount(), 2u);
    EXPECT_EQ(limited.LongestRow(), 3u);

    CsvParser parser(kPelmora, "a,b,c\nd\ne,f\n", 100);
    zmtest::RecordingSink sink;
    parser.GetData(sink, 2, 2);
    EXPECT_EQ(sink.cols, 2);
    EXPECT_EQ(sink.rows, 2);
    EXPECT_EQ(zmtest::ToGrid(sink), (Grid{{"a", "b"}, {"d"}}));

    // No rows: the sink is not even sized.
    CsvParser empty(kPelmora, "\"never closed", 100);
    zmtest::RecordingSink none;
    empty.GetData(none, 100, 100);
    parser.GetData(none, 5, 0);
    EXPECT_EQ(none.sizeCalls, 0);
}

// The byte-scanning route must give exactly what the character-by-character table gives.
TEST(CsvParser, ByteScanningAgreesWithTheCodePointTable) {
    const std::vector<std::string> alphabet = {
        "a",  "1", ",",  ";",        "\"",           "\r",
        "\n", " ", "\\", "\xC3\xA9", "\xE2\x82\xAC", std::string(1, '\0')};
    const CsvDialect dialects[] = {
        CsvDialect::Excel(), kPelmora, Tweaked(kEscape, [](CsvDialect& d) { d.delimiter = U';'; }),
        Tweaked(CsvDialect::Excel(), [](CsvDialect& d) { d.doubleQuote = 0; })};
    std::mt19937 random(12345);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        const int length = static_cast<int>(random() % 40);
        for (int i = 0; i < length; ++i)
            text += alphabet[random() % alphabet.size()];
        for (const CsvDialect& d : dialects)
            ASSERT_EQ(Parse(text, d, false), Parse(text, d, true)) << "input: " << text;
    }
}

}  // namespace
