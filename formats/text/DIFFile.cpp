// DIF reading (header, records, sizing, ranged read), writing, and the registry entry.
#include "formats/text/DIFFile.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "framework/SprFileFactory.h"
#include "platform/ErrorText.h"
#include "platform/TextStream.h"
#include "platform/Translate.h"

namespace {

// The vector number and type indicator are plain decimal integers; anything else reads
// as 0, as a C conversion would.
long long ParseInteger(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t'))
        ++i;
    if (i < text.size() && text[i] == '+')
        ++i;
    long long value = 0;
    std::from_chars(text.data() + i, text.data() + text.size(), value);
    return value;
}

bool IsQuoted(std::string_view text) {
    return text.size() >= 2 && text.front() == '"' && text.back() == '"';
}

std::string Unquoted(std::string_view text) {
    return std::string(IsQuoted(text) ? text.substr(1, text.size() - 2) : text);
}

std::string Trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos)
        return std::string();
    return std::string(text.substr(first, text.find_last_not_of(" \t\r") - first + 1));
}

constexpr const char* kHeaderTemplate =
    "TABLE\n0,1\n\"%1%\"\nVECTORS\n0,%2%\n\"\"\nTUPLES\n0,%3%\n\"\"\nDATA\n0,0\n\"\"\n";

// Output is handed to the stream in pieces of about this size.
constexpr size_t kWriteBlock = 1 << 16;

}  // namespace

DIFFile::DIFFile(const char* encoding) : writeEncoding(encoding != nullptr ? encoding : "") {}

DIFFile::~DIFFile() = default;

void DIFFile::Close() {
    stream.reset();
    mode = 0;
    SpreadsheetFile::Close();
}

bool DIFFile::OpenStream(const std::string& encoding, bool forReading) {
    stream.reset();
    stream = std::make_unique<zm::TextStream>(
        fileName, encoding,
        forReading ? zm::TextStream::Mode::kRead : zm::TextStream::Mode::kWrite);
    if (!stream->Failed())
        return true;
    stream.reset();
    return false;
}

bool DIFFile::GetLine(std::string_view& text) {
    return stream != nullptr && stream->GetLine(text);
}

int DIFFile::Failure(int code) {
    // A record cut short by a failed read is the medium's fault, not the file's.
    if (stream != nullptr && stream->ReadError() != 0)
        return SetReadError(stream->ReadError());
    return SetStatus(code);
}

int DIFFile::Open(bool readMode, const char* file, ZmImportOpenOptions* record) {
    if (status != 0)
        return status;
    fileName = file != nullptr ? file : "";
    if (!readMode) {
        mode = 2;
        const auto slash = fileName.find_last_of("\\/");
        title = slash == std::string::npos ? fileName : fileName.substr(slash + 1);
        if (!OpenStream(writeEncoding, false))
            return SetStatus(kOpenStreamFailed);
        return status;
    }
    mode = 1;
    std::error_code error;
    if (!std::filesystem::is_regular_file(fileName, error))
        return SetStatus(kOpenStreamFailed);
    SetOptions(record);
    if (status != 0)
        return status;
    if (!OpenStream(options.GetEncoding(), true))
        return SetStatus(kOpenStreamFailed);
    if (int code = ReadHeader(); code != 0)
        return Failure(code);
    numCols = 0;
    numRows = 0;
    return status;
}

void DIFFile::SetOptions(ZmImportOpenOptions* record) {
    try {
        DifFileOptions local;
        if (!TakeOptionsRecord(
                record, local, [this] { return GetDifFileOptions(); }, status))
            return;
        options.SetEncoding(local.GetEncoding());
    } catch (const std::exception&) {
        SetStatus(kOpenStreamFailed);
    }
}

int DIFFile::ReadDIFHeaderEntry(int& kind, long long& number, std::string& text) {
    // Keywords are a few letters; a longer line is no keyword worth keeping whole.
    if (!GetLine(line))
        return kHeaderError;
    std::string keyword = Trimmed(line.substr(0, 64));
    if (!GetLine(line))
        return kHeaderError;
    const auto comma = line.find(',');
    if (comma == std::string_view::npos)
        return kHeaderError;
    vectorPart = line.substr(0, comma);
    valuePart = line.substr(comma + 1);
    number = ParseInteger(valuePart);
    if (!GetLine(line))
        return kHeaderError;
    kind = keyword == "TABLE"     ? kTable
           : keyword == "VECTORS" ? kVectors
           : keyword == "TUPLES"  ? kTuples
           : keyword == "DATA"    ? kData
                                  : kOtherEntry;
    // Only the table's title is kept; other strings are not copied at all.
    text = kind == kTable ? Unquoted(line) : std::string();
    return 0;
}

int DIFFile::ReadHeader() {
    for (;;) {
        int kind = 0;
        long long number = 0;
        std::string text;
        if (int code = ReadDIFHeaderEntry(kind, number, text); code != 0)
            return code;
        if (kind == kTable)
            title = std::move(text);
        if (kind == kVectors)
            headerCols = number;
        if (kind == kTuples)
            headerRows = number;
        if (kind == kData)
            return 0;
    }
}

int DIFFile::ReadDIFRecord() {
    if (!GetLine(line))
        return kBadRecord;
    const auto comma = line.find(',');
    if (comma == std::string_view::npos)
        return kBadRecord;
    vectorPart = line.substr(0, comma);
    valuePart = line.substr(comma + 1);
    const long long type = ParseInteger(vectorPart);
    if (!GetLine(line))
        return kBadRecord;
    switch (type) {
        case -1:
            if (valuePart == "0" && line == "BOT")
                return kBeginTuple;
            if (valuePart == "0" && line == "EOD")
                return kEndOfData;
            return kIgnoredRecord;
        case 0:
            if (line == "ERROR" || line == "NA") {
                stringValue.clear();
                return kMissingValue;
            }
            stringValue = line == "V" ? valuePart : std::string();
            if (line == "TRUE")
                stringValue = "1";
            if (line == "FALSE")
                stringValue = "0";
            return kNumericValue;
        case 1:
            if (!IsQuoted(line))
                return kBadRecord;
            stringValue.assign(line.substr(1, line.size() - 2));
            return kStringValue;
        default:
            return kIgnoredRecord;
    }
}

bool DIFFile::PlausibleCounts(long long cols, long long rows) const {
    if (cols < 0 || rows < 0 || cols > INT_MAX || rows > INT_MAX)
        return false;
    // A tuple takes at least 9 bytes ("-1,0", "BOT") and a value at least 5.
    std::error_code error;
    const auto size = static_cast<long long>(std::filesystem::file_size(fileName, error));
    if (error)
        return false;
    return rows <= size / 9 + 1 && (rows == 0 || cols <= size / 5 / rows + 1);
}

int DIFFile::EstablishSize() {
    if (status != 0)
        return status;
    if (mode != 1)
        return SetStatus(kStatusWrongMode);
    if (!OpenStream(options.GetEncoding(), true))
        return SetStatus(kOpenStreamFailed);
    if (int code = ReadHeader(); code != 0)
        return Failure(code);

    ReadDIFRecord();  // normally the first BOT
    long long count = 0;
    bool tupleEnded = false;
    for (;;) {
        const int kind = ReadDIFRecord();
        if (kind == kBeginTuple || kind == kEndOfData) {
            tupleEnded = true;
            break;
        }
        if (kind == kBadRecord)
            break;
        if (kind == kStringValue || kind == kNumericValue)
            ++count;
    }
    if (tupleEnded && count == headerCols && PlausibleCounts(headerCols, headerRows)) {
        numCols = static_cast<int>(headerCols);
        numRows = static_cast<int>(headerRows);
    } else if (tupleEnded && count == headerRows && PlausibleCounts(count, headerCols)) {
        // Some writers swap the two counts: the first tuple is as long as TUPLES says.
        numRows = static_cast<int>(headerCols);
        numCols = static_cast<int>(count);
    } else if (int code = ScanSize(); code != 0) {
        return Failure(code);
    }
    sizeEstablished = true;
    return 0;
}

int DIFFile::ScanSize() {
    if (!OpenStream(options.GetEncoding(), true))
        return kOpenStreamFailed;
    if (int code = ReadHeader(); code != 0)
        return code;
    long long rows = 0;
    long long cols = 0;
    long long col = 0;
    for (;;) {
        const int kind = ReadDIFRecord();
        if (kind == kBeginTuple) {
            ++rows;
            col = 0;
        } else if (kind == kStringValue || kind == kNumericValue) {
            // Missing values are not counted here, though reading gives them a column.
            cols = std::max(cols, ++col);
        } else if (kind == kEndOfData) {
            break;
        } else if (kind == kBadRecord) {
            numCols = 0;
            numRows = 0;
            return kRecordError;
        }
    }
    if (rows > INT_MAX || cols > INT_MAX)
        return kRecordError;
    numRows = static_cast<int>(rows);
    numCols = static_cast<int>(cols);
    return 0;
}

int DIFFile::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    const int cols = GetNumCols();
    const int rows = GetNumRows();
    if (cols < 0 || rows < 0)
        return status != 0 ? status : SetStatus(kStatusSizeFailed);
    return Read(sink, cols, rows, options);
}

int DIFFile::Read(ReadSpreadSheetData* sink, int lastCol, int lastRow,
                  const DifFileOptions& readOptions) {
    if (status != 0)
        return status;
    if (!OpenStream(readOptions.GetEncoding(), true))
        return SetStatus(kOpenStreamFailed);
    if (mode != 1)
        return SetStatus(kStatusWrongMode);
    if (int code = ReadHeader(); code != 0)
        return Failure(code);
    if (sink == nullptr)
        return status;

    warning.clear();
    int wanted = sink->MapRow(0);
    long long column = 0;
    int row = 0;
    bool badRecord = false;
    bool sinkStopped = false;
    for (;;) {
        const int kind = ReadDIFRecord();
        if (kind == kBadRecord) {
            badRecord = true;
            break;
        }
        if (kind == kEndOfData)
            break;
        if (kind == kBeginTuple) {
            wanted = sink->MapRow(row);
            column = 0;
            if (wanted < 0) {
                sinkStopped = true;
                break;  // the sink wants no more
            }
            if (row >= lastRow) {
                // The limit: the size the header announced. Rows beyond it are counted
                // so that their loss is not silent.
                const long long beyond = CountRemainingTuples();
                if (beyond > 0 && lastRow == numRows) {
                    warning = zm::FormatMessage(
                        zm::Translate("The file holds %1% more row(s) than its header announces "
                                      "(TUPLES %2%); they were not read."),
                        beyond, lastRow);
                }
                break;
            }
            ++row;
            continue;
        }
        if (kind == kStringValue || kind == kNumericValue || kind == kMissingValue) {
            ++column;
            if (row == wanted && row >= 1 && column <= lastCol) {
                sink->Set(static_cast<int>(column), row,
                          kind == kMissingValue ? "" : stringValue.c_str());
            }
        }
    }
    sink->SetDataSize(static_cast<int>(std::min<long long>(column, INT_MAX)), row);
    if (badRecord)
        return Failure(kRecordError);
    if (!sinkStopped && row < lastRow && lastRow == numRows) {
        // The data ended before the rows the header announced: say how many are missing.
        warning = zm::FormatMessage(
            zm::Translate("The file holds %1% row(s) fewer than its header announces "
                          "(TUPLES %2%); they are missing."),
            lastRow - row, lastRow);
    }
    return 0;
}

long long DIFFile::CountRemainingTuples() {
    long long tuples = 1;  // the one whose BOT was just read
    for (;;) {
        const int kind = ReadDIFRecord();
        if (kind == kBeginTuple)
            ++tuples;
        else if (kind == kEndOfData || kind == kBadRecord)
            return tuples;
    }
}

const char* DIFFile::GetWarningMessage() {
    return warning.empty() ? nullptr : warning.c_str();
}

bool DIFFile::WriteString(const char* text, size_t length) {
    return stream != nullptr && stream->WriteString(std::string_view(text, length));
}

int DIFFile::Write(WriteSpreadSheetData* source) {
    if (status != 0)
        return status;
    if (mode != 2 || stream == nullptr)
        return SetStatus(kStatusWrongMode);
    if (source == nullptr)
        return status;
    const int rows = source->GetNumberOfRows();
    const int cols = source->GetNumberOfColumns();
    std::string out = zm::FormatMessage(kHeaderTemplate, title, cols, rows);
    bool written = true;
    auto flush = [&](bool force) {
        if (out.size() < kWriteBlock && !force)
            return;
        written = WriteString(out.data(), out.size()) && written;
        out.clear();
    };
    for (int r = 1; r <= rows; ++r) {
        out += "-1,0\nBOT\n";
        for (int c = 1; c <= cols; ++c) {
            if (source->IsNumber(c, r)) {
                const float value = source->GetNumber(c, r);
                std::string text;
                if (value != -99.0f) {
                    // Six significant digits like "%g", but always with a decimal point.
                    char buffer[64];
                    const auto end =
                        std::to_chars(buffer, buffer + sizeof buffer, static_cast<double>(value),
                                      std::chars_format::general, 6);
                    text.assign(buffer, end.ptr);
                    // "%g" would lose digits of large and small numbers: the source's
                    // own text keeps them.
                    if (text.find('e') != std::string::npos)
                        text = source->GetText(c, r);
                }
                out += "0," + text + "\nV\n";
            } else if (source->IsText(c, r)) {
                std::string text = source->GetText(c, r);
                std::erase(text, '\r');
                std::replace(text.begin(), text.end(), '\n', ' ');
                out += "1,0\n\"" + text + "\"\n";
            } else {
                out += "1,0\n\"\"\n";
            }
            flush(false);
        }
    }
    out += "-1,0\nEOD\n";
    flush(true);
    // Closing flushes the converter; a failed write shows up here at the latest.
    written = stream->Close() && written;
    stream.reset();
    return written ? 0 : SetStatus(kOpenStreamFailed);
}

void DIFFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    const char* text = nullptr;
    switch (status) {
        case kOpenStreamFailed:
            text = "Failed to open stream for reading.";
            break;
        case kHeaderError:
            text = "An error was found in the DIF header.";
            break;
        case kRecordError:
            text = "An error was found in a DIF record.";
            break;
        case kUnicodeFile:
            text = "UNICODE DIF files cannot be read.";
            break;
        default:
            SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
            return;
    }
    zm::CopyErrorText(zm::Translate(text), buffer, bufferSize);
}

bool DIFFile::IsDIFFile(const char* path) {
    if (path == nullptr)
        return false;
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    char raw[512];
    in.read(raw, sizeof raw);
    const auto size = static_cast<size_t>(in.gcount());
    size_t bomLength = 0;
    const std::string bom =
        zm::GetBomEncoding(reinterpret_cast<const uint8_t*>(raw), size, &bomLength);
    const bool wide = bom.rfind("utf16", 0) == 0 || bom.rfind("utf32", 0) == 0;
    // The header keywords are ASCII: in UTF-16/32 dropping the zero bytes leaves them.
    std::string sample;
    for (size_t i = bomLength; i < size; ++i) {
        if (raw[i] == '\0') {
            if (!wide)
                return false;
            continue;
        }
        sample += raw[i];
    }
    const auto firstEnd = sample.find('\n');
    if (firstEnd == std::string::npos || Trimmed(sample.substr(0, firstEnd)) != "TABLE") {
        return false;
    }
    const auto secondEnd = sample.find('\n', firstEnd + 1);
    const std::string second = Trimmed(sample.substr(firstEnd + 1, secondEnd - firstEnd - 1));
    const auto comma = second.find(',');
    if (comma == std::string::npos || comma == 0)
        return false;
    return std::all_of(second.begin(), second.end(), [](char c) {
        return (c >= '0' && c <= '9') || c == ',' || c == '-' || c == '+' || c == '.';
    });
}

namespace {

class DiffFileFactory : public SprFileFactory {
  public:
    DiffFileFactory()
        : SprFileFactory("DIF File", "DIF Files (*.dif)", "DIF Files (*.dif)", 1, ".dif\0", 1, 1, 0,
                         1, 1, 1) {}

  protected:
    MyKindOfFile IsMyKindOfFile(const char* file) override {
        return DIFFile::IsDIFFile(file) ? kSurely : kNotMine;
    }
    SpreadsheetFile* GetSpreadsheetFile() override { return new DIFFile; }
};

DiffFileFactory theDiffFileFactory;

}  // namespace
