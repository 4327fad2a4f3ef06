// The command line's sink and its progress line.
#include "cli/SheetSink.h"

#include <algorithm>
#include <string>

#include "cli/TextTyping.h"

namespace zmcli {

void ProgressLine::Update(int row, int rows) {
    using namespace std::chrono;
    const auto now = steady_clock::now();
    if (now - start < seconds(1) || now - lastShown < milliseconds(250))
        return;
    lastShown = now;
    std::string text = "\rreading rows " + std::to_string(row);
    if (rows > 0)
        text += "/" + std::to_string(rows);
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

}  // namespace zmcli
