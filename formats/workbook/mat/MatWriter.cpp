// Writes a sheet as a Level 4 MAT file (little-endian doubles): the data block as "DATA",
// each ID column left of it as "OBSID<n>" and each header row above it as "VARID<n>".
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "formats/workbook/MatFile.h"
#include "formats/workbook/mat/MatInput.h"
#include "platform/Translate.h"

namespace {

// The missing value of the data: the quiet NaN 0xFFF8000000000000.
double MissingValue() {
    const uint64_t bits = 0xFFF8000000000000ull;
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

void PutWord(std::string& bytes, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        bytes += static_cast<char>(v >> (8 * i) & 0xFF);
}

void PutDouble(std::string& bytes, double v) {
    char raw[8];
    std::memcpy(raw, &v, 8);  // the machine's order is little-endian, as written
    bytes.append(raw, 8);
}

// A Level 4 header (type M O P T = 0 0 0 T) with the name and its terminating zero.
std::string Header(int textFlag, int rows, int cols, const std::string& name) {
    std::string bytes;
    PutWord(bytes, static_cast<uint32_t>(textFlag));
    PutWord(bytes, static_cast<uint32_t>(rows));
    PutWord(bytes, static_cast<uint32_t>(cols));
    PutWord(bytes, 0);
    PutWord(bytes, static_cast<uint32_t>(name.size() + 1));
    bytes.append(name.c_str(), name.size() + 1);
    return bytes;
}

// True when the text is a number and nothing else.
bool ToNumber(const std::string& text, double& value) {
    const char* begin = text.data();
    const char* end = begin + text.size();
    if (begin != end && *begin == '+')
        ++begin;
    const auto [stop, error] = std::from_chars(begin, end, value);
    return begin != end && error == std::errc() && stop == end;
}

// Code points of a UTF-8 text.
std::vector<uint32_t> Codes(const std::string& text) {
    std::vector<uint32_t> codes;
    zm::mat::DecodeCharacters(zm::mat::miUTF8, reinterpret_cast<const uint8_t*>(text.data()),
                              text.size(), false, codes);
    return codes;
}

}  // namespace

int MatFile::Write(WriteSpreadSheetData* source) {
    if (status != 0)
        return status;
    if (mode != kWriteMode || !out.is_open())
        return SetStatus(kStatusWrongMode);
    if (source == nullptr)
        return SetStatus(kCannotExport);
    try {
        const int cols = source->GetNumberOfColumns(), rows = source->GetNumberOfRows();
        int col0 = 0, row0 = 0;
        if (!source->GetDataOrigin(&col0, &row0) || col0 < 1 || row0 < 1 || col0 > cols + 1 ||
            row0 > rows + 1)
            return SetStatus(kCannotExport);
        if (int code = WriteData(source, col0, row0, cols, rows); code != 0)
            return SetStatus(code);
        for (int c = 1; c < col0; ++c)
            WriteColumn(source, c, row0, rows);
        for (int r = 1; r < row0; ++r)
            WriteRow(source, r, col0, cols);
        out.flush();
        if (!out)
            return SetStatus(kWriteFailed);
    } catch (const std::bad_alloc&) {
        return SetStatus(kWriteFailed);
    } catch (...) {
        return SetUnknownException();
    }
    return status;
}

int MatFile::WriteData(WriteSpreadSheetData* source, int col0, int row0, int cols, int rows) {
    const int dataRows = rows - row0 + 1, dataCols = cols - col0 + 1;
    std::string bytes = Header(0, dataRows, dataCols, "DATA");
    const double missing = MissingValue();
    for (int c = col0; c <= cols; ++c) {
        bytes.reserve(bytes.size() + static_cast<size_t>(dataRows) * 8);
        for (int r = row0; r <= rows; ++r) {
            // A number as its value, a missing or text cell as the missing value. A cell
            // that is none of these writes nothing, leaving the matrix short of a value.
            if (source->IsNumber(c, r))
                PutDouble(bytes, static_cast<double>(source->GetNumber(c, r)));
            else if (source->IsMissing(c, r) || source->IsText(c, r))
                PutDouble(bytes, missing);
        }
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        bytes.clear();
        if (!out)
            return kWriteFailed;
    }
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return out ? 0 : kWriteFailed;
}

namespace {

// One ID: a number cell keeps its value; any other cell gives its text.
struct Id {
    bool number = false;
    double value = 0;
    std::string text;
};

Id GetId(WriteSpreadSheetData* source, int col, int row) {
    Id id;
    if (source->IsNumber(col, row)) {
        id.number = true;
        id.value = source->GetNumber(col, row);
        id.text = source->GetText(col, row);
    } else if (!source->IsMissing(col, row)) {
        id.text = source->GetText(col, row);
        id.number = ToNumber(id.text, id.value);
    }
    return id;
}

bool IDIsOnlyFloat(const std::vector<Id>& ids) {
    return std::all_of(ids.begin(), ids.end(), [](const Id& id) { return id.number; });
}

size_t GetLargestID(const std::vector<std::vector<uint32_t>>& codes) {
    size_t largest = 0;
    for (const auto& c : codes)
        largest = std::max(largest, c.size());
    return largest;
}

// An ID set as a column vector of doubles, or as a text matrix (one ID per row, padded
// with blanks to the longest).
std::string IdMatrix(const std::string& name, const std::vector<Id>& ids) {
    const int n = static_cast<int>(ids.size());
    if (IDIsOnlyFloat(ids)) {
        std::string bytes = Header(0, n, 1, name);
        for (const Id& id : ids)
            PutDouble(bytes, id.value);
        return bytes;
    }
    std::vector<std::vector<uint32_t>> codes;
    for (const Id& id : ids) {
        std::string text = id.text;
        if (id.number && text.empty()) {
            char buffer[32];
            std::snprintf(buffer, sizeof buffer, "%.9g", id.value);
            text = buffer;
        }
        codes.push_back(Codes(text));
    }
    const size_t width = GetLargestID(codes);
    std::string bytes = Header(1, n, static_cast<int>(width), name);
    for (size_t j = 0; j < width; ++j) {
        for (const auto& c : codes)
            PutDouble(bytes, j < c.size() ? c[j] : ' ');
    }
    return bytes;
}

}  // namespace

void MatFile::WriteColumn(WriteSpreadSheetData* source, int col, int row0, int rows) {
    std::vector<Id> ids;
    for (int r = row0; r <= rows; ++r)
        ids.push_back(GetId(source, col, r));
    const std::string bytes = IdMatrix(zm::FormatMessage("OBSID%1%", col), ids);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void MatFile::WriteRow(WriteSpreadSheetData* source, int row, int col0, int cols) {
    std::vector<Id> ids;
    for (int c = col0; c <= cols; ++c)
        ids.push_back(GetId(source, c, row));
    const std::string bytes = IdMatrix(zm::FormatMessage("VARID%1%", row), ids);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}
