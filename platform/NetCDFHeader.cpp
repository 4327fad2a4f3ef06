// The classic netCDF header, walked with every count checked against the bytes left.
#include "platform/NetCDFHeader.h"

#include <cstdio>
#include <memory>

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
        uint64_t records = 0;
        return Skip(4) && Count(records) && List(kDimensionTag, 8, &HeaderWalk::Dimension) &&
               List(kAttributeTag, 12, &HeaderWalk::Attribute) &&
               List(kVariableTag, 24, &HeaderWalk::Variable);
    }

  private:
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
        return Name() && Count(length);
    }

    bool Attribute() {
        // Bytes per value of the external types: byte, char, short, int, float, double,
        // then (64-bit data layout only) ubyte, ushort, uint, int64, uint64.
        static constexpr uint64_t kSizes[] = {0, 1, 1, 2, 4, 4, 8, 1, 2, 4, 8, 8};
        uint64_t type = 0, values = 0;
        if (!Name() || !BigEndian(4, type) || type < 1 || type > (wide ? 11u : 6u))
            return false;
        const uint64_t each = kSizes[type];
        return FittingCount(each, values) && Skip(Padded(values * each));
    }

    bool Variable() {
        const uint64_t idSize = wide ? 8 : 4;
        uint64_t dimensions = 0, type = 0, bytes = 0, begin = 0;
        return Name() && FittingCount(idSize, dimensions) && Skip(dimensions * idSize) &&
               List(kAttributeTag, 12, &HeaderWalk::Attribute) && BigEndian(4, type) &&
               Count(bytes) && BigEndian(offsetSize, begin);
    }

    FILE* file;
    uint64_t size;
    uint64_t position = 0;
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
    return HeaderWalk(file.get(), fileSize, magic[3]).Header();
}

}  // namespace zm
