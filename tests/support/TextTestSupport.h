// Scratch files, options records, cell grids and a small write source shared by the
// text-format tests.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "framework/OptionsRecord.h"
#include "framework/SprFileFactory.h"
#include "platform/Settings.h"
#include "tests/support/RecordingSink.h"

namespace zmtest {

inline std::string Slurp(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// A folder of its own for the running test, removed with its files afterwards.
class ScratchDir {
  public:
    ScratchDir() {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        dir =
            std::filesystem::temp_directory_path() / ("zm_" + std::to_string(::getpid()) + "_" +
                                                      test->test_suite_name() + "_" + test->name());
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
    }
    ~ScratchDir() { std::filesystem::remove_all(dir); }
    std::string Path(const std::string& name) const { return (dir / name).string(); }
    std::string Write(const std::string& name, const std::string& bytes) const {
        std::ofstream(Path(name), std::ios::binary) << bytes;
        return Path(name);
    }

    std::filesystem::path dir;
};

// An options record that owns its bytes.
struct OptionsRecord {
    OptionsRecord() = default;
    explicit OptionsRecord(const zm::SettingsDocument& document) {
        zm::StoreOptions(&options, document);
    }
    // A record with the Delimiter and Encoding keys of the text readers.
    OptionsRecord(const std::string& delimiter, const std::string& encoding) {
        zm::SettingsDocument document;
        document.SetString("Settings", "Delimiter", delimiter);
        document.SetString("Settings", "Encoding", encoding);
        zm::StoreOptions(&options, document);
    }
    OptionsRecord(const OptionsRecord&) = delete;
    OptionsRecord& operator=(const OptionsRecord&) = delete;
    ~OptionsRecord() { delete[] options.data; }

    ZmImportOpenOptions options{0, nullptr};
};

// The text readers' keys an options record holds, as "Key=value;" in a fixed order.
inline std::string StoredKeys(ZmImportOpenOptions* record) {
    std::unique_ptr<zm::SettingsDocument> document;
    if (zm::DecodeOptions(record, document) != zm::OptionsDecode::kDecoded)
        return "undecodable";
    std::string keys;
    for (const char* key : {"Delimiter", "Encoding", "IgnoreConsecutiveDelimiters"}) {
        if (document->HasKey("Settings", key))
            keys +=
                std::string(key) + "=" + document->GetString("Settings", key).value_or("?") + ";";
    }
    return keys;
}

// Rows of cell texts rebuilt from a sink; rows without cells stay empty, gaps are "".
using Grid = std::vector<std::vector<std::string>>;

inline Grid ToGrid(const RecordingSink& sink) {
    Grid grid(sink.rows);
    for (const auto& [key, cell] : sink.cells) {
        auto& row = grid.at(key.first - 1);
        if (row.size() < static_cast<size_t>(key.second))
            row.resize(key.second);
        row[key.second - 1] = cell.text;
    }
    return grid;
}

// A sheet to write: each cell a number (with the host's own text of it), a text or missing.
struct SourceCell {
    enum Kind { kNumber, kText, kMissing } kind = kMissing;
    float number = 0;
    std::string text;
};
inline SourceCell Num(float value, std::string ownText = "") {
    return {SourceCell::kNumber, value, std::move(ownText)};
}
inline SourceCell Text(std::string text) {
    return {SourceCell::kText, 0, std::move(text)};
}

class GridSource : public WriteSpreadSheetData {
  public:
    explicit GridSource(std::vector<std::vector<SourceCell>> rows) : cells(std::move(rows)) {}
    int GetNumberOfColumns() override { return static_cast<int>(cells.at(0).size()); }
    int GetNumberOfRows() override { return static_cast<int>(cells.size()); }
    float GetNumber(int col, int row) override { return At(col, row).number; }
    std::string GetText(int col, int row) override { return At(col, row).text; }
    bool GetDataOrigin(int* col, int* row) override {
        *col = *row = 1;
        return true;
    }
    bool IsNumber(int col, int row) override { return At(col, row).kind == SourceCell::kNumber; }
    bool IsMissing(int col, int row) override { return At(col, row).kind == SourceCell::kMissing; }
    bool IsText(int col, int row) override { return At(col, row).kind == SourceCell::kText; }

  private:
    const SourceCell& At(int col, int row) const { return cells.at(row - 1).at(col - 1); }
    std::vector<std::vector<SourceCell>> cells;
};

// The registry's index of the format named `name`, or 0.
inline int FormatIndex(const std::string& name) {
    for (int i = 1; i <= SprFileFactory::SizeInfos(); ++i) {
        if (name == SprFileFactory::GetInfo(i)->name)
            return i;
    }
    return 0;
}

// The status text a reader gives for its current status.
inline std::string Message(SpreadsheetFile& file) {
    char buffer[1024];
    file.GetErrorMessage(buffer, sizeof buffer);
    return buffer;
}

}  // namespace zmtest
