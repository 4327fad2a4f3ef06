// Text, CSV and DIF files read by their readers and compared with golden X.expected.tsv
// files: the fixtures written by third-party programs in tests/data, and the files of the
// shared corpus, whose goldens live in tests/data/corpus (those of the csv-spectrum suite made
// from the suite's own expected parses, with the deliberate differences listed in
// make_spectrum_goldens.py: a quoted CR LF becomes one line feed, and one expected phone
// number that is not the one in its file).
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>
#include <set>

#include "formats/text/CsvFile.h"
#include "formats/text/CsvParser.h"
#include "formats/text/DIFFile.h"
#include "formats/text/TextFile.h"
#include "tests/support/TextTestSupport.h"

namespace {

namespace fs = std::filesystem;

const fs::path kData = ZM_TEST_DATA, kCorpus = ZM_CORPUS;

struct Fixture {
    fs::path file, golden;
};
void PrintTo(const Fixture& fixture, std::ostream* out) {
    *out << fixture.file;
}

// Every golden of the given folders of the test data with the file it describes: X for
// X.expected.tsv (X.txt among the text fixtures), in the corpus folder named or beside it.
std::vector<Fixture> Fixtures(const std::vector<std::pair<std::string, fs::path>>& folders) {
    std::vector<Fixture> fixtures;
    for (const auto& [folder, files] : folders) {
        for (const auto& entry : fs::directory_iterator(kData / folder)) {
            const std::string name = entry.path().filename().string();
            const size_t end = name.find(".expected.tsv");
            if (end != std::string::npos)
                fixtures.push_back({(files.empty() ? kData / folder : files) /
                                        (name.substr(0, end) + (folder == "text" ? ".txt" : "")),
                                    entry.path()});
        }
    }
    return fixtures;
}

// "row<TAB>col<TAB>text" per cell, with backslash, line feed, carriage return and tab escaped.
// These readers deliver texts only: the sink decides what is a number.
std::string EscapedCells(const zmtest::RecordingSink& sink) {
    std::string out;
    for (const auto& [key, cell] : sink.cells) {
        out += std::to_string(key.first) + '\t' + std::to_string(key.second) + '\t';
        out += cell.kind == zmtest::Cell::kText ? "" : "(a number) ";
        for (char c : cell.text) {
            const char* escaped = c == '\\'   ? "\\\\"
                                  : c == '\n' ? "\\n"
                                  : c == '\r' ? "\\r"
                                  : c == '\t' ? "\\t"
                                              : nullptr;
            out += escaped != nullptr ? std::string(escaped) : std::string(1, c);
        }
        out += '\n';
    }
    return out;
}

std::string TestName(const ::testing::TestParamInfo<Fixture>& info) {
    std::string name = info.param.file.filename().string();
    for (char& c : name)
        c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

class CsvGolden : public ::testing::TestWithParam<Fixture> {};
class DifGolden : public ::testing::TestWithParam<Fixture> {};
class TextGolden : public ::testing::TestWithParam<Fixture> {};

// The delimiter is named by the file (.tsv, "semicolon") unless listed, the encoding is the
// local code page unless listed. A byte-order mark wins over the encoding chosen.
TEST_P(CsvGolden, ReadsTheGoldenCells) {
    const std::string name = GetParam().file.filename().string();
    const std::map<std::string, std::pair<std::string, std::string>> listed = {
        {"py_latin1.csv", {",", "iso88591"}},         {"py_shift_jis.csv", {",", "shiftjis"}},
        {"py_gb18030.csv", {",", "gb18030"}},         {"py_koi8_r.csv", {",", "koi8r"}},
        {"py_utf16le_bom.csv", {",", "windows1252"}}, {"lo_cell-with-line-break.csv", {"\t", ""}}};
    const std::string delimiter = GetParam().file.extension() == ".tsv"         ? "\t"
                                  : name.find("semicolon") != std::string::npos ? ";"
                                                                                : ",";
    const auto options = listed.count(name) ? listed.at(name) : std::make_pair(delimiter, "");
    zmtest::RecordingSink sink;
    if (name == "py_escaped.csv") {
        // Backslash escapes need a dialect with an escape character, which the CSV file
        // reader does not offer; the parser reads them.
        CsvDialect dialect = CsvDialect::Pelmora();
        dialect.escapeChar = U'\\';
        dialect.doubleQuote = 0;
        CsvParser(dialect, GetParam().file, "utf8", INT_MAX).GetData(sink, INT_MAX, INT_MAX);
    } else {
        zmtest::OptionsRecord record(options.first, options.second);
        CsvFile file;
        ASSERT_EQ(zmtest::ReadAll(file, GetParam().file.string(), sink, &record.options), 0);
        // The size query answers 1 x 1 whatever the file holds; the reader sizes the sink
        // itself after the caller's 1 x 1.
        EXPECT_EQ(std::make_pair(file.GetNumRows(), file.GetNumCols()), std::make_pair(1, 1));
        EXPECT_EQ(sink.sizeCalls, 2);
    }
    EXPECT_EQ(EscapedCells(sink), zmtest::Slurp(GetParam().golden));
    // The size ends at the last row with cells and the widest row. Deliberate difference:
    // lo_skip-spaces ends in an empty line, which this reader keeps as an empty last row.
    int lastRow = 0, widest = 0;
    for (const auto& [key, cell] : sink.cells) {
        lastRow = key.first;
        widest = std::max(widest, key.second);
    }
    EXPECT_EQ(sink.rows, lastRow + (name == "lo_skip-spaces.csv" ? 1 : 0));
    EXPECT_EQ(sink.cols, widest);
}

// Gnumeric and LibreOffice both write a line break inside a string as it is, which splits
// the string record over two lines: a record error, after the rows before it were delivered.
// Excel writes VECTORS and TUPLES the other way round (the size is transposed); Quattro Pro
// leaves out the empty cells at the ends of tuples (the size is found by scanning). The
// edge_* files are described in make_edge_fixtures.py.
TEST_P(DifGolden, ReadsTheGoldenCellsAndSize) {
    const std::string name = GetParam().file.filename().string();
    const std::map<std::string, std::string> sizes = {
        {"ErrorTypes.dif", "14x10"},     {"quattro_write.dif", "4x4"},
        {"edge_value_kinds.dif", "2x5"}, {"edge_transposed.dif", "3x2"},
        {"edge_scanned.dif", "3x2"},     {"edge_bragging_header.dif", "1x1"}};
    const std::set<std::string> broken = {"gnumeric_multiline_string.dif",
                                          "libreoffice_multiline_string.dif",
                                          "edge_unquoted_string.dif", "edge_cut_before_eod.dif"};
    EXPECT_TRUE(DIFFile::IsDIFFile(GetParam().file.c_str()));
    DIFFile file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(file, GetParam().file.string(), sink), broken.count(name) ? 770 : 0);
    EXPECT_EQ(EscapedCells(sink), zmtest::Slurp(GetParam().golden));
    if (sizes.count(name)) {
        EXPECT_EQ(std::to_string(file.GetNumRows()) + "x" + std::to_string(file.GetNumCols()),
                  sizes.at(name));
    }
}

// Read with the key the file is named after and, with an empty options record, by guessing.
// KOI8-R is too short for a confident guess, so it falls back to the local code page, which
// is windows-1252 for these bytes. The guess goes back into the empty record.
TEST_P(TextGolden, ReadsToTheRightTextWithTheKeyAndByGuessing) {
    const std::string name = GetParam().file.stem().string();
    TextFileOptions options;
    options.SetEncoding(name.substr(0, name.find('-')));
    zmtest::OptionsRecord keyed, guessed;
    options.Write(&keyed.options);
    for (auto* record : {&keyed.options, &guessed.options}) {
        TextFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, GetParam().file.string(), sink, record), 0);
        EXPECT_EQ(sink.Dump() == zmtest::Slurp(GetParam().golden),
                  record == &keyed.options || name != "koi8r");
    }
    TextFileOptions written;
    ASSERT_TRUE(written.Read(&guessed.options));
    EXPECT_EQ(written.GetDelimiter(), "\t");
}

INSTANTIATE_TEST_SUITE_P(
    Files, CsvGolden, ::testing::ValuesIn(Fixtures({{"csv", {}}, {"corpus/csv", kCorpus / "csv"}})),
    TestName);
INSTANTIATE_TEST_SUITE_P(
    Files, DifGolden, ::testing::ValuesIn(Fixtures({{"dif", {}}, {"corpus/dif", kCorpus / "dif"}})),
    TestName);
INSTANTIATE_TEST_SUITE_P(Encodings, TextGolden, ::testing::ValuesIn(Fixtures({{"text", {}}})),
                         TestName);

// A fixture without a golden would be left out silently. Every corpus file is read against
// a golden, is an expected parse of the suite, or is one of the large files checked below.
TEST(Goldens, EveryFixtureAndCorpusFileHasOne) {
    std::vector<fs::path> covered = {kCorpus / "csv" / "csvkit_ks_1033_data.csv",
                                     kCorpus / "csv" / "edr_MOCK_DATA.csv"};
    for (const auto& fixture : Fixtures({{"csv", {}},
                                         {"dif", {}},
                                         {"text", {}},
                                         {"corpus/csv", kCorpus / "csv"},
                                         {"corpus/dif", kCorpus / "dif"}}))
        covered.push_back(fixture.file);
    for (const fs::path& folder :
         {kData / "csv", kData / "dif", kData / "text", kCorpus / "csv", kCorpus / "dif"}) {
        for (const auto& entry : fs::directory_iterator(folder)) {
            const std::string name = entry.path().filename().string(),
                              ext = entry.path().extension();
            if (name.find(".expected.tsv") == std::string::npos && ext != ".py" && ext != ".md" &&
                ext != ".json") {
                EXPECT_EQ(std::count(covered.begin(), covered.end(), entry.path()), 1) << name;
            }
        }
    }
}

TEST(CsvCorpus, LargerRealFiles) {
    auto read = [](const std::string& name) {
        zmtest::OptionsRecord record(",", "");
        CsvFile file;
        zmtest::RecordingSink sink;
        EXPECT_EQ(zmtest::ReadAll(file, (kCorpus / "csv" / name).string(), sink, &record.options),
                  0);
        return zmtest::ToGrid(sink);
    };
    const zmtest::Grid ks = read("csvkit_ks_1033_data.csv");
    ASSERT_EQ(ks.size(), 1576u);
    for (const auto& row : ks)
        ASSERT_EQ(row.size(), 14u);
    EXPECT_EQ(ks[1][4] + "|" + ks[1][13], "RIFLE,5.56 MILLIMETER|Guns, through 30 mm");
    EXPECT_EQ(ks.back()[11], "CLOTHING/INDIVIDUAL EQPT, INSIGNIA");
    const zmtest::Grid mock = read("edr_MOCK_DATA.csv");
    ASSERT_EQ(mock.size(), 1001u);
    EXPECT_EQ(mock.front().back() + "|" + mock.back()[3] + "|" + mock.back()[5],
              "ip_address|sbrickhillrr@tuttocitta.it|111.4.88.155");
}

}  // namespace
