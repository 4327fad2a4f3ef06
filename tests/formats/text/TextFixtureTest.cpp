// CSV fixtures written by Python's csv module, Gnumeric and LibreOffice, in several
// dialects and encodings, read against their .expected.tsv; DIF exports of Gnumeric and
// LibreOffice read against their visible cells.
#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>

#include "formats/text/CsvFile.h"
#include "formats/text/CsvParser.h"
#include "formats/text/DIFFile.h"
#include "platform/Settings.h"
#include "tests/support/RecordingSink.h"

namespace {

using Cells = std::map<std::pair<int, int>, std::string>;  // (row, col) -> text

const std::filesystem::path kData = ZM_TEST_DATA;

std::string Unescape(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        const char c = text[++i];
        out += c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : c;
    }
    return out;
}

Cells ExpectedCells(const std::filesystem::path& fixture) {
    std::ifstream in(fixture.string() + ".expected.tsv", std::ios::binary);
    EXPECT_TRUE(in) << fixture;
    Cells cells;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string row, col;
        std::getline(fields, row, '\t');
        std::getline(fields, col, '\t');
        std::string text;
        std::getline(fields, text);
        cells[{std::stoi(row), std::stoi(col)}] = Unescape(text);
    }
    return cells;
}

Cells Recorded(const zmtest::RecordingSink& sink) {
    Cells cells;
    for (const auto& [key, cell] : sink.cells)
        cells[key] = cell.text;
    return cells;
}

struct CsvFixture {
    const char* file;
    const char* delimiter;
    const char* encoding;
};

class CsvFixtures : public ::testing::TestWithParam<CsvFixture> {};

TEST_P(CsvFixtures, ReadsWhatTheWriterWrote) {
    const auto path = kData / "csv" / GetParam().file;
    zm::SettingsDocument doc;
    doc.SetString("Settings", "Delimiter", GetParam().delimiter);
    doc.SetString("Settings", "Encoding", GetParam().encoding);
    ZmImportOpenOptions record{0, nullptr};
    zm::StoreOptions(&record, doc);
    CsvFile file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(file, path.string(), sink, &record), 0);
    delete[] record.data;
    EXPECT_EQ(Recorded(sink), ExpectedCells(path));
}

INSTANTIATE_TEST_SUITE_P(
    Writers, CsvFixtures,
    ::testing::Values(
        CsvFixture{"py_excel.csv", ",", ""}, CsvFixture{"py_excel_tab.tsv", "\t", ""},
        CsvFixture{"py_unix_quote_all.csv", ",", "utf8"},
        CsvFixture{"py_semicolon_nonnumeric.csv", ";", ""}, CsvFixture{"py_utf8.csv", ",", "utf8"},
        CsvFixture{"py_utf8_bom.csv", ",", ""},
        // A byte-order mark wins over the encoding chosen.
        CsvFixture{"py_utf16le_bom.csv", ",", "windows1252"},
        CsvFixture{"py_utf16be_bom.csv", ",", ""},
        // Not UTF-8: the local code page falls back to windows-1252.
        CsvFixture{"py_cp1252.csv", ",", ""}, CsvFixture{"py_latin1.csv", ",", "iso88591"},
        CsvFixture{"py_shift_jis.csv", ",", "shiftjis"},
        CsvFixture{"py_gb18030.csv", ",", "gb18030"}, CsvFixture{"py_koi8_r.csv", ",", "koi8r"},
        CsvFixture{"gnumeric_export.csv", ",", ""},
        CsvFixture{"gnumeric_semicolon_quoted.csv", ";", ""},
        CsvFixture{"libreoffice_semicolon.csv", ";", ""}),
    [](const auto& info) {
        std::string name = info.param.file;
        name = name.substr(0, name.find('.'));
        for (char& c : name) {
            if (!std::isalnum(static_cast<unsigned char>(c)))
                c = '_';
        }
        return name;
    });

// Backslash escapes instead of doubled quotes need a dialect with an escape character,
// which the CSV file reader does not offer; the parser reads them.
TEST(CsvFixtures, EscapedQuotesThroughAnEscapeDialect) {
    const auto path = kData / "csv" / "py_escaped.csv";
    CsvDialect dialect = CsvDialect::Pelmora();
    dialect.escapeChar = U'\\';
    dialect.doubleQuote = 0;
    CsvParser parser(dialect, path, "utf8", INT_MAX);
    zmtest::RecordingSink sink;
    parser.GetData(sink, INT_MAX, INT_MAX);
    EXPECT_EQ(Recorded(sink), ExpectedCells(path));
}

Cells ReadDif(const std::string& name, int* status = nullptr) {
    DIFFile file;
    zmtest::RecordingSink sink;
    const int code = zmtest::ReadAll(file, (kData / "dif" / name).string(), sink);
    if (status != nullptr) {
        *status = code;
    } else {
        EXPECT_EQ(code, 0) << name;
    }
    return Recorded(sink);
}

Cells Rows(const std::vector<std::vector<std::string>>& rows) {
    Cells cells;
    for (size_t r = 0; r < rows.size(); ++r) {
        for (size_t c = 0; c < rows[r].size(); ++c)
            cells[{int(r + 1), int(c + 1)}] = rows[r][c];
    }
    return cells;
}

TEST(DifFixtures, GnumericExport) {
    EXPECT_EQ(ReadDif("gnumeric_export.dif"), Rows({{"id", "name", "value", "note"},
                                                    {"1", "alpha", "1.5", "plain"},
                                                    {"2", "beta, gamma", "-3", "say \"hi\""},
                                                    {"3", "", "0.25",
                                                     "\xC3\xBCn\xC3\xAF"
                                                     "c\xC3\xB6"
                                                     "d\xC3\xA9 \xE2\x82\xAC"},
                                                    {"4", "tab\there", "1e-05", "semi;colon"},
                                                    {"5", "1", "1e+20", "back\\slash"},
                                                    {"6", "short", "", ""}}));
}

// LibreOffice doubles quotes inside DIF strings; the reader takes off the outer quotes
// only, so the doubled quotes stay (deliberately: the writer does not double them).
TEST(DifFixtures, LibreOfficeExport) {
    EXPECT_EQ(ReadDif("libreoffice_export.dif"), Rows({{"id", "name", "value", "note"},
                                                       {"1", "alpha", "1.5", "plain"},
                                                       {"2", "beta, gamma", "-3", "say \"\"hi\"\""},
                                                       {"3", "", "0.25",
                                                        "\xC3\xBCn\xC3\xAF"
                                                        "c\xC3\xB6"
                                                        "d\xC3\xA9 \xE2\x82\xAC"},
                                                       {"4", "tab\there", "0.00001", "semi;colon"},
                                                       {"5", "TRUE", "1E+020", "back\\slash"},
                                                       {"6", "short", "", ""}}));
}

// Both programs write a line break inside a string as it is, which splits the string
// record over two lines: a record error, after the rows before it were delivered.
TEST(DifFixtures, LineBreakInsideAStringIsARecordError) {
    for (const char* name : {"gnumeric_multiline_string.dif", "libreoffice_multiline_string.dif"}) {
        int status = 0;
        const Cells cells = ReadDif(name, &status);
        EXPECT_EQ(status, 770) << name;
        EXPECT_EQ(cells.at({3, 2}), "beta, gamma") << name;
        EXPECT_EQ(cells.count({4, 2}), 0u) << name;
    }
}

}  // namespace
