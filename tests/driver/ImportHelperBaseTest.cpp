// The driver's dialog table, its file check and the logging defaults of its hooks.
#include "framework/ImportHelperBase.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/FileNames.h"
#include "platform/Log.h"
#include "tests/driver/DriverFixture.h"

namespace zmtest {
namespace {

constexpr size_t kEntry = 2754;

// Reads the table as the host's dialogs do: raw bytes at fixed offsets.
std::string TextAt(const ImportHelperBase& driver, int entry, size_t offset) {
    return reinterpret_cast<const char*>(driver.GetFormatTable()) + entry * kEntry + offset;
}
int ByteAt(const ImportHelperBase& driver, int entry, size_t offset) {
    return reinterpret_cast<const char*>(driver.GetFormatTable())[entry * kEntry + offset];
}

TEST_F(DriverTest, FormatTableHoldsFixedSizeEntriesAtFixedOffsets) {
    ASSERT_EQ(driver.SizeFormatTable(), loader.SizeInfos() + 1);
    EXPECT_GE(loader.SizeInfos(), 24);  // the library's 22 formats and the plug-in's two

    EXPECT_EQ(TextAt(driver, 0, 0), "All files (*.*)");
    EXPECT_EQ(TextAt(driver, 0, 190), ".*");
    EXPECT_EQ(TextAt(driver, 0, 190 + 256), "");
    for (size_t flag = 2750; flag < kEntry; ++flag)
        EXPECT_EQ(ByteAt(driver, 0, flag), 1);

    const int single = IndexOf(kSingle);
    EXPECT_EQ(TextAt(driver, single, 0), "Driver test files (*.dtf;*.dtx)");
    EXPECT_EQ(TextAt(driver, single, 70), "Driver test files (*.dtf)");
    EXPECT_EQ(TextAt(driver, single, 190), ".dtf");
    EXPECT_EQ(TextAt(driver, single, 190 + 256), ".dtx");
    EXPECT_EQ(TextAt(driver, single, 190 + 512), "");
    EXPECT_EQ(ByteAt(driver, single, 2750), 1);  // canWrite
    EXPECT_EQ(ByteAt(driver, single, 2751), 1);  // canRead
    EXPECT_EQ(ByteAt(driver, single, 2752), 0);  // multiFile
    EXPECT_EQ(ByteAt(driver, single, 2753), 0);  // flag5

    const int series = IndexOf(kSeries);
    EXPECT_EQ(TextAt(driver, series, 70), "");  // cannot write: no save filter
    EXPECT_EQ(ByteAt(driver, series, 2750), 0);
    EXPECT_EQ(ByteAt(driver, series, 2752), 1);
    EXPECT_EQ(ByteAt(driver, series, 2753), 1);

    // Every text stays terminated inside its field, whatever the formats offer.
    for (int e = 0; e < driver.SizeFormatTable(); ++e) {
        const char* base = reinterpret_cast<const char*>(driver.GetFormatTable()) + e * kEntry;
        EXPECT_NE(memchr(base, 0, 70), nullptr) << e;
        EXPECT_NE(memchr(base + 70, 0, 120), nullptr) << e;
        EXPECT_EQ(base[190 + 9 * 256], 0) << e;
    }
}

TEST_F(DriverTest, CheckRefusesMissingFilesAndDirectories) {
    const std::string good = Script("good.dtf");
    ImportHelperBase::ReadErrors error;
    int format = 1;
    // A directory fails even after valid files.
    EXPECT_FALSE(driver.CheckFilesBeforeRead({good, dir.string()}, format, error, true));
    EXPECT_EQ(error, ImportHelperBase::kFileIsDirectory);
    EXPECT_EQ(driver.GetErrorMessage(), "Directories can not be imported.");

    format = 1;
    EXPECT_FALSE(
        driver.CheckFilesBeforeRead({good, (dir / "gone.dtf").string()}, format, error, false));
    EXPECT_EQ(error, ImportHelperBase::kFileMissing);
    EXPECT_EQ(driver.GetErrorMessage(), "The file does not exist.");

    format = 1;
    EXPECT_FALSE(driver.CheckFilesBeforeRead(std::vector<std::string>{}, format, error, false));
    EXPECT_EQ(error, ImportHelperBase::kFileMissing);
    EXPECT_TRUE(driver.messages.empty());  // the check only stores its texts
}

TEST_F(DriverTest, CheckTurnsDialogPositionsIntoLoaderIndexes) {
    ImportHelperBase::ReadErrors error;
    // The catch-all position chooses by content, whatever the extension says.
    const std::string misnamed = Script("x.txt");
    int format = 1;
    ASSERT_TRUE(driver.CheckFilesBeforeRead({misnamed}, format, error, true));
    EXPECT_EQ(format, IndexOf(kSingle));
    EXPECT_EQ(error, ImportHelperBase::kNoReadError);

    // A position past the readable formats does the same.
    format = driver.SizeFormatTable() + 5;
    ASSERT_TRUE(driver.CheckFilesBeforeRead({misnamed}, format, error, true));
    EXPECT_EQ(format, IndexOf(kSingle));

    // A dialog position names a format directly, even against the content.
    format = DialogPosition(kSeries);
    ASSERT_TRUE(driver.CheckFilesBeforeRead({misnamed}, format, error, true));
    EXPECT_EQ(format, IndexOf(kSeries));

    format = 0;
    EXPECT_FALSE(driver.CheckFilesBeforeRead({misnamed}, format, error, true));
    EXPECT_EQ(error, ImportHelperBase::kTypeNotSupported);
    EXPECT_EQ(driver.GetErrorMessage(),
              "The file type is either not supported or could not be deduced from the file's "
              "extension or contents.");
}

TEST_F(DriverTest, SeveralFilesOfASingleFileFormat) {
    const std::vector<std::string> files{Script("a.dtf"), Script("b.dtf")};
    ImportHelperBase::ReadErrors error;
    int format = DialogPosition(kSingle);
    EXPECT_FALSE(driver.CheckFilesBeforeRead(files, format, error, true));
    EXPECT_EQ(error, ImportHelperBase::kSeveralFiles);
    EXPECT_EQ(driver.GetErrorMessage(),
              "Driver test files (*.dtf;*.dtx) can only be imported one at a time.\n\n"
              " Import will be aborted.");

    format = DialogPosition(kSingle);
    EXPECT_TRUE(driver.CheckFilesBeforeRead(files, format, error, false));
    EXPECT_EQ(format, IndexOf(kSingle));
}

TEST_F(DriverTest, SeveralFilesOfAMultiFileFormatAreSortedByTheHost) {
    const std::vector<std::string> files{Script("a.dts"), Script("b.dts")};
    ImportHelperBase::ReadErrors error;
    int format = DialogPosition(kSeries);
    EXPECT_TRUE(driver.CheckFilesBeforeRead(files, format, error, true));
    EXPECT_EQ(driver.sortedFirst, files[0]);

    driver.acceptSort = false;
    format = DialogPosition(kSeries);
    EXPECT_FALSE(driver.CheckFilesBeforeRead(files, format, error, true));
    EXPECT_EQ(error, ImportHelperBase::kSeveralFiles);
}

TEST_F(DriverTest, WideCheckTakesTheSameFiles) {
    const std::string file = Script(
        "Me\xC3\x9F"
        "daten.dtf");
    ImportHelperBase::ReadErrors error;
    int format = 1;
    ASSERT_TRUE(driver.CheckFilesBeforeRead({zm::NarrowToWide(file)}, format, error, true));
    EXPECT_EQ(format, IndexOf(kSingle));
    format = 1;
    EXPECT_FALSE(driver.CheckFilesBeforeRead({zm::NarrowToWide((dir / "fehlt.dtf").string())},
                                             format, error, true));
    EXPECT_EQ(error, ImportHelperBase::kFileMissing);
}

struct Logged {
    std::string source, tag, text;
    zm::LogLevel level;
};
std::vector<Logged> logged;

TEST_F(DriverTest, BaseHooksLogAndKeepTheDefaultAnswer) {
    logged.clear();
    zm::SetLogHook([](const char* source, const char* tag, zm::LogLevel level, const char* text) {
        logged.push_back({source, tag, text, level});
    });
    ImportHelperBase base(&loader, "base");
    EXPECT_EQ(base.PutMsg1("Careful", "Warning", ImportHelperBase::kMessageWarning, 7), 7);
    base.PutMsg2("a", "b", "c");
    zm::SetLogHook(nullptr);
    ASSERT_EQ(logged.size(), 2u);
    EXPECT_EQ(logged[0].source, "ImportHelper");
    EXPECT_EQ(logged[0].tag, "PutMsgMB");
    EXPECT_EQ(logged[0].text, "Careful");
    EXPECT_EQ(logged[0].level, zm::LogLevel::kError);
    EXPECT_EQ(logged[1].tag, "PutMsgDD");
    EXPECT_EQ(logged[1].text, "b: c");
}

}  // namespace
}  // namespace zmtest
