// The CSV reader and its registry entry.
#include "formats/text/CsvFile.h"

#include <algorithm>
#include <climits>
#include <exception>

#include "formats/text/CsvParser.h"
#include "framework/SprFileFactory.h"
#include "platform/ErrorText.h"
#include "platform/TextStream.h"
#include "platform/Translate.h"

int CsvFile::Open(bool readMode, const char* file, ZmImportOpenOptions* record) {
    if (status != 0)
        return status;
    if (!readMode)
        return SetStatus(kCannotWrite);
    // Only remembered: the options are applied and the file is parsed when it is read.
    openOptions = record;
    fileName = file != nullptr ? file : "";
    return status;
}

int CsvFile::EstablishSize() {
    numCols = 1;
    numRows = 1;
    return status;
}

int CsvFile::Read(ReadSpreadSheetData* sink) {
    if (status == 0)
        SetOptions(openOptions);
    if (status != 0)
        return status;
    if (sink == nullptr)
        return status;
    try {
        CsvDialect dialect = CsvDialect::Pelmora();
        if (!options.GetDelimiter().empty()) {
            dialect.delimiter = static_cast<unsigned char>(options.GetDelimiter()[0]);
        }
        // A file that cannot be opened parses as no rows: hosts check files before
        // reading them, and the sink then simply receives nothing.
        const CsvParser parser(dialect, fileName, options.GetEncoding(), INT_MAX);
        // A failed read is no end of the file: what came before it is not all of it.
        if (parser.ReadError() != 0)
            return SetReadError(parser.ReadError());
        parser.GetData(*sink, INT_MAX, INT_MAX);
        warning.clear();
        if (parser.DroppedLines() > 0) {
            warning = zm::FormatMessage(
                zm::Translate("A quoted field is not closed at the end of the file: its last %1% "
                              "line(s), from the opening quote on, were not read."),
                parser.DroppedLines());
        }
        if (parser.NulBytes() > 0) {
            if (!warning.empty())
                warning += '\n';
            warning += zm::FormatMessage(
                zm::Translate("The file holds %1% zero byte(s) (NUL); each was read as the "
                              "replacement character U+FFFD."),
                parser.NulBytes());
        }
    } catch (...) {
        // The dialects used here never throw; what is left is the sink or memory.
        return SetUnknownException();
    }
    return status;
}

void CsvFile::SetOptions(ZmImportOpenOptions* record) {
    try {
        CsvFileOptions local;
        if (!TakeOptionsRecord(
                record, local, [this] { return GetCsvFileOptions(); }, status))
            return;
        options.SetEncoding(local.GetEncoding());
        options.SetDelimiter(local.GetDelimiter());
        options.SetIgnoreConsecutiveDelimiters(local.GetIgnoreConsecutiveDelimiters());
    } catch (const std::exception&) {
        SetStatus(kOpenStreamFailed);
    }
}

const char* CsvFile::GetWarningMessage() {
    return warning.empty() ? nullptr : warning.c_str();
}

char CsvFile::GetDelimiter() {
    zm::TextStream stream(fileName, options.GetEncoding(), zm::TextStream::Mode::kRead);
    std::string line;
    if (stream.Failed() || !stream.GetLine(line))
        return ',';
    const auto commas = std::count(line.begin(), line.end(), ',');
    const auto semicolons = std::count(line.begin(), line.end(), ';');
    return semicolons > commas ? ';' : ',';
}

void CsvFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    const char* text = nullptr;
    switch (status) {
        case kOpenStreamFailed:
            text = "Failed to open stream for reading.";
            break;
        case kReadFailed:
            text = "Failed to read file.";
            break;
        case kCannotWrite:
            text = "Can not write csv files.";
            break;
        case kCanceled:
            text = "Read canceled by user.";
            break;
        case kNotCsv:
            text =
                "The file is not a correct .csv file. It contains non printable characters or #.";
            break;
        default:
            SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
            return;
    }
    zm::CopyErrorText(zm::Translate(text), buffer, bufferSize);
}

namespace {

// CSV cannot be told from its content; the extension decides.
class CsvFileFactory : public SprFileFactory {
  public:
    CsvFileFactory()
        : SprFileFactory("CSV File", "CSV Files (*.csv)", nullptr, 1, ".csv\0", 0, 1, 0, 1, 1, 1) {}

  protected:
    MyKindOfFile IsMyKindOfFile(const char*) override { return kPlausible; }
    SpreadsheetFile* GetSpreadsheetFile() override { return new CsvFile; }
};

CsvFileFactory theCsvFileFactory;

}  // namespace
