// The classic netCDF header, walked with every count checked against the bytes left.
#include "platform/NetCDFHeader.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

namespace zm {

namespace {

constexpr uint32_t kDimensionTag = 0x0A;
constexpr uint32_t kVariableTag = 0x0B;
constexpr uint32_t kAttributeTag = 0x0C;

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};

// Reads the header front to back. Counts are 4 bytes in the classic and 64-bit offset
// layouts and 8 bytes in the 64-bit data layout; so are dimension ids and variable
// sizes, while data offsets are 8 bytes in both 64-bit layouts.
class HeaderWalk {
  public:
    HeaderWalk(FILE* file, uint64_t size, int version)
        : file(file), size(size), wide(version == 5), offsetSize(version == 1 ? 4 : 8) {}

    bool Header() {
        return Skip(4) && Count(records) && List(kDimensionTag, 8, &HeaderWalk::Dimension) &&
               List(kAttributeTag, 12, &HeaderWalk::Attribute) &&
               List(kVariableTag, 24, &HeaderWalk::Variable);
    }

    // Whether the data of every variable lies inside the file, as the header places it: a
    // variable's values start at its offset, a record variable's at that offset in each
    // record. A file cut short would otherwise read as zeros where the values were.
    bool DataFits() const {
        uint64_t recordSize = 0;
        int recordVariables = 0;
        for (const Var& var : variables) {
            if (var.record) {
                recordSize += var.paddedSize;
                ++recordVariables;
            }
        }
        // A lone record variable's records follow one another unpadded.
        if (recordVariables == 1) {
            for (const Var& var : variables)
                recordSize = var.record ? var.size : recordSize;
        }
        const bool streaming = !wide && records == 0xFFFFFFFFu;
        for (const Var& var : variables) {
            if (!var.known)
                continue;
            uint64_t end = var.begin;
            if (var.record) {
                if (records == 0 || streaming)
                    continue;
                if (records - 1 > (UINT64_MAX - end) / std::max<uint64_t>(recordSize, 1))
                    return false;
                end += (records - 1) * recordSize;
            }
            if (var.size > UINT64_MAX - end || end + var.size > size)
                return false;
        }
        return true;
    }

  private:
    struct Var {
        uint64_t begin = 0, size = 0, paddedSize = 0;
        bool record = false;
        bool known = true;  // false when the size does not fit the header's fields
    };

    uint64_t Left() const { return size - position; }

    bool Skip(uint64_t n) {
        if (n > Left() || std::fseek(file, static_cast<long>(n), SEEK_CUR) != 0)
            return false;
        position += n;
        return true;
    }

    bool BigEndian(int bytes, uint64_t& value) {
        unsigned char raw[8];
        if (static_cast<uint64_t>(bytes) > Left() ||
            std::fread(raw, 1, static_cast<size_t>(bytes), file) != static_cast<size_t>(bytes))
            return false;
        position += static_cast<uint64_t>(bytes);
        value = 0;
        for (int i = 0; i < bytes; ++i)
            value = value << 8 | raw[i];
        return true;
    }

    bool Count(uint64_t& value) { return BigEndian(wide ? 8 : 4, value); }

    // A count of items of at least `each` bytes that must all fit in what is left.
    bool FittingCount(uint64_t each, uint64_t& value) {
        return Count(value) && value <= Left() / each;
    }

    static uint64_t Padded(uint64_t n) { return (n + 3) / 4 * 4; }

    bool Name() {
        uint64_t length = 0;
        return FittingCount(1, length) && Skip(Padded(length));
    }

    // A tagged list; "absent" is a zero tag with a zero count.
    bool List(uint32_t tag, uint64_t smallestItem, bool (HeaderWalk::*item)()) {
        uint64_t found = 0, count = 0;
        if (!BigEndian(4, found) || !FittingCount(smallestItem, count))
            return false;
        if (found == 0 && count == 0)
            return true;
        if (found != tag)
            return false;
        for (uint64_t i = 0; i < count; ++i) {
            if (!(this->*item)())
                return false;
        }
        return true;
    }

    bool Dimension() {
        uint64_t length = 0;
        if (!Name() || !Count(length))
            return false;
        dimensions.push_back(length);
        return true;
    }

    bool Attribute() {
        uint64_t type = 0, values = 0;
        if (!Name() || !BigEndian(4, type) || type < 1 || type > (wide ? 11u : 6u))
            return false;
        const uint64_t each = kSizes[type];
        return FittingCount(each, values) && Skip(Padded(values * each));
    }

    bool Variable() {
        const uint64_t idSize = wide ? 8 : 4;
        uint64_t rank = 0, type = 0, bytes = 0, begin = 0;
        if (!Name() || !FittingCount(idSize, rank))
            return false;
        // The values of one record (or of the whole variable): the lengths of its
        // dimensions, the record dimension (length 0 here) left out, times the type's size.
        Var var;
        uint64_t values = 1;
        for (uint64_t d = 0; d < rank; ++d) {
            uint64_t id = 0;
            if (!BigEndian(static_cast<int>(idSize), id))
                return false;
            if (id >= dimensions.size()) {
                var.known = false;
                continue;
            }
            const uint64_t length = dimensions[id];
            if (length == 0 && d == 0) {
                var.record = true;
                continue;
            }
            if (length != 0 && values > UINT64_MAX / 16 / length)
                var.known = false;
            else
                values *= length;
        }
        if (!List(kAttributeTag, 12, &HeaderWalk::Attribute) || !BigEndian(4, type) ||
            !Count(bytes) || !BigEndian(offsetSize, begin))
            return false;
        if (type < 1 || type > 11)
            var.known = false;
        var.begin = begin;
        var.size = var.known ? values * kSizes[type] : 0;
        var.paddedSize = Padded(var.size);
        variables.push_back(var);
        return true;
    }

    // Bytes per value of the external types: byte, char, short, int, float, double, then
    // (64-bit data layout only) ubyte, ushort, uint, int64, uint64.
    static constexpr uint64_t kSizes[] = {0, 1, 1, 2, 4, 4, 8, 1, 2, 4, 8, 8};

    FILE* file;
    uint64_t size;
    uint64_t position = 0;
    uint64_t records = 0;
    std::vector<uint64_t> dimensions;
    std::vector<Var> variables;
    bool wide;
    int offsetSize;
};

}  // namespace

bool ClassicHeaderFits(const std::string& path, uint64_t fileSize) {
    std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
    if (!file)
        return false;
    unsigned char magic[4];
    if (std::fread(magic, 1, 4, file.get()) != 4 || magic[0] != 'C' || magic[1] != 'D' ||
        magic[2] != 'F' || !(magic[3] == 1 || magic[3] == 2 || magic[3] == 5))
        return true;
    std::rewind(file.get());
    HeaderWalk walk(file.get(), fileSize, magic[3]);
    return walk.Header() && walk.DataFits();
}

}  // namespace zm
