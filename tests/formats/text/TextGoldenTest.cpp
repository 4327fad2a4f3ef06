// Fixtures written by third-party programs (Python's csv and codecs modules, Gnumeric,
// LibreOffice) in several dialects and encodings, each read by its reader and compared with
// the golden X.expected.tsv beside it.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "formats/text/CsvFile.h"
#include "formats/text/CsvParser.h"
#include "formats/text/DIFFile.h"
#include "formats/text/TextFile.h"
#include "tests/support/TextTestSupport.h"

namespace {

namespace fs = std::filesystem;

// The fixture of every golden in a folder of the test data: X beside X.expected.tsv, or X.txt
// for the text reader's fixtures.
std::vector<fs::path> Fixtures(const std::string& folder) {
    std::vector<fs::path> fixtures;
    for (const auto& entry : fs::directory_iterator(fs::path(ZM_TEST_DATA) / folder)) {
        const std::string name = entry.path().filename().string();
        const size_t end = name.find(".expected.tsv");
        if (end != std::string::npos)
            fixtures.push_back(entry.path().parent_path() /
                               (name.substr(0, end) + (folder == "text" ? ".txt" : "")));
    }
    std::sort(fixtures.begin(), fixtures.end());
    return fixtures;
}

std::string Golden(const fs::path& fixture) {
    return zmtest::Slurp(fixture.extension() == ".txt"
                             ? fs::path(fixture).replace_extension(".expected.tsv")
                             : fs::path(fixture.string() + ".expected.tsv"));
}

// "row<TAB>col<TAB>text" per cell, with backslash, line feed, carriage return and tab escaped.
std::string EscapedCells(const zmtest::RecordingSink& sink) {
    std::string out;
    for (const auto& [key, cell] : sink.cells) {
        out += std::to_string(key.first) + '\t' + std::to_string(key.second) + '\t';
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

std::string TestName(const ::testing::TestParamInfo<fs::path>& info) {
    std::string name = info.param.filename().string();
    std::replace_if(
        name.begin(), name.end(),
        [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
}

class CsvGolden : public ::testing::TestWithParam<fs::path> {};
class DifGolden : public ::testing::TestWithParam<fs::path> {};
class TextGolden : public ::testing::TestWithParam<fs::path> {};

// The delimiter is named by the file (.tsv, "semicolon"); the encoding is the local code page
// unless listed. A byte-order mark wins over the encoding chosen.
TEST_P(CsvGolden, ReadsWhatTheWriterWrote) {
    const std::string name = GetParam().filename().string();
    const std::map<std::string, std::string> encodings = {{"py_latin1.csv", "iso88591"},
                                                          {"py_shift_jis.csv", "shiftjis"},
                                                          {"py_gb18030.csv", "gb18030"},
                                                          {"py_koi8_r.csv", "koi8r"},
                                                          {"py_utf16le_bom.csv", "windows1252"}};
    zmtest::RecordingSink sink;
    if (name == "py_escaped.csv") {
        // Backslash escapes need a dialect with an escape character, which the CSV file
        // reader does not offer; the parser reads them.
        CsvDialect dialect = CsvDialect::Pelmora();
        dialect.escapeChar = U'\\';
        dialect.doubleQuote = 0;
        CsvParser(dialect, GetParam(), "utf8", INT_MAX).GetData(sink, INT_MAX, INT_MAX);
    } else {
        const std::string delimiter = GetParam().extension() == ".tsv"              ? "\t"
                                      : name.find("semicolon") != std::string::npos ? ";"
                                                                                    : ",";
        const auto encoding = encodings.find(name);
        zmtest::OptionsRecord record(delimiter,
                                     encoding != encodings.end() ? encoding->second : "");
        CsvFile file;
        ASSERT_EQ(zmtest::ReadAll(file, GetParam().string(), sink, &record.options), 0);
    }
    EXPECT_EQ(EscapedCells(sink), Golden(GetParam()));
}

// Gnumeric and LibreOffice both write a line break inside a string as it is, which splits
// the string record over two lines: a record error, after the rows before it were delivered.
// LibreOffice doubles quotes inside strings; the reader takes off the outer quotes only, so
// the doubled quotes stay (deliberately: the writer does not double them).
TEST_P(DifGolden, ReadsWhatTheWriterWrote) {
    const bool multiline = GetParam().filename().string().find("multiline") != std::string::npos;
    DIFFile file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(file, GetParam().string(), sink), multiline ? 770 : 0);
    EXPECT_EQ(EscapedCells(sink), Golden(GetParam()));
}

// Read with the key the file is named after and, with an empty options record, by guessing.
// KOI8-R is too short for a confident guess, so it falls back to the local code page, which
// is windows-1252 for these bytes.
TEST_P(TextGolden, ReadsToTheRightTextWithTheKeyAndByGuessing) {
    const std::string name = GetParam().stem().string();
    const std::string expected = Golden(GetParam());
    ASSERT_FALSE(expected.empty());
    TextFileOptions options;
    options.SetEncoding(name.substr(0, name.find('-')));
    zmtest::OptionsRecord keyed, guessed;
    options.Write(&keyed.options);
    for (auto* record : {&keyed.options, &guessed.options}) {
        TextFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, GetParam().string(), sink, record), 0);
        if (record == &guessed.options && name == "koi8r") {
            EXPECT_NE(sink.Dump(), expected);
        } else {
            EXPECT_EQ(sink.Dump(), expected) << (record == &keyed.options ? "keyed" : "guessed");
        }
    }
    // The defaults went back into the empty record.
    TextFileOptions written;
    ASSERT_TRUE(written.Read(&guessed.options));
    EXPECT_EQ(written.GetDelimiter(), "\t");
}

INSTANTIATE_TEST_SUITE_P(Writers, CsvGolden, ::testing::ValuesIn(Fixtures("csv")), TestName);
INSTANTIATE_TEST_SUITE_P(Writers, DifGolden, ::testing::ValuesIn(Fixtures("dif")), TestName);
INSTANTIATE_TEST_SUITE_P(Encodings, TextGolden, ::testing::ValuesIn(Fixtures("text")), TestName);

// A fixture without a golden would be silently left out.
TEST(Goldens, EveryFixtureHasOne) {
    for (const char* folder : {"csv", "dif", "text"}) {
        const auto fixtures = Fixtures(folder);
        for (const auto& entry : fs::directory_iterator(fs::path(ZM_TEST_DATA) / folder)) {
            const std::string name = entry.path().filename().string();
            const std::string ext = entry.path().extension().string();
            if (name.find(".expected.tsv") == std::string::npos && ext != ".py" && ext != ".md") {
                EXPECT_EQ(std::count(fixtures.begin(), fixtures.end(), entry.path()), 1)
                    << entry.path();
            }
        }
    }
}

}  // namespace
