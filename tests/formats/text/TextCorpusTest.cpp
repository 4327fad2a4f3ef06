// Every file of the real-world CSV and DIF corpus: the csv-spectrum suite against its
// expected parses, the other files against the cells they visibly hold.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "formats/text/CsvFile.h"
#include "formats/text/DIFFile.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Grid;

const std::filesystem::path kCorpus = ZM_CORPUS;

Grid ReadCsv(const std::string& name, const std::string& delimiter = ",") {
    zmtest::OptionsRecord record(delimiter, "");
    CsvFile file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(file, (kCorpus / "csv" / name).string(), sink, &record.options), 0);
    return zmtest::ToGrid(sink);
}

// The suite's expected parse as rows: the keys of the first object, then each object's
// values. Just enough JSON for these files: objects whose keys and values are all strings.
Grid Expected(const std::string& jsonName) {
    const std::string json = zmtest::Slurp(kCorpus / "csv" / jsonName);
    Grid grid(1);
    bool isKey = true;
    for (size_t i = 0; i < json.size(); ++i) {
        if (json[i] == '{') {
            grid.emplace_back();
            isKey = true;
        } else if (json[i] == '"') {
            std::string text;
            for (++i; json.at(i) != '"'; ++i) {
                char c = json[i];
                if (c == '\\') {
                    c = json.at(++i);
                    EXPECT_NE(c, 'u') << "\\u escapes are not expected here";
                    c = c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : c;
                }
                text += c;
            }
            if (isKey && grid.size() == 2)
                grid[0].push_back(text);
            if (!isKey)
                grid.back().push_back(text);
            isKey = !isKey;
        }
    }
    return grid;
}

struct SpectrumCase {
    const char* csv;
    const char* json;
};

// The suite keeps one expected file for both line-end variants of the empty-field file.
const SpectrumCase kSpectrum[] = {
    {"comma_in_quotes.csv", "comma_in_quotes.json"},
    {"empty.csv", "empty.json"},
    {"empty_crlf.csv", "empty.json"},
    {"json.csv", "json.json"},
    {"newlines.csv", "newlines.json"},
    {"newlines_crlf.csv", "newlines_crlf.json"},
    {"quotes_and_newlines.csv", "quotes_and_newlines.json"},
    {"simple.csv", "simple.json"},
    {"simple_crlf.csv", "simple_crlf.json"},
    {"utf8.csv", "utf8.json"},
    {"location_coordinates.csv", "location_coordinates.json"},
};

TEST(CsvCorpus, SpectrumMatchesTheExpectedParses) {
    for (const auto& [csv, json] : kSpectrum) {
        SCOPED_TRACE(csv);
        Grid expected = Expected(json);
        if (std::string(csv) == "newlines_crlf.csv") {
            // Deliberate difference: a quoted CR LF becomes one line feed in the value, where
            // the suite keeps the CR LF.
            ASSERT_EQ(expected.at(2).at(0), "Once upon \r\na time");
            expected[2][0] = "Once upon \na time";
        }
        if (std::string(csv) == "location_coordinates.csv") {
            // The suite's expected parse gives a phone number that is not the one in its CSV
            // file; every other value matches.
            ASSERT_EQ(expected.at(1).at(0), "1234567890");
            expected[1][0] = "2095257564";
        }
        EXPECT_EQ(ReadCsv(csv), expected);
    }
}

struct VisibleCase {
    const char* file;
    const char* delimiter;
    Grid rows;
};

const std::string kUtf = "\xCA\xA4";  // U+02A4
const VisibleCase kVisible[] = {
    // A byte-order mark picks the encoding and never reaches a cell.
    {"edr_utf8_bom.csv", ",", {{"a", "b", "c"}, {"1", "2", "3"}, {"4", "5", kUtf}}},
    {"edr_utf16le_bom.csv", ",", {{"a", "b", "c"}, {"1", "2", "3"}, {"4", "5", kUtf}}},
    {"edr_utf16be_bom.csv", ",", {{"a", "b", "c"}, {"1", "2", "3"}, {"4", "5", kUtf}}},
    {"csvkit_test_utf8_bom.csv", ",", {{"foo", "bar", "baz"}, {"1", "2", "3"}, {"4", "5", kUtf}}},
    // Bytes that are not UTF-8 are read in the legacy code page.
    {"csvkit_test_latin1.csv", ",", {{"a", "b", "c"}, {"1", "2", "3"}, {"4", "5", "\xC2\xA9"}}},
    {"edr_cp1252.csv",
     ",",
     {{"a", "b", "c"}, {"1", "2", "3"}, {"4", "5", "\xC3\xA6\xC3\xB8\xC3\xA5"}}},
    // Carriage returns alone end the lines; a quoted one becomes a line feed.
    {"csvkit_mac_newlines.csv",
     ",",
     {{"a", "b", "c"}, {"1", "2", "3"}, {"Once upon\na time", "5", "6"}}},
    // Excel's quoted CR LF and LF both become one line feed; "Test," ends the file with an
    // empty field.
    {"sheetjs_crlf.csv", ",", {{"Normal", "abc\ndef"}, {"Formula", "abc\ndef"}, {"Test", ""}}},
    {"csvkit_test_header_newline.csv",
     ",",
     {{"\t\n\v\f\n start \t\n\v\f\n end \t\n\v\f\n", "b", "c"}, {"d", "e", "f"}}},
    {"lo_cell-with-line-break.csv", "\t", {{"one\ntwo\nthree", "normal cell"}}},
    {"csvkit_dummy.tsv", "\t", {{"a", "b", "c"}, {"1", "2", "3"}}},
    {"csvkit_no_header_row.csv", ",", {{"1", "2", "3"}}},
    {"csvkit_optional_quote_characters.csv", ",", {{"a", "b", "c"}, {"1", "2", "3"}}},
    {"lo_empty-cells-to-paste.csv",
     ",",
     {{"Name", "Empty (space)", "Empty", "Name"},
      {"Apple", "", "", "Orange"},
      {"Apple", "", "", "Orange"}}},
    // Leading blanks of a field are skipped, trailing ones and quoted ones kept. The file
    // ends in an empty line, which this reader keeps as an empty last row.
    {"lo_skip-spaces.csv",
     ",",
     {{"num", "num", "num", "num", "str"},
      {"10", "20.234", "-23.34", "+567.23", "2345a"},
      {"num", "num", "str", "str", "str"},
      {"10.023", "20.234", "3-23.34", "1+567.23", "  ,324.002"},
      {"num quoted", "num", "num", "num", "num quoted"},
      {"10,000.344", "20.234  ", "-23.34  ", "+567.23  ", "   453,594.5332  "},
      {}}},
    // Zero bytes stay in the field, but a sink takes texts up to the first zero byte.
    {"csvkit_null_byte.csv", ",", {{"a", "b", "c"}, {"", "2", "3"}}},
    {"edr_simple_whitespace_null.csv", ",", {{"a ", "", "\tc\t"}, {"1", "2", "3"}}},
};

TEST(CsvCorpus, VisibleContent) {
    for (const auto& [file, delimiter, rows] : kVisible) {
        SCOPED_TRACE(file);
        EXPECT_EQ(ReadCsv(file, delimiter), rows);
    }
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

    const Grid mock = ReadCsv("edr_MOCK_DATA.csv");
    ASSERT_EQ(mock.size(), 1001u);
    EXPECT_EQ(mock.front(), (std::vector<std::string>{"id", "first_name", "last_name", "email",
                                                      "gender", "ip_address"}));
    EXPECT_EQ(mock.back(),
              (std::vector<std::string>{"1000", "Salomi", "Brickhill", "sbrickhillrr@tuttocitta.it",
                                        "Female", "111.4.88.155"}));
}

// Rows of expected texts; "-" marks a cell that must not be delivered.
struct DifCase {
    const char* file;
    int rows, cols;
    Grid cells;
};

const DifCase kDif[] = {
    // Excel writes VECTORS and TUPLES the other way round: 14 tuples of 10 values under a
    // header saying 14 vectors and 10 tuples. ERROR and NA arrive empty, TRUE and FALSE as
    // 1 and 0, dates as Excel wrote them.
    {"ErrorTypes.dif",
     14,
     10,
     {{"Error", "Bang", "Que", "Non", "Val", "ErrType", "Type", "ISERR", "ISNA", "ErrTypeIsErr"},
      {"", "", "#NULL?", "#NULL", "1", "1", "16", "1", "0", "0"},
      {},
      {},
      {},
      {"", "#NAME!", "", "#NAME", "5", "5", "16", "1", "0", "0"},
      {},
      {"", "#N/A!", "#N/A?", "", "7", "7", "16", "0", "1", "0"},
      {"#WTF", "#WTF!", "#WTF?", "#WTF", "69", "", "2", "0", "0", "0"},
      {"123", "123!", "123?", "123", "123", "", "1", "0", "0", "0"},
      {},
      {"10/11/14", "10/11/14!", "10/11/14?", "10/11/14", "10/11/14", "", "1", "0", "0", "0"},
      {"1", "TRUE!", "TRUE?", "1", "1", "", "4", "0", "0", "0"},
      {"array", "array!", "array?", "array", "array", "", "64", "0", "0", "0"}}},
    // Quattro Pro leaves out the empty cells at the ends of tuples, so the header's 4 x 4
    // is found by scanning.
    {"quattro_write.dif",
     4,
     4,
     {{"1", "2", "3", "-"},
      {"1", "0", "", "sheetjs"},
      {"foo", "bar", "41689", "0.3"},
      {"baz", "", "qux", "-"}}},
    {"wps_write.dif",
     4,
     4,
     {{"1", "2", "3", ""},
      {"1", "0", "", "sheetjs"},
      {"foo", "bar", "2/19/14", "0.3"},
      {"baz", "", "qux", ""}}},
    // Excel wrote 0.3 as a string record here.
    {"write.dif",
     4,
     4,
     {{"1", "2", "3", ""},
      {"1", "0", "", "sheetjs"},
      {"foo", "bar", "2/19/14", "0.3"},
      {"baz", "", "qux", ""}}},
};

TEST(DifCorpus, VisibleContentAndSize) {
    for (const auto& [name, rows, cols, cells] : kDif) {
        SCOPED_TRACE(name);
        const std::string path = (kCorpus / "dif" / name).string();
        EXPECT_TRUE(DIFFile::IsDIFFile(path.c_str()));
        DIFFile file;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(file, path, sink), 0);
        EXPECT_EQ(file.GetNumRows(), rows);
        EXPECT_EQ(file.GetNumCols(), cols);
        for (int r = 1; r <= static_cast<int>(cells.size()); ++r) {
            for (int c = 1; c <= static_cast<int>(cells[r - 1].size()); ++c) {
                const std::string& want = cells[r - 1][c - 1];
                EXPECT_EQ(sink.Has(c, r) ? sink.Text(c, r) : "-", want) << r << "," << c;
            }
        }
    }
}

// Every file in the corpus folders is read by one of the tests above.
TEST(TextCorpus, EveryFileIsCovered) {
    std::set<std::string> covered = {"csvkit_ks_1033_data.csv", "edr_MOCK_DATA.csv"};
    for (const auto& [csv, json] : kSpectrum)
        covered.insert({csv, json});
    for (const auto& visible : kVisible)
        covered.insert(visible.file);
    for (const auto& dif : kDif)
        covered.insert(dif.file);
    for (const char* folder : {"csv", "dif"}) {
        for (const auto& entry : std::filesystem::directory_iterator(kCorpus / folder))
            EXPECT_TRUE(covered.count(entry.path().filename().string())) << entry.path();
    }
}

}  // namespace
