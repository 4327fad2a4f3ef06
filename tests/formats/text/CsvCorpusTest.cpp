// Every file of the real-world CSV corpus read through CsvFile: the csv-spectrum suite
// against its expected parses, the other files against their visible content.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "formats/text/CsvFile.h"
#include "platform/Settings.h"
#include "tests/support/RecordingSink.h"

namespace {

using Grid = std::vector<std::vector<std::string>>;
using Record = std::vector<std::pair<std::string, std::string>>;

const std::filesystem::path kCsvCorpus = std::filesystem::path(ZM_CORPUS) / "csv";

std::string Slurp(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Just enough JSON for the suite's expected parses: an object, or an array of objects,
// whose values are strings.
class JsonRecords {
  public:
    explicit JsonRecords(std::string text) : s(std::move(text)) {}

    std::vector<Record> Parse() {
        std::vector<Record> records;
        Skip();
        if (Peek() == '{') {
            records.push_back(Object());
            return records;
        }
        Expect('[');
        while (Skip(), Peek() != ']') {
            records.push_back(Object());
            Skip();
            if (Peek() == ',')
                ++i;
        }
        return records;
    }

  private:
    Record Object() {
        Record record;
        Expect('{');
        while (Skip(), Peek() != '}') {
            std::string key = String();
            Skip();
            Expect(':');
            Skip();
            record.emplace_back(std::move(key), String());
            Skip();
            if (Peek() == ',')
                ++i;
        }
        ++i;
        return record;
    }
    std::string String() {
        Expect('"');
        std::string out;
        while (Peek() != '"') {
            char c = s.at(i++);
            if (c == '\\') {
                c = s.at(i++);
                if (c == 'n')
                    c = '\n';
                if (c == 'r')
                    c = '\r';
                if (c == 't')
                    c = '\t';
                if (c == 'u')
                    ADD_FAILURE() << "\\u escapes are not expected here";
            }
            out += c;
        }
        ++i;
        return out;
    }
    void Skip() {
        while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i])))
            ++i;
    }
    char Peek() const { return s.at(i); }
    void Expect(char c) {
        if (Peek() != c)
            throw std::runtime_error(std::string("JSON: expected ") + c);
        ++i;
    }

    std::string s;
    size_t i = 0;
};

// Reads a corpus file through the CSV reader, with a delimiter other than the comma
// when asked, and rebuilds the rows from the delivered cells.
Grid ReadCsv(const std::string& name, const std::string& delimiter = ",") {
    zm::SettingsDocument doc;
    doc.SetString("Settings", "Delimiter", delimiter);
    doc.SetString("Settings", "Encoding", "");
    ZmImportOpenOptions record{0, nullptr};
    zm::StoreOptions(&record, doc);
    CsvFile file;
    zmtest::RecordingSink sink;
    const int code = zmtest::ReadAll(file, (kCsvCorpus / name).string(), sink, &record);
    delete[] record.data;
    EXPECT_EQ(code, 0) << name;
    Grid grid(sink.rows);
    for (const auto& [key, cell] : sink.cells) {
        auto& row = grid.at(key.first - 1);
        if (row.size() < static_cast<size_t>(key.second))
            row.resize(key.second);
        row[key.second - 1] = cell.text;
    }
    return grid;
}

// The suite's expected parse as rows: the keys of the first record, then the values.
Grid Expected(const std::string& jsonName) {
    const auto records = JsonRecords(Slurp(kCsvCorpus / jsonName)).Parse();
    Grid grid;
    grid.emplace_back();
    for (const auto& [key, value] : records.at(0))
        grid.back().push_back(key);
    for (const auto& record : records) {
        grid.emplace_back();
        for (const auto& [key, value] : record)
            grid.back().push_back(value);
    }
    return grid;
}

struct SpectrumCase {
    const char* csv;
    const char* json;
};

class CsvSpectrum : public ::testing::TestWithParam<SpectrumCase> {};

TEST_P(CsvSpectrum, MatchesTheExpectedParse) {
    EXPECT_EQ(ReadCsv(GetParam().csv), Expected(GetParam().json));
}

INSTANTIATE_TEST_SUITE_P(
    Corpus, CsvSpectrum,
    ::testing::Values(SpectrumCase{"comma_in_quotes.csv", "comma_in_quotes.json"},
                      SpectrumCase{"empty.csv", "empty.json"},
                      // The suite keeps one expected file for both line-end variants.
                      SpectrumCase{"empty_crlf.csv", "empty.json"},
                      SpectrumCase{"json.csv", "json.json"},
                      SpectrumCase{"newlines.csv", "newlines.json"},
                      SpectrumCase{"quotes_and_newlines.csv", "quotes_and_newlines.json"},
                      SpectrumCase{"simple.csv", "simple.json"},
                      SpectrumCase{"simple_crlf.csv", "simple_crlf.json"},
                      SpectrumCase{"utf8.csv", "utf8.json"}),
    [](const auto& info) {
        std::string name = info.param.csv;
        return name.substr(0, name.find('.'));
    });

// Deliberate difference: a quoted CR LF becomes one line feed in the value, where the
// suite keeps the CR LF.
TEST(CsvSpectrumDifferences, QuotedCrLfBecomesOneLineFeed) {
    Grid expected = Expected("newlines_crlf.json");
    ASSERT_EQ(expected.at(2).at(0), "Once upon \r\na time");
    expected[2][0] = "Once upon \na time";
    EXPECT_EQ(ReadCsv("newlines_crlf.csv"), expected);
}

// The suite's expected parse gives a phone number that is not the one in its CSV file
// ("1234567890" against "2095257564"); every other value matches.
TEST(CsvSpectrumDifferences, LocationCoordinatesExpectationHasAnotherPhoneNumber) {
    Grid expected = Expected("location_coordinates.json");
    ASSERT_EQ(expected.at(1).at(0), "1234567890");
    expected[1][0] = "2095257564";
    EXPECT_EQ(ReadCsv("location_coordinates.csv"), expected);
}

TEST(CsvCorpus, EncodingsAndByteOrderMarks) {
    const Grid utf = {{"a", "b", "c"}, {"1", "2", "3"}, {"4", "5", "\xCA\xA4"}};
    // A byte-order mark picks the encoding and never reaches a cell.
    EXPECT_EQ(ReadCsv("edr_utf8_bom.csv"), utf);
    EXPECT_EQ(ReadCsv("edr_utf16le_bom.csv"), utf);
    EXPECT_EQ(ReadCsv("edr_utf16be_bom.csv"), utf);
    EXPECT_EQ(ReadCsv("csvkit_test_utf8_bom.csv"),
              (Grid{{"foo", "bar", "baz"}, {"1", "2", "3"}, {"4", "5", "\xCA\xA4"}}));
    // Bytes that are not UTF-8 are read in the legacy code page.
    EXPECT_EQ(ReadCsv("csvkit_test_latin1.csv"),
              (Grid{{"a", "b", "c"}, {"1", "2", "3"}, {"4", "5", "\xC2\xA9"}}));  // ©
    EXPECT_EQ(ReadCsv("edr_cp1252.csv"),
              (Grid{{"a", "b", "c"}, {"1", "2", "3"}, {"4", "5", "\xC3\xA6\xC3\xB8\xC3\xA5"}}));
}

TEST(CsvCorpus, LineEndsAndQuotedLineBreaks) {
    // Carriage returns alone end the lines; a quoted one becomes a line feed.
    EXPECT_EQ(ReadCsv("csvkit_mac_newlines.csv"),
              (Grid{{"a", "b", "c"}, {"1", "2", "3"}, {"Once upon\na time", "5", "6"}}));
    // Excel's quoted CR LF and LF both become one line feed; "Test," ends the file with
    // an empty field.
    EXPECT_EQ(ReadCsv("sheetjs_crlf.csv"),
              (Grid{{"Normal", "abc\ndef"}, {"Formula", "abc\ndef"}, {"Test", ""}}));
    // A header field of control characters and quoted line breaks.
    EXPECT_EQ(ReadCsv("csvkit_test_header_newline.csv"),
              (Grid{{"\t\n\v\f\n start \t\n\v\f\n end \t\n\v\f\n", "b", "c"}, {"d", "e", "f"}}));
    // Tab-delimited with a quoted multi-line cell, read with a tab delimiter.
    EXPECT_EQ(ReadCsv("lo_cell-with-line-break.csv", "\t"),
              (Grid{{"one\ntwo\nthree", "normal cell"}}));
    EXPECT_EQ(ReadCsv("csvkit_dummy.tsv", "\t"), (Grid{{"a", "b", "c"}, {"1", "2", "3"}}));
}

TEST(CsvCorpus, BlanksQuotesAndEmptyCells) {
    EXPECT_EQ(ReadCsv("csvkit_no_header_row.csv"), (Grid{{"1", "2", "3"}}));
    EXPECT_EQ(ReadCsv("csvkit_optional_quote_characters.csv"),
              (Grid{{"a", "b", "c"}, {"1", "2", "3"}}));
    EXPECT_EQ(ReadCsv("lo_empty-cells-to-paste.csv"),
              (Grid{{"Name", "Empty (space)", "Empty", "Name"},
                    {"Apple", "", "", "Orange"},
                    {"Apple", "", "", "Orange"}}));
    // Leading blanks of a field are skipped, trailing ones and quoted ones kept. The file
    // ends in an empty line, which this reader keeps as an empty last row.
    EXPECT_EQ(ReadCsv("lo_skip-spaces.csv"),
              (Grid{{"num", "num", "num", "num", "str"},
                    {"10", "20.234", "-23.34", "+567.23", "2345a"},
                    {"num", "num", "str", "str", "str"},
                    {"10.023", "20.234", "3-23.34", "1+567.23", "  ,324.002"},
                    {"num quoted", "num", "num", "num", "num quoted"},
                    {"10,000.344", "20.234  ", "-23.34  ", "+567.23  ", "   453,594.5332  "},
                    {}}));
    // Zero bytes stay in the field, but a sink takes texts up to the first zero byte.
    EXPECT_EQ(ReadCsv("csvkit_null_byte.csv"), (Grid{{"a", "b", "c"}, {"", "2", "3"}}));
    EXPECT_EQ(ReadCsv("edr_simple_whitespace_null.csv"),
              (Grid{{"a ", "", "\tc\t"}, {"1", "2", "3"}}));
}

TEST(CsvCorpus, LargerRealFiles) {
    const Grid ks = ReadCsv("csvkit_ks_1033_data.csv");
    ASSERT_EQ(ks.size(), 1576u);
    for (const auto& row : ks)
        ASSERT_EQ(row.size(), 14u);
    EXPECT_EQ(ks[0][13], "federal_supply_class_name");
    EXPECT_EQ(ks[1][4], "RIFLE,5.56 MILLIMETER");
    EXPECT_EQ(ks[1][13], "Guns, through 30 mm");
    EXPECT_EQ(ks.back()[11], "CLOTHING/INDIVIDUAL EQPT, INSIGNIA");
    EXPECT_EQ(ks.back()[13], "Individual Equipment");

    const Grid mock = ReadCsv("edr_MOCK_DATA.csv");
    ASSERT_EQ(mock.size(), 1001u);
    EXPECT_EQ(mock.front(), (std::vector<std::string>{"id", "first_name", "last_name", "email",
                                                      "gender", "ip_address"}));
    EXPECT_EQ(mock.back(),
              (std::vector<std::string>{"1000", "Salomi", "Brickhill", "sbrickhillrr@tuttocitta.it",
                                        "Female", "111.4.88.155"}));
}

// Every file in the corpus folder is read by one of the tests above.
TEST(CsvCorpus, EveryFileIsCovered) {
    const std::set<std::string> covered = {"comma_in_quotes.csv",
                                           "comma_in_quotes.json",
                                           "csvkit_dummy.tsv",
                                           "csvkit_ks_1033_data.csv",
                                           "csvkit_mac_newlines.csv",
                                           "csvkit_no_header_row.csv",
                                           "csvkit_null_byte.csv",
                                           "csvkit_optional_quote_characters.csv",
                                           "csvkit_test_header_newline.csv",
                                           "csvkit_test_latin1.csv",
                                           "csvkit_test_utf8_bom.csv",
                                           "edr_MOCK_DATA.csv",
                                           "edr_cp1252.csv",
                                           "edr_simple_whitespace_null.csv",
                                           "edr_utf16be_bom.csv",
                                           "edr_utf16le_bom.csv",
                                           "edr_utf8_bom.csv",
                                           "empty.csv",
                                           "empty.json",
                                           "empty_crlf.csv",
                                           "json.csv",
                                           "json.json",
                                           "lo_cell-with-line-break.csv",
                                           "lo_empty-cells-to-paste.csv",
                                           "lo_skip-spaces.csv",
                                           "location_coordinates.csv",
                                           "location_coordinates.json",
                                           "newlines.csv",
                                           "newlines.json",
                                           "newlines_crlf.csv",
                                           "newlines_crlf.json",
                                           "quotes_and_newlines.csv",
                                           "quotes_and_newlines.json",
                                           "sheetjs_crlf.csv",
                                           "simple.csv",
                                           "simple.json",
                                           "simple_crlf.csv",
                                           "simple_crlf.json",
                                           "utf8.csv",
                                           "utf8.json"};
    for (const auto& entry : std::filesystem::directory_iterator(kCsvCorpus)) {
        EXPECT_TRUE(covered.count(entry.path().filename().string()))
            << entry.path().filename() << " is not read by any test";
    }
}

}  // namespace
