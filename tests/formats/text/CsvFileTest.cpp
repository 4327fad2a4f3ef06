// The CSV reader: opening, options record, constant size answers, delimiter proposal,
// codes and its registry entry.
#include "formats/text/CsvFile.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "framework/SprFileFactory.h"
#include "tests/support/TextTestSupport.h"

namespace {

TEST(CsvFile, ReadsQuotedFieldsAsTextAndSizesOnlyDuringRead) {
    zmtest::ScratchDir dir;
    const auto path = dir.Write("a.csv", "name, value\r\n\"x, y\",1.5\r\n\r\nlast,\"q\"\"\"\r\n");
    CsvFile file;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(file, path, sink), 0);
    // The size query answers 1 x 1 before and after reading, whatever the file holds.
    EXPECT_EQ(file.GetNumRows(), 1);
    EXPECT_EQ(file.GetNumCols(), 1);
    EXPECT_EQ(sink.cols, 2);
    EXPECT_EQ(sink.sizeCalls, 2);  // once by the caller's 1 x 1, once by the reader
    EXPECT_EQ(zmtest::ToGrid(sink),
              (zmtest::Grid{{"name", "value"}, {"x, y", "1.5"}, {}, {"last", "q\""}}));
    EXPECT_EQ(sink.At(2, 2).via, 't');  // numbers stay text: the sink decides
}

TEST(CsvFile, OptionsRecord) {
    zmtest::ScratchDir dir;
    const auto path = dir.Write("b.csv", "1;2,3\n");
    auto read = [&](ZmImportOpenOptions* record, std::string* first = nullptr) {
        CsvFile file;
        zmtest::RecordingSink sink;
        const int status = zmtest::ReadAll(file, path, sink, record);
        if (first != nullptr && status == 0)
            *first = sink.Text(1, 1);
        return status == 5 ? zmtest::Message(file) : std::to_string(status);
    };
    // An empty record receives the defaults: a comma and the local code page.
    zmtest::OptionsRecord empty;
    std::string first;
    ASSERT_EQ(read(&empty.options, &first), "0");
    EXPECT_EQ(first, "1;2");
    std::unique_ptr<zm::SettingsDocument> doc;
    ASSERT_EQ(zm::DecodeOptions(&empty.options, doc), zm::OptionsDecode::kDecoded);
    EXPECT_EQ(doc->GetString("Settings", "Delimiter"), ",");
    EXPECT_EQ(doc->GetString("Settings", "Encoding"), "");
    EXPECT_FALSE(doc->HasKey("Settings", "IgnoreConsecutiveDelimiters"));

    // Only the first byte of a longer delimiter is used.
    zmtest::OptionsRecord semicolon(";,", "utf8");
    ASSERT_EQ(read(&semicolon.options, &first), "0");
    EXPECT_EQ(first, "1");

    // A record without the encoding key is code 5; bytes that are no settings document at
    // all make the options handling throw, which is 768.
    zm::SettingsDocument noEncoding;
    noEncoding.SetString("Settings", "Delimiter", ";");
    zmtest::OptionsRecord incomplete(noEncoding);
    EXPECT_EQ(read(&incomplete.options), "Incorrect format of file open options");
    unsigned char junk[] = {200, 0, 0, 0, 'x'};
    ZmImportOpenOptions garbage{sizeof junk, junk};
    EXPECT_EQ(read(&garbage), "768");
}

TEST(CsvFile, FailuresAreStickyUntilClose) {
    zmtest::ScratchDir dir;
    zmtest::RecordingSink sink;
    CsvFile writer;
    EXPECT_EQ(writer.Open(false, dir.Path("out.csv").c_str(), nullptr), 770);
    EXPECT_EQ(writer.Read(&sink), 770);
    writer.Close();
    EXPECT_EQ(writer.GetStatus(), 0);

    CsvFile missing;
    EXPECT_EQ(missing.Open(true, dir.Path("none.csv").c_str(), nullptr), 768);
    EXPECT_EQ(missing.GetNumRows(), -1);
    EXPECT_EQ(missing.Read(&sink), 768);
}

TEST(CsvFile, ProposesTheDelimiterFromTheFirstLine) {
    zmtest::ScratchDir dir;
    const std::pair<const char*, char> cases[] = {
        {"a;b;c,d\n1,2,3,4,5\n", ';'}, {"a;b,c\n", ','}, {"", ','}};
    for (const auto& [text, delimiter] : cases) {
        CsvFile file;
        file.Open(true, dir.Write("d.csv", text).c_str(), nullptr);
        EXPECT_EQ(file.GetDelimiter(), delimiter) << text;
    }
}

TEST(CsvFile, FactoryClaimsEveryFileAsPlausibleAndMakesACsvReader) {
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
