// Typing of delivered texts into numbers and missing cells.
#include "framework/host/TextTyping.h"

#include "framework/host/FastNumbers.h"

#include <charconv>
#include <cstring>
#include <string_view>

namespace zmhost {

bool ParseNumberText(const char* text, double& value) {
    if (text == nullptr)
        return false;
    // Blanks around a number are layout, as Python, pandas and spreadsheets read them.
    const char* begin = text;
    const char* end = text + std::strlen(text);
    while (begin < end && (*begin == ' ' || *begin == '\t'))
        ++begin;
    while (end > begin && (end[-1] == ' ' || end[-1] == '\t'))
        --end;
    if (begin < end && *begin == '+' && end - begin > 1 && begin[1] != '-')
        ++begin;
    const char* first = begin < end && *begin == '-' ? begin + 1 : begin;
    // from_chars also reads "inf" and "nan"; only digits or a point may start a number.
    if (first == end || !((*first >= '0' && *first <= '9') || *first == '.'))
        return false;
    double parsed = 0;
    if (FastParseDecimal(begin, end, parsed)) {
        value = parsed;
        return true;
    }
    const auto [stop, error] = std::from_chars(begin, end, parsed);
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

}  // namespace zmhost
