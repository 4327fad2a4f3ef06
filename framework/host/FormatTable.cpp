// Format lookups over the built-in registry.
#include "framework/host/FormatTable.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>

#include "framework/host/LoaderFormats.h"
#include "platform/FileNames.h"

namespace zmhost {

namespace {

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

}  // namespace

int FormatCount() {
    return ListedFormatCount();
}

const ZmImportFileFormatInfo* FormatInfo(int index) {
    return ListedFormatInfo(index);
}

int ResolveFormat(const std::string& nameOrIndex) {
    for (int i = 1; i <= FormatCount(); ++i) {
        const ZmImportFileFormatInfo* info = FormatInfo(i);
        if (info != nullptr && info->name != nullptr && nameOrIndex == info->name)
            return i;
    }
    int index = 0;
    const char* begin = nameOrIndex.data();
    const char* end = begin + nameOrIndex.size();
    auto [stop, ec] = std::from_chars(begin, end, index);
    if (ec == std::errc() && stop == end && FormatInfo(index) != nullptr)
        return index;
    return 0;
}

std::vector<std::string> ExtensionsOf(const ZmImportFileFormatInfo& info) {
    std::vector<std::string> extensions;
    const char* p = info.extensions;
    for (int i = 0; p != nullptr && i < info.extensionCount; ++i) {
        extensions.emplace_back(p);
        p += std::strlen(p) + 1;
    }
    return extensions;
}

bool HasListedExtension(const ZmImportFileFormatInfo& info, const std::string& file) {
    const std::string extension = Lower(zm::FileExtension(file));
    if (extension.empty())
        return false;
    for (const std::string& listed : ExtensionsOf(info)) {
        if (Lower(listed) == extension)
            return true;
    }
    return false;
}

SprFileFactory::MyKindOfFile AskFormat(int index, const std::string& file) {
    if (FormatInfo(index) == nullptr)
        return SprFileFactory::kNotMine;
    try {
        // This program's own formats answer in full; a plug-in only says 2, 1 or 0.
        if (const int registryIndex = RegistryIndexOf(index))
            return SprFileFactory::IsMyKindOfFile(registryIndex, file.c_str());
        switch (AskListedFormat(index, file)) {
            case 2:
                return SprFileFactory::kSurely;
            case 1:
                return SprFileFactory::kCanRead;
            default:
                return SprFileFactory::kNotMine;
        }
    } catch (...) {
        return SprFileFactory::kNotMine;
    }
}

const char* AnswerName(SprFileFactory::MyKindOfFile answer) {
    switch (answer) {
        case SprFileFactory::kSurely:
            return "surely";
        case SprFileFactory::kPlausible:
            return "plausible";
        case SprFileFactory::kCanRead:
            return "can read";
        default:
            return "no";
    }
}

}  // namespace zmhost
