// A text file read or written in a named encoding, converted to and from UTF-8 with ICU
// in large blocks. UTF-8 and ASCII input take a no-conversion path. A byte-order mark is
// consumed and never reaches the caller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/ZmExport.h"

namespace zm {

class ZMIMPORT_API TextStream {
  public:
    enum class Mode { kRead, kWrite };

    // `encodingKey` is a key of the text encoding table ("utf8", "windows1252", ...).
    // The empty key is the local code page: UTF-8 where the file's opening bytes are
    // valid UTF-8, otherwise windows-1252. A byte-order mark wins over the key.
    // Writing UTF-16/32 starts with a byte-order mark.
    TextStream(const std::string& path, const std::string& encodingKey, Mode mode);
    ~TextStream();
    TextStream(const TextStream&) = delete;
    TextStream& operator=(const TextStream&) = delete;

    // True when the file could not be opened or the encoding is unknown.
    bool Failed() const;
    // The next line in UTF-8 without its LF and one CR before it; false at the end of
    // the file when nothing is left.
    bool GetLine(std::string& line);
    // The same without a copy: `line` points into the stream's buffer and stays valid
    // until the next read from the stream.
    bool GetLine(std::string_view& line);
    // The same line in the stream's own buffer, writable, with one more writable byte
    // after it (for a terminating zero); valid until the next call. Saves a copy of
    // every line for readers that cut lines in place.
    bool GetWritableLine(char*& data, size_t& length);
    // Everything converted so far and not yet consumed, at least one byte unless the file
    // is at its end (false then). A chunk ends at a character boundary except where the
    // file itself ends inside a character. Valid until the next read from the stream.
    bool ReadChunk(std::string_view& chunk);
    // The next Unicode code point; false at the end of the file.
    bool GetChar(char32_t& codePoint);
    bool EndOfFile();
    // The error number (errno) of the first read that failed, 0 when none did. A failed
    // read ends the text as the end of the file would; readers ask this to refuse the
    // file rather than deliver what came before as all of it.
    int ReadError() const;
    // Writes UTF-8 text converted to the stream's encoding.
    bool WriteString(const std::string& utf8);
    bool WriteString(std::string_view utf8);
    bool WriteString(const char* utf8) { return WriteString(std::string_view(utf8 ? utf8 : "")); }
    // Flushes pending output (and a stateful encoding's closing shift) and closes the
    // file; false when a write failed. The destructor does the same.
    bool Close();
    // The bytes read from the file so far (ahead of what was handed out by at most a
    // block), and the file's size (what was read, for a pipe).
    uint64_t BytesRead() const;
    uint64_t ByteSize() const;
    // The key actually in use (after byte-order mark and local code page resolution).
    const std::string& EncodingKey() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

// The encoding named by a byte-order mark at the start of `data` ("utf8", "utf16le",
// "utf16be", "utf32le", "utf32be") and the mark's length; empty when there is none.
ZMIMPORT_API std::string GetBomEncoding(const uint8_t* data, size_t size, size_t* bomLength);
// The same for the first bytes of a file; empty when it has none or cannot be read.
ZMIMPORT_API std::string GetBomEncoding(const std::string& path);

// ICU's guess of a file's encoding, mapped back to a key of the encoding table, with
// ICU's confidence (0..100). An empty key with confidence 0 when nothing fits.
struct EncodingGuess {
    std::string key;
    int confidence = 0;
};
ZMIMPORT_API EncodingGuess GetEncoding(const std::string& path);

// The ICU converter name for a key of the encoding table; empty for an unknown key.
ZMIMPORT_API std::string IcuConverterName(const std::string& key);

}  // namespace zm
