// Cell records of a binary worksheet. A row header record gives the row of the cells
// after it; each full cell record starts with its column and style, while the short
// forms (written by some tools to save space) leave the column out: it is one past the
// previous cell's. Besides the cell kinds Excel itself writes, inline texts (plain and
// with formatting runs) and the short forms are read, since other writers store cells
// that way and leaving them out would lose data.
#include "formats/workbook/xlsb/XlsbSheet.h"

#include <algorithm>
#include <map>

#include "formats/workbook/ExcelFile.h"
#include "formats/workbook/WorkbookValues.h"
#include "formats/workbook/xlsb/XlsbRecords.h"
#include "platform/ZipPackage.h"

namespace zm::xlsb {

namespace {

constexpr uint64_t kSheetPartLimit = uint64_t{1} << 30;

enum : uint32_t {
    kRowHeader = 0,
    kBlank = 1,
    kRk = 2,
    kError = 3,
    kBool = 4,
    kReal = 5,
    kInlineString = 6,
    kSharedString = 7,
    kFormulaString = 8,
    kFormulaNumber = 9,
    kFormulaBool = 10,
    kFormulaError = 11,
    kShortBlank = 12,
    kShortRk = 13,
    kShortError = 14,
    kShortBool = 15,
    kShortReal = 16,
    kShortString = 17,
    kShortSharedString = 18,
    kBeginAlternate = 37,
    kRichString = 62,
    kEndAlternate = 38,
    kSkipped = 427,
};

using Cells = xlsx::SheetCells;

class SheetReader {
  public:
    SheetReader(const std::vector<bool>& dateStyles, Cells& out)
        : dateStyles(dateStyles), out(out) {}

    // False when the record is too short for what its id says it holds.
    bool Cell(const Record& record, long long& unknownRecords) {
        const uint32_t id = record.id;
        if (id == kBeginAlternate || id == kEndAlternate) {
            alternate = id == kBeginAlternate ? alternate + 1 : std::max(0, alternate - 1);
            return true;
        }
        if (id == kRowHeader)
            return RowHeader(record);
        if (id == kRichString)
            return RichString(record);
        if (id > kShortSharedString) {
            if (id != kSkipped && alternate == 0)
                ++unknownRecords;
            return true;
        }
        size_t at = 0;
        uint32_t style = 0;
        return Position(record, at, style) && Value(record, at, style);
    }

  private:
    bool RowHeader(const Record& record) {
        if (record.size < 4)
            return false;
        const uint32_t r = U32At(record.data, 0);
        if (r >= kMaxRows)
            return false;
        row = static_cast<int>(r);
        col = -1;
        return true;
    }

    // The cell's column and style, and where its value starts: full records give the
    // column, short ones are one column past the previous cell.
    bool Position(const Record& record, size_t& at, uint32_t& style) {
        if (record.id >= kShortBlank) {
            if (record.size < 4 || col + 1 >= kMaxCols)
                return false;
            ++col;
            style = U32At(record.data, 0) & 0xFFFFFF;
            at = 4;
            return true;
        }
        if (record.size < 8)
            return false;
        const uint32_t c = U32At(record.data, 0);
        if (c >= kMaxCols)
            return false;
        col = static_cast<int>(c);
        style = U32At(record.data, 4) & 0xFFFFFF;
        at = 8;
        return true;
    }

    // The cell's value, from `at` on.
    bool Value(const Record& record, size_t at, uint32_t style) {
        switch (record.id) {
            case kBlank:
            case kShortBlank:
                return true;
            case kRk:
            case kShortRk:
                return record.size >= at + 4 &&
                       Number(ExcelFile::NumFromRk(U32At(record.data, at)), style);
            case kReal:
            case kFormulaNumber:
            case kShortReal:
                return record.size >= at + 8 && Number(DoubleAt(record.data, at), style);
            case kError:
            case kFormulaError:
            case kShortError:
                return record.size >= at + 1 && Constant(GetErrorString(record.data[at]));
            case kBool:
            case kFormulaBool:
            case kShortBool:
                return record.size >= at + 1 && Constant(record.data[at] != 0 ? "TRUE" : "FALSE");
            case kSharedString:
            case kShortSharedString:
                if (record.size < at + 4)
                    return false;
                Add(Cells::Kind::kShared, 0, U32At(record.data, at));
                return true;
            default: {  // inline strings and string formula results
                std::string text;
                if (!StringAt(record, at, text))
                    return false;
                out.texts.push_back(std::move(text));
                Add(Cells::Kind::kText, 0, static_cast<uint32_t>(out.texts.size() - 1));
                return true;
            }
        }
    }

    // A text cell with formatting runs: the column, style and one flags byte come before
    // the text; the runs after it are left out.
    bool RichString(const Record& record) {
        std::string text;
        if (record.size < 9 || U32At(record.data, 0) >= kMaxCols || !StringAt(record, 9, text))
            return false;
        col = static_cast<int>(U32At(record.data, 0));
        out.texts.push_back(std::move(text));
        Add(Cells::Kind::kText, 0, static_cast<uint32_t>(out.texts.size() - 1));
        return true;
    }

    void Add(Cells::Kind kind, double number, uint32_t index) {
        out.cells.push_back(kind == Cells::Kind::kNumber || kind == Cells::Kind::kDate
                                ? Cells::Cell::Number(row, col, kind, number)
                                : Cells::Cell::Index(row, col, kind, index));
        out.rows = std::max(out.rows, row + 1);
        out.cols = std::max(out.cols, col + 1);
    }

    bool Number(double value, uint32_t style) {
        const bool date = style < dateStyles.size() && dateStyles[style];
        Add(date ? Cells::Kind::kDate : Cells::Kind::kNumber, value, 0);
        return true;
    }

    // Booleans and error texts: one copy of each text per sheet.
    bool Constant(const char* text) {
        auto [it, added] = constants.try_emplace(text, static_cast<uint32_t>(out.texts.size()));
        if (added)
            out.texts.emplace_back(text);
        Add(Cells::Kind::kText, 0, it->second);
        return true;
    }

    const std::vector<bool>& dateStyles;
    Cells& out;
    int row = 0;
    int col = -1;
    int alternate = 0;
    std::map<std::string, uint32_t> constants;
};

}  // namespace

SheetResult ReadBinarySheet(const ZipPackage& package, const std::string& part,
                            const std::vector<bool>& dateStyles, xlsx::SheetCells& out,
                            long long& unknownRecords) {
    auto stream = package.OpenStream(part, kSheetPartLimit);
    if (!stream)
        return SheetResult::kMissing;
    RecordReader reader(*stream);
    SheetReader sheet(dateStyles, out);
    Record record;
    while (reader.ReadBiffRecord(record)) {
        if (!sheet.Cell(record, unknownRecords))
            return SheetResult::kCorrupt;
    }
    return reader.Damaged() ? SheetResult::kCorrupt : SheetResult::kOk;
}

}  // namespace zm::xlsb
