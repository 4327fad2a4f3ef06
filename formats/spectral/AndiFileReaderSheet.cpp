// ANDI/AIA chromatograms: the sheet, one row per selected file.
#include <algorithm>

#include "formats/spectral/AndiFileReader.h"
#include "formats/spectral/SpectrumSheet.h"
#include "platform/FileNames.h"
#include "platform/NetCDF.h"
#include "platform/ReadMeter.h"
#include "platform/Translate.h"

namespace {

// Detector values are read this many at a time.
constexpr size_t kChunk = 65536;

}  // namespace

int AndiFileReader::ReadSheet(ReadSpreadSheetData* sink) {
    if (GetNumCols() < 0 || GetNumRows() < 0)
        return status;
    if (sink == nullptr || numCols == 0)
        return 0;  // no time point kept: nothing to write
    // The sink may take no second name row: the retention times then stay in the
    // headings, which are "t" headings either way.
    SpectrumSheet sheet(sink, *this, 2, numCols);
    gridX_.Truncate(0);
    float* grid = gridX_.Extend(static_cast<size_t>(points_));
    GridPoints(grid, gridX_.Size());
    sheet.SetPoints(grid, gridX_.Size());
    sheet.SetNameRows({zm::Translate("Primary ID"), zm::Translate("Name")},
                      zm::FormatMessage(zm::Translate("Retention Time(%1%)"), retentionUnit_),
                      true);
    int row = sheet.FirstDataRow();
    for (const FileInfo& file : files_) {
        if (!file.selected || row > numRows)
            continue;
        failedFile = file.name;  // the one to name should it fail
        const zm::NetCDF cdf(file.name);
        if (!cdf.IsOpen())
            return SetStatus(kReadFailed);
        sheet.BeginRow(row);
        const std::string name =
            zm::FormatMessage("%1%: %2%", zm::FileTitle(file.name), file.sampleName);
        sink->Set(2, row, name.c_str());
        if (ReadNetCDFFile(cdf, file, sheet) != 0)
            return status;
        zm::ReadMeter::Finished(file.name);
        ++row;
    }
    return status;
}

int AndiFileReader::ReadNetCDFFile(const zm::NetCDF& cdf, const FileInfo& file,
                                   SpectrumSheet& sheet) {
    const int ordinate = cdf.FindVariable("ordinate_values");
    std::vector<size_t> shape;
    if (!cdf.VariableShape(ordinate, shape) || shape.size() != 1)
        return SetStatus(kAttributeError);
    // The header may have changed since Open: only the points there are columns for.
    const size_t points = std::min<size_t>(
        {shape[0], static_cast<size_t>(file.points), static_cast<size_t>(points_)});
    for (size_t from = 0; from < points; from += kChunk) {
        const size_t start[1] = {from};
        const size_t count[1] = {std::min(kChunk, points - from)};
        chunk_.resize(count[0]);
        if (!cdf.Read(ordinate, start, count, chunk_.data()))
            return SetStatus(kAttributeError);
        sheet.AddPoints(chunk_.data(), count[0]);
    }
    return 0;
}
