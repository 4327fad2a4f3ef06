// A host's driver and data object that record what the driver does, over a loader that
// lists the scripted test plug-in beside the library's own formats.
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "framework/ImportDLLLoader.h"
#include "framework/ImportHelperBase.h"

namespace zmtest {

struct Message {
    std::string text;
    std::string caption;
    ImportHelperBase::MessageType type;
    int defaultAnswer;
};

class RecordingDriver : public ImportHelperBase {
  public:
    explicit RecordingDriver(ImportDLLLoader* loader) : ImportHelperBase(loader, "test") {}

    int PutMsg1(const char* text, const char* caption, MessageType type,
                int defaultAnswer) override {
        messages.push_back({text, caption, type, defaultAnswer});
        return answer != 0 ? answer : defaultAnswer;
    }
    bool SortFiles(const char* firstFile, ReadErrors& error) override {
        sortedFirst = firstFile;
        if (!acceptSort)
            error = kSeveralFiles;
        return acceptSort;
    }
    void ShowProgressBarWhileReading(SpreadsheetData*, int cols, int rows) override {
        progress = {cols, rows};
    }
    void StopProgressBar(SpreadsheetData*) override { ++progressStops; }

    std::vector<Message> messages;
    int answer = 0;  // 0 keeps the default answer
    bool acceptSort = true;
    std::string sortedFirst;
    std::pair<int, int> progress{0, 0};
    int progressStops = 0;
};

// Records cells as the host sees them; as a write source it offers a 2 x 2 table with a
// text, two numbers and a missing cell.
class RecordingData : public SpreadsheetData {
  public:
    int GetNumberOfColumns() override { return cols; }
    int GetNumberOfRows() override { return rows; }
    void SetDataSize(int c, int r) override {
        cols = c;
        rows = r;
        sizes.push_back({c, r});
    }
    void Set(int col, int row, float value) override { numbers[{row, col}] = value; }
    void Set(int col, int row, const char* text) override { texts[{row, col}] = text; }

    bool IsText(int col, int row) override { return col == 1 && row == 1; }
    bool IsMissing(int col, int row) override { return col == 2 && row == 2; }
    bool IsNumber(int col, int row) override { return !IsText(col, row) && !IsMissing(col, row); }
    std::string GetText(int, int) override { return "name"; }
    float GetNumber(int col, int row) override { return static_cast<float>(col * 10 + row); }

    int cols = 0;
    int rows = 0;
    std::vector<std::pair<int, int>> sizes;
    std::map<std::pair<int, int>, float> numbers;  // key (row, col)
    std::map<std::pair<int, int>, std::string> texts;
};

class DriverTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { ImportDLLLoader().Init(ZM_DRIVER_PLUGIN_DIR); }

    void SetUp() override {
        dir = std::filesystem::temp_directory_path() /
              ("zm_driver_" + std::to_string(::getpid()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(dir);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }

    // A scripted plug-in file: "#dtf" and the given directive lines.
    std::string Script(const std::string& name, const std::string& directives = "") {
        const std::string path = (dir / name).string();
        std::ofstream(path) << "#dtf\n" << directives;
        return path;
    }

    // The loader index of a format, by name.
    int IndexOf(const char* name) {
        for (int i = 1; i <= loader.SizeInfos(); ++i) {
            if (std::strcmp(loader.GetInfo(i)->name, name) == 0)
                return i;
        }
        ADD_FAILURE() << "format not listed: " << name;
        return -1;
    }
    // The format's position in the open dialog: 1 is the catch-all, then readable formats.
    int DialogPosition(const char* name) {
        const int index = IndexOf(name);
        int position = 1;
        for (int i = 1; i <= index; ++i)
            position += loader.GetInfo(i)->canRead ? 1 : 0;
        return position;
    }

    static constexpr const char* kSingle = "Driver test format";
    static constexpr const char* kSeries = "Driver test series";

    ImportDLLLoader loader;
    RecordingDriver driver{&loader};
    RecordingData data;
    std::filesystem::path dir;
};

}  // namespace zmtest
