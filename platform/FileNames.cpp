// File-name helpers over std::filesystem and boost.locale's UTF conversion.
#include "platform/FileNames.h"

#include <boost/locale/encoding_utf.hpp>
#include <filesystem>

namespace zm {

std::string JoinFileNames(const std::vector<std::string>& names) {
    std::string joined;
    for (size_t i = 0; i < names.size(); ++i) {
        if (i > 0)
            joined += '\n';
        joined += names[i];
    }
    return joined;
}

std::vector<std::string> SplitFileNames(const std::string& joined) {
    std::vector<std::string> names;
    size_t start = 0;
    while (start <= joined.size()) {
        size_t end = joined.find('\n', start);
        if (end == std::string::npos)
            end = joined.size();
        std::string name = joined.substr(start, end - start);
        if (!name.empty() && name.back() == '\r')
            name.pop_back();
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
