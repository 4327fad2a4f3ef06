// The text stream: a file read or written in a named encoding, converted to and from
// UTF-8 in large blocks.
#include "platform/TextStream.h"

#include <sys/stat.h>

#include <unicode/utf8.h>

#include <cerrno>

#include "platform/ReadMeter.h"
#include "platform/TextStreamImpl.h"

namespace zm {
namespace {

// Bytes of the file's start that decide what the local code page means for it.
constexpr size_t kLocalSample = 64 * 1024;

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

}  // namespace

bool TextStream::Impl::OpenForReading(const std::string& fileName,
                                      const std::string& requestedKey) {
    file = std::fopen(fileName.c_str(), "rb");
    if (file == nullptr)
        return false;
    this->fileName = fileName;
    struct stat info {};
    if (fstat(fileno(file), &info) == 0 && S_ISREG(info.st_mode))
        byteSize = static_cast<uint64_t>(info.st_size);
    raw.Reserve(kTextBlockSize, 0);
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

// Reads up to one block; a failing read (not the end of the file) is kept, so that the
// caller can tell a damaged medium from a file that simply ends.
size_t TextStream::Impl::ReadBlock(char* to) {
    errno = 0;
    const size_t got = std::fread(to, 1, kTextBlockSize, file);
    bytesRead += got;
    ReadMeter::Reached(fileName, bytesRead);
    if (got < kTextBlockSize && std::ferror(file) != 0 && readError == 0)
        readError = errno != 0 ? errno : EIO;
    return got;
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
    raw.Reserve(left + kTextBlockSize, left);
    const size_t got = ReadBlock(raw.Data() + rawEnd);
    rawEnd += got;
    if (got < kTextBlockSize)
        rawAtEnd = true;
}

// Converts at least one more block into the text buffer after moving what is left of
// it to the front; false when nothing more will come. Text read as UTF-8 without
// conversion is checked, so that what leaves the stream is always well-formed.
bool TextStream::Impl::Fill() {
    if (failed || mode != Mode::kRead)
        return false;
    const size_t shift = textPos;
    const bool more = FillBlock();
    checked = checked > shift ? checked - shift : 0;
    if (path == Path::kPassThrough)
        RepairUtf8();
    return more;
}

namespace {

// How the bytes at `p` (n of them, n > 0, p[0] >= 0x80) start: the length of a
// well-formed UTF-8 sequence, or else the length of its ill-formed maximal part, with
// `incomplete` when the bytes end before the sequence could be decided.
struct Utf8Sequence {
    size_t length;
    bool wellFormed;
    bool incomplete;
};

Utf8Sequence CheckSequence(const uint8_t* p, size_t n) {
    const uint8_t b = p[0];
    size_t length;
    uint8_t low = 0x80, high = 0xBF;  // bounds of the second byte
    if (b >= 0xC2 && b <= 0xDF) {
        length = 2;
    } else if (b == 0xE0) {
        length = 3, low = 0xA0;
    } else if ((b >= 0xE1 && b <= 0xEC) || b == 0xEE || b == 0xEF) {
        length = 3;
    } else if (b == 0xED) {
        length = 3, high = 0x9F;  // no surrogates
    } else if (b == 0xF0) {
        length = 4, low = 0x90;
    } else if (b >= 0xF1 && b <= 0xF3) {
        length = 4;
    } else if (b == 0xF4) {
        length = 4, high = 0x8F;  // nothing above U+10FFFF
    } else {
        return {1, false, false};
    }
    for (size_t i = 1; i < length; ++i) {
        if (i >= n)
            return {i, false, true};
        const uint8_t lo = i == 1 ? low : 0x80, hi = i == 1 ? high : 0xBF;
        if (p[i] < lo || p[i] > hi)
            return {i, false, false};
    }
    return {length, true, false};
}

}  // namespace

void TextStream::Impl::RepairUtf8() {
    const bool atEnd = rawAtEnd && rawPos == rawEnd;
    const auto* p = reinterpret_cast<const uint8_t*>(text.Data());
    size_t i = checked;
    while (i < textEnd) {
        // Runs of ASCII go eight bytes at a time.
        uint64_t word;
        while (i + 8 <= textEnd &&
               (std::memcpy(&word, p + i, 8), (word & 0x8080808080808080u) == 0))
            i += 8;
        if (i < textEnd && p[i] < 0x80) {
            ++i;
            continue;
        }
        if (i == textEnd)
            break;
        const Utf8Sequence seq = CheckSequence(p + i, textEnd - i);
        if (seq.wellFormed) {
            i += seq.length;
            continue;
        }
        if (seq.incomplete && !atEnd)
            break;  // the next block may complete it
        // Rebuild the rest: each ill-formed part becomes one U+FFFD.
        std::string repaired;
        repaired.reserve(textEnd - i + 16);
        size_t j = i;
        while (j < textEnd) {
            if (p[j] < 0x80) {
                repaired += static_cast<char>(p[j++]);
                continue;
            }
            const Utf8Sequence s = CheckSequence(p + j, textEnd - j);
            if (s.incomplete && !atEnd)
                break;
            if (s.wellFormed)
                repaired.append(reinterpret_cast<const char*>(p + j), s.length);
            else
                repaired += "\xEF\xBF\xBD";
            j += s.length;
        }
        const std::string tail(reinterpret_cast<const char*>(p + j), textEnd - j);
        text.Reserve(i + repaired.size() + tail.size(), textEnd);
        std::memcpy(text.Data() + i, repaired.data(), repaired.size());
        std::memcpy(text.Data() + i + repaired.size(), tail.data(), tail.size());
        textEnd = i + repaired.size() + tail.size();
        checked = i + repaired.size();
        return;
    }
    checked = i;
}

bool TextStream::Impl::FillBlock() {
    const size_t left = textEnd - textPos;
    if (left > 0 && textPos > 0)
        std::memmove(text.Data(), text.Data() + textPos, left);
    textPos = 0;
    textEnd = left;
    if (path == Path::kPassThrough && rawPos == rawEnd) {
        // UTF-8 needs no conversion: read straight into the text buffer.
        if (rawAtEnd)
            return false;
        text.Reserve(textEnd + kTextBlockSize, textEnd);
        const size_t got = ReadBlock(text.Data() + textEnd);
        textEnd += got;
        if (got < kTextBlockSize)
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

bool TextStream::Impl::FlushPending(bool force) {
    if (pending.empty() || (!force && pending.size() < kTextBlockSize))
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

int TextStream::ReadError() const {
    return impl->readError;
}

uint64_t TextStream::BytesRead() const {
    return impl->bytesRead;
}

uint64_t TextStream::ByteSize() const {
    return std::max(impl->byteSize, impl->bytesRead);
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
            // Fill moves what is left to the front of the buffer even when nothing new
            // arrives, so the line is taken from where the text lies now.
            start = s.text.Data() + s.textPos;
            length = s.textEnd - s.textPos;  // the last line has no line feed
            if (length == 0)
                return false;
            s.textPos += length;
        }
        if (length > 0 && start[length - 1] == '\r')
            --length;
        line = std::string_view(start, length);
        return true;
    }
}

bool TextStream::GetWritableLine(char*& data, size_t& length) {
    std::string_view view;
    if (!GetLine(view))
        return false;
    Impl& s = *impl;
    const size_t offset = static_cast<size_t>(view.data() - s.text.Data());
    length = view.size();
    // Only an unterminated last line can end at the buffer's end.
    s.text.Reserve(offset + length + 1, s.textEnd);
    data = s.text.Data() + offset;
    return true;
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
