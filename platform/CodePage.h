// Texts of old binary formats: 8-bit characters in a Windows or Mac code page, and
// UTF-16 little-endian, turned into UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/ZmExport.h"

namespace zm {

// Appends one code point as UTF-8; a surrogate or a value beyond U+10FFFF becomes U+FFFD.
ZMIMPORT_API void AppendUtf8(std::string& out, char32_t code);

class ZMIMPORT_API CodePageText {
  public:
    // A code page by its Windows number (1252, 1251, 10000 Mac Roman, 932, ...); one ICU
    // does not know, or 0, means windows-1252, the code page most old files use.
    explicit CodePageText(int codePage = 1252);
    ~CodePageText();
    CodePageText(const CodePageText&) = delete;
    CodePageText& operator=(const CodePageText&) = delete;

    int CodePage() const { return codePage; }
    // Bytes in the code page as UTF-8; undecodable bytes become U+FFFD.
    std::string ToUtf8(const uint8_t* bytes, size_t size) const;
    // UTF-16 little-endian code units as UTF-8; lone surrogates become U+FFFD.
    static std::string Utf16LeToUtf8(const uint8_t* units, size_t count);
    // Latin-1 bytes (UTF-16 units whose high byte is zero) as UTF-8.
    static std::string Latin1ToUtf8(const uint8_t* bytes, size_t size);

  private:
    struct Converter;
    int codePage;
    std::unique_ptr<Converter> converter;
};

}  // namespace zm
