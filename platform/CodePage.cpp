// Code-page and UTF-16 texts of old binary formats, converted with ICU.
#include "platform/CodePage.h"

#include <unicode/ucnv.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <string>
#include <vector>

namespace zm {

namespace {

// ICU's name for a Windows code page number.
std::string IcuName(int codePage) {
    switch (codePage) {
        case 10000:
        case 32768:  // Mac Roman as old spreadsheet writers number it
            return "macintosh";
        case 32769:
            return "windows-1252";
        case 367:
            return "US-ASCII";
        default:
            return "cp" + std::to_string(codePage);
    }
}

}  // namespace

void AppendUtf8(std::string& out, char32_t code) {
    char buffer[4];
    int32_t length = 0;
    UBool error = false;
    const UChar32 c = code > 0x10FFFF ? 0xFFFD : static_cast<UChar32>(code);
    U8_APPEND(reinterpret_cast<uint8_t*>(buffer), length, 4, c, error);
    if (error)
        out += "\xEF\xBF\xBD";
    else
        out.append(buffer, static_cast<size_t>(length));
}

struct CodePageText::Converter {
    UConverter* icu = nullptr;
    ~Converter() {
        if (icu != nullptr)
            ucnv_close(icu);
    }
};

CodePageText::CodePageText(int page) : codePage(page), converter(std::make_unique<Converter>()) {
    UErrorCode error = U_ZERO_ERROR;
    if (page > 0 && page != 1200)
        converter->icu = ucnv_open(IcuName(page).c_str(), &error);
    if (converter->icu == nullptr || U_FAILURE(error)) {
        if (converter->icu != nullptr)
            ucnv_close(converter->icu);
        error = U_ZERO_ERROR;
        converter->icu = ucnv_open("windows-1252", &error);
        codePage = 1252;
    }
}

CodePageText::~CodePageText() = default;

std::string CodePageText::ToUtf8(const uint8_t* bytes, size_t size) const {
    std::string out;
    size_t ascii = 0;
    while (ascii < size && bytes[ascii] < 0x80)
        ++ascii;
    if (ascii == size || converter->icu == nullptr) {
        out.assign(reinterpret_cast<const char*>(bytes), ascii);
        return ascii == size ? out : out + "\xEF\xBF\xBD";
    }
    std::vector<UChar> units(size * 2 + 4);
    UErrorCode error = U_ZERO_ERROR;
    ucnv_reset(converter->icu);
    const int32_t count =
        ucnv_toUChars(converter->icu, units.data(), static_cast<int32_t>(units.size()),
                      reinterpret_cast<const char*>(bytes), static_cast<int32_t>(size), &error);
    if (U_FAILURE(error))
        return Latin1ToUtf8(bytes, size);
    out.reserve(static_cast<size_t>(count) + 8);
    for (int32_t i = 0; i < count;) {
        UChar32 c;
        U16_NEXT(units.data(), i, count, c);
        AppendUtf8(out, U_IS_SURROGATE(c) ? 0xFFFD : c);
    }
    return out;
}

std::string CodePageText::Utf16LeToUtf8(const uint8_t* units, size_t count) {
    std::string out;
    out.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        const UChar u = static_cast<UChar>(units[2 * i] | units[2 * i + 1] << 8);
        if (u < 0x80) {
            out += static_cast<char>(u);
        } else if (U16_IS_LEAD(u) && i + 1 < count) {
            const UChar t = static_cast<UChar>(units[2 * i + 2] | units[2 * i + 3] << 8);
            if (U16_IS_TRAIL(t)) {
                AppendUtf8(out, U16_GET_SUPPLEMENTARY(u, t));
                ++i;
            } else {
                AppendUtf8(out, 0xFFFD);
            }
        } else {
            AppendUtf8(out, U_IS_SURROGATE(u) ? 0xFFFD : u);
        }
    }
    return out;
}

std::string CodePageText::Latin1ToUtf8(const uint8_t* bytes, size_t size) {
    std::string out;
    out.reserve(size);
    for (size_t i = 0; i < size; ++i) {
        if (bytes[i] < 0x80) {
            out += static_cast<char>(bytes[i]);
        } else {
            out += static_cast<char>(0xC0 | bytes[i] >> 6);
            out += static_cast<char>(0x80 | (bytes[i] & 0x3F));
        }
    }
    return out;
}

}  // namespace zm
