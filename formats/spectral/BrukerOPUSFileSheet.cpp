// Bruker OPUS files: the sheet (name rows, one row per file).
#include <algorithm>

#include "formats/spectral/BrukerOPUSFile.h"
#include "formats/spectral/SpectrumSheet.h"
#include "platform/FileNames.h"
#include "platform/Interpolate.h"
#include "platform/Translate.h"

namespace {

constexpr int kLabelColumns = 4;

}  // namespace

int BrukerOPUSFile::ReadSheet(ReadSpreadSheetData* sink) {
    if (GetNumCols() < 0 || GetNumRows() < 0)
        return status;
    if (sink == nullptr)
        return 0;
    // A NaN (a point the instrument did not measure) leaves its cell empty.
    SpectrumSheet sheet(sink, *this, kLabelColumns, numCols, true);
    pointX_.resize(gridX_.size());
    for (size_t i = 0; i < gridX_.size(); ++i)
        pointX_[i] = zm::ClampToFloat(gridX_[i]);
    sheet.SetPoints(pointX_.data(), pointX_.size());
    sheet.SetNameRows({zm::Translate("Primary ID"), zm::Translate("Name"), zm::Translate("Sample"),
                       zm::Translate("Date")},
                      files_.front().block->xUnits);
    int row = sheet.FirstDataRow();
    for (const FileRecord& record : files_) {
        if (SetFileRow(sheet, sink, record, row++) != 0)
            break;
    }
    bytes_.clear();
    return status;
}

int BrukerOPUSFile::SetFileRow(SpectrumSheet& sheet, ReadSpreadSheetData* sink,
                               const FileRecord& record, int row) {
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
        return Fail(kMissingBlock, chosen_ + ", " + record.name, record.name);
    std::vector<double> y;
    if (!zm::opus::ReadSpectrum(bytes_.data(), bytes_.size(), *block, y))
        return Fail(kBadPointCount, record.name, record.name);
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
        return Fail(kDifferentGrids, files_.front().name + ", " + record.name, record.name);
    }
    sheet.BeginRow(row);
    sink->Set(2, row, zm::FileTitle(record.name).c_str());
    sink->Set(3, row, layout.sampleName.c_str());
    sink->Set(4, row, block->date.c_str());
    sheet.AddPoints(y.data(), std::min(y.size(), n));
    return 0;
}
