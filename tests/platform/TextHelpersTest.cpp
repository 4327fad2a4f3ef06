// Message templates, the error-text copy rule, the log hook and file-name helpers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/CodePage.h"
#include "platform/ErrorText.h"
#include "platform/Exception.h"
#include "platform/FileNames.h"
#include "platform/Log.h"
#include "platform/TextCase.h"
#include "platform/Translate.h"

namespace {

using Strings = std::vector<std::string>;

TEST(Placeholders, CurlyAndPercentTemplatesFillByPosition) {
    const std::pair<std::string, std::string> kCases[] = {
        {zm::FormatPlaceholders("{2} before {1}, {1} again", {"a", "b"}), "b before a, a again"},
        {zm::FormatPlaceholders("{10}", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "ten"}),
         "ten"},
        // Unknown, malformed or out-of-range placeholders stay as written.
        {zm::FormatPlaceholders("{0} {3} {x} {} {1", {"a", "b"}), "{0} {3} {x} {} {1"},
        {zm::FormatPlaceholders("{1}", {"{1}"}), "{1}"},  // no re-expansion
        {zm::Exception("Cannot open {1} ({2}).", {"x.dat", "denied"}).what(),
         "Cannot open x.dat (denied)."},
        {zm::FormatMessage("%2%-%1%", 1, 2), "2-1"},
        // Too few or too many arguments, or a broken template: the template comes back.
        {zm::FormatMessage("%1% %2%", 1), "%1% %2%"},
        {zm::FormatMessage("%1%", 1, 2), "%1%"},
        {zm::FormatMessage("100%", 1), "100%"},
        // Without a catalogue the English text stands.
        {zm::Translate("context", "Some text"), "Some text"},
    };
    for (const auto& [got, expected] : kCases)
        EXPECT_EQ(got, expected);
}

// Status texts are cut to the host's buffer and always terminated; nothing is written
// past the size given, nor into an empty buffer.
TEST(CopyErrorText, TruncatesToTheBufferAndTerminates) {
    for (unsigned int size : {0u, 1u, 4u, 8u}) {
        char buffer[8];
        std::memset(buffer, 'Z', sizeof buffer);
        zm::CopyErrorText("abcd", buffer, size);
        const std::string kept = size == 0 ? "" : std::string("abcd").substr(0, size - 1) + '\0';
        EXPECT_EQ(std::string(buffer, sizeof buffer), kept + std::string(8 - kept.size(), 'Z'))
            << size;
    }
    zm::CopyErrorText("abc", nullptr, 10);  // tolerated
}

int heard = 0;

TEST(Log, MessagesReachTheHookOnlyWhileOneIsSet) {
    zm::WriteMessage("Reader", "Open", zm::LogLevel::kInfo, "nobody listens");
    zm::SetLogHook([](const char*, const char*, zm::LogLevel, const char*) { ++heard; });
    zm::WriteMessage("Reader", "Open", zm::LogLevel::kWarning, "a message");
    zm::SetLogHook(nullptr);
    zm::WriteMessage("Reader", "Open", zm::LogLevel::kError, "after removal");
    EXPECT_EQ(heard, 1);
    EXPECT_EQ(zm::GetApplicationName(), "TAVIX");  // until a host names itself
}

TEST(FileNames, JoinSplitTitlesExtensionsAndWidePaths) {
    const Strings names = {"/data/a b.txt", "c.dat", "/x/\xC3\xA9.csv"};
    EXPECT_EQ(zm::JoinFileNames(names), "/data/a b.txt\nc.dat\n/x/\xC3\xA9.csv");
    EXPECT_EQ(zm::SplitFileNames(zm::JoinFileNames(names)), names);
    EXPECT_EQ(zm::JoinFileNames({}), "");
    EXPECT_TRUE(zm::SplitFileNames("").empty());
    EXPECT_EQ(zm::SplitFileNames("a\r\n\n\nb\r\n"), (Strings{"a", "b"}));  // CR and blanks drop
    const std::pair<std::string, Strings> kParts[] = {{"/dir/name.ext", {"name", ".ext"}},
                                                      {"/dir.d/name", {"name", ""}},
                                                      {"archive.tar.gz", {"archive.tar", ".gz"}}};
    for (const auto& [path, parts] : kParts)
        EXPECT_EQ((Strings{zm::FileTitle(path), zm::FileExtension(path)}), parts) << path;
    const std::string narrow = "/tmp/\xC3\xA9t\xC3\xA9/\xE6\x97\xA5.txt";
    EXPECT_EQ(zm::NarrowToWide(narrow), L"/tmp/\u00e9t\u00e9/\u65e5.txt");
    EXPECT_EQ(zm::WideToNarrow(zm::NarrowToWide(narrow)), narrow);
}

}  // namespace

TEST(TextCase, NamesCompareWithoutTheCaseOfAsciiLetters) {
    EXPECT_TRUE(zm::EqualNoCase("rId7", "RID7"));
    EXPECT_FALSE(zm::EqualNoCase("rId7", "rId70"));
    EXPECT_FALSE(zm::EqualNoCase("\xC3\xA9", "\xC3\x89"));  // only ASCII letters fold
    EXPECT_TRUE(zm::EndsWithNoCase("xl/Workbook.BIN", ".bin"));
    EXPECT_FALSE(zm::EndsWithNoCase("bin", ".bin"));
}

TEST(AppendUtf8, EncodesEveryPlaneAndReplacesWhatIsNoCharacter) {
    std::string out;
    for (char32_t c : {U'A', U'\u00E9', U'\u20AC', U'\U0001F600'})
        zm::AppendUtf8(out, c);
    EXPECT_EQ(out, "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    out.clear();
    zm::AppendUtf8(out, 0xD83D);    // half of a surrogate pair
    zm::AppendUtf8(out, 0x110000);  // beyond the last plane
    EXPECT_EQ(out, "\xEF\xBF\xBD\xEF\xBF\xBD");
}
