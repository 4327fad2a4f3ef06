// Delimited text files: detection, sizing, ranged reading and writing.
#include "formats/text/TextFile.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "framework/OptionsRecord.h"
#include "framework/SprFileFactory.h"
#include "platform/ErrorText.h"
#include "platform/Settings.h"
#include "platform/TextStream.h"
#include "platform/Translate.h"

namespace {

// How much of a file the binary test looks at; the odd size is the established one.
constexpr size_t kTextSample = 30768;
// A guessed encoding below this confidence gives way to the local code page.
constexpr int kGuessThreshold = 61;

bool FileExists(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

}  // namespace

TextFile::TextFile(const char* encoding) {
    if (encoding != nullptr && *encoding != '\0')
        options.SetEncoding(encoding);
}

bool TextFile::IsTextFile(const char* path) {
    if (path == nullptr)
        return false;
    if (!zm::GetBomEncoding(path).empty())
        return true;
    if (!FileExists(path))
        return false;
    std::FILE* file = std::fopen(path, "rb");
    if (file == nullptr)
        return false;
    std::vector<char> sample(kTextSample);
    const size_t got = std::fread(sample.data(), 1, sample.size(), file);
    // A sample cut short by a failed read says nothing about the file.
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    return !failed && std::memchr(sample.data(), 0, got) == nullptr;
}

int TextFile::Open(bool readMode, const char* path, ZmImportOpenOptions* record) {
    fileName = path != nullptr ? path : "";
    if (status != 0)
        return status;
    if (!readMode) {
        mode = 2;
        // A writer takes its encoding from the constructor; a record that names one
        // overrides it (the command line's export passes one this way).
        std::unique_ptr<zm::SettingsDocument> document;
        if (zm::DecodeOptions(record, document) == zm::OptionsDecode::kDecoded) {
            const auto key = document->GetString("Settings", "Encoding");
            if (key && !key->empty())
                options.SetEncoding(*key);
        }
        std::FILE* file = std::fopen(fileName.c_str(), "wb");
        if (file == nullptr)
            return status = kOpenFailed;
        std::fclose(file);
        return status;
    }
    const zm::EncodingGuess guess = zm::GetEncoding(fileName);
    options.SetEncoding(guess.confidence < kGuessThreshold ? std::string() : guess.key);
    mode = 1;
    if (!FileExists(fileName))
        return status = kOpenFailed;
    SetOptions(record);
    return status;
}

void TextFile::SetOptions(ZmImportOpenOptions* record) {
    try {
        TextFileOptions local;
        if (record == nullptr || record->size == 0 || record->data == nullptr) {
            local = GetTextFileOptions();
            if (status == kStatusAborted)
                return;
            if (record != nullptr) {
                // Hand the defaults back so that the host can show and edit them.
                local.Write(record);
                optionsData = record->data;
            }
        } else {
            if (!local.Read(record))
                SetStatus(kStatusBadOptions);
            options.SetEncoding(local.GetEncoding());
            options.SetDelimiter(local.GetDelimiter());
        }
        options.SetIgnoreConsecutiveDelimiters(local.GetIgnoreConsecutiveDelimiters());
    } catch (...) {
        SetStatus(kOpenFailed);
    }
}

TextFileOptions TextFile::GetTextFileOptions() {
    return options;
}

const char* TextFile::NextCell(const char* cursor, const char* end, std::string_view delimiter,
                               bool ignoreConsecutive, const char** cellEnd) {
    const size_t length = delimiter.size();
    const char* found = nullptr;
    if (length == 1) {
        found = static_cast<const char*>(
            std::memchr(cursor, delimiter[0], static_cast<size_t>(end - cursor)));
    } else if (length > 1) {
        found = static_cast<const char*>(
            memmem(cursor, static_cast<size_t>(end - cursor), delimiter.data(), length));
    }
    if (found == nullptr) {
        *cellEnd = end;
        return end;
    }
    *cellEnd = found;
    const char* next = found + length;
    if (ignoreConsecutive) {
        while (static_cast<size_t>(end - next) >= length &&
               std::memcmp(next, delimiter.data(), length) == 0) {
            next += length;
        }
    }
    return next;
}

int TextFile::CountCells(std::string_view line, std::string_view delimiter,
                         bool ignoreConsecutive) {
    int count = 0;
    const char* cursor = line.data();
    const char* end = cursor + line.size();
    const char* cellEnd;
    while (cursor != end) {
        cursor = NextCell(cursor, end, delimiter, ignoreConsecutive, &cellEnd);
        ++count;
    }
    return count;
}

char* TextFile::GetCell(char** cursor, const TextFileOptions& cellOptions) {
    char* start = *cursor;
    if (start == nullptr || *start == '\0')
        return nullptr;
    char* end = start + std::strlen(start);
    const char* cellEnd;
    const char* next = NextCell(start, end, cellOptions.GetDelimiter(),
                                cellOptions.GetIgnoreConsecutiveDelimiters(), &cellEnd);
    *const_cast<char*>(cellEnd) = '\0';
    *cursor = start + (next - start);
    return start;
}

int TextFile::EstablishSize() {
    if (status != 0)
        return status;
    if (mode != 1)
        return status = kStatusWrongMode;
    zm::TextStream stream(fileName, options.GetEncoding(), zm::TextStream::Mode::kRead);
    if (stream.Failed())
        return status = kStatusSizeFailed;
    const std::string& delimiter = options.GetDelimiter();
    const bool ignore = options.GetIgnoreConsecutiveDelimiters();
    int cols = 0;
    int rows = 0;
    int lastCount = 0;
    std::string_view line;
    while (stream.GetLine(line)) {
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        lastCount = CountCells(line, delimiter, ignore);
        if (lastCount > cols)
            cols = lastCount;
        ++rows;
    }
    if (stream.ReadError() != 0)
        return SetReadError(stream.ReadError());
    if (rows > 0 && lastCount == 0)
        --rows;
    numCols = cols;
    numRows = rows;
    sizeEstablished = true;
    return 0;
}

int TextFile::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    const int cols = GetNumCols();
    const int rows = GetNumRows();
    if (status != 0)
        return status;
    return Read(sink, cols, rows, 1, 1, options);
}

int TextFile::Read(ReadSpreadSheetData* sink, int lastCol, int lastRow, int firstCol, int firstRow,
                   const TextFileOptions& readOptions) {
    if (status != 0)
        return status;
    if (mode != 1)
        return status = kStatusWrongMode;
    if (sink == nullptr)
        return 0;
    zm::TextStream stream(fileName, readOptions.GetEncoding(), zm::TextStream::Mode::kRead);
    if (stream.Failed())
        return status = kReadFailed;
    const std::string& delimiter = readOptions.GetDelimiter();
    const bool ignore = readOptions.GetIgnoreConsecutiveDelimiters();
    // Lines are cut into cells in the stream's own buffer: each cell ends in place.
    char* line = nullptr;
    size_t length = 0;
    int lineNumber = 0;
    for (;;) {
        const int wanted = sink->MapRow(lineNumber);
        if (wanted < 0)
            return 0;
        // Always move on at least one line, so that a sink cannot hold the read in place.
        bool more = true;
        do {
            more = stream.GetWritableLine(line, length);
            if (more)
                ++lineNumber;
        } while (more && lineNumber < wanted);
        if (!more)
            return stream.ReadError() != 0 ? SetReadError(stream.ReadError()) : 0;
        if (length > 0 && line[length - 1] == '\r')
            --length;
        if (lineNumber > lastRow)
            return 0;
        if (lineNumber < firstRow)
            continue;
        char* cursor = line;
        char* end = line + length;
        const char* cellEnd;
        for (int col = 1; cursor != end && col <= lastCol; ++col) {
            char* cell = cursor;
            cursor = const_cast<char*>(NextCell(cursor, end, delimiter, ignore, &cellEnd));
            if (col < firstCol)
                continue;
            *const_cast<char*>(cellEnd) = '\0';
            sink->Set(col, lineNumber, static_cast<const char*>(cell));
        }
    }
}

int TextFile::Write(WriteSpreadSheetData* source) {
    if (status != 0)
        return status;
    if (mode != 2)
        return status = kStatusWrongMode;
    if (source == nullptr)
        return 0;
    const int rows = source->GetNumberOfRows();
    const int cols = source->GetNumberOfColumns();
    zm::TextStream stream(fileName, options.GetEncoding(), zm::TextStream::Mode::kWrite);
    if (stream.Failed())
        return status = kOpenFailed;
    const std::string& delimiter = options.GetDelimiter();
    std::string row;
    for (int r = 1; r <= rows; ++r) {
        row.clear();
        for (int c = 1; c <= cols; ++c) {
            if (c > 1)
                row += delimiter;
            row += source->GetText(c, r);
        }
        row += '\n';
        stream.WriteString(std::string_view(row));
    }
    if (!stream.Close())
        return status = kOpenFailed;
    return 0;
}

void TextFile::Close() {
    mode = 0;
    SpreadsheetFile::Close();
}

void TextFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    switch (status) {
        case kOpenFailed:
            zm::CopyErrorText(zm::Translate("Failed to open stream for reading."), buffer,
                              bufferSize);
            return;
        case kReadFailed:
            zm::CopyErrorText(zm::Translate("Expected end of file but found more data."), buffer,
                              bufferSize);
            return;
        case kBinaryFile:
            zm::CopyErrorText(
                zm::Translate("This file appears to be a binary file and cannot be imported. "
                              "Only ordinary text (ASCII) files can be imported."),
                buffer, bufferSize);
            return;
        default:
            SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
    }
}

void TextFile::SetDelimiter(const char* delimiter) {
    if (delimiter != nullptr && *delimiter != '\0')
        options.SetDelimiter(delimiter);
}

void TextFile::IgnoreConsecutiveDelimiters(bool ignore) {
    options.SetIgnoreConsecutiveDelimiters(ignore);
}

namespace {

class TextFileFactory : public SprFileFactory {
  public:
    TextFileFactory()
        : SprFileFactory("Text File", "Text Files (*.txt; *.dat)", "Text File (*.txt)", 2,
                         ".txt\0.dat\0", 1, 1, 0, 1, 1, 1) {}

  protected:
    // Any file can be tried as text; the content is not examined.
    MyKindOfFile IsMyKindOfFile(const char*) override { return kCanRead; }
    SpreadsheetFile* GetSpreadsheetFile() override { return new TextFile; }
};

// The export variant of the text format: writes UTF-8 whatever the local code page.
class TextUTF8FileFactory : public SprFileFactory {
  public:
    TextUTF8FileFactory()
        : SprFileFactory("Text UTF-8 File", "Text UTF-8 Files (*.txt; *.dat)",
                         "Text UTF-8 File (*.txt)", 2, ".txt\0.dat\0", 1, 0, 0, 1, 1, 1) {}

  protected:
    // It only writes, so it claims no file for reading.
    MyKindOfFile IsMyKindOfFile(const char*) override { return kNotMine; }
    SpreadsheetFile* GetSpreadsheetFile() override { return new TextFile("utf8"); }
};

TextFileFactory theTextFileFactory;
TextUTF8FileFactory theTextUTF8FileFactory;

}  // namespace
