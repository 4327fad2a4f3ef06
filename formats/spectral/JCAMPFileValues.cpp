// JCAMP-DX files: values (AFFN, PAC, SQZ, DIF, DUP) and the data of the selected blocks.
#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>

#include "formats/spectral/JCAMPFile.h"
#include "formats/spectral/JCAMPLineStarts.h"
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

// Powers of ten a double holds exactly.
constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
constexpr int kMostExactDigits = 15;

// The values nearly every data line is made of, decoded in one pass over the bytes: a
// squeezed or difference digit or a plain number, its further digits and decimals, a
// repeat count. Whatever else comes (a missing value, an exponent, more than 15 digits,
// a point without decimals, a character out of place) is left to ReadNextValue:
// false, with `pos` where it was. Up to 15 digits are an integer a double holds
// exactly, and so is 10^15, so one division rounds to the very double that parsing the
// number's text gives.
// What a character can be in an ordinate line, for ReadCommonValue: a digit, the
// first character of a squeezed (SQZ) or difference (DIF) value with its digit and
// sign, a sign, a repeat count (DUP) or a blank.
enum CharKind : uint8_t {
    kDigitChar = 1,
    kLeadChar = 2,      // @ A-I a-i % J-R j-r
    kNegativeLead = 4,  // a-i j-r
    kDifferenceLead = 8,
    kSignChar = 16,
    kDupChar = 32,
    kBlankChar = 64,
};

struct CharClass {
    uint8_t kind = 0;
    uint8_t digit = 0;
};

struct CharTable {
    CharClass of[256];
    constexpr CharTable() {
        for (int c = '0'; c <= '9'; ++c)
            of[c] = {kDigitChar, static_cast<uint8_t>(c - '0')};
        of[static_cast<int>('@')] = {kLeadChar, 0};
        of[static_cast<int>('%')] = {kLeadChar | kDifferenceLead, 0};
        for (int d = 1; d <= 9; ++d) {
            const uint8_t digit = static_cast<uint8_t>(d);
            of['A' + d - 1] = {kLeadChar, digit};
            of['a' + d - 1] = {kLeadChar | kNegativeLead, digit};
            of['J' + d - 1] = {kLeadChar | kDifferenceLead, digit};
            of['j' + d - 1] = {kLeadChar | kDifferenceLead | kNegativeLead, digit};
        }
        for (int c = 'S'; c <= 'Z'; ++c)
            of[c] = {kDupChar, static_cast<uint8_t>(c - 'S' + 1)};
        of[static_cast<int>('s')] = {kDupChar, 9};
        of[static_cast<int>('+')] = {kSignChar, 0};
        of[static_cast<int>('-')] = {kSignChar, 0};
        for (char c : {' ', '\t', '\v', '\f'})
            of[static_cast<unsigned char>(c)] = {kBlankChar, 0};
    }
    const CharClass& operator[](char c) const { return of[static_cast<unsigned char>(c)]; }
};

constexpr CharTable kChars;

// The repeat count that starts with the repeat character at `p` (capped, as no block holds
// more values), moving `p` past its digits.
[[gnu::always_inline]] inline int ReadRepeatCount(const char*& p, const char* end) {
    long long n = kChars[*p].digit;
    ++p;
    CharClass next;
    while (p < end && ((next = kChars[*p]).kind & kDigitChar)) {
        n = std::min<long long>(n * 10 + next.digit, INT32_MAX);
        ++p;
    }
    return static_cast<int>(n);
}

[[gnu::always_inline]] inline bool DecodeCommonValue(std::string_view line, size_t& pos,
                                                     double& value, int& count) {
    const char* const begin = line.data();
    const char* const end = begin + line.size();
    const char* p = begin + pos;
    while (p < end && (kChars[*p].kind & kBlankChar))
        ++p;
    if (p == end) {
        pos = line.size();
        value = 0;
        count = 0;
        return true;
    }
    const CharClass lead = kChars[*p];
    uint64_t digits = lead.digit;
    int length = 0;  // digits read
    bool negative = (lead.kind & kNegativeLead) != 0;
    if (lead.kind & kLeadChar) {
        ++p;
        length = 1;
    } else if (lead.kind & kSignChar) {
        if (p + 1 == end || !(kChars[p[1]].kind & kDigitChar))
            return false;
        negative = *p == '-';
        ++p;
    } else if (!(lead.kind & kDigitChar)) {
        return false;
    } else {
        digits = 0;
    }
    CharClass next;
    while (p < end && ((next = kChars[*p]).kind & kDigitChar)) {
        if (++length > kMostExactDigits)
            return false;
        digits = digits * 10 + next.digit;
        ++p;
    }
    int decimals = 0;
    if (p < end && (*p == '.' || *p == ',')) {
        ++p;
        while (p < end && ((next = kChars[*p]).kind & kDigitChar)) {
            if (++length > kMostExactDigits)
                return false;
            digits = digits * 10 + next.digit;
            ++decimals;
            ++p;
        }
        if (decimals == 0)
            return false;
    }
    if (length == 0)
        return false;
    int repeat = 1;
    if (p < end && (kChars[*p].kind & kDupChar)) {
        repeat = ReadRepeatCount(p, end);
        if (p < end && (kChars[*p].kind & kDupChar))
            return false;
    } else if (end - p > 2 && (*p == 'E' || *p == 'e') && (p[1] == '+' || p[1] == '-') &&
               (kChars[p[2]].kind & kDigitChar)) {
        return false;  // an exponent
    }
    double number = static_cast<double>(digits);
    if (decimals > 0)
        number /= kPowersOfTen[decimals];
    value = negative ? -number : number;
    count = (lead.kind & kDifferenceLead) ? -repeat : repeat;
    while (p < end && (kChars[*p].kind & kBlankChar))
        ++p;
    if (p < end && (*p == ';' || *p == ','))
        ++p;
    pos = static_cast<size_t>(p - begin);
    return true;
}

// The next value of an ordinate line, by the quick road where it applies.
[[gnu::always_inline]] inline int NextOrdinateValue(std::string_view line, size_t& pos,
                                                    double& value, int& count, bool& missing) {
    if (DecodeCommonValue(line, pos, value, count)) {
        missing = false;
        return 0;
    }
    return JCAMPFile::ReadNextValue(line, pos, value, count, missing, false);
}

// Takes a run of differences off a data line in one tight loop: each a difference
// character with at most 15 digits in all, perhaps a repeat count, and followed by the
// next difference or the line's end, which is the bulk of compressed data. Those are
// exactly the values ReadNextValue reads as a plain difference, so the running ordinate
// comes out the same. Stops before anything else (a blank, a squeezed value, a decimal
// point, a second repeat count) or when `room` values are written, and leaves it to
// the general road. Returns the number of values written to `out`; `p` moves past the
// values taken, `previous` holds the last ordinate.
size_t SumDifferenceRun(const char*& p, const char* end, double& previous, double* out,
                        size_t room) {
    const char* at = p;
    double sum = previous;
    size_t written = 0;
    while (at < end) {
        const CharClass lead = kChars[*at];
        if (!(lead.kind & kDifferenceLead))
            break;
        const char* q = at + 1;
        uint64_t digits = lead.digit;
        int length = 1;
        CharClass next;
        while (q < end && ((next = kChars[*q]).kind & kDigitChar)) {
            digits = digits * 10 + next.digit;
            ++length;
            ++q;
        }
        if (length > kMostExactDigits)
            break;
        size_t repeat = 1;
        if (q < end && (kChars[*q].kind & kDupChar))
            repeat = static_cast<size_t>(ReadRepeatCount(q, end));
        // Only a following difference or the line's end completes the value as it stands.
        if (q < end && !(kChars[*q].kind & kDifferenceLead))
            break;
        if (repeat > room - written)
            break;
        const double step = (lead.kind & kNegativeLead) ? -static_cast<double>(digits)
                                                        : static_cast<double>(digits);
        if (repeat == 1) {
            sum += step;
            out[written++] = sum;
        } else {
            for (size_t k = 0; k < repeat; ++k) {
                sum += step;
                out[written++] = sum;
            }
        }
        at = q;
    }
    p = at;
    previous = sum;
    return written;
}

// The run of differences that follows a difference at `pos`, appended to `y` (at most
// `room` values more) by SumDifferenceRun.
[[gnu::always_inline]] inline void TakeDifferenceRun(std::string_view line, size_t& pos,
                                                     double& previous, zm::RawArray<double>& y,
                                                     size_t room) {
    const char* const begin = line.data();
    const char* p = begin + pos;
    const char* const end = begin + line.size();
    if (p == end || !(kChars[*p].kind & kDifferenceLead) || room == 0)
        return;
    // Room for the values the rest of the line spells without repeat counts, a few
    // thousand at a time: a long line of something else takes no more memory than that.
    const size_t size = y.Size();
    const size_t wanted = std::min({room, static_cast<size_t>(end - p), size_t{4096}});
    double* out = y.Extend(wanted);
    const size_t written = SumDifferenceRun(p, end, previous, out, wanted);
    y.Truncate(size + written);
    pos = static_cast<size_t>(p - begin);
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

bool JCAMPFile::ReadCommonValue(std::string_view line, size_t& pos, double& value, int& count) {
    return DecodeCommonValue(line, pos, value, count);
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
    values_.Truncate(0);
    // Room for the announced points of every selected page at once, so the buffer is
    // one mapping of huge pages from the start rather than grown page by page; what
    // the labels claim is believed up to two values per byte of text.
    size_t announced = 0;
    for (const Block& block : blocks_) {
        if (block.selected && block.numPoints > 0)
            announced += block.pages.size() * std::min<size_t>(block.numPoints, kMostAnnounced);
    }
    values_.Reserve(
        zm::jcamp::WholeHugePages(std::min(announced, 2 * text_.Size() + 1024), sizeof(double)));
    for (size_t b = 0; b < blocks_.size(); ++b) {
        Block& block = blocks_[b];
        if (!block.selected)
            continue;
        for (size_t p = 0; p < block.pages.size(); ++p) {
            Series series;
            series.block = static_cast<int>(b);
            series.page = static_cast<int>(p);
            series.offset = values_.Size();
            currentFile_ = block.file;
            blockIndex_ = static_cast<int>(b);
            lineNumber_ = block.pages[p].line;
            const int code = DecodePage(block, block.pages[p], series);
            if (code != 0)
                return code;
            block.pages[p].points = static_cast<int32_t>(series.count);
            valuesRead_ += static_cast<long long>(series.count);
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
    series.count = values_.Size() - series.offset;
    if (series.count == 0)
        return Fail(kNoValidData);
    return 0;
}

int JCAMPFile::ReadXYData(const Block& block, const Page& page, Series& series) {
    if (!(block.hasFirstX && block.hasLastX) &&
        !(block.hasDeltaX && (block.hasFirstX || block.hasLastX)))
        return Fail(kNoSpacing);
    const std::string_view text = Text(block.file);
    const size_t most = MostValues(text.size() - page.position, block.numPoints);
    zm::RawArray<double>& y = values_;
    const size_t start = y.Size();

    size_t pos = page.position;
    int line = page.line - 1;
    // Without a point count, only the x that starts each line can tell a line missing.
    const bool checkLineStarts = block.numPoints <= 0;
    std::vector<zm::jcamp::LineStart> lineStarts;
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
        int code = NextOrdinateValue(data, at, value, count, missing);
        if (code != 0)
            return Fail(code);
        if (count == 0)
            continue;  // an empty line
        if (count != 1)
            return Fail(kDupOnAbscissa);
        if (checkLineStarts)
            lineStarts.push_back({value, y.Size() - start});
        bool firstOrdinate = true;
        bool endsWithDifference = lineEndedWithDifference;
        while (true) {
            code = NextOrdinateValue(data, at, value, count, missing);
            if (code != 0)
                return Fail(code);
            if (count == 0)
                break;
            if (count == -1) {
                // One difference, the bulk of compressed data.
                firstOrdinate = false;
                if (y.Size() - start >= most)
                    return Fail(kReadError);
                previous += value;
                y.Push(previous);
                endsWithDifference = true;
                TakeDifferenceRun(data, at, previous, y, most - (y.Size() - start));
                continue;
            }
            if (firstOrdinate && lineEndedWithDifference) {
                // After a line that ends with a difference the first ordinate repeats the
                // last one (the y check): a plain value, never repeated.
                firstOrdinate = false;
                if (count != 1 && count != -1)
                    return Fail(kDupFirstOrdinate);
                if (count == 1) {
                    // The y check: the line repeats the last ordinate of the line before.
                    // Mostly the very value: an equal (and so finite) value needs no
                    // tolerance worked out.
                    if (missing || y.Size() == start ||
                        (value != previous && !zm::SpectralValuesEqual(value, previous))) {
                        SetWarning(kYCheckFailed, line);
                        stopped = true;
                        break;
                    }
                    // The line's x belongs to the repeated point, the previous line's last.
                    if (checkLineStarts && lineStarts.back().index > 0)
                        --lineStarts.back().index;
                    endsWithDifference = false;
                    continue;
                }
            }
            const size_t n = static_cast<size_t>(count < 0 ? -count : count);
            if (n > most - (y.Size() - start))
                return Fail(kReadError);
            if (count > 0) {
                y.Resize(y.Size() + n, value);
                if (!missing)
                    previous = value;
                endsWithDifference = false;
            } else {
                for (size_t k = 0; k < n; ++k) {
                    previous += value;
                    y.Push(previous);
                }
                endsWithDifference = true;
                TakeDifferenceRun(data, at, previous, y, most - (y.Size() - start));
            }
        }
        lineEndedWithDifference = endsWithDifference;
    }

    const size_t n = y.Size() - start;
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
    if (block.yFactor != 1.0) {  // a factor of one changes no value, not even a NaN
        for (size_t i = start; i < y.Size(); ++i)
            y[i] *= block.yFactor;
    }
    if (block.numPoints > 0 && n > static_cast<size_t>(block.numPoints)) {
        SetWarning(kMoreValues);
    } else if (block.numPoints > 0 && n < static_cast<size_t>(block.numPoints)) {
        SetWarning(kFewerValues, static_cast<long long>(n), block.numPoints);
    } else if (checkLineStarts && !stopped) {
        const zm::jcamp::AxisLabels axis{block.xFactor, block.firstX, block.lastX, block.hasFirstX,
                                         block.hasLastX};
        const size_t expected = zm::jcamp::PointsByLineStarts(lineStarts, n, axis);
        if (expected > n)
            SetWarning(kFewerValues, static_cast<long long>(n), static_cast<long long>(expected));
    }
    return 0;
}

int JCAMPFile::ReadPeakTable(const Block& block, const Page& page, Series& series) {
    const std::string_view text = Text(block.file);
    const size_t most = MostValues(text.size() - page.position, block.numPoints);
    const size_t start = values_.Size();
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
            if (values_.Size() - start >= most)
                return Fail(kReadError);
            series.x.push_back(x);
            values_.Push(value * block.yFactor);
            haveX = false;
        }
    }
    // An x left without its y at the end of the table is dropped.
    return 0;
}
