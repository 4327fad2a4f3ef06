// A host's sinks and their progress line.
#include "framework/host/SheetSink.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "framework/host/TextTyping.h"

namespace zmhost {

namespace {

// Milliseconds from the environment variable `name`, else `value`. How long a read runs
// before its progress shows (ZMIMPORT_PROGRESS_AFTER_MS, a second) and how often it is
// shown again (ZMIMPORT_PROGRESS_EVERY_MS, four times a second) can so be set: tests show
// every report at once.
std::chrono::milliseconds EnvironmentMilliseconds(const char* name, long long value) {
    const char* text = std::getenv(name);
    if (text != nullptr) {
        const char* end = text + std::strlen(text);
        long long parsed = 0;
        const auto [stop, error] = std::from_chars(text, end, parsed);
        if (error == std::errc() && stop == end && parsed >= 0)
            value = parsed;
    }
    return std::chrono::milliseconds(value);
}

std::string Duration(double seconds) {
    const long long whole = static_cast<long long>(seconds + 0.5);
    if (whole < 60)
        return std::to_string(whole) + " s";
    return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
}

}  // namespace

std::string ProgressText(long long cells, long long total, double seconds) {
    std::string text = "reading cells " + std::to_string(cells);
    // Readers that learn the size as they go announce less than they deliver.
    if (total < cells)
        total = 0;
    if (total > 0)
        text += "/" + std::to_string(total) + " (" + std::to_string(100 * cells / total) + "%)";
    if (seconds > 0 && cells > 0) {
        const double rate = cells / seconds;
        text += ", " + std::to_string(static_cast<long long>(rate + 0.5)) + " cells/s";
        if (total > cells)
            text += ", " + Duration(static_cast<double>(total - cells) / rate) + " left";
    }
    return text;
}

namespace {

// "12.5 MB": bytes in decimal megabytes (or kilobytes below one), one decimal.
std::string ByteSize(double bytes) {
    const bool mega = bytes >= 1e6;
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %s", bytes / (mega ? 1e6 : 1e3), mega ? "MB" : "kB");
    return text;
}

}  // namespace

std::string ProgressText(const ProgressState& state) {
    if (!state.ByBytes())
        return ProgressText(state.cells, state.cellsTotal, state.seconds);
    const auto done = static_cast<double>(state.bytes),
               total = static_cast<double>(state.bytesTotal);
    std::string text = "reading " + ByteSize(done) + " of " + ByteSize(total) + " (" +
                       std::to_string(static_cast<int>(100 * done / total)) + "%)";
    if (state.seconds > 0 && state.bytes > 0) {
        const double rate = done / state.seconds;
        text += ", " + ByteSize(rate) + "/s, " + Duration((total - done) / rate) + " left";
    }
    return text;
}

void ProgressLine::Update() {
    using namespace std::chrono;
    const auto now = steady_clock::now();
    if (now - start < EnvironmentMilliseconds("ZMIMPORT_PROGRESS_AFTER_MS", 1000) ||
        now - lastShown < EnvironmentMilliseconds("ZMIMPORT_PROGRESS_EVERY_MS", 250))
        return;
    lastShown = now;
    ProgressState state;
    state.cells = static_cast<long long>(ticks);
    state.cellsTotal = expected;
    state.bytes = bytesRead;
    state.bytesTotal = bytesTotal;
    state.seconds = duration<double>(now - start).count();
    if (callback)
        callback(state);
    if (terminal == nullptr)
        return;
    std::string text = "\r" + ProgressText(state);
    // Pad over a longer earlier line so no digits are left behind.
    const size_t width = text.size();
    if (width < shownWidth)
        text.append(shownWidth - width, ' ');
    shownWidth = std::max(shownWidth, width);
    std::fputs(text.c_str(), terminal);
    std::fflush(terminal);
}

void ProgressLine::Finish() {
    if (terminal == nullptr || shownWidth == 0)
        return;
    std::string blank = "\r" + std::string(shownWidth, ' ') + "\r";
    std::fputs(blank.c_str(), terminal);
    std::fflush(terminal);
    shownWidth = 0;
}

void SheetSink::Set(int col, int row, int value) {
    sheet.SetInteger(col, row, value);
    Tick();
}

void SheetSink::Set(int col, int row, long long value) {
    sheet.SetInteger(col, row, value);
    Tick();
}

void SheetSink::Set(int col, int row, double value) {
    sheet.SetDouble(col, row, value);
    Tick();
}

void SheetSink::Set(int col, int row, float value) {
    sheet.SetFloat(col, row, value);
    Tick();
}

void SheetSink::Set(int col, int row, const char* text) {
    double number;
    if (!typeTexts) {
        sheet.SetText(col, row, text);
    } else if (ParseNumberText(text, number)) {
        sheet.SetDouble(col, row, number);
    } else if (text != nullptr && *text != '\0') {
        sheet.SetText(col, row, text);
    }
    Tick();
}

}  // namespace zmhost
