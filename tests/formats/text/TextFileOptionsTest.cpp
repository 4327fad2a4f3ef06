// Tests of the text options: stored form, the encoding table and its lookups.
#include "formats/text/TextFileOptions.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/Settings.h"

namespace {

// Owns the bytes a record receives.
struct Record {
    ZmImportOpenOptions options{0, nullptr};
    ~Record() { delete[] options.data; }
    void Store(const zm::SettingsDocument& document) {
        delete[] options.data;
        zm::StoreOptions(&options, document);
    }
};

class CsvLikeOptions : public TextFileOptions {
  public:
    bool UseConsecutiveOption() const override { return false; }
};

TEST(TextFileOptions, RecordRoundTripKeepsAllFieldsWithALongDelimiter) {
    TextFileOptions written;
    written.SetEncoding("koi8r");
    written.SetDelimiter(";; ");
    written.SetIgnoreConsecutiveDelimiters(true);
    Record record;
    written.Write(&record.options);
    ASSERT_GT(record.options.size, 0u);

    TextFileOptions read;
    ASSERT_TRUE(read.Read(&record.options));
    EXPECT_EQ(read.GetEncoding(), "koi8r");
    EXPECT_EQ(read.GetDelimiter(), ";; ");
    EXPECT_TRUE(read.GetIgnoreConsecutiveDelimiters());

    std::unique_ptr<zm::SettingsDocument> document;
    ASSERT_EQ(zm::DecodeOptions(&record.options, document), zm::OptionsDecode::kDecoded);
    EXPECT_EQ(document->GetString("Settings", "Encoding"), "koi8r");
    EXPECT_EQ(document->GetBool("Settings", "IgnoreConsecutiveDelimiters"), true);
}

TEST(TextFileOptions, MissingKeysFailTheReadButKeepWhatWasRead) {
    zm::SettingsDocument document;
    document.SetString("Settings", "Delimiter", ",");
    document.SetBool("Settings", "IgnoreConsecutiveDelimiters", true);
    Record record;
    record.Store(document);
    TextFileOptions options;
    options.SetEncoding("utf8");
    EXPECT_FALSE(options.Read(&record.options));
    EXPECT_EQ(options.GetDelimiter(), ",");
    EXPECT_EQ(options.GetEncoding(), "utf8");

    zm::SettingsDocument noFlag;
    noFlag.SetString("Settings", "Delimiter", "|");
    noFlag.SetString("Settings", "Encoding", "cp850");
    record.Store(noFlag);
    EXPECT_FALSE(TextFileOptions().Read(&record.options));
    // Options that do not store the flag do not miss it.
    CsvLikeOptions csv;
    EXPECT_TRUE(csv.Read(&record.options));
    EXPECT_EQ(csv.GetEncoding(), "cp850");
}

TEST(TextFileOptions, UnusedFieldsAreNotStored) {
    CsvLikeOptions csv;
    csv.SetIgnoreConsecutiveDelimiters(true);
    Record record;
    csv.Write(&record.options);
    std::unique_ptr<zm::SettingsDocument> document;
    ASSERT_EQ(zm::DecodeOptions(&record.options, document), zm::OptionsDecode::kDecoded);
    EXPECT_FALSE(document->HasKey("Settings", "IgnoreConsecutiveDelimiters"));
    EXPECT_EQ(document->GetString("Settings", "Delimiter"), "\t");
    EXPECT_EQ(document->GetString("Settings", "Encoding"), "");
}

TEST(TextFileOptions, MalformedRecordsThrow) {
    unsigned char garbage[] = {200, 0, 0, 0, '<', 'x'};
    ZmImportOpenOptions record{sizeof garbage, garbage};
    EXPECT_ANY_THROW(TextFileOptions().Read(&record));
    unsigned char notXml[] = {3, 0, 0, 0, 'a', 'b', 'c'};
    record = {sizeof notXml, notXml};
    EXPECT_ANY_THROW(TextFileOptions().Read(&record));
    EXPECT_FALSE(TextFileOptions().Read(nullptr));
}

TEST(TextFileOptions, EncodingTableLookups) {
    EXPECT_EQ(TextFileOptions::GetEncodingIndex("UTF8"), 21u);
    EXPECT_EQ(TextFileOptions::GetEncodingIndex("utf8"), 28u);
    EXPECT_EQ(TextFileOptions::GetEncodingIndex(""), 21u);
    EXPECT_EQ(TextFileOptions::GetEncodingIndex("ibm420"), 0u);
    EXPECT_EQ(TextFileOptions::GetEncodingIndex("windows1252"), 31u);
    ASSERT_EQ(TextFileOptions::GetEncodingsCount(), 32u);
    const char** keys = TextFileOptions::GetAllEncodings();
    for (size_t i = 0; i < 32; ++i) {
        if (i != 21) {
            EXPECT_EQ(TextFileOptions::GetEncodingIndex(keys[i]), i) << keys[i];
        }
    }
    EXPECT_EQ(TextFileOptions::GetPrettyName(21), L"Local");
    EXPECT_EQ(TextFileOptions::GetPrettyName(0), L"Arabic (IBM420)");
    EXPECT_EQ(TextFileOptions::GetPrettyName(18), L"Japanese (Shift-JIS)");
    EXPECT_EQ(TextFileOptions::GetPrettyName(31), L"Western European (Windows-1252)");
    EXPECT_EQ(TextFileOptions::GetPrettyName(32), L"");
}

}  // namespace
