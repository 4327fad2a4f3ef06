// Level 5 MAT files: the tagged data elements, compressed or not, the array headers and
// values, and the sheet that holds every readable array side by side.
#include <algorithm>
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
    // "IM" in file order is a little-endian file, "MI" a big-endian one.
    if (header[126] == 'I' && header[127] == 'M')
        bigEndian = false;
    else if (header[126] == 'M' && header[127] == 'I')
        bigEndian = true;
    else
        return kNotMatFile;
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
    uint64_t unit = zm::mat::NumberSize(data.type);
    if (array.arrayClass == kCharClass &&
        (data.type == zm::mat::miUTF8 || data.type == zm::mat::miUTF16 ||
         data.type == zm::mat::miUTF32))
        unit = data.type == zm::mat::miUTF8 ? 1 : data.type == zm::mat::miUTF16 ? 2 : 4;
    if (unit == 0)
        return kUnknownType;
    if (cells > data.bytes / unit)
        return kBadMatrix;
    if (array.arrayClass == kCharClass)
        m.cols = m.cols > 0 ? 1 : 0;  // one text per row
    return 0;
}

int MatFile::SetSheetSize() {
    placements.clear();
    varNames = obsNames = -1;
    if (matrices.empty())
        Refuse("No data found.");
    auto entries = [&](int i) {
        const Matrix& m = matrices[static_cast<size_t>(i)];
        return m.arrayClass == kCharClass ? m.rows : m.rows * m.cols;
    };
    if (matrices.size() == 1) {
        placements.push_back({0, 1, 1});
        numRows = static_cast<int>(matrices[0].rows);
        numCols = static_cast<int>(matrices[0].cols);
        return 0;
    }
    const int varNam = ExistsMatrix("VARNAM"), obsNam = ExistsMatrix("OBSNAM");
    varNames =
        varNam >= 0 && matrices[varNam].arrayClass == kCharClass ? varNam : ExistsMatrix("VARNUM");
    obsNames =
        obsNam >= 0 && matrices[obsNam].arrayClass == kCharClass ? obsNam : ExistsMatrix("OBSNUM");
    const int top = varNames >= 0 ? 1 : 0, left = obsNames >= 0 ? 1 : 0;
    int64_t col = left + 1, rows = 0;
    for (int i = 0; i < GetNumberOfMatrices(); ++i) {
        const std::string& name = matrices[i].name;
        if (name == "VARNAM" || name == "VARNUM" || name == "OBSNAM" || name == "OBSNUM")
            continue;
        placements.push_back({i, static_cast<int>(col), top + 1});
        col += matrices[i].cols;
        rows = std::max(rows, matrices[i].rows);
        if (col > INT_MAX - 1)
            return kBadMatrix;
    }
    if (placements.empty())
        Refuse("No data found.");
    if (!CheckDimensions(varNames >= 0 ? entries(varNames) : -1,
                         obsNames >= 0 ? entries(obsNames) : -1, col - left - 1, rows))
        return kBadMatrix;
    if (rows + top > INT_MAX - 1)
        return kBadMatrix;
    numRows = static_cast<int>(rows + top);
    numCols = static_cast<int>(col - 1);
    return 0;
}

int MatFile::ExistsMatrix(const char* name) const {
    for (int i = 0; i < GetNumberOfMatrices(); ++i) {
        if (matrices[i].name == name)
            return i;
    }
    return -1;
}

bool MatFile::CheckDimensions(int64_t varCount, int64_t obsCount, int64_t cols,
                              int64_t rows) const {
    bool agree = varCount < 0 || varCount == cols;
    for (const Placement& p : placements) {
        if (obsCount >= 0 && matrices[p.matrix].rows != obsCount)
            agree = false;
    }
    return agree && (obsCount < 0 || rows == obsCount);
}

int MatFile::ReadMatlab5(ReadSpreadSheetData* sink) {
    const int top = varNames >= 0 ? 1 : 0, left = obsNames >= 0 ? 1 : 0;
    if (varNames >= 0) {
        if (int code = ReadArray(sink, matrices[varNames], left + 1, 1, CellCursor::kAcross);
            code != 0)
            return code;
    }
    if (obsNames >= 0) {
        if (int code = ReadArray(sink, matrices[obsNames], 1, top + 1, CellCursor::kDown);
            code != 0)
            return code;
    }
    for (const Placement& p : placements) {
        if (int code = ReadArray(sink, matrices[p.matrix], p.col0, p.row0, CellCursor::kGrid);
            code != 0)
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
    } else if (m.arrayClass == kCharClass) {
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
        code = ReadSparse5(sink, s, data, m, array.logical, col0, row0);
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
    std::vector<uint8_t> bytes(std::min<uint64_t>(count, block) * size);
    std::vector<double> values(std::min<uint64_t>(count, block));
    for (uint64_t left = count; left > 0;) {
        const size_t n = static_cast<size_t>(std::min<uint64_t>(left, block));
        if (!s.Read(bytes.data(), n * size))
            return kBadMatrix;
        zm::mat::ToDoubles(data.type, bytes.data(), n, bigEndian, values.data());
        for (size_t i = 0; i < n; ++i)
            cursor.Put(sink, values[i]);
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
                         bool logical, int col0, int row0) {
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
            CellCursor(col0 + static_cast<int>(c), row0 + static_cast<int>(ir[k]), 1,
                       CellCursor::kGrid)
                .Put(sink, values[k]);
        }
    }
    return 0;
}
