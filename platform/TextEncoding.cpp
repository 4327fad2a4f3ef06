// Encoding keys of the text options: ICU converter names, byte-order marks and guessing.
#include <unicode/ucsdet.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/TextStream.h"

namespace zm {
namespace {

struct KeyName {
    const char* key;
    const char* icu;
};

// Every key of the encoding table except the empty one (the local code page, which is
// resolved per file). The ICU names are aliases that ICU's own data resolves; some are
// ambiguous aliases on purpose ("windows-1252"), ICU picks the Windows table for them.
constexpr KeyName kConverterNames[] = {
    {"ibm420", "ibm-420"},
    {"iso88596", "ISO-8859-6"},
    {"windows1256", "windows-1256"},
    {"iso88592", "ISO-8859-2"},
    {"windows1250", "windows-1250"},
    {"gb18030", "GB18030"},
    {"iso2022cn", "ISO-2022-CN"},
    {"big5", "Big5"},
    {"iso88595", "ISO-8859-5"},
    {"koi8r", "KOI8-R"},
    {"windows1251", "windows-1251"},
    {"iso88597", "ISO-8859-7"},
    {"windows1253", "windows-1253"},
    {"ibm424", "ibm-424"},
    {"iso88598", "ISO-8859-8"},
    {"windows1255", "windows-1255"},
    {"eucjp", "EUC-JP"},
    {"iso2022jp", "ISO-2022-JP"},
    {"shiftjis", "Shift_JIS"},
    {"euckr", "EUC-KR"},
    {"iso2022kr", "ISO-2022-KR"},
    {"iso88599", "ISO-8859-9"},
    {"windows1254", "windows-1254"},
    {"utf16be", "UTF-16BE"},
    {"utf16le", "UTF-16LE"},
    {"utf32be", "UTF-32BE"},
    {"utf32le", "UTF-32LE"},
    {"utf8", "UTF-8"},
    {"cp850", "ibm-850"},
    {"iso88591", "ISO-8859-1"},
    {"windows1252", "windows-1252"},
};

// Names that ICU's charset detector reports, mapped to keys of the encoding table. The
// Arabic and Hebrew EBCDIC detectors report the text direction in the name; the key
// does not care.
constexpr KeyName kDetectorNames[] = {
    {"utf8", "UTF-8"},
    {"utf16be", "UTF-16BE"},
    {"utf16le", "UTF-16LE"},
    {"utf32be", "UTF-32BE"},
    {"utf32le", "UTF-32LE"},
    {"shiftjis", "Shift_JIS"},
    {"iso2022jp", "ISO-2022-JP"},
    {"iso2022cn", "ISO-2022-CN"},
    {"iso2022kr", "ISO-2022-KR"},
    {"gb18030", "GB18030"},
    {"eucjp", "EUC-JP"},
    {"euckr", "EUC-KR"},
    {"big5", "Big5"},
    {"iso88591", "ISO-8859-1"},
    {"iso88592", "ISO-8859-2"},
    {"iso88595", "ISO-8859-5"},
    {"iso88596", "ISO-8859-6"},
    {"iso88597", "ISO-8859-7"},
    {"iso88598", "ISO-8859-8"},
    {"iso88598", "ISO-8859-8-I"},
    {"iso88599", "ISO-8859-9"},
    {"windows1250", "windows-1250"},
    {"windows1251", "windows-1251"},
    {"windows1252", "windows-1252"},
    {"windows1253", "windows-1253"},
    {"windows1254", "windows-1254"},
    {"windows1255", "windows-1255"},
    {"windows1256", "windows-1256"},
    {"koi8r", "KOI8-R"},
    {"ibm420", "IBM420_rtl"},
    {"ibm420", "IBM420_ltr"},
    {"ibm424", "IBM424_rtl"},
    {"ibm424", "IBM424_ltr"},
};

// How much of a file the byte-order mark test and the encoding guess look at.
constexpr size_t kGuessSample = 64 * 1024;

std::vector<uint8_t> ReadFileStart(const std::string& path, size_t limit) {
    std::vector<uint8_t> data;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return data;
    data.resize(limit);
    data.resize(std::fread(data.data(), 1, limit, file));
    std::fclose(file);
    return data;
}

struct DetectorDeleter {
    void operator()(UCharsetDetector* d) const { ucsdet_close(d); }
};

}  // namespace

std::string IcuConverterName(const std::string& key) {
    for (const KeyName& entry : kConverterNames) {
        if (key == entry.key)
            return entry.icu;
    }
    return {};
}

std::string GetBomEncoding(const uint8_t* data, size_t size, size_t* bomLength) {
    auto starts = [&](std::initializer_list<uint8_t> mark) {
        return size >= mark.size() && std::memcmp(data, mark.begin(), mark.size()) == 0;
    };
    std::string key;
    size_t length = 0;
    // UTF-32LE before UTF-16LE: its mark begins with the UTF-16LE mark.
    if (starts({0xEF, 0xBB, 0xBF})) {
        key = "utf8", length = 3;
    } else if (starts({0xFF, 0xFE, 0x00, 0x00})) {
        key = "utf32le", length = 4;
    } else if (starts({0x00, 0x00, 0xFE, 0xFF})) {
        key = "utf32be", length = 4;
    } else if (starts({0xFF, 0xFE})) {
        key = "utf16le", length = 2;
    } else if (starts({0xFE, 0xFF})) {
        key = "utf16be", length = 2;
    }
    if (bomLength != nullptr)
        *bomLength = length;
    return key;
}

std::string GetBomEncoding(const std::string& path) {
    const std::vector<uint8_t> start = ReadFileStart(path, 4);
    return GetBomEncoding(start.data(), start.size(), nullptr);
}

EncodingGuess GetEncoding(const std::string& path) {
    EncodingGuess guess;
    const std::vector<uint8_t> sample = ReadFileStart(path, kGuessSample);
    if (sample.empty())
        return guess;
    std::string bom = GetBomEncoding(sample.data(), sample.size(), nullptr);
    if (!bom.empty()) {
        guess.key = bom;
        guess.confidence = 100;
        return guess;
    }
    UErrorCode error = U_ZERO_ERROR;
    std::unique_ptr<UCharsetDetector, DetectorDeleter> detector(ucsdet_open(&error));
    if (U_FAILURE(error))
        return guess;
    ucsdet_setText(detector.get(), reinterpret_cast<const char*>(sample.data()),
                   static_cast<int32_t>(sample.size()), &error);
    const UCharsetMatch* match = ucsdet_detect(detector.get(), &error);
    if (U_FAILURE(error) || match == nullptr)
        return guess;
    const char* name = ucsdet_getName(match, &error);
    const int32_t confidence = ucsdet_getConfidence(match, &error);
    if (U_FAILURE(error) || name == nullptr)
        return guess;
    for (const KeyName& entry : kDetectorNames) {
        if (std::strcmp(name, entry.icu) == 0) {
            guess.key = entry.key;
            guess.confidence = confidence < 0 ? 0 : (confidence > 100 ? 100 : confidence);
            break;
        }
    }
    return guess;
}

}  // namespace zm
