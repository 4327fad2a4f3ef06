// Byte sources of the MAT readers: a stretch of the file, or a compressed element
// inflated on the fly, and the conversion of stored values to numbers and texts.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace zm::mat {

// The tag of a Level 5 data element; a small element carries its data in the tag.
struct Tag {
    uint32_t type = 0;
    uint32_t bytes = 0;
    bool small = false;
    uint8_t data[4] = {};
};

// The header of a Level 5 array (miMATRIX): class, complex flag, dimensions, name, and
// the tag of its first data element.
struct ArrayHeader {
    int arrayClass = 0;   // 0 when the element holds nothing read as data
    int passedClass = 0;  // then the class of an array that is not read (cell, structure, ...)
    bool complex = false;
    bool logical = false;
    std::vector<int64_t> dims;
    std::string name;
    Tag data;
};

// Reads forward through at most `limit` bytes; every read is all or nothing.
class Input {
  public:
    virtual ~Input() = default;
    // False (and failed) when fewer than n bytes are left or the source broke.
    bool Read(void* buffer, size_t n);
    bool Skip(uint64_t n);
    uint64_t Remaining() const { return limit - consumed; }
    bool Failed() const { return failed; }
    // True when the source itself is damaged (a broken compressed stream), not only short.
    bool Corrupt() const { return corrupt; }
    // True when the source ends (a compressed stream with its checksum intact) within
    // `slack` bytes of where it was read to.
    bool EndsWithin(size_t slack);
    // Narrows the source to the next n bytes.
    void Limit(uint64_t n) { limit = consumed + std::min(n, Remaining()); }

  protected:
    explicit Input(uint64_t limit) : limit(limit) {}
    // Reads up to n bytes; fewer only at the source's end.
    virtual size_t Fetch(void* buffer, size_t n) = 0;
    bool corrupt = false;

  private:
    uint64_t limit;
    uint64_t consumed = 0;
    bool failed = false;
};

// `length` bytes of an open file from `offset` on.
std::unique_ptr<Input> FileInput(std::ifstream& file, uint64_t offset, uint64_t length);

// The zlib stream of `compressedLength` bytes at `offset` of the file `path`, inflated;
// at most `limit` inflated bytes are read. The file is reopened, so that the compressed
// bytes never need to sit in memory.
std::unique_ptr<Input> InflateInput(const std::string& path, uint64_t offset,
                                    uint64_t compressedLength, uint64_t limit);
// The most that deflate can make of one compressed byte.
constexpr uint64_t kMaxInflateRatio = 1032;
// What a compressed element may inflate to where its values are held in memory (texts,
// sparse indexes) rather than passed on as they are read: 100 bytes a compressed byte,
// and a few megabytes for any element.
constexpr uint64_t kMaxHeldRatio = 100;
constexpr uint64_t kHeldFloor = 4 << 20;
// The cells a sparse matrix may span, zeros included: a million, and a thousand more per
// byte of the file. A sparse matrix states its size in a few bytes, and its zeros are
// shown as cells, so its size must stay in proportion to the file.
constexpr uint64_t kSparseCellsFloor = 1 << 20;
constexpr uint64_t kSparseCellsPerByte = 1024;
bool SparseFits(int64_t rows, int64_t cols, uint64_t fileBytes);
constexpr const char* kSparseTooLarge =
    "A sparse matrix is too large to be read: its zeros would fill far more cells than the "
    "file holds.";

// Level 5 data types (miINT8 ... miUTF32).
enum DataType {
    miINT8 = 1,
    miUINT8 = 2,
    miINT16 = 3,
    miUINT16 = 4,
    miINT32 = 5,
    miUINT32 = 6,
    miSINGLE = 7,
    miDOUBLE = 9,
    miINT64 = 12,
    miUINT64 = 13,
    miMATRIX = 14,
    miCOMPRESSED = 15,
    miUTF8 = 16,
    miUTF16 = 17,
    miUTF32 = 18,
};

// Bytes per value of a numeric data type; 0 for any other type.
size_t NumberSize(uint32_t type);
// Converts `count` stored values of a numeric type to doubles, swapping bytes when the
// file's byte order is not the machine's.
void ToDoubles(uint32_t type, const uint8_t* data, size_t count, bool swap, double* out);

// Character codes as text: each code one character, invalid ones as U+FFFD.
void AppendUtf8(std::string& text, uint32_t code);
// Decodes stored characters to code points: miUINT8/miINT8 as Latin-1, miUINT16/miUTF16
// as UTF-16 (surrogate pairs joined), miUTF8 and miUTF32. False for other types.
bool DecodeCharacters(uint32_t type, const uint8_t* data, size_t bytes, bool swap,
                      std::vector<uint32_t>& codes);
// The text of 0-based row `row` of a character matrix stored column by column, trailing
// blanks and zeros removed.
std::string RowText(const std::vector<uint32_t>& codes, int64_t rows, int64_t cols, int64_t row);

uint16_t Swap16(uint16_t v);
uint32_t Swap32(uint32_t v);
uint64_t Swap64(uint64_t v);

}  // namespace zm::mat
