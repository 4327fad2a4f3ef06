// The text stream: a file read or written in a named encoding, converted to and from
// UTF-8 in large blocks.
#include "platform/TextStream.h"

#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <cstdio>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace zm {
namespace {

// Bytes read from the file per conversion step.
constexpr size_t kBlockSize = 256 * 1024;
// Bytes of the file's start that decide what the local code page means for it.
constexpr size_t kLocalSample = 64 * 1024;

struct ConverterDeleter {
    void operator()(UConverter* c) const { ucnv_close(c); }
};
using ConverterPtr = std::unique_ptr<UConverter, ConverterDeleter>;

ConverterPtr OpenConverter(const std::string& icuName) {
    UErrorCode error = U_ZERO_ERROR;
    ConverterPtr converter(ucnv_open(icuName.c_str(), &error));
    if (U_FAILURE(error))
        converter.reset();
    return converter;
}

// True when `data` is well-formed UTF-8; a character cut off by the end of a sample
// that does not reach the end of the file is forgiven.
bool IsValidUtf8(const uint8_t* data, size_t size, bool cutOff) {
    size_t i = 0;
    const auto n = static_cast<int32_t>(size);
    while (i < size) {
        if (data[i] < 0x80) {
            ++i;
            continue;
        }
        auto at = static_cast<int32_t>(i);
        UChar32 c;
        U8_NEXT(data, at, n, c);
        if (c < 0)
            return cutOff && at == n && size - i < 4;
        i = static_cast<size_t>(at);
    }
    return true;
}

// The bytes that start a file written in `key`.
std::string_view WriteBom(const std::string& key) {
    if (key == "utf16le")
        return {"\xFF\xFE", 2};
    if (key == "utf16be")
        return {"\xFE\xFF", 2};
    if (key == "utf32le")
        return {"\xFF\xFE\0\0", 4};
    if (key == "utf32be")
        return {"\0\0\xFE\xFF", 4};
    return {};
}

// Narrows the leading ASCII code units of UTF-16 text, sixteen at a time; returns how
// many it wrote. The caller finishes the rest one unit at a time.
size_t NarrowAsciiUtf16(const uint8_t* in, size_t units, char* out, bool bigEndian) {
    size_t done = 0;
#ifdef __SSE2__
    const __m128i notAscii = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i zero = _mm_setzero_si128();
    while (units - done >= 16) {
        __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 2 * done));
        __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 2 * done + 16));
        if (bigEndian) {
            a = _mm_or_si128(_mm_slli_epi16(a, 8), _mm_srli_epi16(a, 8));
            b = _mm_or_si128(_mm_slli_epi16(b, 8), _mm_srli_epi16(b, 8));
        }
        // Two mask bits per unit, set where the unit is ASCII.
        const uint32_t ascii =
            static_cast<uint32_t>(
                _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(a, notAscii), zero))) |
            static_cast<uint32_t>(
                _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(b, notAscii), zero)))
                << 16;
        // All sixteen are stored; only the leading ASCII ones count, the rest is
        // overwritten by what follows.
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + done), _mm_packus_epi16(a, b));
        if (ascii == 0xFFFFFFFFu) {
            done += 16;
            continue;
        }
        done += static_cast<size_t>(__builtin_ctz(~ascii)) / 2;
        break;
    }
#else
    (void)in, (void)units, (void)out, (void)bigEndian;
#endif
    return done;
}

// A growable byte buffer that does not zero what it allocates.
class ByteBuffer {
  public:
    char* Data() { return data.get(); }
    size_t Capacity() const { return capacity; }
    // Keeps the first `keep` bytes and makes room for `size` bytes in all.
    void Reserve(size_t size, size_t keep) {
        if (size <= capacity)
            return;
        size_t grown = capacity * 2 > size ? capacity * 2 : size;
        std::unique_ptr<char[]> bigger(new char[grown]);
        if (keep > 0)
            std::memcpy(bigger.get(), data.get(), keep);
        data = std::move(bigger);
        capacity = grown;
    }

  private:
    std::unique_ptr<char[]> data;
    size_t capacity = 0;
};

}  // namespace

struct TextStream::Impl {
    // How the bytes of the file become UTF-8.
    enum class Path {
        kPassThrough,  // the file is UTF-8 already
        kTable,        // a single-byte code page: one UTF-8 sequence per byte value
        kConverter,    // ICU conversion to UTF-16, then to UTF-8
        kUtf16,        // UTF-16 in either byte order: ASCII runs copied, the rest to ICU
    };
    struct TableEntry {
        uint8_t length;
        char bytes[7];
    };

    Mode mode;
    bool failed = true;
    bool writeFailed = false;
    std::string key;
    std::FILE* file = nullptr;
    Path path = Path::kPassThrough;
    ConverterPtr converter;  // the file's encoding
    ConverterPtr utf8;       // the other end of every conversion
    UChar pivot[4096];
    UChar* pivotSource = pivot;
    UChar* pivotTarget = pivot;
    bool resetConversion = true;
    std::unique_ptr<TableEntry[]> table;
    bool tableKeepsAscii = false;

    // Reading: raw bytes not yet converted, UTF-16 on the way (with a lead surrogate
    // carried over when `carry`), then UTF-8 text not yet handed out.
    ByteBuffer utf16;
    bool carry = false;
    bool utf16BigEndian = false;
    ByteBuffer raw;
    size_t rawPos = 0, rawEnd = 0;
    bool rawAtEnd = false;
    bool converterFlushed = false;
    ByteBuffer text;
    size_t textPos = 0, textEnd = 0;
    // Writing: converted bytes waiting for the file, and the conversion's scratch space.
    std::string pending;
    ByteBuffer scratch;

    explicit Impl(Mode m) : mode(m) {}

    bool OpenForReading(const std::string& fileName, const std::string& requestedKey);
    bool OpenForWriting(const std::string& fileName, const std::string& requestedKey);
    bool SetUpConversion(const std::string& icuName);
    void BuildTable();
    void ReadRaw();
    bool Fill();
    void ConvertTable(const uint8_t* in, size_t size);
    bool ConvertIcu(UConverter* to, UConverter* from, const char*& in, const char* inEnd,
                    bool flush, ByteBuffer& out, size_t& outEnd);
    bool ConvertToUtf8(const char*& in, const char* inEnd, bool flush);
    bool ConvertUtf16(const char*& in, const char* inEnd, bool flush);
    bool FlushPending(bool force);
    bool MoreToCome() const {
        return !failed &&
               (!rawAtEnd || rawPos < rawEnd || (path >= Path::kConverter && !converterFlushed));
    }
    bool Finish();
};

bool TextStream::Impl::OpenForReading(const std::string& fileName,
                                      const std::string& requestedKey) {
    file = std::fopen(fileName.c_str(), "rb");
    if (file == nullptr)
        return false;
    raw.Reserve(kBlockSize, 0);
    ReadRaw();
    size_t bomLength = 0;
    key = GetBomEncoding(reinterpret_cast<const uint8_t*>(raw.Data()), rawEnd, &bomLength);
    rawPos = bomLength;
    if (key.empty())
        key = requestedKey;
    if (key.empty()) {
        const size_t sample = rawEnd < kLocalSample ? rawEnd : kLocalSample;
        const bool cutOff = !rawAtEnd || sample < rawEnd;
        key = IsValidUtf8(reinterpret_cast<const uint8_t*>(raw.Data()), sample, cutOff)
                  ? "utf8"
                  : "windows1252";
    }
    const std::string icuName = IcuConverterName(key);
    if (icuName.empty())
        return false;
    if (key == "utf8") {
        path = Path::kPassThrough;
        return true;
    }
    if (!SetUpConversion(icuName))
        return false;
    if (key == "utf16le" || key == "utf16be") {
        path = Path::kUtf16;
        utf16BigEndian = key == "utf16be";
    }
    return true;
}

bool TextStream::Impl::SetUpConversion(const std::string& icuName) {
    converter = OpenConverter(icuName);
    utf8 = OpenConverter("UTF-8");
    if (!converter || !utf8)
        return false;
    const UConverterType type = ucnv_getType(converter.get());
    const bool singleByte = type == UCNV_SBCS || type == UCNV_LATIN_1 || type == UCNV_US_ASCII;
    path = Path::kConverter;
    if (mode == Mode::kRead && singleByte && ucnv_getMaxCharSize(converter.get()) == 1) {
        BuildTable();
    }
    return true;
}

// A single-byte code page converts byte by byte, so ICU converts each of the 256 byte
// values once and the stream looks the results up; ASCII runs are copied as they are
// when the code page keeps ASCII.
void TextStream::Impl::BuildTable() {
    std::unique_ptr<TableEntry[]> entries(new TableEntry[256]);
    bool keepsAscii = true;
    ByteBuffer out;
    for (int b = 0; b < 256; ++b) {
        const char byte = static_cast<char>(b);
        const char* in = &byte;
        size_t outEnd = 0;
        ucnv_resetToUnicode(converter.get());
        ucnv_resetFromUnicode(utf8.get());
        resetConversion = true;
        if (!ConvertIcu(utf8.get(), converter.get(), in, in + 1, true, out, outEnd))
            return;
        if (outEnd > sizeof(entries[b].bytes))
            return;
        entries[b].length = static_cast<uint8_t>(outEnd);
        std::memcpy(entries[b].bytes, out.Data(), outEnd);
        if (b < 0x80 && (outEnd != 1 || out.Data()[0] != byte))
            keepsAscii = false;
    }
    resetConversion = true;
    table = std::move(entries);
    tableKeepsAscii = keepsAscii;
    path = Path::kTable;
}

bool TextStream::Impl::OpenForWriting(const std::string& fileName,
                                      const std::string& requestedKey) {
    key = requestedKey.empty() ? "utf8" : requestedKey;
    const std::string icuName = IcuConverterName(key);
    if (icuName.empty())
        return false;
    if (key != "utf8" && !SetUpConversion(icuName))
        return false;
    if (key == "utf8")
        path = Path::kPassThrough;
    file = std::fopen(fileName.c_str(), "wb");
    if (file == nullptr)
        return false;
    pending.append(WriteBom(key));
    return true;
}

// Moves unconverted bytes to the front of the raw buffer and reads one block after them.
void TextStream::Impl::ReadRaw() {
    if (rawAtEnd)
        return;
    const size_t left = rawEnd - rawPos;
    if (left > 0 && rawPos > 0)
        std::memmove(raw.Data(), raw.Data() + rawPos, left);
    rawPos = 0;
    rawEnd = left;
    raw.Reserve(left + kBlockSize, left);
    const size_t got = std::fread(raw.Data() + rawEnd, 1, kBlockSize, file);
    rawEnd += got;
    if (got < kBlockSize)
        rawAtEnd = true;
}

void TextStream::Impl::ConvertTable(const uint8_t* in, size_t size) {
    text.Reserve(textEnd + size * sizeof(TableEntry::bytes), textEnd);
    char* out = text.Data() + textEnd;
    const uint8_t* end = in + size;
    while (in < end) {
        if (tableKeepsAscii) {
            // Copy a run of ASCII sixteen, then eight bytes at a time.
#ifdef __SSE2__
            while (end - in >= 16) {
                const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(out), v);
                const int high = _mm_movemask_epi8(v);
                if (high == 0) {
                    in += 16, out += 16;
                    continue;
                }
                // Keep the ASCII bytes before the first other one.
                const int ascii = __builtin_ctz(static_cast<unsigned>(high));
                in += ascii, out += ascii;
                break;
            }
#endif
            while (end - in >= 8) {
                uint64_t word;
                std::memcpy(&word, in, 8);
                if ((word & 0x8080808080808080ULL) != 0)
                    break;
                std::memcpy(out, in, 8);
                in += 8, out += 8;
            }
            while (in < end && *in < 0x80)
                *out++ = static_cast<char>(*in++);
            if (in == end)
                break;
        }
        const TableEntry& entry = table[*in++];
        std::memcpy(out, entry.bytes, sizeof(entry.bytes));
        out += entry.length;
    }
    textEnd = static_cast<size_t>(out - text.Data());
}

// Converts [in, inEnd) from `from` to `to` into `out` after `outEnd`, growing `out` as
// needed; `in` advances over what was consumed. With `flush`, the input is the last.
bool TextStream::Impl::ConvertIcu(UConverter* to, UConverter* from, const char*& in,
                                  const char* inEnd, bool flush, ByteBuffer& out, size_t& outEnd) {
    out.Reserve(outEnd + static_cast<size_t>(inEnd - in) * 4 + 64, outEnd);
    for (;;) {
        char* target = out.Data() + outEnd;
        UErrorCode error = U_ZERO_ERROR;
        ucnv_convertEx(to, from, &target, out.Data() + out.Capacity(), &in, inEnd, pivot,
                       &pivotSource, &pivotTarget, pivot + std::size(pivot), resetConversion, flush,
                       &error);
        resetConversion = false;
        outEnd = static_cast<size_t>(target - out.Data());
        if (error == U_BUFFER_OVERFLOW_ERROR) {
            out.Reserve(out.Capacity() * 2, outEnd);
            continue;
        }
        return U_SUCCESS(error);
    }
}

// Converts at least one more block into the text buffer after moving what is left of
// it to the front; false when nothing more will come.
bool TextStream::Impl::Fill() {
    if (failed || mode != Mode::kRead)
        return false;
    const size_t left = textEnd - textPos;
    if (left > 0 && textPos > 0)
        std::memmove(text.Data(), text.Data() + textPos, left);
    textPos = 0;
    textEnd = left;
    if (path == Path::kPassThrough && rawPos == rawEnd) {
        // UTF-8 needs no conversion: read straight into the text buffer.
        if (rawAtEnd)
            return false;
        text.Reserve(textEnd + kBlockSize, textEnd);
        const size_t got = std::fread(text.Data() + textEnd, 1, kBlockSize, file);
        textEnd += got;
        if (got < kBlockSize)
            rawAtEnd = true;
        return got > 0;
    }
    // A few bytes may wait for the rest of their character.
    if (rawEnd - rawPos < 8)
        ReadRaw();
    if (rawPos == rawEnd && (path < Path::kConverter || converterFlushed))
        return false;
    const size_t size = rawEnd - rawPos;
    const char* in = raw.Data() + rawPos;
    switch (path) {
        case Path::kPassThrough:
            text.Reserve(textEnd + size, textEnd);
            std::memcpy(text.Data() + textEnd, in, size);
            textEnd += size;
            rawPos = rawEnd;
            break;
        case Path::kTable:
            ConvertTable(reinterpret_cast<const uint8_t*>(in), size);
            rawPos = rawEnd;
            break;
        case Path::kUtf16:
        case Path::kConverter: {
            const bool flush = rawAtEnd;
            const bool ok = path == Path::kUtf16 ? ConvertUtf16(in, raw.Data() + rawEnd, flush)
                                                 : ConvertToUtf8(in, raw.Data() + rawEnd, flush);
            if (!ok) {
                rawPos = rawEnd;
                converterFlushed = true;
                return textEnd > left;
            }
            rawPos = static_cast<size_t>(in - raw.Data());
            converterFlushed = flush;
            break;
        }
    }
    return true;
}

// Reading converts to UTF-16 first (the converter keeps a character cut by the block end)
// and then to UTF-8 in one call, which is much faster than converting through a pivot
// character by character. A lead surrogate at the end waits for its partner.
bool TextStream::Impl::ConvertToUtf8(const char*& in, const char* inEnd, bool flush) {
    const size_t carried = carry ? 1 : 0;
    size_t units = carried;
    for (;;) {
        utf16.Reserve((units + static_cast<size_t>(inEnd - in) * 2 + 16) * sizeof(UChar),
                      units * sizeof(UChar));
        auto* start = reinterpret_cast<UChar*>(utf16.Data());
        UChar* target = start + units;
        UErrorCode error = U_ZERO_ERROR;
        ucnv_toUnicode(converter.get(), &target, start + utf16.Capacity() / sizeof(UChar), &in,
                       inEnd, nullptr, flush, &error);
        units = static_cast<size_t>(target - start);
        if (error == U_BUFFER_OVERFLOW_ERROR)
            continue;
        if (U_FAILURE(error))
            return false;
        break;
    }
    auto* start = reinterpret_cast<UChar*>(utf16.Data());
    carry = !flush && units > 0 && U16_IS_LEAD(start[units - 1]);
    const size_t convert = carry ? units - 1 : units;
    text.Reserve(textEnd + convert * 3 + 16, textEnd);
    int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8WithSub(text.Data() + textEnd, static_cast<int32_t>(text.Capacity() - textEnd),
                       &length, start, static_cast<int32_t>(convert), 0xFFFD, nullptr, &error);
    if (U_FAILURE(error))
        return false;
    textEnd += static_cast<size_t>(length);
    if (carry)
        start[0] = start[convert];
    return true;
}

// UTF-16 text is mostly ASCII in the files met here, so ASCII runs are narrowed sixteen
// units at a time and other characters go through ICU's code point macros. A lead surrogate or an
// odd byte at the end of the data stays in the raw buffer until more data comes.
bool TextStream::Impl::ConvertUtf16(const char*& in, const char* inEnd, bool flush) {
    const auto* p = reinterpret_cast<const uint8_t*>(in);
    const uint8_t* end = p + (static_cast<size_t>(inEnd - in) & ~size_t{1});
    const int lo = utf16BigEndian ? 1 : 0;
    const int hi = 1 - lo;
    auto unit = [lo, hi](const uint8_t* u) { return static_cast<UChar>(u[lo] | (u[hi] << 8)); };
    text.Reserve(textEnd + static_cast<size_t>(end - p) / 2 * 3 + 16, textEnd);
    char* out = text.Data() + textEnd;
    while (p < end) {
        const size_t ascii =
            NarrowAsciiUtf16(p, static_cast<size_t>(end - p) / 2, out, utf16BigEndian);
        p += 2 * ascii, out += ascii;
        while (end - p >= 8 && (p[hi] | p[hi + 2] | p[hi + 4] | p[hi + 6]) == 0 &&
               ((p[lo] | p[lo + 2] | p[lo + 4] | p[lo + 6]) & 0x80) == 0) {
            out[0] = static_cast<char>(p[lo]);
            out[1] = static_cast<char>(p[lo + 2]);
            out[2] = static_cast<char>(p[lo + 4]);
            out[3] = static_cast<char>(p[lo + 6]);
            p += 8, out += 4;
        }
        while (p < end && unit(p) < 0x80) {
            *out++ = static_cast<char>(p[lo]);
            p += 2;
        }
        if (p == end)
            break;
        // Other characters one code point at a time with ICU's UTF-16 and UTF-8 macros.
        bool holdBack = false;
        while (p < end && unit(p) >= 0x80) {
            UChar32 c = unit(p);
            p += 2;
            if (U16_IS_LEAD(c)) {
                if (p < end && U16_IS_TRAIL(unit(p))) {
                    c = U16_GET_SUPPLEMENTARY(c, unit(p));
                    p += 2;
                } else if (p == end && !flush) {
                    p -= 2;  // the trail unit comes with the next block
                    holdBack = true;
                    break;
                } else {
                    c = 0xFFFD;
                }
            } else if (U16_IS_TRAIL(c)) {
                c = 0xFFFD;
            }
            auto* bytes = reinterpret_cast<uint8_t*>(out);
            int32_t written = 0;
            U8_APPEND_UNSAFE(bytes, written, c);
            out += written;
        }
        if (holdBack)
            break;
    }
    textEnd = static_cast<size_t>(out - text.Data());
    in = reinterpret_cast<const char*>(p);
    if (flush && in != inEnd) {
        // A file that ends inside a code unit.
        std::memcpy(text.Data() + textEnd, "\xEF\xBF\xBD", 3);
        textEnd += 3;
        in = inEnd;
    }
    return true;
}

bool TextStream::Impl::FlushPending(bool force) {
    if (pending.empty() || (!force && pending.size() < kBlockSize))
        return !writeFailed;
    if (std::fwrite(pending.data(), 1, pending.size(), file) != pending.size()) {
        writeFailed = true;
    }
    pending.clear();
    return !writeFailed;
}

bool TextStream::Impl::Finish() {
    if (file == nullptr)
        return !writeFailed;
    if (mode == Mode::kWrite && !failed) {
        if (path == Path::kConverter) {
            // A stateful encoding may owe a closing shift sequence.
            const char* in = "";
            size_t outEnd = 0;
            if (!ConvertIcu(converter.get(), utf8.get(), in, in, true, scratch, outEnd)) {
                writeFailed = true;
            }
            pending.append(scratch.Data(), outEnd);
        }
        FlushPending(true);
    }
    if (std::fclose(file) != 0 && mode == Mode::kWrite)
        writeFailed = true;
    file = nullptr;
    return !writeFailed;
}

TextStream::TextStream(const std::string& path, const std::string& encodingKey, Mode mode)
    : impl(std::make_unique<Impl>(mode)) {
    const bool opened = mode == Mode::kRead ? impl->OpenForReading(path, encodingKey)
                                            : impl->OpenForWriting(path, encodingKey);
    impl->failed = !opened;
}

TextStream::~TextStream() {
    impl->Finish();
}

bool TextStream::Failed() const {
    return impl->failed;
}

const std::string& TextStream::EncodingKey() const {
    return impl->key;
}

bool TextStream::GetLine(std::string_view& line) {
    Impl& s = *impl;
    size_t scanned = 0;
    for (;;) {
        const char* start = s.text.Data() + s.textPos;
        const size_t available = s.textEnd - s.textPos;
        const void* lf =
            available > scanned ? std::memchr(start + scanned, '\n', available - scanned) : nullptr;
        size_t length;
        if (lf != nullptr) {
            length = static_cast<size_t>(static_cast<const char*>(lf) - start);
            s.textPos += length + 1;
        } else {
            scanned = available;
            if (s.Fill())
                continue;
            if (available == 0)
                return false;
            length = available;  // the last line has no line feed
            s.textPos += length;
        }
        if (length > 0 && start[length - 1] == '\r')
            --length;
        line = std::string_view(start, length);
        return true;
    }
}

bool TextStream::GetLine(std::string& line) {
    std::string_view view;
    if (!GetLine(view))
        return false;
    line.assign(view.data(), view.size());
    return true;
}

bool TextStream::ReadChunk(std::string_view& chunk) {
    Impl& s = *impl;
    for (;;) {
        size_t available = s.textEnd - s.textPos;
        const bool more = s.MoreToCome();
        if (available > 0 && more) {
            // Hold back a character cut by the block end; it completes with the next block.
            const auto* p = reinterpret_cast<const uint8_t*>(s.text.Data() + s.textPos);
            size_t cut = available;
            size_t back = 0;
            while (back < 3 && cut > 0 && U8_IS_TRAIL(p[cut - 1]))
                --cut, ++back;
            if (cut > 0 && p[cut - 1] >= 0xC0 &&
                static_cast<size_t>(U8_COUNT_TRAIL_BYTES(p[cut - 1])) > back) {
                available = cut - 1;
            }
        }
        if (available > 0) {
            chunk = std::string_view(s.text.Data() + s.textPos, available);
            s.textPos += available;
            return true;
        }
        if (!s.Fill()) {
            if (s.textEnd == s.textPos)
                return false;
            chunk = std::string_view(s.text.Data() + s.textPos, s.textEnd - s.textPos);
            s.textPos = s.textEnd;
            return true;
        }
    }
}

bool TextStream::GetChar(char32_t& codePoint) {
    Impl& s = *impl;
    if (s.textEnd - s.textPos < 4)
        s.Fill();
    if (s.textEnd == s.textPos)
        return false;
    const auto* p = reinterpret_cast<const uint8_t*>(s.text.Data() + s.textPos);
    if (*p < 0x80) {
        codePoint = *p;
        ++s.textPos;
        return true;
    }
    int32_t at = 0;
    UChar32 c;
    U8_NEXT(p, at, static_cast<int32_t>(s.textEnd - s.textPos), c);
    s.textPos += static_cast<size_t>(at);
    codePoint = c < 0 ? 0xFFFD : static_cast<char32_t>(c);
    return true;
}

bool TextStream::EndOfFile() {
    Impl& s = *impl;
    if (s.textPos < s.textEnd)
        return false;
    return !s.Fill() || s.textPos == s.textEnd;
}

bool TextStream::WriteString(std::string_view utf8) {
    Impl& s = *impl;
    if (s.failed || s.mode != Mode::kWrite || s.writeFailed)
        return false;
    if (s.path == Impl::Path::kPassThrough) {
        s.pending.append(utf8);
    } else {
        const char* in = utf8.data();
        size_t outEnd = 0;
        if (!s.ConvertIcu(s.converter.get(), s.utf8.get(), in, in + utf8.size(), false, s.scratch,
                          outEnd)) {
            s.writeFailed = true;
            return false;
        }
        s.pending.append(s.scratch.Data(), outEnd);
    }
    return s.FlushPending(false);
}

bool TextStream::WriteString(const std::string& utf8) {
    return WriteString(std::string_view(utf8));
}

bool TextStream::Close() {
    return impl->Finish() && !impl->failed;
}

}  // namespace zm
