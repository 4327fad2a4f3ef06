// The sinks a host reads into, their progress line, and the sink that stores a sheet.
#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>

#include "framework/SpreadSheetData.h"
#include "framework/host/Sheet.h"

namespace zmhost {

// How far a read is: the cells delivered and the cells the reader announced (0 when it
// announced none), the bytes of the input read and its size (0 when the reader does not
// tell), and the seconds the read has run.
struct ProgressState {
    long long cells = 0;
    long long cellsTotal = 0;
    unsigned long long bytes = 0;
    unsigned long long bytesTotal = 0;
    double seconds = 0;
    // True while the reader tells its way through the input: the bytes then measure it.
    bool ByBytes() const { return bytesTotal > 0 && bytes < bytesTotal; }
};

// "reading cells 12000/50000 (24%), 8000 cells/s, 5 s left": the progress of a read that
// has run `seconds` (without a total: "reading cells 12000, 8000 cells/s").
std::string ProgressText(long long cells, long long total, double seconds);
// The same by bytes while the reader tells them ("reading 12.5 MB of 50.0 MB (25%),
// 8.2 MB/s, 5 s left"), else by cells.
std::string ProgressText(const ProgressState& state);

// The progress line on a terminal, rewritten at most four times a second, starting once
// a read has taken a second; Finish() wipes it. Bytes of the input are shown where the
// reader tells them, else cells, not rows, since some readers deliver column by column.
// A callback, if set, is called as often with the state.
class ProgressLine {
  public:
    using Callback = std::function<void(const ProgressState& state)>;
    explicit ProgressLine(std::FILE* terminal) : terminal(terminal) {}
    ~ProgressLine() { Finish(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    // Called for every cell; looks at the clock only every few thousand calls.
    void Tick(int, int) {
        if ((terminal != nullptr || callback) && ++ticks % kTicksPerClockCheck == 0)
            Update();
    }
    // Called for a run of `count` cells at once.
    void TickMany(size_t count) {
        if (terminal == nullptr && !callback)
            return;
        const unsigned long long before = ticks / kTicksPerClockCheck;
        ticks += count;
        if (ticks / kTicksPerClockCheck != before)
            Update();
    }
    // The bytes of the input read so far, of `total`, as the reader tells them.
    void Bytes(unsigned long long done, unsigned long long total) {
        if (terminal == nullptr && !callback)
            return;
        bytesRead = done;
        bytesTotal = total;
        Update();
    }
    // The cells the read will deliver, as the reader announced its size.
    void Expect(long long cells) { expected = cells; }
    void Finish();
    void SetCallback(Callback call) { callback = std::move(call); }

  private:
    static constexpr unsigned kTicksPerClockCheck = 4096;
    void Update();

    std::FILE* terminal;  // null: no progress shown
    Callback callback;
    unsigned long long ticks = 0;
    long long expected = 0;
    unsigned long long bytesRead = 0, bytesTotal = 0;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point lastShown{};
    size_t shownWidth = 0;
};

// What a host reads into: a sink with a progress line that may type the texts it
// is given. With typing on, a text that is entirely a number counts as that number and
// an empty text as a missing cell, as the application's data object does.
class CommandSink : public ReadSpreadSheetData {
  public:
    // `progressTerminal` is where the progress line goes (stderr when it is a terminal),
    // or null for none.
    explicit CommandSink(std::FILE* progressTerminal) : progress(progressTerminal) {}

    void TypeTexts(bool on) { typeTexts = on; }
    void FinishProgress() { progress.Finish(); }
    void OnProgress(ProgressLine::Callback call) { progress.SetCallback(std::move(call)); }
    void ExpectCells(long long cells) { progress.Expect(cells); }
    void ReportBytesRead(unsigned long long bytesRead, unsigned long long bytesTotal) override {
        progress.Bytes(bytesRead, bytesTotal);
    }

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

}  // namespace zmhost
