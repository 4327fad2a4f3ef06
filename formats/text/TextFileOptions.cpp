// Stored form of the text options and the encoding table.
#include "formats/text/TextFileOptions.h"

#include "framework/OptionsRecord.h"
#include "platform/BinaryString.h"
#include "platform/Exception.h"
#include "platform/FileNames.h"
#include "platform/Settings.h"
#include "platform/Translate.h"

namespace {

constexpr const char* kSection = "Settings";
constexpr const char* kDelimiterKey = "Delimiter";
constexpr const char* kEncodingKey = "Encoding";
constexpr const char* kConsecutiveKey = "IgnoreConsecutiveDelimiters";

// Sorted by display name; stored indices depend on the order, so the local code page
// keeps its place in the middle.
constexpr size_t kEncodingCount = 32;
constexpr size_t kLocalIndex = 21;
const char* kEncodingKeys[kEncodingCount] = {
    "ibm420",      "iso88596",  "windows1256", "iso88592",
    "windows1250", "gb18030",   "iso2022cn",   "big5",
    "iso88595",    "koi8r",     "windows1251", "iso88597",
    "windows1253", "ibm424",    "iso88598",    "windows1255",
    "eucjp",       "iso2022jp", "shiftjis",    "euckr",
    "iso2022kr",   "",          "iso88599",    "windows1254",
    "utf16be",     "utf16le",   "utf32be",     "utf32le",
    "utf8",        "cp850",     "iso88591",    "windows1252",
};
const char* const kDisplayNames[kEncodingCount] = {
    "Arabic (IBM420)",
    "Arabic (ISO-8859-6)",
    "Arabic (Windows-1256)",
    "Central European (ISO-8859-2)",
    "Central European (Windows-1250)",
    "Chinese (GB18030)",
    "Chinese Simplified (ISO-2022-CN)",
    "Chinese Traditional (Big5)",
    "Cyrillic (ISO-8859-5)",
    "Cyrillic (KOI8-R)",
    "Cyrillic (Windows-1251)",
    "Greek (ISO-8859-7)",
    "Greek (Windows-1253)",
    "Hebrew (IBM424)",
    "Hebrew (ISO-8859-8)",
    "Hebrew (Windows-1255)",
    "Japanese (EUC-JP)",
    "Japanese (ISO-2022-JP)",
    "Japanese (Shift-JIS)",
    "Korean (EUC-KR)",
    "Korean (ISO-2022-KR)",
    "Local",
    "Turkish (ISO-8859-9)",
    "Turkish (Windows-1254)",
    "Unicode (UTF-16BE)",
    "Unicode (UTF-16LE)",
    "Unicode (UTF-32BE)",
    "Unicode (UTF-32LE)",
    "Unicode (UTF-8)",
    "Western European (CP-850)",
    "Western European (ISO-8859-1)",
    "Western European (Windows-1252)",
};

}  // namespace

bool TextFileOptions::Read(ZmImportOpenOptions* record) {
    if (record == nullptr)
        return false;
    std::string xml;
    if (record->data == nullptr || !zm::ReadBinaryString(record->data, record->size, xml)) {
        throw zm::Exception("The options record is not a framed settings document.");
    }
    const std::unique_ptr<zm::SettingsDocument> document = zm::SettingsDocument::Parse(xml);
    if (UseDelimiterOption()) {
        const auto value = document->GetString(kSection, kDelimiterKey);
        if (!value)
            return false;
        delimiter = *value;
    }
    const auto key = document->GetString(kSection, kEncodingKey);
    // A key outside the table is refused here, as bad options, rather than surfacing
    // later as a stream that cannot be opened.
    if (!key || (GetEncodingIndex(*key) == kLocalIndex && !key->empty()))
        return false;
    encoding = *key;
    if (UseConsecutiveOption()) {
        const auto flag = document->GetBool(kSection, kConsecutiveKey);
        if (!flag)
            return false;
        ignoreConsecutiveDelimiters = *flag;
    }
    return true;
}

void TextFileOptions::Write(ZmImportOpenOptions* record) const {
    if (record == nullptr)
        return;
    zm::SettingsDocument document;
    if (UseDelimiterOption())
        document.SetString(kSection, kDelimiterKey, delimiter);
    document.SetString(kSection, kEncodingKey, encoding);
    if (UseConsecutiveOption()) {
        document.SetBool(kSection, kConsecutiveKey, ignoreConsecutiveDelimiters);
    }
    zm::StoreOptions(record, document);
}

size_t TextFileOptions::GetEncodingIndex(const std::string& key) {
    for (size_t i = 0; i < kEncodingCount; ++i) {
        if (key == kEncodingKeys[i])
            return i;
    }
    return kLocalIndex;
}

std::wstring TextFileOptions::GetPrettyName(size_t index) {
    if (index >= kEncodingCount)
        return {};
    const std::string name = index == kLocalIndex
                                 ? zm::Translate("Current Windows codepage", kDisplayNames[index])
                                 : zm::Translate(kDisplayNames[index]);
    return zm::NarrowToWide(name);
}

const char** TextFileOptions::GetAllEncodings() {
    return kEncodingKeys;
}

size_t TextFileOptions::GetEncodingsCount() {
    return kEncodingCount;
}
