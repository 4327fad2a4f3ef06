// The spectral sheet: kept x points, name rows and spectrum rows.
#include "formats/spectral/SpectrumSheet.h"

#include <algorithm>

SpectrumSheet::SpectrumSheet(ReadSpreadSheetData* sink, USDBase& constraints, int labelColumns,
                             int columns, bool skipNaN)
    : sink_(sink),
      constraints_(constraints),
      labelColumns_(labelColumns),
      columns_(columns),
      skipNaN_(skipNaN),
      xRow_(constraints.IncludeXAsAnObservation()) {
    if (xRow_ && sink->MapRow(1) != 2) {
        // The sink takes no second name row: the x values stay in the first only.
        constraints.SetIncludeXAsAnObservation(false);
        xRow_ = false;
    }
}

void SpectrumSheet::SetPoints(const float* x, size_t count) {
    x_ = x;
    points_ = count;
    keptX_.clear();
    constraints_.Reset();
    const size_t room = static_cast<size_t>(std::max(columns_ - labelColumns_, 0));
    if (constraints_.KeepsEveryPoint()) {
        // The caller's points as they are: no copy of a long axis.
        kept_ = x;
        keptCount_ = std::min(count, room);
        return;
    }
    for (size_t i = 0; i < count && keptX_.size() < room; ++i) {
        float kept = x[i];
        if (constraints_.IsValid(kept))
            keptX_.push_back(kept);
    }
    kept_ = keptX_.data();
    keptCount_ = keptX_.size();
}

void SpectrumSheet::SetNameRows(const std::vector<std::string>& labels, const std::string& xLabel,
                                bool textHeadings) {
    // Each name row goes out left to right in one pass, so that a sink printing rows as
    // they come never has to go back.
    for (size_t i = 0; i < labels.size(); ++i)
        sink_->Set(static_cast<int>(i) + 1, 1, labels[i].c_str());
    const int first = labelColumns_ + 1;
    if (xRow_ || textHeadings) {
        // A chromatogram may have millions of columns: the sink takes their x values
        // at once and may make the texts only when they are read.
        sink_->SetHeadingsAcross(first, 1, "t ", kept_, keptCount_);
    } else {
        zm::WriteNumbersAcross(sink_, first, 1, kept_, keptCount_);
    }
    if (!xRow_)
        return;
    sink_->Set(1, 2, 1);
    sink_->Set(2, 2, xLabel.c_str());
    zm::WriteNumbersAcross(sink_, first, 2, kept_, keptCount_);
}

void SpectrumSheet::BeginRow(int row) {
    row_ = row;
    col_ = labelColumns_ + 1;
    point_ = 0;
    constraints_.Reset();
    sink_->Set(1, row, row - 1);
}

template <typename T>
void SpectrumSheet::Add(const T* y, size_t count, std::vector<T>& run) {
    const int first = col_;
    if (constraints_.KeepsEveryPoint()) {
        // Every point has a column of its own: the values go out as they are.
        const size_t room = static_cast<size_t>(std::max(columns_ - col_ + 1, 0));
        const size_t n = std::min(count, room);
        zm::WriteNumbersAcross(sink_, first, row_, y, n, skipNaN_);
        col_ += static_cast<int>(n);
        point_ += count;
        return;
    }
    run.clear();
    const size_t n = std::min(count, points_ > point_ ? points_ - point_ : 0);
    for (size_t i = 0; i < n; ++i) {
        float x = x_[point_ + i];
        float value = static_cast<float>(y[i]);
        if (!constraints_.IsValid(x, value))
            continue;
        if (col_ <= columns_)
            run.push_back(static_cast<T>(value));
        ++col_;
    }
    point_ += count;
    zm::WriteNumbersAcross(sink_, first, row_, run.data(), run.size(), skipNaN_);
}

template void SpectrumSheet::Add(const float*, size_t, std::vector<float>&);
template void SpectrumSheet::Add(const double*, size_t, std::vector<double>&);
