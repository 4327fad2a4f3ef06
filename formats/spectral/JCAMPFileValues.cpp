// JCAMP-DX files: values (AFFN, PAC, SQZ, DIF, DUP) and the data of the selected blocks.
#include <algorithm>
#include <cstdint>

#include "formats/spectral/JCAMPFile.h"
#include "formats/spectral/JCAMPLineStarts.h"
#include "formats/spectral/JCAMPText.h"
#include "formats/spectral/JCAMPValues.h"
#include "formats/spectral/SpectralCompare.h"
#include "platform/Translate.h"

using zm::jcamp::DecodeValue;
using zm::jcamp::EndsData;
using zm::jcamp::NextLine;
using zm::jcamp::Value;
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
