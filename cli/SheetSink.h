// The sinks the commands read into, their progress line, and the sink that stores a sheet.
#pragma once

#include <chrono>
#include <cstdio>

#include "cli/Sheet.h"
#include "framework/SpreadSheetData.h"

namespace zmcli {

// "\rreading rows 12000/50000" on a terminal, at most four times a second, starting once
// a read has taken a second; Finish() wipes it.
class ProgressLine {
  public:
    explicit ProgressLine(std::FILE* terminal) : terminal(terminal) {}
    ~ProgressLine() { Finish(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    // Called for every cell; looks at the clock only every few thousand calls.
    void Tick(int row, int rows) {
        if (terminal != nullptr && ++ticks % kTicksPerClockCheck == 0)
            Update(row, rows);
    }
    void Finish();

  private:
    static constexpr unsigned kTicksPerClockCheck = 4096;
    void Update(int row, int rows);

    std::FILE* terminal;  // null: no progress shown
    unsigned ticks = 0;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point lastShown{};
    size_t shownWidth = 0;
};

// What the commands read into: a sink with a progress line that may type the texts it
// is given. With typing on, a text that is entirely a number counts as that number and
// an empty text as a missing cell, as the application's data object does.
class CommandSink : public ReadSpreadSheetData {
  public:
    // `progressTerminal` is where the progress line goes (stderr when it is a terminal),
    // or null for none.
    explicit CommandSink(std::FILE* progressTerminal) : progress(progressTerminal) {}

    void TypeTexts(bool on) { typeTexts = on; }
    void FinishProgress() { progress.Finish(); }

  protected:
    ProgressLine progress;
    bool typeTexts = false;
};

// Keeps every cell in a Sheet at the precision the reader delivers.
class SheetSink : public CommandSink {
  public:
    explicit SheetSink(std::FILE* progressTerminal = nullptr) : CommandSink(progressTerminal) {}

    int GetNumberOfColumns() override { return sheet.Columns(); }
    int GetNumberOfRows() override { return sheet.Rows(); }
    void SetDataSize(int cols, int rows) override { sheet.Announce(cols, rows); }

    void Set(int col, int row, int value) override;
    void Set(int col, int row, long long value) override;
    void Set(int col, int row, double value) override;
    void Set(int col, int row, float value) override;
    void Set(int col, int row, const char* text) override;

    const Sheet& GetSheet() const { return sheet; }

  private:
    void Tick() { progress.Tick(sheet.LastRowSet(), sheet.AnnouncedRows()); }

    Sheet sheet;
};

}  // namespace zmcli
