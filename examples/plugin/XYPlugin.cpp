// An import plug-in that reads two-column x/y spectrum text (".xy"): the template a
// third party copies to add a format. It uses only the library's public headers.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "framework/ZmHostData.h"
#include "framework/ZmImport.h"

namespace {

// The one format of this plug-in. The record and its texts stay valid while the
// plug-in is loaded; the extensions are laid end to end, each ended by a zero.
const ZmImportFileFormatInfo kXYFormat = {
    "XY Spectrum",        // name: unique among all formats of all libraries
    "XY Spectra (*.xy)",  // open-dialog filter
    nullptr,              // save-dialog filter: this format is not written
    1,                    // extension count
    ".xy\0",              // extensions
    0,                    // canWrite
    1,                    // canRead
    0,                    // multiFile: one file at a time
    1,                    // flag4
    0,                    // flag5
    nullptr,              // factory: only meaningful inside the library itself
};

// Reads the whole file at Open and keeps the pairs. Lines starting with '#' and empty
// lines are skipped; every other line must start with two numbers separated by blanks,
// tabs, a comma or a semicolon. The sheet is 2 rows by (points + 1) columns:
//   row 1: "x",              then the x values (numbers)
//   row 2: the file's title, then the y values (numbers)
class XYSpectrum {
  public:
    bool Open(const char* file, bool readMode) {
        if (!readMode)
            return Fail("The XY Spectrum format cannot be written.");
        std::ifstream in(file != nullptr ? file : "", std::ios::binary);
        if (!in)
            return Fail("The file could not be opened.");
        title = Title(file);
        std::string line;
        for (int number = 1; std::getline(in, line); ++number) {
            const size_t first = XYSpectrum::DataStart(line);
            if (first == std::string::npos)
                continue;
            double x = 0;
            double y = 0;
            bool extra = false;
            if (!ParsePair(line, first, x, y, extra))
                return Fail("Line " + std::to_string(number) + " is not an x/y pair.");
            if (extra)
                warning = "Columns after the second were ignored.";
            xs.push_back(x);
            ys.push_back(y);
        }
        if (xs.empty())
            return Fail("The file holds no x/y pairs.");
        return true;
    }

    bool IsRead() const { return !xs.empty(); }
    int Columns() const { return static_cast<int>(xs.size()) + 1; }

    void Read(ZmHostReadTarget* target) const {
        target->SetText(1, 1, "x");
        target->SetText(2, 1, title.c_str());
        for (size_t i = 0; i < xs.size(); ++i) {
            const int col = static_cast<int>(i) + 2;
            // The host takes the row first, then the column.
            target->SetNumber(1, col, static_cast<float>(xs[i]));
            target->SetNumber(2, col, static_cast<float>(ys[i]));
        }
    }

    const std::string& Error() const { return error; }
    bool Fail(std::string text) {
        error = std::move(text);
        return false;
    }
    const char* Warning() const { return warning.empty() ? nullptr : warning.c_str(); }

    // Reads "x y" from `line` starting at `pos`; `extra` tells whether more followed.
    // Drops a line's carriage return and answers where its data begins; npos for blank
    // and comment ("#") lines.
    static size_t DataStart(std::string& line) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        const size_t first = line.find_first_not_of(" \t");
        return first == std::string::npos || line[first] == '#' ? std::string::npos : first;
    }

    static bool ParsePair(const std::string& line, size_t pos, double& x, double& y, bool& extra) {
        const char* p = line.data() + pos;
        const char* end = line.data() + line.size();
        if (!Number(p, end, x) || !Separator(p, end) || !Number(p, end, y))
            return false;
        while (p < end && (*p == ' ' || *p == '\t'))
            ++p;
        extra = p < end;
        return true;
    }

  private:
    static bool Number(const char*& p, const char* end, double& value) {
        if (p < end && *p == '+')
            ++p;
        const auto result = std::from_chars(p, end, value);
        if (result.ec != std::errc())
            return false;
        p = result.ptr;
        return true;
    }

    static bool Separator(const char*& p, const char* end) {
        const char* start = p;
        bool punctuation = false;
        while (p < end && (*p == ' ' || *p == '\t' || ((*p == ',' || *p == ';') && !punctuation))) {
            if (*p == ',' || *p == ';')
                punctuation = true;
            ++p;
        }
        return p > start;
    }

    static std::string Title(const char* file) {
        std::string name(file != nullptr ? file : "");
        const size_t slash = name.find_last_of('/');
        if (slash != std::string::npos)
            name.erase(0, slash + 1);
        const size_t dot = name.find_last_of('.');
        if (dot != std::string::npos && dot > 0)
            name.erase(dot);
        return name;
    }

    std::vector<double> xs;
    std::vector<double> ys;
    std::string title;
    std::string error;
    std::string warning;
};

XYSpectrum* AsSpectrum(void* handle) {
    return static_cast<XYSpectrum*>(handle);
}

bool HasXYExtension(const char* file) {
    const char* dot = std::strrchr(file, '.');
    return dot != nullptr && std::tolower(static_cast<unsigned char>(dot[1])) == 'x' &&
           std::tolower(static_cast<unsigned char>(dot[2])) == 'y' && dot[3] == '\0';
}

// True when the first few data lines of the file are x/y pairs. Reads at most 4 KiB.
bool LooksLikePairs(const char* file) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return false;
    std::string head(4096, '\0');
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(in.gcount()));
    if (head.find('\0') != std::string::npos)
        return false;
    int pairs = 0;
    size_t start = 0;
    while (start < head.size() && pairs < 3) {
        size_t stop = head.find('\n', start);
        // The last line of the sample may be cut; judge only complete lines then.
        if (stop == std::string::npos && !in.eof())
            break;
        if (stop == std::string::npos)
            stop = head.size();
        std::string line = head.substr(start, stop - start);
        start = stop + 1;
        const size_t first = XYSpectrum::DataStart(line);
        if (first == std::string::npos)
            continue;
        double x = 0;
        double y = 0;
        bool extra = false;
        if (!XYSpectrum::ParsePair(line, first, x, y, extra))
            return false;
        ++pairs;
    }
    return pairs > 0;
}

}  // namespace

extern "C" {

ZMIMPORT_API int ZmImportSizeFileFormatsSupported() {
    return 1;
}

ZMIMPORT_API const ZmImportFileFormatInfo* ZmImportGetFileFormatInfo(int) {
    return &kXYFormat;
}

// 2 when the content is x/y pairs and the name ends in ".xy"; 1 for pairs under any
// other name, so that the extension decides between this and other text formats.
ZMIMPORT_API char ZmImportIsCorrectFileType(int, const char* file) {
    if (file == nullptr || !LooksLikePairs(file))
        return 0;
    return HasXYExtension(file) ? 2 : 1;
}

ZMIMPORT_API bool ZmImportOpen(int, const char* file, bool readMode, void** handle,
                               ZmImportOpenOptions*) {
    auto* spectrum = new XYSpectrum;
    // The handle is handed out before opening so that a failure can be explained.
    *handle = spectrum;
    return spectrum->Open(file, readMode);
}

ZMIMPORT_API void ZmImportClose(int, void* handle) {
    delete AsSpectrum(handle);
}

// Each handle keeps its own text, so threads reading different files do not clash.
ZMIMPORT_API const char* ZmImportGetLastError(int, void* handle) {
    return handle != nullptr ? AsSpectrum(handle)->Error().c_str() : "";
}

ZMIMPORT_API bool ZmImportEstablishSize(int, void* handle, int* rows, int* cols) {
    const XYSpectrum* spectrum = AsSpectrum(handle);
    *rows = spectrum->IsRead() ? 2 : -1;
    *cols = spectrum->IsRead() ? spectrum->Columns() : -1;
    return spectrum->IsRead();
}

ZMIMPORT_API bool ZmImportRead(int, void* handle, void* hostTarget) {
    const XYSpectrum* spectrum = AsSpectrum(handle);
    if (!spectrum->IsRead())
        return false;
    spectrum->Read(static_cast<ZmHostReadTarget*>(hostTarget));
    return true;
}

ZMIMPORT_API bool ZmImportWrite(int, void* handle, void*) {
    return AsSpectrum(handle)->Fail("The XY Spectrum format cannot be written.");
}

ZMIMPORT_API const char* ZmImportGetWarning(int, void* handle) {
    return AsSpectrum(handle)->Warning();
}

// This format reads one data set per file and takes no description of what to import.
ZMIMPORT_API void ZmImportSetSpec(void*, ImportSpecBase*) {}

ZMIMPORT_API const char* ZmImportGetFileRead(void*) {
    return nullptr;
}

// No options depend on the file.
ZMIMPORT_API ZmImportOpenOptions* ZmImportGetFileOptions(int, const char*, bool) {
    return nullptr;
}

ZMIMPORT_API void ZmImportInitPackage() {}

ZMIMPORT_API void ZmImportReleasePackage() {}

}  // extern "C"
