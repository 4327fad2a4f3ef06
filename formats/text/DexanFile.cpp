// DEXAN worksheets: plain text, or the worksheet stream of a compound design file.
#include "formats/text/DexanFile.h"

#include <cerrno>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "formats/text/DexanWorksheet.h"
#include "framework/SprFileFactory.h"
#include "platform/CompoundFile.h"
#include "platform/ErrorText.h"
#include "platform/InputFile.h"
#include "platform/Translate.h"

namespace {

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EndsWithNoCase(const std::string& text, std::string_view suffix) {
    if (text.size() < suffix.size())
        return false;
    for (size_t i = 0; i < suffix.size(); ++i) {
        if (Lower(text[text.size() - suffix.size() + i]) != Lower(suffix[i]))
            return false;
    }
    return true;
}

}  // namespace

DexanFile::DexanFile() : TextFile(nullptr) {}

DexanFile::~DexanFile() = default;

bool DexanFile::IsWorksheetName(const std::string& name) {
    return name.size() > 3 && EndsWithNoCase(name, ".dat");
}

int DexanFile::Open(bool readMode, const char* path, ZmImportOpenOptions* record) {
    if (status != 0)
        return status;
    fileName = path != nullptr ? path : "";
    if (!readMode)
        return status = kStatusWrongMode;
    // A design file is never tried as text, whatever it holds.
    const bool designFile = fileName.size() >= 4 && EndsWithNoCase(fileName, ".mip");
    if (!designFile && IsTextFile(path))
        return TextFile::Open(true, path, record);
    try {
        compoundFile = zm::CompoundFile::Open(fileName);
        if (compoundFile == nullptr) {
            // A file that cannot be read at all is no fault of its content.
            if (const int error = zm::FirstReadError(fileName); error != 0)
                return SetReadError(error);
            return status = kNotDexanFile;
        }
        std::unique_ptr<zm::CompoundStream> stream;
        const std::vector<std::string> names = compoundFile->EntryNames();
        for (size_t i = 0; i < names.size(); ++i) {
            if (IsWorksheetName(names[i])) {
                stream = compoundFile->OpenStream(i);
                break;
            }
        }
        if (stream == nullptr) {
            compoundFile.reset();
            return status = kNoWorksheet;
        }
        mode = 1;
        SetOptions(record);
        if (status != 0)
            return status;
        worksheet = std::make_unique<DexanWorksheet>(std::move(stream), options.GetEncoding());
        useCompound = true;
        return 0;
    } catch (...) {
        return SetUnknownException();
    }
}

int DexanFile::EstablishSize() {
    if (!useCompound)
        return TextFile::EstablishSize();
    if (status != 0)
        return status;
    try {
        return SizeWorksheet();
    } catch (...) {
        return SetUnknownException();
    }
}

int DexanFile::SizeWorksheet() {
    if (!worksheet->Rewind())
        return status = kStatusSizeFailed;
    const std::string& delimiter = options.GetDelimiter();
    const bool ignore = options.GetIgnoreConsecutiveDelimiters();
    int cols = 0;
    int rows = 0;
    int lastCount = 0;
    std::string line;
    while (worksheet->GetLine(line)) {
        if (rows == INT_MAX)
            return status = kStatusSizeFailed;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lastCount = CountCells(line, delimiter, ignore);
        cols = std::max(cols, lastCount);
        ++rows;
    }
    if (worksheet->ReadFailed())
        return SetReadError(EIO);
    if (rows > 0 && lastCount == 0)
        --rows;
    numCols = cols;
    numRows = rows;
    sizeEstablished = true;
    return 0;
}

int DexanFile::Read(ReadSpreadSheetData* sink) {
    if (!useCompound)
        return TextFile::Read(sink);
    if (status != 0)
        return status;
    const int cols = GetNumCols();
    const int rows = GetNumRows();
    if (status != 0)
        return status;
    try {
        return ReadWorksheet(sink, cols, rows, 1, 1, options);
    } catch (...) {
        // Only the sink or the allocator can throw here: not the file's fault.
        return SetUnknownException();
    }
}

int DexanFile::ReadWorksheet(ReadSpreadSheetData* sink, int lastCol, int lastRow, int firstCol,
                             int firstRow, const TextFileOptions& readOptions) {
    if (status != 0)
        return status;
    if (mode != 1)
        return status = kStatusWrongMode;
    if (sink == nullptr)
        return 0;
    if (!worksheet->Rewind())
        return status = kReadFailed;
    const std::string& delimiter = readOptions.GetDelimiter();
    const bool ignore = readOptions.GetIgnoreConsecutiveDelimiters();
    std::string line;
    int lineNumber = 0;
    for (;;) {
        const int wanted = sink->MapRow(lineNumber);
        if (wanted < 0)
            return 0;
        // Always move on at least one line, so that a sink cannot hold the read in place.
        bool more = true;
        do {
            more = worksheet->GetLine(line);
            if (more)
                ++lineNumber;
        } while (more && lineNumber < wanted);
        if (!more)
            return worksheet->ReadFailed() ? SetReadError(EIO) : 0;
        if (lineNumber > lastRow)
            return 0;
        if (lineNumber < firstRow)
            continue;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        const char* cursor = line.data();
        const char* end = cursor + line.size();
        const char* cellEnd;
        for (int col = 1; cursor != end && col <= lastCol; ++col) {
            const char* cell = cursor;
            cursor = NextCell(cursor, end, delimiter, ignore, &cellEnd);
            if (col < firstCol)
                continue;
            line[static_cast<size_t>(cellEnd - line.data())] = '\0';
            sink->Set(col, lineNumber, cell);
        }
    }
}

int DexanFile::Write(WriteSpreadSheetData*) {
    if (status != 0)
        return status;
    return status = kStatusWrongMode;
}

void DexanFile::Close() {
    worksheet.reset();
    compoundFile.reset();
    useCompound = false;
    TextFile::Close();
}

void DexanFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    switch (status) {
        case kNoWorksheet:
            zm::CopyErrorText(zm::Translate("Could not find the worksheet in the file."), buffer,
                              bufferSize);
            return;
        case kNotDexanFile:
            zm::CopyErrorText(zm::Translate("The file does not appear to be a valid DEXAN file."),
                              buffer, bufferSize);
            return;
        default:
            TextFile::GetErrorMessage(buffer, bufferSize);
    }
}

namespace {

// A compound file with a worksheet entry is surely a design file; a .mip name that
// holds none is left to the extension.
bool HoldsWorksheet(const char* path) {
    if (path == nullptr || !zm::CompoundFile::IsCompoundFile(path))
        return false;
    const auto file = zm::CompoundFile::Open(path);
    if (file == nullptr)
        return false;
    for (const std::string& name : file->EntryNames()) {
        if (DexanFile::IsWorksheetName(name))
            return true;
    }
    return false;
}

class DexanFileFactory : public SprFileFactory {
  public:
    DexanFileFactory()
        : SprFileFactory("DEXAN File", "DEXAN Files (*.mip; *.dat)", nullptr, 2, ".mip\0.dat\0", 0,
                         1, 0, 1, 0, 1) {}

  protected:
    MyKindOfFile IsMyKindOfFile(const char* file) override {
        try {
            if (HoldsWorksheet(file))
                return kSurely;
        } catch (...) {
        }
        return file != nullptr && EndsWithNoCase(file, ".mip") ? kPlausible : kNotMine;
    }
    SpreadsheetFile* GetSpreadsheetFile() override { return new DexanFile; }
};

DexanFileFactory theDexanFileFactory;

}  // namespace
