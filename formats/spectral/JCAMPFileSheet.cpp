// JCAMP-DX files: resampling onto one x axis, the sheet, the block list and dates.
#include <boost/date_time/gregorian/gregorian.hpp>
#include <charconv>
#include <cmath>

#include "formats/spectral/JCAMPFile.h"
#include "formats/spectral/SpectrumSheet.h"
#include "platform/ErrorText.h"
#include "platform/Interpolate.h"
#include "platform/Translate.h"

int JCAMPFile::ResampleSelection() {
    if (series_.empty())
        return SetStatus(kNoBlocksSelected);
    if (!xRangesDiffer_ && !pointNumbersDiffer_) {
        columnX_ = series_.front().XVector();
        return 0;
    }
    // The reference: the series-th selected page of the file-th file.
    int file = 0, wanted = 0;
    GetInterPolationIndeces(file, wanted);
    const Series* reference = nullptr;
    int seen = 0;
    for (const Series& series : series_) {
        if (blocks_[static_cast<size_t>(series.block)].file == file && seen++ == wanted) {
            reference = &series;
            break;
        }
    }
    if (reference == nullptr) {
        errorFile_ = file >= 0 && file < static_cast<int>(files_.size()) ? file : -1;
        return SetStatus(kBadSeries);
    }
    columnX_ = reference->XVector();
    // The other rows are resampled as they are written, one row at a time: held resampled,
    // a few hundred short spectra on the axis of a long one would each take the long
    // one's size.
    for (Series& series : series_)
        series.resample = &series != reference;
    return 0;
}

std::string JCAMPFile::RowLabel(const Series& series) const {
    const Block& block = blocks_[static_cast<size_t>(series.block)];
    const Page& page = block.pages[static_cast<size_t>(series.page)];
    // Put together directly: a formatted message costs a stream and its locale per row.
    std::string label = FilePrefix(block.file);
    label += block.title;
    if (!page.text.empty()) {
        label += " : ";
        label += page.text;
    }
    return label;
}

int JCAMPFile::ReadSheet(ReadSpreadSheetData* sink) {
    if (GetNumCols() < 0 || GetNumRows() < 0)
        return status;
    if (sink == nullptr)
        return 0;
    // Row 1: the x of each column; then one row per page of each selected block.
    zm::WriteNumbersAcross(sink, 2, 1, columnX_.data(), columnX_.size());
    int row = 2;
    std::vector<double> resampled;
    for (const Series& series : series_) {
        sink->Set(1, row, RowLabel(series).c_str());
        const double* y = Y(series);
        if (series.resample) {
            resampled = zm::InterpolateVector(series.XVector(),
                                              std::vector<double>(y, y + series.count), columnX_);
            y = resampled.data();
        }
        const size_t n =
            std::min(series.resample ? resampled.size() : series.count, columnX_.size());
        // A NaN is a value the block leaves out ("?"): its cell stays empty.
        zm::WriteNumbersAcross(sink, 2, row, y, n, true);
        ++row;
    }
    return status;
}

void JCAMPFile::GetJCAMPBlockList(std::vector<std::string>& list) const {
    list.clear();
    for (const Block& block : blocks_) {
        int32_t points = block.numPoints;
        for (const Page& page : block.pages)
            points = page.points > 0 ? page.points : points;
        const size_t rows = block.pages.size();
        if (files_.size() > 1) {
            list.push_back(zm::FormatMessage("%1%%2%, %3%x%4% obs, %5%", FilePrefix(block.file),
                                             block.dataType, rows, points, block.title));
        } else {
            list.push_back(zm::FormatMessage("%1%, %2%x%3% obs, %4%", block.dataType, rows, points,
                                             block.title));
        }
    }
}

void JCAMPFile::GetTitle(char* buffer, unsigned int bufferSize) const {
    zm::CopyErrorText(files_.size() > 1 ? zm::Translate("File, datatype, size of dataset, title.")
                                        : zm::Translate("Data type, size of dataset, title."),
                      buffer, bufferSize);
}

namespace {

// The numbers of a date or time text, at most `n` of them ("98/05/21", "12:30:05").
int SplitNumbers(const std::string& text, int* numbers, int n) {
    int found = 0;
    const char* p = text.data();
    const char* end = p + text.size();
    while (p < end && found < n) {
        if (*p < '0' || *p > '9') {
            ++p;
            continue;
        }
        int value = 0;
        const auto [next, ec] = std::from_chars(p, end, value);
        if (ec != std::errc())
            return found;
        numbers[found++] = value;
        p = next;
    }
    return found;
}

}  // namespace

bool JCAMPFile::GetDateCreated(boost::posix_time::ptime& date) const {
    const Block* block = nullptr;
    for (const Block& b : blocks_) {
        if (b.selected) {
            block = &b;
            break;
        }
    }
    if (block == nullptr || block->date.empty())
        return false;
    // "YY/MM/DD" or "YYYY/MM/DD"; a four-digit last part is a year: "DD/MM/YYYY".
    int d[3] = {0, 0, 0};
    if (SplitNumbers(block->date, d, 3) != 3)
        return false;
    int year = d[0], month = d[1], day = d[2];
    if (d[2] >= 1000) {
        year = d[2];
        day = d[0];
    }
    if (year < 100)
        year += year < 70 ? 2000 : 1900;
    int t[3] = {0, 0, 0};
    SplitNumbers(block->time, t, 3);
    try {
        date = boost::posix_time::ptime(boost::gregorian::date(static_cast<unsigned short>(year),
                                                               static_cast<unsigned short>(month),
                                                               static_cast<unsigned short>(day)),
                                        boost::posix_time::time_duration(t[0], t[1], t[2]));
        return t[0] < 24 && t[1] < 60 && t[2] < 61;
    } catch (const std::exception&) {
        return false;
    }
}
