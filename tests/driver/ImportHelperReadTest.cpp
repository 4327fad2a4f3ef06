// Reading and writing through the driver: sizing, messages, warnings, options and names.
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "framework/ImportHelperBase.h"
#include "framework/ImportOptionsHelper.h"
#include "platform/FileNames.h"
#include "platform/Log.h"
#include "tests/driver/DriverFixture.h"

namespace zmtest {
namespace {

std::string Contents(const std::string& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

TEST_F(DriverTest, ReadSizesTheHostDataAndFillsIt) {
    const std::string file = Script("plain.dtf", "rows 4\ncols 3\n");
    ASSERT_TRUE(
        driver.ReadSpreadsheetFile({file}, IndexOf(kSingle), &data, nullptr, false, nullptr));
    // Sized once by the driver before the read, once more by the reader itself.
    ASSERT_FALSE(data.sizes.empty());
    EXPECT_EQ(data.sizes.front(), std::make_pair(3, 4));
    EXPECT_EQ(driver.progress, std::make_pair(3, 4));
    EXPECT_EQ(driver.progressStops, 1);
    EXPECT_EQ(data.texts.at({1, 3}), "C3");
    EXPECT_FLOAT_EQ(data.numbers.at({4, 2}), 402.5f);
    EXPECT_EQ(data.numbers.size(), 9u);
    EXPECT_TRUE(data.firstFlag);  // this format's record has flag4 set
    EXPECT_STREQ(driver.GetFilenameRead(), "plain");
    EXPECT_TRUE(driver.messages.empty());
}

TEST_F(DriverTest, SeveralFilesReachAMultiFileFormatTogether) {
    const std::vector<std::wstring> files{zm::NarrowToWide(Script("a.dts", "readname Batch\n")),
                                          zm::NarrowToWide(Script("b.dts")),
                                          zm::NarrowToWide(Script("c.dts"))};
    ImportSpecBase spec;
    ASSERT_TRUE(driver.ReadSpreadsheetFile(files, IndexOf(kSeries), &data, nullptr, false, &spec));
    EXPECT_EQ(data.rows, 5);       // three rows of the first file and one per further file
    EXPECT_FALSE(data.firstFlag);  // flag4 unset
    EXPECT_TRUE(spec.accepted);    // the spec reached the plug-in
    EXPECT_STREQ(driver.GetFilenameRead(), "Batch");
}

TEST_F(DriverTest, ATableWithoutRowsIsReportedAndNotRead) {
    const std::string file = Script("empty.dtf", "rows 0\n");
    EXPECT_FALSE(
        driver.ReadSpreadsheetFile({file}, IndexOf(kSingle), &data, nullptr, false, nullptr));
    const std::string text = "The selected file does not contain any data. Import will be aborted.";
    EXPECT_EQ(driver.GetErrorMessage(), text);
    ASSERT_EQ(driver.messages.size(), 1u);
    EXPECT_EQ(driver.messages[0].text, text);
    EXPECT_EQ(driver.messages[0].caption, zm::GetApplicationName());
    EXPECT_TRUE(data.sizes.empty());
    EXPECT_EQ(driver.progressStops, 0);
}

TEST_F(DriverTest, ReaderFailuresCarryTheReaderText) {
    const std::string broken = Script("broken.dtf", "fail read\nerror Record 7 is cut short.\n");
    EXPECT_FALSE(
        driver.ReadSpreadsheetFile({broken}, IndexOf(kSingle), &data, nullptr, false, nullptr));
    EXPECT_EQ(driver.GetErrorMessage(), "Record 7 is cut short.");
    ASSERT_EQ(driver.messages.size(), 1u);
    EXPECT_EQ(driver.messages[0].text, "Record 7 is cut short.");
    EXPECT_EQ(driver.progressStops, 1);

    driver.messages.clear();
    const std::string unopened = Script("unopened.dtf", "fail open\nerror Locked.\n");
    EXPECT_FALSE(
        driver.ReadSpreadsheetFile({unopened}, IndexOf(kSingle), &data, nullptr, false, nullptr));
    EXPECT_EQ(driver.GetErrorMessage(), "Locked.");
    EXPECT_EQ(driver.messages.size(), 1u);
}

TEST_F(DriverTest, AnImportTheUserAbortedEndsWithoutAMessage) {
    for (const char* step : {"open", "size", "read"}) {
        driver.messages.clear();
        const std::string file = Script(std::string(step) + ".dtf",
                                        std::string("fail ") + step + "\nerror AbortedByUser\n");
        EXPECT_FALSE(
            driver.ReadSpreadsheetFile({file}, IndexOf(kSingle), &data, nullptr, false, nullptr));
        EXPECT_EQ(driver.GetErrorMessage(), "AbortedByUser") << step;
        EXPECT_TRUE(driver.messages.empty()) << step;
    }
}

TEST_F(DriverTest, WarningsAreShownAndMayBeDeclined) {
    const std::string file = Script("warn.dtf", "warning Values were clipped.\n");
    ImportOptionsHelper::OpenOptions options;
    ASSERT_TRUE(
        driver.ReadSpreadsheetFile({file}, IndexOf(kSingle), &data, &options, true, nullptr));
    ASSERT_EQ(driver.messages.size(), 1u);
    EXPECT_EQ(driver.messages[0].text, "Values were clipped.");
    EXPECT_EQ(driver.messages[0].caption, "Warning");
    EXPECT_EQ(driver.messages[0].type, ImportHelperBase::kMessageWarning);
    EXPECT_EQ(driver.messages[0].defaultAnswer, 1);
    EXPECT_GT(options.size, 0u);

    driver.answer = ImportHelperBase::kAnswerDeclined;
    EXPECT_FALSE(
        driver.ReadSpreadsheetFile({file}, IndexOf(kSingle), &data, &options, true, nullptr));
    EXPECT_EQ(options.size, 0u);
    EXPECT_EQ(options.data, nullptr);
}

TEST_F(DriverTest, OptionsComeBackOnlyWhenAsked) {
    const std::string file = Script("options.dtf");
    ImportOptionsHelper::OpenOptions options;
    ASSERT_TRUE(
        driver.ReadSpreadsheetFile({file}, IndexOf(kSingle), &data, &options, false, nullptr));
    EXPECT_EQ(options.size, 0u);  // the reader worked on a copy
    ASSERT_TRUE(
        driver.ReadSpreadsheetFile({file}, IndexOf(kSingle), &data, &options, true, nullptr));
    EXPECT_EQ(ImportOptionsHelper::GetReadOrder(options), 1);  // the plug-in's defaults

    // Records the caller filled travel to the reader unchanged and come back as they were.
    const std::unique_ptr<ImportOptionsHelper::OpenOptions> merged(
        ImportOptionsHelper::CreateOpenOptions(
            "<Configuration><Settings><ReadOrder>3</ReadOrder></Settings></Configuration>"));
    ASSERT_TRUE(
        driver.ReadSpreadsheetFile({file}, IndexOf(kSingle), &data, merged.get(), true, nullptr));
    EXPECT_TRUE(ImportOptionsHelper::IsMergeDocuments(*merged));
}

TEST_F(DriverTest, FileOptionsComeFromTheFormat) {
    const std::string file = Script("sheets.dtf");
    std::unique_ptr<ImportOptionsHelper::OpenOptions> options;
    ZmImportOpenOptions* record = driver.GetFileOptions({file}, IndexOf(kSingle), false);
    ASSERT_NE(record, nullptr);
    options = std::make_unique<ImportOptionsHelper::OpenOptions>(*record);
    delete record;
    EXPECT_EQ(ImportOptionsHelper::GetDocuments(*options),
              (std::vector<std::string>{"one", "two"}));

    EXPECT_EQ(driver.GetFileOptions({(dir / "gone.dtf").string()}, IndexOf(kSingle), false),
              nullptr);
    EXPECT_EQ(driver.GetErrorMessage(), "The file does not exist.");
}

TEST_F(DriverTest, WriteGoesToAWritableFormatOnly) {
    data.SetDataSize(2, 2);
    const std::string out = (dir / "out.dtf").string();
    ASSERT_TRUE(driver.WriteSpreadsheetFile(out.c_str(), IndexOf(kSingle), &data, nullptr));
    EXPECT_EQ(Contents(out), "#dtf\nrows 2\ncols 2\n# name\n# 21\n# 12\n# -\n");

    // Without an index the extension picks the writable format.
    const std::string byExtension = (dir / "again.dtf").string();
    ASSERT_TRUE(driver.WriteSpreadsheetFile(byExtension.c_str(), 0, &data, nullptr));
    EXPECT_EQ(Contents(byExtension), Contents(out));

    const std::string text =
        "Save not supported for the current file format\nor the file format could not be "
        "deduced.";
    EXPECT_FALSE(
        driver.WriteSpreadsheetFile((dir / "s.dts").c_str(), IndexOf(kSeries), &data, nullptr));
    EXPECT_EQ(driver.GetErrorMessage(), text);
    EXPECT_FALSE(driver.WriteSpreadsheetFile((dir / "noext").c_str(), 0, &data, nullptr));
    EXPECT_EQ(driver.GetErrorMessage(), text);
}

}  // namespace
}  // namespace zmtest
