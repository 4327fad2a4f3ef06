// The text options (stored form), the delimited text reader and writer
// (detection, cell cutting, sizes, ranged reads, row mapping, writing), and the status codes
// and registry entries of the text formats.
#include "formats/text/TextFile.h"

#include <gtest/gtest.h>

#include <memory>

#include "formats/text/CsvFile.h"
#include "formats/text/DIFFile.h"
#include "framework/OptionsRecord.h"
#include "framework/SprFileFactory.h"
#include "platform/Settings.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Grid;

// Delimiter, flag and encoding travel through the record in the cell and golden tests.
TEST(TextFileOptions, AMissingKeyFailsTheReadButKeepsWhatWasRead) {
    EXPECT_FALSE(TextFileOptions().Read(nullptr));
    zm::SettingsDocument noEncoding;
    noEncoding.SetString("Settings", "Delimiter", ",");
    noEncoding.SetBool("Settings", "IgnoreConsecutiveDelimiters", true);
    zmtest::OptionsRecord partial(noEncoding);
    TextFileOptions options;
    options.SetEncoding("utf8");
    EXPECT_FALSE(options.Read(&partial.options));
    EXPECT_EQ(options.GetDelimiter(), ",");
    EXPECT_EQ(options.GetEncoding(), "utf8");
}

TEST(TextFile, DetectionLooksForZeroBytesInTheFirst30768) {
    zmtest::ScratchDir dir;
    std::string text(40000, 'a');
    text[30768] = '\0';
    EXPECT_TRUE(TextFile::IsTextFile(dir.Write("late-zero", text).c_str()));
    text[30767] = '\0';
    EXPECT_FALSE(TextFile::IsTextFile(dir.Write("early-zero", text).c_str()));
    EXPECT_TRUE(TextFile::IsTextFile(dir.Write("utf16", std::string("\xFF\xFEh\0i\0", 6)).c_str()));
    EXPECT_TRUE(TextFile::IsTextFile(dir.Write("empty", "").c_str()));
    EXPECT_FALSE(TextFile::IsTextFile(dir.Path("missing").c_str()));
    EXPECT_FALSE(TextFile::IsTextFile(dir.dir.c_str()));
}

// Cells are cut at the whole delimiter; a leading delimiter makes an empty cell, a trailing
// one does not; there is no quoting. The size counts every line except an empty last one.
TEST(TextFile, CellsAndSize) {
    struct Case {
        std::string bytes, delimiter;
        bool ignoreConsecutive;
        Grid cells;
        int cols;
    };
    const Case cases[] = {
        {"1;;2\n", ";;", false, {{"1", "2"}}, 2},
        {"a,,,b\n", ",", true, {{"a", "b"}}, 2},
        {"a,,,b\n", ",", false, {{"a", "", "", "b"}}, 4},
        {"\tx\t\n", "\t", false, {{"", "x"}}, 2},
        {"\"a\tb\"\n", "\t", false, {{"\"a", "b\""}}, 2},
        // A run of delimiters at the end of a line is one delimiter with the flag set.
        {"a;;;\n", ";", true, {{"a"}}, 1},
        {"a\tb\r\n\r\nc\td\te\r\n\n", "\t", false, {{"a", "b"}, {}, {"c", "d", "e"}}, 3},
        {"a\nb", "\t", false, {{"a"}, {"b"}}, 1},
        {"", "\t", false, {}, 0},
    };
    zmtest::ScratchDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        TextFileOptions options;
        options.SetDelimiter(c.delimiter);
        options.SetIgnoreConsecutiveDelimiters(c.ignoreConsecutive);
        zmtest::OptionsRecord record;
        options.Write(&record.options);
        TextFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, dir.Write("in.txt", c.bytes), sink, &record.options), 0);
        EXPECT_EQ(zmtest::ToGrid(sink), c.cells);
        EXPECT_EQ(reader.GetNumCols(), c.cols);
    }
}

// Skips rows by answering with later rows (2, 4, 6...), then stops.
class SkippingSink : public zmtest::RecordingSink {
  public:
    int MapRow(int rowCounter) override {
        ++calls;
        return rowCounter >= stopAfter ? -1 : rowCounter == 0 ? 2 : rowCounter + 2;
    }
    int stopAfter = 1000;
    int calls = 0;
};

TEST(TextFile, RangedReadAndRowMapping) {
    zmtest::ScratchDir dir;
    std::string content;
    Grid rows(8);
    for (int r = 1; r <= 8; ++r) {
        for (int c = 1; c <= 5; ++c) {
            rows[r - 1].push_back(std::to_string(r * 10 + c));
            content += rows[r - 1].back() + (c < 5 ? "\t" : "\n");
        }
    }
    TextFile reader;
    ASSERT_EQ(reader.Open(true, dir.Write("grid.txt", content).c_str(), nullptr), 0);
    EXPECT_EQ(std::make_pair(reader.GetNumCols(), reader.GetNumRows()), std::make_pair(5, 8));

    // Columns 2 to 4 of rows 2 and 3.
    zmtest::RecordingSink block;
    block.SetDataSize(4, 3);
    ASSERT_EQ(reader.Read(&block, 4, 3, 2, 2, TextFileOptions()), 0);
    EXPECT_EQ(zmtest::ToGrid(block), (Grid{{}, {"", "22", "23", "24"}, {"", "32", "33", "34"}}));

    // The even rows; then rows 2 and 4 only, ended by the sink at its third answer.
    for (int stopAfter : {1000, 4}) {
        SkippingSink skipping;
        skipping.stopAfter = stopAfter;
        ASSERT_EQ(reader.Read(&skipping), 0);
        Grid expected(8);
        for (int r = 2; r <= (stopAfter == 4 ? 4 : 8); r += 2)
            expected[r - 1] = rows[r - 1];
        skipping.rows = 8;
        EXPECT_EQ(zmtest::ToGrid(skipping), expected);
        EXPECT_EQ(skipping.calls, stopAfter == 4 ? 3 : 5);
    }
}

TEST(TextFile, OptionsAndStreamFailures) {
    zmtest::ScratchDir dir;
    const std::string path = dir.Write("t.txt", "a\tb\n");
    zmtest::OptionsRecord noFlag(",", "utf8");  // the text reader needs the flag too
    TextFile badOptions;
    EXPECT_EQ(badOptions.Open(true, path.c_str(), &noFlag.options), 5);
    unsigned char garbage[] = {9, 0, 0, 0, 'n', 'o', 't', ' ', 'x', 'm', 'l', '!', '!'};
    ZmImportOpenOptions malformed{sizeof garbage, garbage};
    TextFile throwing;
    EXPECT_EQ(throwing.Open(true, path.c_str(), &malformed), 512);

    // The file vanishes between opening and sizing, or between sizing and reading.
    TextFile vanishing, late;
    ASSERT_EQ(vanishing.Open(true, dir.Write("gone.txt", "a\n").c_str(), nullptr), 0);
    ASSERT_EQ(late.Open(true, dir.Write("late.txt", "a\n").c_str(), nullptr), 0);
    ASSERT_EQ(late.GetNumRows(), 1);
    std::filesystem::remove(dir.Path("gone.txt"));
    std::filesystem::remove(dir.Path("late.txt"));
    EXPECT_EQ(vanishing.GetNumCols(), -1);
    EXPECT_EQ(vanishing.GetStatus(), 2);
    zmtest::RecordingSink sink;
    EXPECT_EQ(late.Read(&sink), 513);
}

// A missing file, then reading and writing in the wrong mode: the codes seen, in order.
// A failure is sticky until Close.
template <class File>
std::string ModeCodes(const zmtest::ScratchDir& dir, const std::string& readable) {
    zmtest::RecordingSink sink;
    zmtest::GridSource source({{zmtest::Text("x")}});
    File missing, writer, reader;
    std::string codes = std::to_string(missing.Open(true, dir.Path("none").c_str(), nullptr));
    codes += " " + std::to_string(missing.Read(&sink));
    missing.Close();
    codes += " " + std::to_string(missing.GetStatus());
    codes += " " + std::to_string(writer.Open(false, dir.Path("w").c_str(), nullptr));
    codes += " " + std::to_string(writer.Read(&sink));
    codes += " " + std::to_string(reader.Open(true, readable.c_str(), nullptr));
    return codes + " " + std::to_string(reader.Write(&source));
}

TEST(TextFormats, MissingFilesAndWrongModes) {
    zmtest::ScratchDir dir;
    const std::string dif = std::string(ZM_TEST_DATA) + "/dif/edge_transposed.dif";
    EXPECT_EQ(ModeCodes<TextFile>(dir, dir.Write("t.txt", "a\n")), "512 512 0 0 3 0 3");
    EXPECT_EQ(ModeCodes<DIFFile>(dir, dif), "768 768 0 0 3 0 3");
    // The CSV reader only remembers the name when opening, reads no rows from a file it
    // cannot open, and cannot write at all.
    EXPECT_EQ(ModeCodes<CsvFile>(dir, dir.Write("c.csv", "a\n")), "0 0 0 770 770 0 1");
}

// An encoding key outside the table is an options error in every text reader, not a
// file that cannot be opened.
TEST(TextFormats, AnUnknownEncodingKeyIsBadOptions) {
    zmtest::ScratchDir dir;
    zm::SettingsDocument document;
    document.SetString("Settings", "Encoding", "klingon");
    document.SetString("Settings", "Delimiter", ",");
    document.SetBool("Settings", "IgnoreConsecutiveDelimiters", false);
    const std::string bytes = zm::EncodeOptions(document);
    auto codeOf = [&](SpreadsheetFile&& reader, const std::string& file) {
        std::vector<unsigned char> own(bytes.begin(), bytes.end());
        ZmImportOpenOptions options{static_cast<uint32_t>(own.size()), own.data()};
        zmtest::RecordingSink sink;
        const int code = zmtest::ReadAll(reader, file, sink, &options);
        return std::to_string(code) + " " + zmtest::Message(reader);
    };
    const std::string bad = "5 Incorrect format of file open options";
    EXPECT_EQ(codeOf(TextFile(), dir.Write("t.txt", "a\tb\n")), bad);
    EXPECT_EQ(codeOf(CsvFile(), dir.Write("c.csv", "a,b\n")), bad);
    EXPECT_EQ(codeOf(DIFFile(), std::string(ZM_TEST_DATA) + "/dif/edge_transposed.dif"), bad);
}

// Rows the readers leave out, as their formats require, or that the header announces but
// the file lacks, are named in a warning.
TEST(TextFormats, RowsLeftOutAreCountedInAWarning) {
    zmtest::ScratchDir dir;
    auto warned = [](SpreadsheetFile&& reader, const std::string& file) {
        zmtest::RecordingSink sink;
        EXPECT_EQ(zmtest::ReadAll(reader, file, sink), 0);
        const char* warning = reader.GetWarningMessage();
        return std::to_string(sink.rows) + " " + (warning != nullptr ? warning : "-");
    };
    const std::string open = "A quoted field is not closed at the end of the file: its last ";
    EXPECT_EQ(warned(CsvFile(), dir.Write("a.csv", "a,b\n1,2\n3,\"x\n4,5\n6,7\n")),
              "2 " + open + "3 line(s), from the opening quote on, were not read.");
    EXPECT_EQ(warned(CsvFile(), dir.Write("b.csv", "a,b\n\"x")),
              "1 " + open + "1 line(s), from the opening quote on, were not read.");
    EXPECT_EQ(warned(CsvFile(), dir.Write("c.csv", "a,b\n\"x\"\n")), "2 -");
    const std::string head =
        "TABLE\n0,1\n\"\"\nVECTORS\n0,2\n\"\"\nTUPLES\n0,2\n\"\"\nDATA\n0,0\n\"\"\n";
    std::string tuples;
    for (int r = 0; r < 4; ++r)
        tuples += "-1,0\nBOT\n0," + std::to_string(r) + "\nV\n0,1\nV\n";
    EXPECT_EQ(warned(DIFFile(), dir.Write("d.dif", head + tuples + "-1,0\nEOD\n")),
              "2 The file holds 2 more row(s) than its header announces (TUPLES 2); they were "
              "not read.");
    const std::string shortDif =
        "TABLE\n0,1\n\"\"\nVECTORS\n0,2\n\"\"\nTUPLES\n0,5\n\"\"\nDATA\n0,0\n"
        "\"\"\n-1,0\nBOT\n1,0\n\"a\"\n0,1\nV\n-1,0\nEOD\n";
    EXPECT_EQ(warned(DIFFile(), dir.Write("e.dif", shortDif)),
              "1 The file holds 4 row(s) fewer than its header announces (TUPLES 5); they are "
              "missing.");
}

// The text reader takes any file (it refuses binary ones at Open), the CSV reader is a
// plausible guess for any file, the UTF-8 text writer reads nothing and writes rows of
// delimited cells in UTF-8 (a key in the record overriding the writer's encoding is checked
// by the command line's convert tests).
TEST(TextFormats, RegisteredFactories) {
    const int text = zmtest::FormatIndex("Text File"),
              utf8 = zmtest::FormatIndex("Text UTF-8 File"), csv = zmtest::FormatIndex("CSV File");
    ASSERT_TRUE(text > 0 && utf8 > 0 && csv > 0);
    zmtest::ScratchDir dir;
    const std::string binary = dir.Write("bin.dat", std::string("\0\1\2", 3));
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(text, binary.c_str()), SprFileFactory::kCanRead);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(utf8, binary.c_str()), SprFileFactory::kNotMine);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(csv, "/nonexistent"), SprFileFactory::kPlausible);
    std::unique_ptr<SpreadsheetFile> csvReader(SprFileFactory::GetSpreadsheetFile(csv));
    EXPECT_NE(dynamic_cast<CsvFile*>(csvReader.get()), nullptr);

    std::unique_ptr<SpreadsheetFile> writer(SprFileFactory::GetSpreadsheetFile(utf8));
    using zmtest::Text;
    zmtest::GridSource source({{{},
                                Text("Gr\xC3\xB6\xC3\x9F"
                                     "e"),
                                Text("\xD0\x9F")},
                               {Text("a"), Text("1.5"), {}}});
    ASSERT_EQ(writer->Open(false, dir.Path("u.txt").c_str(), nullptr), 0);
    ASSERT_EQ(writer->Write(&source), 0);
    writer->Close();
    EXPECT_EQ(zmtest::Slurp(dir.Path("u.txt")),
              "\tGr\xC3\xB6\xC3\x9F"
              "e\t\xD0\x9F\na\t1.5\t\n");
}

}  // namespace
