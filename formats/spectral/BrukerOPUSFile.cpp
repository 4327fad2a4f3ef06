// Bruker OPUS files: opening, the choice of the data block, the x grids, options and
// the registry entries of both variants.
#include "formats/spectral/BrukerOPUSFile.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <new>

#include "formats/spectral/SpectralCompare.h"
#include "framework/OptionsRecord.h"
#include "platform/FileNames.h"
#include "platform/Settings.h"
#include "platform/Translate.h"

namespace {

constexpr const char* kSection = "Settings";
constexpr const char* kDataBlockKey = "DataBlock";
constexpr const char* kBlockListKey = "DataBlocks";

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

int CodeOf(zm::opus::LayoutError error) {
    using zm::opus::LayoutError;
    switch (error) {
        case LayoutError::kNone:
            return 0;
        case LayoutError::kNotOpus:
            return BrukerOPUSFile::kNotOpusFile;
        case LayoutError::kBadDirectory:
            return BrukerOPUSFile::kBadDirectory;
        case LayoutError::kBlockOutside:
            return BrukerOPUSFile::kBlockOutside;
        case LayoutError::kBadParameters:
            return BrukerOPUSFile::kBadParameters;
        case LayoutError::kBadPointCount:
            return BrukerOPUSFile::kBadPointCount;
    }
    return BrukerOPUSFile::kNotOpusFile;
}

const zm::opus::SpectrumBlock* FindBlock(const zm::opus::FileLayout& layout,
                                         const std::string& name) {
    for (const zm::opus::SpectrumBlock& block : layout.spectra) {
        if (block.name == name)
            return &block;
    }
    return nullptr;
}

// The x of point i of a block: FXV to LXV in NPT even steps.
double PointX(const zm::opus::SpectrumBlock& block, int32_t i) {
    if (block.points < 2)
        return block.firstX;
    return block.firstX + (block.lastX - block.firstX) * i / (block.points - 1);
}

}  // namespace

BrukerOPUSFile::BrukerOPUSFile(bool interpolate) : interpolate_(interpolate) {}

BrukerOPUSFile::~BrukerOPUSFile() = default;

void BrukerOPUSFile::Close() {
    files_.clear();
    gridX_.clear();
    bytes_.clear();
    SpectrumFile::Close();
}

int BrukerOPUSFile::Fail(int code, const std::string& detail, const std::string& file) {
    detail_ = detail;
    if (status == 0)
        failedFile = file;
    return SetStatus(code);
}

int BrukerOPUSFile::LoadFile(const std::string& name, std::vector<uint8_t>& bytes) {
    switch (zm::ReadWholeFile(name, bytes)) {
        case zm::WholeFile::kRead:
            return 0;
        case zm::WholeFile::kTooLarge:
            return Fail(kFileTooLarge, name, name);
        default:
            return Fail(kOpenFailed, name, name);
    }
}

int BrukerOPUSFile::OpenFiles(const char* names, ZmImportOpenOptions* options) {
    files_.clear();
    for (const std::string& name : zm::SplitFileNames(names != nullptr ? names : "")) {
        if (LoadFile(name, bytes_) != 0)
            return status;
        FileRecord record;
        record.name = name;
        const int code = CodeOf(zm::opus::ParseLayout(bytes_.data(), bytes_.size(), record.layout));
        if (code != 0)
            return Fail(code, name, name);
        if (record.layout.spectra.empty())
            return Fail(kNoSpectrum, name, name);
        files_.push_back(std::move(record));
    }
    bytes_.clear();
    bytes_.shrink_to_fit();
    if (files_.empty())
        return SetStatus(kNoFiles);
    return SetOptions(options);
}

std::vector<std::string> BrukerOPUSFile::BlockNames() const {
    std::vector<std::string> names;
    if (!files_.empty()) {
        for (const zm::opus::SpectrumBlock& block : files_.front().layout.spectra)
            names.push_back(block.name);
    }
    return names;
}

int BrukerOPUSFile::ChooseBlocks() {
    for (FileRecord& record : files_) {
        record.block = FindBlock(record.layout, chosen_);
        if (record.block == nullptr)
            return Fail(kMissingBlock, chosen_ + ", " + record.name, record.name);
        if (record.block->series)
            return Fail(kSeriesBlock, chosen_ + ", " + record.name, record.name);
    }
    const zm::opus::SpectrumBlock& first = *files_.front().block;
    gridX_.resize(static_cast<size_t>(first.points));
    for (int32_t i = 0; i < first.points; ++i)
        gridX_[static_cast<size_t>(i)] = PointX(first, i);
    if (interpolate_)
        return 0;
    for (const FileRecord& record : files_) {
        const zm::opus::SpectrumBlock& block = *record.block;
        if (block.points != first.points || !zm::SpectralValuesEqual(block.firstX, first.firstX) ||
            !zm::SpectralValuesEqual(block.lastX, first.lastX))
            return Fail(kDifferentGrids, files_.front().name + ", " + record.name, record.name);
    }
    return 0;
}

int BrukerOPUSFile::SetOptions(ZmImportOpenOptions* options) {
    std::unique_ptr<zm::SettingsDocument> given;
    if (zm::DecodeOptions(options, given) == zm::OptionsDecode::kMalformed)
        return SetStatus(kStatusBadOptions);
    // The block: the one asked for, else the absorbance, else the first of the first file.
    const std::vector<std::string> names = BlockNames();
    chosen_ = std::find(names.begin(), names.end(), "AB") != names.end() ? "AB" : names.front();
    if (given) {
        if (const auto asked = given->GetString(kSection, kDataBlockKey); asked && !asked->empty())
            chosen_ = *asked;
    }
    if (ChooseBlocks() != 0)
        return status;

    USDConstraints constraints;
    const auto [low, high] = std::minmax_element(gridX_.begin(), gridX_.end());
    SetSingleInterval(&constraints, static_cast<float>(*low), static_cast<float>(*high));
    if (given && given->HasKey(kSection, "IncludeAllValues") &&
        !GetUSDConstraintsFromDocument(*given, &constraints)) {
        FreeUSDConstraints(&constraints);
        return SetStatus(kStatusBadOptions);
    }
    SetUSDConstraints(&constraints);
    if (options != nullptr && options->size == 0) {
        // An empty record gets the settings in force and the blocks there are to choose.
        zm::SettingsDocument offered;
        SetUSDConstraintsInDocument(&constraints, offered);
        offered.SetString(kSection, kDataBlockKey, chosen_);
        offered.SetList(kSection, kBlockListKey, names);
        zm::StoreOptions(options, offered);
    }
    FreeUSDConstraints(&constraints);
    return status;
}

int BrukerOPUSFile::EstablishSize() {
    if (status != 0)
        return status;
    if (files_.empty() || gridX_.empty())
        return SetStatus(kStatusSizeFailed);
    const int points = static_cast<int>(gridX_.size());
    const int kept = GetNumCol(points, gridX_.front(),
                               points > 1 ? (gridX_.back() - gridX_.front()) / (points - 1) : 0);
    const long long rows = 1 + (IncludeXAsAnObservation() ? 1 : 0) + (long long)files_.size();
    return SetSize(kept + 4LL, rows);
}

std::string BrukerOPUSFile::StatusText() {
    const char* text = nullptr;
    switch (status) {
        case kOpenFailed:
            text = "Unable to open file.";
            break;
        case kNotOpusFile:
            text = "This file does not seem to be a valid Bruker OPUS file.";
            break;
        case kBadDirectory:
            text = "The block directory of this Bruker OPUS file lies outside the file.";
            break;
        case kBlockOutside:
            text = "A block of this Bruker OPUS file reaches past the end of the file.";
            break;
        case kBadParameters:
            text = "A parameter block of this Bruker OPUS file is damaged.";
            break;
        case kBadPointCount:
            text =
                "A data block of this Bruker OPUS file holds fewer points than its "
                "parameters say.";
            break;
        case kNoSpectrum:
            text = "This Bruker OPUS file holds no spectrum.";
            break;
        case kMissingBlock:
            text = "The chosen data block is missing from a file.";
            break;
        case kDifferentGrids:
            text =
                "The spectra do not have the same x axis. The Bruker OPUS Interpolated File "
                "format puts them on one axis.";
            break;
        case kNoFiles:
            text = "No files were selected, import aborted.";
            break;
        case kFileTooLarge:
            text = "The file is too large.";
            break;
        case kSeriesBlock:
            text =
                "The chosen data block holds a series of spectra, which this reader does "
                "not read; choose another block.";
            break;
        default:
            break;
    }
    return WithDetail(text, detail_);
}

namespace {

// An OPUS file is known by its magic number and a directory that lies inside it; the
// name plays no part, since instruments number their files ".0", ".1", ...
bool LooksLikeOpus(const char* file) {
    if (file == nullptr)
        return false;
    FilePtr in(std::fopen(file, "rb"));
    if (!in)
        return false;
    uint8_t header[24];
    const size_t got = std::fread(header, 1, sizeof header, in.get());
    std::error_code ec;
    const uintmax_t size = std::filesystem::file_size(file, ec);
    return !ec && zm::opus::HasOpusDirectory(header, got, size);
}

}  // namespace

BrukerOPUSFileFactory::BrukerOPUSFileFactory()
    : SprFileFactory("Bruker OPUS File", "Bruker OPUS File (*.*)", nullptr, 1, ".*\0", 0, 1, 1, 1,
                     0, 1) {}

SprFileFactory::MyKindOfFile BrukerOPUSFileFactory::IsMyKindOfFile(const char* file) {
    return LooksLikeOpus(file) ? kSurely : kNotMine;
}

SpreadsheetFile* BrukerOPUSFileFactory::GetSpreadsheetFile() {
    return new (std::nothrow) BrukerOPUSFile(false);
}

BrukerOPUSInterpolatedFileFactory::BrukerOPUSInterpolatedFileFactory()
    : SprFileFactory("Bruker OPUS Interpolated File", "Bruker OPUS Interpolated File (*.*)",
                     nullptr, 1, ".*\0", 0, 1, 1, 1, 0, 1) {}

// The plain reader answers "surely" for the same files; this variant is chosen by name.
SprFileFactory::MyKindOfFile BrukerOPUSInterpolatedFileFactory::IsMyKindOfFile(const char* file) {
    return LooksLikeOpus(file) ? kCanRead : kNotMine;
}

SpreadsheetFile* BrukerOPUSInterpolatedFileFactory::GetSpreadsheetFile() {
    return new (std::nothrow) BrukerOPUSFile(true);
}

namespace {
BrukerOPUSFileFactory theBrukerOPUSFileFactory;
BrukerOPUSInterpolatedFileFactory theBrukerOPUSInterpolatedFileFactory;
}  // namespace
