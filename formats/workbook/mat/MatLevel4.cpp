// Level 4 MAT files: the walk over the matrix headers, the roles of the matrices, and the
// full, text and sparse matrices.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "formats/workbook/MatFile.h"
#include "formats/workbook/mat/MatCursor.h"
#include "formats/workbook/mat/MatInput.h"
#include "platform/Translate.h"

using zm::mat::CellCursor;

namespace {

constexpr size_t kHeaderSize = 20;

uint32_t Word(const uint8_t* p, bool bigEndian) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return bigEndian ? zm::mat::Swap32(v) : v;
}

// The Level 5 type a Level 4 precision code reads as.
uint32_t StoredType(int precision) {
    static const uint32_t types[] = {zm::mat::miDOUBLE, zm::mat::miSINGLE, zm::mat::miINT32,
                                     zm::mat::miINT16,  zm::mat::miUINT16, zm::mat::miUINT8};
    return types[precision];
}

// Entries of an ID or name matrix: one per row of a text matrix, else one per value.
int64_t Entries(const MatFile::Matrix& m) {
    return m.type == 1 ? m.rows : m.rows * m.cols;
}

bool StartsWith(const std::string& name, const char* prefix, int& number) {
    const size_t n = std::strlen(prefix);
    if (name.compare(0, n, prefix) != 0)
        return false;
    number = std::atoi(name.c_str() + n);
    return true;
}

}  // namespace

// Bytes per value as the header walk counts them. Single precision (P = 1) counts as 8
// bytes, as files of this kind always did here: such a file fails the size check.
static uint64_t BytesPerElement(int precision) {
    static const uint64_t sizes[] = {8, 8, 4, 2, 2, 1};
    return sizes[precision];
}

int MatFile::OpenMatlab4(const uint8_t* first) {
    uint8_t header[kHeaderSize];
    std::memcpy(header, first, kHeaderSize);
    uint32_t type = Word(header, false);
    bigEndian = type >= 53;
    if (bigEndian) {
        type = zm::mat::Swap32(type);
        if (type < 1000 || type > 1052)
            return kNotMatFile;
    }
    uint64_t position = kHeaderSize;
    for (;;) {
        type = Word(header, bigEndian);
        const auto rows = static_cast<int32_t>(Word(header + 4, bigEndian));
        const auto cols = static_cast<int32_t>(Word(header + 8, bigEndian));
        const uint32_t imagf = Word(header + 12, bigEndian);
        const auto nameLength = static_cast<int32_t>(Word(header + 16, bigEndian));
        Matrix m;
        m.precision = static_cast<int>(type / 10 % 10);
        m.type = static_cast<int>(type % 10);
        if (type / 1000 != (bigEndian ? 1u : 0u) || type / 100 % 10 != 0 || m.precision > 5 ||
            m.type > 2 || rows < 0 || cols < 0 || nameLength < 1)
            return kBadHeader;
        m.rows = rows;
        m.cols = cols;
        m.complex = m.type == 2 ? cols == 4 : imagf != 0;
        if (static_cast<uint64_t>(nameLength) > fileSize - position)
            return kBadMatrix;
        std::string name(static_cast<size_t>(nameLength), '\0');
        if (!in.read(name.data(), nameLength))
            return kBadMatrix;
        name.resize(std::strlen(name.c_str()));
        m.name = name;
        position += static_cast<uint64_t>(nameLength);
        m.position = position;
        const uint64_t cells = static_cast<uint64_t>(rows) * static_cast<uint64_t>(cols);
        const uint64_t perCell = BytesPerElement(m.precision) * (m.complex && m.type != 2 ? 2 : 1);
        if (cells > (fileSize - position) / perCell)
            return kBadMatrix;
        position += cells * perCell;
        in.seekg(static_cast<std::streamoff>(position));
        if (!in || static_cast<uint64_t>(in.tellg()) != position)
            return kBadMatrix;
        matrices.push_back(m);
        if (matrices.size() == kMaxMatrices)
            break;
        in.read(reinterpret_cast<char*>(header), kHeaderSize);
        if (in.gcount() == 0)
            break;
        if (in.gcount() != static_cast<std::streamsize>(kHeaderSize))
            return kBadHeader;
        position += kHeaderSize;
    }
    FindRoles();
    return 0;
}

void MatFile::FindRoles() {
    dataMatrix = -1;
    rowIds.clear();
    columnIds.clear();
    idsPresent = false;
    const int count = GetNumberOfMatrices();
    // Observation names and numbers, and row IDs by their number, become columns left of
    // the data; variable names and numbers, and column IDs, rows above it. The names come
    // first, then the numbers, then the IDs, whatever order the file stores them in.
    std::vector<std::pair<int, int>> rows, columns;  // (place, matrix)
    int data = -1, others = 0;
    for (int i = 0; i < count; ++i) {
        int number = 0;
        const std::string& name = matrices[i].name;
        if (name == "OBSNAM" || name == "OBSNUM") {
            rows.push_back({name == "OBSNAM" ? INT_MIN : INT_MIN + 1, i});
        } else if (name == "VARNAM" || name == "VARNUM") {
            columns.push_back({name == "VARNAM" ? INT_MIN : INT_MIN + 1, i});
        } else if (StartsWith(name, "COLUMNID", number) || StartsWith(name, "VARID", number)) {
            columns.push_back({number, i});
        } else if (StartsWith(name, "ROWID", number) || StartsWith(name, "OBSID", number)) {
            rows.push_back({number, i});
        } else {
            data = i;
            ++others;
        }
    }
    if (others != 1 || (rows.empty() && columns.empty()) || matrices[data].type != 0)
        return;
    for (const auto& [number, i] : rows) {
        if (Entries(matrices[i]) != matrices[data].rows || matrices[i].type == 2)
            return;
    }
    for (const auto& [number, i] : columns) {
        if (Entries(matrices[i]) != matrices[data].cols || matrices[i].type == 2)
            return;
    }
    std::stable_sort(rows.begin(), rows.end());
    std::stable_sort(columns.begin(), columns.end());
    for (const auto& entry : rows)
        rowIds.push_back(entry.second);
    for (const auto& entry : columns)
        columnIds.push_back(entry.second);
    dataMatrix = data;
    idsPresent = true;
}

int MatFile::ChooseMatrix(ZmImportOpenOptions* options) {
    if (idsPresent) {
        curMatrix = dataMatrix;
        return 0;
    }
    std::vector<std::string> names;
    GetMatrixList(names);
    if (names.empty())
        return kBadHeader;
    const auto outcome = choice.Choose(names, options, [&] {
        GetMatrixOptions(names);
        return status != kStatusAborted;
    });
    if (outcome == zm::SheetChoice::Outcome::kCancelled)
        return status;
    if (outcome == zm::SheetChoice::Outcome::kBadOptions)
        return kStatusBadOptions;
    const auto chosen = std::find(names.begin(), names.end(), choice.names.front());
    curMatrix = chosen == names.end() ? 0 : static_cast<int>(chosen - names.begin());
    return 0;
}

void MatFile::GetMatrixOptions(const std::vector<std::string>& names) {
    choice.names = {names.front()};
}

bool MatFile::ReadMatlabElement(const Matrix& m, size_t count, double* values) {
    const size_t size = zm::mat::NumberSize(StoredType(m.precision));
    buffer.resize(count * size);
    if (!in.read(reinterpret_cast<char*>(buffer.data()),
                 static_cast<std::streamsize>(buffer.size())))
        return false;
    zm::mat::ToDoubles(StoredType(m.precision), buffer.data(), count, bigEndian, values);
    return true;
}

int MatFile::Level4Size(const Matrix& m, int64_t& rows, int64_t& cols) {
    if (m.type == 0) {
        rows = m.rows;
        cols = m.cols;
    } else if (m.type == 1) {
        rows = m.rows;
        cols = m.rows > 0 && m.cols > 0 ? 1 : 0;
    } else {
        // The last entry of a sparse matrix holds its size.
        rows = cols = 0;
        if (m.rows == 0 || m.cols < 3)
            return 0;
        double last[3];
        for (int k = 0; k < 3; ++k) {
            in.clear();
            in.seekg(static_cast<std::streamoff>(m.position +
                                                 static_cast<uint64_t>(k * m.rows + m.rows - 1) *
                                                     zm::mat::NumberSize(StoredType(m.precision))));
            if (!ReadMatlabElement(m, 1, last + k))
                return kBadMatrix;
        }
        if (!(last[0] >= 0 && last[0] < INT_MAX && last[1] >= 0 && last[1] < INT_MAX))
            return kBadMatrix;
        rows = static_cast<int64_t>(last[0]);
        cols = static_cast<int64_t>(last[1]);
        if (!zm::mat::SparseFits(rows, cols, fileSize)) {
            refusal = zm::Translate(zm::mat::kSparseTooLarge);
            return kUnknownType;
        }
    }
    if (rows == 0 || cols == 0)
        rows = cols = 0;
    return 0;
}

int MatFile::EstablishLevel4Size() {
    const Matrix& m = matrices[static_cast<size_t>(curMatrix)];
    if (m.complex)
        return kComplexData;
    int64_t rows = 0, cols = 0;
    if (int code = Level4Size(m, rows, cols); code != 0)
        return code;
    if (idsPresent) {
        rows += static_cast<int64_t>(columnIds.size());
        cols += static_cast<int64_t>(rowIds.size());
    }
    if (rows >= INT_MAX || cols >= INT_MAX)
        return kBadMatrix;
    numRows = static_cast<int>(rows);
    numCols = static_cast<int>(cols);
    return 0;
}

int MatFile::ReadMatlab4(ReadSpreadSheetData* sink) {
    const Matrix& m = matrices[static_cast<size_t>(curMatrix)];
    if (idsPresent) {
        const int left = static_cast<int>(rowIds.size()), top = static_cast<int>(columnIds.size());
        for (int k = 0; k < left; ++k) {
            if (int code = ReadList(sink, matrices[rowIds[k]],
                                    CellCursor(k + 1, top + 1, 0, CellCursor::kDown));
                code != 0)
                return code;
        }
        for (int k = 0; k < top; ++k) {
            if (int code = ReadList(sink, matrices[columnIds[k]],
                                    CellCursor(left + 1, k + 1, 0, CellCursor::kAcross));
                code != 0)
                return code;
        }
        return ReadFull(sink, m, CellCursor(left + 1, top + 1, m.rows, CellCursor::kGrid));
    }
    if (m.type == 1)
        return ReadText(sink, m, CellCursor(1, 1, 0, CellCursor::kDown));
    if (m.type == 2)
        return ReadSparse(sink, m);
    return ReadFull(sink, m, CellCursor(1, 1, m.rows, CellCursor::kGrid));
}

int MatFile::ReadList(ReadSpreadSheetData* sink, const Matrix& m, CellCursor cursor) {
    return m.type == 1 ? ReadText(sink, m, cursor) : ReadFull(sink, m, cursor);
}

int MatFile::ReadFull(ReadSpreadSheetData* sink, const Matrix& m, CellCursor cursor) {
    in.clear();
    in.seekg(static_cast<std::streamoff>(m.position));
    uint64_t left = static_cast<uint64_t>(m.rows) * static_cast<uint64_t>(m.cols);
    constexpr size_t kBlock = 1 << 15;
    std::vector<double> values(static_cast<size_t>(std::min<uint64_t>(left, kBlock)));
    while (left > 0) {
        const size_t n = static_cast<size_t>(std::min<uint64_t>(left, kBlock));
        if (!ReadMatlabElement(m, n, values.data()))
            return kBadMatrix;
        cursor.PutBlock(sink, values.data(), n);
        left -= n;
        sink->ReportBytesRead(static_cast<uint64_t>(std::max<std::streamoff>(in.tellg(), 0)),
                              fileSize);
    }
    return 0;
}

int MatFile::ReadText(ReadSpreadSheetData* sink, const Matrix& m, CellCursor cursor) {
    in.clear();
    in.seekg(static_cast<std::streamoff>(m.position));
    const size_t count = static_cast<size_t>(m.rows * m.cols);
    std::vector<double> values(count);
    if (!ReadMatlabElement(m, count, values.data()))
        return kBadMatrix;
    std::vector<uint32_t> codes(count);
    for (size_t i = 0; i < count; ++i)
        codes[i] =
            values[i] >= 0 && values[i] <= 0x10FFFF ? static_cast<uint32_t>(values[i]) : 0xFFFD;
    values = std::vector<double>();
    for (int64_t r = 0; r < m.rows; ++r)
        cursor.Put(sink, zm::mat::RowText(codes, m.rows, m.cols, r));
    return 0;
}

int MatFile::ReadSparse(ReadSpreadSheetData* sink, const Matrix& m) {
    // Columns of row indexes, column indexes and values, 1-based; the last row holds the
    // size. The zeros between the stored values are cells holding 0.
    const size_t entries = static_cast<size_t>(m.rows);
    in.clear();
    in.seekg(static_cast<std::streamoff>(m.position));
    std::vector<double> values(entries * 3);
    if (!ReadMatlabElement(m, values.size(), values.data()))
        return kBadMatrix;
    std::vector<std::pair<int64_t, std::pair<int64_t, double>>> stored;  // (column, (row, value))
    for (size_t k = 0; k + 1 < entries; ++k) {
        const double r = values[k], c = values[entries + k];
        if (!(r >= 1 && r <= numRows && c >= 1 && c <= numCols))
            return kBadMatrix;
        stored.push_back(
            {static_cast<int64_t>(c) - 1, {static_cast<int64_t>(r) - 1, values[2 * entries + k]}});
    }
    values = std::vector<double>();
    std::stable_sort(stored.begin(), stored.end(), [](const auto& a, const auto& b) {
        return a.first != b.first ? a.first < b.first : a.second.first < b.second.first;
    });
    CellCursor cursor(1, 1, numRows, CellCursor::kGrid);
    std::vector<std::pair<int64_t, double>> column;
    size_t next = 0;
    for (int64_t c = 0; c < numCols; ++c) {
        column.clear();
        for (; next < stored.size() && stored[next].first == c; ++next)
            column.push_back(stored[next].second);
        PutSparseColumn(sink, column, numRows, cursor);
    }
    return 0;
}
