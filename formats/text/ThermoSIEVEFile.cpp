// Thermo SIEVE frame tables: detection, the field map and the turned delivery.
#include "formats/text/ThermoSIEVEFile.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "formats/text/ThermoMirroredReadSpreadSheetData.h"
#include "framework/SprFileFactory.h"
#include "platform/ErrorText.h"
#include "platform/TextStream.h"
#include "platform/Translate.h"

namespace {

// Tables longer than this are refused rather than held in memory.
constexpr int kMaxLines = 1000000;
// The header line is looked for in this much of the file's start.
constexpr size_t kHeaderSample = 64 * 1024;

// Markers of the computed fields in the field map (file columns count from 1).
constexpr int kAverageMZ = -1;
constexpr int kAverageRT = -2;
constexpr int kAbsent = 0;

// The fields in delivery order; a computed field has no column name of its own.
struct Field {
    const char* name;
    int marker;
};
constexpr Field kFields[] = {
    {"FrameID", kAbsent},      {"MZStart", kAbsent},    {"MZStop", kAbsent},
    {"AverageMZ", kAverageMZ}, {"TimeStart", kAbsent},  {"TimeStop", kAbsent},
    {"AverageRT", kAverageRT}, {"pValue", kAbsent},     {"Ratio", kAbsent},
    {"UpperBound", kAbsent},   {"LowerBound", kAbsent}, {"FOM1", kAbsent},
};
constexpr const char* kIntensityPrefix = "Intensity_";

bool StartsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

// The delimiter the header line uses most: a tab when tabs outnumber both others,
// otherwise a semicolon when semicolons outnumber commas, otherwise a comma.
char GuessDelimiter(std::string_view line) {
    const auto tabs = std::count(line.begin(), line.end(), '\t');
    const auto semicolons = std::count(line.begin(), line.end(), ';');
    const auto commas = std::count(line.begin(), line.end(), ',');
    if (tabs > semicolons && tabs > commas)
        return '\t';
    return semicolons > commas ? ';' : ',';
}

// The first line of the file, without a UTF-8 byte-order mark or a carriage return;
// false when the file cannot be read.
bool ReadHeaderLine(const char* path, std::string& line) {
    if (path == nullptr)
        return false;
    std::FILE* file = std::fopen(path, "rb");
    if (file == nullptr)
        return false;
    line.resize(kHeaderSample);
    line.resize(std::fread(line.data(), 1, line.size(), file));
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed)
        return false;
    if (StartsWith(line, "\xEF\xBB\xBF"))
        line.erase(0, 3);
    line.resize(std::min(line.find('\n'), line.size()));
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return true;
}

// The delimiter of a SIEVE header line, or 0 when the line is not one.
char SIEVEDelimiter(std::string_view line) {
    static constexpr const char* kLeading[] = {"FrameID",  "MZStart", "MZStop", "TimeStart",
                                               "TimeStop", "pValue",  "Ratio"};
    const char delimiter = GuessDelimiter(line);
    size_t start = 0;
    for (const char* name : kLeading) {
        if (start > line.size() || !StartsWith(line.substr(start), name))
            return 0;
        const size_t next = line.find(delimiter, start);
        start = next == std::string_view::npos ? line.size() + 1 : next + 1;
    }
    return delimiter;
}

// The C library's text-to-double conversion in the classic locale, without touching the
// process's locale: leading white space and a plus sign are skipped, the longest number
// at the start is taken, and text without one is 0.
double ParseNumber(const char* text) {
    if (text == nullptr)
        return 0;
    std::string_view rest(text);
    while (!rest.empty() && std::strchr(" \t\n\v\f\r", rest.front()) != nullptr)
        rest.remove_prefix(1);
    if (!rest.empty() && rest.front() == '+' && (rest.size() < 2 || rest[1] != '-'))
        rest.remove_prefix(1);
    double value = 0;
    const auto result = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    return result.ec == std::errc() ? value : 0;
}

}  // namespace

ThermoSIEVEFile::ThermoSIEVEFile() : TextFile(nullptr) {}

bool ThermoSIEVEFile::IsThermoSIEVEFile(const char* path) {
    std::string line;
    return ReadHeaderLine(path, line) && SIEVEDelimiter(line) != 0;
}

int ThermoSIEVEFile::Open(bool readMode, const char* path, ZmImportOpenOptions* record) {
    if (status != 0)
        return status;
    // The format is read only: a write open must not create or truncate the file.
    if (!readMode) {
        fileName = path != nullptr ? path : "";
        return status = kStatusWrongMode;
    }
    // The header decides the delimiter; an options record naming another one wins, and
    // an empty record receives this one as the default.
    std::string header;
    const char delimiter = ReadHeaderLine(path, header) ? SIEVEDelimiter(header) : 0;
    if (delimiter != 0)
        options.SetDelimiter(std::string(1, delimiter));
    if (TextFile::Open(true, path, record) != 0)
        return status;
    if (delimiter == 0)
        return status = kNotThermoSIEVEFile;
    return 0;
}

int ThermoSIEVEFile::GetRows() {
    zm::TextStream stream(fileName, options.GetEncoding(), zm::TextStream::Mode::kRead);
    if (stream.Failed())
        return -1;
    int lines = 0;
    bool lastEmpty = false;
    std::string_view line;
    while (stream.GetLine(line)) {
        if (++lines > kMaxLines)
            return -1;
        lastEmpty = line.empty() || line == "\r";
    }
    if (stream.ReadError() != 0) {
        SetReadError(stream.ReadError());
        return -1;
    }
    return lastEmpty ? lines - 1 : lines;
}

int ThermoSIEVEFile::GetColumns() {
    zm::TextStream stream(fileName, options.GetEncoding(), zm::TextStream::Mode::kRead);
    if (stream.Failed())
        return -1;
    int widest = 0;
    std::string_view line;
    while (stream.GetLine(line)) {
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        widest = std::max(widest, CountCells(line, options.GetDelimiter(),
                                             options.GetIgnoreConsecutiveDelimiters()));
    }
    if (stream.ReadError() != 0) {
        SetReadError(stream.ReadError());
        return -1;
    }
    return widest;
}

std::vector<int> ThermoSIEVEFile::MapFields(const ThermoMirroredReadSpreadSheetData& table) const {
    std::vector<int> map;
    for (const Field& field : kFields) {
        int column = field.marker;
        for (int c = 1; column == kAbsent && c <= table.CellCount(); ++c) {
            const char* header = table.Cell(1, c);
            if (header != nullptr && StartsWith(header, field.name))
                column = c;
        }
        map.push_back(column);
    }
    for (int c = 1; c <= table.CellCount(); ++c) {
        const char* header = table.Cell(1, c);
        if (header != nullptr && StartsWith(header, kIntensityPrefix))
            map.push_back(c);
    }
    return map;
}

int ThermoSIEVEFile::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    if (mode != 1)
        return status = kStatusWrongMode;
    try {
        return ReadTable(sink);
    } catch (...) {
        // Only the sink or the allocator can throw here: not the file's fault.
        return SetUnknownException();
    }
}

int ThermoSIEVEFile::ReadTable(ReadSpreadSheetData* sink) {
    const int lines = GetRows();
    const int cells = lines < 0 ? -1 : GetColumns();
    if (lines < 0 || cells < 0)
        return SetStatus(kStatusSizeFailed);
    ThermoMirroredReadSpreadSheetData table(cells, lines);
    // Only the columns that a field can come from are kept below the names: a wide file
    // costs what the sheet takes from it.
    table.SetColumnFilter([](std::string_view name) {
        if (StartsWith(name, kIntensityPrefix))
            return true;
        for (const Field& field : kFields) {
            if (StartsWith(name, field.name))
                return true;
        }
        return false;
    });
    std::error_code sizeError;
    const uintmax_t bytes = std::filesystem::file_size(fileName, sizeError);
    if (!sizeError)
        table.SetCellBudget(static_cast<size_t>(bytes) + static_cast<size_t>(lines) + 1);
    if (TextFile::Read(&table, cells, lines, 1, 1, options) != 0)
        return status;
    if (table.Overflowed())
        return SetStatus(kStatusSizeFailed);
    if (sink == nullptr)
        return 0;

    const std::vector<int> fields = MapFields(table);
    // Every line is delivered, the names on line 1 among them, so the first extent
    // counts them all.
    sink->SetDataSize(lines, static_cast<int>(fields.size()));
    for (size_t f = 0; f < fields.size(); ++f) {
        const int field = static_cast<int>(f) + 1;
        const int column = fields[f];
        if (column == kAbsent)
            continue;
        const int* averaged = nullptr;
        static constexpr int kMZ[] = {2, 3}, kRT[] = {5, 6};  // fields of the two bounds
        if (column == kAverageMZ)
            averaged = kMZ;
        else if (column == kAverageRT)
            averaged = kRT;
        for (int line = 0;;) {
            const int wanted = sink->MapRow(line);
            if (wanted < 0)
                return 0;
            // Always move on, so that a sink cannot hold the read in place.
            line = std::max(wanted, line + 1);
            if (line > lines)
                break;
            if (averaged == nullptr) {
                if (const char* text = table.Cell(line, column))
                    sink->Set(line, field, text);
            } else if (line == 1) {
                sink->Set(line, field, kFields[f].name);
            } else {
                auto bound = [&](int index) {
                    const int source = fields[static_cast<size_t>(averaged[index]) - 1];
                    return source > 0 ? ParseNumber(table.Cell(line, source)) : 0.0;
                };
                sink->Set(line, field, (bound(0) + bound(1)) * 0.5);
            }
        }
    }
    return 0;
}

void ThermoSIEVEFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    if (status == kNotThermoSIEVEFile) {
        zm::CopyErrorText(zm::Translate("The file does not seem to be an Thermo SIEVE File."),
                          buffer, bufferSize);
        return;
    }
    TextFile::GetErrorMessage(buffer, bufferSize);
}

namespace {

class ThermoSIEVEFileFactory : public SprFileFactory {
  public:
    ThermoSIEVEFileFactory()
        : SprFileFactory("Thermo SIEVE File", "Thermo SIEVE Files (*.txt)",
                         "Thermo SIEVE File (*.txt)", 1, ".txt\0", 0, 1, 0, 1, 1, 1) {}

  protected:
    MyKindOfFile IsMyKindOfFile(const char* file) override {
        return ThermoSIEVEFile::IsThermoSIEVEFile(file) ? kSurely : kNotMine;
    }
    SpreadsheetFile* GetSpreadsheetFile() override { return new ThermoSIEVEFile; }
};

ThermoSIEVEFileFactory theThermoSIEVEFileFactory;

}  // namespace
