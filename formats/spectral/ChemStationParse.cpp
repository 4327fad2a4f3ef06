// ChemStation signal files: the header texts, the retention times and the coded values.
//
// A file starts with its version as a text of one length byte and its digits. Files of
// versions 30, 31, 8 and 81 have a 512-byte header of one-byte texts (each a length byte
// and the characters); versions 130, 131, 179 and 181 have a 6 kB header of UTF-16 texts
// at fixed offsets (a length byte in characters, then the characters). Numbers in the
// header are big-endian: at 264 the 512-byte block where the values start (counting
// from 1), at 278 the number of spectra of a ".uv" file, at 282 and 286 the first and
// last retention time in milliseconds (integers in versions 8, 30 and 130, floats in the
// others), and the scaling factor (a double) at 644 in the old header, at 4732 in the
// new one and at 318 and 3085 in the ".uv" headers.
// The values are coded in one of three ways:
// - versions 8, 30, 130: segments of a marker byte 0x10 and a count byte, then that many
//   big-endian 16-bit differences to the previous value; -32768 is followed by the value
//   itself as a 32-bit integer;
// - versions 81, 181: big-endian 16-bit second differences; 32767 is followed by the
//   value itself as a 48-bit integer (16 high bits, 32 low bits);
// - version 179: little-endian doubles from 6144 to the end of the file.
// A ".uv" file holds one record per spectrum: a 22-byte head (its length in bytes at 2,
// the time in milliseconds at 4, the first and last wavelength and the step in 1/20 nm
// at 8, 10 and 12, all little-endian), then little-endian 16-bit differences from one
// wavelength to the next, -32768 followed by a 32-bit value.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "formats/spectral/ChemStationFile.h"
#include "platform/ByteReader.h"
#include "platform/CodePage.h"

namespace zm::chemstation {

namespace {

constexpr size_t kNewHeaderSize = 0x1800;

bool IsNewHeader(const std::string& version) {
    return version == "130" || version == "131" || version == "179" || version == "181";
}

// A text of the header: one length byte, then one byte or one UTF-16 unit per character.
std::string HeaderText(const uint8_t* data, size_t size, size_t offset, bool wide) {
    if (offset >= size)
        return std::string();
    const size_t length = data[offset];
    const size_t bytes = wide ? length * 2 : length;
    if (bytes > size - offset - 1)
        return std::string();
    std::string text = wide ? CodePageText::Utf16LeToUtf8(data + offset + 1, length)
                            : CodePageText(1252).ToUtf8(data + offset + 1, length);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0'))
        text.pop_back();
    return text;
}

bool BigU32(const uint8_t* data, size_t size, size_t offset, uint32_t& value) {
    ByteReader in(data, size);
    return in.Skip(offset) && in.ReadU32BE(value);
}

bool BigF64(const uint8_t* data, size_t size, size_t offset, double& value) {
    uint32_t high = 0, low = 0;
    if (!BigU32(data, size, offset, high) || !BigU32(data, size, offset + 4, low))
        return false;
    const uint64_t bits = (uint64_t{high} << 32) | low;
    std::memcpy(&value, &bits, sizeof value);
    return true;
}

// The first and last retention time, in minutes.
bool TimeRange(const uint8_t* data, size_t size, bool integers, double& first, double& last) {
    uint32_t a = 0, b = 0;
    if (!BigU32(data, size, 282, a) || !BigU32(data, size, 286, b))
        return false;
    if (integers) {
        first = static_cast<int32_t>(a) / 60000.0;
        last = static_cast<int32_t>(b) / 60000.0;
    } else {
        float fa, fb;
        std::memcpy(&fa, &a, 4);
        std::memcpy(&fb, &b, 4);
        first = fa / 60000.0;
        last = fb / 60000.0;
    }
    return std::isfinite(first) && std::isfinite(last);
}

int16_t BigI16(const uint8_t* p) {
    return static_cast<int16_t>((p[0] << 8) | p[1]);
}

uint32_t BigU32At(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

// Segments of first differences; false when a segment runs past the end.
bool DecodeDelta(const uint8_t* p, const uint8_t* end, std::vector<double>& out) {
    int64_t value = 0;
    while (end - p >= 2 && p[0] == 0x10) {
        const int count = p[1];
        p += 2;
        for (int i = 0; i < count; ++i) {
            if (end - p < 2)
                return false;
            const int16_t delta = BigI16(p);
            p += 2;
            if (delta == -32768) {
                if (end - p < 4)
                    return false;
                value = static_cast<int32_t>(BigU32At(p));
                p += 4;
            } else {
                value += delta;
            }
            out.push_back(static_cast<double>(value));
        }
    }
    return true;
}

// Second differences to the end of the data; false when an escaped value is cut off.
bool DecodeDoubleDelta(const uint8_t* p, const uint8_t* end, std::vector<double>& out) {
    // Unsigned arithmetic: damaged files may carry the sums past any range without
    // undefined behaviour.
    uint64_t value = 0, delta = 0;
    while (end - p >= 2) {
        const int16_t step = BigI16(p);
        p += 2;
        if (step == 32767) {
            if (end - p < 6)
                return false;
            const auto high = static_cast<uint64_t>(static_cast<int64_t>(BigI16(p)));
            value = (high << 32) + BigU32At(p + 2);
            delta = 0;
            p += 6;
        } else {
            delta += static_cast<uint64_t>(static_cast<int64_t>(step));
            value += delta;
        }
        out.push_back(static_cast<double>(static_cast<int64_t>(value)));
    }
    return true;
}

// Where a header keeps its texts: the new headers in UTF-16, the old ones in bytes. A
// diode-array file keeps its units and signal elsewhere; an old one has no signal (0).
struct TextOffsets {
    size_t fileType, sample, date, method, units, signal;
};
constexpr TextOffsets kNewSignalTexts{347, 858, 2391, 2574, 4172, 4213};
constexpr TextOffsets kNewSpectraTexts{347, 858, 2391, 2574, 3093, 3136};
constexpr TextOffsets kOldSignalTexts{4, 24, 178, 228, 580, 596};
constexpr TextOffsets kOldSpectraTexts{4, 24, 178, 228, 326, 0};

void ReadHeaderTexts(const uint8_t* data, size_t size, Run& run) {
    const bool wide = IsNewHeader(run.version);
    const bool uv = run.version == "131" || run.version == "31";
    const TextOffsets& at = wide ? (uv ? kNewSpectraTexts : kNewSignalTexts)
                                 : (uv ? kOldSpectraTexts : kOldSignalTexts);
    run.fileType = HeaderText(data, size, at.fileType, wide);
    run.sample = HeaderText(data, size, at.sample, wide);
    run.date = HeaderText(data, size, at.date, wide);
    run.method = HeaderText(data, size, at.method, wide);
    run.units = HeaderText(data, size, at.units, wide);
    run.signal = at.signal == 0 ? std::string() : HeaderText(data, size, at.signal, wide);
}

// Evenly spaced retention times from `first` to `last`.
void SpreadTimes(double first, double last, size_t n, std::vector<double>& times) {
    times.resize(n);
    for (size_t i = 0; i < n; ++i)
        times[i] = n < 2 ? first : first + (last - first) * static_cast<double>(i) / (n - 1);
}

ParseError ParseSignal(const uint8_t* data, size_t size, Run& run) {
    const std::string& v = run.version;
    const bool newHeader = IsNewHeader(v);
    if (size < (newHeader ? kNewHeaderSize : size_t{1024}))
        return ParseError::kDamaged;
    double scale = 0, first = 0, last = 0;
    if (!BigF64(data, size, newHeader ? 4732 : 644, scale) || !std::isfinite(scale) ||
        !TimeRange(data, size, v == "8" || v == "30" || v == "130", first, last))
        return ParseError::kDamaged;
    Trace trace;
    trace.label = run.signal;
    std::vector<double>& values = trace.values;
    if (v == "179") {
        // Doubles to the end of the file.
        const size_t n = (size - kNewHeaderSize) / 8;
        values.resize(n);
        ByteReader in(data + kNewHeaderSize, n * 8);
        for (double& value : values)
            in.ReadF64LE(value);
    } else {
        uint32_t block = 0;
        if (!BigU32(data, size, 264, block) || block < 1 || uint64_t{block - 1} * 512 > size)
            return ParseError::kDamaged;
        const uint8_t* start = data + size_t{block - 1} * 512;
        const bool ok = (v == "81" || v == "181") ? DecodeDoubleDelta(start, data + size, values)
                                                  : DecodeDelta(start, data + size, values);
        if (!ok)
            return ParseError::kDamaged;
    }
    if (values.empty())
        return ParseError::kNoPoints;
    for (double& value : values)
        value *= scale;
    SpreadTimes(first, last, values.size(), run.times);
    run.traces.push_back(std::move(trace));
    return ParseError::kNone;
}

ParseError ParseSpectra(const uint8_t* data, size_t size, Run& run) {
    const bool newHeader = run.version == "131";
    const size_t start = newHeader ? 0x1000 : 0x200;
    double scale = 0;
    uint32_t count = 0;
    if (size < start || !BigF64(data, size, newHeader ? 3085 : 318, scale) ||
        !std::isfinite(scale) || !BigU32(data, size, 278, count))
        return ParseError::kDamaged;
    if (count == 0)
        return ParseError::kNoPoints;
    // Each record takes at least its head: the count cannot exceed what the file holds.
    if (uint64_t{count} * 22 > size - start)
        return ParseError::kDamaged;
    ByteReader in(data + start, size - start);
    uint16_t type = 0, length = 0, low = 0, high = 0, step = 0;
    uint32_t time = 0;
    size_t wavelengths = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const size_t at = in.Position();
        if (!in.ReadU16LE(type) || !in.ReadU16LE(length) || !in.ReadU32LE(time) ||
            !in.ReadU16LE(low) || !in.ReadU16LE(high) || !in.ReadU16LE(step) || !in.Skip(8) ||
            length < 22 || length > in.Size() - at)
            return ParseError::kDamaged;
        if (i == 0) {
            if (step == 0 || high < low)
                return ParseError::kDamaged;
            wavelengths = (high - low) / step + 1;
            run.traces.resize(wavelengths);
            for (size_t w = 0; w < wavelengths; ++w) {
                char label[32];
                std::snprintf(label, sizeof label, "%g", (low + w * step) / 20.0);
                run.traces[w].label = label;
                run.traces[w].values.reserve(count);
            }
        }
        run.times.push_back(time / 60000.0);
        ByteReader values(data + start + at + 22, length - 22);
        int64_t value = 0;
        for (size_t w = 0; w < wavelengths; ++w) {
            int16_t delta = 0;
            if (!values.ReadI16LE(delta))
                return ParseError::kDamaged;
            if (delta == -32768) {
                int32_t absolute = 0;
                if (!values.ReadI32LE(absolute))
                    return ParseError::kDamaged;
                value = absolute;
            } else {
                value += delta;
            }
            run.traces[w].values.push_back(static_cast<double>(value) * scale);
        }
        in = ByteReader(data + start, size - start);
        in.Skip(at + length);
    }
    return ParseError::kNone;
}

}  // namespace

std::string VersionOf(const uint8_t* data, size_t size) {
    if (size < 2 || data[0] < 1 || data[0] > 3 || size_t{data[0]} + 1 > size)
        return std::string();
    std::string version(reinterpret_cast<const char*>(data + 1), data[0]);
    for (char c : version) {
        if (c < '0' || c > '9')
            return std::string();
    }
    return version;
}

ParseError ParseRun(const uint8_t* data, size_t size, Run& run) {
    run = Run();
    run.version = VersionOf(data, size);
    if (run.version.empty())
        return ParseError::kNotChemStation;
    static const char* const kSignals[] = {"8", "30", "130", "179", "81", "181"};
    const bool signal = std::find_if(std::begin(kSignals), std::end(kSignals), [&](const char* v) {
                            return run.version == v;
                        }) != std::end(kSignals);
    const bool spectra = run.version == "31" || run.version == "131";
    if (!signal && !spectra)
        return ParseError::kUnsupported;
    ReadHeaderTexts(data, size, run);
    return signal ? ParseSignal(data, size, run) : ParseSpectra(data, size, run);
}

}  // namespace zm::chemstation
