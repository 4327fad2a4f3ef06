// JCAMP-DX files: the label scan that lists the data blocks of a file.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "formats/spectral/JCAMPFile.h"
#include "formats/spectral/JCAMPText.h"

using zm::jcamp::IsBlank;
using zm::jcamp::Keyword;
using zm::jcamp::NextLine;
using zm::jcamp::NormaliseName;
using zm::jcamp::Strip;
using zm::jcamp::Unindented;
using zm::jcamp::WithoutComment;

namespace {

// How deep blocks may nest: a LINK block and the blocks it holds, with room to spare.
constexpr int kDeepestBlocks = 64;

// A number text, blanks around it allowed; false for anything else.
bool ParseDouble(std::string_view text, double& value) {
    text = Strip(text);
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    if (text.empty())
        return false;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc() && end == text.data() + text.size() && std::isfinite(value);
}

// Labels, and values of "##DATA CLASS=", that name data this reader cannot read.
struct Refusal {
    std::string_view name;
    int code;
};
constexpr Refusal kRefusedLabels[] = {{"BINARY", JCAMPFile::kBinaryData},
                                      {"RADATA", JCAMPFile::kRAData},
                                      {"XYPAIRS", JCAMPFile::kXYPairs},
                                      {"ASSIGNMENTS", JCAMPFile::kAssignments},
                                      {"PEAKASSIGNMENTS", JCAMPFile::kAssignments}};
constexpr Refusal kRefusedClasses[] = {{"RADATA", JCAMPFile::kRAData},
                                       {"ASSIGNMENTS", JCAMPFile::kAssignments},
                                       {"NTUPLES", JCAMPFile::kNTuples}};

// The code a name is refused with, or 0.
template <size_t N>
int RefusalOf(std::string_view name, const Refusal (&refusals)[N]) {
    for (const Refusal& refusal : refusals) {
        if (name == refusal.name)
            return refusal.code;
    }
    return 0;
}

// The lines that start in [from, to) of `text`, `to` being the start of a line or the
// text's end: a line ends at LF, CR LF or a lone CR, and the last may end with the text.
size_t LineCount(std::string_view text, size_t from, size_t to) {
    const char* p = text.data() + from;
    const char* const end = text.data() + to;
    size_t ends = 0;
    if (std::memchr(p, '\r', static_cast<size_t>(end - p)) == nullptr) {
        // Eight bytes at a time: a byte of `x` is zero where the text holds LF, and
        // only there does the sum leave its high bit clear; `marks` holds a one there.
        constexpr uint64_t kLows = 0x7F7F7F7F7F7F7F7Full;
        constexpr uint64_t kOnes = 0x0101010101010101ull;
        for (; end - p >= 8; p += 8) {
            uint64_t word;
            std::memcpy(&word, p, 8);
            const uint64_t x = word ^ (kOnes * '\n');
            const uint64_t marks = ~(((x & kLows) + kLows) | x | kLows) >> 7;
            ends += static_cast<size_t>((marks * kOnes) >> 56);  // the sum of its bytes
        }
        ends += static_cast<size_t>(std::count(p, end, '\n'));
    } else {
        const char* const textEnd = text.data() + text.size();
        for (; p < end; ++p)
            ends += *p == '\n' || (*p == '\r' && (p + 1 == textEnd || p[1] != '\n'));
    }
    const bool unended = to > from && text[to - 1] != '\n' && text[to - 1] != '\r';
    return ends + (unended ? 1 : 0);
}

}  // namespace

int JCAMPFile::CheckFile(int file) {
    currentFile_ = file;
    blockIndex_ = -1;
    lineNumber_ = 0;
    depth_ = 0;
    scanned_.clear();
    openBlocks_.clear();
    const std::string_view text = Text(file);
    size_t pos = 0;
    if (text.starts_with("\xEF\xBB\xBF"))
        pos = 3;  // a UTF-8 byte-order mark
    std::string_view line;
    bool first = true;
    while (NextLine(text, pos, line)) {
        ++lineNumber_;
        line = Unindented(line);
        if (first) {
            // The first line must be the first block's title.
            const size_t equals = line.find('=');
            if (line.substr(0, 2) != "##" || equals == std::string_view::npos ||
                NormaliseName(line.substr(2, equals - 2)) != "TITLE")
                return Fail(kNotJCAMPFile);
            first = false;
        }
        if (line.size() < 2 || line[0] != '#' || line[1] != '#')
            continue;
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos)
            return Fail(kNoLabelTerminator);
        const int code =
            ReadLabel(NormaliseName(line.substr(2, equals - 2)), line.substr(equals + 1), pos);
        if (code != 0)
            return code;
    }
    if (first)
        return Fail(kNotJCAMPFile);
    if (depth_ != 0)
        return Fail(kTitleEndMismatch);
    // The blocks that hold data go to the block list; a LINK block and a block with a
    // structure only hold none.
    for (Block& block : scanned_) {
        bool hasData = false;
        for (const Page& page : block.pages)
            hasData = hasData || page.hasData;
        if (!hasData)
            continue;
        std::erase_if(block.pages, [](const Page& page) { return !page.hasData; });
        blocks_.push_back(std::move(block));
    }
    scanned_.clear();
    blockIndex_ = -1;
    return 0;
}

int JCAMPFile::ReadNumberLabel(std::string_view value, double& number, bool& given) {
    value = Strip(WithoutComment(value));
    if (value.empty())
        return Fail(kMissingValue);
    if (!ParseDouble(value, number))
        return Fail(kIllegalValue);
    given = true;
    return 0;
}

int JCAMPFile::ReadLabel(std::string_view name, std::string_view value, size_t& pos) {
    if (name == "TITLE")
        return OpenBlock(value);
    if (name == "END")
        return EndBlock();
    if (const int code = RefusalOf(name, kRefusedLabels))
        return Fail(code);
    if (name == "XYDATA" || name == "DATATABLE" || name == "PEAKTABLE" || name == "XYPOINTS")
        return AddData(value, pos);
    if (blockIndex_ < 0)
        return 0;  // outside a block only the labels above mean anything
    return ReadBlockLabel(scanned_[static_cast<size_t>(blockIndex_)], name, value);
}

int JCAMPFile::OpenBlock(std::string_view title) {
    // A new block, inside the blocks not yet ended. LINK blocks hold blocks one level
    // deep: a file that opens block after block without ending any is damaged, and
    // refused before its blocks fill memory.
    if (++depth_ > kDeepestBlocks)
        return Fail(kTitleEndMismatch);
    Block block;
    block.file = currentFile_;
    block.title = std::string(Strip(title));
    scanned_.push_back(std::move(block));
    blockIndex_ = static_cast<int>(scanned_.size()) - 1;
    openBlocks_.push_back(blockIndex_);
    return 0;
}

int JCAMPFile::EndBlock() {
    if (--depth_ < 0)
        return Fail(kTitleEndMismatch);
    if (!openBlocks_.empty()) {
        // A block ended without data and without blocks after it is of no further
        // use: dropped now, so that a million empty blocks cost no memory.
        const int ended = openBlocks_.back();
        openBlocks_.pop_back();
        if (ended == static_cast<int>(scanned_.size()) - 1 &&
            std::none_of(scanned_.back().pages.begin(), scanned_.back().pages.end(),
                         [](const Page& page) { return page.hasData; }))
            scanned_.pop_back();
    }
    blockIndex_ = openBlocks_.empty() ? -1 : openBlocks_.back();
    return 0;
}

int JCAMPFile::ReadBlockLabel(Block& block, std::string_view name, std::string_view value) {
    if (name == "DATATYPE") {
        block.dataType = std::string(Strip(WithoutComment(value)));
        block.link = Keyword(value) == "LINK";
    } else if (name == "DATACLASS") {
        return ReadDataClass(block, value);
    } else if (name == "NTUPLES") {
        block.dataForm = kNTupleForm;
    } else if (name == "BLOCKS") {
        if (!block.link) {
            keptText_ = "Found an illegal label ##BLOCKS within a LINK-block";
            return Fail(kBlocksOutsideLink);
        }
        double count = 0;
        bool given = false;
        if (ReadNumberLabel(value, count, given) != 0)
            return status;
        block.blockCount =
            count >= 0 && count <= std::numeric_limits<int>::max() ? static_cast<int>(count) : 0;
    } else if (name == "BLOCKID") {
        double id = 0;
        bool given = false;
        if (ReadNumberLabel(value, id, given) != 0)
            return status;
        if (std::fabs(id) > std::numeric_limits<int>::max())
            return Fail(kIllegalValue);
        block.blockId = static_cast<int>(id);
    } else if (name == "XUNITS" || name == "YUNITS" || name == "DATE" || name == "TIME") {
        std::string& text = name == "XUNITS"   ? block.xUnits
                            : name == "YUNITS" ? block.yUnits
                            : name == "DATE"   ? block.date
                                               : block.time;
        text = std::string(Strip(WithoutComment(value)));
    } else if (name == "FIRSTX") {
        return ReadNumberLabel(value, block.firstX, block.hasFirstX);
    } else if (name == "LASTX") {
        return ReadNumberLabel(value, block.lastX, block.hasLastX);
    } else if (name == "DELTAX") {
        return ReadNumberLabel(value, block.deltaX, block.hasDeltaX);
    } else if (name == "XFACTOR" || name == "YFACTOR") {
        bool given = false;
        return ReadNumberLabel(value, name == "XFACTOR" ? block.xFactor : block.yFactor, given);
    } else if (name == "NPOINTS") {
        return ReadPointCount(block, value);
    } else if (name == "PAGE") {
        AddPage(Strip(WithoutComment(value)));
    }
    return 0;
}

int JCAMPFile::ReadDataClass(Block& block, std::string_view value) {
    const std::string dataClass = Keyword(value);
    if (const int code = RefusalOf(dataClass, kRefusedClasses))
        return Fail(code);
    if (dataClass != "XYDATA" && dataClass != "XYPOINTS" && dataClass != "PEAKTABLE")
        return Fail(kUnknownDataClass);
    block.dataClass = dataClass;
    return 0;
}

int JCAMPFile::ReadPointCount(Block& block, std::string_view value) {
    value = Strip(WithoutComment(value));
    if (value.empty())
        return Fail(kMissingValue);
    double count = 0;
    if (!ParseDouble(value, count) || std::fabs(count - std::round(count)) > 1e-30 || count < 1 ||
        count > std::numeric_limits<int32_t>::max())
        return Fail(kBadNPoints);
    block.numPoints = static_cast<int32_t>(count);
    return 0;
}

void JCAMPFile::AddPage(std::string_view text) {
    if (blockIndex_ < 0)
        return;
    std::vector<Page>& pages = scanned_[static_cast<size_t>(blockIndex_)].pages;
    if (!pages.empty() && !pages.back().hasData) {
        // A page without data is replaced by the next rather than kept.
        pages.back().text = std::string(text);
        return;
    }
    Page page;
    page.text = std::string(text);
    pages.push_back(std::move(page));
}

int JCAMPFile::AddData(std::string_view value, size_t& pos) {
    if (blockIndex_ < 0) {
        SkipDataLines(pos);
        return 0;
    }
    Block& block = scanned_[static_cast<size_t>(blockIndex_)];
    if (block.dataForm == kNTupleForm)
        return Fail(kNTuples);
    // The variable list says how the data are written; "(X++(Y..Y)" without its last
    // parenthesis is a common slip.
    const std::string variables = Keyword(value);
    int form = kNoForm;
    if (variables.starts_with("(X++(Y..Y)") || variables.starts_with("XYDATA"))
        form = kXYData;
    else if (variables.starts_with("(XY..XY)"))
        form = kPointTable;
    else if (variables.starts_with("(XA)") || variables.starts_with("(XYA)") ||
             variables.starts_with("(XYMA)"))
        return Fail(kAssignments);
    else
        return Fail(kNoValidData);
    if (block.dataForm != kNoForm && block.dataForm != form) {
        // A second table of another kind in one block (a peak table beside the
        // spectrum): the block keeps its first.
        SkipDataLines(pos);
        return 0;
    }
    block.dataForm = form;
    if (block.pages.empty() || block.pages.back().hasData)
        block.pages.emplace_back();
    Page& page = block.pages.back();
    page.position = pos;
    page.line = lineNumber_ + 1;
    page.hasData = true;
    page.points = block.numPoints;
    SkipDataLines(pos);
    return 0;
}

void JCAMPFile::SkipDataLines(size_t& pos) {
    // Up to the next line that starts with '#' (after blanks), which the scan reads
    // next, counting the lines passed. A '#' is looked for rather than every line
    // read: data lines hold none, mostly.
    const std::string_view text = Text(currentFile_);
    size_t from = pos;
    while (true) {
        const size_t hash = text.find('#', from);
        if (hash == std::string_view::npos) {
            lineNumber_ += LineCount(text, pos, text.size());
            pos = text.size();
            return;
        }
        size_t lineStart = hash;
        while (lineStart > pos && IsBlank(text[lineStart - 1]))
            --lineStart;
        if (lineStart == pos || text[lineStart - 1] == '\n' || text[lineStart - 1] == '\r') {
            lineNumber_ += LineCount(text, pos, lineStart);
            pos = lineStart;
            return;
        }
        from = hash + 1;
    }
}
