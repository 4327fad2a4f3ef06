// Galactic SPC files: main headers, sub-file headers and y values.
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#include "formats/spectral/GalacticSPCFile.h"
#include "platform/ByteReader.h"
#include "platform/CodePage.h"

namespace {

constexpr size_t kNewHeaderSize = 512;
constexpr size_t kOldHeaderSize = 256;
constexpr size_t kSubHeaderSize = 32;
// An old file's own header ends where its first sub-file's header begins.
constexpr size_t kOldMainSize = kOldHeaderSize - kSubHeaderSize;
constexpr uint8_t kNewVersion = 0x4B;        // 'K': little-endian new format
constexpr uint8_t kBigEndianVersion = 0x4C;  // 'L': the same, big-endian
constexpr uint8_t kOldVersion = 0x4D;        // 'M': the old format

// Flags (byte 0 of the main header).
constexpr uint8_t kFlag16BitY = 0x01;
constexpr uint8_t kFlagMultiFile = 0x04;
constexpr uint8_t kFlagOrderedZ = 0x10;
constexpr uint8_t kFlagAxisLabels = 0x20;
constexpr uint8_t kFlagXYPerSubFile = 0x40;
constexpr uint8_t kFlagXArray = 0x80;

// The exponent that marks IEEE float y values.
constexpr int kFloatExponent = -128;

// Main header fields (new format), little-endian:
// 0 u8 ftflgs, 1 u8 fversn, 2 u8 fexper, 3 i8 fexp, 4 u32 fnpts, 8 f64 ffirst,
// 16 f64 flast, 24 i32 fnsub, 28 u8 fxtype, 29 u8 fytype, 30 u8 fztype, 31 u8 fpost,
// 32 u32 fdate, 218 char[30] fcatxt, 312 f32 fzinc.
constexpr size_t kAxisLabelOffset = 218;
constexpr size_t kAxisLabelSize = 30;
constexpr size_t kZIncrementOffset = 312;

// 2^k in double by repeated squaring; overflows give infinity, underflows zero.
double PowerOfTwo(int k) {
    double result = 1;
    double base = 2;
    for (unsigned m = static_cast<unsigned>(k < 0 ? -k : k); m != 0; m >>= 1) {
        if (m & 1)
            result *= base;
        base *= base;
    }
    return k < 0 ? 1 / result : result;
}

float Narrow(double value) {
    if (value > 3.4028234663852886e38)
        return INFINITY;
    if (value < -3.4028234663852886e38)
        return -INFINITY;
    return static_cast<float>(value);
}

// Integer y values are divided by 2^(bits - exponent), the division done in float.
float Divisor(int bits, int exponent) {
    return Narrow(PowerOfTwo(bits - exponent));
}

// Scales n integers read by `load` from blocks of `width` bytes. A divisor that
// underflowed to zero (old files have 16-bit exponents) gives signed infinities.
template <typename Load>
void ScaleAll(const uint8_t* in, size_t width, size_t n, float divisor, float* out, Load load) {
    if (divisor == 0) {
        for (size_t i = 0; i < n; ++i) {
            const auto value = static_cast<float>(load(in + i * width));
            out[i] = value == 0 ? 0.0f : std::copysign(INFINITY, value);
        }
        return;
    }
    for (size_t i = 0; i < n; ++i)
        out[i] = static_cast<float>(load(in + i * width)) / divisor;
}

uint64_t FileSize(std::FILE* file) {
    struct stat info {};
    if (fstat(fileno(file), &info) != 0 || info.st_size < 0)
        return 0;
    return static_cast<uint64_t>(info.st_size);
}

bool ReadExactly(std::FILE* file, void* to, size_t n) {
    return n == 0 || std::fread(to, 1, n, file) == n;
}

// True when `count` blocks of `block` bytes fit into `available` bytes.
bool Fits(uint64_t count, uint64_t block, uint64_t available) {
    return block == 0 || count <= available / block;
}

// The x label of a new header whose flags say it holds axis labels: the first of the
// zero-separated labels, in Windows-1252.
std::string XAxisLabel(const uint8_t* header) {
    const uint8_t* text = header + kAxisLabelOffset;
    const void* end = std::memchr(text, 0, kAxisLabelSize);
    const size_t length = end != nullptr
                              ? static_cast<size_t>(static_cast<const uint8_t*>(end) - text)
                              : kAxisLabelSize;
    return zm::CodePageText(1252).ToUtf8(text, length);
}

// The x array after a new header, `points` floats: kept in `xValues` for the first file,
// compared with them for the next. Returns 0 or the error code.
int ReadXArray(std::FILE* file, uint32_t points, std::vector<float>& xValues) {
    std::vector<uint8_t> bytes(uint64_t{4} * points);
    if (!ReadExactly(file, bytes.data(), bytes.size()))
        return GalacticSPCFile::kShortHeader;
    std::vector<float> xs(points);
    for (size_t i = 0; i < xs.size(); ++i)
        xs[i] = zm::LoadF32LE(bytes.data() + 4 * i);
    if (xValues.empty()) {
        xValues.swap(xs);
    } else if (xs.size() != xValues.size() || !std::equal(xs.begin(), xs.end(), xValues.begin())) {
        // Plain == on purpose: NaN differs even from itself.
        return GalacticSPCFile::kDifferentXValues;
    }
    return 0;
}

}  // namespace

int GalacticSPCFile::ReadHeaderInfo(std::FILE* file, FileRecord& record) {
    uint8_t header[kNewHeaderSize] = {};
    if (std::fseek(file, 0, SEEK_SET) != 0 || !ReadExactly(file, header, 2))
        return kNotSPCFile;
    const uint8_t version = header[1];
    if (version == kBigEndianVersion)
        return kUnsupportedVersion;
    if (version != kNewVersion && version != kOldVersion)
        return kNotSPCFile;
    const size_t size = version == kNewVersion ? kNewHeaderSize : kOldHeaderSize;
    if (!ReadExactly(file, header + 2, size - 2))
        return kShortHeader;

    const uint64_t fileSize = FileSize(file);
    firstZ_ = currentZ_ = -1;
    zIncrement_ = 0;
    subExponent_ = 0;
    if (version == kOldVersion) {
        const int code = ReadOldHeader(header, fileSize, record);
        if (code != 0)
            return code;
        // Every sub-file, the first included, is read with its own header.
        return std::fseek(file, static_cast<long>(kOldMainSize), SEEK_SET) == 0 ? 0 : kShortHeader;
    }
    return ReadNewHeader(file, header, fileSize, record);
}

int GalacticSPCFile::ReadNewHeader(std::FILE* file, const uint8_t* header, uint64_t fileSize,
                                   FileRecord& record) {
    const uint8_t flags = header[0];
    if (flags & kFlagXYPerSubFile)
        return kXYPerSubFile;
    zm::ByteReader in(header, kNewHeaderSize);
    uint8_t exponent = 0;
    uint32_t points = 0;
    double first = 0, last = 0;
    int32_t subFiles = 0;
    in.Seek(3);
    in.ReadU8(exponent);
    in.ReadU32LE(points);
    in.ReadF64LE(first);
    in.ReadF64LE(last);
    in.ReadI32LE(subFiles);
    in.ReadBytes(typeCodes_, sizeof typeCodes_);
    in.ReadU32LE(date_);
    in.Seek(kZIncrementOffset);
    in.ReadF32LE(zIncrement_);
    if (in.Failed() || !std::isfinite(first) || !std::isfinite(last) || points > INT32_MAX)
        return kNotSPCFile;

    oldFormat_ = false;
    y32Bit_ = (flags & kFlag16BitY) == 0;
    yExponent_ = static_cast<int8_t>(exponent);
    yFloat_ = yExponent_ == kFloatExponent;
    multiFile_ = (flags & kFlagMultiFile) != 0;
    // A file without the multi-file flag holds one spectrum, whatever the count says.
    if (!multiFile_)
        subFiles = 1;
    if (subFiles < 0)
        return kNotSPCFile;
    zEvenlySpaced_ = (flags & kFlagOrderedZ) == 0 && subFiles >= 2 && multiFile_;
    xLabel_ = (flags & kFlagAxisLabels) ? XAxisLabel(header) : std::string();
    if (xLabel_.empty())
        xLabel_ = XTypeText(typeCodes_[0]);

    record.firstX = first;
    record.lastX = last;
    record.points = static_cast<int32_t>(points);
    record.subFiles = subFiles;
    record.spacing = points > 1 ? (last - first) / (static_cast<double>(points) - 1) : 0;

    // The counts are the file's word: the file must hold every sub-file they promise,
    // and at least one, before anything is allocated for them (the x row alone is as
    // long as the point count says).
    const uint64_t arrayBytes = (flags & kFlagXArray) ? uint64_t{4} * points : 0;
    const uint64_t valueBytes = uint64_t{points} * (y32Bit_ ? 4 : 2);
    if (fileSize < kNewHeaderSize + arrayBytes ||
        !Fits(std::max<uint64_t>(static_cast<uint64_t>(subFiles), 1), kSubHeaderSize + valueBytes,
              fileSize - kNewHeaderSize - arrayBytes))
        return kNotSPCFile;

    return (flags & kFlagXArray) ? ReadXArray(file, points, xValues_) : 0;
}

int GalacticSPCFile::ReadOldHeader(const uint8_t* header, uint64_t fileSize, FileRecord& record) {
    // 0 u8 oftflgs, 1 u8 oversn, 2 i16 oexp, 4 f32 onpts, 8 f32 ofirst, 12 f32 olast,
    // 16 u8 oxtype, 17 u8 oytype; the first sub-file's header ends the 256 bytes.
    const uint8_t flags = header[0];
    if (flags & kFlagXArray)
        return kUnevenOldFormat;
    zm::ByteReader in(header, kOldHeaderSize);
    int16_t exponent = 0;
    float points = 0, first = 0, last = 0;
    in.Seek(2);
    in.ReadI16LE(exponent);
    in.ReadF32LE(points);
    in.ReadF32LE(first);
    in.ReadF32LE(last);
    if (in.Failed() || !(points >= 0 && points < 2147483648.0f) || !std::isfinite(first) ||
        !std::isfinite(last))
        return kNotSPCFile;
    const auto count = static_cast<int32_t>(points);

    oldFormat_ = true;
    y32Bit_ = (flags & kFlag16BitY) == 0;
    yExponent_ = exponent;
    yFloat_ = yExponent_ == kFloatExponent;
    multiFile_ = (flags & kFlagMultiFile) != 0;
    zEvenlySpaced_ = false;
    typeCodes_[0] = header[16];
    typeCodes_[1] = header[17];
    typeCodes_[2] = typeCodes_[3] = 0;
    date_ = 0;
    xLabel_ = XTypeText(typeCodes_[0]);

    record.firstX = first;
    record.lastX = last;
    record.points = count;
    record.subFiles = 1;
    record.spacing = count > 1 ? (last - first) / static_cast<float>(count - 1) : 0.0f;
    record.leftOver = 0;

    const uint64_t valueBytes = uint64_t(count) * (y32Bit_ ? 4 : 2);
    if (fileSize < kOldHeaderSize || valueBytes > fileSize - kOldHeaderSize)
        return kNotSPCFile;
    if (multiFile_) {
        // The old header holds no count of sub-files: the file holds as many as its size
        // has room for, each a sub-file header and its values. Bytes left over mean the
        // size does not say the count for sure.
        const uint64_t block = kSubHeaderSize + valueBytes;
        const uint64_t room = fileSize - kOldMainSize;
        const uint64_t subFiles = room / block;
        if (subFiles > INT32_MAX)
            return kNotSPCFile;
        record.subFiles = static_cast<int32_t>(subFiles);
        record.leftOver = room % block;
    }
    return 0;
}

int GalacticSPCFile::ReadSubHeaderInfo(std::FILE* file) {
    subExponent_ = yExponent_;
    // 0 u8 subflgs, 1 i8 subexp, 2 u16 subindx, 4 f32 subtime (z start), 8 f32 subnext
    // (z end); the rest is not used here.
    uint8_t bytes[kSubHeaderSize];
    if (!ReadExactly(file, bytes, sizeof bytes))
        return kNotSPCFile;
    if (oldFormat_) {
        // A single old spectrum is scaled by the main header's exponent; in a multi-file
        // one each sub-file has its own exponent and z.
        currentZ_ = -1;
        if (multiFile_) {
            subExponent_ = static_cast<int8_t>(bytes[1]);
            currentZ_ = zm::LoadF32LE(bytes + 4);
        }
        return 0;
    }
    if (!multiFile_) {
        currentZ_ = 0;
        return 0;
    }
    subExponent_ = static_cast<int8_t>(bytes[1]);
    const uint16_t index = zm::LoadU16LE(bytes + 2);
    const float zStart = zm::LoadF32LE(bytes + 4);
    const float zEnd = zm::LoadF32LE(bytes + 8);
    currentZ_ = zStart;
    if (index == 0)
        firstZ_ = zStart;
    if (zEvenlySpaced_ && zIncrement_ == 0) {
        // Without an increment in the main header the first sub-file's z range gives it;
        // a range ending at 0 says the z values are not evenly spaced after all.
        if (zEnd == 0)
            zEvenlySpaced_ = false;
        else
            zIncrement_ = zEnd - zStart;
    }
    if (zEvenlySpaced_)
        currentZ_ = static_cast<float>(index) * zIncrement_ + firstZ_;
    return 0;
}

int GalacticSPCFile::ReadValues(std::FILE* file, int32_t count) {
    const size_t width = y32Bit_ ? 4 : 2;
    const size_t n = count > 0 ? static_cast<size_t>(count) : 0;
    // The count was checked against the file size when the header was read.
    bytes_.resize(n * width);
    if (!ReadExactly(file, bytes_.data(), bytes_.size()))
        return kNotSPCFile;
    values_.resize(n);
    // One loop per encoding: nothing is decided point by point.
    const uint8_t* in = bytes_.data();
    float* out = values_.data();
    if (!y32Bit_) {
        ScaleAll(in, 2, n, Divisor(16, subExponent_), out,
                 [](const uint8_t* p) { return static_cast<int16_t>(zm::LoadU16LE(p)); });
    } else if (subExponent_ == kFloatExponent) {
        for (size_t i = 0; i < n; ++i)
            out[i] = zm::LoadF32LE(in + 4 * i);
    } else {
        // Old files store the high 16-bit word first.
        const bool swapWords = oldFormat_;
        ScaleAll(in, 4, n, Divisor(32, subExponent_), out, [swapWords](const uint8_t* p) {
            uint32_t raw = zm::LoadU32LE(p);
            if (swapWords)
                raw = (raw << 16) | (raw >> 16);
            int32_t value;
            std::memcpy(&value, &raw, sizeof value);
            return value;
        });
    }
    return 0;
}
