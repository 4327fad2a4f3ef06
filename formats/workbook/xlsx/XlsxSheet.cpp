// One worksheet part read as a stream of rows and cells. The sheet's size is the extent of
// the cells it holds: rows and "spans" also cover formatted empty cells (Gnumeric writes
// spans of 16,384 columns), which would only add empty columns and rows.
#include "formats/workbook/xlsx/XlsxSheet.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <optional>

#include "formats/workbook/xlsx/XlsxParts.h"
#include "formats/workbook/xlsx/XlsxSheetScan.h"
#include "platform/XmlReader.h"
#include "platform/ZipPackage.h"

namespace zm::xlsx {

namespace {

// What a worksheet part may inflate to; beyond it the package is refused as damaged.
constexpr uint64_t kSheetPartLimit = uint64_t{1} << 30;

bool ToDouble(const std::string& text, double& value) {
    const char* begin = text.data();
    const char* end = begin + text.size();
    while (begin < end && *begin == ' ')
        ++begin;
    const auto [stop, error] = std::from_chars(begin, end, value);
    return error == std::errc() && stop == end;
}

// Compares a name with a short literal in place: millions of cells are told apart by
// their element and attribute names.
template <size_t N>
bool Is(std::string_view name, const char (&literal)[N]) {
    if (name.size() != N - 1)
        return false;
    for (size_t i = 0; i + 1 < N; ++i) {
        if (name[i] != literal[i])
            return false;
    }
    return true;
}

// The value of the attribute named `name`: the first of that name, as AttributeOf finds.
template <size_t N>
std::optional<std::string_view> Attribute(const std::vector<XmlAttribute>& a,
                                          const char (&name)[N]) {
    for (const XmlAttribute& attribute : a) {
        if (Is(attribute.name, name))
            return std::string_view(attribute.value);
    }
    return std::nullopt;
}

class SheetHandler : public XmlHandler {
  public:
    SheetHandler(const std::vector<bool>& dateStyles, SheetCells& out)
        : dateStyles(dateStyles), out(out) {}

    void Start(std::string_view name, const std::vector<XmlAttribute>& a) override {
        if (Is(name, "row")) {
            // A row beyond the last (or numbered 0) is kMaxRows: its cells are left out.
            const auto r = Attribute(a, "r");
            const long long number = r ? ToInt(*r).value_or(0) : row + 2;
            row = number >= 1 && number <= kMaxRows ? static_cast<int>(number - 1) : kMaxRows;
            col = -1;
        } else if (Is(name, "c")) {
            // The reference places the cell; without one it follows the previous cell.
            const auto r = Attribute(a, "r");
            const int c = r ? ColumnOfReference(*r) : -1;
            const int rowOfCell = r ? RowOfReference(*r) : -1;
            col = c >= 0 ? c : std::min(col + 1, kMaxCols);
            cellRow = rowOfCell >= 0 ? rowOfCell : row;
            type = std::string(Attribute(a, "t").value_or(""));
            style = static_cast<size_t>(ToInt(Attribute(a, "s").value_or("0")).value_or(0));
            value.clear();
            inlineText.clear();
            hasValue = false;
        } else if (Is(name, "v")) {
            inValue = true;
            hasValue = true;
        } else if (Is(name, "is")) {
            inInline = true;
        } else if (Is(name, "rPh")) {
            ++phonetic;
        } else if (Is(name, "t") && inInline && phonetic == 0) {
            inInlineText = true;
        }
    }

    void End(std::string_view name) override {
        if (Is(name, "v")) {
            inValue = false;
        } else if (Is(name, "t")) {
            inInlineText = false;
        } else if (Is(name, "is")) {
            inInline = false;
        } else if (Is(name, "rPh")) {
            --phonetic;
        } else if (Is(name, "c")) {
            Finish();
        }
    }

    void Text(std::string_view text) override {
        if (inValue)
            value += text;
        else if (inInlineText)
            inlineText += text;
    }

  private:
    void Finish() {
        if (cellRow >= kMaxRows || col >= kMaxCols || cellRow < 0 || col < 0) {
            // Beyond the sheet's limits: left out and counted, never moved onto a cell.
            if (hasValue || Is(type, "inlineStr"))
                ++out.outside;
            return;
        }
        auto cell = SheetCells::Cell::Number(cellRow, col, SheetCells::Kind::kNumber, 0.0);
        if (Is(type, "s")) {
            if (!hasValue)
                return;
            const auto index = ToInt(value, true);
            if (!index || *index < 0 || *index > UINT32_MAX) {
                ++out.unresolved;
                return;
            }
            cell.kind = SheetCells::Kind::kShared;
            cell.index = static_cast<uint32_t>(*index);
        } else if (Is(type, "inlineStr")) {
            AddText(cell, DecodeEscapes(inlineText));
            return;
        } else if (Is(type, "d")) {
            // An ISO 8601 date written as text: shown as the date texts of date styles are.
            if (!hasValue)
                return;
            std::string text = value.substr(0, value.find_first_of(".Z+"));
            std::replace(text.begin(), text.end(), 'T', ' ');
            if (text.size() > 10 && text.compare(text.size() - 9, 9, " 00:00:00") == 0)
                text.resize(text.size() - 9);
            AddText(cell, text);
            return;
        } else if (Is(type, "str") || Is(type, "e")) {
            if (!hasValue)
                return;
            AddText(cell, DecodeEscapes(value));
            return;
        } else if (Is(type, "b")) {
            if (!hasValue)
                return;
            AddText(cell, ToInt(value).value_or(0) != 0 ? "TRUE" : "FALSE");
            return;
        } else {
            if (!hasValue || !ToDouble(value, cell.number))
                return;
            // "n" is what an absent type means, and writers put it either way: both
            // take the date test of the cell's style.
            const bool date = style < dateStyles.size() && dateStyles[style];
            cell.kind = date ? SheetCells::Kind::kDate : SheetCells::Kind::kNumber;
        }
        Keep(cell);
    }

    // Cells with a value make the sheet's extent; styled empty cells do not.
    void Keep(const SheetCells::Cell& cell) {
        out.cols = std::max(out.cols, cell.col + 1);
        out.rows = std::max(out.rows, cell.row + 1);
        out.cells.push_back(cell);
    }

    void AddText(SheetCells::Cell cell, std::string text) {
        cell.kind = SheetCells::Kind::kText;
        cell.index = static_cast<uint32_t>(out.texts.size());
        out.texts.push_back(std::move(text));
        Keep(cell);
    }

    const std::vector<bool>& dateStyles;
    SheetCells& out;
    int row = -1, col = -1, cellRow = -1;
    std::string type, value, inlineText;
    size_t style = 0;
    bool hasValue = false, inValue = false, inInline = false, inInlineText = false;
    int phonetic = 0;
};

}  // namespace

namespace {

// The letters leading a reference, in either case: "d1" is D1.
size_t LettersOf(std::string_view reference) {
    size_t i = 0;
    while (i < reference.size() && ((reference[i] >= 'A' && reference[i] <= 'Z') ||
                                    (reference[i] >= 'a' && reference[i] <= 'z')))
        ++i;
    return i;
}

}  // namespace

int ColumnOfReference(std::string_view reference) {
    const size_t letters = LettersOf(reference);
    long long col = 0;
    for (size_t i = 0; i < letters; ++i) {
        col = col * 26 + ((reference[i] | 0x20) - 'a' + 1);
        if (col > kMaxCols)
            return kMaxCols;
    }
    return letters == 0 ? -1 : static_cast<int>(col - 1);
}

int RowOfReference(std::string_view reference) {
    const size_t letters = LettersOf(reference);
    long long row = 0;
    size_t i = letters;
    for (; i < reference.size() && reference[i] >= '0' && reference[i] <= '9'; ++i) {
        row = row * 10 + (reference[i] - '0');
        if (row > kMaxRows)
            return kMaxRows;
    }
    if (i == letters)
        return -1;
    return row == 0 ? kMaxRows : static_cast<int>(row - 1);
}

bool ReadSheet(const ZipPackage& package, const std::string& part,
               const std::vector<bool>& dateStyles, SheetCells& out, std::string& error,
               SheetParser parser) {
    auto stream = package.OpenStream(part, kSheetPartLimit);
    if (!stream) {
        error = "missing part " + part;
        return false;
    }
    if (parser != SheetParser::kXml) {
        SheetHandler handler(dateStyles, out);
        if (ScanSheetData(*stream, handler))
            return true;
        // Given up on, or not well-formed: the XML parser reads the part from its start
        // and says what is wrong with it.
        out = SheetCells{};
        if (parser == SheetParser::kScan) {
            error = "not scanned";
            return false;
        }
        stream = package.OpenStream(part, kSheetPartLimit);
        if (!stream) {
            error = "missing part " + part;
            return false;
        }
    }
    SheetHandler handler(dateStyles, out);
    return ParseXml(*stream, handler, error);
}

}  // namespace zm::xlsx
