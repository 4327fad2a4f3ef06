// What the spectral readers share: guarded calls, sizing and status texts.
#include "formats/spectral/SpectrumFile.h"

#include <climits>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "platform/ErrorText.h"
#include "platform/ReadMeter.h"
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
    if (status == 0 && !readMode)
        return SetStatus(kStatusWrongMode);
    return GuardedCall(*this, [&] {
        ForgetSize();
        return OpenFiles(file, options);
    });
}

int SpectrumFile::Read(ReadSpreadSheetData* sink) {
    // The file's faults are codes; only the sink or the allocator can throw here.
    return GuardedCall(*this, [&] { return ReadSheet(sink); });
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

zm::WholeFile zm::ReadWholeFile(const std::string& name, std::vector<uint8_t>& bytes) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(name, ec))
        return WholeFile::kNotOpened;
    const uintmax_t size = std::filesystem::file_size(name, ec);
    if (ec)
        return WholeFile::kNotOpened;
    if (size > kMaxWholeSpectrumFile)
        return WholeFile::kTooLarge;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "rb"),
                                                               &std::fclose);
    if (!file)
        return WholeFile::kNotOpened;
    bytes.resize(static_cast<size_t>(size));
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    zm::ReadMeter::Reached(name, bytes.size());
    return WholeFile::kRead;
}
