// A scripted test plug-in, built several times with switches so that one source gives the
// loader and driver tests every kind of plug-in they need:
//   ZM_NAME, ZM_EXT   names "<NAME> format" (.<EXT>f, .<EXT>x; writes) and "<NAME> series"
//                     (.<EXT>s, .<EXT>x; several files at once)
//   ZM_TAG            the text before the column number in row 1, telling copies apart
//   ZM_PARTIAL        exports only the listing, Open, Close and GetLastError
//   ZM_NO_LAST_ERROR  lacks GetLastError
//   ZM_FORMATS=0      offers no format and reports its initialisation and release
//   ZM_EMPTY          exports nothing at all
// A file of the plug-in starts with the line "#<EXT>f"; further lines are directives:
//   rows N / cols N      table size (default 3 x 2); row 1 holds texts "<TAG><col>", row r
//                        the number r * 100 + col + 0.5
//   fail open|size|read  that operation reports failure
//   error TEXT / warning TEXT / readname TEXT   what GetLastError, GetWarning, GetFileRead give
//                        ("error size": the size of the loader's text buffer)
//   maprow               read row by row where the host's MapRow says, until it says stop
// The series format reads the first file's directives and one more row per further file.
#ifndef ZM_EMPTY
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <string>

#include "framework/SpreadSheetData.h"
#include "framework/ZmHostData.h"
#include "framework/ZmImport.h"

#ifndef ZM_NAME
#define ZM_NAME "Driver test"
#define ZM_EXT "dt"
#endif
#ifndef ZM_TAG
#define ZM_TAG "C"
#endif
#ifndef ZM_FORMATS
#define ZM_FORMATS 2
#endif

namespace {

const ZmImportFileFormatInfo kFormats[] = {
    {ZM_NAME " format", ZM_NAME " files (*." ZM_EXT "f;*." ZM_EXT "x)",
     ZM_NAME " files (*." ZM_EXT "f)", 2, "." ZM_EXT "f\0." ZM_EXT "x", 1, 1, 0, 1, 0, nullptr},
    {ZM_NAME " series", ZM_NAME " series (*." ZM_EXT "s)", nullptr, 2, "." ZM_EXT "s\0." ZM_EXT "x",
     0, 1, 1, 0, 1, nullptr},
};

// The directives of the file read, by key, and the file to write.
struct Handle {
    std::map<std::string, std::string> says{{"error", "The test plug-in failed."}};
    std::string writeFile;

    int Number(const char* key, int otherwise) {
        return says.count(key) != 0 ? std::stoi(says[key]) : otherwise;
    }
    const char* Text(const char* key) { return says.count(key) != 0 ? says[key].c_str() : nullptr; }
    bool Fails(const char* step) { return says["fail"] == step; }
};

bool Load(Handle& h, const std::string& file) {
    std::ifstream in(file);
    std::string line;
    if (!in || !std::getline(in, line) || line != "#" ZM_EXT "f")
        return false;
    while (std::getline(in, line)) {
        const size_t space = std::min(line.find(' '), line.size());
        h.says[line.substr(0, space)] = line.substr(std::min(space + 1, line.size()));
    }
    return true;
}

// A settings document framed as the options record expects: 4-byte LE length, then XML.
ZmImportOpenOptions* NewRecord(const std::string& settings, ZmImportOpenOptions* into) {
    const std::string xml = "<Configuration><Settings>" + settings + "</Settings></Configuration>";
    const auto n = static_cast<uint32_t>(xml.size());
    auto* bytes = new unsigned char[n + 4];
    std::memcpy(bytes, &n, 4);  // little-endian, as on every host this runs on
    std::memcpy(bytes + 4, xml.data(), n);
    if (into == nullptr)
        into = new ZmImportOpenOptions;
    *into = {n + 4, bytes};
    return into;
}

Handle* AsHandle(void* handle) {
    return static_cast<Handle*>(handle);
}

}  // namespace

extern "C" {

int ZmImportSizeFileFormatsSupported() {
    return ZM_FORMATS;
}
const ZmImportFileFormatInfo* ZmImportGetFileFormatInfo(int index) {
    return &kFormats[index == 2 ? 1 : 0];
}
void ZmImportInitPackage() {
    if (ZM_FORMATS == 0)
        std::fputs("test plug-in initialised\n", stderr);
}
void ZmImportReleasePackage() {
    if (ZM_FORMATS == 0)
        std::fputs("test plug-in released\n", stderr);
}

bool ZmImportOpen(int index, const char* file, bool readMode, void** handle,
                  ZmImportOpenOptions* options) {
    auto* h = new Handle;
    *handle = h;
    if (!readMode) {
        h->writeFile = file;
        return true;
    }
    // Several files come as one text, a name per line.
    const std::string names = file;
    if (!Load(*h, names.substr(0, names.find('\n')))) {
        h->says["error"] = "The test plug-in could not read the file.";
        return false;
    }
    const auto extra = index == 2 ? std::count(names.begin(), names.end(), '\n') : 0;
    h->says["rows"] = std::to_string(h->Number("rows", 3) + extra);
    // Like every reader, an empty record gets the defaults written back.
    if (options != nullptr && options->size == 0)
        NewRecord("<ReadOrder>1</ReadOrder>", options);
    return !h->Fails("open");
}
void ZmImportClose(int, void* handle) {
    delete AsHandle(handle);
}
#ifndef ZM_NO_LAST_ERROR
// The loader passes the size of its text buffer as a further argument; the directive
// "error size" answers with it, so that the tests see it arrive.
ZMIMPORT_API const char* LastErrorWithBufferSize(
    int, void* handle, unsigned int bufferSize) __asm__("ZmImportGetLastError");
const char* LastErrorWithBufferSize(int, void* handle, unsigned int bufferSize) {
    Handle* h = AsHandle(handle);
    if (h->says["error"] == "size")
        h->says["answer"] = "buffer of " + std::to_string(bufferSize);
    return h->Text(h->says["error"] == "size" ? "answer" : "error");
}
#endif

#ifndef ZM_PARTIAL
// Both formats know the content; the name tells them apart.
char ZmImportIsCorrectFileType(int index, const char* file) {
    const std::string first = std::string(file).substr(0, std::string(file).find('\n'));
    Handle h;
    return first.ends_with("." ZM_EXT "s") == (index == 2) && Load(h, first) ? 2 : 0;
}
bool ZmImportEstablishSize(int, void* handle, int* rows, int* cols) {
    *rows = AsHandle(handle)->Number("rows", 0);
    *cols = AsHandle(handle)->Number("cols", 2);
    return !AsHandle(handle)->Fails("size");
}
bool ZmImportRead(int, void* handle, void* hostTarget) {
    Handle* h = AsHandle(handle);
    if (h->Fails("read"))
        return false;
    auto* target = static_cast<ZmHostReadTarget*>(hostTarget);
    const int rows = h->Number("rows", 0);
    const int cols = h->Number("cols", 2);
    target->SetSize(rows, cols);
    if (h->says.count("maprow") != 0) {
        // Row by row, as the host's row map asks: a negative answer ends the read.
        for (int counter = 0;; ++counter) {
            const int row = target->MapRow(counter);
            if (row < 1 || row > rows)
                return true;
            for (int col = 1; col <= cols; ++col)
                target->SetNumber(row, col, static_cast<float>(row * 100 + col + 0.5));
        }
    }
    for (int col = 1; col <= cols; ++col) {
        target->SetText(1, col, (ZM_TAG + std::to_string(col)).c_str());
        for (int row = 2; row <= rows; ++row)
            target->SetNumber(row, col, static_cast<float>(row * 100 + col + 0.5));
    }
    return true;
}
// A script of the source's size, then one "# value" line per cell in row order and the
// data origin.
bool ZmImportWrite(int, void* handle, void* hostSource) {
    auto* source = static_cast<ZmHostWriteSource*>(hostSource);
    std::ofstream out(AsHandle(handle)->writeFile);
    out << "#" ZM_EXT "f\nrows " << source->rows << "\ncols " << source->cols << "\n";
    for (int row = 1; row <= source->rows; ++row) {
        for (int col = 1; col <= source->cols; ++col) {
            const unsigned char type = source->GetCellType(row, col);
            if (type == kHostNumber)
                out << "# " << source->GetNumber(row, col) << "\n";
            else
                out << "# " << (type == kHostText ? source->GetText(row, col) : "-") << "\n";
        }
    }
    int col = 0, row = 0;
    const bool origin = source->GetDataOrigin(&col, &row);
    out << "# origin " << origin << " " << col << " " << row << "\n";
    return static_cast<bool>(out);
}
const char* ZmImportGetWarning(int, void* handle) {
    return AsHandle(handle)->Text("warning");
}
void ZmImportSetSpec(void*, ImportSpecBase* importSpec) {
    if (importSpec != nullptr)
        importSpec->accepted = true;
}
const char* ZmImportGetFileRead(void* handle) {
    return AsHandle(handle)->Text("readname");
}
ZmImportOpenOptions* ZmImportGetFileOptions(int, const char*, bool) {
    return NewRecord("<Sheets>one;two</Sheets>", nullptr);
}
#endif  // ZM_PARTIAL

}  // extern "C"
#endif  // ZM_EMPTY
