// ChemStation files: opening, merging of the retention times, options, the sheet and
// the registry entry.
#include "formats/spectral/ChemStationFile.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>

#include "formats/spectral/SpectralCompare.h"
#include "platform/BinaryString.h"
#include "platform/ErrorText.h"
#include "platform/FileNames.h"
#include "platform/FloatText.h"
#include "platform/Translate.h"

namespace {

constexpr int kLabelColumns = 4;

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

int CodeOf(zm::chemstation::ParseError error) {
    using zm::chemstation::ParseError;
    switch (error) {
        case ParseError::kNone:
            return 0;
        case ParseError::kNotChemStation:
            return ChemStationFile::kNotChemStationFile;
        case ParseError::kUnsupported:
            return ChemStationFile::kUnsupportedVersion;
        case ParseError::kDamaged:
            return ChemStationFile::kDamagedFile;
        case ParseError::kNoPoints:
            return ChemStationFile::kNoPoints;
    }
    return ChemStationFile::kNotChemStationFile;
}

float ToFloat(double x) {
    return static_cast<float>(
        std::fmax(-3.4028234663852886e38, std::fmin(x, 3.4028234663852886e38)));
}

bool ReadWholeFile(const std::string& name, std::vector<uint8_t>& bytes, int& code) {
    std::error_code ec;
    code = ChemStationFile::kOpenFailed;
    if (!std::filesystem::is_regular_file(name, ec))
        return false;
    const uintmax_t size = std::filesystem::file_size(name, ec);
    if (ec)
        return false;
    if (size > ChemStationFile::kMaxFileSize) {
        code = ChemStationFile::kFileTooLarge;
        return false;
    }
    FilePtr file(std::fopen(name.c_str(), "rb"));
    if (!file)
        return false;
    bytes.resize(static_cast<size_t>(size));
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    return true;
}

}  // namespace

ChemStationFile::ChemStationFile() = default;

ChemStationFile::~ChemStationFile() = default;

void ChemStationFile::Close() {
    files_.clear();
    times_.clear();
    numCols = numRows = -1;
    sizeEstablished = false;
    SpreadsheetFile::Close();
}

int ChemStationFile::Fail(int code, const std::string& detail) {
    detail_ = detail;
    return SetStatus(code);
}

int ChemStationFile::Open(bool readMode, const char* file, ZmImportOpenOptions* options) {
    if (status != 0)
        return status;
    if (!readMode)
        return SetStatus(kStatusWrongMode);
    files_.clear();
    numCols = numRows = -1;
    sizeEstablished = false;
    try {
        if (OpenFiles(file) != 0)
            return status;
        return SetOptions(options);
    } catch (...) {
        return SetUnknownException();
    }
}

int ChemStationFile::OpenFiles(const char* names) {
    std::vector<uint8_t> bytes;
    for (const std::string& name : zm::SplitFileNames(names != nullptr ? names : "")) {
        int code = 0;
        if (!ReadWholeFile(name, bytes, code))
            return Fail(code, name);
        FileRecord record;
        record.name = name;
        code = CodeOf(zm::chemstation::ParseRun(bytes.data(), bytes.size(), record.run));
        if (code != 0)
            return Fail(code, name);
        files_.push_back(std::move(record));
    }
    if (files_.empty())
        return SetStatus(kNoFiles);
    // Every file must have the first file's retention times.
    times_ = files_.front().run.times;
    for (const FileRecord& record : files_) {
        const std::vector<double>& times = record.run.times;
        if (times.size() != times_.size() ||
            !std::equal(times.begin(), times.end(), times_.begin(),
                        [](double a, double b) { return a == b || zm::SpectralValuesEqual(a, b); }))
            return Fail(kDifferentTimes, files_.front().name + ", " + record.name);
    }
    return 0;
}

int ChemStationFile::SetOptions(ZmImportOpenOptions* options) {
    USDConstraints constraints;
    const auto [low, high] = std::minmax_element(times_.begin(), times_.end());
    constraints.NumberOfIncludedIntervals = 1;
    constraints.IncludeXStartPt = new float[1]{ToFloat(*low)};
    constraints.IncludeXEndPt = new float[1]{ToFloat(*high)};
    try {
        if (options != nullptr && options->size > 0) {
            std::string text;
            if (options->data == nullptr ||
                !zm::ReadBinaryString(options->data, options->size, text) ||
                !GetUSDConstraintsFromString(text, &constraints)) {
                FreeUSDConstraints(&constraints);
                return SetStatus(kStatusBadOptions);
            }
        }
        if (options != nullptr && options->size == 0) {
            std::string text, framed;
            GetStringFromUSDConstraints(&constraints, text);
            zm::WriteBinaryString(framed, text);
            auto* data = new unsigned char[framed.size()];
            std::memcpy(data, framed.data(), framed.size());
            options->data = data;
            options->size = static_cast<uint32_t>(framed.size());
        }
        SetUSDConstraints(&constraints);
    } catch (...) {
        FreeUSDConstraints(&constraints);
        return SetStatus(kStatusBadOptions);
    }
    FreeUSDConstraints(&constraints);
    return status;
}

int ChemStationFile::EstablishSize() {
    if (status != 0)
        return status;
    if (files_.empty() || times_.empty())
        return SetStatus(kStatusSizeFailed);
    // The times of a diode-array file are its spectra's own, not always evenly spaced:
    // each one is put to the constraints.
    long long kept = 0;
    Reset();
    for (double time : times_) {
        float x = ToFloat(time);
        kept += IsValid(x) ? 1 : 0;
    }
    long long rows = 1 + (IncludeXAsAnObservation() ? 1 : 0);
    for (const FileRecord& record : files_)
        rows += static_cast<long long>(record.run.traces.size());
    if (rows > INT_MAX || kept > INT_MAX - kLabelColumns)
        return SetStatus(kStatusSizeFailed);
    numCols = static_cast<int>(kept) + kLabelColumns;
    numRows = static_cast<int>(rows);
    sizeEstablished = true;
    return 0;
}

int ChemStationFile::GetNumCols() {
    if (status != 0)
        return -1;
    return SpreadsheetFile::GetNumCols();
}

int ChemStationFile::GetNumRows() {
    if (status != 0)
        return -1;
    return SpreadsheetFile::GetNumRows();
}

void ChemStationFile::SetNameRows(ReadSpreadSheetData* sink, bool includeX) {
    keptX_.clear();
    Reset();
    for (double value : times_) {
        float x = ToFloat(value);
        if (!IsValid(x))
            continue;
        if (static_cast<int>(keptX_.size()) + kLabelColumns + 1 > numCols)
            break;
        keptX_.push_back(x);
    }
    sink->Set(1, 1, zm::Translate("Primary ID").c_str());
    sink->Set(2, 1, zm::Translate("Name").c_str());
    sink->Set(3, 1, zm::Translate("Sample").c_str());
    sink->Set(4, 1, zm::Translate("Signal").c_str());
    int col = kLabelColumns + 1;
    if (!includeX) {
        for (float x : keptX_)
            sink->Set(col++, 1, x);
        return;
    }
    char heading[40] = {'t', ' '};
    for (float x : keptX_) {
        zm::FormatG6(x, heading + 2);
        sink->Set(col++, 1, heading);
    }
    sink->Set(1, 2, 1);
    sink->Set(2, 2, zm::Translate("Retention time (min)").c_str());
    col = kLabelColumns + 1;
    for (float x : keptX_)
        sink->Set(col++, 2, x);
}

int ChemStationFile::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    try {
        if (GetNumCols() < 0 || GetNumRows() < 0)
            return status;
        if (sink == nullptr)
            return 0;
        bool includeX = IncludeXAsAnObservation();
        if (includeX && sink->MapRow(1) != 2) {
            SetIncludeXAsAnObservation(false);
            includeX = false;
        }
        SetNameRows(sink, includeX);
        int row = includeX ? 3 : 2;
        const bool keepAll = KeepsEveryPoint();
        for (const FileRecord& record : files_) {
            const std::string title = zm::FileTitle(record.name);
            for (const zm::chemstation::Trace& trace : record.run.traces) {
                sink->Set(1, row, row - 1);
                sink->Set(2, row, title.c_str());
                sink->Set(3, row, record.run.sample.c_str());
                sink->Set(4, row, trace.label.c_str());
                Reset();
                int col = kLabelColumns + 1;
                for (size_t i = 0; i < trace.values.size() && col <= numCols; ++i) {
                    float x = ToFloat(times_[i]);
                    float y = static_cast<float>(trace.values[i]);
                    if (!keepAll && !IsValid(x, y))
                        continue;
                    sink->Set(col++, row, keepAll ? trace.values[i] : static_cast<double>(y));
                }
                ++row;
            }
        }
        return status;
    } catch (...) {
        return SetUnknownException();
    }
}

void ChemStationFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    const char* text = nullptr;
    switch (status) {
        case kOpenFailed:
            text = "Unable to open file.";
            break;
        case kNotChemStationFile:
            text = "This file does not seem to be a valid HPLC ChemStation file.";
            break;
        case kUnsupportedVersion:
            text = "This version of HPLC ChemStation files is not supported.";
            break;
        case kDamagedFile:
            text = "This HPLC ChemStation file is damaged: its data runs past the end of the file.";
            break;
        case kNoPoints:
            text = "This HPLC ChemStation file holds no data points.";
            break;
        case kNoFiles:
            text = "No files were selected, import aborted.";
            break;
        case kDifferentTimes:
            text = "The chromatograms do not have the same retention times.";
            break;
        case kFileTooLarge:
            text = "The file is too large.";
            break;
        default:
            break;
    }
    try {
        if (text == nullptr) {
            SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
            return;
        }
        std::string message = zm::Translate(text);
        if (!detail_.empty())
            message += " (" + detail_ + ")";
        zm::CopyErrorText(message, buffer, bufferSize);
    } catch (...) {
        if (buffer != nullptr && bufferSize > 0)
            buffer[0] = '\0';
    }
}

ChemStationFileFactory::ChemStationFileFactory()
    : SprFileFactory("HPLC ChemStation File", "HPLC ChemStation Files (*.ch, *.uv)",
                     "HPLC ChemStation File (*.ch)", 2, ".ch\0.uv\0", 0, 1, 1, 1, 0, 1) {}

// The version text is a weak mark (two or three digits after a length byte), so the
// extension must agree for a sure answer.
SprFileFactory::MyKindOfFile ChemStationFileFactory::IsMyKindOfFile(const char* file) {
    if (file == nullptr)
        return kNotMine;
    std::string extension = zm::FileExtension(file);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const bool ours = extension == ".ch" || extension == ".uv";
    FilePtr in(std::fopen(file, "rb"));
    if (!in)
        return kNotMine;
    uint8_t header[4];
    const size_t got = std::fread(header, 1, sizeof header, in.get());
    const bool looksRight = !zm::chemstation::VersionOf(header, got).empty();
    if (looksRight)
        return ours ? kSurely : kNotMine;
    return ours ? kPlausible : kNotMine;
}

SpreadsheetFile* ChemStationFileFactory::GetSpreadsheetFile() {
    return new (std::nothrow) ChemStationFile;
}

namespace {
ChemStationFileFactory theChemStationFileFactory;
}  // namespace
