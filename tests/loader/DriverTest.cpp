// The driver: its dialog table, the file check, reading and writing through the loader
// with the host's messages.
#include "framework/ImportHelperBase.h"
#include "framework/OptionsRecord.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "framework/ImportOptionsHelper.h"
#include "platform/FileNames.h"
#include "platform/Log.h"
#include "tests/loader/PluginTestSupport.h"

namespace zmtest {
namespace {

using Strings = std::vector<std::string>;
using Helper = ImportHelperBase;

// What the host saw, in order: message boxes, sorting, progress, sizing and cells.
Strings events;
void Note(const std::string& event) {
    events.push_back(event);
}

class RecordingDriver : public ImportHelperBase {
  public:
    explicit RecordingDriver(ImportDLLLoader* loader) : ImportHelperBase(loader, "test") {}

    int PutMsg1(const char* text, const char* caption, MessageType type, int answer) override {
        Note(std::string("message ") + text + "|" + caption + "|" + std::to_string(type) + "|" +
             std::to_string(answer));
        return userAnswer != 0 ? userAnswer : answer;
    }
    bool SortFiles(const char* firstFile, ReadErrors& error) override {
        Note(std::string("sort ") + firstFile);
        error = acceptSort ? error : kSeveralFiles;
        return acceptSort;
    }
    void ShowProgressBarWhileReading(SpreadsheetData*, int cols, int rows) override {
        Note("progress " + std::to_string(cols) + " " + std::to_string(rows));
    }
    void StopProgressBar(SpreadsheetData*) override { Note("stop"); }

    int userAnswer = 0;  // 0 keeps the default answer
    bool acceptSort = true;
};

// Records the cells it receives; as a write source it offers a 2 x 2 table with a text,
// two numbers and a missing cell, its data starting at column 2, row 1.
class RecordingData : public SpreadsheetData {
  public:
    int GetNumberOfColumns() override { return cols; }
    int GetNumberOfRows() override { return rows; }
    void SetDataSize(int c, int r) override {
        Note("size " + std::to_string(cols = c) + " " + std::to_string(rows = r));
    }
    void Set(int col, int row, float value) override { cells[{row, col}] = std::to_string(value); }
    void Set(int col, int row, const char* text) override { cells[{row, col}] = text; }

    bool IsText(int col, int row) override { return col == 1 && row == 1; }
    bool IsMissing(int col, int row) override { return col == 2 && row == 2; }
    bool IsNumber(int col, int row) override { return !IsText(col, row) && !IsMissing(col, row); }
    std::string GetText(int, int) override { return "name"; }
    float GetNumber(int col, int row) override { return static_cast<float>(col * 10 + row); }
    bool GetDataOrigin(int* col, int* row) override {
        *col = 2;
        *row = 1;
        return true;
    }

    int cols = 0;
    int rows = 0;
    std::map<std::pair<int, int>, std::string> cells;  // key (row, col)
};

// The loader lists the test plug-ins' formats beside the library's own; the driver works
// with the first copy of the scripted formats.
class DriverTest : public PluginTest {
  protected:
    void SetUp() override { events.clear(); }
    // The format's position in the open dialog: 1 is the catch-all, then readable formats.
    int DialogPosition(const char* name) {
        int position = 1;
        for (int i = 1; i <= First(name); ++i)
            position += loader.GetInfo(i)->canRead;
        return position;
    }
    bool Read(const Strings& files, ZmImportOpenOptions* options = nullptr, bool back = false) {
        return driver.ReadSpreadsheetFile(files, First(kSingle), &data, options, back, nullptr);
    }

    static constexpr const char* kSingle = "Driver test format";
    static constexpr const char* kSeries = "Driver test series";

    RecordingDriver driver{&loader};
    RecordingData data;
};

// An expected table entry: texts at their offsets, the rest zero, then the four flags
// canWrite, canRead, multiFile and flag5.
std::string Entry(const std::vector<std::pair<size_t, std::string>>& texts, const char* flags) {
    std::string entry(2750, '\0');
    for (const auto& [offset, text] : texts)
        entry.replace(offset, text.size(), text);
    return entry + std::string(flags, 4);
}

TEST_F(DriverTest, FormatTableHoldsFixedSizeEntriesAtFixedOffsets) {
    constexpr size_t kEntry = 2754;
    ASSERT_EQ(driver.SizeFormatTable(), loader.SizeInfos() + 1);
    // Read as the host's dialogs do: raw bytes at fixed offsets.
    const char* table = reinterpret_cast<const char*>(driver.GetFormatTable());
    auto entry = [table](int index) { return std::string(table + index * kEntry, kEntry); };
    EXPECT_EQ(entry(0), Entry({{0, "All files (*.*)"}, {190, ".*"}}, "\1\1\1\1"));
    EXPECT_EQ(entry(First(kSingle)), Entry({{0, "Driver test files (*.dtf;*.dtx)"},
                                            {70, "Driver test files (*.dtf)"},
                                            {190, ".dtf"},
                                            {190 + 256, ".dtx"}},
                                           "\1\1\0\0"));
    // Cannot write: no save filter.
    EXPECT_EQ(
        entry(First(kSeries)),
        Entry({{0, "Driver test series (*.dts)"}, {190, ".dts"}, {190 + 256, ".dtx"}}, "\0\1\1\1"));
}

TEST_F(DriverTest, CheckTurnsDialogPositionsIntoLoaderIndexesOrRefusesTheFiles) {
    // The loader index chosen, or the error code and text.
    auto check = [this](const Strings& files, int position, bool refuseSeveral = true) {
        Helper::ReadErrors error = Helper::kNoReadError;
        if (driver.CheckFilesBeforeRead(files, position, error, refuseSeveral))
            return "index " + std::to_string(position);
        return std::to_string(error) + " " + driver.GetErrorMessage();
    };
    const std::string toSingle = "index " + std::to_string(First(kSingle));
    const std::string toSeries = "index " + std::to_string(First(kSeries));
    const std::string good = dir.Script("good.dtf");
    const std::string misnamed = dir.Script("x.txt");
    const Strings single{dir.Script("a.dtf"), dir.Script("b.dtf")};
    const Strings series{dir.Script("a.dts"), dir.Script("b.dts")};
    // The catch-all position and one past the readable formats choose by content, whatever
    // the extension says; a dialog position names a format even against it.
    EXPECT_EQ(check({misnamed}, 1), toSingle);
    EXPECT_EQ(check({misnamed}, driver.SizeFormatTable() + 5), toSingle);
    EXPECT_EQ(check({misnamed}, DialogPosition(kSeries)), toSeries);
    EXPECT_EQ(check({good, dir.path.string()}, 1), "2 Directories can not be imported.");
    EXPECT_EQ(check({good, dir.File("gone.dtf")}, 1, false), "1 The file does not exist.");
    EXPECT_EQ(check({}, 1), "1 The file does not exist.");
    EXPECT_EQ(check({good}, 0),
              "5 The file type is either not supported or could not be deduced from the file's "
              "extension or contents.");
    // Several files need a multi-file format, whose files the host sorts and may refuse,
    // or leave to refuse them.
    EXPECT_EQ(check(single, DialogPosition(kSingle)),
              "3 Driver test files (*.dtf;*.dtx) can only be imported one at a time.\n\n"
              " Import will be aborted.");
    EXPECT_EQ(check(single, DialogPosition(kSingle), false), toSingle);
    EXPECT_EQ(check(series, DialogPosition(kSeries)), toSeries);
    driver.acceptSort = false;
    EXPECT_EQ(check(series, DialogPosition(kSeries)).front(), '3');  // the host explains
    EXPECT_EQ(events, Strings(2, "sort " + series[0]));  // the check only stores its texts

    // Wide names are checked the same way.
    int format = 1;
    Helper::ReadErrors error = Helper::kNoReadError;
    EXPECT_FALSE(driver.CheckFilesBeforeRead({zm::NarrowToWide(dir.File("\xC3\x9F.dtf"))}, format,
                                             error, true));
    EXPECT_EQ(error, Helper::kFileMissing);
}

TEST_F(DriverTest, ReadSizesTheHostDataAndFillsIt) {
    ASSERT_TRUE(Read({dir.Script("plain.dtf", "rows 4\ncols 3\n")}));
    // Sized by the driver before the read, once more by the reader itself.
    EXPECT_EQ(events, (Strings{"size 3 4", "progress 3 4", "size 3 4", "stop"}));
    EXPECT_EQ(data.cells.size(), 12u);
    EXPECT_EQ(data.cells.at({1, 3}), "first3");
    EXPECT_EQ(data.cells.at({4, 2}), "402.500000");
    EXPECT_TRUE(data.firstFlag);  // this format's record has flag4 set
    EXPECT_STREQ(driver.GetFilenameRead(), "plain");

    // Several files reach a multi-file format together, as wide names too.
    const std::vector<std::wstring> files{zm::NarrowToWide(dir.Script("a.dts", "readname Batch\n")),
                                          zm::NarrowToWide(dir.Script("b.dts")),
                                          zm::NarrowToWide(dir.Script("c.dts"))};
    ImportSpecBase importSpec;
    ASSERT_TRUE(
        driver.ReadSpreadsheetFile(files, First(kSeries), &data, nullptr, false, &importSpec));
    EXPECT_EQ(data.rows, 5);           // three rows of the first file and one per further file
    EXPECT_FALSE(data.firstFlag);      // flag4 unset
    EXPECT_TRUE(importSpec.accepted);  // the import description reached the plug-in
    EXPECT_STREQ(driver.GetFilenameRead(), "Batch");
}

TEST_F(DriverTest, FailuresAreShownWithTheReaderTextUnlessTheUserAborted) {
    const std::string empty =
        "The selected file does not contain any data. Import will be aborted.";
    const std::string cut = "Record 7 is cut short.";
    auto shown = [](const std::string& text) {
        return "message " + text + "|" + zm::GetApplicationName() + "|1|1";
    };
    const Strings reading{"size 2 3", "progress 2 3", "stop"};
    const struct {
        std::string directives, text;
        Strings events;
    } cases[] = {
        {"rows 0\n", empty, {shown(empty)}},
        {"fail size\nerror " + cut, empty, {shown(empty)}},
        {"fail read\nerror " + cut, cut, {reading[0], reading[1], reading[2], shown(cut)}},
        {"fail open\nerror Locked.", "Locked.", {shown("Locked.")}},
        {"fail open\nerror AbortedByUser", "AbortedByUser", {}},
        {"fail size\nerror AbortedByUser", "AbortedByUser", {}},
        {"fail read\nerror AbortedByUser", "AbortedByUser", reading},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.directives);
        events.clear();
        EXPECT_FALSE(Read({dir.Script("f.dtf", c.directives)}));
        EXPECT_EQ(events, c.events);
        EXPECT_EQ(driver.GetErrorMessage(), c.text);
    }
}

TEST_F(DriverTest, WarningsMayBeDeclinedAndOptionsComeBackWhenAsked) {
    const std::string file = dir.Script("warn.dtf", "warning Values were clipped.\n");
    ZmImportOpenOptions options{0, nullptr};
    ASSERT_TRUE(Read({file}, &options, false));
    EXPECT_EQ(options.size, 0u);  // the reader worked on a copy
    EXPECT_EQ(events.back(), "message Values were clipped.|Warning|3|1");
    ASSERT_TRUE(Read({file}, &options, true));
    const std::unique_ptr<unsigned char[]> returned(options.data);  // the receiver's to free
    EXPECT_EQ(ImportOptionsHelper::GetReadOrder(options), 1);       // the plug-in's defaults

    driver.userAnswer = Helper::kAnswerDeclined;
    EXPECT_FALSE(Read({file}, &options, true));
    EXPECT_EQ(options.size, 0u);
    EXPECT_EQ(options.data, nullptr);

    // A host that keeps its bytes in a container of its own: they travel to the reader
    // unchanged, are never freed by the library, and the record comes back pointing at
    // a copy that the host releases.
    zm::SettingsDocument merge;
    merge.SetInt("Settings", "ReadOrder", 3);
    const std::string framed = zm::EncodeOptions(merge);
    const std::vector<unsigned char> own(framed.begin(), framed.end());
    std::vector<unsigned char> hostBytes = own;
    ZmImportOpenOptions hosted{static_cast<uint32_t>(hostBytes.size()), hostBytes.data()};
    driver.userAnswer = 0;
    ASSERT_TRUE(Read({file}, &hosted, true));
    const std::unique_ptr<unsigned char[]> copy(hosted.data);
    EXPECT_NE(hosted.data, hostBytes.data());
    EXPECT_TRUE(ImportOptionsHelper::IsMergeDocuments(hosted));
    EXPECT_EQ(hostBytes, own);
    ZmImportOpenOptions again{static_cast<uint32_t>(hostBytes.size()), hostBytes.data()};
    ASSERT_TRUE(ImportOptionsHelper::SetDocuments(again, {"a"}));
    const std::unique_ptr<unsigned char[]> set(again.data);
    EXPECT_EQ(hostBytes, own);

    // The format gives the options of a file.
    ZmImportOpenOptions* record = driver.GetFileOptions({file}, First(kSingle), false);
    ASSERT_NE(record, nullptr);
    const ImportOptionsHelper::OpenOptions sheets(*record);
    delete record;
    EXPECT_EQ(ImportOptionsHelper::GetDocuments(sheets), (Strings{"one", "two"}));
    EXPECT_EQ(driver.GetFileOptions({dir.File("gone.dtf")}, First(kSingle), false), nullptr);
    EXPECT_EQ(driver.GetErrorMessage(), "The file does not exist.");
}

TEST_F(DriverTest, WriteGoesRowFirstToAWritableFormatOnly) {
    data.SetDataSize(2, 2);
    const std::string out = dir.File("out.dtf");
    ASSERT_TRUE(driver.WriteSpreadsheetFile(out.c_str(), First(kSingle), &data, nullptr));
    EXPECT_EQ(dir.Read(out), "#dtf\nrows 2\ncols 2\n# name\n# 21\n# 12\n# -\n# origin 1 2 1\n");
    // Without an index the extension picks the writable format.
    const std::string byExtension = dir.File("again.dtf");
    ASSERT_TRUE(driver.WriteSpreadsheetFile(byExtension.c_str(), 0, &data, nullptr));
    EXPECT_EQ(dir.Read(byExtension), dir.Read(out));

    for (const std::string& refused : {dir.File("s.dts"), dir.File("noext")}) {
        const int index = refused.back() == 's' ? First(kSeries) : 0;
        EXPECT_FALSE(driver.WriteSpreadsheetFile(refused.c_str(), index, &data, nullptr));
        EXPECT_EQ(driver.GetErrorMessage(),
                  "Save not supported for the current file format\nor the file format could not "
                  "be deduced.");
    }
}

}  // namespace
}  // namespace zmtest
