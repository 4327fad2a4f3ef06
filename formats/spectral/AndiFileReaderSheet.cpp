// ANDI/AIA chromatograms: the sheet, one row per selected file.
#include <algorithm>

#include "formats/spectral/AndiFileReader.h"
#include "platform/FileNames.h"
#include "platform/FloatText.h"
#include "platform/NetCDF.h"
#include "platform/Translate.h"

namespace {

// Detector values are read this many at a time.
constexpr size_t kChunk = 65536;

// A buffer holding "t " and the retention time with six significant digits, as "%g"
// writes it: a chromatogram may have millions of columns, so the heading is written
// without a formatter object or a string per column.
struct Heading {
    explicit Heading(float x) { zm::FormatG6(x, text + 2); }
    char text[34] = {'t', ' '};
};

}  // namespace

int AndiFileReader::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    try {
        return ReadSheet(sink);
    } catch (...) {
        // The file's faults are codes; only the sink or the allocator can throw here.
        return SetUnknownException();
    }
}

int AndiFileReader::ReadSheet(ReadSpreadSheetData* sink) {
    if (GetNumCols() < 0 || GetNumRows() < 0)
        return status;
    if (sink == nullptr || numCols == 0)
        return 0;  // no time point kept: nothing to write
    bool includeX = IncludeXAsAnObservation();
    if (includeX && sink->MapRow(1) != 2) {
        // The sink takes no second name row: the retention times stay in the headings.
        SetIncludeXAsAnObservation(false);
        includeX = false;
    }
    SetNameRows(sink, includeX);
    int row = includeX ? 3 : 2;
    for (const FileInfo& file : files_) {
        if (!file.selected || row > numRows)
            continue;
        failedFile = file.name;  // the one to name should it fail
        const zm::NetCDF cdf(file.name);
        if (!cdf.IsOpen())
            return SetStatus(kReadFailed);
        sink->Set(1, row, row - 1);
        const std::string name =
            zm::FormatMessage("%1%: %2%", zm::FileTitle(file.name), file.sampleName);
        sink->Set(2, row, name.c_str());
        if (ReadNetCDFFile(cdf, file, sink, row) != 0)
            return status;
        ++row;
    }
    return status;
}

void AndiFileReader::SetNameRows(ReadSpreadSheetData* sink, bool includeX) {
    sink->Set(1, 1, zm::Translate("Primary ID").c_str());
    sink->Set(2, 1, zm::Translate("Name").c_str());
    SetGridRow(sink, 1, true);
    if (includeX) {
        // The second row after the first, so that a sink printing rows as they come
        // never has to go back.
        sink->Set(1, 2, 1);
        const std::string heading =
            zm::FormatMessage(zm::Translate("Retention Time(%1%)"), retentionUnit_);
        sink->Set(2, 2, heading.c_str());
        SetGridRow(sink, 2, false);
    }
}

void AndiFileReader::SetGridRow(ReadSpreadSheetData* sink, int row, bool headings) {
    Reset();
    const bool keepAll = KeepsEveryPoint();
    int col = 3;
    for (long long i = 0; i < points_ && col <= numCols; ++i) {
        float x = GridPoint(i);
        if (!keepAll && !IsValid(x))
            continue;
        if (headings)
            sink->Set(col, row, Heading(x).text);
        else
            sink->Set(col, row, x);
        ++col;
    }
}

int AndiFileReader::ReadNetCDFFile(const zm::NetCDF& cdf, const FileInfo& file,
                                   ReadSpreadSheetData* sink, int row) {
    const int ordinate = cdf.FindVariable("ordinate_values");
    std::vector<size_t> shape;
    if (!cdf.VariableShape(ordinate, shape) || shape.size() != 1)
        return SetStatus(kAttributeError);
    // The header may have changed since Open: only the points there are columns for.
    const size_t points = std::min<size_t>(
        {shape[0], static_cast<size_t>(file.points), static_cast<size_t>(points_)});
    Reset();
    int col = 3;
    for (size_t from = 0; from < points; from += kChunk) {
        const size_t start[1] = {from};
        const size_t count[1] = {std::min(kChunk, points - from)};
        chunk_.resize(count[0]);
        if (!cdf.Read(ordinate, start, count, chunk_.data()))
            return SetStatus(kAttributeError);
        if (KeepsEveryPoint()) {
            // Every point is a column: no grid position to test.
            const size_t room = static_cast<size_t>(std::max(numCols - col + 1, 0));
            const size_t last = std::min(count[0], room);
            for (size_t i = 0; i < last; ++i)
                sink->Set(col++, row, chunk_[i]);
            continue;
        }
        for (size_t i = 0; i < count[0]; ++i) {
            float x = GridPoint(static_cast<long long>(from + i));
            float y = chunk_[i];
            if (!IsValid(x, y))
                continue;
            if (col <= numCols)
                sink->Set(col, row, y);
            ++col;
        }
    }
    return 0;
}
