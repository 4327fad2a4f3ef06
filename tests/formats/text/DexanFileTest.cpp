// The DEXAN reader: plain worksheets read as the text reader reads them, worksheets
// inside design files (sizes, options, row choice), the refusals and the detection.
#include "formats/text/DexanFile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "framework/ZmImport.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Slurp;

const std::string kData = std::string(ZM_TEST_DATA) + "/dexan/";

// A sink that takes every other row.
class OddRowsSink : public zmtest::RecordingSink {
  public:
    int MapRow(int previous) override { return previous == 0 ? 1 : previous + 2; }
};

class DexanGolden : public ::testing::TestWithParam<const char*> {};

TEST_P(DexanGolden, ReadsTheExpectedSheet) {
    const std::string expected = Slurp(kData + GetParam() + ".expected.tsv");
    ASSERT_FALSE(expected.empty());
    DexanFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, kData + GetParam(), sink), 0);
    EXPECT_EQ(sink.Dump(), expected);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, DexanGolden,
                         ::testing::Values("worksheet-utf8.dat", "worksheet-tab.dat",
                                           "worksheet-windows1252.dat", "worksheet-utf16le.dat",
                                           "design.mip", "design-windows1252.mip",
                                           "design-without-extension"));

// Sizes and cells of one reading, as "cols x rows" and the dump.
std::string ReadWith(SpreadsheetFile& reader, const std::string& path, zmtest::RecordingSink& sink,
                     ZmImportOpenOptions* options) {
    const int status = zmtest::ReadAll(reader, path, sink, options);
    return std::to_string(status) + ": " + std::to_string(reader.GetNumCols()) + " x " +
           std::to_string(reader.GetNumRows()) + "\n" + sink.Dump();
}

// A plain worksheet is read exactly as the text reader reads it, and the worksheet
// inside design.mip (the same text as worksheet-tab.dat) gives the same sheet, under
// any options and row choice.
TEST(DexanFile, ReadsAsTheTextReaderDoes) {
    struct Options {
        const char* delimiter;
        bool ignoreConsecutive;
    };
    for (const Options o :
         {Options{"", false}, Options{"\t", true}, Options{".", false}, Options{"\t\t", false}}) {
        SCOPED_TRACE(std::string("delimiter \"") + o.delimiter + "\"");
        auto record = [&] {
            auto r = std::make_unique<zmtest::OptionsRecord>();
            if (*o.delimiter != '\0') {
                TextFileOptions options;
                options.SetDelimiter(o.delimiter);
                options.SetIgnoreConsecutiveDelimiters(o.ignoreConsecutive);
                options.Write(&r->options);
            }
            return r;
        };
        for (const char* name : {"worksheet-utf8.dat", "worksheet-windows1252.dat",
                                 "worksheet-utf16le.dat", "worksheet-tab.dat"}) {
            SCOPED_TRACE(name);
            TextFile text;
            DexanFile dexan;
            zmtest::RecordingSink fromText, fromDexan;
            auto r1 = record(), r2 = record();
            EXPECT_EQ(ReadWith(dexan, kData + name, fromDexan, &r2->options),
                      ReadWith(text, kData + name, fromText, &r1->options));
            EXPECT_EQ(zmtest::StoredKeys(&r2->options), zmtest::StoredKeys(&r1->options));
        }
        for (bool odd : {false, true}) {
            TextFile text;
            DexanFile dexan;
            zmtest::RecordingSink all1, all2;
            OddRowsSink odd1, odd2;
            auto r1 = record(), r2 = record();
            EXPECT_EQ(ReadWith(dexan, kData + "design.mip", odd ? odd2 : all2, &r2->options),
                      ReadWith(text, kData + "worksheet-tab.dat", odd ? odd1 : all1, &r1->options));
        }
    }
}

// The blank last line of a worksheet is no row; a blank line in between is one.
TEST(DexanFile, SizesTheEmbeddedWorksheet) {
    DexanFile reader;
    ASSERT_EQ(reader.Open(true, (kData + "design-windows1252.mip").c_str(), nullptr), 0);
    EXPECT_EQ(reader.GetNumCols(), 4);
    EXPECT_EQ(reader.GetNumRows(), 5);
    // Reading twice gives the same cells: each read starts from the stream's beginning.
    zmtest::RecordingSink first, second;
    first.SetDataSize(4, 5);
    ASSERT_EQ(reader.Read(&first), 0);
    ASSERT_EQ(reader.Read(&second), 0);
    EXPECT_EQ(first.Dump(), second.Dump());
    EXPECT_EQ(first.Dump(), Slurp(kData + "design-windows1252.mip.expected.tsv"));
}

TEST(DexanFile, RefusalsAndTheirTexts) {
    struct Case {
        const char* file;
        int status;
        const char* text;
    };
    const Case cases[] = {
        {"data-only.mip", DexanFile::kNoWorksheet, "Could not find the worksheet in the file."},
        {"damaged.mip", DexanFile::kNotDexanFile,
         "The file does not appear to be a valid DEXAN file."},
        // A .mip name is never tried as text.
        {"text-named.mip", DexanFile::kNotDexanFile,
         "The file does not appear to be a valid DEXAN file."},
        {"missing.mip", DexanFile::kNotDexanFile,
         "The file does not appear to be a valid DEXAN file."},
        {"missing.dat", DexanFile::kNotDexanFile,
         "The file does not appear to be a valid DEXAN file."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        DexanFile reader;
        EXPECT_EQ(reader.Open(true, (kData + c.file).c_str(), nullptr), c.status);
        EXPECT_EQ(zmtest::Message(reader), c.text);
        zmtest::RecordingSink sink;
        EXPECT_EQ(reader.Read(&sink), c.status);
        EXPECT_EQ(reader.GetNumRows(), -1);
        reader.Close();
        EXPECT_EQ(reader.GetStatus(), 0);
    }

    // Writing is refused, both at the open and afterwards; the file is left alone.
    zmtest::ScratchDir dir;
    const std::string kept = dir.Write("kept.dat", "a\tb\n");
    DexanFile writer;
    EXPECT_EQ(writer.Open(false, kept.c_str(), nullptr), kStatusWrongMode);
    EXPECT_EQ(Slurp(kept), "a\tb\n");
    DexanFile reader;
    ASSERT_EQ(reader.Open(true, (kData + "design.mip").c_str(), nullptr), 0);
    zmtest::GridSource source({{zmtest::Text("x")}});
    EXPECT_EQ(reader.Write(&source), kStatusWrongMode);
    EXPECT_EQ(zmtest::Message(reader),
              "Tried to write to the file when it was opened for reading or vice versa.");
}

// Design files with a worksheet are claimed by content, other .mip files by their name;
// plain worksheets are left to the text format.
TEST(DexanFile, Detection) {
    const int index = zmtest::FormatIndex("DEXAN File");
    ASSERT_NE(index, 0);
    const std::pair<const char*, int> cases[] = {
        {"design.mip", 2},
        {"design-without-extension", 2},
        {"design-windows1252.mip", 2},
        {"data-only.mip", 1},
        {"damaged.mip", 1},
        {"text-named.mip", 1},
        {"worksheet-tab.dat", 0},
        {"make_fixtures.py", 0},
    };
    for (const auto& [file, answer] : cases)
        EXPECT_EQ(ZmImportIsCorrectFileType(index, (kData + file).c_str()), answer) << file;
    EXPECT_TRUE(DexanFile::IsWorksheetName("Plan.DAT"));
    EXPECT_FALSE(DexanFile::IsWorksheetName("dat"));
    EXPECT_FALSE(DexanFile::IsWorksheetName("data"));
}

}  // namespace
