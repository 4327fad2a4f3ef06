// Typing of delivered texts into numbers and missing cells.
#include "cli/TextTyping.h"

#include "cli/FastNumbers.h"

#include <charconv>
#include <cstring>
#include <string_view>

namespace zmcli {

bool ParseNumberText(const char* text, double& value) {
    if (text == nullptr)
        return false;
    const size_t length = std::strlen(text);
    const char* end = text + length;
    const char* first = text[0] == '-' ? text + 1 : text;
    // from_chars also reads "inf" and "nan"; only digits or a point may start a number.
    if (first == end || !((*first >= '0' && *first <= '9') || *first == '.'))
        return false;
    double parsed = 0;
    if (FastParseDecimal(text, end, parsed)) {
        value = parsed;
        return true;
    }
    const auto [stop, error] = std::from_chars(text, end, parsed);
    if (error != std::errc() || stop != end)
        return false;
    value = parsed;
    return true;
}

bool TypesTextsByDefault(const ZmImportFileFormatInfo& info) {
    static constexpr std::string_view kTextFamily[] = {
        "Text File", "Text UTF-8 File", "CSV File", "DIF File", "Thermo SIEVE File", "DEXAN File",
    };
    if (info.name == nullptr)
        return false;
    for (std::string_view name : kTextFamily) {
        if (name == info.name)
            return true;
    }
    return false;
}

}  // namespace zmcli
