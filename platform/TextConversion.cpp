// Block conversion of the text stream: single-byte tables, UTF-16 and ICU converters.
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "platform/TextStreamImpl.h"

namespace zm {
namespace {

// Narrows the leading ASCII code units of UTF-16 text, sixteen at a time; returns how
// many it wrote. The caller finishes the rest one unit at a time.
inline size_t NarrowAsciiUtf16(const uint8_t* in, size_t units, char* out, bool bigEndian) {
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

}  // namespace

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
        if (p == end)
            break;
        // One unit by itself: ASCII at the tail of the block, anything else with ICU's
        // UTF-16 and UTF-8 macros; then back to the sixteen-unit copy.
        UChar32 c = unit(p);
        p += 2;
        if (c < 0x80) {
            *out++ = static_cast<char>(c);
            continue;
        }
        if (U16_IS_LEAD(c)) {
            if (p < end && U16_IS_TRAIL(unit(p))) {
                c = U16_GET_SUPPLEMENTARY(c, unit(p));
                p += 2;
            } else if (p == end && !flush) {
                p -= 2;  // the trail unit comes with the next block
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

}  // namespace zm
