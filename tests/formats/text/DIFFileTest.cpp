// The DIF reader and writer: ranged reads, header codes, options, detection, and written
// files read back by us and by Gnumeric.
#include "formats/text/DIFFile.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "formats/text/CsvFile.h"
#include "tests/support/HostileLocale.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Grid;

// The smallest DIF file: a header of TABLE and DATA, one tuple holding `record`.
std::string Dif(const std::string& record) {
    return "TABLE\n0,1\n\"t\"\nDATA\n0,0\n\"\"\n-1,0\nBOT\n" + record + "\n-1,0\nEOD\n";
}

// Wants only the odd rows of the file: the next odd row after the rows read so far.
class OddRowsSink : public zmtest::RecordingSink {
  public:
    int MapRow(int counter) override { return counter % 2 == 1 ? counter + 2 : counter + 1; }
};

// Sizing and value kinds are covered by the edge_* fixtures with the other DIF goldens.
TEST(DIFFile, RangedReadAndRowMapping) {
    const std::string dif = std::string(ZM_TEST_DATA) + "/dif/";
    DIFFile file;
    ASSERT_EQ(file.Open(true, (dif + "edge_transposed.dif").c_str(), nullptr), 0);
    zmtest::RecordingSink sink;
    EXPECT_EQ(file.Read(&sink, 1, 2, DifFileOptions()), 0);
    EXPECT_EQ(zmtest::ToGrid(sink), (Grid{{"1"}, {"3"}}));
    EXPECT_EQ(sink.cols, 0);  // ended by the row limit: the reported width is 0
    OddRowsSink odd;
    EXPECT_EQ(file.Read(&odd), 0);
    EXPECT_EQ(zmtest::ToGrid(odd), (Grid{{"1", "2"}, {}, {"5", "6"}}));
    EXPECT_EQ(odd.cols, 2);  // the width of the last tuple read

    // A read without sizing delivers what came before damage in the data.
    DIFFile cut;
    ASSERT_EQ(cut.Open(true, (dif + "edge_cut_before_eod.dif").c_str(), nullptr), 0);
    zmtest::RecordingSink partial;
    EXPECT_EQ(cut.Read(&partial, 2, 1, DifFileOptions()), 770);
    EXPECT_EQ(partial.Text(2, 1), "2");
}

TEST(DIFFile, BrokenHeadersAre769) {
    zmtest::ScratchDir dir;
    for (const char* bytes :
         {"TABLE\n0 1\n\"t\"\nDATA\n0,0\n\"\"\n", "TABLE\n0,1\n\"t\"\nVECTORS\n0,3\n", ""}) {
        DIFFile file;
        EXPECT_EQ(file.Open(true, dir.Write("x.dif", bytes).c_str(), nullptr), 769) << bytes;
    }
}

// The record holds only the encoding, and the encoding chosen there decodes the strings.
TEST(DIFFile, OptionsRecordHoldsOnlyTheEncoding) {
    zmtest::ScratchDir dir;
    const auto path = dir.Write("o.dif", Dif("1,0\n\"\xE9\""));
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
    EXPECT_TRUE(DIFFile::IsDIFFile(dir.Write("a.txt", Dif("0,1\nV")).c_str()));
    std::string wide = "\xFF\xFE";  // UTF-16 with a byte-order mark
    for (char c : Dif("0,1\nV"))
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
    {
        // A host's decimal comma and digit grouping change nothing in the file.
        zmtest::HostileLocale hostile;
        DIFFile writer;
        ASSERT_EQ(writer.Open(false, path.c_str(), nullptr), 0);
        ASSERT_EQ(writer.Write(&source), 0);
        writer.Close();
    }
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
