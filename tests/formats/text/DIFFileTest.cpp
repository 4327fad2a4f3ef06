// The DIF reader and writer: header and records, sizing (header, transposed, scanned),
// ranged reads, codes, detection, and written files read back by us and by Gnumeric.
#include "formats/text/DIFFile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "formats/text/CsvFile.h"
#include "platform/Settings.h"
#include "tests/support/RecordingSink.h"

namespace {

// A DIF file body from rows of ready-made records ("1,0\n\"a\"" or "0,1\nV").
std::string Dif(int vectors, int tuples, const std::vector<std::vector<std::string>>& rows,
                const std::string& eol = "\n") {
    std::string out = "TABLE\n0,1\n\"t\"\nVECTORS\n0," + std::to_string(vectors) +
                      "\n\"\"\nTUPLES\n0," + std::to_string(tuples) + "\n\"\"\nDATA\n0,0\n\"\"\n";
    for (const auto& row : rows) {
        out += "-1,0\nBOT\n";
        for (const auto& record : row)
            out += record + "\n";
    }
    out += "-1,0\nEOD\n";
    if (eol != "\n") {
        std::string converted;
        for (char c : out)
            converted += c == '\n' ? eol : std::string(1, c);
        return converted;
    }
    return out;
}

// Cells of a sheet for writing: a number, a text, or missing.
struct SourceCell {
    enum Kind { kNumber, kText, kMissing } kind = kMissing;
    float number = 0;
    std::string text;
};

class GridSource : public WriteSpreadSheetData {
  public:
    explicit GridSource(std::vector<std::vector<SourceCell>> cells) : cells(std::move(cells)) {}
    int GetNumberOfColumns() override { return static_cast<int>(cells.at(0).size()); }
    int GetNumberOfRows() override { return static_cast<int>(cells.size()); }
    float GetNumber(int col, int row) override { return At(col, row).number; }
    std::string GetText(int col, int row) override { return At(col, row).text; }
    bool GetDataOrigin(int* col, int* row) override {
        *col = *row = 1;
        return true;
    }
    bool IsNumber(int col, int row) override { return At(col, row).kind == SourceCell::kNumber; }
    bool IsMissing(int col, int row) override { return At(col, row).kind == SourceCell::kMissing; }
    bool IsText(int col, int row) override { return At(col, row).kind == SourceCell::kText; }

  private:
    const SourceCell& At(int col, int row) const { return cells.at(row - 1).at(col - 1); }
    std::vector<std::vector<SourceCell>> cells;
};

SourceCell Num(float v, std::string ownText = "") {
    return {SourceCell::kNumber, v, ownText};
}
SourceCell Text(std::string t) {
    return {SourceCell::kText, 0, std::move(t)};
}
SourceCell Missing() {
    return {};
}

// Wants only the odd rows of the file: the next odd row after the rows read so far.
class OddRowsSink : public zmtest::RecordingSink {
  public:
    int MapRow(int counter) override { return counter % 2 == 1 ? counter + 2 : counter + 1; }
};

class DIFFileTest : public ::testing::Test {
  protected:
    void SetUp() override {
        dir = std::filesystem::temp_directory_path() /
              ("zm_dif_" + std::to_string(::getpid()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(dir);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }

    std::string Write(const std::string& name, const std::string& bytes) {
        const auto path = (dir / name).string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    static std::string Slurp(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }

    std::filesystem::path dir;
};

TEST_F(DIFFileTest, ValueKindsArriveAsText) {
    const auto path = Write(
        "kinds.dif", Dif(5, 2,
                         {{"1,0\n\"name\"", "0,1.5\nV", "0,1\nTRUE", "0,0\nFALSE", "1,0\n\"\""},
                          {"0,0\nERROR", "1,0\n\"x y\"", "0,9\nZZ", "0,7\nNA", "0,-3\nV"}},
                         "\r\n"));
    DIFFile file;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(file, path, sink), 0);
    EXPECT_EQ(file.GetNumCols(), 5);
    EXPECT_EQ(file.GetNumRows(), 2);
    EXPECT_EQ(sink.Text(1, 1), "name");
    EXPECT_EQ(sink.Text(2, 1), "1.5");
    EXPECT_EQ(sink.Text(3, 1), "1");  // TRUE
    EXPECT_EQ(sink.Text(4, 1), "0");  // FALSE
    EXPECT_EQ(sink.Text(5, 1), "");
    EXPECT_EQ(sink.Text(1, 2), "");  // ERROR: empty, and it still takes its column
    EXPECT_EQ(sink.Text(2, 2), "x y");
    EXPECT_EQ(sink.Text(3, 2), "");  // an unknown indicator empties the value
    EXPECT_EQ(sink.Text(4, 2), "");  // NA
    EXPECT_EQ(sink.Text(5, 2), "-3");
    EXPECT_EQ(sink.At(2, 1).via, 't');
}

TEST_F(DIFFileTest, SizeFromHeaderTransposedOrScanned) {
    // The first tuple is as long as TUPLES says: rows and columns are exchanged.
    DIFFile transposed;
    transposed.Open(
        true,
        Write("t.dif",
              Dif(3, 2, {{"0,1\nV", "0,2\nV"}, {"0,3\nV", "0,4\nV"}, {"0,5\nV", "0,6\nV"}}))
            .c_str(),
        nullptr);
    EXPECT_EQ(transposed.GetNumRows(), 3);
    EXPECT_EQ(transposed.GetNumCols(), 2);

    // Neither count fits: the data is scanned; missing values do not widen a row.
    DIFFile scanned;
    scanned.Open(
        true,
        Write("s.dif", Dif(9, 9, {{"0,1\nV"}, {"0,1\nV", "1,0\n\"a\"", "0,0\nNA", "0,0\nNA"}, {}}))
            .c_str(),
        nullptr);
    EXPECT_EQ(scanned.GetNumRows(), 3);
    EXPECT_EQ(scanned.GetNumCols(), 2);
    zmtest::RecordingSink sink;
    EXPECT_EQ(scanned.Read(&sink), 0);
    EXPECT_FALSE(sink.Has(3, 2));  // beyond the established columns

    // A header claiming far more than the file can hold is not believed.
    DIFFile bragging;
    bragging.Open(true, Write("b.dif", Dif(1, 2000000000, {{"0,1\nV"}})).c_str(), nullptr);
    EXPECT_EQ(bragging.GetNumRows(), 1);
    EXPECT_EQ(bragging.GetNumCols(), 1);
}

TEST_F(DIFFileTest, RangedReadAndRowMapping) {
    const auto path = Write("r.dif", Dif(3, 4,
                                         {{"0,11\nV", "0,12\nV", "0,13\nV"},
                                          {"0,21\nV", "0,22\nV", "0,23\nV"},
                                          {"0,31\nV", "0,32\nV", "0,33\nV"},
                                          {"0,41\nV", "0,42\nV", "0,43\nV"}}));
    DIFFile file;
    ASSERT_EQ(file.Open(true, path.c_str(), nullptr), 0);
    zmtest::RecordingSink sink;
    EXPECT_EQ(file.Read(&sink, 2, 2, DifFileOptions()), 0);
    EXPECT_EQ(sink.cells.size(), 4u);
    EXPECT_EQ(sink.Text(2, 2), "22");
    // Ended by the row limit: the reported width is 0.
    EXPECT_EQ(sink.cols, 0);
    EXPECT_EQ(sink.rows, 2);

    OddRowsSink odd;
    EXPECT_EQ(file.Read(&odd), 0);
    EXPECT_TRUE(odd.Has(1, 1));
    EXPECT_FALSE(odd.Has(1, 2));
    EXPECT_EQ(odd.Text(3, 3), "33");
    EXPECT_EQ(odd.cols, 3);  // the width of the last tuple read
    EXPECT_EQ(odd.rows, 4);
}

TEST_F(DIFFileTest, BrokenFilesGiveTheirCodes) {
    auto openCode = [&](const std::string& bytes) {
        DIFFile file;
        return file.Open(true, Write("x.dif", bytes).c_str(), nullptr);
    };
    EXPECT_EQ(openCode("TABLE\n0 1\n\"t\"\nDATA\n0,0\n\"\"\n"), 769);  // no comma
    EXPECT_EQ(openCode("TABLE\n0,1\n\"t\"\nVECTORS\n0,3\n"), 769);     // cut in the header
    EXPECT_EQ(openCode(""), 769);

    // An unquoted string record is a record error when sizing and reading.
    const auto bad = Write("bad.dif", Dif(1, 1, {{"1,0\nnot quoted"}}));
    DIFFile sizing;
    ASSERT_EQ(sizing.Open(true, bad.c_str(), nullptr), 0);
    EXPECT_EQ(sizing.GetNumRows(), -1);
    EXPECT_EQ(sizing.GetStatus(), 770);
    char message[64];
    sizing.GetErrorMessage(message, sizeof message);
    EXPECT_STREQ(message, "An error was found in a DIF record.");

    // Data cut before EOD.
    std::string cut = Dif(2, 1, {{"0,1\nV", "0,2\nV"}});
    cut.resize(cut.size() - 10);
    DIFFile truncated;
    ASSERT_EQ(truncated.Open(true, Write("cut.dif", cut).c_str(), nullptr), 0);
    zmtest::RecordingSink sink;
    EXPECT_EQ(truncated.Read(&sink, 2, 1, DifFileOptions()), 770);
    EXPECT_EQ(sink.Text(2, 1), "2");  // what came before the damage was delivered

    DIFFile missing;
    EXPECT_EQ(missing.Open(true, (dir / "none.dif").c_str(), nullptr), 768);
    DIFFile writer;
    ASSERT_EQ(writer.Open(false, (dir / "w.dif").c_str(), nullptr), 0);
    EXPECT_EQ(writer.Read(&sink), 3);
    DIFFile reader;
    ASSERT_EQ(reader.Open(true, bad.c_str(), nullptr), 0);
    GridSource source({{Num(1)}});
    EXPECT_EQ(reader.Write(&source), 3);
}

TEST_F(DIFFileTest, OptionsRecordHoldsOnlyTheEncoding) {
    const auto path = Write("o.dif", Dif(1, 1, {{"1,0\n\"\xE9\""}}));
    DIFFile file;
    ZmImportOpenOptions record{0, nullptr};
    ASSERT_EQ(file.Open(true, path.c_str(), &record), 0);
    std::unique_ptr<zm::SettingsDocument> doc;
    ASSERT_EQ(zm::DecodeOptions(&record, doc), zm::OptionsDecode::kDecoded);
    EXPECT_EQ(doc->GetString("Settings", "Encoding"), "");
    EXPECT_FALSE(doc->HasKey("Settings", "Delimiter"));
    EXPECT_FALSE(doc->HasKey("Settings", "IgnoreConsecutiveDelimiters"));
    delete[] record.data;

    // The encoding chosen in the record decodes the strings.
    zm::SettingsDocument latin;
    latin.SetString("Settings", "Encoding", "iso88591");
    zm::StoreOptions(&record, latin);
    DIFFile decoded;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(decoded, path, sink, &record), 0);
    EXPECT_EQ(sink.Text(1, 1), "\xC3\xA9");
    delete[] record.data;
}

TEST_F(DIFFileTest, WritesTheTwelveHeaderLinesAndOneRecordPerCell) {
    GridSource source({{Text("id"), Text("two\r\nlines"), Missing()},
                       {Num(1.5f), Num(-99.0f), Num(1e20f, "1E+20")}});
    const auto path = (dir / "out.dif").string();
    DIFFile writer;
    ASSERT_EQ(writer.Open(false, path.c_str(), nullptr), 0);
    ASSERT_EQ(writer.Write(&source), 0);
    writer.Close();
    EXPECT_EQ(Slurp(path),
              "TABLE\n0,1\n\"out.dif\"\nVECTORS\n0,3\n\"\"\nTUPLES\n0,2\n\"\"\nDATA\n0,0\n\"\"\n"
              "-1,0\nBOT\n1,0\n\"id\"\n1,0\n\"two lines\"\n1,0\n\"\"\n"
              "-1,0\nBOT\n0,1.5\nV\n0,\nV\n0,1E+20\nV\n"
              "-1,0\nEOD\n");

    DIFFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, path, sink), 0);
    EXPECT_EQ(sink.Text(2, 1), "two lines");
    EXPECT_EQ(sink.Text(1, 2), "1.5");
    EXPECT_EQ(sink.Text(2, 2), "");
    EXPECT_EQ(sink.Text(3, 2), "1E+20");
}

TEST_F(DIFFileTest, RecognisesDifByContent) {
    EXPECT_TRUE(DIFFile::IsDIFFile(Write("a.txt", Dif(1, 1, {{"0,1\nV"}}, "\r\n")).c_str()));
    // UTF-16 with a byte-order mark.
    std::string wide = "\xFF\xFE";
    for (char c : Dif(1, 1, {{"0,1\nV"}}))
        wide += std::string{c, '\0'};
    EXPECT_TRUE(DIFFile::IsDIFFile(Write("w.dif", wide).c_str()));
    EXPECT_FALSE(DIFFile::IsDIFFile(Write("c.dif", "a,b\n1,2\n").c_str()));
    EXPECT_FALSE(DIFFile::IsDIFFile(Write("n.dif", std::string("TABLE\n0,1\0", 10)).c_str()));
    EXPECT_FALSE(DIFFile::IsDIFFile(Write("k.dif", "TABLE\nhello\n").c_str()));
    EXPECT_FALSE(DIFFile::IsDIFFile((dir / "none.dif").c_str()));
}

// The written file opens in Gnumeric with the same cells.
TEST_F(DIFFileTest, GnumericReadsWhatWeWrite) {
    if (std::system("command -v ssconvert >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "ssconvert (Gnumeric) is not installed";
    }
    GridSource source({{Text("name"), Text("value"), Text("note")},
                       {Text("a"), Num(1.25f), Text("x, y")},
                       {Text("b"), Num(-3.0f), Missing()},
                       {Text("c"), Num(1e20f, "1E+20"), Text("last")}});
    const auto dif = (dir / "g.dif").string();
    DIFFile writer;
    ASSERT_EQ(writer.Open(false, dif.c_str(), nullptr), 0);
    ASSERT_EQ(writer.Write(&source), 0);
    writer.Close();

    const auto csv = (dir / "g.csv").string();
    const std::string command =
        "ssconvert --export-type=Gnumeric_stf:stf_csv '" + dif + "' '" + csv + "' >/dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
    CsvFile exported;
    zmtest::RecordingSink cells;
    ASSERT_EQ(zmtest::ReadAll(exported, csv, cells), 0);
    ASSERT_EQ(cells.rows, 4);
    const std::vector<std::vector<std::string>> expected = {
        {"name", "value", "note"}, {"a", "1.25", "x, y"}, {"b", "-3", ""}, {"c", "1E+20", "last"}};
    for (int r = 1; r <= 4; ++r) {
        for (int c = 1; c <= 3; ++c) {
            const std::string want = expected[r - 1][c - 1];
            ASSERT_TRUE(cells.Has(c, r)) << r << "," << c;
            if (c == 2 && r > 1) {
                EXPECT_EQ(std::stod(cells.Text(c, r)), std::stod(want)) << r << "," << c;
            } else {
                EXPECT_EQ(cells.Text(c, r), want) << r << "," << c;
            }
        }
    }

    DIFFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, dif, sink), 0);
    EXPECT_EQ(sink.Text(3, 2), "x, y");
    EXPECT_EQ(sink.Text(2, 4), "1E+20");
}

}  // namespace
