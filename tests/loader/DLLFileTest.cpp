// Readers over plug-in functions: forwarding, the plug-in codes and their texts.
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "framework/DLLFile.h"
#include "tests/loader/LoaderSupport.h"
#include "tests/support/RecordingSink.h"

namespace {

using zmtest::RecordingLoader;
using zmtest::RecordingSink;
using zmtest::ScratchDir;

std::string Message(SpreadsheetFile& reader, unsigned int size = 256) {
    std::string buffer(size, 'x');
    reader.GetErrorMessage(buffer.data(), size);
    return buffer.c_str();
}

// A 2 x 2 source: a text, a number, a missing cell and a text, data from (2, 2).
class SmallSource : public WriteSpreadSheetData {
  public:
    int GetNumberOfColumns() override { return 2; }
    int GetNumberOfRows() override { return 2; }
    float GetNumber(int col, int row) override { return col == 2 && row == 1 ? 1.5f : -1; }
    std::string GetText(int col, int row) override {
        return col == 1 ? "name" : "b" + std::to_string(row);
    }
    bool GetDataOrigin(int* col, int* row) override {
        *col = 2;
        *row = 2;
        return true;
    }
    bool IsNumber(int col, int row) override { return col == 2 && row == 1; }
    bool IsMissing(int col, int row) override { return col == 1 && row == 2; }
    bool IsText(int col, int row) override { return !IsNumber(col, row) && !IsMissing(col, row); }
};

class DLLFileTest : public ::testing::Test {
  protected:
    void SetUp() override { loader.Init(ZM_TEST_PLUGINS); }

    std::unique_ptr<SpreadsheetFile> Reader(const std::string& name) {
        const std::vector<int> found = loader.IndexesOf(name);
        EXPECT_EQ(found.size(), 1u) << name;
        return std::unique_ptr<SpreadsheetFile>(
            found.empty() ? nullptr : loader.GetSpreadsheetFile(found.front()));
    }

    RecordingLoader loader;
    ScratchDir dir;
};

TEST_F(DLLFileTest, ExamplePluginFillsTheSinkRowFirstAndReopensAfterClose) {
    std::unique_ptr<SpreadsheetFile> reader = Reader("XY Spectrum");
    const std::string file = std::string(ZM_EXAMPLE_DATA) + "/sample.xy";
    for (int round = 0; round < 2; ++round) {
        RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(*reader, file, sink), 0) << Message(*reader);
        EXPECT_EQ(reader->GetNumRows(), 2);
        EXPECT_EQ(reader->GetNumCols(), 10);
        EXPECT_EQ(sink.Text(1, 1), "x");
        EXPECT_EQ(sink.Text(1, 2), "sample");
        EXPECT_EQ(sink.Number(2, 1), 620.5f);
        EXPECT_EQ(sink.Number(2, 2), 0.184f);
        EXPECT_EQ(sink.Number(10, 1), 3054.6f);
        EXPECT_EQ(sink.Number(10, 2), 0.633f);
        EXPECT_EQ(sink.cells.size(), 20u);
        EXPECT_EQ(reader->GetWarningMessage(), nullptr);
        reader->Close();
    }
}

TEST_F(DLLFileTest, ExamplePluginReportsItsOwnTextsAndWarnings) {
    std::unique_ptr<SpreadsheetFile> reader = Reader("XY Spectrum");
    RecordingSink sink;
    const std::string bad = dir.Write("bad.xy", "# header\n1 2\nthree 4\n");
    EXPECT_EQ(zmtest::ReadAll(*reader, bad, sink), DLLFile::kPluginFailed);
    EXPECT_EQ(Message(*reader), "Line 3 is not an x/y pair.");
    reader->Close();
    EXPECT_EQ(reader->GetStatus(), 0);

    const std::string wide = dir.Write("wide.xy", "1,2,3\r\n4;5\r\n");
    ASSERT_EQ(zmtest::ReadAll(*reader, wide, sink), 0);
    EXPECT_EQ(sink.Number(3, 2), 5.0);
    ASSERT_NE(reader->GetWarningMessage(), nullptr);
    EXPECT_STREQ(reader->GetWarningMessage(), "Columns after the second were ignored.");
    reader->Close();
}

TEST_F(DLLFileTest, MissingFunctionsGive2048AndSizingLeavesTheStatusAlone) {
    std::unique_ptr<SpreadsheetFile> reader = Reader("Partial Format");
    EXPECT_EQ(reader->GetFileReadOptions("any.part", false), nullptr);
    EXPECT_EQ(reader->GetStatus(), DLLFile::kMissingFunction);
    reader->Close();  // no handle yet: the status stays
    EXPECT_EQ(reader->GetStatus(), DLLFile::kMissingFunction);

    reader.reset(loader.GetSpreadsheetFile(loader.IndexesOf("Partial Format")[0]));
    ASSERT_EQ(reader->Open(true, "any.part", nullptr), 0);
    EXPECT_EQ(reader->GetNumRows(), -1);
    EXPECT_EQ(reader->GetStatus(), 0);
    EXPECT_EQ(reader->GetWarningMessage(), nullptr);
    EXPECT_EQ(reader->GetReadFile(), nullptr);
    ImportSpecBase spec;
    spec.accepted = true;
    reader->SetImportSpec(&spec);
    EXPECT_FALSE(spec.accepted);

    RecordingSink sink;
    EXPECT_EQ(reader->Read(&sink), DLLFile::kMissingFunction);
    EXPECT_EQ(reader->GetStatus(), DLLFile::kMissingFunction);
    EXPECT_EQ(Message(*reader), "The import dll is missing a function.");
    reader->Close();
    EXPECT_EQ(reader->GetStatus(), 0);
}

TEST_F(DLLFileTest, FailedOpenGives2049WithThePluginText) {
    std::unique_ptr<SpreadsheetFile> reader = Reader("Failing Format");
    EXPECT_EQ(reader->Open(true, "x.fail", nullptr), DLLFile::kPluginFailed);
    EXPECT_EQ(Message(*reader), "The instrument header block is damaged.");
    EXPECT_EQ(Message(*reader, 8), "The ins");
    // Sticky until Close, which hands the handle back.
    EXPECT_EQ(reader->Open(true, "x.fail", nullptr), DLLFile::kPluginFailed);
    reader->Close();
    EXPECT_EQ(reader->GetStatus(), 0);
}

TEST_F(DLLFileTest, FailedOpenWithoutGetLastErrorBecomesMissingFunction) {
    std::unique_ptr<SpreadsheetFile> reader = Reader("Silent Format");
    EXPECT_EQ(reader->Open(true, "x.silent", nullptr), DLLFile::kPluginFailed);
    EXPECT_EQ(Message(*reader), "The import dll is missing a function.");
    EXPECT_EQ(reader->GetStatus(), DLLFile::kMissingFunction);
    reader->Close();
}

TEST_F(DLLFileTest, ClosedFileReadIsNotStoredButWriteAndSizingAre) {
    std::unique_ptr<SpreadsheetFile> reader = Reader("Twin B");
    RecordingSink sink;
    EXPECT_EQ(reader->Read(&sink), DLLFile::kNotOpened);
    EXPECT_EQ(reader->GetStatus(), 0);
    EXPECT_EQ(reader->GetWarningMessage(), nullptr);
    EXPECT_EQ(reader->GetReadFile(), nullptr);

    SmallSource source;
    EXPECT_EQ(reader->Write(&source), DLLFile::kNotOpened);
    EXPECT_EQ(reader->GetStatus(), DLLFile::kNotOpened);
    EXPECT_EQ(Message(*reader), "The file was not opened properly.");

    reader = Reader("Twin A");
    EXPECT_EQ(reader->GetNumCols(), -1);
    EXPECT_EQ(reader->GetStatus(), DLLFile::kNotOpened);
}

TEST_F(DLLFileTest, EachReaderForwardsItsOwnFormatIndex) {
    const std::string file = dir.Write("data.twin", "anything");
    for (int own : {1, 2}) {
        std::unique_ptr<SpreadsheetFile> reader = Reader(own == 1 ? "Twin A" : "Twin B");
        RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(*reader, file, sink), 0);
        EXPECT_EQ(sink.Number(1, 1), own);
        EXPECT_EQ(sink.Number(2, 1), own);
        EXPECT_EQ(std::string(reader->GetWarningMessage()),
                  "read by format " + std::to_string(own));
        EXPECT_EQ(std::string(reader->GetReadFile()), file);
        reader->Close();
    }
}

TEST_F(DLLFileTest, WriteHandsThePluginTheSourceRowFirst) {
    std::unique_ptr<SpreadsheetFile> readOnly = Reader("Twin A");
    EXPECT_EQ(readOnly->Open(false, dir.File("a.twin").c_str(), nullptr), kStatusWrongMode);
    EXPECT_EQ(Message(*readOnly),
              "Tried to write to the file when it was opened for reading or vice versa.");

    std::unique_ptr<SpreadsheetFile> writer = Reader("Twin B");
    const std::string file = dir.File("out.twin");
    ASSERT_EQ(writer->Open(false, file.c_str(), nullptr), 0);
    SmallSource source;
    ASSERT_EQ(writer->Write(&source), 0);
    writer->Close();

    std::ifstream in(file);
    std::stringstream written;
    written << in.rdbuf();
    EXPECT_EQ(written.str(), "1 1 t name\n1 2 n 1.5\n2 1 m\n2 2 t b2\norigin 1 2 2\nsize 2 2\n");
}

}  // namespace
