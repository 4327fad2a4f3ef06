// Level 5 MAT files: the tagged data elements, compressed or not, the array headers and
// values, and the sheet that holds every readable array side by side with its names.
#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>

#include "formats/workbook/MatFile.h"
#include "formats/workbook/mat/MatCursor.h"
#include "formats/workbook/mat/MatInput.h"
#include "platform/Exception.h"
#include "platform/Translate.h"

using zm::mat::ArrayHeader;
using zm::mat::CellCursor;
using zm::mat::Input;
using zm::mat::Tag;

namespace {

constexpr uint64_t kHeaderSize = 128;
// Array classes read as data; cells, structures, objects and functions are passed over.
constexpr int kCharClass = 4;
constexpr int kSparseClass = 5;
constexpr int kFirstNumberClass = 6;  // double
constexpr int kLastNumberClass = 15;  // uint64
constexpr uint32_t kComplexFlag = 0x0800;
constexpr uint32_t kLogicalFlag = 0x0200;
constexpr size_t kBlockBytes = 1 << 18;

uint32_t Word(const uint8_t* p, bool swap) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return swap ? zm::mat::Swap32(v) : v;
}

bool ReadTag(Input& in, bool swap, Tag& tag) {
    uint8_t raw[8];
    if (!in.Read(raw, 8))
        return false;
    const uint32_t first = Word(raw, swap);
    tag.small = (first >> 16) != 0;
    if (tag.small) {
        tag.type = first & 0xFFFF;
        tag.bytes = first >> 16;
        std::memcpy(tag.data, raw + 4, 4);
        return tag.bytes <= 4;
    }
    tag.type = first;
    tag.bytes = Word(raw + 4, swap);
    return true;
}

// Skips to the next 8-byte boundary after a normal element's data; the last element of
// an array may end without its padding.
bool SkipPadding(Input& in, const Tag& tag) {
    if (tag.small)
        return true;
    const uint64_t pad = (8 - tag.bytes % 8) % 8;
    return in.Skip(std::min<uint64_t>(pad, in.Remaining()));
}

// An element's data, read in blocks so that memory follows the bytes really there.
bool ReadData(Input& in, const Tag& tag, std::vector<uint8_t>& out) {
    out.clear();
    if (tag.small) {
        out.assign(tag.data, tag.data + tag.bytes);
        return true;
    }
    if (tag.bytes > in.Remaining())
        return false;
    for (uint64_t left = tag.bytes; left > 0;) {
        const size_t n = static_cast<size_t>(std::min<uint64_t>(left, kBlockBytes));
        out.resize(out.size() + n);
        if (!in.Read(out.data() + out.size() - n, n))
            return false;
        left -= n;
    }
    return SkipPadding(in, tag);
}

[[noreturn]] void Refuse(const char* text) {
    throw zm::Exception(zm::Translate(text));
}

// Whether an array's values are characters read as text: UTF-16 in any array, and a
// character array stored as miUINT16 or miUTF8, as common writers store them. A
// character array stored under any other numeric type gives its codes as numbers.
bool IsText(int arrayClass, uint32_t type) {
    return type == zm::mat::miUTF16 ||
           (arrayClass == kCharClass && (type == zm::mat::miUINT16 || type == zm::mat::miUTF8));
}

// The matrices that name the sheet's columns and rows rather than hold data.
bool NamesVariables(const std::string& name) {
    return name == "VARNAM" || name == "VARNUM";
}
bool NamesObservations(const std::string& name) {
    return name == "OBSNAM" || name == "OBSNUM";
}
bool IsData(const MatFile::Matrix& m) {
    return !NamesVariables(m.name) && !NamesObservations(m.name);
}

// Names or numbers in a names matrix: one per row of a text, else one per value.
int64_t Entries(const MatFile::Matrix& m) {
    return m.text ? m.rows : m.rows * m.cols;
}

// Characters per row of a character array: the product of every dimension but the first.
int64_t CharColumns(const ArrayHeader& array) {
    int64_t cols = 1;
    for (size_t i = 1; i < array.dims.size(); ++i)
        cols *= array.dims[i];
    return cols;
}

}  // namespace

int MatFile::OpenArray(const Matrix& m, ArrayHeader& header, std::unique_ptr<Input>& input) {
    header = ArrayHeader();
    if (m.compressed) {
        const uint64_t limit = m.elementSize * zm::mat::kMaxInflateRatio + 64;
        input = zm::mat::InflateInput(fileName, m.position + 8, m.elementSize, limit);
        Tag inner;
        if (!ReadTag(*input, bigEndian, inner) || inner.small)
            return kCorrupt;
        if (inner.type != zm::mat::miMATRIX)
            return 0;
        // A claim beyond what the compressed bytes can hold is a damaged or hostile file.
        if (inner.bytes > input->Remaining())
            return kCorrupt;
        input->Limit(inner.bytes);
    } else {
        input = zm::mat::FileInput(in, m.position + 8, m.elementSize);
    }
    Input& s = *input;
    const int failure = kBadMatrix;
    Tag tag;
    std::vector<uint8_t> bytes;
    if (!ReadTag(s, bigEndian, tag) || tag.bytes < 8 || tag.bytes > 64 || !ReadData(s, tag, bytes))
        return s.Corrupt() ? kCorrupt : failure;
    const uint32_t flags = Word(bytes.data(), bigEndian);
    header.arrayClass = static_cast<int>(flags & 0xFF);
    header.complex = (flags & kComplexFlag) != 0;
    header.logical = (flags & kLogicalFlag) != 0;
    if (!(header.arrayClass == kCharClass || header.arrayClass == kSparseClass ||
          (header.arrayClass >= kFirstNumberClass && header.arrayClass <= kLastNumberClass))) {
        header.arrayClass = 0;
        return 0;
    }
    if (!ReadTag(s, bigEndian, tag) || tag.bytes < 8 || tag.bytes > 4096 ||
        zm::mat::NumberSize(tag.type) != 4 || !ReadData(s, tag, bytes))
        return s.Corrupt() ? kCorrupt : failure;
    for (size_t i = 0; i + 4 <= bytes.size(); i += 4) {
        const auto dim = static_cast<int32_t>(Word(bytes.data() + i, bigEndian));
        if (dim < 0)
            return failure;
        header.dims.push_back(dim);
    }
    if (!ReadTag(s, bigEndian, tag) || tag.bytes > 65536 || !ReadData(s, tag, bytes))
        return s.Corrupt() ? kCorrupt : failure;
    header.name.assign(bytes.begin(), bytes.end());
    header.name.resize(std::strlen(header.name.c_str()));
    if (!ReadTag(s, bigEndian, header.data))
        return s.Corrupt() ? kCorrupt : failure;
    if (!header.data.small && header.data.bytes > s.Remaining())
        return failure;
    return 0;
}

int MatFile::OpenMatlab5() {
    uint8_t header[kHeaderSize];
    in.clear();
    in.seekg(0);
    if (fileSize < kHeaderSize || !in.read(reinterpret_cast<char*>(header), kHeaderSize))
        return kNotMatFile;
    // The endian indicator must read 19785, "IM" in file order: only little-endian files
    // are read, and a big-endian one ("MI") is refused like any other stranger.
    if (header[126] != 'I' || header[127] != 'M')
        return kNotMatFile;
    bigEndian = false;
    // The subsystem data (class descriptions for objects) is no variable of the file.
    uint64_t subsystem;
    std::memcpy(&subsystem, header + 116, 8);
    if (bigEndian)
        subsystem = zm::mat::Swap64(subsystem);
    for (uint64_t position = kHeaderSize; fileSize - position >= 8;) {
        auto stretch = zm::mat::FileInput(in, position, fileSize - position);
        Tag tag;
        if (!ReadTag(*stretch, bigEndian, tag))
            return kBadHeader;
        const uint64_t size = tag.small ? 0 : tag.bytes;
        if (size > fileSize - position - 8)
            return kBadMatrix;
        Matrix m;
        m.position = position;
        m.elementSize = size;
        m.compressed = tag.type == zm::mat::miCOMPRESSED;
        position += 8 + size;
        if ((tag.type != zm::mat::miMATRIX && !m.compressed) || m.position == subsystem)
            continue;
        ArrayHeader array;
        std::unique_ptr<Input> input;
        if (int code = OpenArray(m, array, input); code != 0)
            return code;
        if (array.arrayClass == 0)
            continue;
        if (int code = CheckArray(array, m); code != 0)
            return code;
        matrices.push_back(m);
    }
    return SetSheetSize();
}

int MatFile::CheckArray(const ArrayHeader& array, Matrix& m) {
    if (array.complex)
        Refuse("Can not handle imaginary data.");
    if (array.dims.size() < 2)
        return kBadMatrix;
    if (array.arrayClass == kSparseClass && array.dims.size() > 2)
        Refuse("A sparse matrix can not have more than two dimensions.");
    // Arrays of more than two dimensions are laid out as their first dimension by the
    // rest, in the file's order: what reshape(A, size(A, 1), []) gives.
    m.name = array.name;
    m.arrayClass = array.arrayClass;
    m.rows = array.dims[0];
    m.cols = 1;
    for (size_t i = 1; i < array.dims.size(); ++i) {
        m.cols *= array.dims[i];
        if (m.cols > INT_MAX)
            return kBadMatrix;
    }
    if (m.rows == 0 || m.cols == 0)
        m.rows = m.cols = 0;
    const uint64_t cells = static_cast<uint64_t>(m.rows) * static_cast<uint64_t>(m.cols);
    const Tag& data = array.data;
    if (array.arrayClass == kSparseClass)
        return zm::mat::NumberSize(data.type) == 0 ? kUnknownType : 0;
    m.text = IsText(array.arrayClass, data.type);
    const uint64_t unit =
        m.text ? (data.type == zm::mat::miUTF8 ? 1 : 2) : zm::mat::NumberSize(data.type);
    if (unit == 0)
        return kUnknownType;
    if (cells > data.bytes / unit)
        return kBadMatrix;
    if (m.text)
        m.cols = m.cols > 0 ? 1 : 0;  // one text per row
    return 0;
}

int MatFile::SetSheetSize() {
    placements.clear();
    if (matrices.empty())
        Refuse("No data found.");
    if (matrices.size() == 1) {
        placements.push_back({0, 1, 1, CellCursor::kGrid});
        numRows = static_cast<int>(matrices[0].rows);
        numCols = static_cast<int>(matrices[0].cols);
        return 0;
    }
    // Each variable-names matrix adds a column and each observation-names matrix a row; a
    // data matrix adds its columns and raises the row count to its own. The rows follow
    // the list order: observation names listed before the tallest data matrix add no row.
    int64_t cols = 0, rows = 0, dataRows = 0;
    int nameColumns = 0;
    bool data = false;
    for (const Matrix& m : matrices) {
        if (NamesVariables(m.name)) {
            ++cols;
            ++nameColumns;
        } else if (NamesObservations(m.name)) {
            ++rows;
        } else {
            cols += m.cols;
            rows = std::max(rows, m.rows);
            dataRows = std::max(dataRows, m.rows);
            data = true;
        }
        if (cols > INT_MAX - 1 || rows > INT_MAX - 1)
            return kBadMatrix;
    }
    if (!data)
        Refuse("No data found.");
    if (!CheckDimensions())
        return kBadMatrix;
    numCols = static_cast<int>(cols);
    numRows = static_cast<int>(rows);
    const int nameRows = static_cast<int>(rows - dataRows);
    SetSheetIndex(nameColumns, nameRows);
    SetNames(nameColumns, nameRows);
    return 0;
}

void MatFile::SetSheetIndex(int nameColumns, int nameRows) {
    // The data matrices side by side in list order, right of the name columns and below
    // the name rows, each from the first data row.
    int col = nameColumns + 1;
    for (int i = 0; i < GetNumberOfMatrices(); ++i) {
        if (!IsData(matrices[i]))
            continue;
        placements.push_back({i, col, nameRows + 1, CellCursor::kGrid});
        col += static_cast<int>(matrices[i].cols);
    }
}

void MatFile::SetNames(int nameColumns, int nameRows) {
    // Observation names go down the name columns, "OBSNAM" first, and variable names
    // across the name rows, "VARNAM" first. Names that find no free column or row are not
    // shown.
    int col = 1;
    for (const char* name : {"OBSNAM", "OBSNUM"}) {
        const int i = ExistsMatrix(name);
        if (i >= 0 && col <= nameColumns)
            placements.push_back({i, col++, nameRows + 1, CellCursor::kDown});
    }
    int row = 1;
    for (const char* name : {"VARNAM", "VARNUM"}) {
        const int i = ExistsMatrix(name);
        if (i >= 0 && row <= nameRows)
            placements.push_back({i, nameColumns + 1, row++, CellCursor::kAcross});
    }
}

int MatFile::ExistsMatrix(const char* name) const {
    for (int i = 0; i < GetNumberOfMatrices(); ++i) {
        if (matrices[i].name == name)
            return i;
    }
    return -1;
}

bool MatFile::CheckDimensions() const {
    // Every data matrix has one row per observation name, and the data matrices together
    // one column per variable name.
    int64_t dataCols = 0;
    for (const Matrix& m : matrices) {
        if (IsData(m))
            dataCols += m.cols;
    }
    for (const Matrix& names : matrices) {
        if (NamesVariables(names.name) && Entries(names) != dataCols)
            return false;
        if (!NamesObservations(names.name))
            continue;
        for (const Matrix& m : matrices) {
            if (IsData(m) && m.rows != Entries(names))
                return false;
        }
    }
    return true;
}

int MatFile::ReadMatlab5(ReadSpreadSheetData* sink) {
    for (const Placement& p : placements) {
        if (int code = ReadArray(sink, matrices[p.matrix], p.col0, p.row0, p.layout); code != 0)
            return code;
    }
    return 0;
}

int MatFile::ReadArray(ReadSpreadSheetData* sink, const Matrix& m, int col0, int row0, int layout) {
    CellCursor cursor(col0, row0, m.rows, static_cast<CellCursor::Layout>(layout));
    ArrayHeader array;
    std::unique_ptr<Input> input;
    if (int code = OpenArray(m, array, input); code != 0)
        return code;
    if (array.arrayClass == 0)
        return kCorrupt;  // the file changed under the reader
    Input& s = *input;
    const Tag& data = array.data;
    int code = 0;
    if (m.rows == 0) {
        code = 0;
    } else if (m.text) {
        std::vector<uint8_t> bytes;
        std::vector<uint32_t> codes;
        if (!ReadData(s, data, bytes))
            code = kBadMatrix;
        else if (!zm::mat::DecodeCharacters(data.type, bytes.data(), bytes.size(), bigEndian,
                                            codes))
            code = kUnknownType;
        else
            for (const std::string& text : zm::mat::RowTexts(codes, m.rows, CharColumns(array)))
                cursor.Put(sink, text);
    } else if (m.arrayClass == kSparseClass) {
        code = ReadSparse5(sink, s, data, m, array.logical, cursor);
    } else {
        code = ReadNumbers(sink, s, data,
                           static_cast<uint64_t>(m.rows) * static_cast<uint64_t>(m.cols), cursor);
    }
    if (code == 0 && m.compressed) {
        // The rest of the array, then the end of the zlib stream, whose checksum must hold.
        if (!s.Skip(s.Remaining()) || !s.EndsWithin(0))
            code = kCorrupt;
    }
    if (code != 0 && s.Corrupt())
        code = kCorrupt;
    return code;
}

int MatFile::ReadNumbers(ReadSpreadSheetData* sink, Input& s, const Tag& data, uint64_t count,
                         CellCursor& cursor) {
    const size_t size = zm::mat::NumberSize(data.type);
    if (size == 0)
        return kUnknownType;
    if (data.small) {
        double values[4];
        const size_t n = static_cast<size_t>(std::min<uint64_t>(count, data.bytes / size));
        zm::mat::ToDoubles(data.type, data.data, n, bigEndian, values);
        for (size_t i = 0; i < n; ++i)
            cursor.Put(sink, values[i]);
        return n == count ? 0 : kBadMatrix;
    }
    const size_t block = kBlockBytes / size;
    // Doubles in the machine's byte order are read straight into the values.
    const bool asStored =
        data.type == zm::mat::miDOUBLE && bigEndian == (std::endian::native == std::endian::big);
    std::vector<uint8_t> bytes(asStored ? 0 : std::min<uint64_t>(count, block) * size);
    std::vector<double> values(std::min<uint64_t>(count, block));
    for (uint64_t left = count; left > 0;) {
        const size_t n = static_cast<size_t>(std::min<uint64_t>(left, block));
        if (!s.Read(asStored ? static_cast<void*>(values.data()) : bytes.data(), n * size))
            return kBadMatrix;
        if (!asStored)
            zm::mat::ToDoubles(data.type, bytes.data(), n, bigEndian, values.data());
        cursor.PutBlock(sink, values.data(), n);
        left -= n;
    }
    const uint64_t rest = data.bytes - count * size;
    return s.Skip(std::min<uint64_t>(rest, s.Remaining())) && SkipPadding(s, data) ? 0 : kBadMatrix;
}

namespace {

// The values of an integer element (row indexes, column starts) as 64-bit integers.
bool ReadIndexes(Input& s, const Tag& tag, bool swap, std::vector<int64_t>& out) {
    std::vector<uint8_t> bytes;
    const size_t size = zm::mat::NumberSize(tag.type);
    if (size == 0 || !ReadData(s, tag, bytes))
        return false;
    std::vector<double> values(bytes.size() / size);
    zm::mat::ToDoubles(tag.type, bytes.data(), values.size(), swap, values.data());
    out.resize(values.size());
    for (size_t i = 0; i < values.size(); ++i) {
        if (!(values[i] >= 0 && values[i] < static_cast<double>(INT64_MAX)))
            return false;
        out[i] = static_cast<int64_t>(values[i]);
    }
    return true;
}

}  // namespace

int MatFile::ReadSparse5(ReadSpreadSheetData* sink, Input& s, const Tag& irTag, const Matrix& m,
                         bool logical, CellCursor& cursor) {
    // Row indexes, column starts, values; only the stored values are set, the zeros
    // between them stay missing.
    std::vector<int64_t> ir, jc;
    Tag jcTag, prTag;
    if (!ReadIndexes(s, irTag, bigEndian, ir) || !ReadTag(s, bigEndian, jcTag) ||
        !ReadIndexes(s, jcTag, bigEndian, jc) || !ReadTag(s, bigEndian, prTag))
        return kBadMatrix;
    if (prTag.type == zm::mat::miUTF8 || prTag.type == zm::mat::miUTF16 ||
        prTag.type == zm::mat::miUTF32)
        Refuse("Text matrices can not be sparse.");
    if (jc.size() < static_cast<size_t>(m.cols) + 1)
        return kBadMatrix;
    // Some writers store a logical array's values as single bytes under another type.
    uint32_t type = prTag.type;
    if (logical && static_cast<int64_t>(prTag.bytes) == jc[m.cols])
        type = zm::mat::miUINT8;
    const size_t size = zm::mat::NumberSize(type);
    if (size == 0)
        return kUnknownType;
    std::vector<uint8_t> bytes;
    if (!ReadData(s, prTag, bytes))
        return kBadMatrix;
    std::vector<double> values(bytes.size() / size);
    zm::mat::ToDoubles(type, bytes.data(), values.size(), bigEndian, values.data());
    for (int64_t c = 0; c < m.cols; ++c) {
        const int64_t begin = jc[c], end = jc[c + 1];
        if (begin > end || end > static_cast<int64_t>(ir.size()) ||
            end > static_cast<int64_t>(values.size()))
            return kBadMatrix;
        for (int64_t k = begin; k < end; ++k) {
            if (ir[k] >= m.rows)
                return kBadMatrix;
            cursor.Seek(c * m.rows + ir[k]);
            cursor.Put(sink, values[k]);
        }
    }
    return 0;
}
