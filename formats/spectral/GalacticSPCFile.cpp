// Galactic SPC files: opening, file choice, merging of the x axes, options and sizing.
#include "formats/spectral/GalacticSPCFile.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>

#include "formats/spectral/SpectralCompare.h"
#include "platform/FileNames.h"
#include "platform/TextCase.h"
#include "platform/Translate.h"

GalacticSPCFile::GalacticSPCFile() = default;

GalacticSPCFile::~GalacticSPCFile() = default;

void GalacticSPCFile::Close() {
    files_.clear();
    warning_.clear();
    xValues_.clear();
    firstX_ = spacing_ = lastX_ = 0;
    points_ = 0;
    SpectrumFile::Close();
}

int GalacticSPCFile::OpenFiles(const char* names, ZmImportOpenOptions* options) {
    files_.clear();
    warning_.clear();
    xValues_.clear();
    for (const std::string& name : zm::SplitFileNames(names != nullptr ? names : "")) {
        failedFile = name;  // the one to name should it fail
        std::error_code ec;
        if (!std::filesystem::is_regular_file(name, ec))
            return SetStatus(kOpenFailed);
        FilePtr file(std::fopen(name.c_str(), "rb"));
        if (!file)
            return SetStatus(kOpenFailed);
        FileRecord record;
        record.name = name;
        const int code = ReadHeaderInfo(file.get(), record);
        if (code != 0)
            return SetStatus(code);
        files_.push_back(record);
    }
    failedFile.clear();
    return SetOptions(options);
}

void GalacticSPCFile::GetFileList(std::vector<std::string>& list) {
    list.clear();
    for (const FileRecord& record : files_) {
        if (record.subFiles < 2) {
            list.push_back(zm::FormatMessage(
                zm::Translate(
                    "%1% [Num values: %2%, First value: %3%, Last value: %4%, X-Spacing: %5%]"),
                record.name, record.points, record.firstX, record.lastX, record.spacing));
        } else {
            list.push_back(
                zm::FormatMessage(zm::Translate("%1% [Num sub-files: %2%, Num values: %3%]"),
                                  record.name, record.subFiles, record.points));
        }
    }
}

int GalacticSPCFile::SelectFilesToImport(const std::vector<int>& indices) {
    if (status != 0 || files_.empty())
        return -1;
    if (indices.empty())
        return 0;
    std::vector<FileRecord> kept;
    for (size_t i = 0; i < files_.size(); ++i) {
        if (std::find(indices.begin(), indices.end(), static_cast<int>(i)) != indices.end())
            kept.push_back(files_[i]);
    }
    files_.swap(kept);
    sizeEstablished = false;
    return 0;
}

int GalacticSPCFile::SelectFiles() {
    return status;
}

int GalacticSPCFile::CheckFiles() {
    if (status != 0)
        return status;
    if (files_.empty())
        return SetStatus(kNoFiles);
    const FileRecord& first = files_.front();
    firstX_ = first.firstX;
    spacing_ = first.spacing;
    lastX_ = first.lastX;
    points_ = first.points;
    for (const FileRecord& record : files_) {
        if (!zm::SpectralValuesEqual(record.firstX, firstX_) ||
            !zm::SpectralValuesEqual(record.spacing, spacing_)) {
            failedFile = record.name;
            return SetStatus(kDifferentSpacing);
        }
        lastX_ = std::max(lastX_, record.lastX);
        points_ = std::max(points_, record.points);
    }
    return 0;
}

int GalacticSPCFile::GetUSDConstraints(USDConstraints* constraints) {
    if (constraints != nullptr)
        SetSingleInterval(constraints, static_cast<float>(firstX_), static_cast<float>(lastX_));
    return status;
}

int GalacticSPCFile::SetOptions(ZmImportOpenOptions* options) {
    if (SelectFiles() != 0)
        return status;
    if (CheckFiles() != 0)
        return status;
    USDConstraints constraints;
    GetUSDConstraints(&constraints);
    return ApplyOptions(options, &constraints) ? status : SetStatus(kStatusBadOptions);
}

int GalacticSPCFile::EstablishSize() {
    if (status != 0)
        return status;
    if (CheckFiles() != 0)
        return status;
    if (points_ <= 0)
        return SetStatus(kStatusSizeFailed);
    long long rows = 1 + (IncludeXAsAnObservation() ? 1 : 0);
    for (const FileRecord& record : files_)
        rows += record.subFiles;
    SetCountWarning();
    const int kept = GetNumCol(points_, firstX_, spacing_);
    // No x point kept is no data: the sheet has no columns, not only its name columns.
    return SetSize(kept == 0 ? 0 : kept + 3LL, rows);
}

void GalacticSPCFile::SetCountWarning() {
    warning_.clear();
    for (const FileRecord& record : files_) {
        if (record.leftOver == 0)
            continue;
        warning_ = zm::FormatMessage(
            zm::Translate("%1%: the size of this old-format file is not a whole number of "
                          "spectra, so how many it holds is not known for sure. %2% spectra "
                          "were read; the last %3% bytes were left out."),
            zm::FileTitle(record.name), record.subFiles, record.leftOver);
        return;  // the first such file is the one named
    }
}

const char* GalacticSPCFile::GetWarningMessage() {
    return warning_.empty() ? nullptr : warning_.c_str();
}

std::string GalacticSPCFile::StatusText() {
    const char* text = nullptr;
    switch (status) {
        case kOpenFailed:
            text = "Unable to open file.";
            break;
        case kReadFailed:
            text = "Unable to read file. The file was not opened or Open File failed.";
            break;
        case kNotSPCFile:
            text = "This file does not seem to be a valid Galactic SPC file.";
            break;
        case kUnsupportedVersion:
            text = "This version of Galactic SPC files are not supported.";
            break;
        case kUnevenOldFormat:
            text = "Unevenly spaced X-variables are not supported.";
            break;
        case kNoFiles:
            text = "No files were selected, import aborted.";
            break;
        case kDifferentSpacing:
            text = "The data did not have the same X-spacing.";
            break;
        case kXYPerSubFile:
            text =
                "Looks like GC-MS spectra files and that is not supported at the moment. Contact "
                "the Vantor Pelmora support.";
            break;
        case kDifferentXValues:
            text = "The X variable names in files differ from each other";
            break;
        default:
            break;
    }
    return WithDetail(text, std::string());
}

GalacticSPCFileFactory::GalacticSPCFileFactory()
    : SprFileFactory("GalacticSPC File", "Galactic SPC Files (*.spc)", nullptr, 1, ".spc\0", 0, 1,
                     1, 1, 1, 1) {}

// The version byte alone is a weak mark, so the extension must agree for a sure answer.
// A ".spc" file with another version byte still comes here, to be refused with a text
// that names the format.
SprFileFactory::MyKindOfFile GalacticSPCFileFactory::IsMyKindOfFile(const char* file) {
    if (file == nullptr)
        return kNotMine;
    const bool spcExtension = zm::EqualNoCase(zm::FileExtension(file), ".spc");
    std::FILE* in = std::fopen(file, "rb");
    if (in == nullptr)
        return kNotMine;
    uint8_t header[512];
    const size_t got = std::fread(header, 1, sizeof header, in);
    std::fclose(in);
    const bool looksRight = got >= 2 && ((header[1] == 'K' && got >= 512) ||
                                         (header[1] == 'M' && got >= 256) || header[1] == 'L');
    if (looksRight)
        return spcExtension ? kSurely : kPlausible;
    return spcExtension ? kPlausible : kNotMine;
}

SpreadsheetFile* GalacticSPCFileFactory::GetSpreadsheetFile() {
    return new (std::nothrow) GalacticSPCFile;
}

namespace {
GalacticSPCFileFactory theGalacticSPCFileFactory;
}  // namespace
