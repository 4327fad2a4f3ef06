// The CSV state machine on text held in memory (quoting, line ends, end-of-input rules,
// delivery limits, agreement of the byte-scanning and code-point routes), and the CSV
// reader's options record and delimiter proposal; the reader's cells and size answers are
// checked with the CSV goldens.
#include "formats/text/CsvParser.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>

#include "formats/text/CsvFile.h"
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

// Rules the corpus and fixture goldens do not already show (doubled quotes, quoted line
// ends, blanks, empty fields, zero bytes are shown there).
TEST(CsvParser, StateMachine) {
    const Case cases[] = {
        {"quote inside an unquoted field", "ab\"c,d\n", {{"ab\"c", "d"}}},
        {"text after a closing quote joins", "\"ab\"cd,e\n", {{"abcd", "e"}}},
        {"closing quote without doubling", "\"a\"\"b\",c\n", {{"a\"b\"", "c"}}, kNoDoubling},
        {"quoting off", "\"a,b\"\n", {{"\"a", "b\""}}, kNoQuoting},
        {"leading blanks kept", "  a\n", {{"  a"}}, CsvDialect::Excel()},
        {"blank line is a row", "a\n\nb\n", {{"a"}, {}, {"b"}}},
        {"blank CR LF line", "a\r\n\r\nb\r\n", {{"a"}, {}, {"b"}}},
        {"last line without end", "a\nb", {{"a"}, {"b"}}},
        {"empty line at the end", "a\n\n", {{"a"}, {}}},
        {"unterminated quote drops the row", "a,b\nc,\"d\n", {{"a", "b"}}},
        {"unterminated over CR LF", "a\n\"open\r\nstill", {{"a"}}},
        {"closing quote at the end", "a\n\"x\"", {{"a"}, {"x"}}},
        {"escaped delimiter", "a\\,b,c\n", {{"a,b", "c"}}, kEscape},
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
    for (const char* text : {"\"a\"x\n", "\"a\"\xC3\xA9\n"}) {
        try {
            Parse(text, d);
            ADD_FAILURE() << "no exception for " << text;
        } catch (const zm::Exception& e) {
            EXPECT_STREQ(e.what(), "',' expected after '\"'");
        }
    }
}

TEST(CsvParser, LimitsOnParsingAndDelivery) {
    // Parsing stops once maxRows rows are finished.
    CsvParser limited(kPelmora, "a\nb,c,d\ne\n", 2);
    EXPECT_EQ(std::make_pair(limited.RowCount(), limited.LongestRow()), std::make_pair(2ul, 3ul));
    CsvParser parser(kPelmora, "a,b,c\nd\ne,f\n", 100);
    zmtest::RecordingSink sink, none;
    parser.GetData(sink, 2, 2);
    EXPECT_EQ(std::make_pair(sink.cols, sink.rows), std::make_pair(2, 2));
    EXPECT_EQ(zmtest::ToGrid(sink), (Grid{{"a", "b"}, {"d"}}));
    // No rows: the sink is not even sized.
    CsvParser(kPelmora, "\"never closed", 100).GetData(none, 100, 100);
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

TEST(CsvFile, OptionsRecord) {
    zmtest::ScratchDir dir;
    const auto path = dir.Write("b.csv", "1;2,3\n");
    auto read = [&](ZmImportOpenOptions* record) {
        CsvFile file;
        zmtest::RecordingSink sink;
        const int status = zmtest::ReadAll(file, path, sink, record);
        return status != 0 ? std::to_string(status) + " " + zmtest::Message(file) : sink.Text(1, 1);
    };
    // An empty record receives the defaults: a comma and the local code page.
    zmtest::OptionsRecord empty;
    EXPECT_EQ(read(&empty.options), "1;2");
    EXPECT_EQ(zmtest::StoredKeys(&empty.options), "Delimiter=,;Encoding=;");
    // Only the first byte of a longer delimiter is used.
    zmtest::OptionsRecord semicolon(";,", "utf8");
    EXPECT_EQ(read(&semicolon.options), "1");
    // A record without the encoding key is code 5; bytes that are no settings document at
    // all make the options handling throw, which is 768.
    zm::SettingsDocument noEncoding;
    noEncoding.SetString("Settings", "Delimiter", ";");
    zmtest::OptionsRecord incomplete(noEncoding);
    EXPECT_EQ(read(&incomplete.options), "5 Incorrect format of file open options");
    unsigned char junk[] = {200, 0, 0, 0, 'x'};
    ZmImportOpenOptions garbage{sizeof junk, junk};
    EXPECT_EQ(read(&garbage), "768 Failed to open stream for reading.");
}

TEST(CsvFile, ProposesTheDelimiterFromTheFirstLine) {
    zmtest::ScratchDir dir;
    const std::pair<const char*, char> cases[] = {
        {"a;b;c,d\n1,2,3,4,5\n", ';'}, {"a;b,c\n", ','}, {"", ','}};
    for (const auto& [text, delimiter] : cases) {
        CsvFile file;
        file.Open(true, dir.Write("d.csv", text).c_str(), nullptr);
        EXPECT_EQ(file.GetDelimiter(), delimiter) << text;
    }
}

}  // namespace
