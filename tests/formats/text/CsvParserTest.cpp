// The CSV state machine on text held in memory: quoting, line ends, end-of-input rules,
// delivery limits, and agreement of the byte-scanning and code-point routes.
#include "formats/text/CsvParser.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "platform/Exception.h"
#include "tests/support/RecordingSink.h"

namespace {

using Grid = std::vector<std::vector<std::string>>;

// Rebuilds the rows from the delivered cells; rows without cells stay empty.
Grid ToGrid(const zmtest::RecordingSink& sink) {
    Grid grid(sink.rows);
    for (const auto& [key, cell] : sink.cells) {
        auto& row = grid.at(key.first - 1);
        if (row.size() < static_cast<size_t>(key.second))
            row.resize(key.second);
        row[key.second - 1] = cell.text;
    }
    return grid;
}

Grid Parse(const std::string& text, const CsvDialect& dialect = CsvDialect::Pelmora(),
           bool byCodePoint = false) {
    CsvParser parser(dialect, text, 2147483647, byCodePoint);
    zmtest::RecordingSink sink;
    parser.GetData(sink, 2147483647, 2147483647);
    return ToGrid(sink);
}

TEST(CsvParser, QuotingRules) {
    // A doubled quote inside quotes is one quote.
    EXPECT_EQ(Parse("\"a\"\"b\"\n"), (Grid{{"a\"b"}}));
    // A quoted CR LF and a quoted LF both become one line feed.
    EXPECT_EQ(Parse("\"x\r\ny\",\"p\nq\"\r\n"), (Grid{{"x\ny", "p\nq"}}));
    // A quoted lone CR becomes a line feed too.
    EXPECT_EQ(Parse("\"x\ry\"\n"), (Grid{{"x\ny"}}));
    // A quote in the middle of an unquoted field is an ordinary character.
    EXPECT_EQ(Parse("ab\"c,d\n"), (Grid{{"ab\"c", "d"}}));
    // Text after a closing quote joins the field.
    EXPECT_EQ(Parse("\"ab\"cd,e\n"), (Grid{{"abcd", "e"}}));
    // Delimiters inside quotes are text.
    EXPECT_EQ(Parse("\"a,b\",c\n"), (Grid{{"a,b", "c"}}));
    // Without doubleQuote a closing quote returns to an unquoted field.
    CsvDialect plain = CsvDialect::Pelmora();
    plain.doubleQuote = 0;
    EXPECT_EQ(Parse("\"a\"\"b\",c\n", plain), (Grid{{"a\"b\"", "c"}}));
    // With quoting off the quote character is ordinary.
    CsvDialect noQuote = CsvDialect::Pelmora();
    noQuote.quoting = false;
    EXPECT_EQ(Parse("\"a,b\"\n", noQuote), (Grid{{"\"a", "b\""}}));
}

TEST(CsvParser, BlanksAndEmptyFields) {
    // Blanks at the start of a field are dropped, blanks at its end kept.
    EXPECT_EQ(Parse("  a  ,   \"b\" \n"), (Grid{{"a  ", "b "}}));
    // The plain spreadsheet dialect keeps leading blanks.
    EXPECT_EQ(Parse("  a\n", CsvDialect::Excel()), (Grid{{"  a"}}));
    // A trailing delimiter makes a trailing empty field; so do adjacent delimiters.
    EXPECT_EQ(Parse("a,\n,,b\n"), (Grid{{"a", ""}, {"", "", "b"}}));
}

TEST(CsvParser, LineEndsAndRows) {
    // A blank line in the middle is an empty row that still counts.
    EXPECT_EQ(Parse("a\n\nb\n"), (Grid{{"a"}, {}, {"b"}}));
    EXPECT_EQ(Parse("a\r\n\r\nb\r\n"), (Grid{{"a"}, {}, {"b"}}));
    // A last line without a line end is a row; a final line end adds no row.
    EXPECT_EQ(Parse("a\nb"), (Grid{{"a"}, {"b"}}));
    EXPECT_EQ(Parse("a\nb\n"), (Grid{{"a"}, {"b"}}));
    // Carriage returns alone end lines as well.
    EXPECT_EQ(Parse("a,b\rc,d\r"), (Grid{{"a", "b"}, {"c", "d"}}));
    // An empty line at the very end still makes an empty row.
    EXPECT_EQ(Parse("a\n\n"), (Grid{{"a"}, {}}));
    // A zero byte is an ordinary character of the field (no escape character).
    EXPECT_EQ(Parse(std::string("a\0b,c\n", 6)), (Grid{{"a", "c"}}));
}

TEST(CsvParser, UnterminatedQuoteDropsTheLastRow) {
    EXPECT_EQ(Parse("a,b\nc,\"d\n"), (Grid{{"a", "b"}}));
    EXPECT_EQ(Parse("a\n\"open\r\nstill"), (Grid{{"a"}}));
    // A closing quote right at the end finishes the field normally.
    EXPECT_EQ(Parse("a\n\"x\""), (Grid{{"a"}, {"x"}}));
}

TEST(CsvParser, EscapeCharacter) {
    CsvDialect d = CsvDialect::Pelmora();
    d.escapeChar = U'\\';
    EXPECT_EQ(Parse("a\\,b,c\n", d), (Grid{{"a,b", "c"}}));
    EXPECT_EQ(Parse("\"q\\\"x\",y\n", d), (Grid{{"q\"x", "y"}}));
    // An escaped line feed stays in the field.
    EXPECT_EQ(Parse("a\\\nb\n", d), (Grid{{"a\nb"}}));
    // A trailing escape loses its row.
    EXPECT_EQ(Parse("k\nab\\", d), (Grid{{"k"}}));
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

TEST(CsvParser, NonAsciiDelimiterAndText) {
    CsvDialect d = CsvDialect::Pelmora();
    d.delimiter = 0xA7;  // section sign
    EXPECT_EQ(Parse("\xC3\xA9t\xC3\xA9\xC2\xA7\"\xE2\x82\xAC\"\n", d),
              (Grid{{"\xC3\xA9t\xC3\xA9", "\xE2\x82\xAC"}}));
}

TEST(CsvParser, LimitsOnParsingAndDelivery) {
    // Parsing stops once maxRows rows are finished.
    CsvParser limited(CsvDialect::Pelmora(), "a\nb,c,d\ne\n", 2);
    EXPECT_EQ(limited.RowCount(), 2u);
    EXPECT_EQ(limited.LongestRow(), 3u);

    CsvParser parser(CsvDialect::Pelmora(), "a,b,c\nd\ne,f\n", 100);
    zmtest::RecordingSink sink;
    parser.GetData(sink, 2, 2);
    EXPECT_EQ(sink.cols, 2);
    EXPECT_EQ(sink.rows, 2);
    EXPECT_EQ(ToGrid(sink), (Grid{{"a", "b"}, {"d"}}));

    // No rows: the sink is not even sized.
    CsvParser empty(CsvDialect::Pelmora(), "\"never closed", 100);
    zmtest::RecordingSink none;
    empty.GetData(none, 100, 100);
    EXPECT_EQ(none.sizeCalls, 0);
    parser.GetData(none, 5, 0);
    EXPECT_EQ(none.sizeCalls, 0);
}

// The byte-scanning route must give exactly what the character-by-character table gives.
TEST(CsvParser, ByteScanningAgreesWithTheCodePointTable) {
    const std::vector<std::string> alphabet = {
        "a",  "1", ",",  ";",        "\"",           "\r",
        "\n", " ", "\\", "\xC3\xA9", "\xE2\x82\xAC", std::string(1, '\0')};
    std::vector<CsvDialect> dialects = {CsvDialect::Excel(), CsvDialect::Pelmora()};
    CsvDialect escaped = CsvDialect::Pelmora();
    escaped.escapeChar = U'\\';
    escaped.delimiter = U';';
    dialects.push_back(escaped);
    CsvDialect single = CsvDialect::Excel();
    single.doubleQuote = 0;
    dialects.push_back(single);

    std::mt19937 random(12345);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        const int length = static_cast<int>(random() % 40);
        for (int i = 0; i < length; ++i)
            text += alphabet[random() % alphabet.size()];
        for (const CsvDialect& d : dialects) {
            ASSERT_EQ(Parse(text, d, false), Parse(text, d, true)) << "input: " << text;
        }
    }
}

}  // namespace
