// The sheet the spectral readers write: label columns on the left, one column per kept
// x point, a name row and optionally a row of x values above one row per spectrum.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "formats/spectral/USDBase.h"
#include "framework/SpreadSheetData.h"
#include "platform/ZmExport.h"

namespace zm {

// Writes `count` numbers across `row` from `col` on: each run of finite numbers through
// the sink's bulk call, any other number on its own (a NaN not at all when `skipNaN`),
// so that an infinity or a NaN reaches the sink as a cell of its own.
template <typename T>
void WriteNumbersAcross(ReadSpreadSheetData* sink, int col, int row, const T* values, size_t count,
                        bool skipNaN = false) {
    // Spectra rarely hold a value that is not finite: blocks of them are looked at whole,
    // without a branch per value.
    constexpr size_t kBlock = 16;
    using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
    constexpr Bits kExponent = static_cast<Bits>(sizeof(T) == 4 ? 0x7F800000 : 0x7FF0000000000000);
    const auto blockFinite = [kExponent](const T* block) {
        Bits infinite = 0;  // an exponent of all ones: infinity or NaN
        for (size_t k = 0; k < kBlock; ++k) {
            Bits bits;
            std::memcpy(&bits, block + k, sizeof bits);
            infinite |= (bits & kExponent) == kExponent;
        }
        return infinite == 0;
    };
    size_t i = 0;
    while (i < count) {
        size_t end = i;
        while (count - end >= kBlock && blockFinite(values + end))
            end += kBlock;
        while (end < count && std::isfinite(values[end]))
            ++end;
        if (end > i)
            sink->SetNumbersAcross(col + static_cast<int>(i), row, values + i, end - i);
        if (end < count && !(skipNaN && std::isnan(values[end])))
            sink->Set(col + static_cast<int>(end), row, values[end]);
        i = end + 1;
    }
}

// A double as the nearest float, the largest float for anything beyond it.
inline float ClampToFloat(double x) {
    return static_cast<float>(
        std::fmax(-3.4028234663852886e38, std::fmin(x, 3.4028234663852886e38)));
}

}  // namespace zm

// Writes one spectral sheet. The constraints choose the x points kept and average runs
// of them; every spectrum is written at the kept points only, as many as the sheet has
// columns for. Row 1 names the label columns and heads the x columns: with the x row,
// each heading is "t" and the x as "%g" writes it and row 2 holds 1, the x axis's name
// and the x values; without it, row 1 holds the x values themselves (or still the "t"
// headings, for readers whose headings are always texts).
class ZMIMPORT_API SpectrumSheet {
  public:
    // `columns` is the sheet's width; the x columns follow `labelColumns` label columns.
    // A sink that maps row 1 elsewhere takes no x row: the constraints then say so too.
    // With `skipNaN`, a NaN value leaves its cell empty.
    SpectrumSheet(ReadSpreadSheetData* sink, USDBase& constraints, int labelColumns, int columns,
                  bool skipNaN = false);

    bool HasXRow() const { return xRow_; }
    int FirstDataRow() const { return xRow_ ? 3 : 2; }

    // The x of every point of the spectra (held by the caller while the sheet is written);
    // keeps those the constraints let through.
    void SetPoints(const float* x, size_t count);
    void SetNameRows(const std::vector<std::string>& labels, const std::string& xLabel,
                     bool textHeadings = false);

    // Starts a spectrum's row: its number (row - 1) in column 1; the caller writes the
    // other label columns.
    void BeginRow(int row);
    // The next `count` points of the row's spectrum.
    void AddPoints(const float* y, size_t count) { Add(y, count, floatRun_); }
    void AddPoints(const double* y, size_t count) { Add(y, count, doubleRun_); }

  private:
    template <typename T>
    void Add(const T* y, size_t count, std::vector<T>& run);

    ReadSpreadSheetData* sink_;
    USDBase& constraints_;
    int labelColumns_;
    int columns_;
    bool skipNaN_;
    bool xRow_;
    const float* x_ = nullptr;
    size_t points_ = 0;
    // The x of the kept points: the caller's own when every point is kept, else keptX_.
    const float* kept_ = nullptr;
    size_t keptCount_ = 0;
    std::vector<float> keptX_;
    // Where the row being written stands: its number, next column and next point.
    int row_ = 0;
    int col_ = 0;
    size_t point_ = 0;
    std::vector<float> floatRun_;
    std::vector<double> doubleRun_;
};
