// Tests of the text options: stored form and the encoding table's lookups.
#include "formats/text/TextFileOptions.h"

#include <gtest/gtest.h>

#include "tests/support/TextTestSupport.h"

namespace {

TEST(TextFileOptions, RecordRoundTripAndMissingKeys) {
    TextFileOptions written;
    written.SetEncoding("koi8r");
    written.SetDelimiter(";; ");
    written.SetIgnoreConsecutiveDelimiters(true);
    zmtest::OptionsRecord record;
    written.Write(&record.options);
    TextFileOptions read;
    ASSERT_TRUE(read.Read(&record.options));
    EXPECT_EQ(read.GetEncoding(), "koi8r");
    EXPECT_EQ(read.GetDelimiter(), ";; ");
    EXPECT_TRUE(read.GetIgnoreConsecutiveDelimiters());
    EXPECT_FALSE(TextFileOptions().Read(nullptr));

    // A record without the encoding fails the read but keeps what was read.
    zm::SettingsDocument noEncoding;
    noEncoding.SetString("Settings", "Delimiter", ",");
    noEncoding.SetBool("Settings", "IgnoreConsecutiveDelimiters", true);
    zmtest::OptionsRecord partial(noEncoding);
    TextFileOptions options;
    options.SetEncoding("utf8");
    EXPECT_FALSE(options.Read(&partial.options));
    EXPECT_EQ(options.GetDelimiter(), ",");
    EXPECT_EQ(options.GetEncoding(), "utf8");
    // The text options need the flag too.
    zmtest::OptionsRecord noFlag("|", "cp850");
    EXPECT_FALSE(TextFileOptions().Read(&noFlag.options));
}

TEST(TextFileOptions, EncodingTableLookups) {
    ASSERT_EQ(TextFileOptions::GetEncodingsCount(), 32u);
    const char** keys = TextFileOptions::GetAllEncodings();
    // The local code page ("") sits at 21 and is what unknown spellings find.
    for (size_t i = 0; i < 32; ++i)
        EXPECT_EQ(TextFileOptions::GetEncodingIndex(keys[i]), i) << keys[i];
    EXPECT_EQ(keys[21], std::string());
    EXPECT_EQ(TextFileOptions::GetEncodingIndex("UTF8"), 21u);
    EXPECT_EQ(TextFileOptions::GetEncodingIndex("utf8"), 28u);
    EXPECT_EQ(TextFileOptions::GetPrettyName(21), L"Local");
    EXPECT_EQ(TextFileOptions::GetPrettyName(18), L"Japanese (Shift-JIS)");
    EXPECT_EQ(TextFileOptions::GetPrettyName(32), L"");
}

}  // namespace
