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

constexpr const char* kInflatesTooFar =
    "A compressed matrix inflates to more than the file can account for and cannot be read.";

// Whether an array's values are characters read as text: UTF-16 in any array, and a
// character array stored as miUINT16 or miUTF8, as common writers store them. A
// character array stored under any other numeric type gives its codes as numbers.
bool IsText(int arrayClass, uint32_t type) {
    return type == zm::mat::miUTF16 ||
           (arrayClass == kCharClass && (type == zm::mat::miUINT16 || type == zm::mat::miUTF8));
}

// Characters per row of a character array: the product of every dimension but the first.
int64_t CharColumns(const ArrayHeader& array) {
    int64_t cols = 1;
    for (size_t i = 1; i < array.dims.size(); ++i)
        cols *= array.dims[i];
    return cols;
}

// The name of an array that is not read as data, for telling the user what was passed
// over: after the dimensions, or (an opaque object) right after the flags. "" when the
// element does not hold one where expected; a broken name is no reason to refuse the file.
std::string PassedOverName(Input& s, bool swap, int arrayClass) {
    constexpr int kOpaqueClass = 17;
    Tag tag;
    std::vector<uint8_t> bytes;
    if (arrayClass != kOpaqueClass &&
        (!ReadTag(s, swap, tag) || tag.bytes > 4096 || zm::mat::NumberSize(tag.type) != 4 ||
         !ReadData(s, tag, bytes)))
        return std::string();
    if (!ReadTag(s, swap, tag) || (tag.type != zm::mat::miINT8 && tag.type != zm::mat::miUINT8) ||
        tag.bytes > 256 || !ReadData(s, tag, bytes))
        return std::string();
    std::string name(bytes.begin(), bytes.end());
    name.resize(std::strlen(name.c_str()));
    return name;
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
        header.passedClass = header.arrayClass;
        header.arrayClass = 0;
        header.name = PassedOverName(s, bigEndian, header.passedClass);
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

int MatFile::OpenMatlab5(ZmImportOpenOptions* options) {
    uint8_t header[kHeaderSize];
    in.clear();
    in.seekg(0);
    if (fileSize < kHeaderSize || !in.read(reinterpret_cast<char*>(header), kHeaderSize))
        return kNotMatFile;
    // The endian indicator reads 19785 in the writer's byte order: "IM" in file order for
    // a little-endian file, "MI" for a big-endian one, whose every element is swapped.
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
    uint64_t position = kHeaderSize;
    for (; fileSize - position >= 8;) {
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
        if (array.arrayClass == 0) {
            if (array.passedClass != 0)
                passedOver.emplace_back(array.name, array.passedClass);
            continue;
        }
        if (int code = CheckArray(array, m); code != 0)
            return code;
        matrices.push_back(m);
    }
    NoteCutTag(position);
    if (matrices.empty())
        RefuseNoData();
    if (matrices.size() > 1 || !passedOver.empty()) {
        if (int code = ChooseData(options); code != 0)
            return code;
    }
    return SetSheetSize();
}

void MatFile::NoteCutTag(uint64_t position) {
    // Fewer bytes than a tag after the last element: zeros are padding, anything else is
    // the start of an element the file was cut inside of.
    std::vector<char> tail(static_cast<size_t>(fileSize - position));
    in.clear();
    in.seekg(static_cast<std::streamoff>(position));
    if (tail.empty() || !in.read(tail.data(), static_cast<std::streamsize>(tail.size())) ||
        std::all_of(tail.begin(), tail.end(), [](char c) { return c == 0; }))
        return;
    warning = zm::Translate(
        "The file ends inside the tag of a data element: the variable stored after the last "
        "one read is missing.");
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
    if (array.arrayClass == kSparseClass) {
        if (!zm::mat::SparseFits(m.rows, m.cols, fileSize))
            Refuse(zm::mat::kSparseTooLarge);
        return zm::mat::NumberSize(data.type) == 0 ? kUnknownType : 0;
    }
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

int MatFile::ReadMatlab5(ReadSpreadSheetData* sink) {
    // Progress counts the stored bytes of the matrices read.
    bytesToRead = 0;
    for (const Placement& p : placements)
        bytesToRead += 8 + matrices[p.matrix].elementSize;
    bytesDone = 0;
    for (const Placement& p : placements) {
        const Matrix& m = matrices[p.matrix];
        if (int code = ReadArray(sink, m, p.col0, p.row0, p.layout); code != 0)
            return code;
        bytesDone += 8 + m.elementSize;
        sink->ReportBytesRead(bytesDone, bytesToRead);
    }
    return 0;
}

void MatFile::ReportPart(ReadSpreadSheetData* sink, const Matrix& m, uint64_t done,
                         uint64_t count) const {
    const double part = count == 0 ? 0 : static_cast<double>(done) / static_cast<double>(count);
    sink->ReportBytesRead(
        bytesDone + static_cast<uint64_t>(part * static_cast<double>(8 + m.elementSize)),
        bytesToRead);
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
    // What may be held at once from a compressed element: in proportion to its bytes.
    const uint64_t held =
        m.compressed ? m.elementSize * zm::mat::kMaxHeldRatio + zm::mat::kHeldFloor : UINT64_MAX;
    int code = 0;
    if (m.rows == 0) {
        code = 0;
    } else if (m.text) {
        if (!data.small && data.bytes > held)
            Refuse(kInflatesTooFar);
        code = ReadText5(sink, s, data, m, CharColumns(array), cursor);
    } else if (m.arrayClass == kSparseClass) {
        code = ReadSparse5(sink, s, data, m, array.logical, held, cursor);
    } else {
        code = ReadNumbers(sink, s, data, m, cursor);
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

int MatFile::ReadNumbers(ReadSpreadSheetData* sink, Input& s, const Tag& data, const Matrix& m,
                         CellCursor& cursor) {
    const uint64_t count = static_cast<uint64_t>(m.rows) * static_cast<uint64_t>(m.cols);
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
        ReportPart(sink, m, count - left, count);
    }
    const uint64_t rest = data.bytes - count * size;
    return s.Skip(std::min<uint64_t>(rest, s.Remaining())) && SkipPadding(s, data) ? 0 : kBadMatrix;
}

int MatFile::ReadText5(ReadSpreadSheetData* sink, Input& s, const Tag& data, const Matrix& m,
                       int64_t charColumns, CellCursor& cursor) {
    // The stored characters are decoded, then let go of; each row's text is made as it is
    // passed on, so the characters are held once.
    std::vector<uint32_t> codes;
    {
        std::vector<uint8_t> bytes;
        if (!ReadData(s, data, bytes))
            return kBadMatrix;
        if (!zm::mat::DecodeCharacters(data.type, bytes.data(), bytes.size(), bigEndian, codes))
            return kUnknownType;
    }
    for (int64_t r = 0; r < m.rows; ++r)
        cursor.Put(sink, zm::mat::RowText(codes, m.rows, charColumns, r));
    return 0;
}

namespace {

// The values of an integer element (row indexes, column starts), at most `keep` of them;
// the rest of the element is passed over. False when a value is negative or not whole.
bool ReadIndexes(Input& s, const Tag& tag, bool swap, uint64_t keep, std::vector<int64_t>& out) {
    out.clear();
    const size_t size = zm::mat::NumberSize(tag.type);
    if (size == 0 || (!tag.small && tag.bytes > s.Remaining()))
        return false;
    const uint64_t count = tag.bytes / size, kept = std::min(count, keep);
    const size_t block = kBlockBytes / size;
    std::vector<uint8_t> bytes;
    std::vector<double> values;
    for (uint64_t done = 0; done < kept;) {
        const size_t n = static_cast<size_t>(std::min<uint64_t>(kept - done, block));
        const uint8_t* stored = tag.data;
        if (!tag.small) {
            bytes.resize(n * size);
            if (!s.Read(bytes.data(), bytes.size()))
                return false;
            stored = bytes.data();
        }
        values.resize(n);
        zm::mat::ToDoubles(tag.type, stored, n, swap, values.data());
        for (double v : values) {
            if (!(v >= 0 && v < static_cast<double>(INT64_MAX)) || v != static_cast<int64_t>(v))
                return false;
            out.push_back(static_cast<int64_t>(v));
        }
        done += n;
    }
    if (tag.small)
        return true;
    return s.Skip(tag.bytes - kept * size) && SkipPadding(s, tag);
}

}  // namespace

int MatFile::ReadSparse5(ReadSpreadSheetData* sink, Input& s, const Tag& irTag, const Matrix& m,
                         bool logical, uint64_t held, CellCursor& cursor) {
    // Row indexes, column starts, then the stored values in column order. The zeros
    // between the stored values are cells holding 0.
    std::vector<int64_t> ir, jc;
    Tag jcTag, prTag;
    if (!irTag.small && irTag.bytes > held)
        Refuse(kInflatesTooFar);
    if (!ReadIndexes(s, irTag, bigEndian, UINT64_MAX, ir) || !ReadTag(s, bigEndian, jcTag))
        return kBadMatrix;
    if (!jcTag.small && jcTag.bytes > held)
        Refuse(kInflatesTooFar);
    if (!ReadIndexes(s, jcTag, bigEndian, static_cast<uint64_t>(m.cols) + 1, jc) ||
        !ReadTag(s, bigEndian, prTag))
        return kBadMatrix;
    if (prTag.type == zm::mat::miUTF8 || prTag.type == zm::mat::miUTF16 ||
        prTag.type == zm::mat::miUTF32)
        Refuse("Text matrices can not be sparse.");
    if (jc.size() < static_cast<size_t>(m.cols) + 1 || jc[m.cols] > static_cast<int64_t>(ir.size()))
        return kBadMatrix;
    // Some writers store a logical array's values as single bytes under another type.
    uint32_t type = prTag.type;
    if (logical && static_cast<int64_t>(prTag.bytes) == jc[m.cols])
        type = zm::mat::miUINT8;
    const size_t size = zm::mat::NumberSize(type);
    if (size == 0)
        return kUnknownType;
    // As many values as the column starts use; no more are held.
    const auto stored = static_cast<size_t>(jc[m.cols]);
    if (prTag.bytes / size < stored)
        return kBadMatrix;
    std::vector<double> values(stored);
    if (prTag.small) {
        zm::mat::ToDoubles(type, prTag.data, stored, bigEndian, values.data());
    } else {
        std::vector<uint8_t> bytes;
        for (size_t done = 0; done < stored;) {
            const size_t n = std::min(stored - done, kBlockBytes / size);
            bytes.resize(n * size);
            if (!s.Read(bytes.data(), bytes.size()))
                return kBadMatrix;
            zm::mat::ToDoubles(type, bytes.data(), n, bigEndian, values.data() + done);
            done += n;
        }
        if (!s.Skip(std::min<uint64_t>(prTag.bytes - stored * size, s.Remaining())))
            return kBadMatrix;
    }
    std::vector<std::pair<int64_t, double>> column;
    for (int64_t c = 0; c < m.cols; ++c) {
        const int64_t begin = jc[c], end = jc[c + 1];
        if (begin > end || end > jc[m.cols])
            return kBadMatrix;
        column.clear();
        for (int64_t k = begin; k < end; ++k) {
            if (ir[k] >= m.rows)
                return kBadMatrix;
            column.push_back({ir[k], values[k]});
        }
        const auto byRow = [](const auto& a, const auto& b) { return a.first < b.first; };
        if (!std::is_sorted(column.begin(), column.end(), byRow))
            std::stable_sort(column.begin(), column.end(), byRow);
        PutSparseColumn(sink, column, m.rows, cursor);
    }
    return 0;
}

void MatFile::PutSparseColumn(ReadSpreadSheetData* sink,
                              const std::vector<std::pair<int64_t, double>>& column, int64_t rows,
                              CellCursor& cursor) {
    // One column of a sparse matrix, zeros and stored values, a block of rows at a time.
    constexpr int64_t kRun = 4096;
    double run[kRun];
    size_t next = 0;
    for (int64_t r0 = 0; r0 < rows; r0 += kRun) {
        const int64_t n = std::min(kRun, rows - r0);
        std::fill(run, run + n, 0.0);
        for (; next < column.size() && column[next].first < r0 + n; ++next)
            run[column[next].first - r0] = column[next].second;
        cursor.PutBlock(sink, run, static_cast<size_t>(n));
    }
}
