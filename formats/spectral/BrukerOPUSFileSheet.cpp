// Bruker OPUS files: the sheet (name rows, one row per file).
#include <cmath>

#include "formats/spectral/BrukerOPUSFile.h"
#include "platform/FileNames.h"
#include "platform/FloatText.h"
#include "platform/Interpolate.h"
#include "platform/Translate.h"

namespace {

constexpr int kLabelColumns = 4;

float ToFloat(double x) {
    return static_cast<float>(
        std::fmax(-3.4028234663852886e38, std::fmin(x, 3.4028234663852886e38)));
}

}  // namespace

int BrukerOPUSFile::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    try {
        return ReadSheet(sink);
    } catch (...) {
        return SetUnknownException();
    }
}

int BrukerOPUSFile::ReadSheet(ReadSpreadSheetData* sink) {
    if (GetNumCols() < 0 || GetNumRows() < 0)
        return status;
    if (sink == nullptr)
        return 0;
    bool includeX = IncludeXAsAnObservation();
    if (includeX && sink->MapRow(1) != 2) {
        // The sink takes no second name row: the x values stay in the first only.
        SetIncludeXAsAnObservation(false);
        includeX = false;
    }
    SetNameRows(sink, includeX);
    int row = includeX ? 3 : 2;
    for (const FileRecord& record : files_) {
        if (SetFileRow(sink, record, row++) != 0)
            break;
    }
    bytes_.clear();
    return status;
}

void BrukerOPUSFile::SetNameRows(ReadSpreadSheetData* sink, bool includeX) {
    keptX_.clear();
    Reset();
    for (double value : gridX_) {
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
    sink->Set(4, 1, zm::Translate("Date").c_str());
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
    sink->Set(2, 2, files_.front().block->xUnits.c_str());
    col = kLabelColumns + 1;
    for (float x : keptX_)
        sink->Set(col++, 2, x);
}

int BrukerOPUSFile::SetFileRow(ReadSpreadSheetData* sink, const FileRecord& record, int row) {
    // The file is read and parsed again: it may have changed since it was opened.
    if (LoadFile(record.name, bytes_) != 0)
        return status;
    zm::opus::FileLayout layout;
    const zm::opus::LayoutError error = zm::opus::ParseLayout(bytes_.data(), bytes_.size(), layout);
    const zm::opus::SpectrumBlock* block = nullptr;
    for (const zm::opus::SpectrumBlock& candidate : layout.spectra) {
        if (candidate.name == chosen_)
            block = &candidate;
    }
    if (error != zm::opus::LayoutError::kNone || block == nullptr)
        return Fail(kMissingBlock, chosen_ + ", " + record.name);
    std::vector<double> y;
    if (!zm::opus::ReadSpectrum(bytes_.data(), bytes_.size(), *block, y))
        return Fail(kBadPointCount, record.name);
    const size_t n = gridX_.size();
    if (interpolate_ && &record != &files_.front()) {
        std::vector<double> x(y.size());
        for (size_t i = 0; i < x.size(); ++i) {
            x[i] = block->points < 2
                       ? block->firstX
                       : block->firstX + (block->lastX - block->firstX) * static_cast<double>(i) /
                                             (block->points - 1);
        }
        y = zm::InterpolateVector(x, y, gridX_);
    } else if (y.size() != n) {
        return Fail(kDifferentGrids, files_.front().name + ", " + record.name);
    }
    sink->Set(1, row, row - 1);
    sink->Set(2, row, zm::FileTitle(record.name).c_str());
    sink->Set(3, row, layout.sampleName.c_str());
    sink->Set(4, row, block->date.c_str());
    Reset();
    int col = kLabelColumns + 1;
    const bool keepAll = KeepsEveryPoint();
    for (size_t i = 0; i < n && col <= numCols; ++i) {
        float x = ToFloat(gridX_[i]);
        float value = static_cast<float>(y[i]);
        if (!keepAll && !IsValid(x, value))
            continue;
        if (!std::isnan(value))
            sink->Set(col, row, keepAll ? y[i] : static_cast<double>(value));
        ++col;
    }
    return 0;
}
