// Drives one format over one file the way a host does and checks the promises of the
// exported functions: answers in range, a status and a text with every failure, and
// no cell outside the announced table. Shared by the mutation test and the fuzz target.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include "framework/SpreadsheetFile.h"
#include "framework/ZmHostData.h"
#include "framework/ZmImport.h"

namespace zmtest {

inline std::string Size(int rows, int cols) {
    return std::to_string(rows) + " x " + std::to_string(cols);
}

// A host that keeps no cells, only checks that each lands inside the announced table.
struct CheckingHost : ZmHostReadTarget {
    void SetNumber(int row, int col, float) override { Check(row, col); }
    void SetText(int row, int col, const char* text) override {
        Check(row, col);
        touched = touched + std::strlen(text);  // reads every byte of the text
    }
    void SetSize(int r, int c) override {
        rows = r;
        cols = c;
    }
    void Check(int row, int col) {
        if (row < 1 || col < 1 || row > rows || col > cols)
            broken = "cell " + Size(row, col) + " outside the table of " + Size(rows, cols);
    }
    std::string broken;
    volatile size_t touched = 0;
};

inline std::string SizeAndRead(int format, void* handle) {
    auto* reader = static_cast<SpreadsheetFile*>(handle);
    int rows = -2, cols = -2;
    const bool sized = ZmImportEstablishSize(format, handle, &rows, &cols);
    if (rows < -1 || cols < -1 || sized != (rows >= 0 && cols >= 0))
        return "impossible size " + Size(rows, cols);
    if (!sized && reader->GetStatus() == 0)
        return "failed sizing without a status";
    CheckingHost host;
    host.SetSize(std::max(rows, 0), std::max(cols, 0));
    const bool read = ZmImportRead(format, handle, &host);
    if (!host.broken.empty())
        return host.broken;
    if (!read && reader->GetStatus() == 0)
        return "failed read without a status";
    if (read && !sized)
        return "read succeeded on a table that could not be sized";
    for (const char* text : {ZmImportGetWarning(format, handle), ZmImportGetFileRead(handle)})
        host.touched = host.touched + (text != nullptr ? std::strlen(text) : 0);
    return "";
}

// Returns the first broken promise, or "" when all were kept. Without `options` the
// detection and the format's own options are tried as well.
inline std::string ExerciseFormat(int format, const char* file,
                                  ZmImportOpenOptions* options = nullptr) {
    if (options == nullptr) {
        const char type = ZmImportIsCorrectFileType(format, file);
        if (type < 0 || type > 2)
            return "detection answer " + std::to_string(type);
        if (ZmImportOpenOptions* own = ZmImportGetFileOptions(format, file, true)) {
            delete[] own->data;
            delete own;
        }
    }
    void* handle = nullptr;
    const bool opened = ZmImportOpen(format, file, true, &handle, options);
    if (handle == nullptr)
        return "no handle";
    std::string broken = opened ? SizeAndRead(format, handle) : "";
    const int status = static_cast<SpreadsheetFile*>(handle)->GetStatus();
    if (broken.empty() && !opened && status == 0)
        broken = "failed open without a status";
    if (broken.empty() && status != 0 && *ZmImportGetLastError(format, handle) == '\0')
        broken = "failure without a text";
    ZmImportClose(format, handle);
    return broken;
}

// What one read gave: whether it succeeded, the table's size, every cell (numbers
// printed exactly, texts marked) and the reader's warning.
struct Snapshot {
    bool read = false;
    int rows = 0, cols = 0;
    std::map<std::pair<int, int>, std::string> cells;
    std::string warning;
};

struct RecordingHost : ZmHostReadTarget {
    void SetNumber(int row, int col, float value) override {
        char text[32];
        std::snprintf(text, sizeof text, "%.9g", value);
        cells[{row, col}] = text;
    }
    void SetText(int row, int col, const char* text) override {
        cells[{row, col}] = "'" + std::string(text);
    }
    void SetSize(int, int) override {}
    std::map<std::pair<int, int>, std::string> cells;
};

inline Snapshot ReadSnapshot(int format, const char* file) {
    Snapshot shot;
    void* handle = nullptr;
    if (ZmImportOpen(format, file, true, &handle, nullptr) &&
        ZmImportEstablishSize(format, handle, &shot.rows, &shot.cols)) {
        RecordingHost host;
        shot.read = ZmImportRead(format, handle, &host);
        shot.cells = std::move(host.cells);
        if (const char* warning = ZmImportGetWarning(format, handle))
            shot.warning = warning;
    }
    if (handle != nullptr)
        ZmImportClose(format, handle);
    return shot;
}

// Delimited and plain text carry no length and no end mark: a copy cut at a line's end
// is a shorter file of the same format, and a cut inside the last value reads as a
// shorter value. Comparing cut copies with the whole file says nothing about them. DEXAN
// reads worksheets of delimited text besides its binary files.
inline bool CarriesNoLength(const std::string& format) {
    return format == "CSV File" || format == "Text File" || format == "Text UTF-8 File" ||
           format == "Thermo SIEVE File" || format == "DEXAN File";
}

// How a damaged copy's read compares with the whole file's: "" when it was refused,
// warned about or gave the same cells; otherwise what changed without a word.
inline std::string SilentChange(const Snapshot& whole, const Snapshot& damaged) {
    if (!damaged.read || !damaged.warning.empty() || damaged.cells == whole.cells)
        return "";
    const bool sameShape = damaged.rows == whole.rows && damaged.cols == whole.cols &&
                           damaged.cells.size() == whole.cells.size();
    std::string what = sameShape ? "same size, values differ"
                                 : "silently " + Size(damaged.rows, damaged.cols) + " (" +
                                       std::to_string(damaged.cells.size()) +
                                       " cells) instead of " + Size(whole.rows, whole.cols) + " (" +
                                       std::to_string(whole.cells.size()) + ")";
    return what;
}

}  // namespace zmtest
