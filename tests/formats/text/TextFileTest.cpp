// Tests of the delimited text reader and writer: fixtures in many encodings, cell
// cutting, sizes, ranged reads, row mapping, writing and status codes.
#include "formats/text/TextFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "framework/SprFileFactory.h"
#include "platform/Settings.h"
#include "tests/support/RecordingSink.h"

namespace {

const std::string kData = std::string(ZM_TEST_DATA) + "/text/";

std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// An options record that owns its bytes.
struct Record {
    ZmImportOpenOptions options{0, nullptr};
    ~Record() { delete[] options.data; }
    explicit Record(const TextFileOptions& o) { o.Write(&options); }
    Record() = default;
};

TextFileOptions Options(const std::string& encoding, const std::string& delimiter = "\t",
                        bool ignore = false) {
    TextFileOptions o;
    o.SetEncoding(encoding);
    o.SetDelimiter(delimiter);
    o.SetIgnoreConsecutiveDelimiters(ignore);
    return o;
}

struct Fixture {
    const char* name;
    const char* key;
    bool guessed;  // whether reading without options finds the encoding
};

class TextFileFixtures : public ::testing::TestWithParam<Fixture> {};

TEST_P(TextFileFixtures, ReadsToTheRightTextWithTheKeyAndByGuessing) {
    const Fixture& f = GetParam();
    const std::string path = kData + f.name + ".txt";
    const std::string expected = Slurp(kData + f.name + ".expected.tsv");
    ASSERT_FALSE(expected.empty());
    {
        TextFile reader;
        zmtest::RecordingSink sink;
        Record record(Options(f.key));
        ASSERT_EQ(zmtest::ReadAll(reader, path, sink, &record.options), 0);
        EXPECT_EQ(sink.Dump(), expected);
    }
    TextFile reader;
    zmtest::RecordingSink sink;
    Record empty;
    ASSERT_EQ(zmtest::ReadAll(reader, path, sink, &empty.options), 0);
    // A guess below the acceptance threshold falls back to the local code page, which
    // is windows-1252 for these bytes.
    if (f.guessed) {
        EXPECT_EQ(sink.Dump(), expected);
    } else {
        EXPECT_NE(sink.Dump(), expected);
    }
    // The guess went back into the empty record.
    TextFileOptions written;
    ASSERT_TRUE(written.Read(&empty.options));
    EXPECT_EQ(written.GetDelimiter(), "\t");
}

INSTANTIATE_TEST_SUITE_P(
    Encodings, TextFileFixtures,
    ::testing::Values(Fixture{"utf8", "utf8", true}, Fixture{"utf8-bom", "utf8", true},
                      Fixture{"utf16le-bom", "utf16le", true},
                      Fixture{"utf16be-bom", "utf16be", true},
                      Fixture{"windows1252", "windows1252", true},
                      Fixture{"iso88591", "iso88591", true}, Fixture{"shiftjis", "shiftjis", true},
                      Fixture{"gb18030", "gb18030", true}, Fixture{"koi8r", "koi8r", false}),
    [](const auto& info) {
        std::string name = info.param.name;
        for (char& c : name) {
            if (c == '-')
                c = '_';
        }
        return name;
    });

class TextFileTest : public ::testing::Test {
  protected:
    void SetUp() override {
        dir = std::filesystem::temp_directory_path() /
              ("zm_textfile_" + std::to_string(::getpid()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(dir);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }

    std::string Make(const std::string& name, const std::string& bytes) {
        const std::string path = (dir / name).string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    // Reads `bytes` with `options` and returns the dump; size in cols/rows.
    std::string Read(const std::string& bytes, const TextFileOptions& options, int* cols = nullptr,
                     int* rows = nullptr) {
        TextFile reader;
        zmtest::RecordingSink sink;
        Record record(options);
        EXPECT_EQ(zmtest::ReadAll(reader, Make("in.txt", bytes), sink, &record.options), 0);
        if (cols != nullptr)
            *cols = reader.GetNumCols();
        if (rows != nullptr)
            *rows = reader.GetNumRows();
        return sink.Dump();
    }

    std::filesystem::path dir;
};

TEST_F(TextFileTest, DetectionLooksForZeroBytesInTheFirst30768) {
    std::string text(40000, 'a');
    text[30768] = '\0';
    EXPECT_TRUE(TextFile::IsTextFile(Make("late-zero", text).c_str()));
    text[30767] = '\0';
    EXPECT_FALSE(TextFile::IsTextFile(Make("early-zero", text).c_str()));
    EXPECT_TRUE(TextFile::IsTextFile(Make("utf16", std::string("\xFF\xFEh\0i\0", 6)).c_str()));
    EXPECT_TRUE(TextFile::IsTextFile(Make("empty", "").c_str()));
    EXPECT_FALSE(TextFile::IsTextFile((dir / "missing").c_str()));
    EXPECT_FALSE(TextFile::IsTextFile(dir.c_str()));
}

TEST_F(TextFileTest, CellsAreCutAtTheWholeDelimiter) {
    EXPECT_EQ(Read("1;;2\n", Options("utf8", ";;")), "1\t1\ttext\t1\n1\t2\ttext\t2\n");
    EXPECT_EQ(Read("a,,,b\n", Options("utf8", ",", true)), "1\t1\ttext\ta\n1\t2\ttext\tb\n");
    EXPECT_EQ(Read("a,,,b\n", Options("utf8", ",")),
              "1\t1\ttext\ta\n1\t2\ttext\t\n1\t3\ttext\t\n1\t4\ttext\tb\n");
    // A leading delimiter makes an empty cell, a trailing one does not.
    int cols = 0;
    EXPECT_EQ(Read("\tx\t\n", Options("utf8"), &cols), "1\t1\ttext\t\n1\t2\ttext\tx\n");
    EXPECT_EQ(cols, 2);
    // No quoting: quotes are part of the cells.
    EXPECT_EQ(Read("\"a\tb\"\n", Options("utf8")), "1\t1\ttext\t\"a\n1\t2\ttext\tb\"\n");
    // A run of delimiters at the end of a line is one delimiter with the flag set.
    EXPECT_EQ(Read("a;;;\n", Options("utf8", ";", true), &cols), "1\t1\ttext\ta\n");
    EXPECT_EQ(cols, 1);
}

TEST_F(TextFileTest, SizeCountsLinesExceptAnEmptyLastOne) {
    int cols = 0, rows = 0;
    const std::string dump = Read("a\tb\r\n\r\nc\td\te\r\n\n", Options("utf8"), &cols, &rows);
    EXPECT_EQ(rows, 3);
    EXPECT_EQ(cols, 3);
    EXPECT_EQ(dump, Read("a\tb\n\nc\td\te\n\n", Options("utf8")));
    EXPECT_EQ(dump.find("\n2\t"), std::string::npos);  // the empty middle row has no cells
    EXPECT_NE(dump.find("\n3\t3\ttext\te\n"), std::string::npos);
    Read("a\nb", Options("utf8"), &cols, &rows);
    EXPECT_EQ(rows, 2);
    Read("", Options("utf8"), &cols, &rows);
    EXPECT_EQ(rows, 0);
    EXPECT_EQ(cols, 0);
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

TEST_F(TextFileTest, RangedReadAndRowMapping) {
    std::string content;
    for (int r = 1; r <= 8; ++r) {
        for (int c = 1; c <= 5; ++c)
            content += std::to_string(r * 10 + c) + (c < 5 ? "," : "\n");
    }
    const std::string path = Make("grid.txt", content);
    Record record(Options("utf8", ","));
    TextFile reader;
    ASSERT_EQ(reader.Open(true, path.c_str(), &record.options), 0);
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

// A small table source: numbers are given as the host formats them.
class TableSource : public WriteSpreadSheetData {
  public:
    std::vector<std::vector<std::string>> cells;
    int GetNumberOfColumns() override { return static_cast<int>(cells[0].size()); }
    int GetNumberOfRows() override { return static_cast<int>(cells.size()); }
    float GetNumber(int, int) override { return 0; }
    std::string GetText(int col, int row) override { return cells[row - 1][col - 1]; }
    bool GetDataOrigin(int* col, int* row) override {
        *col = *row = 2;
        return true;
    }
    bool IsNumber(int, int) override { return false; }
    bool IsMissing(int col, int row) override { return GetText(col, row).empty(); }
    bool IsText(int col, int row) override { return !IsMissing(col, row); }
};

TEST_F(TextFileTest, WrittenFilesReadBackInTheirEncoding) {
    TableSource source;
    source.cells = {{"", "Größe", "Привет"}, {"a", "1.5", ""}, {"b", "-2", "日本"}};
    const std::string path = (dir / "out.txt").string();

    TextFile writer("utf8");
    ASSERT_EQ(writer.Open(false, path.c_str(), nullptr), 0);
    ASSERT_EQ(writer.Write(&source), 0);
    writer.Close();
    EXPECT_EQ(Slurp(path), "\tGröße\tПривет\na\t1.5\t\nb\t-2\t日本\n");

    // A key in the record overrides the writer's own encoding.
    Record record(Options("utf16le"));
    TextFile utf16;
    ASSERT_EQ(utf16.Open(false, path.c_str(), &record.options), 0);
    ASSERT_EQ(utf16.Write(&source), 0);
    utf16.Close();
    EXPECT_EQ(Slurp(path).substr(0, 4), std::string("\xFF\xFE\t\0", 4));
    TextFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, path, sink), 0);
    EXPECT_EQ(sink.Text(2, 1), "Größe");
    EXPECT_EQ(sink.Text(3, 3), "日本");
    EXPECT_EQ(sink.Text(2, 2), "1.5");
    EXPECT_EQ(reader.GetNumRows(), 3);
}

TEST_F(TextFileTest, StatusCodesAndTheirTexts) {
    char message[200];
    TextFile missing;
    EXPECT_EQ(missing.Open(true, (dir / "none.txt").c_str(), nullptr), 512);
    missing.GetErrorMessage(message, sizeof message);
    EXPECT_STREQ(message, "Failed to open stream for reading.");
    zmtest::RecordingSink sink;
    EXPECT_EQ(missing.Read(&sink), 512);  // sticky
    missing.Close();
    EXPECT_EQ(missing.GetStatus(), 0);

    const std::string path = Make("t.txt", "a\tb\n");
    TextFile writer;
    ASSERT_EQ(writer.Open(false, (dir / "w.txt").c_str(), nullptr), 0);
    EXPECT_EQ(writer.Read(&sink), 3);
    TextFile reader;
    ASSERT_EQ(reader.Open(true, path.c_str(), nullptr), 0);
    TableSource source;
    source.cells = {{"x"}};
    EXPECT_EQ(reader.Write(&source), 3);

    zm::SettingsDocument noEncoding;
    noEncoding.SetString("Settings", "Delimiter", ",");
    noEncoding.SetBool("Settings", "IgnoreConsecutiveDelimiters", false);
    std::unique_ptr<ZmImportOpenOptions, void (*)(ZmImportOpenOptions*)> bad(
        zm::NewOptionsRecord(noEncoding), zm::FreeOptionsRecord);
    TextFile badOptions;
    EXPECT_EQ(badOptions.Open(true, path.c_str(), bad.get()), 5);

    unsigned char garbage[] = {9, 0, 0, 0, 'n', 'o', 't', ' ', 'x', 'm', 'l', '!', '!'};
    ZmImportOpenOptions malformed{sizeof garbage, garbage};
    TextFile throwing;
    EXPECT_EQ(throwing.Open(true, path.c_str(), &malformed), 512);

    // The file vanishes between opening and sizing.
    TextFile vanishing;
    const std::string gone = Make("gone.txt", "a\n");
    ASSERT_EQ(vanishing.Open(true, gone.c_str(), nullptr), 0);
    std::filesystem::remove(gone);
    EXPECT_EQ(vanishing.GetNumCols(), -1);
    EXPECT_EQ(vanishing.GetStatus(), 2);
}

TEST_F(TextFileTest, RegisteredFactories) {
    int textIndex = 0, utf8Index = 0;
    for (int i = 1; i <= SprFileFactory::SizeInfos(); ++i) {
        const std::string name = SprFileFactory::GetInfo(i)->name;
        if (name == "Text File")
            textIndex = i;
        if (name == "Text UTF-8 File")
            utf8Index = i;
    }
    ASSERT_GT(textIndex, 0);
    ASSERT_GT(utf8Index, 0);
    const std::string path = Make("bin.dat", std::string("\0\1\2", 3));
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(textIndex, path.c_str()), SprFileFactory::kCanRead);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(utf8Index, path.c_str()), SprFileFactory::kNotMine);

    std::unique_ptr<SpreadsheetFile> writer(SprFileFactory::GetSpreadsheetFile(utf8Index));
    TableSource source;
    source.cells = {{"é"}};
    const std::string out = (dir / "u.txt").string();
    ASSERT_EQ(writer->Open(false, out.c_str(), nullptr), 0);
    ASSERT_EQ(writer->Write(&source), 0);
    EXPECT_EQ(Slurp(out), "é\n");

    std::unique_ptr<SpreadsheetFile> reader(SprFileFactory::GetSpreadsheetFile(textIndex));
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(*reader, out, sink), 0);
    EXPECT_EQ(sink.Text(1, 1), "é");
}

}  // namespace
