// The DIF reader and writer: records, sizing (header, transposed, scanned), ranged reads,
// codes, detection, and written files read back by us and by Gnumeric.
#include "formats/text/DIFFile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "formats/text/CsvFile.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Grid;

// A DIF file from rows of ready-made records ("1,0\n\"a\"" or "0,1\nV").
std::string Dif(int vectors, int tuples, const Grid& rows) {
    std::string out = "TABLE\n0,1\n\"t\"\nVECTORS\n0," + std::to_string(vectors) +
                      "\n\"\"\nTUPLES\n0," + std::to_string(tuples) + "\n\"\"\nDATA\n0,0\n\"\"\n";
    for (const auto& row : rows) {
        out += "-1,0\nBOT\n";
        for (const auto& record : row)
            out += record + "\n";
    }
    return out + "-1,0\nEOD\n";
}

std::string WithCrLf(const std::string& text) {
    std::string out;
    for (char c : text)
        out += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return out;
}

TEST(DIFFile, ValueKindsArriveAsText) {
    zmtest::ScratchDir dir;
    const auto path = dir.Write(
        "kinds.dif",
        WithCrLf(Dif(5, 2,
                     {{"1,0\n\"name\"", "0,1.5\nV", "0,1\nTRUE", "0,0\nFALSE", "1,0\n\"\""},
                      {"0,0\nERROR", "1,0\n\"x y\"", "0,9\nZZ", "0,7\nNA", "0,-3\nV"}})));
    DIFFile file;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(file, path, sink), 0);
    EXPECT_EQ(file.GetNumCols(), 5);
    EXPECT_EQ(file.GetNumRows(), 2);
    // TRUE and FALSE are 1 and 0; ERROR, NA and an unknown indicator are empty but still
    // take their columns.
    EXPECT_EQ(zmtest::ToGrid(sink),
              (Grid{{"name", "1.5", "1", "0", ""}, {"", "x y", "", "", "-3"}}));
    EXPECT_EQ(sink.At(2, 1).via, 't');
}

TEST(DIFFile, SizeFromHeaderTransposedOrScanned) {
    zmtest::ScratchDir dir;
    auto size = [&](const std::string& bytes) {
        DIFFile file;
        file.Open(true, dir.Write("s.dif", bytes).c_str(), nullptr);
        return std::to_string(file.GetNumRows()) + "x" + std::to_string(file.GetNumCols());
    };
    // The first tuple is as long as TUPLES says: rows and columns are exchanged.
    EXPECT_EQ(size(Dif(3, 2, {{"0,1\nV", "0,2\nV"}, {"0,3\nV", "0,4\nV"}, {"0,5\nV", "0,6\nV"}})),
              "3x2");
    // A header claiming far more than the file can hold is not believed.
    EXPECT_EQ(size(Dif(1, 2000000000, {{"0,1\nV"}})), "1x1");

    // Neither count fits: the data is scanned; missing values do not widen a row.
    const auto path = dir.Write(
        "n.dif", Dif(9, 9, {{"0,1\nV"}, {"0,1\nV", "1,0\n\"a\"", "0,0\nNA", "0,0\nNA"}, {}}));
    DIFFile scanned;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(scanned, path, sink), 0);
    EXPECT_EQ(scanned.GetNumRows(), 3);
    EXPECT_EQ(scanned.GetNumCols(), 2);
    EXPECT_FALSE(sink.Has(3, 2));  // beyond the established columns
}

// Wants only the odd rows of the file: the next odd row after the rows read so far.
class OddRowsSink : public zmtest::RecordingSink {
  public:
    int MapRow(int counter) override { return counter % 2 == 1 ? counter + 2 : counter + 1; }
};

TEST(DIFFile, RangedReadAndRowMapping) {
    zmtest::ScratchDir dir;
    Grid rows(4);
    for (int r = 1; r <= 4; ++r) {
        for (int c = 1; c <= 3; ++c)
            rows[r - 1].push_back("0," + std::to_string(10 * r + c) + "\nV");
    }
    DIFFile file;
    ASSERT_EQ(file.Open(true, dir.Write("r.dif", Dif(3, 4, rows)).c_str(), nullptr), 0);
    zmtest::RecordingSink sink;
    EXPECT_EQ(file.Read(&sink, 2, 2, DifFileOptions()), 0);
    EXPECT_EQ(zmtest::ToGrid(sink), (Grid{{"11", "12"}, {"21", "22"}}));
    EXPECT_EQ(sink.cols, 0);  // ended by the row limit: the reported width is 0

    OddRowsSink odd;
    EXPECT_EQ(file.Read(&odd), 0);
    EXPECT_EQ(zmtest::ToGrid(odd), (Grid{{"11", "12", "13"}, {}, {"31", "32", "33"}, {}}));
    EXPECT_EQ(odd.cols, 3);  // the width of the last tuple read
}

TEST(DIFFile, BrokenFilesGiveTheirCodes) {
    zmtest::ScratchDir dir;
    auto openCode = [&](const std::string& bytes) {
        DIFFile file;
        return file.Open(true, dir.Write("x.dif", bytes).c_str(), nullptr);
    };
    EXPECT_EQ(openCode("TABLE\n0 1\n\"t\"\nDATA\n0,0\n\"\"\n"), 769);  // no comma
    EXPECT_EQ(openCode("TABLE\n0,1\n\"t\"\nVECTORS\n0,3\n"), 769);     // cut in the header
    EXPECT_EQ(openCode(""), 769);

    // An unquoted string record is a record error when sizing.
    DIFFile sizing;
    ASSERT_EQ(
        sizing.Open(true, dir.Write("b.dif", Dif(1, 1, {{"1,0\nnot quoted"}})).c_str(), nullptr),
        0);
    EXPECT_EQ(sizing.GetNumRows(), -1);
    EXPECT_EQ(sizing.GetStatus(), 770);

    // Data cut before EOD: what came before the damage was delivered.
    std::string cut = Dif(2, 1, {{"0,1\nV", "0,2\nV"}});
    cut.resize(cut.size() - 10);
    DIFFile truncated;
    ASSERT_EQ(truncated.Open(true, dir.Write("cut.dif", cut).c_str(), nullptr), 0);
    zmtest::RecordingSink sink;
    EXPECT_EQ(truncated.Read(&sink, 2, 1, DifFileOptions()), 770);
    EXPECT_EQ(sink.Text(2, 1), "2");
}

// The record holds only the encoding, and the encoding chosen there decodes the strings.
TEST(DIFFile, OptionsRecordHoldsOnlyTheEncoding) {
    zmtest::ScratchDir dir;
    const auto path = dir.Write("o.dif", Dif(1, 1, {{"1,0\n\"\xE9\""}}));
    DIFFile file;
    zmtest::OptionsRecord empty;
    ASSERT_EQ(file.Open(true, path.c_str(), &empty.options), 0);
    EXPECT_EQ(zmtest::StoredKeys(&empty.options), "Encoding=;");

    zm::SettingsDocument latin;
    latin.SetString("Settings", "Encoding", "iso88591");
    zmtest::OptionsRecord record(latin);
    DIFFile decoded;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(decoded, path, sink, &record.options), 0);
    EXPECT_EQ(sink.Text(1, 1), "\xC3\xA9");
}

TEST(DIFFile, RecognisesDifByContent) {
    zmtest::ScratchDir dir;
    EXPECT_TRUE(DIFFile::IsDIFFile(dir.Write("a.txt", WithCrLf(Dif(1, 1, {{"0,1\nV"}}))).c_str()));
    std::string wide = "\xFF\xFE";  // UTF-16 with a byte-order mark
    for (char c : Dif(1, 1, {{"0,1\nV"}}))
        wide += std::string{c, '\0'};
    EXPECT_TRUE(DIFFile::IsDIFFile(dir.Write("w.dif", wide).c_str()));
    EXPECT_FALSE(DIFFile::IsDIFFile(dir.Write("c.dif", "a,b\n1,2\n").c_str()));
    EXPECT_FALSE(DIFFile::IsDIFFile(dir.Write("n.dif", std::string("TABLE\n0,1\0", 10)).c_str()));
    EXPECT_FALSE(DIFFile::IsDIFFile(dir.Write("k.dif", "TABLE\nhello\n").c_str()));
    EXPECT_FALSE(DIFFile::IsDIFFile(dir.Path("none.dif").c_str()));
}

// The twelve header lines and one record per cell, read back the same by us and, when it is
// installed, by Gnumeric.
TEST(DIFFile, WrittenFilesReadBackTheSameHereAndInGnumeric) {
    zmtest::ScratchDir dir;
    using zmtest::Num, zmtest::Text;
    zmtest::GridSource source({{Text("id"), Text("two\r\nlines"), {}},
                               {Num(1.5f), Num(-99.0f), Num(1e20f, "1E+20")},
                               {Text("x, y"), Num(-3.0f), Num(1.25f)}});
    const auto path = dir.Path("out.dif");
    DIFFile writer;
    ASSERT_EQ(writer.Open(false, path.c_str(), nullptr), 0);
    ASSERT_EQ(writer.Write(&source), 0);
    writer.Close();
    EXPECT_EQ(zmtest::Slurp(path),
              "TABLE\n0,1\n\"out.dif\"\nVECTORS\n0,3\n\"\"\nTUPLES\n0,3\n\"\"\nDATA\n0,0\n\"\"\n"
              "-1,0\nBOT\n1,0\n\"id\"\n1,0\n\"two lines\"\n1,0\n\"\"\n"
              "-1,0\nBOT\n0,1.5\nV\n0,\nV\n0,1E+20\nV\n"
              "-1,0\nBOT\n1,0\n\"x, y\"\n0,-3\nV\n0,1.25\nV\n"
              "-1,0\nEOD\n");

    DIFFile reader;
    zmtest::RecordingSink ours;
    ASSERT_EQ(zmtest::ReadAll(reader, path, ours), 0);
    const Grid expected = {{"id", "two lines", ""}, {"1.5", "", "1E+20"}, {"x, y", "-3", "1.25"}};
    EXPECT_EQ(zmtest::ToGrid(ours), expected);

    if (std::system("command -v ssconvert >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "ssconvert (Gnumeric) is not installed";
    const auto csv = dir.Path("g.csv");
    const std::string command =
        "ssconvert --export-type=Gnumeric_stf:stf_csv '" + path + "' '" + csv + "' >/dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
    CsvFile exported;
    zmtest::RecordingSink theirs;
    ASSERT_EQ(zmtest::ReadAll(exported, csv, theirs), 0);
    // Gnumeric prints numbers its own way, so numbers are compared by value; it reads the
    // empty numeric value of the missing marker as 0.
    auto byValue = [](Grid grid) {
        for (auto& row : grid) {
            for (auto& text : row) {
                char* end = nullptr;
                const double value = std::strtod(text.c_str(), &end);
                if (!text.empty() && *end == '\0')
                    text = std::to_string(value);
            }
        }
        return grid;
    };
    Grid inGnumeric = expected;
    inGnumeric[1][1] = "0";
    EXPECT_EQ(byValue(zmtest::ToGrid(theirs)), byValue(inGnumeric));
}

}  // namespace
