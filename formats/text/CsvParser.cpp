// The CSV state machine, a byte-scanning route for ASCII dialects, and delivery to a sink.
#include "formats/text/CsvParser.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <system_error>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "platform/Exception.h"
#include "platform/TextStream.h"
#include "platform/Translate.h"

namespace {

// Parser states.
enum : unsigned {
    kAfterRecordCr = 0,  // a carriage return ended the record; a line feed may follow
    kStartRecord = 1,
    kStartField = 2,
    kInField = 3,
    kAfterQuotedCr = 4,  // a carriage return inside quotes; a line feed may follow
    kInQuotedField = 5,
    kEscapeInField = 6,
    kEscapeInQuotedField = 7,
    kQuoteInQuotedField = 8,
};

constexpr unsigned kCr = 13;
constexpr unsigned kLf = 10;
constexpr unsigned kSpace = 32;
constexpr char32_t kReplacementCharacter = 0xFFFD;

std::string ToUtf8(char32_t c) {
    std::string out;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x110000) {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out = "\xEF\xBF\xBD";  // not a code point: the replacement character
    }
    return out;
}

// Decodes one UTF-8 sequence at `p`; an invalid byte yields U+FFFD and is skipped alone.
char32_t NextCodePoint(const unsigned char*& p, const unsigned char* end) {
    const unsigned char b = *p++;
    if (b < 0x80)
        return b;
    int extra = b >= 0xF0 ? 3 : b >= 0xE0 ? 2 : b >= 0xC0 ? 1 : -1;
    if (extra < 0 || end - p < extra)
        return 0xFFFD;
    char32_t c = b & (0x3F >> extra);
    for (int i = 0; i < extra; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            return 0xFFFD;
        c = (c << 6) | (p[i] & 0x3F);
    }
    p += extra;
    return c;
}

// The first byte at or after `p` that `stop` marks, or `end`. The stop set holds at most
// four distinct bytes (`bytes`), so sixteen bytes at a time can be compared at once.
[[gnu::always_inline]] inline const unsigned char* FindStop(const unsigned char* p,
                                                            const unsigned char* end,
                                                            const bool* stop,
                                                            const unsigned char* bytes) {
#ifdef __SSE2__
    const __m128i b0 = _mm_set1_epi8(static_cast<char>(bytes[0]));
    const __m128i b1 = _mm_set1_epi8(static_cast<char>(bytes[1]));
    const __m128i b2 = _mm_set1_epi8(static_cast<char>(bytes[2]));
    const __m128i b3 = _mm_set1_epi8(static_cast<char>(bytes[3]));
    while (end - p >= 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i hit =
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, b0), _mm_cmpeq_epi8(v, b1)),
                         _mm_or_si128(_mm_cmpeq_epi8(v, b2), _mm_cmpeq_epi8(v, b3)));
        const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(hit));
        if (mask != 0)
            return p + __builtin_ctz(mask);
        p += 16;
    }
#else
    (void)bytes;
#endif
    while (p < end && !stop[*p])
        ++p;
    return p;
}

}  // namespace

CsvParser::CsvParser(const CsvDialect& dialect_, const std::filesystem::path& path,
                     const std::string& encoding, int maxRows_)
    : dialect(dialect_), maxRows(maxRows_) {
    BuildScanTables();
    ParseFile(path, encoding);
    Finish();
}

CsvParser::CsvParser(const CsvDialect& dialect_, std::string_view utf8, int maxRows_,
                     bool byCodePoint)
    : dialect(dialect_), maxRows(maxRows_) {
    BuildScanTables();
    rows.ReserveText(utf8.size() + 1);
    ParseUtf8(utf8, byCodePoint);
    Finish();
}

void CsvParser::BuildScanTables() {
    for (bool* table : {unquotedStop, quotedStop}) {
        table[kCr] = true;
        table[kLf] = true;
        if (dialect.escapeChar != 0 && dialect.escapeChar < 0x80)
            table[dialect.escapeChar] = true;
    }
    if (dialect.delimiter < 0x80)
        unquotedStop[dialect.delimiter] = true;
    if (dialect.quoting && dialect.quoteChar < 0x80)
        quotedStop[dialect.quoteChar] = true;
    for (int b = 0; b < 256; ++b)
        startStop[b] = unquotedStop[b] || quotedStop[b];
    // The same sets as byte lists for the wide comparison, padded with a repeat.
    for (auto [table, bytes] :
         {std::pair{unquotedStop, unquotedBytes}, std::pair{quotedStop, quotedBytes}}) {
        int n = 0;
        for (int b = 0; b < 128 && n < 4; ++b) {
            if (table[b])
                bytes[n++] = static_cast<unsigned char>(b);
        }
        for (; n < 4; ++n)
            bytes[n] = bytes[0];
    }
    if (dialect.skipInitialSpace)
        startStop[kSpace] = true;

    // A delimiter or quote that no earlier row of the state table can claim is handled
    // without the table; 256 (no byte) disables the shortcut.
    const char32_t d = dialect.delimiter;
    const char32_t q = dialect.quoteChar;
    const bool delimiterPlain = d < 0x80 && d != kCr && d != kLf && d != dialect.escapeChar &&
                                !(dialect.quoting && d == q) &&
                                !(dialect.skipInitialSpace && d == kSpace);
    fastDelimiter = delimiterPlain ? d : 256;
    const bool quotePlain =
        dialect.quoting && q < 0x80 && q != kCr && q != kLf && q != dialect.escapeChar;
    fastQuote = quotePlain ? q : 256;
}

bool CsvParser::CanScanBytes() const {
    return dialect.delimiter < 0x80 && dialect.escapeChar < 0x80 &&
           (dialect.quoteChar < 0x80 || !dialect.quoting);
}

void CsvParser::ParseFile(const std::filesystem::path& path, const std::string& encoding) {
    zm::TextStream stream(path.string(), encoding, zm::TextStream::Mode::kRead);
    if (stream.Failed()) {
        streamFailed = true;
        return;
    }
    // Field text is never longer than the UTF-8 input plus one byte; other encodings
    // may widen when converted. Reserved but untouched pages cost no memory.
    std::error_code error;
    const uintmax_t fileSize = std::filesystem::file_size(path, error);
    if (!error) {
        const bool utf8 = stream.EncodingKey() == "utf8";
        rows.ReserveText(static_cast<size_t>(utf8 ? fileSize + 64 : fileSize / 2 * 3 + 64));
    }

    if (CanScanBytes()) {
        // The stream hands out UTF-8 in blocks that end at character boundaries.
        std::string_view chunk;
        while (!stopped && stream.ReadChunk(chunk))
            ProcessScannable(chunk);
        readError = stream.ReadError();
        return;
    }
    char32_t c = 0;
    while (!stopped && stream.GetChar(c))
        ProcessCodePoint(ReplaceNul(c));
    readError = stream.ReadError();
}

char32_t CsvParser::ReplaceNul(char32_t c) {
    if (c != 0)
        return c;
    ++nulBytes;
    return kReplacementCharacter;
}

void CsvParser::ProcessScannable(std::string_view utf8) {
    // A zero byte would end the field for every sink that takes C strings: it becomes
    // U+FFFD, counted so that the reader can say so. Text holding one (rare) goes
    // character by character; all other text is scanned where it lies.
    const auto* p = reinterpret_cast<const unsigned char*>(utf8.data());
    const auto* end = p + utf8.size();
    if (std::memchr(utf8.data(), 0, utf8.size()) != nullptr) {
        while (p < end && !stopped)
            ProcessCodePoint(ReplaceNul(NextCodePoint(p, end)));
        return;
    }
    ProcessBytes(p, end);
}

void CsvParser::ParseUtf8(std::string_view utf8, bool byCodePoint) {
    auto p = reinterpret_cast<const unsigned char*>(utf8.data());
    const auto end = p + utf8.size();
    if (!byCodePoint && CanScanBytes()) {
        ProcessScannable(utf8);
        return;
    }
    while (p < end && !stopped)
        ProcessCodePoint(ReplaceNul(NextCodePoint(p, end)));
}

void CsvParser::ProcessBytes(const unsigned char* p, const unsigned char* end) {
    // The common characters of the common states are handled here; everything else
    // goes through the full table.
    while (p < end && !stopped) {
        switch (state) {
            case kInField: {
                const unsigned char* q = FindStop(p, end, unquotedStop, unquotedBytes);
                AppendRun(p, q, end);
                if (q == end)
                    return;
                p = q + 1;
                if (*q == kLf) {
                    rows.EndField();
                    EndOfLine(kLf);
                } else if (*q == fastDelimiter) {
                    rows.EndField();
                    state = kStartField;
                } else {
                    ProcessCodePoint(*q);
                }
                break;
            }
            case kInQuotedField: {
                const unsigned char* q = FindStop(p, end, quotedStop, quotedBytes);
                AppendRun(p, q, end);
                if (q == end)
                    return;
                p = q + 1;
                if (*q == fastQuote) {
                    state = dialect.doubleQuote ? kQuoteInQuotedField : kInField;
                } else {
                    ProcessCodePoint(*q);
                }
                break;
            }
            case kStartField: {
                const unsigned char b = *p;
                if (!startStop[b]) {
                    state = kInField;  // an ordinary first character starts the run
                    break;
                }
                ++p;
                if (b == fastDelimiter) {
                    rows.EndField();
                } else if (b == fastQuote) {
                    state = kInQuotedField;
                } else {
                    ProcessCodePoint(b);
                }
                break;
            }
            default: {
                const unsigned char b = *p++;
                if (b < 0x80) {
                    ProcessCodePoint(b);
                } else {
                    ProcessOrdinaryByte(b);
                }
                break;
            }
        }
    }
}

inline void CsvParser::AppendRun(const unsigned char* p, const unsigned char* q,
                                 const unsigned char* end) {
    const auto* from = reinterpret_cast<const char*>(p);
    const size_t n = static_cast<size_t>(q - p);
    if (n <= 16 && end - p >= 16) {
        rows.AppendShortToField(from, n);
    } else if (n != 0) {
        rows.AppendToField(from, n);
    }
}

// A byte of a multi-byte UTF-8 sequence: never a special character, so it takes the
// "anything else" row of whatever state the parser is in.
void CsvParser::ProcessOrdinaryByte(unsigned char byte) {
    switch (state) {
        case kAfterQuotedCr:
        case kInQuotedField:
        case kEscapeInQuotedField:
            state = kInQuotedField;
            break;
        case kQuoteInQuotedField:
            if (dialect.strict)
                ThrowStrictError();
            state = kInField;
            break;
        default:
            state = kInField;
            break;
    }
    rows.AppendToField(static_cast<char>(byte));
}

void CsvParser::ProcessCodePoint(unsigned c) {
    const bool lineEnd = c == kCr || c == kLf;
    const bool isEscape = dialect.escapeChar != 0 && c == dialect.escapeChar;
    const bool isQuote = dialect.quoting && c == dialect.quoteChar;
    for (;;) {
        switch (state) {
            case kAfterRecordCr:
                state = kStartRecord;
                if (c == kLf)
                    return;
                continue;
            case kStartRecord:
                if (lineEnd) {
                    AddRow(true);  // an empty line makes an empty row
                    state = c == kCr ? kAfterRecordCr : kStartRecord;
                    return;
                }
                state = kStartField;
                continue;
            case kStartField:
                if (lineEnd) {
                    AddValueToCurrentRow();
                    EndOfLine(c);
                } else if (isQuote) {
                    state = kInQuotedField;
                } else if (isEscape) {
                    state = kEscapeInField;
                } else if (c == kSpace && dialect.skipInitialSpace) {
                    // leading blank dropped
                } else if (c == dialect.delimiter) {
                    AddValueToCurrentRow();
                } else {
                    AddCodePoint(c);
                    state = kInField;
                }
                return;
            case kInField:
                if (lineEnd) {
                    AddValueToCurrentRow();
                    EndOfLine(c);
                } else if (isEscape) {
                    state = kEscapeInField;
                } else if (c == dialect.delimiter) {
                    AddValueToCurrentRow();
                    state = kStartField;
                } else {
                    AddCodePoint(c);  // a quote in an unquoted field is ordinary
                }
                return;
            case kAfterQuotedCr:
                state = kInQuotedField;
                if (c == kLf)
                    return;
                continue;
            case kInQuotedField:
                if (c == kCr) {
                    AddCodePoint(kLf);
                    state = kAfterQuotedCr;
                } else if (c == kLf) {
                    AddCodePoint(kLf);
                } else if (isEscape) {
                    state = kEscapeInQuotedField;
                } else if (isQuote) {
                    state = dialect.doubleQuote ? kQuoteInQuotedField : kInField;
                } else {
                    AddCodePoint(c);
                }
                return;
            case kEscapeInField:
                AddCodePoint(c);
                state = kInField;
                return;
            case kEscapeInQuotedField:
                AddCodePoint(c);
                state = kInQuotedField;
                return;
            case kQuoteInQuotedField:
                if (isQuote) {
                    AddCodePoint(c);  // a doubled quote
                    state = kInQuotedField;
                } else if (c == dialect.delimiter) {
                    AddValueToCurrentRow();
                    state = kStartField;
                } else if (lineEnd) {
                    AddValueToCurrentRow();
                    EndOfLine(c);
                } else if (dialect.strict) {
                    ThrowStrictError();
                } else {
                    AddCodePoint(c);  // text after a closing quote joins the field
                    state = kInField;
                }
                return;
            default:
                state = kStartRecord;
                continue;
        }
    }
}

void CsvParser::AddCodePoint(unsigned c) {
    if (c < 0x80) {
        rows.AppendToField(static_cast<char>(c));
        return;
    }
    const std::string bytes = ToUtf8(c);
    rows.AppendToField(bytes.data(), bytes.size());
}

void CsvParser::EndOfLine(unsigned c) {
    AddRow(true);
    state = c == kCr ? kAfterRecordCr : kStartRecord;
}

void CsvParser::AddValueToCurrentRow() {
    rows.EndField();
}

void CsvParser::AddRow(bool force) {
    if (!force && rows.CurrentRowFields() == 0)
        return;
    rows.EndRow();
    if (rows.RowCount() >= static_cast<size_t>(std::max(maxRows, 0)))
        stopped = true;
}

void CsvParser::Finish() {
    switch (state) {
        case kAfterRecordCr:
        case kStartRecord:
            AddRow(false);
            break;
        case kStartField:
        case kInField:
        case kQuoteInQuotedField:
            AddValueToCurrentRow();
            AddRow(false);
            break;
        default:
            // Inside an unterminated quoted field or after a trailing escape: the open
            // field and its row are lost.
            droppedLines = rows.DropOpenRow();
            break;
    }
    state = kStartRecord;
}

void CsvParser::ThrowStrictError() const {
    throw zm::Exception(zm::FormatMessage(zm::Translate("'%1%' expected after '%2%'"),
                                          ToUtf8(dialect.delimiter), ToUtf8(dialect.quoteChar)));
}

void CsvParser::GetData(ReadSpreadSheetData& sink, int maxCols, int maxRowsWanted) const {
    const long long rowCount =
        std::min<long long>(static_cast<long long>(rows.RowCount()), maxRowsWanted);
    if (rowCount <= 0)
        return;
    const long long cols = std::min<long long>(static_cast<long long>(rows.LongestRow()), maxCols);
    sink.SetDataSize(static_cast<int>(cols), static_cast<int>(rowCount));

    const char* text = rows.Text();
    size_t field = 0;
    // A row at a time: a sink that types texts stores a row's numbers without a call per
    // cell.
    for (long long r = 0; r < rowCount; ++r) {
        const size_t fields = rows.FieldsInRow(static_cast<size_t>(r));
        const size_t taken = std::min(fields, static_cast<size_t>(cols));
        if (taken != 0)
            sink.SetTextsAcross(1, static_cast<int>(r + 1), text, rows.FieldLengths(field), taken);
        for (size_t f = 0; f < fields; ++f, ++field)
            text += rows.FieldLength(field) + 1;
    }
}
