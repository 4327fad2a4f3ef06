// Multivariate-data netCDF files: the sheet of names, decimal times and values.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "formats/spectral/MvaCDFFileReader.h"
#include "formats/spectral/SpectrumSheet.h"
#include "platform/NetCDF.h"
#include "platform/ReadMeter.h"
#include "platform/Translate.h"

namespace {

// Descriptions that name runs of columns by a value scale (a wavelength, say).
struct Description {
    double startColumn, endColumn, startValue, endValue;
};

std::vector<Description> ReadDescriptions(const zm::NetCDF& cdf) {
    std::vector<Description> out;
    const long long count = cdf.DimensionLength("number_variable_descriptions");
    const char* names[] = {"vardescr_startcol", "vardescr_endcol", "vardescr_startval",
                           "vardescr_endval"};
    if (count <= 0 || !cdf.CouldHold(static_cast<uint64_t>(count), 4 * sizeof(double)))
        return out;
    std::vector<double> columns[4];
    for (int k = 0; k < 4; ++k) {
        const int variable = cdf.FindVariable(names[k]);
        std::vector<size_t> shape;
        if (!cdf.VariableShape(variable, shape) || shape.size() != 1 ||
            shape[0] < static_cast<size_t>(count))
            return out;
        columns[k].resize(static_cast<size_t>(count));
        const size_t start[1] = {0};
        const size_t length[1] = {columns[k].size()};
        if (!cdf.Read(variable, start, length, columns[k].data()))
            return out;
    }
    for (size_t i = 0; i < columns[0].size(); ++i)
        out.push_back({columns[0][i], columns[1][i], columns[2][i], columns[3][i]});
    return out;
}

// The heading of 1-based column `column` from the first description that covers it.
bool DescribedHeading(const std::vector<Description>& descriptions, size_t column,
                      std::string& heading) {
    const double c = static_cast<double>(column);
    for (const Description& d : descriptions) {
        if (!(c >= d.startColumn && c <= d.endColumn))
            continue;
        const double span = d.endColumn - d.startColumn;
        const double step = span > 0 ? (d.endValue - d.startValue) / span : 0;
        heading = zm::FormatMessage("%.0f", d.startValue + (c - d.startColumn) * step);
        return true;
    }
    return false;
}

// Whether a value is the file's marker of a missing value, compared in the value's type.
template <typename T>
bool IsMissing(T value, bool missingIsNaN, double marker) {
    if constexpr (std::is_floating_point_v<T>) {
        if (missingIsNaN)
            return std::isnan(value);
        if constexpr (std::is_same_v<T, float>) {
            if (std::fabs(marker) > 3.4028234663852886e38)
                return false;
            return value == static_cast<float>(marker);
        }
        return value == marker;
    } else {
        return !missingIsNaN && static_cast<double>(value) == marker;
    }
}

}  // namespace

int MvaCDFFileReader::ReadSheet(ReadSpreadSheetData* sink) {
    if (GetNumCols() < 0 || GetNumRows() < 0)
        return status;
    if (sink == nullptr)
        return 0;
    int row = 2;
    for (size_t i = 0; i < files_.size(); ++i) {
        failedFile = files_[i].name;  // the one to name should it fail
        const zm::NetCDF cdf(files_[i].name);
        if (!cdf.IsOpen())
            return SetStatus(kNotMvaCDFFile);
        if (i == 0)
            SetHeadings(cdf, sink);
        if (ReadObservations(cdf, files_[i], sink, row) != 0)
            return status;
        zm::ReadMeter::Finished(files_[i].name);
    }
    return status;
}

void MvaCDFFileReader::SetHeadings(const zm::NetCDF& cdf, ReadSpreadSheetData* sink) {
    sink->Set(1, 1, zm::Translate("Name").c_str());
    sink->Set(2, 1, zm::Translate("Decimal Time").c_str());
    const int headers = cdf.FindVariable("column_headers");
    const std::vector<Description> descriptions =
        headers < 0 ? ReadDescriptions(cdf) : std::vector<Description>();
    const size_t variables = files_.front().variables;
    for (size_t v = 0; v < variables; ++v) {
        std::string heading;
        const bool named = headers >= 0 ? cdf.ReadTextRow(headers, v, heading)
                                        : DescribedHeading(descriptions, v + 1, heading);
        if (!named || heading.empty())
            heading = zm::FormatMessage("VAR_%d", v + 1);
        sink->Set(static_cast<int>(v) + 3, 1, heading.c_str());
    }
}

int MvaCDFFileReader::ReadObservations(const zm::NetCDF& cdf, const Layout& layout,
                                       ReadSpreadSheetData* sink, int& row) {
    const int names = cdf.FindVariable("name_of_measurement");
    const int times = cdf.FindVariable("dectime_of_measurement");
    std::vector<size_t> timeShape;
    const bool haveTimes = cdf.VariableShape(times, timeShape) && timeShape.size() == 1;
    for (size_t obs = 0; obs < layout.observations && row <= numRows; ++obs, ++row) {
        std::string name;
        if (names < 0 || !cdf.ReadTextRow(names, obs, name))
            name = zm::FormatMessage("Obs_%d", row - 1);
        sink->Set(1, row, name.c_str());
        double time = 0;
        const size_t start[1] = {obs};
        const size_t count[1] = {1};
        if (haveTimes && obs < timeShape[0] && cdf.Read(times, start, count, &time))
            sink->Set(2, row, zm::FormatMessage("%.7g", time).c_str());
        else
            sink->Set(2, row, zm::Translate("N/A").c_str());
        bool read = false;
        switch (layout.type) {
            case kFloat:
                read = ReadRow<float>(cdf, layout, obs, sink, row);
                break;
            case kDouble:
                read = ReadRow<double>(cdf, layout, obs, sink, row);
                break;
            case kByte:
                // Read as 16-bit so that each byte keeps the sign of its own type: netCDF
                // bytes are signed (-5 is -5), netCDF-4 unsigned bytes are not (251).
                read = ReadRow<int16_t>(cdf, layout, obs, sink, row);
                break;
            case kShort:
                read = ReadRow<int16_t>(cdf, layout, obs, sink, row);
                break;
            case kLong:
                read = ReadRow<int32_t>(cdf, layout, obs, sink, row);
                break;
        }
        if (!read)
            return SetStatus(kNoObservationData);
    }
    return 0;
}

template <typename T>
bool MvaCDFFileReader::ReadRow(const zm::NetCDF& cdf, const Layout& layout, size_t observation,
                               ReadSpreadSheetData* sink, int row) {
    std::vector<size_t> shape;
    if (!cdf.VariableShape(layout.dataVariable, shape) || shape.size() < 2 || shape.size() > 3)
        return false;
    std::vector<size_t> start(shape.size(), 0), count(shape.size(), 1);
    start[0] = observation;
    count.back() = layout.variables;
    std::vector<T> values(layout.variables);
    if (layout.variables > 0 &&
        !cdf.Read(layout.dataVariable, start.data(), count.data(), values.data()))
        return false;
    const size_t n = std::min(values.size(), static_cast<size_t>(std::max(numCols - 2, 0)));
    // Each run between missing values goes out at once; integers keep their own type.
    for (size_t v = 0; v < n; ++v) {
        size_t end = v;
        while (end < n && !IsMissing(values[end], layout.missingIsNaN, layout.missingValue))
            ++end;
        if constexpr (std::is_floating_point_v<T>) {
            zm::WriteNumbersAcross(sink, static_cast<int>(v) + 3, row, values.data() + v, end - v);
        } else {
            for (size_t i = v; i < end; ++i)
                sink->Set(static_cast<int>(i) + 3, row, static_cast<int>(values[i]));
        }
        v = end;
    }
    return true;
}
