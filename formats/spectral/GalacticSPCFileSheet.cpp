// Galactic SPC files: the sheet (name rows, one row per sub-file), unit texts and dates.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

#include "formats/spectral/GalacticSPCFile.h"
#include "formats/spectral/SpectrumSheet.h"
#include "platform/FileNames.h"
#include "platform/ReadMeter.h"
#include "platform/Translate.h"

namespace {

// Z type codes whose values are times, and the milliseconds of one unit.
constexpr int kSeconds = 4;
constexpr int kMinutes = 5;
constexpr int kHours = 30;

double MillisecondsPerUnit(int zType) {
    switch (zType) {
        case kSeconds:
            return 1e3;
        case kMinutes:
            return 6e4;
        case kHours:
            return 3.6e6;
        default:
            return 0;
    }
}

// Beyond this (about 285,000 years) a time is shown as the plain z value.
constexpr double kLongestTime = 9e15;

struct PackedDate {
    int year, month, day, hour, minute;
};

// Bits 0-5 minutes, 6-10 hours, 11-15 day, 16-19 month, 20-31 year.
PackedDate Unpack(uint32_t packed) {
    return {static_cast<int>(packed >> 20), static_cast<int>((packed >> 16) & 0x0F),
            static_cast<int>((packed >> 11) & 0x1F), static_cast<int>((packed >> 6) & 0x1F),
            static_cast<int>(packed & 0x3F)};
}

bool IsRealDate(const PackedDate& d) {
    return d.year > 0 && d.month >= 1 && d.month <= 12 && d.day >= 1 &&
           d.day <= GalacticSPCFile::GetDaysInMonth(d.day, d.month, d.year) && d.hour < 24 &&
           d.minute < 60;
}

// The header date advanced by `ms` milliseconds (not negative), carrying seconds into
// minutes, hours, days, months and years.
std::string AdvancedDate(PackedDate d, long long ms) {
    const int millisecond = static_cast<int>(ms % 1000);
    long long rest = ms / 1000;
    const int second = static_cast<int>(rest % 60);
    rest = rest / 60 + d.minute;
    d.minute = static_cast<int>(rest % 60);
    rest = rest / 60 + d.hour;
    d.hour = static_cast<int>(rest % 24);
    long long day = rest / 24 + d.day;
    while (day > GalacticSPCFile::GetDaysInMonth(static_cast<int>(std::min<long long>(day, 99)),
                                                 d.month, d.year)) {
        day -= GalacticSPCFile::GetDaysInMonth(31, d.month, d.year);
        if (++d.month > 12) {
            d.month = 1;
            ++d.year;
        }
    }
    d.day = static_cast<int>(day);
    return zm::FormatMessage("%1$04d-%2$02d-%3$02d %4$02d:%5$02d:%6$02d.%7$03d", d.year, d.month,
                             d.day, d.hour, d.minute, second, millisecond);
}

// An elapsed time in the shortest of the forms that holds it; above 30 days the days
// are split into months of 30 days.
std::string ElapsedTime(long long ms) {
    const char* sign = ms < 0 ? "-" : "";
    ms = ms < 0 ? -ms : ms;
    const long long millisecond = ms % 1000;
    const long long seconds = ms / 1000;
    const long long s = seconds % 60, m = seconds / 60 % 60, h = seconds / 3600 % 24;
    const long long days = seconds / 86400;
    std::string text;
    if (seconds < 60)
        text = zm::FormatMessage("%1$02d.%2$03d", s, millisecond);
    else if (seconds < 3600)
        text = zm::FormatMessage("%1$02d:%2$02d.%3$03d", m, s, millisecond);
    else if (days == 0)
        text = zm::FormatMessage("%1$02d:%2$02d:%3$02d.%4$03d", h, m, s, millisecond);
    else if (days < 30)
        text = zm::FormatMessage("%1$02d %2$02d:%3$02d:%4$02d.%5$03d", days, h, m, s, millisecond);
    else
        text = zm::FormatMessage("%1$02d-%2$02d %3$02d:%4$02d:%5$02d.%6$03d", days / 30, days % 30,
                                 h, m, s, millisecond);
    return sign + text;
}

// Units go through the catalogue, except those with a degree sign: catalogue keys are
// plain ASCII.
std::string UnitText(const char* text) {
    if (*text == '\0')
        return std::string();
    for (const char* p = text; *p != '\0'; ++p) {
        if (static_cast<unsigned char>(*p) >= 0x80)
            return text;
    }
    return zm::Translate(text);
}

}  // namespace

int GalacticSPCFile::GetDaysInMonth(int day, int month, int year) {
    if (day < 28)
        return day;
    switch (month) {
        case 1:
        case 3:
        case 5:
        case 7:
        case 8:
        case 10:
        case 12:
            return 31;
        case 4:
        case 6:
        case 9:
        case 11:
            return 30;
        case 2:
            return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 29 : 28;
        default:
            return -1;
    }
}

std::string GalacticSPCFile::XTypeText(int code) {
    // clang-format off
    static const char* const kTexts[] = {
        "", "cm-1", "um", "nm", "Sec", "Min", "Hz", "KHz", "MHz", "M/z", "PPM", "Days", "Years",
        "Raman Shift (cm-1)", "eV", "", "Diod Number", "Channel", "Degrees",
        "\xC2\xB0" "F", "\xC2\xB0" "C", "\xC2\xB0" "K", "Data Points", "mSec", "uSec", "nSec",
        "GHz", "cm", "m", "mm", "Hours"};
    // clang-format on
    if (code < 0 || code >= static_cast<int>(std::size(kTexts)))
        return std::string();
    return UnitText(kTexts[code]);
}

int GalacticSPCFile::RereadHeaders() {
    xValues_.clear();
    for (size_t i = files_.size(); i-- > 0;) {
        // Backwards, so that the first file's header is the one in force afterwards.
        FileRecord record;
        failedFile = files_[i].name;  // the one to name should it fail
        FilePtr file(std::fopen(files_[i].name.c_str(), "rb"));
        if (!file)
            return SetStatus(kReadFailed);
        const int code = ReadHeaderInfo(file.get(), record);
        if (code != 0)
            return SetStatus(code);
    }
    return 0;
}

int GalacticSPCFile::ReadSheet(ReadSpreadSheetData* sink) {
    if (CheckFiles() != 0)
        return status;
    if (GetNumCols() < 0 || GetNumRows() < 0)
        return status;
    if (sink == nullptr || numCols == 0)
        return 0;  // no x point kept: nothing to write
    if (RereadHeaders() != 0)
        return status;

    SpectrumSheet sheet(sink, *this, 3, numCols);
    // The x of each point: the shared array when it covers every point, else the grid.
    const auto n = static_cast<size_t>(points_);
    columnX_.resize(n);
    const bool useArray = !oldFormat_ && xValues_.size() == n;
    for (size_t i = 0; i < n; ++i) {
        columnX_[i] =
            useArray ? xValues_[i] : zm::ClampToFloat(firstX_ + static_cast<double>(i) * spacing_);
    }
    sheet.SetPoints(columnX_.data(), n);
    sheet.SetNameRows({zm::Translate("Primary ID"), zm::Translate("Name"), ZHeading()}, xLabel_);
    int row = sheet.FirstDataRow();
    for (const FileRecord& record : files_) {
        failedFile = record.name;
        if (SetFileRows(sheet, sink, record, row) != 0)
            break;
    }
    return status;
}

std::string GalacticSPCFile::ZHeading() const {
    const int zType = typeCodes_[2];
    if (MillisecondsPerUnit(zType) != 0)
        return zm::Translate("Date");
    const std::string unit = XTypeText(zType);
    return unit.empty() ? std::string("Z") : unit;
}

int GalacticSPCFile::SetFileRows(SpectrumSheet& sheet, ReadSpreadSheetData* sink,
                                 const FileRecord& record, int& row) {
    FilePtr file(std::fopen(record.name.c_str(), "rb"));
    if (!file)
        return SetStatus(kReadFailed);
    // Sub-files are read block by block: a large stream buffer saves a system call or two
    // per sub-file. The buffer outlives the stream, which is closed on return.
    if (!readBuffer_)
        readBuffer_.reset(new char[kReadBufferSize]);
    std::setvbuf(file.get(), readBuffer_.get(), _IOFBF, kReadBufferSize);
    FileRecord now;
    int code = ReadHeaderInfo(file.get(), now);
    if (code != 0)
        return SetStatus(code);
    const std::string title = zm::FileTitle(record.name);
    const bool multiSpectrum = now.subFiles >= 2;
    // Only as many points as there are columns for: the header may have changed since.
    const int32_t points = std::min(now.points, points_);
    // Sub-file rows are named title_1, title_2, ...: the number is written after the
    // title's "_" in place.
    std::string name = multiSpectrum ? title + "_" : title;
    const size_t stem = name.size();
    for (int32_t sub = 0; sub < now.subFiles && row <= numRows; ++sub, ++row) {
        code = ReadSubHeaderInfo(file.get());
        if (code == 0)
            code = ReadValues(file.get(), now.points);
        if (code != 0)
            return SetStatus(code);
        sheet.BeginRow(row);
        if (multiSpectrum) {
            char digits[16];
            const auto end = std::to_chars(digits, digits + sizeof digits, sub + 1).ptr;
            name.replace(stem, std::string::npos, digits, static_cast<size_t>(end - digits));
        }
        sink->Set(2, row, name.c_str());
        SetDateCell(sink, row, multiSpectrum);
        sheet.AddPoints(values_.data(), static_cast<size_t>(std::max(points, 0)));
    }
    zm::ReadMeter::Finished(record.name);
    return 0;
}

void GalacticSPCFile::SetDateCell(ReadSpreadSheetData* sink, int row, bool multiSpectrum) const {
    const PackedDate date = Unpack(date_);
    const double unit = MillisecondsPerUnit(typeCodes_[2]);
    const double z = currentZ_;
    if (unit != 0 && !oldFormat_) {
        const double ms = std::round(z * unit);
        if (!(std::fabs(ms) < kLongestTime)) {
            sink->Set(3, row, z);
        } else if (IsRealDate(date) && ms >= 0) {
            sink->Set(3, row, AdvancedDate(date, static_cast<long long>(ms)).c_str());
        } else {
            sink->Set(3, row, ElapsedTime(static_cast<long long>(ms)).c_str());
        }
        return;
    }
    // Z in other units (a position, a wavelength) is a plain number; a single spectrum
    // shows when it was measured.
    if (multiSpectrum && currentZ_ != -1)
        sink->Set(3, row, z);
    else if (IsRealDate(date))
        sink->Set(3, row, AdvancedDate(date, 0).c_str());
}
