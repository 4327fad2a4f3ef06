// ANDI/AIA chromatograms: file headers, the shared time axis, peak-table defaults,
// options, sizing and messages.
#include "formats/spectral/AndiFileReader.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <filesystem>

#include "formats/spectral/SpectralCompare.h"
#include "platform/FileNames.h"
#include "platform/NetCDF.h"

namespace {

// Attributes every ANDI chromatogram carries at file level.
constexpr const char* kRequiredAttributes[] = {"netcdf_revision", "aia_template_revision",
                                               "dataset_completeness", "sample_name"};

// A single value of a variable, as float; false when absent, unreadable or not finite.
bool ReadSingleValue(const zm::NetCDF& cdf, const char* name, float& value) {
    double read = 0;
    if (!cdf.ReadFirstValue(cdf.FindVariable(name), read) || !std::isfinite(read) ||
        std::fabs(read) > 3.4e38)
        return false;
    value = static_cast<float>(read);
    return true;
}

}  // namespace

AndiFileReader::AndiFileReader() = default;

AndiFileReader::~AndiFileReader() = default;

void AndiFileReader::Close() {
    files_.clear();
    namesGiven_ = 0;
    samplingInterval_ = rangeMinimum_ = rangeMaximum_ = 0;
    points_ = 0;
    SpectrumFile::Close();
}

int AndiFileReader::OpenFiles(const char* file, ZmImportOpenOptions* options) {
    files_.clear();
    const std::vector<std::string> names = zm::SplitFileNames(file != nullptr ? file : "");
    namesGiven_ = names.size();
    for (const std::string& name : names) {
        if (ExtractNecessaryFileInformation(name.c_str()) != 0) {
            failedFile = name;
            return status;
        }
    }
    return SetOptions(options);
}

int AndiFileReader::ExtractNecessaryFileInformation(const char* file) {
    if (status != 0)
        return status;
    // A file that is missing or does not open is, like one without the attributes, not a
    // chromatogram this reader can take.
    std::error_code ec;
    if (file == nullptr || !std::filesystem::is_regular_file(file, ec))
        return SetStatus(kNotAndiFile);
    const zm::NetCDF cdf(file);
    if (!cdf.IsOpen())
        return SetStatus(kNotAndiFile);
    for (const char* attribute : kRequiredAttributes) {
        if (cdf.FindAttribute(zm::NetCDF::kGlobal, attribute) < 0)
            return SetStatus(kNotAndiFile);
    }
    FileInfo info;
    info.name = file;
    if (!ReadSingleValue(cdf, "actual_run_time_length", info.runTimeLength) ||
        !ReadSingleValue(cdf, "actual_sampling_interval", info.samplingInterval) ||
        !ReadSingleValue(cdf, "actual_delay_time", info.delayTime))
        return SetStatus(kAttributeError);
    // A time axis needs a step forward; the end of the run must be a number too.
    if (!(info.samplingInterval > 0) || !std::isfinite(info.runTimeLength + info.delayTime))
        return SetStatus(kAttributeError);

    const int ordinate = cdf.FindVariable("ordinate_values");
    if (ordinate < 0)
        return SetStatus(kAttributeError);
    std::string flag;
    if (!cdf.AttributeText(ordinate, "uniform_sampling_flag", flag) || flag != "Y")
        return SetStatus(kNonUniformSampling);

    info.points = cdf.DimensionLength("point_number");
    std::vector<size_t> shape;
    // Every point becomes a column: the count must fit a sheet and the file's bytes.
    if (info.points < 0 || info.points > INT_MAX - 2 ||
        !cdf.CouldHold(static_cast<uint64_t>(info.points), sizeof(float)) ||
        !cdf.VariableShape(ordinate, shape) || shape.size() != 1)
        return SetStatus(kAttributeError);

    std::string unit;
    if (cdf.AttributeText(zm::NetCDF::kGlobal, "retention_unit", unit) && !unit.empty())
        info.retentionUnit = unit;
    cdf.AttributeText(zm::NetCDF::kGlobal, "sample_name", info.sampleName);
    files_.push_back(std::move(info));
    return 0;
}

void AndiFileReader::SelectFile(int index, bool selected) {
    if (index >= 0 && static_cast<size_t>(index) < files_.size())
        files_[static_cast<size_t>(index)].selected = selected;
    sizeEstablished = false;
}

void AndiFileReader::SelectFilesToImport(const int* indices, int count) {
    for (FileInfo& file : files_)
        file.selected = false;
    for (int i = 0; indices != nullptr && i < count; ++i)
        SelectFile(indices[i], true);
    sizeEstablished = false;
}

const AndiFileReader::FileInfo* AndiFileReader::FirstSelected() const {
    for (const FileInfo& file : files_) {
        if (file.selected)
            return &file;
    }
    return nullptr;
}

int AndiFileReader::CheckFiles() {
    if (status != 0)
        return status;
    if (files_.empty())
        return SetStatus(kReadFailed);
    const FileInfo* first = FirstSelected();
    if (first == nullptr)
        return SetStatus(kNoFilesSelected);
    samplingInterval_ = first->samplingInterval;
    rangeMinimum_ = first->delayTime;
    rangeMaximum_ = first->runTimeLength + first->delayTime;
    retentionUnit_ = first->retentionUnit;
    points_ = 0;
    for (const FileInfo& file : files_) {
        if (!file.selected)
            continue;
        if (!zm::SpectralValuesEqual(file.samplingInterval, samplingInterval_) ||
            !zm::SpectralValuesEqual(file.delayTime, rangeMinimum_)) {
            failedFile = file.name;
            return SetStatus(zm::SpectralValuesEqual(file.samplingInterval, samplingInterval_)
                                 ? kDifferentDelay
                                 : kDifferentSampling);
        }
        rangeMaximum_ = std::max(rangeMaximum_, file.runTimeLength + file.delayTime);
        points_ = std::max(points_, file.points);
    }
    return 0;
}

int AndiFileReader::GetDefaults(float* start, float* end, long n) {
    const FileInfo* file = FirstSelected();
    if (file == nullptr)
        return 0;
    const zm::NetCDF cdf(file->name);
    const long long peaks = cdf.DimensionLength("peak_number");
    const int startVariable = cdf.FindVariable("peak_start_time");
    const int endVariable = cdf.FindVariable("peak_end_time");
    std::vector<size_t> startShape, endShape;
    if (peaks <= 0 || peaks > INT_MAX || !cdf.VariableShape(startVariable, startShape) ||
        !cdf.VariableShape(endVariable, endShape) || startShape.size() != 1 ||
        endShape.size() != 1 || startShape[0] < static_cast<size_t>(peaks) ||
        endShape[0] < static_cast<size_t>(peaks) ||
        !cdf.CouldHold(static_cast<uint64_t>(peaks), 2 * sizeof(float)))
        return 0;
    if (n == -1)
        return static_cast<int>(peaks);
    if (n <= 0 || start == nullptr || end == nullptr)
        return 0;
    const size_t from[1] = {0};
    const size_t count[1] = {static_cast<size_t>(std::min<long long>(peaks, n))};
    if (!cdf.Read(startVariable, from, count, start) || !cdf.Read(endVariable, from, count, end))
        return 0;
    return static_cast<int>(count[0]);
}

int AndiFileReader::GetDefaultUSDConstraints(USDConstraints* constraints) {
    if (constraints == nullptr)
        return status;
    // One interval over the whole run, unless the peak table gives the intervals.
    SetSingleInterval(constraints, rangeMinimum_, rangeMaximum_);
    const int peaks = GetDefaults(nullptr, nullptr, -1L);
    if (peaks > 0) {
        std::vector<float> start(static_cast<size_t>(peaks)), end(start.size());
        const int got = GetDefaults(start.data(), end.data(), static_cast<long>(peaks));
        // A peak table that cannot be read, or holds no numbers, gives no ranges.
        bool usable = got == peaks;
        for (int i = 0; usable && i < got; ++i)
            usable = std::isfinite(start[static_cast<size_t>(i)]) &&
                     std::isfinite(end[static_cast<size_t>(i)]);
        if (usable) {
            FreeUSDConstraints(constraints);
            constraints->NumberOfIncludedIntervals = got;
            constraints->IncludeXStartPt = new float[start.size()];
            constraints->IncludeXEndPt = new float[end.size()];
            std::copy(start.begin(), start.end(), constraints->IncludeXStartPt);
            std::copy(end.begin(), end.end(), constraints->IncludeXEndPt);
        }
    }
    return status;
}

int AndiFileReader::GetUSDConstraints(USDConstraints* constraints) {
    return GetDefaultUSDConstraints(constraints);
}

int AndiFileReader::SetOptions(ZmImportOpenOptions* options) {
    if (CheckFiles() != 0)
        return status;
    USDConstraints constraints;
    GetUSDConstraints(&constraints);
    return ApplyOptions(options, &constraints) ? status : SetStatus(kStatusBadOptions);
}

void AndiFileReader::GridPoints(float* out, size_t count) const {
    // Without a branch per point: a chromatogram has millions. The index counts up as a
    // double, exactly (far below 2^53), rather than being converted point by point.
    const auto first = static_cast<double>(rangeMinimum_);
    const auto step = static_cast<double>(samplingInterval_);
    double index = 0;
    for (size_t i = 0; i < count; ++i, index += 1.0) {
        const double position = first + index * step;
        float point = static_cast<float>(position);
        point = position > 3.4e38 ? INFINITY : point;
        out[i] = position < -3.4e38 ? -INFINITY : point;
    }
}

int AndiFileReader::EstablishSize() {
    if (status != 0)
        return status;
    if (CheckFiles() != 0)
        return status;
    long long rows = 1 + (IncludeXAsAnObservation() ? 1 : 0);
    for (const FileInfo& file : files_)
        rows += file.selected ? 1 : 0;
    const int kept = GetNumCol(static_cast<int>(points_), rangeMinimum_, samplingInterval_);
    // No x point kept is no data: the sheet has no columns, not only its name columns.
    return SetSize(kept == 0 ? 0 : kept + 2LL, rows);
}

std::string AndiFileReader::StatusText() {
    const bool several = IsMultiSelection();
    const char* text = nullptr;
    switch (status) {
        case kOpenFailed:
            text = "Unable to open file.";
            break;
        case kReadFailed:
            text = "Unable to read file. The file was not opened or Open File failed.";
            break;
        case kNotAndiFile:
            text = several ? "Unable to read one or more of the selected files, not all files "
                             "seem to be valid ANDI/chromatography files."
                           : "The file does not seem to be a valid ANDI/chromatography file.";
            break;
        case kNotAIAFile:
            text = several ? "Unable to read one or more of the selected files, not all files "
                             "seem to be valid AIA/chromatography files."
                           : "The file does not seem to be a valid AIA/chromatography file.";
            break;
        case kAttributeError:
            text = several ? "Error while reading file attributes in one of the selected files."
                           : "Error while reading file attributes.";
            break;
        case kNonUniformSampling:
            text = several ? "Error wile reading file attributes in one or more of the selected "
                             "files. Files with non-uniform sampling of data is not supported "
                             "by TAVIX."
                           : "Error wile reading file attributes in the file. Files with "
                             "non-uniform sampling of data is not supported by TAVIX.";
            break;
        case kNoFilesSelected:
            text = "No files were selected.";
            break;
        case kDifferentSampling:
        case kDifferentSamplingToo:
            text =
                "To be able to import several files at a time, all selected files must have the "
                "same sampling interval and the same time delay between the injection and the "
                "start of data acquisition. In this case, not all selected files had the same "
                "sampling interval.";
            break;
        case kDifferentDelay:
            text =
                "To be able to import several files at a time, all selected files must have the "
                "same sampling interval and the same time delay between the injection and the "
                "start of data acquisition. In this case, the delay time was not equal in all "
                "selected files.";
            break;
        default:
            break;
    }
    return WithDetail(text, std::string());
}
