// FDC XML reader: the RAWDATA sections, their variables and rows, and the sheet.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstring>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "formats/process/BrooksideXML.h"
#include "formats/process/BrooksideXMLInternal.h"
#include "platform/Translate.h"

namespace {

using zm::fdc::RawDataError;

constexpr std::string_view kNumDataRows = "NUM_DATA_ROWS";

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

std::string_view Trim(std::string_view s) {
    while (!s.empty() && IsBlank(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && IsBlank(s.back()))
        s.remove_suffix(1);
    return s;
}

// Takes the next line off `rest` (without its line feed) and counts it.
std::string_view TakeLine(std::string_view& rest, int& line) {
    const size_t end = rest.find('\n');
    const std::string_view text = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    ++line;
    return text;
}

// The next line that holds more than blanks; false at the end of the text.
bool TakeNonBlankLine(std::string_view& rest, int& line, std::string_view& text) {
    while (!rest.empty()) {
        text = TakeLine(rest, line);
        if (!Trim(text).empty())
            return true;
    }
    return false;
}

// Lines that hold more than blanks, counted without keeping anything.
size_t CountNonBlankLines(std::string_view text) {
    size_t count = 0;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        if (!Trim(text.substr(0, end)).empty())
            ++count;
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return count;
}

// A header-block line: an upper-case key, then "=" or ":".
bool IsKeyValueLine(std::string_view line) {
    line = Trim(line);
    size_t i = 0;
    while (i < line.size() && (std::isupper(static_cast<unsigned char>(line[i])) ||
                               std::isdigit(static_cast<unsigned char>(line[i])) || line[i] == '_'))
        ++i;
    if (i == 0)
        return false;
    const std::string_view after = Trim(line.substr(i));
    return !after.empty() && (after[0] == '=' || after[0] == ':');
}

// Variable names are separated by tab, CR, LF or double quote; blanks around a name go.
std::vector<std::string> SplitNames(std::string_view line) {
    std::vector<std::string> names;
    size_t start = 0;
    while (start <= line.size()) {
        const size_t end = line.find_first_of("\t\r\n\"", start);
        const std::string_view name =
            Trim(line.substr(start, end == std::string_view::npos ? end : end - start));
        if (!name.empty())
            names.emplace_back(name);
        if (end == std::string_view::npos)
            break;
        start = end + 1;
    }
    return names;
}

// A data line's fields: split at tabs, blanks and one pair of double quotes stripped.
void SplitFields(std::string_view line, std::vector<std::string_view>& fields) {
    fields.clear();
    size_t start = 0;
    while (true) {
        const size_t end = line.find('\t', start);
        std::string_view field =
            Trim(line.substr(start, end == std::string_view::npos ? end : end - start));
        if (field.size() >= 2 && field.front() == '"' && field.back() == '"')
            field = field.substr(1, field.size() - 2);
        fields.push_back(field);
        if (end == std::string_view::npos)
            break;
        start = end + 1;
    }
}

bool ParseInt(std::string_view text, int& value) {
    const char* end = text.data() + text.size();
    const auto r = std::from_chars(text.data(), end, value);
    return !text.empty() && r.ec == std::errc() && r.ptr == end;
}

bool ParseDouble(std::string_view text, double& value) {
    if (!text.empty() && text[0] == '+')
        text.remove_prefix(1);
    const char* end = text.data() + text.size();
    const auto r = std::from_chars(text.data(), end, value);
    return !text.empty() && r.ec == std::errc() && r.ptr == end;
}

// Finds the interval that holds each row number, for row numbers that increase: the
// interval first in document order among those whose FromRow..ToRow holds the row.
// Intervals enter once their FromRow is reached and leave for good once passed, so a
// section costs O((rows + intervals) log intervals) however the ranges overlap.
class IntervalLookup {
  public:
    explicit IntervalLookup(const std::vector<BrooksideXML::Phase>& phases) : phases_(phases) {
        order_.resize(phases.size());
        std::iota(order_.begin(), order_.end(), size_t{0});
        std::stable_sort(order_.begin(), order_.end(),
                         [&](size_t a, size_t b) { return phases[a].fromRow < phases[b].fromRow; });
    }

    // The index of the interval, or -1 when none holds the row.
    int Find(int row) {
        while (next_ < order_.size() && phases_[order_[next_]].fromRow <= row) {
            active_.insert(order_[next_]);
            ++next_;
        }
        while (!active_.empty()) {
            const size_t first = *active_.begin();
            if (phases_[first].toRow >= row)
                return static_cast<int>(first);
            active_.erase(active_.begin());
        }
        return -1;
    }

  private:
    const std::vector<BrooksideXML::Phase>& phases_;
    std::vector<size_t> order_;  // by FromRow
    size_t next_ = 0;
    std::set<size_t> active_;  // document order
};

// Column of each variable of a section, counted from 1 among the sheet's variables. The
// k-th of several equal names goes to the k-th sheet column of that name.
std::vector<int> VariableColumns(const std::vector<std::string>& variables,
                                 std::vector<std::pair<std::string, int>>& columns, bool grow) {
    // Copies of the names: `columns` may grow, and move its strings, while this runs.
    std::map<std::pair<std::string, int>, int> known;
    for (size_t i = 0; i < columns.size(); ++i)
        known.emplace(columns[i], static_cast<int>(i) + 1);
    std::map<std::string_view, int> seen;
    std::vector<int> out;
    out.reserve(variables.size());
    for (const std::string& name : variables) {
        const int occurrence = seen[name]++;
        const auto it = known.find({name, occurrence});
        if (it != known.end()) {
            out.push_back(it->second);
        } else if (grow) {
            columns.emplace_back(name, occurrence);
            out.push_back(static_cast<int>(columns.size()));
        } else {
            out.push_back(0);  // not a sheet column (cannot happen after sizing)
        }
    }
    return out;
}

}  // namespace

BrooksideXML::RawDataBuffer BrooksideXML::InitNextBuffer(int wafer) const {
    RawDataBuffer buffer;
    buffer.name = wafers_[wafer].attributes[kRawDataName];
    const auto it = rawData_.find({wafers_[wafer].file, zm::fdc::LowerAscii(buffer.name)});
    if (it == rawData_.end())
        throw RawDataError(zm::FormatMessage(
            zm::Translate("The RAWDATA section with name '%1%' could not be found"), buffer.name));
    const std::string_view text = it->second;

    // The header block: the line with NUM_DATA_ROWS and the KEY=VALUE lines around it.
    const size_t at = text.find(kNumDataRows);
    if (at == std::string_view::npos)
        throw RawDataError(
            "The RawData section '{1}' does not contain the string "
            "'NUM_DATA_ROWS'",
            {buffer.name});
    buffer.line = static_cast<int>(std::count(text.begin(), text.begin() + at, '\n'));
    std::string_view rest = text.substr(at);
    std::string_view countLine = TakeLine(rest, buffer.line).substr(kNumDataRows.size());
    countLine = Trim(countLine);
    while (!countLine.empty() && (countLine[0] == '=' || countLine[0] == ':' ||
                                  countLine[0] == '"' || IsBlank(countLine[0])))
        countLine.remove_prefix(1);
    const std::string_view count = countLine.substr(0, countLine.find_first_of(" \t\r\""));
    if (!ParseInt(count, buffer.rows) || buffer.rows < 0)
        throw RawDataError("Expected an integer value for '{1}', found '{2}'",
                           {std::string(kNumDataRows), std::string(countLine)});

    std::string_view header;
    bool found = false;
    while (TakeNonBlankLine(rest, buffer.line, header)) {
        if (!IsKeyValueLine(header)) {
            found = true;
            break;
        }
    }
    if (found)
        buffer.variables = SplitNames(header);
    if (buffer.variables.empty())
        throw RawDataError(zm::FormatMessage(
            zm::Translate("No variables found in RAWDATA section %1%\n"), buffer.name));
    if (std::find(buffer.variables.begin(), buffer.variables.end(), "Time") ==
        buffer.variables.end())
        throw RawDataError(zm::FormatMessage(
            zm::Translate("Time could not be found in RAWDATA section '%1%'"), buffer.name));
    buffer.rest = rest;
    return buffer;
}

void BrooksideXML::MarkSharedSections() {
    delivered_.assign(wafers_.size(), true);
    warning_.clear();
    std::set<std::pair<int, std::string>> named;
    size_t shared = 0;
    std::string firstShared;
    for (size_t w = 0; w < wafers_.size(); ++w) {
        const std::string& name = wafers_[w].attributes[kRawDataName];
        if (named.emplace(wafers_[w].file, zm::fdc::LowerAscii(name)).second)
            continue;
        delivered_[w] = false;
        if (shared++ == 0)
            firstShared = name;
    }
    if (shared > 0) {
        warning_ = zm::FormatMessage(
            zm::Translate("%1% dataset(s) name a RAWDATA section that an earlier dataset already "
                          "names (the first: '%2%'); its rows are read once, for the earlier "
                          "dataset only."),
            shared, firstShared);
    }
}

int BrooksideXML::EstablishSize() {
    if (status != 0)
        return status;
    numCols = -1;
    numRows = -1;
    sizeEstablished = false;
    columns_.clear();
    try {
        MarkSharedSections();
        long long rows = 1;  // the name row
        for (int w = 0; w < SizeWafer(); ++w) {
            if (!delivered_[static_cast<size_t>(w)])
                continue;
            const RawDataBuffer buffer = InitNextBuffer(w);
            // Every data row takes a line: a count beyond the lines left is refused here,
            // before anybody sizes a table by it.
            if (CountNonBlankLines(buffer.rest) < static_cast<size_t>(buffer.rows))
                throw RawDataError(zm::FormatMessage(
                    zm::Translate("Unexpected EOF in RAWDATA section '%1%'."), buffer.name));
            rows += buffer.rows;
            VariableColumns(buffer.variables, columns_, true);
            if (rows > INT_MAX || columns_.size() > static_cast<size_t>(INT_MAX) - 2)
                throw RawDataError("The sheet has too many rows or columns.");
        }
        numCols = static_cast<int>(columns_.size()) + 2;
        numRows = static_cast<int>(rows);
        sizeEstablished = true;
        return 0;
    } catch (const RawDataError& e) {
        detail_ = e.what();
        columns_.clear();
        return SetStatus(kRawDataError);
    } catch (...) {
        columns_.clear();
        return SetStatus(kUnknownExceptionError);
    }
}

int BrooksideXML::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    if (!sizeEstablished && EstablishSize() != 0)
        return status;
    if (sink == nullptr)
        return 0;
    try {
        return ReadSheet(sink);
    } catch (const RawDataError& e) {
        detail_ = e.what();
        return SetStatus(kRawDataError);
    } catch (...) {
        // The sink or the allocator: not the file's fault.
        return SetStatus(kUnknownExceptionError);
    }
}

int BrooksideXML::ReadSheet(ReadSpreadSheetData* sink) {
    sink->SetDataSize(numCols, numRows);
    sink->Set(1, 1, zm::Translate("Wafer (Batch)").c_str());
    sink->Set(2, 1, zm::Translate("Interval (Phase)").c_str());
    for (size_t c = 0; c < columns_.size(); ++c)
        sink->Set(static_cast<int>(c) + 3, 1, columns_[c].first.c_str());

    int sheetRow = 2;
    std::vector<std::string_view> fields;
    std::string cellText;
    for (int w = 0; w < SizeWafer(); ++w) {
        if (!delivered_[static_cast<size_t>(w)])
            continue;
        RawDataBuffer buffer = InitNextBuffer(w);
        const std::vector<int> columns = VariableColumns(buffer.variables, columns_, false);
        const Wafer& wafer = wafers_[w];
        IntervalLookup intervals(wafer.phases);
        bool first = true;
        int previous = 0;
        for (int r = 0; r < buffer.rows; ++r) {
            std::string_view line;
            if (!TakeNonBlankLine(buffer.rest, buffer.line, line))
                throw RawDataError(zm::FormatMessage(
                    zm::Translate("Unexpected EOF in RAWDATA section '%1%'."), buffer.name));
            SplitFields(line, fields);
            // Field 1 is the row number; the variables follow from field 2 on.
            if (fields.size() < buffer.variables.size() + 1)
                throw RawDataError(
                    "Column {1} not found on line {2} in {3}.",
                    {std::to_string(fields.size() + 1), std::to_string(buffer.line), buffer.name});
            int number = 0;
            if (!ParseInt(fields[0], number) || (!first && number <= previous))
                throw RawDataError(zm::FormatMessage(
                    zm::Translate("Row numbers are not increasing in RAWDATA section '%1%'."),
                    buffer.name));
            first = false;
            previous = number;

            sink->Set(1, sheetRow, wafer.attributes[kWaferID].c_str());
            const int phase = intervals.Find(number);
            if (phase >= 0) {
                const Phase& p = wafer.phases[phase];
                if (phaseID_ == kPhaseNumber) {
                    sink->Set(2, sheetRow, p.number);
                } else {
                    sink->Set(2, sheetRow,
                              (phaseID_ == kPhaseStartTime ? p.startTime : p.name).c_str());
                }
            }
            for (size_t v = 0; v < columns.size(); ++v) {
                const std::string_view field = fields[v + 1];
                if (field.empty() || columns[v] == 0)
                    continue;
                double value = 0;
                if (ParseDouble(field, value)) {
                    sink->Set(columns[v] + 2, sheetRow, value);
                } else {
                    cellText.assign(field);
                    sink->Set(columns[v] + 2, sheetRow, cellText.c_str());
                }
            }
            ++sheetRow;
        }
    }
    return 0;
}
