// The delimited text reader and writer: detection, cell cutting, sizes, ranged reads, row
// mapping, writing, status codes of the text formats and the registry entries.
#include "formats/text/TextFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "formats/text/CsvFile.h"
#include "formats/text/DIFFile.h"
#include "framework/SprFileFactory.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Grid;

TextFileOptions Options(const std::string& encoding, const std::string& delimiter = "\t",
                        bool ignore = false) {
    TextFileOptions o;
    o.SetEncoding(encoding);
    o.SetDelimiter(delimiter);
    o.SetIgnoreConsecutiveDelimiters(ignore);
    return o;
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
        std::string bytes;
        TextFileOptions options;
        Grid cells;
        int rows, cols;
    };
    const Case cases[] = {
        {"1;;2\n", Options("utf8", ";;"), {{"1", "2"}}, 1, 2},
        {"a,,,b\n", Options("utf8", ",", true), {{"a", "b"}}, 1, 2},
        {"a,,,b\n", Options("utf8", ","), {{"a", "", "", "b"}}, 1, 4},
        {"\tx\t\n", Options("utf8"), {{"", "x"}}, 1, 2},
        {"\"a\tb\"\n", Options("utf8"), {{"\"a", "b\""}}, 1, 2},
        // A run of delimiters at the end of a line is one delimiter with the flag set.
        {"a;;;\n", Options("utf8", ";", true), {{"a"}}, 1, 1},
        {"a\tb\r\n\r\nc\td\te\r\n\n", Options("utf8"), {{"a", "b"}, {}, {"c", "d", "e"}}, 3, 3},
        {"a\tb\n\nc\td\te\n\n", Options("utf8"), {{"a", "b"}, {}, {"c", "d", "e"}}, 3, 3},
        {"a\nb", Options("utf8"), {{"a"}, {"b"}}, 2, 1},
        {"", Options("utf8"), {}, 0, 0},
    };
    zmtest::ScratchDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        TextFile reader;
        zmtest::RecordingSink sink;
        zmtest::OptionsRecord record;
        c.options.Write(&record.options);
        ASSERT_EQ(zmtest::ReadAll(reader, dir.Write("in.txt", c.bytes), sink, &record.options), 0);
        EXPECT_EQ(zmtest::ToGrid(sink), c.cells);
        EXPECT_EQ(reader.GetNumRows(), c.rows);
        EXPECT_EQ(reader.GetNumCols(), c.cols);
    }
}

// Skips rows by answering with later rows, then stops.
class SkippingSink : public zmtest::RecordingSink {
  public:
    int MapRow(int rowCounter) override {
        ++calls;
        if (rowCounter >= stopAfter)
            return -1;
        return rowCounter == 0 ? 2 : rowCounter + 2;
    }
    int stopAfter = 1000;
    int calls = 0;
};

TEST(TextFile, RangedReadAndRowMapping) {
    zmtest::ScratchDir dir;
    std::string content;
    for (int r = 1; r <= 8; ++r) {
        for (int c = 1; c <= 5; ++c)
            content += std::to_string(r * 10 + c) + (c < 5 ? "," : "\n");
    }
    zmtest::OptionsRecord record;
    Options("utf8", ",").Write(&record.options);
    TextFile reader;
    ASSERT_EQ(reader.Open(true, dir.Write("grid.txt", content).c_str(), &record.options), 0);
    EXPECT_EQ(reader.GetNumCols(), 5);
    EXPECT_EQ(reader.GetNumRows(), 8);

    zmtest::RecordingSink block;
    ASSERT_EQ(reader.Read(&block, 4, 3, 2, 2, Options("utf8", ",")), 0);
    EXPECT_EQ(block.cells.size(), 6u);
    EXPECT_EQ(block.Text(2, 2), "22");
    EXPECT_EQ(block.Text(4, 3), "34");
    EXPECT_FALSE(block.Has(5, 2));
    EXPECT_FALSE(block.Has(1, 2));

    SkippingSink skipping;
    ASSERT_EQ(reader.Read(&skipping), 0);
    EXPECT_TRUE(skipping.Has(1, 2));
    EXPECT_TRUE(skipping.Has(5, 8));
    EXPECT_FALSE(skipping.Has(1, 3));
    EXPECT_EQ(skipping.cells.size(), 20u);

    SkippingSink stopping;
    stopping.stopAfter = 4;
    ASSERT_EQ(reader.Read(&stopping), 0);
    EXPECT_EQ(stopping.cells.size(), 10u);
    EXPECT_EQ(stopping.calls, 3);
}

TEST(TextFile, WrittenFilesReadBackInTheirEncoding) {
    zmtest::ScratchDir dir;
    using zmtest::Text;
    zmtest::GridSource source({{{}, Text("Größe"), Text("Привет")},
                               {Text("a"), Text("1.5"), {}},
                               {Text("b"), Text("-2"), Text("日本")}});
    const std::string path = dir.Path("out.txt");
    TextFile writer("utf8");
    ASSERT_EQ(writer.Open(false, path.c_str(), nullptr), 0);
    ASSERT_EQ(writer.Write(&source), 0);
    writer.Close();
    EXPECT_EQ(zmtest::Slurp(path), "\tGröße\tПривет\na\t1.5\t\nb\t-2\t日本\n");

    // A key in the record overrides the writer's own encoding.
    zmtest::OptionsRecord record;
    Options("utf16le").Write(&record.options);
    TextFile utf16;
    ASSERT_EQ(utf16.Open(false, path.c_str(), &record.options), 0);
    ASSERT_EQ(utf16.Write(&source), 0);
    utf16.Close();
    EXPECT_EQ(zmtest::Slurp(path).substr(0, 4), std::string("\xFF\xFE\t\0", 4));
    TextFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, path, sink), 0);
    EXPECT_EQ(zmtest::ToGrid(sink),
              (Grid{{"", "Größe", "Привет"}, {"a", "1.5"}, {"b", "-2", "日本"}}));
}

TEST(TextFile, StatusCodes) {
    zmtest::ScratchDir dir;
    zmtest::RecordingSink sink;
    TextFile missing;
    EXPECT_EQ(missing.Open(true, dir.Path("none.txt").c_str(), nullptr), 512);
    EXPECT_EQ(missing.Read(&sink), 512);  // sticky until Close
    missing.Close();
    EXPECT_EQ(missing.GetStatus(), 0);

    const std::string path = dir.Write("t.txt", "a\tb\n");
    TextFile writer;
    ASSERT_EQ(writer.Open(false, dir.Path("w.txt").c_str(), nullptr), 0);
    EXPECT_EQ(writer.Read(&sink), 3);
    TextFile reader;
    ASSERT_EQ(reader.Open(true, path.c_str(), nullptr), 0);
    zmtest::GridSource source({{zmtest::Text("x")}});
    EXPECT_EQ(reader.Write(&source), 3);

    zm::SettingsDocument noEncoding;
    noEncoding.SetString("Settings", "Delimiter", ",");
    noEncoding.SetBool("Settings", "IgnoreConsecutiveDelimiters", false);
    zmtest::OptionsRecord bad(noEncoding);
    TextFile badOptions;
    EXPECT_EQ(badOptions.Open(true, path.c_str(), &bad.options), 5);
    unsigned char garbage[] = {9, 0, 0, 0, 'n', 'o', 't', ' ', 'x', 'm', 'l', '!', '!'};
    ZmImportOpenOptions malformed{sizeof garbage, garbage};
    TextFile throwing;
    EXPECT_EQ(throwing.Open(true, path.c_str(), &malformed), 512);

    // The file vanishes between opening and sizing, or between sizing and reading.
    TextFile vanishing;
    ASSERT_EQ(vanishing.Open(true, dir.Write("gone.txt", "a\n").c_str(), nullptr), 0);
    std::filesystem::remove(dir.Path("gone.txt"));
    EXPECT_EQ(vanishing.GetNumCols(), -1);
    EXPECT_EQ(vanishing.GetStatus(), 2);
    TextFile late;
    ASSERT_EQ(late.Open(true, dir.Write("late.txt", "a\n").c_str(), nullptr), 0);
    ASSERT_EQ(late.GetNumRows(), 1);
    std::filesystem::remove(dir.Path("late.txt"));
    EXPECT_EQ(late.Read(&sink), 513);
}

// Each code of the text formats explains itself; the others go to the common table.
template <class File>
std::string MessageFor(int code) {
    struct WithStatus : File {
        explicit WithStatus(int code) { this->SetStatus(code); }
    } file(code);
    return zmtest::Message(file);
}

TEST(TextFormatCodes, EveryCodeHasItsText) {
    const std::string noStream = "Failed to open stream for reading.";
    EXPECT_EQ(MessageFor<TextFile>(512), noStream);
    EXPECT_EQ(MessageFor<TextFile>(513), "Expected end of file but found more data.");
    EXPECT_EQ(MessageFor<TextFile>(514),
              "This file appears to be a binary file and cannot be imported. Only ordinary text "
              "(ASCII) files can be imported.");
    EXPECT_EQ(MessageFor<TextFile>(5), "Incorrect format of file open options");
    EXPECT_EQ(MessageFor<CsvFile>(768), noStream);
    EXPECT_EQ(MessageFor<CsvFile>(769), "Failed to read file.");
    EXPECT_EQ(MessageFor<CsvFile>(770), "Can not write csv files.");
    EXPECT_EQ(MessageFor<CsvFile>(771), "Read canceled by user.");
    EXPECT_EQ(MessageFor<CsvFile>(772), "No further information available.");
    EXPECT_EQ(MessageFor<CsvFile>(773),
              "The file is not a correct .csv file. It contains non printable characters or #.");
    EXPECT_EQ(MessageFor<DIFFile>(768), noStream);
    EXPECT_EQ(MessageFor<DIFFile>(769), "An error was found in the DIF header.");
    EXPECT_EQ(MessageFor<DIFFile>(770), "An error was found in a DIF record.");
    EXPECT_EQ(MessageFor<DIFFile>(771), "UNICODE DIF files cannot be read.");
}

TEST(TextFile, RegisteredFactories) {
    int textIndex = 0, utf8Index = 0;
    for (int i = 1; i <= SprFileFactory::SizeInfos(); ++i) {
        const std::string name = SprFileFactory::GetInfo(i)->name;
        textIndex = name == "Text File" ? i : textIndex;
        utf8Index = name == "Text UTF-8 File" ? i : utf8Index;
    }
    ASSERT_GT(textIndex, 0);
    ASSERT_GT(utf8Index, 0);
    zmtest::ScratchDir dir;
    const std::string path = dir.Write("bin.dat", std::string("\0\1\2", 3));
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(textIndex, path.c_str()), SprFileFactory::kCanRead);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(utf8Index, path.c_str()), SprFileFactory::kNotMine);

    // The UTF-8 writer writes UTF-8 whatever the local code page.
    std::unique_ptr<SpreadsheetFile> writer(SprFileFactory::GetSpreadsheetFile(utf8Index));
    zmtest::GridSource source({{zmtest::Text("é")}});
    const std::string out = dir.Path("u.txt");
    ASSERT_EQ(writer->Open(false, out.c_str(), nullptr), 0);
    ASSERT_EQ(writer->Write(&source), 0);
    EXPECT_EQ(zmtest::Slurp(out), "é\n");
}

}  // namespace
