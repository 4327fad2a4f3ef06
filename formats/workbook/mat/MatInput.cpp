// File stretches and inflated elements as byte sources, and value conversions.
#include "formats/workbook/mat/MatInput.h"

#include <algorithm>
#include <boost/iostreams/device/file.hpp>
#include <boost/iostreams/filter/zlib.hpp>
#include <boost/iostreams/filtering_streambuf.hpp>
#include <boost/iostreams/restrict.hpp>
#include <cstring>
#include <exception>
#include <optional>

namespace zm::mat {

namespace io = boost::iostreams;

bool Input::Read(void* buffer, size_t n) {
    if (failed || n > Remaining())
        return failed = true, false;
    auto* p = static_cast<char*>(buffer);
    size_t got = 0;
    while (got < n) {
        const size_t step = Fetch(p + got, n - got);
        if (step == 0)
            return failed = true, false;
        got += step;
    }
    consumed += n;
    return true;
}

bool Input::Skip(uint64_t n) {
    char scratch[16384];
    while (n > 0) {
        const size_t step = static_cast<size_t>(std::min<uint64_t>(n, sizeof scratch));
        if (!Read(scratch, step))
            return false;
        n -= step;
    }
    return true;
}

bool Input::EndsWithin(size_t slack) {
    std::vector<char> rest(slack + 1);
    size_t got = 0;
    while (got < rest.size()) {
        const size_t step = Fetch(rest.data() + got, rest.size() - got);
        if (step == 0)
            break;
        got += step;
    }
    return got <= slack && !corrupt;
}

namespace {

class FileStretch : public Input {
  public:
    FileStretch(std::ifstream& file, uint64_t offset, uint64_t length)
        : Input(length), file(file), end(offset + length) {
        file.clear();
        file.seekg(static_cast<std::streamoff>(offset));
        position = offset;
    }

  protected:
    size_t Fetch(void* buffer, size_t n) override {
        n = static_cast<size_t>(std::min<uint64_t>(n, end - position));
        if (n == 0 || !file.read(static_cast<char*>(buffer), static_cast<std::streamsize>(n)))
            return 0;
        position += n;
        return n;
    }

  private:
    std::ifstream& file;
    uint64_t end;
    uint64_t position = 0;
};

// Inflates through boost's zlib filter straight into the reader's buffer: the filter is
// called as an input filter on the restricted file, without a stream buffer of its own
// between it and the reader, so the inflated bytes are written once.
class Inflater : public Input {
  public:
    Inflater(const std::string& path, uint64_t offset, uint64_t compressed, uint64_t limit)
        : Input(limit) {
        try {
            io::file_source file(path, std::ios::in | std::ios::binary);
            if (!file.is_open()) {
                corrupt = true;
                return;
            }
            source.emplace(io::restrict(file, static_cast<io::stream_offset>(offset),
                                        static_cast<io::stream_offset>(compressed)));
        } catch (const std::exception&) {
            corrupt = true;
        }
    }

  protected:
    size_t Fetch(void* out, size_t n) override {
        // Small reads (headers, names) are served from a look-ahead that inflates
        // ahead, so that a small element is inflated whole, and its checksum tested, as
        // soon as its header is read; large reads go straight into the reader's buffer.
        if (next == ahead.size()) {
            if (n >= kLookAhead)
                return Inflate(static_cast<char*>(out), n);
            ahead.resize(kLookAhead);
            ahead.resize(Inflate(ahead.data(), kLookAhead));
            next = 0;
        }
        const size_t step = std::min(n, ahead.size() - next);
        std::memcpy(out, ahead.data() + next, step);
        next += step;
        return step;
    }

  private:
    size_t Inflate(char* out, size_t n) {
        if (corrupt || ended)
            return 0;
        try {
            const std::streamsize got =
                inflater.read(*source, out, static_cast<std::streamsize>(n));
            if (got <= 0) {
                ended = true;
                return 0;
            }
            return static_cast<size_t>(got);
        } catch (const std::exception&) {
            // A data error or a failed checksum: the stream is damaged.
            corrupt = true;
            return 0;
        }
    }

    // The compressed bytes are read in large steps, which keeps the filter's per-call
    // overhead small next to inflating.
    static constexpr std::streamsize kBuffer = 1 << 20;
    static constexpr size_t kLookAhead = 1 << 16;
    io::zlib_decompressor inflater{io::zlib_params(), kBuffer};
    std::optional<io::restriction<io::file_source>> source;
    std::vector<char> ahead;
    size_t next = 0;  // in `ahead`
    bool ended = false;
};

}  // namespace

std::unique_ptr<Input> FileInput(std::ifstream& file, uint64_t offset, uint64_t length) {
    return std::make_unique<FileStretch>(file, offset, length);
}

std::unique_ptr<Input> InflateInput(const std::string& path, uint64_t offset,
                                    uint64_t compressedLength, uint64_t limit) {
    return std::make_unique<Inflater>(path, offset, compressedLength, limit);
}

uint16_t Swap16(uint16_t v) {
    return static_cast<uint16_t>(v << 8 | v >> 8);
}

uint32_t Swap32(uint32_t v) {
    return __builtin_bswap32(v);
}

uint64_t Swap64(uint64_t v) {
    return __builtin_bswap64(v);
}

size_t NumberSize(uint32_t type) {
    switch (type) {
        case miINT8:
        case miUINT8:
            return 1;
        case miINT16:
        case miUINT16:
            return 2;
        case miINT32:
        case miUINT32:
        case miSINGLE:
            return 4;
        case miDOUBLE:
        case miINT64:
        case miUINT64:
            return 8;
        default:
            return 0;
    }
}

namespace {

// One stored value of type T at p, in the file's byte order.
template <typename T, typename Bits>
T Load(const uint8_t* p, bool swap) {
    Bits bits;
    std::memcpy(&bits, p, sizeof bits);
    if (swap) {
        if constexpr (sizeof(Bits) == 2)
            bits = Swap16(bits);
        else if constexpr (sizeof(Bits) == 4)
            bits = Swap32(bits);
        else if constexpr (sizeof(Bits) == 8)
            bits = Swap64(bits);
    }
    T value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

template <typename T, typename Bits>
void Convert(const uint8_t* data, size_t count, bool swap, double* out) {
    if (!swap) {
        for (size_t i = 0; i < count; ++i)
            out[i] = static_cast<double>(Load<T, Bits>(data + i * sizeof(T), false));
    } else {
        for (size_t i = 0; i < count; ++i)
            out[i] = static_cast<double>(Load<T, Bits>(data + i * sizeof(T), true));
    }
}

}  // namespace

void ToDoubles(uint32_t type, const uint8_t* data, size_t count, bool swap, double* out) {
    switch (type) {
        case miINT8:
            return Convert<int8_t, uint8_t>(data, count, swap, out);
        case miUINT8:
            return Convert<uint8_t, uint8_t>(data, count, swap, out);
        case miINT16:
            return Convert<int16_t, uint16_t>(data, count, swap, out);
        case miUINT16:
            return Convert<uint16_t, uint16_t>(data, count, swap, out);
        case miINT32:
            return Convert<int32_t, uint32_t>(data, count, swap, out);
        case miUINT32:
            return Convert<uint32_t, uint32_t>(data, count, swap, out);
        case miSINGLE:
            return Convert<float, uint32_t>(data, count, swap, out);
        case miDOUBLE:
            if (!swap) {
                std::memcpy(out, data, count * sizeof(double));
                return;
            }
            return Convert<double, uint64_t>(data, count, swap, out);
        case miINT64:
            return Convert<int64_t, uint64_t>(data, count, swap, out);
        case miUINT64:
            return Convert<uint64_t, uint64_t>(data, count, swap, out);
        default:
            std::fill(out, out + count, 0.0);
    }
}

void AppendUtf8(std::string& text, uint32_t code) {
    if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        code = 0xFFFD;
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else if (code < 0x800) {
        text += static_cast<char>(0xC0 | code >> 6);
        text += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        text += static_cast<char>(0xE0 | code >> 12);
        text += static_cast<char>(0x80 | (code >> 6 & 0x3F));
        text += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        text += static_cast<char>(0xF0 | code >> 18);
        text += static_cast<char>(0x80 | (code >> 12 & 0x3F));
        text += static_cast<char>(0x80 | (code >> 6 & 0x3F));
        text += static_cast<char>(0x80 | (code & 0x3F));
    }
}

namespace {

void DecodeUtf8(const uint8_t* p, size_t n, std::vector<uint32_t>& codes) {
    size_t i = 0;
    while (i < n) {
        const uint8_t lead = p[i];
        int more = lead < 0x80                   ? 0
                   : lead >= 0xC2 && lead < 0xE0 ? 1
                   : lead >= 0xE0 && lead < 0xF0 ? 2
                   : lead >= 0xF0 && lead < 0xF5 ? 3
                                                 : -1;
        uint32_t code = more == 0   ? lead
                        : more == 1 ? lead & 0x1F
                        : more == 2 ? lead & 0x0F
                                    : lead & 0x07;
        size_t j = i + 1;
        for (int k = 0; k < more && j < n && (p[j] & 0xC0) == 0x80; ++k, ++j)
            code = code << 6 | (p[j] & 0x3F);
        const bool complete = more >= 0 && j == i + 1 + static_cast<size_t>(more);
        const uint32_t least[] = {0, 0x80, 0x800, 0x10000};
        codes.push_back(complete && code >= least[more] ? code : 0xFFFD);
        i = complete ? j : i + 1;
    }
}

}  // namespace

bool DecodeCharacters(uint32_t type, const uint8_t* data, size_t bytes, bool swap,
                      std::vector<uint32_t>& codes) {
    switch (type) {
        case miINT8:
        case miUINT8:
            codes.assign(data, data + bytes);
            return true;
        case miUTF8:
            codes.reserve(codes.size() + bytes);
            DecodeUtf8(data, bytes, codes);
            return true;
        case miINT16:
        case miUINT16:
        case miUTF16: {
            const size_t n = bytes / 2;
            codes.reserve(codes.size() + n);
            for (size_t i = 0; i < n; ++i) {
                uint32_t unit = Load<uint16_t, uint16_t>(data + 2 * i, swap);
                if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < n) {
                    const uint32_t low = Load<uint16_t, uint16_t>(data + 2 * i + 2, swap);
                    if (low >= 0xDC00 && low < 0xE000) {
                        unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
                        ++i;
                    }
                }
                codes.push_back(unit);
            }
            return true;
        }
        case miINT32:
        case miUINT32:
        case miUTF32:
            for (size_t i = 0; i + 4 <= bytes; i += 4)
                codes.push_back(Load<uint32_t, uint32_t>(data + i, swap));
            return true;
        case miDOUBLE:
            for (size_t i = 0; i + 8 <= bytes; i += 8) {
                const double v = Load<double, uint64_t>(data + i, swap);
                codes.push_back(v >= 0 && v <= 0x10FFFF ? static_cast<uint32_t>(v) : 0xFFFD);
            }
            return true;
        default:
            return false;
    }
}

std::string RowText(const std::vector<uint32_t>& codes, int64_t rows, int64_t cols, int64_t row) {
    std::string text;
    for (int64_t c = 0; c < cols; ++c) {
        const auto at =
            static_cast<uint64_t>(c) * static_cast<uint64_t>(rows) + static_cast<uint64_t>(row);
        if (at >= codes.size())
            break;
        AppendUtf8(text, codes[at]);
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0'))
        text.pop_back();
    // A zero inside would cut the text short for a C host: it ends there.
    text.resize(std::strlen(text.c_str()));
    return text;
}

bool SparseFits(int64_t rows, int64_t cols, uint64_t fileBytes) {
    if (rows < 0 || cols < 0)
        return false;
    const uint64_t limit =
        kSparseCellsFloor + kSparseCellsPerByte * std::min<uint64_t>(fileBytes, 1ULL << 40);
    return rows == 0 || static_cast<uint64_t>(cols) <= limit / static_cast<uint64_t>(rows);
}

}  // namespace zm::mat
