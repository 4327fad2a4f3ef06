// Message templates, the error-text copy rule, the log hook and file-name helpers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/ErrorText.h"
#include "platform/Exception.h"
#include "platform/FileNames.h"
#include "platform/Log.h"
#include "platform/Translate.h"

namespace {

TEST(Exception, FillsCurlyPlaceholdersByPosition) {
    EXPECT_EQ(zm::FormatPlaceholders("{2} before {1}, {1} again", {"a", "b"}),
              "b before a, a again");
    EXPECT_EQ(zm::FormatPlaceholders("{10}", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "ten"}),
              "ten");
    // Unknown, malformed or out-of-range placeholders stay as written.
    EXPECT_EQ(zm::FormatPlaceholders("{0} {3} {x} {} {1", {"a", "b"}), "{0} {3} {x} {} {1");
    EXPECT_EQ(zm::FormatPlaceholders("{1}", {"{1}"}), "{1}");  // no re-expansion
    EXPECT_EQ(zm::FormatPlaceholders("", {"a"}), "");

    const zm::Exception e("Cannot open {1} ({2}).", {"x.dat", "denied"});
    EXPECT_STREQ(e.what(), "Cannot open x.dat (denied).");
    const std::runtime_error& base = e;  // caught by standard handlers too
    EXPECT_STREQ(base.what(), "Cannot open x.dat (denied).");
}

TEST(FormatMessage, FillsPercentPlaceholdersAndNeverThrows) {
    EXPECT_EQ(zm::FormatMessage("Line %1% of %2%", 3, "a.txt"), "Line 3 of a.txt");
    EXPECT_EQ(zm::FormatMessage("%2%-%1%", 1, 2), "2-1");
    EXPECT_EQ(zm::FormatMessage("%1%", 1.5), "1.5");
    // Too few or too many arguments, or a broken template: the template comes back.
    EXPECT_EQ(zm::FormatMessage("%1% %2%", 1), "%1% %2%");
    EXPECT_EQ(zm::FormatMessage("%1%", 1, 2), "%1%");
    EXPECT_EQ(zm::FormatMessage("100%", 1), "100%");
    // Without a catalogue the English text stands.
    EXPECT_EQ(zm::Translate("No further information available."),
              "No further information available.");
    EXPECT_EQ(zm::Translate("context", "Some text"), "Some text");
}

TEST(CopyErrorText, TruncatesToTheBufferAndTerminates) {
    const std::string text = "This function is not implemented for this file format.";
    char buffer[16];
    std::memset(buffer, 'Z', sizeof buffer);
    zm::CopyErrorText(text, buffer, 10);
    EXPECT_STREQ(buffer, "This func");
    EXPECT_EQ(buffer[10], 'Z');  // nothing written past the given size

    zm::CopyErrorText("abc", buffer, 16);
    EXPECT_STREQ(buffer, "abc");
    zm::CopyErrorText("abc", buffer, 4);  // exactly fits
    EXPECT_STREQ(buffer, "abc");
    zm::CopyErrorText("abcd", buffer, 4);
    EXPECT_STREQ(buffer, "abc");

    buffer[0] = 'Q';
    buffer[1] = 'Q';
    zm::CopyErrorText(text, buffer, 1);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], 'Q');

    buffer[0] = 'Q';
    zm::CopyErrorText(text, buffer, 0);
    EXPECT_EQ(buffer[0], 'Q');
    zm::CopyErrorText(text, nullptr, 10);  // tolerated
    zm::CopyErrorText("", buffer, 10);
    EXPECT_STREQ(buffer, "");
}

struct LogRecord {
    std::string source, tag, text;
    zm::LogLevel level;
};
std::vector<LogRecord> logged;

void RecordLog(const char* source, const char* tag, zm::LogLevel level, const char* text) {
    logged.push_back({source, tag, text, level});
}

TEST(Log, MessagesReachTheHookOnlyWhileOneIsSet) {
    logged.clear();
    zm::WriteMessage("Reader", "Open", zm::LogLevel::kInfo, "nobody listens");
    EXPECT_TRUE(logged.empty());
    zm::SetLogHook(&RecordLog);
    zm::WriteMessage("Reader", "Open", zm::LogLevel::kWarning, "a message");
    zm::SetLogHook(nullptr);
    zm::WriteMessage("Reader", "Open", zm::LogLevel::kError, "after removal");
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_EQ(logged[0].source, "Reader");
    EXPECT_EQ(logged[0].tag, "Open");
    EXPECT_EQ(logged[0].text, "a message");
    EXPECT_EQ(logged[0].level, zm::LogLevel::kWarning);
}

TEST(Log, ApplicationNameDefaultsToTavix) {
    EXPECT_EQ(zm::GetApplicationName(), "TAVIX");
    zm::SetApplicationName("Other Host");
    EXPECT_EQ(zm::GetApplicationName(), "Other Host");
    zm::SetApplicationName("TAVIX");
}

TEST(FileNames, JoinAndSplitAreInverse) {
    const std::vector<std::string> names = {"/data/a b.txt", "c.dat", "/x/\xC3\xA9.csv"};
    const std::string joined = zm::JoinFileNames(names);
    EXPECT_EQ(joined, "/data/a b.txt\nc.dat\n/x/\xC3\xA9.csv");
    EXPECT_EQ(zm::SplitFileNames(joined), names);
    EXPECT_EQ(zm::JoinFileNames({"only"}), "only");
    EXPECT_EQ(zm::JoinFileNames({}), "");
    EXPECT_TRUE(zm::SplitFileNames("").empty());
    // CR before LF and empty entries are dropped.
    EXPECT_EQ(zm::SplitFileNames("a\r\n\n\nb\r\n"), (std::vector<std::string>{"a", "b"}));
}

TEST(FileNames, TitlesExtensionsAndWidePaths) {
    EXPECT_EQ(zm::FileTitle("/dir/name.ext"), "name");
    EXPECT_EQ(zm::FileExtension("/dir/name.ext"), ".ext");
    EXPECT_EQ(zm::FileTitle("/dir.d/name"), "name");
    EXPECT_EQ(zm::FileExtension("/dir.d/name"), "");
    EXPECT_EQ(zm::FileTitle("archive.tar.gz"), "archive.tar");
    EXPECT_EQ(zm::FileExtension("archive.tar.gz"), ".gz");
    const std::string narrow = "/tmp/\xC3\xA9t\xC3\xA9/\xE6\x97\xA5.txt";
    const std::wstring wide = zm::NarrowToWide(narrow);
    EXPECT_EQ(wide, L"/tmp/\u00e9t\u00e9/\u65e5.txt");
    EXPECT_EQ(zm::WideToNarrow(wide), narrow);
}

}  // namespace
