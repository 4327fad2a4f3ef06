// The text stream's inside, shared by the stream and its block converters.
#pragma once

#include <unicode/ucnv.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "platform/TextStream.h"

namespace zm {

// Bytes read from the file per conversion step.
constexpr size_t kTextBlockSize = 256 * 1024;

struct ConverterDeleter {
    void operator()(UConverter* c) const { ucnv_close(c); }
};
using ConverterPtr = std::unique_ptr<UConverter, ConverterDeleter>;

// A growable byte buffer that does not zero what it allocates. It grows with realloc,
// which moves large blocks by remapping their pages instead of copying them, so that a
// very long line costs its own size once rather than old and new buffer side by side.
class ByteBuffer {
  public:
    ByteBuffer() = default;
    ~ByteBuffer() { std::free(data); }
    ByteBuffer(const ByteBuffer&) = delete;
    ByteBuffer& operator=(const ByteBuffer&) = delete;

    char* Data() { return data; }
    size_t Capacity() const { return capacity; }
    // Keeps the first `keep` bytes and makes room for `size` bytes in all.
    void Reserve(size_t size, size_t keep) {
        (void)keep;  // realloc keeps everything
        if (size <= capacity)
            return;
        const size_t grown = std::max(size, capacity + capacity / 2);
        void* bigger = std::realloc(data, grown);
        if (bigger == nullptr)
            throw std::bad_alloc();
        data = static_cast<char*>(bigger);
        capacity = grown;
    }

  private:
    char* data = nullptr;
    size_t capacity = 0;
};

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
    int readError = 0;       // errno of the first failed read
    uint64_t bytesRead = 0;  // of the file, converted or not
    uint64_t byteSize = 0;   // of the file when it is a regular one, else 0
    std::string fileName;    // read from, for the read's meter
    bool converterFlushed = false;
    ByteBuffer text;
    size_t textPos = 0, textEnd = 0;
    // UTF-8 read without conversion is checked up to here; ill-formed bytes before it
    // have become U+FFFD.
    size_t checked = 0;
    // Writing: converted bytes waiting for the file, and the conversion's scratch space.
    std::string pending;
    ByteBuffer scratch;

    explicit Impl(Mode m) : mode(m) {}

    bool OpenForReading(const std::string& fileName, const std::string& requestedKey);
    bool OpenForWriting(const std::string& fileName, const std::string& requestedKey);
    bool SetUpConversion(const std::string& icuName);
    void BuildTable();
    size_t ReadBlock(char* to);
    void ReadRaw();
    bool Fill();
    bool FillBlock();
    void RepairUtf8();
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

}  // namespace zm
