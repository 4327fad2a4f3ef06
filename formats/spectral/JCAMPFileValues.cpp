// JCAMP-DX files: values (AFFN, PAC, SQZ, DIF, DUP) and the data of the selected blocks.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "formats/spectral/JCAMPFile.h"
#include "formats/spectral/JCAMPText.h"
#include "formats/spectral/SpectralCompare.h"
#include "platform/Translate.h"

using zm::jcamp::EndsData;
using zm::jcamp::IsBlank;
using zm::jcamp::NextLine;
using zm::jcamp::WithoutComment;

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsDupCharacter(char c) {
    return (c >= 'S' && c <= 'Z') || c == 's';
}

// The most values one block may hold: what its text can spell without repeat counts,
// or what "##NPOINTS=" announces, up to 16 million points either way. A repeat count
// claiming billions of points stops here rather than at the allocator.
constexpr size_t kMostAnnounced = size_t{1} << 24;

size_t MostValues(size_t textBytes, int32_t announced) {
    const size_t fromText = std::min(textBytes, kMostAnnounced);
    const size_t fromLabel = announced > 0 ? std::min<size_t>(announced, kMostAnnounced) : 0;
    return std::max(fromText, fromLabel) + 1024;
}

enum Warning { kNoWarning = 0, kYCheckFailed = 1, kMoreValues = 2, kFewerValues = 3 };

}  // namespace

int JCAMPFile::ReadNextValue(std::string_view line, size_t& pos, double& value, int& count,
                             bool& missing, bool plainOnly) {
    const size_t size = line.size();
    missing = false;
    count = 1;
    value = 0;
    while (pos < size && IsBlank(line[pos]))
        ++pos;
    if (pos >= size) {
        count = 0;
        return 0;
    }
    char c = line[pos];
    const bool digitNext = pos + 1 < size && IsDigit(line[pos + 1]);
    if (c == '?' || (c == ',' && (plainOnly || !digitNext))) {
        // A missing value.
        missing = true;
        value = std::numeric_limits<double>::quiet_NaN();
        ++pos;
    } else {
        if (plainOnly && !IsDigit(c) && c != '+' && c != ',' && c != '-' && c != '.' && c != 'E' &&
            c != 'e')
            return kInvalidCharacter;
        // The number's text, rebuilt for a locale-independent parse: sign, digits,
        // point, fraction, exponent.
        char text[64];
        size_t length = 0;
        bool difference = false;
        bool negative = false;
        if (c == '@') {
            text[length++] = '0';
        } else if (c >= 'A' && c <= 'I') {
            text[length++] = static_cast<char>('1' + (c - 'A'));
        } else if (c >= 'a' && c <= 'i') {
            negative = true;
            text[length++] = static_cast<char>('1' + (c - 'a'));
        } else if (c == '%') {
            difference = true;
            text[length++] = '0';
        } else if (c >= 'J' && c <= 'R') {
            difference = true;
            text[length++] = static_cast<char>('1' + (c - 'J'));
        } else if (c >= 'j' && c <= 'r') {
            difference = negative = true;
            text[length++] = static_cast<char>('1' + (c - 'j'));
        } else if (c == '+' || c == '-') {
            const char next = pos + 1 < size ? line[pos + 1] : '\0';
            if (!IsDigit(next) && next != '.' && next != ',')
                return kIllegalCharacter;
            negative = c == '-';
        } else if (c == '.' || c == ',') {
            --pos;  // the point is read below
        } else if (!IsDigit(c)) {
            return kIllegalCharacter;
        } else {
            --pos;
        }
        ++pos;
        size_t digits = length;
        while (pos < size && IsDigit(line[pos]) && length < 40) {
            text[length++] = line[pos++];
            ++digits;
        }
        // A comma is a decimal comma in ordinates; in point tables it separates values.
        if (pos < size && (line[pos] == '.' || (line[pos] == ',' && !plainOnly))) {
            text[length++] = '.';
            ++pos;
            while (pos < size && IsDigit(line[pos]) && length < 58) {
                text[length++] = line[pos++];
                ++digits;
            }
        }
        if (digits == 0 || (pos < size && IsDigit(line[pos])))
            return plainOnly ? kInvalidCharacter : kIllegalCharacter;  // no digit, or too many
        if (pos < size && IsDupCharacter(line[pos]) && !plainOnly) {
            // A repeat count: S..Z are 1..8, s is 9, further digits follow.
            long long repeat = line[pos] == 's' ? 9 : line[pos] - 'S' + 1;
            ++pos;
            while (pos < size && IsDigit(line[pos])) {
                repeat = std::min<long long>(repeat * 10 + (line[pos] - '0'), INT32_MAX);
                ++pos;
            }
            if (pos < size && IsDupCharacter(line[pos]))
                return kTwoDups;
            count = static_cast<int>(repeat);
        } else if (pos + 1 < size && (line[pos] == 'E' || line[pos] == 'e') &&
                   (((line[pos + 1] == '+' || line[pos + 1] == '-') && pos + 2 < size &&
                     IsDigit(line[pos + 2])) ||
                    (plainOnly && IsDigit(line[pos + 1])))) {
            // An exponent; without its sign only in point tables, where "E" cannot be a
            // squeezed digit.
            text[length++] = 'e';
            ++pos;
            if (line[pos] == '+' || line[pos] == '-')
                text[length++] = line[pos++];
            while (pos < size && IsDigit(line[pos]) && length < sizeof text)
                text[length++] = line[pos++];
            if (pos < size && IsDigit(line[pos]))
                return plainOnly ? kInvalidCharacter : kIllegalCharacter;
        }
        const auto [end, ec] = std::from_chars(text, text + length, value);
        if (ec != std::errc() || end != text + length || !std::isfinite(value))
            return plainOnly ? kInvalidCharacter : kIllegalCharacter;
        if (negative)
            value = -value;
        if (difference)
            count = -count;
    }
    while (pos < size && IsBlank(line[pos]))
        ++pos;
    if (pos < size && (line[pos] == ';' || line[pos] == ','))
        ++pos;
    return 0;
}

void JCAMPFile::SetWarning(int kind, long long a, long long b) {
    if (warning_ != 0)
        return;  // the first warning is the one shown
    warning_ = kind;
    errorFile_ = currentFile_;
    errorLine_ = lineNumber_;
    errorInBlock_ = blockIndex_ >= 0;
    const std::string prefix = MessagePrefix();
    errorFile_ = -1;
    errorLine_ = 0;
    errorInBlock_ = false;
    switch (kind) {
        case kYCheckFailed:
            warningText_ = zm::FormatMessage(
                zm::Translate("%1%Y-value check failed on line %2%. The remaining part of the "
                              "dataset will be ignored."),
                prefix, a);
            break;
        case kMoreValues:
            warningText_ = zm::FormatMessage(
                zm::Translate(
                    "%1%There seem to be more y-values in the file than specified by the "
                    "'##NPOINTS'-label. Continue with the import will cause incorrectly computed "
                    "x-values, since the nominal spacing between the x-values is calculated from "
                    "the number of y-values."),
                prefix);
            break;
        case kFewerValues:
            warningText_ = zm::FormatMessage(
                zm::Translate(
                    "%1%Data seem to be missing in the file. Could only read %2% y-values, but "
                    "expected to read %3%. Continue with the import will cause incorrectly "
                    "computed x-values, since the nominal spacing between the x-values is "
                    "calculated from the number of y-values."),
                prefix, a, b);
            break;
        default:
            warningText_ = zm::Translate("Internal error.");
            break;
    }
}

int JCAMPFile::DecodeSelection() {
    series_.clear();
    for (size_t b = 0; b < blocks_.size(); ++b) {
        Block& block = blocks_[b];
        if (!block.selected)
            continue;
        for (size_t p = 0; p < block.pages.size(); ++p) {
            Series series;
            series.block = static_cast<int>(b);
            series.page = static_cast<int>(p);
            currentFile_ = block.file;
            blockIndex_ = static_cast<int>(b);
            lineNumber_ = block.pages[p].line;
            const int code = DecodePage(block, block.pages[p], series);
            if (code != 0)
                return code;
            block.pages[p].points = static_cast<int32_t>(series.y.size());
            valuesRead_ += static_cast<long long>(series.y.size());
            series_.push_back(std::move(series));
        }
    }
    blockIndex_ = currentFile_ = -1;
    decoded_ = true;
    return 0;
}

int JCAMPFile::DecodePage(const Block& block, const Page& page, Series& series) {
    const int code = block.dataForm == kPointTable ? ReadPeakTable(block, page, series)
                     : block.dataForm == kXYData   ? ReadXYData(block, page, series)
                                                   : Fail(kNoValidData);
    if (code != 0)
        return code;
    if (series.y.empty())
        return Fail(kNoValidData);
    return 0;
}

int JCAMPFile::ReadXYData(const Block& block, const Page& page, Series& series) {
    if (!(block.hasFirstX && block.hasLastX) &&
        !(block.hasDeltaX && (block.hasFirstX || block.hasLastX)))
        return Fail(kNoSpacing);
    const std::string& text = files_[static_cast<size_t>(block.file)].text;
    const size_t most = MostValues(text.size() - page.position, block.numPoints);
    std::vector<double>& y = series.y;
    y.reserve(std::min<size_t>(block.numPoints > 0 ? block.numPoints : 0, most));

    size_t pos = page.position;
    int line = page.line - 1;
    double previous = 0;  // the last ordinate, as written (before the y factor)
    bool lineEndedWithDifference = false;
    bool stopped = false;  // by a failed y check
    std::string_view data;
    while (!stopped) {
        if (!NextLine(text, pos, data))
            return Fail(kUnexpectedEnd);
        lineNumber_ = ++line;
        if (EndsData(data))
            break;
        data = WithoutComment(data);
        size_t at = 0;
        double value = 0;
        int count = 0;
        bool missing = false;
        int code = ReadNextValue(data, at, value, count, missing, false);
        if (code != 0)
            return Fail(code);
        if (count == 0)
            continue;  // an empty line
        if (count != 1)
            return Fail(kDupOnAbscissa);
        bool firstOrdinate = true;
        bool endsWithDifference = lineEndedWithDifference;
        while (true) {
            code = ReadNextValue(data, at, value, count, missing, false);
            if (code != 0)
                return Fail(code);
            if (count == 0)
                break;
            if (firstOrdinate && lineEndedWithDifference) {
                // After a line that ends with a difference the first ordinate repeats the
                // last one (the y check): a plain value, never repeated.
                firstOrdinate = false;
                if (count != 1 && count != -1)
                    return Fail(kDupFirstOrdinate);
                if (count == 1) {
                    // The y check: the line repeats the last ordinate of the line before.
                    if (missing || y.empty() || !zm::SpectralValuesEqual(value, previous)) {
                        SetWarning(kYCheckFailed, line);
                        stopped = true;
                        break;
                    }
                    endsWithDifference = false;
                    continue;
                }
            }
            const size_t n = static_cast<size_t>(count < 0 ? -count : count);
            if (n > most - y.size())
                return Fail(kReadError);
            if (count > 0) {
                y.insert(y.end(), n, value);
                if (!missing)
                    previous = value;
                endsWithDifference = false;
            } else {
                for (size_t k = 0; k < n; ++k) {
                    previous += value;
                    y.push_back(previous);
                }
                endsWithDifference = true;
            }
        }
        lineEndedWithDifference = endsWithDifference;
    }

    const size_t n = y.size();
    if (n == 0)
        return Fail(kNoValidData);
    double first = block.firstX;
    double step = 0;
    if (block.hasFirstX && block.hasLastX) {
        step = n > 1 ? (block.lastX - block.firstX) / static_cast<double>(n - 1) : 0;
    } else {
        step = block.deltaX;
        if (!block.hasFirstX)
            first = block.lastX - step * static_cast<double>(n - 1);
    }
    series.even = true;
    series.first = first;
    series.step = step;
    for (double& value : y)
        value *= block.yFactor;
    if (block.numPoints > 0 && n > static_cast<size_t>(block.numPoints))
        SetWarning(kMoreValues);
    else if (block.numPoints > 0 && n < static_cast<size_t>(block.numPoints))
        SetWarning(kFewerValues, static_cast<long long>(n), block.numPoints);
    return 0;
}

int JCAMPFile::ReadPeakTable(const Block& block, const Page& page, Series& series) {
    const std::string& text = files_[static_cast<size_t>(block.file)].text;
    const size_t most = MostValues(text.size() - page.position, block.numPoints);
    size_t pos = page.position;
    int line = page.line - 1;
    bool haveX = false;
    double x = 0;
    std::string_view data;
    while (true) {
        if (!NextLine(text, pos, data))
            return Fail(kUnexpectedEnd);
        lineNumber_ = ++line;
        if (EndsData(data))
            break;
        data = WithoutComment(data);
        size_t at = 0;
        while (true) {
            double value = 0;
            int count = 0;
            bool missing = false;
            const int code = ReadNextValue(data, at, value, count, missing, true);
            if (code != 0)
                return Fail(code);
            if (count == 0)
                break;
            if (!haveX) {
                x = value * block.xFactor;
                haveX = true;
                continue;
            }
            if (series.y.size() >= most)
                return Fail(kReadError);
            series.x.push_back(x);
            series.y.push_back(value * block.yFactor);
            haveX = false;
        }
    }
    // An x left without its y at the end of the table is dropped.
    return 0;
}
