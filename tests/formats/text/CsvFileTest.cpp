// The CSV reader's options record and delimiter proposal; its cells and size answers are
// checked with the CSV goldens.
#include "formats/text/CsvFile.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/TextTestSupport.h"

namespace {

TEST(CsvFile, OptionsRecord) {
    zmtest::ScratchDir dir;
    const auto path = dir.Write("b.csv", "1;2,3\n");
    auto read = [&](ZmImportOpenOptions* record) {
        CsvFile file;
        zmtest::RecordingSink sink;
        const int status = zmtest::ReadAll(file, path, sink, record);
        return status != 0 ? std::to_string(status) + " " + zmtest::Message(file) : sink.Text(1, 1);
    };
    // An empty record receives the defaults: a comma and the local code page.
    zmtest::OptionsRecord empty;
    EXPECT_EQ(read(&empty.options), "1;2");
    EXPECT_EQ(zmtest::StoredKeys(&empty.options), "Delimiter=,;Encoding=;");
    // Only the first byte of a longer delimiter is used.
    zmtest::OptionsRecord semicolon(";,", "utf8");
    EXPECT_EQ(read(&semicolon.options), "1");
    // A record without the encoding key is code 5; bytes that are no settings document at
    // all make the options handling throw, which is 768.
    zm::SettingsDocument noEncoding;
    noEncoding.SetString("Settings", "Delimiter", ";");
    zmtest::OptionsRecord incomplete(noEncoding);
    EXPECT_EQ(read(&incomplete.options), "5 Incorrect format of file open options");
    unsigned char junk[] = {200, 0, 0, 0, 'x'};
    ZmImportOpenOptions garbage{sizeof junk, junk};
    EXPECT_EQ(read(&garbage), "768 Failed to open stream for reading.");
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

}  // namespace
