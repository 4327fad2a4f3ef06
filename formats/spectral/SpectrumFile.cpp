// What the spectral readers share: guarded calls, sizing and status texts.
#include "formats/spectral/SpectrumFile.h"

#include <climits>

#include "platform/ErrorText.h"
#include "platform/Translate.h"

void CopyStatusText(SpreadsheetFile& reader, const std::function<std::string()>& text, char* buffer,
                    unsigned int bufferSize) {
    try {
        const std::string own = text();
        if (own.empty())
            reader.SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
        else
            zm::CopyErrorText(own, buffer, bufferSize);
    } catch (...) {
        if (buffer != nullptr && bufferSize > 0)
            buffer[0] = '\0';
    }
}

void SpectrumFile::Close() {
    ForgetSize();
    SpreadsheetFile::Close();
}

int SpectrumFile::GetNumCols() {
    if (status != 0)
        return -1;
    return SpreadsheetFile::GetNumCols();
}

int SpectrumFile::GetNumRows() {
    if (status != 0)
        return -1;
    return SpreadsheetFile::GetNumRows();
}

int SpectrumFile::Open(bool readMode, const char* file, ZmImportOpenOptions* options) {
    if (status != 0)
        return status;
    if (!readMode)
        return SetStatus(kStatusWrongMode);
    ForgetSize();
    try {
        return OpenFiles(file, options);
    } catch (...) {
        return SetUnknownException();
    }
}

int SpectrumFile::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    try {
        return ReadSheet(sink);
    } catch (...) {
        // The file's faults are codes; only the sink or the allocator can throw here.
        return SetUnknownException();
    }
}

void SpectrumFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    CopyStatusText(
        *this, [this] { return StatusText(); }, buffer, bufferSize);
}

std::string SpectrumFile::WithDetail(const char* text, const std::string& detail) {
    if (text == nullptr)
        return std::string();
    std::string message = zm::Translate(text);
    if (!detail.empty())
        message += " (" + detail + ")";
    return message;
}

int SpectrumFile::SetSize(long long cols, long long rows) {
    if (cols > INT_MAX || rows > INT_MAX)
        return SetStatus(kStatusSizeFailed);
    numCols = static_cast<int>(cols);
    numRows = static_cast<int>(rows);
    sizeEstablished = true;
    return 0;
}
