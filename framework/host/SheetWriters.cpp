// CSV, TSV and JSON writers over a sheet, one output line per sheet row.
#include "framework/host/SheetWriters.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "framework/host/NumberFormat.h"

namespace zmhost {

namespace {

// Length of the valid UTF-8 sequence at the start of `s`, or 0 when it is not one
// (overlong forms, surrogates and code points past U+10FFFF are invalid).
size_t Utf8SequenceLength(std::string_view s) {
    const auto b0 = static_cast<unsigned char>(s[0]);
    size_t length;
    unsigned int low = 0x80, high = 0xBF;  // allowed range of the second byte
    if (b0 >= 0xC2 && b0 <= 0xDF) {
        length = 2;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
        length = 3;
        if (b0 == 0xE0)
            low = 0xA0;
        if (b0 == 0xED)
            high = 0x9F;
    } else if (b0 >= 0xF0 && b0 <= 0xF4) {
        length = 4;
        if (b0 == 0xF0)
            low = 0x90;
        if (b0 == 0xF4)
            high = 0x8F;
    } else {
        return 0;
    }
    if (s.size() < length)
        return 0;
    for (size_t k = 1; k < length; ++k) {
        const auto b = static_cast<unsigned char>(s[k]);
        const unsigned int lo = k == 1 ? low : 0x80, hi = k == 1 ? high : 0xBF;
        if (b < lo || b > hi)
            return 0;
    }
    return length;
}

void AppendCsvText(std::string_view text, OutputBuffer& out) {
    // One pass with plain comparisons: find_first_of searches the set once per byte.
    const bool plain = std::none_of(text.begin(), text.end(), [](char c) {
        return c == ',' || c == '"' || c == '\r' || c == '\n';
    });
    if (plain) {
        out.Append(text);
        return;
    }
    char* const start = out.Room(2 * text.size() + 2);
    char* p = start;
    *p++ = '"';
    for (char c : text) {
        if (c == '"')
            *p++ = '"';
        *p++ = c;
    }
    *p++ = '"';
    out.Used(p - start);
}

void AppendTsvText(std::string_view text, OutputBuffer& out) {
    char* const start = out.Room(2 * text.size());
    char* p = start;
    for (char c : text) {
        const char escaped = c == '\\'   ? '\\'
                             : c == '\t' ? 't'
                             : c == '\n' ? 'n'
                             : c == '\r' ? 'r'
                                         : 0;
        if (escaped != 0) {
            *p++ = '\\';
            *p++ = escaped;
        } else {
            *p++ = c;
        }
    }
    out.Used(p - start);
}

// Escape letters of the JSON controls that have one, by byte value; 0 for \u00XX.
char JsonEscapeLetter(unsigned char c) {
    switch (c) {
        case '"':
            return '"';
        case '\\':
            return '\\';
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        case '\t':
            return 't';
        case '\b':
            return 'b';
        case '\f':
            return 'f';
        default:
            return 0;
    }
}

void AppendJsonText(std::string_view text, OutputBuffer& out) {
    static const char kHex[] = "0123456789abcdef";
    // Every input byte becomes at most six output bytes (\u00XX, or U+FFFD's three).
    char* const start = out.Room(6 * text.size() + 2);
    char* p = start;
    *p++ = '"';
    for (size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80) {
            const size_t length = Utf8SequenceLength(text.substr(i));
            if (length == 0) {
                p = std::copy_n("\xEF\xBF\xBD", 3, p);  // U+FFFD REPLACEMENT CHARACTER
                ++i;
            } else {
                p = std::copy_n(text.data() + i, length, p);
                i += length;
            }
            continue;
        }
        if (const char letter = JsonEscapeLetter(c)) {
            *p++ = '\\';
            *p++ = letter;
        } else if (c < 0x20 || c == 0x7F) {
            p = std::copy_n("\\u00", 4, p);
            *p++ = kHex[c >> 4];
            *p++ = kHex[c & 0xF];
        } else {
            *p++ = static_cast<char>(c);
        }
        ++i;
    }
    *p++ = '"';
    out.Used(p - start);
}

}  // namespace

std::optional<OutputFormat> ParseOutputFormat(std::string_view name) {
    if (name == "csv")
        return OutputFormat::kCsv;
    if (name == "tsv")
        return OutputFormat::kTsv;
    if (name == "json")
        return OutputFormat::kJson;
    return std::nullopt;
}

void RowPrinter::BeginTable(int cols, int rows) {
    if (format != OutputFormat::kJson)
        return;
    out.Append("{\"columns\": ");
    Integer(cols);
    out.Append(", \"rows\": ");
    Integer(rows);
    out.Append(", \"cells\": [");
}

void RowPrinter::BeginRow(int row) {
    if (format == OutputFormat::kJson)
        out.Append(row > 1 ? ",\n  [" : "\n  [");
}

void RowPrinter::EndRow() {
    out.Append(format == OutputFormat::kJson ? ']' : '\n');
    out.RowDone();
}

void RowPrinter::EndTable(int rows) {
    if (format == OutputFormat::kJson)
        out.Append(rows > 0 ? "\n]}\n" : "]}\n");
}

void RowPrinter::Double(double value) {
    if (format == OutputFormat::kJson && !std::isfinite(value))
        Missing();
    else
        out.Used(PrintDouble(value, out.Room(kNumberRoom)));
}

void RowPrinter::Float(float value) {
    if (format == OutputFormat::kJson && !std::isfinite(value))
        Missing();
    else
        out.Used(PrintFloat(value, out.Room(kNumberRoom)));
}

template <typename T>
void RowPrinter::Separated(const T* values, size_t count) {
    const std::string_view separator = format == OutputFormat::kJson  ? ", "
                                       : format == OutputFormat::kCsv ? ","
                                                                      : "\t";
    // Room for a few hundred cells at a time, so that a long run does not ask for room
    // for all of it at once.
    constexpr size_t kCellsPerRoom = 256;
    while (count > 0) {
        const size_t n = std::min(count, kCellsPerRoom);
        char* const room = out.Room(n * (kNumberRoom + separator.size()));
        out.Used(PrintSeparatedNumbers(values, n, separator, room));
        values += n;
        count -= n;
    }
}

void RowPrinter::SeparatedNumbers(const double* values, size_t count) {
    Separated(values, count);
}

void RowPrinter::SeparatedNumbers(const float* values, size_t count) {
    Separated(values, count);
}

void RowPrinter::Integer(long long value) {
    out.Used(PrintInteger(value, out.Room(kNumberRoom)));
}

void RowPrinter::Text(std::string_view text) {
    switch (format) {
        case OutputFormat::kCsv:
            AppendCsvText(text, out);
            break;
        case OutputFormat::kTsv:
            AppendTsvText(text, out);
            break;
        case OutputFormat::kJson:
            AppendJsonText(text, out);
            break;
    }
}

void RowPrinter::StoredCell(const Sheet& sheet, const Cell& cell) {
    switch (cell.kind) {
        case Cell::Kind::kMissing:
            Missing();
            break;
        case Cell::Kind::kDouble:
            Double(cell.d);
            break;
        case Cell::Kind::kFloat:
            Float(cell.f);
            break;
        case Cell::Kind::kInteger:
            Integer(cell.i);
            break;
        case Cell::Kind::kText:
            Text(sheet.TextOf(cell));
            break;
    }
}

namespace {

// Prints the numbers of the sheet's block from `col` of `row` on, up to the first cell
// kept one by one or without a number, or `cols`; returns the column after them (`col`
// itself when there is none to print). Numbers are gathered a few hundred at a time and
// printed as one run.
int PrintBlockRun(const Sheet& sheet, const std::vector<Cell>* cells, int col, int row, int cols,
                  RowPrinter& printer) {
    constexpr int kGathered = 256;
    double run[kGathered];
    const int keptWidth = cells != nullptr ? static_cast<int>(cells->size()) : 0;
    while (col <= cols) {
        int n = 0;
        for (; n < kGathered && col + n <= cols; ++n) {
            const int c = col + n;
            if (c <= keptWidth && (*cells)[c - 1].kind != Cell::Kind::kMissing)
                break;
            const double number = sheet.BlockAt(c, row);
            if (number != number)
                break;
            run[n] = number;
        }
        if (n == 0)
            break;
        if (col == 1) {
            printer.Double(run[0]);
            printer.SeparatedNumbers(run + 1, static_cast<size_t>(n - 1));
        } else {
            printer.SeparatedNumbers(run, static_cast<size_t>(n));
        }
        col += n;
        if (n < kGathered)
            break;
    }
    return col;
}

}  // namespace

void WriteSheet(const Sheet& sheet, OutputFormat format, OutputBuffer& out) {
    const int cols = sheet.Columns();
    const int rows = sheet.Rows();
    RowPrinter printer(format, out);
    printer.BeginTable(cols, rows);
    for (int row = 1; row <= rows; ++row) {
        printer.BeginRow(row);
        const std::vector<Cell>* cells = sheet.RowCells(row);
        for (int col = 1; col <= cols;) {
            if (sheet.HasBlock()) {
                const int next = PrintBlockRun(sheet, cells, col, row, cols, printer);
                if (next != col) {
                    col = next;
                    continue;
                }
            }
            if (col > 1)
                printer.Separator();
            if (cells != nullptr && static_cast<size_t>(col) <= cells->size() &&
                (*cells)[col - 1].kind != Cell::Kind::kMissing) {
                printer.StoredCell(sheet, (*cells)[col - 1]);
            } else {
                printer.Missing();
            }
            ++col;
        }
        printer.EndRow();
    }
    printer.EndTable(rows);
}

void WriteSheet(const Sheet& sheet, OutputFormat format, std::ostream& out) {
    OutputBuffer buffer(out);
    WriteSheet(sheet, format, buffer);
    buffer.Finish();
}

std::string FieldText(OutputFormat format, std::string_view text) {
    std::ostringstream stream;
    OutputBuffer buffer(stream);
    RowPrinter(format, buffer).Text(text);
    buffer.Finish();
    return stream.str();
}

}  // namespace zmhost
