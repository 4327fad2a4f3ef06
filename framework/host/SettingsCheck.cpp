// Unknown settings keys and values that do not parse, told before a read.
#include "framework/host/SettingsCheck.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <memory>
#include <regex>

#include "platform/Settings.h"

namespace zmhost {

namespace {

// The keys of the "Settings" section as the document prints them, one per line.
std::vector<std::string> KeysOf(const std::string& xml) {
    std::vector<std::string> keys;
    const size_t start = xml.find("<Settings>");
    const size_t end = xml.find("</Settings>");
    if (start == std::string::npos || end == std::string::npos)
        return keys;
    const std::string body = xml.substr(start, end - start);
    static const std::regex key(R"(\n    <([A-Za-z_][A-Za-z0-9_.-]*)\s*/?>)");
    for (std::sregex_iterator it(body.begin(), body.end(), key), stop; it != stop; ++it)
        keys.push_back((*it)[1].str());
    return keys;
}

bool IsWhole(const std::string& text) {
    long long value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return !text.empty() && error == std::errc() && stop == end;
}

bool IsNumber(const std::string& text) {
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return !text.empty() && error == std::errc() && stop == end;
}

bool IsTruth(const std::string& text) {
    return text == "true" || text == "false" || text == "1" || text == "0";
}

// What kind of value the default shows: "" (any text), or the kind the value must be.
std::string KindOf(const std::string& value) {
    if (value == "true" || value == "false")
        return "true or false";
    if (IsWhole(value))
        return "a whole number";
    if (IsNumber(value))
        return "a number";
    return std::string();
}

bool Fits(const std::string& kind, const std::string& value) {
    if (kind == "true or false")
        return IsTruth(value);
    if (kind == "a whole number")
        return IsWhole(value);
    if (kind == "a number")
        return IsNumber(value);
    return true;
}

}  // namespace

SettingsVerdict CheckSettings(const std::string& defaultsXml, const SettingPairs& settings) {
    SettingsVerdict verdict;
    verdict.known = KeysOf(defaultsXml);
    std::unique_ptr<zm::SettingsDocument> defaults;
    try {
        if (!defaultsXml.empty())
            defaults = zm::SettingsDocument::Parse(defaultsXml);
    } catch (const std::exception&) {
        defaults.reset();
    }
    for (const auto& [key, value] : settings) {
        if (std::find(verdict.known.begin(), verdict.known.end(), key) == verdict.known.end()) {
            if (std::find(verdict.unknown.begin(), verdict.unknown.end(), key) ==
                verdict.unknown.end())
                verdict.unknown.push_back(key);
            continue;
        }
        if (!defaults || !verdict.error.empty())
            continue;
        // A list key takes its items as ";"-separated text; only single values are typed.
        const auto items = defaults->GetList("Settings", key);
        if (items && !items->empty())
            continue;
        const std::string kind = KindOf(defaults->GetString("Settings", key).value_or(""));
        if (!Fits(kind, value))
            verdict.error = "--set " + key + "=" + value + ": the key \"" + key + "\" takes " +
                            kind + ", not '" + value + "'";
    }
    return verdict;
}

std::string UnknownKeysWarning(const std::string& formatName, const SettingsVerdict& verdict) {
    if (verdict.unknown.empty())
        return std::string();
    std::string unknown;
    for (size_t i = 0; i < verdict.unknown.size(); ++i)
        unknown += (i > 0 ? ", \"" : "\"") + verdict.unknown[i] + "\"";
    std::string text = "warning: the format \"" + formatName + "\" does not read " +
                       (verdict.unknown.size() == 1 ? "the key " : "the keys ") + unknown +
                       "; ignored (";
    if (verdict.known.empty())
        return text + "it reads no settings)";
    text += "it reads: ";
    for (size_t i = 0; i < verdict.known.size(); ++i)
        text += (i > 0 ? ", " : "") + verdict.known[i];
    return text + ")";
}

}  // namespace zmhost
