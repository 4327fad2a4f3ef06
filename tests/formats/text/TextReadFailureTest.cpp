// What the text readers make of damage that the cells alone would hide: a read that fails
// in the system, zero bytes inside CSV fields and a SIEVE table of empty cells.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>

#include "formats/text/CsvFile.h"
#include "formats/text/DIFFile.h"
#include "formats/text/DexanFile.h"
#include "formats/text/TextFile.h"
#include "formats/text/ThermoSIEVEFile.h"
#include "platform/TextStream.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Message;

TEST(TextReadFailure, TheStreamKeepsTheSystemsError) {
    zmtest::ScratchDir scratch;
    // Opening a directory for reading succeeds; every read of it fails with EISDIR.
    zm::TextStream stream(scratch.dir.string(), "utf8", zm::TextStream::Mode::kRead);
    std::string line;
    EXPECT_FALSE(stream.GetLine(line));
    EXPECT_EQ(stream.ReadError(), EISDIR);

    const std::string file = scratch.Write("a.txt", "a\nb\n");
    zm::TextStream plain(file, "utf8", zm::TextStream::Mode::kRead);
    while (plain.GetLine(line)) {
    }
    EXPECT_EQ(plain.ReadError(), 0);  // the end of a file is no error
}

// Each reader is opened on a good file that then turns into a directory: every later
// read fails in the system, and the reader must refuse with the system's text instead of
// taking the failure for the end of the file.
TEST(TextReadFailure, EveryReaderRefusesAFailedRead) {
    const std::string sieve =
        "FrameID,MZStart,MZStop,TimeStart,TimeStop,pValue,Ratio,Intensity_A\n"
        "1,100.2,100.4,1,2,0.5,1,7\n";
    struct Case {
        const char* what;
        std::function<SpreadsheetFile*()> make;
        const char* name;
        std::string content;
    };
    const Case cases[] = {
        {"text", [] { return new TextFile; }, "a.txt", "a\tb\n1\t2\n"},
        {"CSV", [] { return new CsvFile; }, "a.csv", "a,b\n1,2\n"},
        {"DIF", [] { return new DIFFile; }, "a.dif",
         "TABLE\n0,1\n\"\"\nDATA\n0,0\n\"\"\n-1,0\nBOT\n0,1\nV\n-1,0\nEOD\n"},
        {"SIEVE", [] { return new ThermoSIEVEFile; }, "a.txt", sieve},
    };
    const std::string expected =
        std::string("The file could not be read: ") + std::strerror(EISDIR) + ".";
    for (const Case& c : cases) {
        zmtest::ScratchDir scratch;
        const std::string path = scratch.Write(c.name, c.content);
        std::unique_ptr<SpreadsheetFile> reader(c.make());
        zmtest::OptionsRecord options;
        ASSERT_EQ(reader->Open(true, path.c_str(), &options.options), 0) << c.what;
        std::filesystem::remove(path);
        std::filesystem::create_directory(path);
        zmtest::RecordingSink sink;
        const int rows = reader->GetNumRows();
        const int code = rows < 0 ? reader->GetStatus() : reader->Read(&sink);
        EXPECT_EQ(code, kStatusReadError) << c.what;
        EXPECT_EQ(Message(*reader), expected) << c.what;
    }
    // DEXAN takes what is not text for a design file: one it cannot read at all is
    // refused for the read, not as a damaged design file.
    zmtest::ScratchDir scratch;
    DexanFile dexan;
    EXPECT_EQ(dexan.Open(true, scratch.dir.string().c_str(), nullptr), kStatusReadError);
    EXPECT_EQ(Message(dexan), expected);
}

TEST(TextReadFailure, CsvKeepsZeroBytesAndSaysSo) {
    zmtest::ScratchDir scratch;
    const std::string path = scratch.Write("nul.csv", std::string("x\0yz,b\n\0,c\n", 11));
    CsvFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, path, sink), 0) << Message(reader);
    EXPECT_EQ(zmtest::ToGrid(sink),
              (zmtest::Grid{{"x\xEF\xBF\xBDyz", "b"}, {"\xEF\xBF\xBD", "c"}}));
    const char* warning = reader.GetWarningMessage();
    ASSERT_NE(warning, nullptr);
    EXPECT_STREQ(warning,
                 "The file holds 2 zero byte(s) (NUL); each was read as the replacement "
                 "character U+FFFD.");

    const std::string clean = scratch.Write("clean.csv", "x,y\n");
    CsvFile plain;
    zmtest::RecordingSink again;
    ASSERT_EQ(zmtest::ReadAll(plain, clean, again), 0);
    EXPECT_EQ(plain.GetWarningMessage(), nullptr);
}

// Lines of nothing but delimiters: every cell is empty and still reaches the table. A
// column no field comes from (Comment) is not kept, and the columns after it still are.
TEST(TextReadFailure, SieveReadsATableOfEmptyCells) {
    zmtest::ScratchDir scratch;
    std::string text =
        "FrameID,MZStart,MZStop,TimeStart,TimeStop,pValue,Ratio,Comment,Intensity_A\n";
    for (int i = 0; i < 50; ++i)
        text += std::string(300, ',') + "\n";
    text += "9,100.2,100.4,1,2,0.5,1,note,7\n";
    const std::string path = scratch.Write("empty.txt", text);
    ThermoSIEVEFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, path, sink), 0) << Message(reader);
    EXPECT_EQ(sink.Text(52, 1), "9");             // FrameID of the last line
    EXPECT_FLOAT_EQ(sink.Number(52, 4), 100.3f);  // AverageMZ from its bounds
    EXPECT_EQ(sink.Text(52, 13), "7");            // Intensity_A
    EXPECT_EQ(sink.Text(2, 1), "");               // an empty FrameID stays empty
    EXPECT_EQ(sink.Text(2, 13), "");              // and so does an empty intensity
    for (const auto& [place, cell] : sink.cells)
        EXPECT_NE(cell.text, "note");
}

}  // namespace
