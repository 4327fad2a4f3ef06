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

// The most values one block may hold: what its text can spell without repeat counts,
// or what "##NPOINTS=" announces, up to 16 million points either way. A repeat count
// claiming billions of points stops here rather than at the allocator.
constexpr size_t kMostAnnounced = size_t{1} << 24;

size_t MostValues(size_t textBytes, int32_t announced) {
    const size_t fromText = std::min(textBytes, kMostAnnounced);
    const size_t fromLabel = announced > 0 ? std::min<size_t>(announced, kMostAnnounced) : 0;
    return std::max(fromText, fromLabel) + 1024;
}

// What a character can be in a value: a digit, the first character of a squeezed (SQZ)
// or difference (DIF) value with its digit and sign, a sign, a repeat count (DUP), a
// blank, or what ends a value (a separator) or goes on after its digits.
enum CharKind : uint16_t {
    kDigitChar = 1,
    kLeadChar = 2,      // @ A-I a-i % J-R j-r
    kNegativeLead = 4,  // a-i j-r
    kDifferenceLead = 8,
    kSignChar = 16,
    kDupChar = 32,
    kBlankChar = 64,
    kSeparatorChar = 128,  // ; ,
    kPointChar = 256,      // . ,
    kExponentChar = 512,   // E e
};

struct CharClass {
    uint16_t kind = 0;
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
        of[static_cast<int>('E')].kind |= kExponentChar;
        of[static_cast<int>('e')].kind |= kExponentChar;
        for (int c = 'S'; c <= 'Z'; ++c)
            of[c] = {kDupChar, static_cast<uint8_t>(c - 'S' + 1)};
        of[static_cast<int>('s')] = {kDupChar, 9};
        of[static_cast<int>('+')] = {kSignChar, 0};
        of[static_cast<int>('-')] = {kSignChar, 0};
        for (char c : {' ', '\t', '\v', '\f'})
            of[static_cast<unsigned char>(c)] = {kBlankChar, 0};
        of[static_cast<int>(';')] = {kSeparatorChar, 0};
        of[static_cast<int>(',')] = {kSeparatorChar | kPointChar, 0};
        of[static_cast<int>('.')] = {kPointChar, 0};
    }
    const CharClass& operator[](char c) const { return of[static_cast<unsigned char>(c)]; }
};

constexpr CharTable kChars;

bool Is(const char* p, const char* end, uint16_t kind) {
    return p < end && (kChars[*p].kind & kind) != 0;
}

// Powers of ten a double holds exactly.
constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
constexpr int kMostExactDigits = 15;
// The longest numeral read: digits before the point, with the point and its digits,
// with the exponent.
constexpr ptrdiff_t kMostWholeDigits = 40, kMostDecimalText = 58, kMostText = 64;

// One value of a data line: an absolute value repeated `count` times (count > 0), a
// difference applied -count times (count < 0), or the line's end (count 0).
struct Value {
    double number = 0;
    int count = 0;
    bool missing = false;
};

// Where the parts of a numeral lie, for the rare one a double cannot be built of
// exactly by hand: more than 15 digits, or an exponent.
struct Numeral {
    int lead = 0;  // 1 when a squeezed or difference character gave the first digit
    char leadDigit = '0';
    const char* whole = nullptr;     // the digits before the point
    const char* point = nullptr;     // the decimal point or comma, or null
    const char* exponent = nullptr;  // the "E", or null
    const char* end = nullptr;
};

// True when the numeral is no longer than a value may be: up to 40 digits before the
// point, 58 characters up to the exponent and 64 in all.
bool WithinLength(const Numeral& n) {
    const char* const decimalEnd = n.exponent != nullptr ? n.exponent : n.end;
    const ptrdiff_t whole = (n.point != nullptr ? n.point : decimalEnd) - n.whole + n.lead;
    const ptrdiff_t decimal = decimalEnd - n.whole + n.lead;
    return whole <= kMostWholeDigits && decimal <= kMostDecimalText &&
           n.end - n.whole + n.lead <= kMostText;
}

// The numeral's value by a locale-independent parse of its text rebuilt as sign-less
// digits, point, decimals and exponent; false when it is no finite number.
[[gnu::noinline]] bool ParseNumeral(const Numeral& n, double& value) {
    if (!WithinLength(n))
        return false;
    char text[kMostText];
    size_t length = 0;
    if (n.lead != 0)
        text[length++] = n.leadDigit;
    for (const char* p = n.whole; p < n.end && length < sizeof text; ++p)
        text[length++] = p == n.point ? '.' : p == n.exponent ? 'e' : *p;
    const auto [end, ec] = std::from_chars(text, text + length, value);
    return ec == std::errc() && end == text + length && std::isfinite(value);
}

// Moves past the digits at `p`, adding them to `digits` (which wraps past 19 digits,
// when it is not used), and returns where they end.
[[gnu::always_inline]] inline const char* ReadDigits(const char* p, const char* end,
                                                     uint64_t& digits) {
    unsigned d;
    while (p < end && (d = static_cast<unsigned char>(*p) - unsigned{'0'}) <= 9) {
        digits = digits * 10 + d;
        ++p;
    }
    return p;
}

// Moves `p` past the blanks and the one separator (";" or ",") after a value.
[[gnu::always_inline]] inline void SkipSeparator(const char*& p, const char* end) {
    if (Is(p, end, kBlankChar | kSeparatorChar)) {
        while (Is(p, end, kBlankChar))
            ++p;
        if (Is(p, end, kSeparatorChar))
            ++p;
    }
}

// The repeat count that starts with the repeat character at `p` (capped, as no block
// holds more values), moving `p` past its digits.
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

// An exponent at `p`: "E" or "e" with a signed digit, or in point tables, where "E"
// cannot be a squeezed digit, with a bare digit.
template <bool kPoints>
[[gnu::always_inline]] inline bool AtExponent(const char* p, const char* end) {
    return end - p > 1 && (kChars[*p].kind & kExponentChar) &&
           ((end - p > 2 && (kChars[p[1]].kind & kSignChar) && (kChars[p[2]].kind & kDigitChar)) ||
            (kPoints && (kChars[p[1]].kind & kDigitChar)));
}

// The value that starts with something other than a digit or a squeezed or difference
// character: a sign, a missing value, a point, or a character out of place. Moves `p`
// to the digits of a number (0 with `v.missing` false), or past a missing value (0
// with `v.missing` true); else the error code.
template <bool kPoints>
int DecodeRareStart(const char*& p, const char* end, bool& negative, Value& v) {
    const char c = *p;
    if (kChars[c].kind & kSignChar) {
        const char* next = p + 1;
        if (!Is(next, end, kDigitChar) && !(next < end && (*next == '.' || *next == ',')))
            return JCAMPFile::kIllegalCharacter;
        negative = c == '-';
        ++p;
        return 0;
    }
    if (c == '?' || (c == ',' && (kPoints || !Is(p + 1, end, kDigitChar)))) {
        v.missing = true;
        v.number = std::numeric_limits<double>::quiet_NaN();
        v.count = 1;
        SkipSeparator(++p, end);
        return 0;
    }
    if (kChars[c].kind & kPointChar)
        return 0;
    return kPoints ? JCAMPFile::kInvalidCharacter : JCAMPFile::kIllegalCharacter;
}

// The rest of a value whose numeral `n` has been read up to `p` and that is more than
// plain digits: a repeat count (DUP), an exponent, no digit or more than 15. Moves `p`
// past it, with its value and repeat count; returns 0 or the error code.
template <bool kPoints>
int FinishValue(const char*& p, const char* end, Numeral& n, uint64_t digits, ptrdiff_t decimals,
                int& repeat, double& number) {
    constexpr int kBadNumber =
        kPoints ? JCAMPFile::kInvalidCharacter : JCAMPFile::kIllegalCharacter;
    const ptrdiff_t count = n.end - n.whole + n.lead - (n.point != nullptr);
    if (count == 0 || (count > kMostExactDigits && !WithinLength(n)))
        return kBadNumber;  // no digit, or too many
    if (!kPoints && Is(p, end, kDupChar)) {
        repeat = ReadRepeatCount(p, end);
        if (Is(p, end, kDupChar))
            return JCAMPFile::kTwoDups;
    } else if (AtExponent<kPoints>(p, end)) {
        n.exponent = p;
        p += (kChars[p[1]].kind & kSignChar) ? 2 : 1;
        while (Is(p, end, kDigitChar))
            ++p;
        n.end = p;
    }
    if (count <= kMostExactDigits && n.exponent == nullptr) {
        number = static_cast<double>(digits);
        if (decimals > 0)
            number /= kPowersOfTen[decimals];
        return 0;
    }
    return ParseNumeral(n, number) ? 0 : kBadNumber;
}

// Takes the next value off a data line at `p`, which moves past it and past the blanks
// and the one separator that follow. Ordinate lines (kPoints false) hold plain (AFFN,
// PAC), squeezed (SQZ), difference (DIF) and repeated (DUP) values, "?" for a missing
// one and a decimal comma; point tables (kPoints true) hold plain numbers, "?", and
// commas between values. Returns 0 or the error code.
//
// A numeral of up to 15 digits without an exponent, nearly every value, is built by
// hand: its digits are an integer a double holds exactly, and so is 10^15, so one
// division rounds to the very double that parsing its text gives. Anything longer goes
// to that parse.
template <bool kPoints>
[[gnu::always_inline]] inline int DecodeValue(const char*& p, const char* const end, Value& v) {
    v.missing = false;
    if (!kPoints && Is(p, end, kLeadChar)) {
        // The bulk of compressed data: a squeezed or difference digit and a few more,
        // right before the next such value or the line's end.
        const CharClass first = kChars[*p];
        uint64_t digits = first.digit;
        const char* q = ReadDigits(p + 1, end, digits);
        const bool exact = q - p <= kMostExactDigits;
        const int repeat = Is(q, end, kDupChar) ? ReadRepeatCount(q, end) : 1;
        if (exact && (q == end || (kChars[*q].kind & (kLeadChar | kExponentChar)) == kLeadChar)) {
            const auto number = static_cast<double>(digits);
            v.number = (first.kind & kNegativeLead) ? -number : number;
            v.count = (first.kind & kDifferenceLead) ? -repeat : repeat;
            p = q;
            return 0;
        }
    }
    while (Is(p, end, kBlankChar))
        ++p;
    if (p == end) {
        v.number = 0;
        v.count = 0;
        return 0;
    }
    const CharClass first = kChars[*p];
    uint64_t digits = 0;
    int lead = 0;
    bool negative = false, difference = false;
    if ((first.kind & kLeadChar) && (!kPoints || (first.kind & kExponentChar))) {
        digits = first.digit;
        lead = 1;
        negative = (first.kind & kNegativeLead) != 0;
        difference = (first.kind & kDifferenceLead) != 0;
        ++p;
    } else if (!(first.kind & kDigitChar)) {
        const int code = DecodeRareStart<kPoints>(p, end, negative, v);
        if (code != 0 || v.missing)
            return code;
    }
    const char* const whole = p;
    p = ReadDigits(p, end, digits);
    const char* point = nullptr;
    uint16_t after = p < end ? kChars[*p].kind : 0;
    if ((after & kPointChar) && (!kPoints || *p == '.')) {
        point = p;
        p = ReadDigits(p + 1, end, digits);
        after = p < end ? kChars[*p].kind : 0;
    }
    const ptrdiff_t count = p - whole + lead - (point != nullptr);
    const ptrdiff_t decimals = point != nullptr ? p - point - 1 : 0;
    int repeat = 1;
    double number = 0;
    if (count > 0 && count <= kMostExactDigits && !(after & (kDupChar | kExponentChar))) {
        number = static_cast<double>(digits);  // the bulk of values
        if (decimals > 0)
            number /= kPowersOfTen[decimals];
    } else {
        Numeral numeral{lead, static_cast<char>('0' + first.digit), whole, point, nullptr, p};
        const int code = FinishValue<kPoints>(p, end, numeral, digits, decimals, repeat, number);
        if (code != 0)
            return code;
    }
    v.number = negative ? -number : number;
    v.count = difference ? -repeat : repeat;
    SkipSeparator(p, end);
    return 0;
}

// An (X++(Y..Y)) table being read: its ordinates so far (from `start` on in `y`), the
// last one as written (before the y factor), what the line before left open, and the x
// that starts each line.
struct OrdinateTable {
    explicit OrdinateTable(zm::RawArray<double>& values) : y(values), start(values.Size()) {}

    zm::RawArray<double>& y;
    size_t start = 0;
    size_t most = 0;  // the most values the block may hold
    double previous = 0;
    bool endedWithDifference = false;  // the line before ended with a difference
    bool checkFailed = false;          // a y check failed: the rest is not read
    bool keepLineStarts = false;
    std::vector<zm::jcamp::LineStart> lineStarts;

    size_t Count() const { return y.Size() - start; }
};

// After a line that ends with a difference the next line's first ordinate repeats the
// last one (the y check): a plain value, never repeated. Mostly the very value: an
// equal (and so finite) value needs no tolerance worked out. Returns 0 or the error.
int TakeYCheck(const Value& v, OrdinateTable& table) {
    if (v.count != 1)
        return JCAMPFile::kDupFirstOrdinate;
    if (v.missing || table.Count() == 0 ||
        (v.number != table.previous && !zm::SpectralValuesEqual(v.number, table.previous))) {
        table.checkFailed = true;
        return 0;
    }
    // The line's x belongs to the repeated point, the previous line's last.
    if (table.keepLineStarts && table.lineStarts.back().index > 0)
        --table.lineStarts.back().index;
    return 0;
}

// One data line: its x, then its ordinates onto the table. Returns 0 or the error code.
// A function of its own, so that the loop over the values keeps its registers.
[[gnu::noinline]] int DecodeOrdinateLine(std::string_view line, OrdinateTable& table) {
    const char* p = line.data();
    const char* const end = p + line.size();
    Value v;
    int code = DecodeValue<false>(p, end, v);
    if (code != 0 || v.count == 0)
        return code;  // an error, or an empty line
    if (v.count != 1)
        return JCAMPFile::kDupOnAbscissa;
    if (table.keepLineStarts)
        table.lineStarts.push_back({v.number, table.Count()});
    bool yCheck = table.endedWithDifference;
    zm::RawArray<double>& y = table.y;
    // Kept here rather than in the table while the line is read: a value stored into
    // `y` could be the table's, as far as the compiler knows.
    double previous = table.previous;
    bool endsWithDifference = table.endedWithDifference;
    const size_t limit = table.start + table.most;  // no value is written past it
    while ((code = DecodeValue<false>(p, end, v)) == 0 && v.count != 0) {
        if (v.count < 0 && (v.count == -1 || !yCheck)) {
            // Differences, the bulk of compressed data; a repeated one cannot stand for
            // the y check.
            const auto n = static_cast<size_t>(-static_cast<long long>(v.count));
            if (n > limit - y.Size())
                return JCAMPFile::kReadError;
            if (n == 1) {
                previous += v.number;
                y.Push(previous);
            } else {
                double* out = y.Extend(n);
                for (size_t k = 0; k < n; ++k) {
                    previous += v.number;
                    out[k] = previous;
                }
            }
            endsWithDifference = true;
        } else if (yCheck) {
            table.previous = previous;
            code = TakeYCheck(v, table);
            if (code != 0 || table.checkFailed)
                return code;
            endsWithDifference = false;
        } else {
            const auto n = static_cast<size_t>(v.count);
            if (n > limit - y.Size())
                return JCAMPFile::kReadError;
            y.Resize(y.Size() + n, v.number);
            if (!v.missing)
                previous = v.number;
            endsWithDifference = false;
        }
        yCheck = false;
    }
    table.previous = previous;
    table.endedWithDifference = endsWithDifference;
    return code;
}

// The next data line of a table, without its comment, counted in `lineNumber`: 0, or
// kTableEnd at the line that starts a label, or kUnexpectedEnd when the text ends first.
constexpr int kTableEnd = -1;

int NextDataLine(std::string_view text, size_t& pos, int& lineNumber, std::string_view& line) {
    if (!NextLine(text, pos, line))
        return JCAMPFile::kUnexpectedEnd;
    ++lineNumber;
    if (EndsData(line))
        return kTableEnd;
    line = WithoutComment(line);
    return 0;
}

enum Warning { kNoWarning = 0, kYCheckFailed = 1, kMoreValues = 2, kFewerValues = 3 };

}  // namespace

int JCAMPFile::ReadNextValue(std::string_view line, size_t& pos, double& value, int& count,
                             bool& missing, bool plainOnly) {
    const char* p = line.data() + std::min(pos, line.size());
    const char* const end = line.data() + line.size();
    Value v;
    const int code = plainOnly ? DecodeValue<true>(p, end, v) : DecodeValue<false>(p, end, v);
    pos = static_cast<size_t>(p - line.data());
    value = v.number;
    count = v.count;
    missing = v.missing;
    return code;
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
    OrdinateTable table(values_);
    table.most = MostValues(text.size() - page.position, block.numPoints);
    // Without a point count, only the x that starts each line can tell a line missing.
    table.keepLineStarts = block.numPoints <= 0;
    size_t pos = page.position;
    lineNumber_ = page.line - 1;
    std::string_view line;
    int code = 0;
    while (!table.checkFailed && (code = NextDataLine(text, pos, lineNumber_, line)) == 0) {
        code = DecodeOrdinateLine(line, table);
        if (code != 0)
            return Fail(code);
    }
    if (code != 0 && code != kTableEnd)
        return Fail(code);
    if (table.checkFailed)
        SetWarning(kYCheckFailed, lineNumber_);
    const size_t n = table.Count();
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
        for (size_t i = table.start; i < values_.Size(); ++i)
            values_[i] *= block.yFactor;
    }
    if (block.numPoints > 0 && n > static_cast<size_t>(block.numPoints)) {
        SetWarning(kMoreValues);
    } else if (block.numPoints > 0 && n < static_cast<size_t>(block.numPoints)) {
        SetWarning(kFewerValues, static_cast<long long>(n), block.numPoints);
    } else if (table.keepLineStarts && !table.checkFailed) {
        const zm::jcamp::AxisLabels axis{block.xFactor, block.firstX, block.lastX, block.hasFirstX,
                                         block.hasLastX};
        const size_t expected = zm::jcamp::PointsByLineStarts(table.lineStarts, n, axis);
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
    lineNumber_ = page.line - 1;
    bool haveX = false;
    double x = 0;
    std::string_view line;
    int code = 0;
    while ((code = NextDataLine(text, pos, lineNumber_, line)) == 0) {
        const char* p = line.data();
        const char* const end = p + line.size();
        Value v;
        while ((code = DecodeValue<true>(p, end, v)) == 0 && v.count != 0) {
            if (!haveX) {
                x = v.number * block.xFactor;
                haveX = true;
                continue;
            }
            if (values_.Size() - start >= most)
                return Fail(kReadError);
            series.x.push_back(x);
            values_.Push(v.number * block.yFactor);
            haveX = false;
        }
        if (code != 0)
            return Fail(code);
    }
    // An x left without its y at the end of the table is dropped.
    return code == kTableEnd ? 0 : Fail(code);
}
