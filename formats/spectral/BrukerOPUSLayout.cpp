// OPUS files: the header, the block directory and the parameter blocks of the data.
//
// An OPUS file starts with a 24-byte header: the magic bytes 0A 0A FE FE, the program
// version (a double), the byte offset of the directory, its room in entries and the
// number of entries in use. Each directory entry is 12 bytes: four type bytes, the
// block's length in 4-byte words and its byte offset. The type bytes say what a block
// holds: byte 0 carries the real/imaginary part (bits 0-1), sample/reference/ratio
// (bits 2-3) and the parameter kind (bits 4-7, 1 being the data status parameters of
// the data block with the same other bits); byte 1 the kind of data in bits 2-7
// (spectrum, interferogram, absorbance, ...); byte 2 derivatives and texts; byte 3
// further flags (64 marks, among others, spectra before atmospheric compensation).
// A parameter block is a run of entries: a three-letter key and a zero, a 16-bit type
// (0 integer, 1 double, 2-4 texts), a 16-bit length in 2-byte words and the value,
// up to the key "END".
#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>

#include "formats/spectral/BrukerOPUSFile.h"
#include "platform/ByteReader.h"
#include "platform/CodePage.h"

namespace zm::opus {

namespace {

constexpr uint8_t kMagic[4] = {0x0A, 0x0A, 0xFE, 0xFE};
constexpr size_t kHeaderSize = 24;
constexpr size_t kEntrySize = 12;
constexpr uint8_t kDataStatusParameters = 0x10;
constexpr uint8_t kSampleParameters = 0xA0;  // sample origin parameters (name, form, ...)

// Short names of the data kinds of type byte 1 (bits 2-7).
const char* DataKindName(unsigned kind) {
    switch (kind) {
        case 1:
            return "Sc";
        case 2:
            return "Ig";
        case 3:
            return "Ph";
        case 4:
            return "AB";
        case 5:
            return "TR";
        case 6:
            return "KM";
        case 7:
            return "TC";
        case 10:
            return "RAM";
        case 11:
            return "EMI";
        case 12:
            return "REFL";
        case 14:
            return "PW";
        case 15:
            return "LRF";
        case 16:
            return "ATR";
        case 17:
            return "PAS";
        default:
            return nullptr;
    }
}

struct Parameter {
    uint16_t type = 0;
    const uint8_t* value = nullptr;
    size_t size = 0;
};

using ParameterMap = std::map<std::string, Parameter>;

// Reads the entries of a parameter block; false when an entry runs past the block.
bool ParseParameters(const uint8_t* data, const DirectoryEntry& entry, ParameterMap& out) {
    ByteReader in(data + entry.offset, size_t{entry.words} * 4);
    while (in.Remaining() >= 8) {
        std::string key;
        uint16_t type = 0, length = 0;
        in.ReadFixedString(4, key);
        in.ReadU16LE(type);
        in.ReadU16LE(length);
        if (key == "END")
            return true;
        const size_t bytes = size_t{length} * 2;
        if (bytes > in.Remaining())
            return false;
        out[key] = Parameter{type, data + entry.offset + in.Position(), bytes};
        std::string skipped;
        in.ReadString(bytes, skipped);
    }
    // A block without its end mark: the entries read so far hold.
    return true;
}

bool IntegerParameter(const ParameterMap& map, const char* key, int32_t& value) {
    const auto it = map.find(key);
    if (it == map.end() || it->second.type != 0 || it->second.size < 4)
        return false;
    ByteReader(it->second.value, 4).ReadI32LE(value);
    return true;
}

bool DoubleParameter(const ParameterMap& map, const char* key, double& value) {
    const auto it = map.find(key);
    if (it == map.end() || it->second.type != 1 || it->second.size < 8)
        return false;
    ByteReader(it->second.value, 8).ReadF64LE(value);
    return true;
}

std::string TextParameter(const ParameterMap& map, const char* key) {
    const auto it = map.find(key);
    if (it == map.end() || it->second.type < 2)
        return std::string();
    const auto* p = it->second.value;
    const void* zero = std::memchr(p, 0, it->second.size);
    const size_t n = zero ? static_cast<const uint8_t*>(zero) - p : it->second.size;
    // Texts are in the Windows code page of the instrument's computer.
    return CodePageText(1252).ToUtf8(p, n);
}

bool SameBytes(const uint8_t a[4], const uint8_t b[4]) {
    return std::memcmp(a, b, 4) == 0;
}

LayoutError ReadDirectory(const uint8_t* data, size_t size, FileLayout& layout) {
    ByteReader in(data, size);
    uint8_t magic[4];
    double version = 0;
    uint32_t pointer = 0, room = 0, count = 0;
    if (!in.ReadBytes(magic, 4) || std::memcmp(magic, kMagic, 4) != 0)
        return LayoutError::kNotOpus;
    if (!in.ReadF64LE(version) || !in.ReadU32LE(pointer) || !in.ReadU32LE(room) ||
        !in.ReadU32LE(count))
        return LayoutError::kBadDirectory;
    if (pointer < kHeaderSize || count > room || pointer > size ||
        uint64_t{count} * kEntrySize > size - pointer)
        return LayoutError::kBadDirectory;
    ByteReader entries(data + pointer, size_t{count} * kEntrySize);
    for (uint32_t i = 0; i < count; ++i) {
        DirectoryEntry entry;
        entries.ReadBytes(entry.type, 4);
        entries.ReadU32LE(entry.words);
        entries.ReadU32LE(entry.offset);
        if (entry.offset == 0 && entry.words == 0)
            continue;  // an unused entry
        if (entry.offset > size || uint64_t{entry.words} * 4 > size - entry.offset)
            return LayoutError::kBlockOutside;
        layout.entries.push_back(entry);
    }
    return LayoutError::kNone;
}

// Fills the spectrum record of a data block from its parameter block.
LayoutError DescribeSpectrum(const uint8_t* data, const DirectoryEntry& entry, SpectrumBlock& block,
                             bool& found, const FileLayout& layout) {
    found = false;
    uint8_t parameterType[4];
    std::memcpy(parameterType, entry.type, 4);
    parameterType[0] |= kDataStatusParameters;
    for (const DirectoryEntry& other : layout.entries) {
        if (!SameBytes(other.type, parameterType))
            continue;
        ParameterMap map;
        if (!ParseParameters(data, other, map))
            return LayoutError::kBadParameters;
        if (!IntegerParameter(map, "NPT", block.points) ||
            !DoubleParameter(map, "FXV", block.firstX) || !DoubleParameter(map, "LXV", block.lastX))
            return LayoutError::kBadParameters;
        if (!DoubleParameter(map, "CSF", block.scale))
            block.scale = 1;
        if (!IntegerParameter(map, "DPF", block.format))
            block.format = 1;
        block.xUnits = TextParameter(map, "DXU");
        block.date = TextParameter(map, "DAT");
        const std::string time = TextParameter(map, "TIM");
        if (!time.empty())
            block.date += (block.date.empty() ? "" : " ") + time;
        // Each point takes four bytes in both point formats.
        if (block.points < 1 || uint64_t(block.points) > uint64_t{entry.words} ||
            (block.format != 1 && block.format != 2) || !std::isfinite(block.firstX) ||
            !std::isfinite(block.lastX) || !std::isfinite(block.scale))
            return LayoutError::kBadPointCount;
        // Padding makes a block a little longer than its points; a series block (3-D
        // data, time-resolved spectra) holds many spectra and a table of their headers.
        block.series = uint64_t{entry.words} > 2 * uint64_t(block.points) + 16;
        block.entry = entry;
        found = true;
        return LayoutError::kNone;
    }
    return LayoutError::kNone;
}

}  // namespace

std::string SpectrumKindName(const uint8_t type[4]) {
    const unsigned part = type[0] & 0x03u;
    const unsigned source = (type[0] >> 2) & 0x03u;
    const bool parameters = (type[0] & 0xF0u) != 0 || (type[1] & 0x03u) != 0;
    const char* kind = DataKindName(type[1] >> 2);
    // Real parts and amplitudes only; texts and tables (byte 2 above the derivative
    // bits) are no spectra.
    if (parameters || kind == nullptr || source == 0 || (part != 1 && part != 3) ||
        (type[2] & 0xFCu) != 0)
        return std::string();
    std::string name = kind;
    if (source != 3 || name == "Sc" || name == "Ig" || name == "Ph")
        name += source == 1 ? "Sm" : source == 2 ? "Rf" : "";
    if ((type[2] & 0x03u) != 0)
        name += "D" + std::to_string(type[2] & 0x03u);  // a derivative
    return name;
}

LayoutError ParseLayout(const uint8_t* data, size_t size, FileLayout& layout) {
    layout = FileLayout();
    const LayoutError error = ReadDirectory(data, size, layout);
    if (error != LayoutError::kNone)
        return error;
    std::map<std::string, int> seen;
    for (const DirectoryEntry& entry : layout.entries) {
        if (entry.type[0] == kSampleParameters && entry.type[1] == 0 && layout.sampleName.empty()) {
            ParameterMap map;
            if (!ParseParameters(data, entry, map))
                return LayoutError::kBadParameters;
            // The sample text holds the name and then the sample form and other fields,
            // separated by semicolons.
            layout.sampleName = TextParameter(map, "SNM");
            layout.sampleName.erase(
                std::min(layout.sampleName.find(';'), layout.sampleName.size()));
            continue;
        }
        const std::string kind = SpectrumKindName(entry.type);
        if (kind.empty())
            continue;
        SpectrumBlock block;
        bool found = false;
        const LayoutError described = DescribeSpectrum(data, entry, block, found, layout);
        if (described != LayoutError::kNone)
            return described;
        if (!found)
            continue;  // data without parameters cannot be placed on an x axis
        block.name = kind;
        layout.spectra.push_back(block);
    }
    // Blocks of one kind: the final one (byte 3 without the flag 64, e.g. after the
    // atmospheric compensation) keeps the plain name, the others are numbered.
    for (const bool flagged : {false, true}) {
        for (SpectrumBlock& block : layout.spectra) {
            if (((block.entry.type[3] & 64) != 0) != flagged)
                continue;
            const int n = ++seen[block.name];
            if (n > 1)
                block.name += "#" + std::to_string(n);
        }
    }
    return LayoutError::kNone;
}

bool ReadSpectrum(const uint8_t* data, size_t size, const SpectrumBlock& block,
                  std::vector<double>& y) {
    const uint64_t bytes = uint64_t(block.points) * 4;
    if (block.points < 1 || block.entry.offset > size || bytes > size - block.entry.offset ||
        bytes > uint64_t{block.entry.words} * 4)
        return false;
    y.resize(static_cast<size_t>(block.points));
    ByteReader in(data + block.entry.offset, static_cast<size_t>(bytes));
    for (double& value : y) {
        if (block.format == 2) {
            int32_t v = 0;
            in.ReadI32LE(v);
            value = v * block.scale;
        } else {
            float v = 0;
            in.ReadF32LE(v);
            value = block.scale == 1 ? v : v * block.scale;
        }
    }
    return !in.Failed();
}

bool HasOpusDirectory(const uint8_t* data, size_t size, uint64_t fileSize) {
    if (size < kHeaderSize || std::memcmp(data, kMagic, 4) != 0)
        return false;
    ByteReader in(data + 12, 12);
    uint32_t pointer = 0, room = 0, count = 0;
    in.ReadU32LE(pointer);
    in.ReadU32LE(room);
    in.ReadU32LE(count);
    return pointer >= kHeaderSize && count >= 1 && count <= room && pointer <= fileSize &&
           uint64_t{count} * kEntrySize <= fileSize - pointer;
}

}  // namespace zm::opus
