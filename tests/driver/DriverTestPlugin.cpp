// A plug-in whose behaviour each test file scripts, so that driver tests can provoke empty
// tables, failures with a chosen text, warnings and multi-file reads.
//
// A file of this plug-in starts with the line "#dtf" (the series format's name ends in
// ".dts"); further lines are directives:
//   rows N / cols N      table size (default 3 x 2); row 1 holds texts "C<col>", row r of
//                        later rows the number r * 100 + col + 0.5
//   fail open|size|read  that operation reports failure
//   error TEXT           the text GetLastError gives after a failure
//   warning TEXT         the reader's warning
//   readname TEXT        what GetFileRead names
// The multi-file format reads the first file's directives and one row per extra file.
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "framework/SpreadSheetData.h"
#include "framework/ZmHostData.h"
#include "framework/ZmImport.h"

namespace {

ZmImportFileFormatInfo formats[] = {
    {"Driver test format", "Driver test files (*.dtf;*.dtx)", "Driver test files (*.dtf)", 2,
     ".dtf\0.dtx", 1, 1, 0, 1, 0, nullptr},
    {"Driver test series", "Driver test series (*.dts)", nullptr, 1, ".dts", 0, 1, 1, 0, 1,
     nullptr},
};
constexpr int kFormatCount = sizeof formats / sizeof formats[0];

struct Handle {
    int rows = 3;
    int cols = 2;
    std::string fail;
    std::string error = "The test plug-in failed.";
    std::string warning;
    std::string readName;
    std::string writeFile;
};

std::vector<std::string> Split(const std::string& joined) {
    std::vector<std::string> names;
    std::istringstream in(joined);
    for (std::string name; std::getline(in, name);)
        names.push_back(name);
    return names;
}

bool Load(Handle& h, const std::string& file) {
    std::ifstream in(file);
    std::string line;
    if (!in || !std::getline(in, line) || line != "#dtf")
        return false;
    while (std::getline(in, line)) {
        const size_t space = line.find(' ');
        const std::string key = line.substr(0, space);
        const std::string value = space == std::string::npos ? "" : line.substr(space + 1);
        if (key == "rows")
            h.rows = std::stoi(value);
        if (key == "cols")
            h.cols = std::stoi(value);
        if (key == "fail")
            h.fail = value;
        if (key == "error")
            h.error = value;
        if (key == "warning")
            h.warning = value;
        if (key == "readname")
            h.readName = value;
    }
    return true;
}

// A settings document framed as the options record expects: 4-byte LE length, then XML.
ZmImportOpenOptions* NewRecord(const std::string& xml, ZmImportOpenOptions* into) {
    const auto n = static_cast<uint32_t>(xml.size());
    auto* bytes = new unsigned char[n + 4];
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<unsigned char>(n >> (8 * i));
    std::memcpy(bytes + 4, xml.data(), n);
    if (into == nullptr)
        into = new ZmImportOpenOptions;
    into->size = n + 4;
    into->data = bytes;
    return into;
}

Handle* AsHandle(void* handle) {
    return static_cast<Handle*>(handle);
}

}  // namespace

extern "C" {

int ZmImportSizeFileFormatsSupported() {
    return kFormatCount;
}

const ZmImportFileFormatInfo* ZmImportGetFileFormatInfo(int index) {
    return &formats[index < 2 ? 0 : (index > kFormatCount ? kFormatCount - 1 : index - 1)];
}

// Both formats know the content; the name tells them apart (".dts" is the series).
char ZmImportIsCorrectFileType(int index, const char* file) {
    const std::vector<std::string> files = Split(file);
    const std::string first = files.empty() ? std::string() : files.front();
    const bool series = first.size() > 4 && first.compare(first.size() - 4, 4, ".dts") == 0;
    if (series != (index == 2))
        return 0;
    std::ifstream in(first);
    std::string line;
    return in && std::getline(in, line) && line == "#dtf" ? 2 : 0;
}

bool ZmImportOpen(int index, const char* file, bool readMode, void** handle,
                  ZmImportOpenOptions* options) {
    auto* h = new Handle;
    *handle = h;
    if (!readMode) {
        h->writeFile = file;
        return true;
    }
    const std::vector<std::string> files = Split(file);
    if (files.empty() || !Load(*h, files.front())) {
        h->error = "The test plug-in could not read the file.";
        return false;
    }
    if (index == 2)
        h->rows += static_cast<int>(files.size()) - 1;
    // Like every reader, an empty record gets the defaults written back.
    if (options != nullptr && options->size == 0)
        NewRecord("<Configuration><Settings><ReadOrder>1</ReadOrder></Settings></Configuration>",
                  options);
    return h->fail != "open";
}

void ZmImportClose(int, void* handle) {
    delete AsHandle(handle);
}

const char* ZmImportGetLastError(int, void* handle) {
    return AsHandle(handle)->error.c_str();
}

bool ZmImportEstablishSize(int, void* handle, int* rows, int* cols) {
    Handle* h = AsHandle(handle);
    if (h->fail == "size")
        return false;
    *rows = h->rows;
    *cols = h->cols;
    return true;
}

bool ZmImportRead(int, void* handle, void* hostTarget) {
    Handle* h = AsHandle(handle);
    if (h->fail == "read")
        return false;
    auto* target = static_cast<ZmHostReadTarget*>(hostTarget);
    target->SetSize(h->rows, h->cols);
    for (int col = 1; col <= h->cols; ++col) {
        target->SetText(1, col, ("C" + std::to_string(col)).c_str());
        for (int row = 2; row <= h->rows; ++row)
            target->SetNumber(row, col, static_cast<float>(row * 100 + col + 0.5));
    }
    return true;
}

bool ZmImportWrite(int, void* handle, void* hostSource) {
    Handle* h = AsHandle(handle);
    auto* source = static_cast<ZmHostWriteSource*>(hostSource);
    std::ofstream out(h->writeFile);
    out << "#dtf\nrows " << source->rows << "\ncols " << source->cols << "\n";
    for (int row = 1; row <= source->rows; ++row) {
        for (int col = 1; col <= source->cols; ++col) {
            switch (source->GetCellType(row, col)) {
                case kHostNumber:
                    out << "# " << source->GetNumber(row, col) << "\n";
                    break;
                case kHostText:
                    out << "# " << source->GetText(row, col) << "\n";
                    break;
                default:
                    out << "# -\n";
            }
        }
    }
    return static_cast<bool>(out);
}

const char* ZmImportGetWarning(int, void* handle) {
    Handle* h = AsHandle(handle);
    return h->warning.empty() ? nullptr : h->warning.c_str();
}

void ZmImportSetSpec(void*, ImportSpecBase* spec) {
    if (spec != nullptr)
        spec->accepted = true;
}

const char* ZmImportGetFileRead(void* handle) {
    Handle* h = AsHandle(handle);
    return h->readName.empty() ? nullptr : h->readName.c_str();
}

ZmImportOpenOptions* ZmImportGetFileOptions(int, const char*, bool) {
    return NewRecord("<Configuration><Settings><Sheets>one;two</Sheets></Settings></Configuration>",
                     nullptr);
}

void ZmImportInitPackage() {}

void ZmImportReleasePackage() {}

}  // extern "C"
