// The CSV reader: opening, options record, constant size answers, delimiter proposal,
// codes and its registry entry.
#include "formats/text/CsvFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "framework/SprFileFactory.h"
#include "platform/Settings.h"
#include "tests/support/RecordingSink.h"

namespace {

class CsvFileTest : public ::testing::Test {
  protected:
    void SetUp() override {
        dir = std::filesystem::temp_directory_path() /
              ("zm_csvfile_" + std::to_string(::getpid()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(dir);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }

    std::string Write(const std::string& name, const std::string& bytes) {
        const auto path = (dir / name).string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    static std::string Message(CsvFile& file) {
        char buffer[256];
        file.GetErrorMessage(buffer, sizeof buffer);
        return buffer;
    }

    std::filesystem::path dir;
};

// A record holding the given settings keys.
ZmImportOpenOptions MakeRecord(const std::string& delimiter, const std::string& encoding) {
    zm::SettingsDocument doc;
    doc.SetString("Settings", "Delimiter", delimiter);
    doc.SetString("Settings", "Encoding", encoding);
    ZmImportOpenOptions record{0, nullptr};
    zm::StoreOptions(&record, doc);
    return record;
}

TEST_F(CsvFileTest, ReadsQuotedFieldsAsTextAndSizesOnlyDuringRead) {
    const auto path = Write("a.csv", "name, value\r\n\"x, y\",1.5\r\n\r\nlast,\"q\"\"\"\r\n");
    CsvFile file;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(file, path, sink), 0);
    // The size query answers 1 x 1 before and after reading, whatever the file holds.
    EXPECT_EQ(file.GetNumRows(), 1);
    EXPECT_EQ(file.GetNumCols(), 1);
    EXPECT_EQ(sink.rows, 4);
    EXPECT_EQ(sink.cols, 2);
    EXPECT_EQ(sink.sizeCalls, 2);         // once by the caller's 1 x 1, once by the reader
    EXPECT_EQ(sink.Text(2, 1), "value");  // leading blank skipped
    EXPECT_EQ(sink.Text(1, 2), "x, y");
    EXPECT_EQ(sink.At(2, 2).via, 't');  // numbers stay text: the sink decides
    EXPECT_FALSE(sink.Has(1, 3));       // the blank line is an empty row
    EXPECT_EQ(sink.Text(2, 4), "q\"");
}

TEST_F(CsvFileTest, OptionsRecord) {
    const auto path = Write("b.csv", "1;2,3\n");
    {
        // An empty record receives the defaults: a comma and the local code page.
        CsvFile file;
        ZmImportOpenOptions record{0, nullptr};
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(file, path, sink, &record), 0);
        EXPECT_EQ(sink.Text(1, 1), "1;2");
        std::unique_ptr<zm::SettingsDocument> doc;
        ASSERT_EQ(zm::DecodeOptions(&record, doc), zm::OptionsDecode::kDecoded);
        EXPECT_EQ(doc->GetString("Settings", "Delimiter"), ",");
        EXPECT_EQ(doc->GetString("Settings", "Encoding"), "");
        EXPECT_FALSE(doc->HasKey("Settings", "IgnoreConsecutiveDelimiters"));
        delete[] record.data;
    }
    {
        // Only the first byte of a longer delimiter is used.
        CsvFile file;
        ZmImportOpenOptions record = MakeRecord(";,", "utf8");
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(file, path, sink, &record), 0);
        EXPECT_EQ(sink.Text(1, 1), "1");
        EXPECT_EQ(sink.Text(2, 1), "2,3");
        delete[] record.data;
    }
    {
        // A record without the encoding key is code 5.
        zm::SettingsDocument doc;
        doc.SetString("Settings", "Delimiter", ";");
        ZmImportOpenOptions record{0, nullptr};
        zm::StoreOptions(&record, doc);
        CsvFile file;
        zmtest::RecordingSink sink;
        EXPECT_EQ(zmtest::ReadAll(file, path, sink, &record), 5);
        EXPECT_EQ(Message(file), "Incorrect format of file open options");
        delete[] record.data;
    }
    {
        // Bytes that are no settings document at all make the options handling throw.
        unsigned char junk[] = {200, 0, 0, 0, 'x'};
        ZmImportOpenOptions record{sizeof junk, junk};
        CsvFile file;
        zmtest::RecordingSink sink;
        EXPECT_EQ(zmtest::ReadAll(file, path, sink, &record), 768);
    }
}

TEST_F(CsvFileTest, CodesAndMessages) {
    CsvFile writer;
    EXPECT_EQ(writer.Open(false, (dir / "out.csv").c_str(), nullptr), 770);
    EXPECT_EQ(Message(writer), "Can not write csv files.");
    zmtest::RecordingSink sink;
    EXPECT_EQ(writer.Read(&sink), 770);  // sticky until Close
    writer.Close();
    EXPECT_EQ(writer.GetStatus(), 0);

    CsvFile missing;
    EXPECT_EQ(missing.Open(true, (dir / "none.csv").c_str(), nullptr), 768);
    EXPECT_EQ(Message(missing), "Failed to open stream for reading.");
    EXPECT_EQ(missing.GetNumRows(), -1);
    EXPECT_EQ(missing.Read(&sink), 768);

    CsvFile reader;
    char small[10];
    reader.Open(false, "x", nullptr);
    reader.GetErrorMessage(small, sizeof small);
    EXPECT_STREQ(small, "Can not w");
}

TEST_F(CsvFileTest, ProposesTheDelimiterFromTheFirstLine) {
    CsvFile semicolons;
    semicolons.Open(true, Write("s.csv", "a;b;c,d\n1,2,3,4,5\n").c_str(), nullptr);
    EXPECT_EQ(semicolons.GetDelimiter(), ';');
    CsvFile tie;
    tie.Open(true, Write("t.csv", "a;b,c\n").c_str(), nullptr);
    EXPECT_EQ(tie.GetDelimiter(), ',');
    CsvFile empty;
    empty.Open(true, Write("e.csv", "").c_str(), nullptr);
    EXPECT_EQ(empty.GetDelimiter(), ',');
}

TEST(CsvFileFactory, ClaimsEveryFileAsPlausibleAndMakesACsvReader) {
    int index = 0;
    for (int i = 1; i <= SprFileFactory::SizeInfos(); ++i) {
        if (std::string(SprFileFactory::GetInfo(i)->name) == "CSV File")
            index = i;
    }
    ASSERT_NE(index, 0);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(index, "/nonexistent"), SprFileFactory::kPlausible);
    std::unique_ptr<SpreadsheetFile> file(SprFileFactory::GetSpreadsheetFile(index));
    EXPECT_NE(dynamic_cast<CsvFile*>(file.get()), nullptr);
}

}  // namespace
