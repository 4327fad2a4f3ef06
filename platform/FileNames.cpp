// File-name helpers over std::filesystem and boost.locale's UTF conversion.
#include "platform/FileNames.h"

#include <boost/locale/encoding_utf.hpp>
#include <filesystem>

namespace zm {

namespace {

// A name holding a line feed or a carriage return (or starting with a quote) travels
// quoted, its quotes, backslashes and line ends escaped, so it stays one name.
bool NeedsQuotes(const std::string& name) {
    return name.find_first_of("\n\r") != std::string::npos || (!name.empty() && name[0] == '"');
}

std::string Quoted(const std::string& name) {
    std::string out = "\"";
    for (char c : name) {
        if (c == '\n')
            out += "\\n";
        else if (c == '\r')
            out += "\\r";
        else if (c == '"' || c == '\\')
            out += std::string("\\") + c;
        else
            out += c;
    }
    return out + '"';
}

// The name inside a quoted entry; false when the entry is not one.
bool Unquoted(const std::string& entry, std::string& name) {
    if (entry.size() < 2 || entry.front() != '"' || entry.back() != '"')
        return false;
    name.clear();
    for (size_t i = 1; i + 1 < entry.size(); ++i) {
        char c = entry[i];
        if (c == '\\' && i + 2 < entry.size()) {
            c = entry[++i];
            c = c == 'n' ? '\n' : c == 'r' ? '\r' : c;
        } else if (c == '"' || c == '\\') {
            return false;  // an unescaped quote or a lone backslash: not written by Join
        }
        name += c;
    }
    return true;
}

}  // namespace

std::string JoinFileNames(const std::vector<std::string>& names) {
    std::string joined;
    for (size_t i = 0; i < names.size(); ++i) {
        if (i > 0)
            joined += '\n';
        joined += NeedsQuotes(names[i]) ? Quoted(names[i]) : names[i];
    }
    return joined;
}

std::vector<std::string> SplitFileNames(const std::string& joined) {
    std::vector<std::string> names;
    // A string that names an existing file as a whole is that one file, line feeds and
    // all: a caller handing over a single name need not quote it.
    std::error_code ec;
    if (joined.find_first_of("\n\r") != std::string::npos && std::filesystem::exists(joined, ec)) {
        names.push_back(joined);
        return names;
    }
    size_t start = 0;
    while (start <= joined.size()) {
        size_t end = joined.find('\n', start);
        if (end == std::string::npos)
            end = joined.size();
        std::string name = joined.substr(start, end - start);
        if (!name.empty() && name.back() == '\r')
            name.pop_back();
        std::string unquoted;
        if (Unquoted(name, unquoted))
            name = unquoted;
        if (!name.empty())
            names.push_back(std::move(name));
        start = end + 1;
    }
    return names;
}

std::string WideToNarrow(const std::wstring& path) {
    return boost::locale::conv::utf_to_utf<char>(path);
}

std::wstring NarrowToWide(const std::string& path) {
    return boost::locale::conv::utf_to_utf<wchar_t>(path);
}

std::string FileTitle(const std::string& path) {
    return std::filesystem::path(path).stem().string();
}

std::string FileExtension(const std::string& path) {
    return std::filesystem::path(path).extension().string();
}

}  // namespace zm
