// ChemStation files: opening, merging of the retention times, options, the sheet and
// the registry entry.
#include "formats/spectral/ChemStationFile.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>

#include "formats/spectral/SpectralCompare.h"
#include "formats/spectral/SpectrumSheet.h"
#include "platform/FileNames.h"
#include "platform/TextCase.h"
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

}  // namespace

ChemStationFile::ChemStationFile() = default;

ChemStationFile::~ChemStationFile() = default;

void ChemStationFile::Close() {
    files_.clear();
    times_.clear();
    SpectrumFile::Close();
}

int ChemStationFile::Fail(int code, const std::string& detail, const std::string& file) {
    detail_ = detail;
    if (status == 0)
        failedFile = file;
    return SetStatus(code);
}

int ChemStationFile::OpenFiles(const char* names, ZmImportOpenOptions* options) {
    files_.clear();
    std::vector<uint8_t> bytes;
    for (const std::string& name : zm::SplitFileNames(names != nullptr ? names : "")) {
        const zm::WholeFile read = zm::ReadWholeFile(name, bytes);
        if (read != zm::WholeFile::kRead)
            return Fail(read == zm::WholeFile::kTooLarge ? kFileTooLarge : kOpenFailed, name, name);
        FileRecord record;
        record.name = name;
        const int code = CodeOf(zm::chemstation::ParseRun(bytes.data(), bytes.size(), record.run));
        if (code != 0)
            return Fail(code, name, name);
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
            return Fail(kDifferentTimes, files_.front().name + ", " + record.name, record.name);
    }
    pointX_.resize(times_.size());
    for (size_t i = 0; i < times_.size(); ++i)
        pointX_[i] = zm::ClampToFloat(times_[i]);
    return SetOptions(options);
}

int ChemStationFile::SetOptions(ZmImportOpenOptions* options) {
    USDConstraints constraints;
    const auto [low, high] = std::minmax_element(times_.begin(), times_.end());
    SetSingleInterval(&constraints, zm::ClampToFloat(*low), zm::ClampToFloat(*high));
    return ApplyOptions(options, &constraints) ? status : SetStatus(kStatusBadOptions);
}

int ChemStationFile::EstablishSize() {
    if (status != 0)
        return status;
    if (files_.empty() || times_.empty())
        return SetStatus(kStatusSizeFailed);
    // The times of a diode-array file are its spectra's own, not always evenly spaced:
    // each one is put to the constraints.
    const long long kept = CountKept(pointX_.data(), pointX_.size());
    long long rows = 1 + (IncludeXAsAnObservation() ? 1 : 0);
    for (const FileRecord& record : files_)
        rows += static_cast<long long>(record.run.traces.size());
    return SetSize(kept + kLabelColumns, rows);
}

int ChemStationFile::ReadSheet(ReadSpreadSheetData* sink) {
    if (GetNumCols() < 0 || GetNumRows() < 0)
        return status;
    if (sink == nullptr)
        return 0;
    SpectrumSheet sheet(sink, *this, kLabelColumns, numCols);
    sheet.SetPoints(pointX_.data(), pointX_.size());
    sheet.SetNameRows({zm::Translate("Primary ID"), zm::Translate("Name"), zm::Translate("Sample"),
                       zm::Translate("Signal")},
                      zm::Translate("Retention time (min)"));
    int row = sheet.FirstDataRow();
    for (const FileRecord& record : files_) {
        const std::string title = zm::FileTitle(record.name);
        for (const zm::chemstation::Trace& trace : record.run.traces) {
            sheet.BeginRow(row);
            sink->Set(2, row, title.c_str());
            sink->Set(3, row, record.run.sample.c_str());
            sink->Set(4, row, trace.label.c_str());
            sheet.AddPoints(trace.values.data(), trace.values.size());
            ++row;
        }
    }
    return status;
}

std::string ChemStationFile::StatusText() {
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
    return WithDetail(text, detail_);
}

ChemStationFileFactory::ChemStationFileFactory()
    : SprFileFactory("HPLC ChemStation File", "HPLC ChemStation Files (*.ch, *.uv)",
                     "HPLC ChemStation File (*.ch)", 2, ".ch\0.uv\0", 0, 1, 1, 1, 0, 1) {}

// The version text is a weak mark (two or three digits after a length byte), so the
// extension must agree for a sure answer.
SprFileFactory::MyKindOfFile ChemStationFileFactory::IsMyKindOfFile(const char* file) {
    if (file == nullptr)
        return kNotMine;
    const std::string extension = zm::FileExtension(file);
    const bool ours = zm::EqualNoCase(extension, ".ch") || zm::EqualNoCase(extension, ".uv");
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
