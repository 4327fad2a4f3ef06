// CSV, TSV and JSON writers over a sheet, one output line per sheet row.
#include "cli/SheetWriters.h"

#include <algorithm>
#include <cmath>

#include "cli/NumberFormat.h"

namespace zmcli {

namespace {

// Text of a number cell as CSV and TSV print it.
std::string NumberText(const Cell& cell) {
    switch (cell.kind) {
        case Cell::Kind::kDouble:
            return FormatDouble(cell.d);
        case Cell::Kind::kFloat:
            return FormatFloat(cell.f);
        case Cell::Kind::kInteger:
            return FormatInteger(cell.i);
        default:
            return {};
    }
}

bool IsFiniteNumber(const Cell& cell) {
    if (cell.kind == Cell::Kind::kDouble)
        return std::isfinite(cell.d);
    if (cell.kind == Cell::Kind::kFloat)
        return std::isfinite(cell.f);
    return cell.kind == Cell::Kind::kInteger;
}

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

// Appends the printed form of a text cell to the output line.
using FieldFn = void (*)(const Sheet&, const Cell&, std::string& line);

void WriteDelimited(const Sheet& sheet, char delimiter, FieldFn field, std::ostream& out) {
    const int cols = sheet.Columns();
    const int rows = sheet.Rows();
    std::string line;
    for (int row = 1; row <= rows; ++row) {
        line.clear();
        const std::vector<Cell>* cells = sheet.RowCells(row);
        for (int col = 1; col <= cols; ++col) {
            if (col > 1)
                line += delimiter;
            if (cells == nullptr || static_cast<size_t>(col) > cells->size())
                continue;
            const Cell& cell = (*cells)[col - 1];
            if (cell.kind == Cell::Kind::kText) {
                field(sheet, cell, line);
            } else if (cell.kind != Cell::Kind::kMissing) {
                line += NumberText(cell);
            }
        }
        line += '\n';
        out << line;
    }
}

void WriteJson(const Sheet& sheet, std::ostream& out) {
    const int cols = sheet.Columns();
    const int rows = sheet.Rows();
    out << "{\"columns\": " << cols << ", \"rows\": " << rows << ", \"cells\": [";
    std::string line;
    for (int row = 1; row <= rows; ++row) {
        line = row > 1 ? ",\n  [" : "\n  [";
        const std::vector<Cell>* cells = sheet.RowCells(row);
        for (int col = 1; col <= cols; ++col) {
            if (col > 1)
                line += ", ";
            const Cell* cell = cells != nullptr && static_cast<size_t>(col) <= cells->size()
                                   ? &(*cells)[col - 1]
                                   : nullptr;
            if (cell == nullptr || cell->kind == Cell::Kind::kMissing) {
                line += "null";
            } else if (cell->kind == Cell::Kind::kText) {
                line += JsonString(sheet.TextOf(*cell));
            } else {
                line += IsFiniteNumber(*cell) ? NumberText(*cell) : "null";
            }
        }
        line += ']';
        out << line;
    }
    out << (rows > 0 ? "\n]}\n" : "]}\n");
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

void WriteSheet(const Sheet& sheet, OutputFormat format, std::ostream& out) {
    switch (format) {
        case OutputFormat::kCsv:
            WriteDelimited(
                sheet, ',',
                [](const Sheet& s, const Cell& c, std::string& line) {
                    AppendCsvField(s.TextOf(c), line);
                },
                out);
            break;
        case OutputFormat::kTsv:
            WriteDelimited(
                sheet, '\t',
                [](const Sheet& s, const Cell& c, std::string& line) {
                    line += TsvField(s.TextOf(c));
                },
                out);
            break;
        case OutputFormat::kJson:
            WriteJson(sheet, out);
            break;
    }
}

std::string CsvField(std::string_view text) {
    std::string field;
    AppendCsvField(text, field);
    return field;
}

void AppendCsvField(std::string_view text, std::string& out) {
    // One pass with plain comparisons: find_first_of searches the set once per byte.
    const bool plain = std::none_of(text.begin(), text.end(), [](char c) {
        return c == ',' || c == '"' || c == '\r' || c == '\n';
    });
    if (plain) {
        out += text;
        return;
    }
    out += '"';
    for (char c : text) {
        if (c == '"')
            out += '"';
        out += c;
    }
    out += '"';
}

std::string TsvField(std::string_view text) {
    std::string field;
    field.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '\\':
                field += "\\\\";
                break;
            case '\t':
                field += "\\t";
                break;
            case '\n':
                field += "\\n";
                break;
            case '\r':
                field += "\\r";
                break;
            default:
                field += c;
        }
    }
    return field;
}

std::string JsonString(std::string_view text) {
    static const char kHex[] = "0123456789abcdef";
    std::string out = "\"";
    out.reserve(text.size() + 2);
    for (size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80) {
            const size_t length = Utf8SequenceLength(text.substr(i));
            if (length == 0) {
                out += "\xEF\xBF\xBD";  // U+FFFD REPLACEMENT CHARACTER
                ++i;
            } else {
                out.append(text.substr(i, length));
                i += length;
            }
            continue;
        }
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            default:
                if (c < 0x20 || c == 0x7F) {
                    out += "\\u00";
                    out += kHex[c >> 4];
                    out += kHex[c & 0xF];
                } else {
                    out += static_cast<char>(c);
                }
        }
        ++i;
    }
    out += '"';
    return out;
}

}  // namespace zmcli
