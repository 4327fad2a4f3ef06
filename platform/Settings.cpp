// Settings documents: typed keys over the settings tree of the XML module.
#include "platform/Settings.h"

#include <charconv>

#include "platform/Exception.h"
#include "platform/XmlLimits.h"
#include "platform/XmlModule.h"

namespace zm {

std::vector<std::string> SplitSettingsList(const std::string& text) {
    std::vector<std::string> items;
    size_t start = 0;
    for (;;) {
        const size_t end = text.find(';', start);
        items.push_back(text.substr(start, end - start));
        if (end == std::string::npos)
            return items;
        start = end + 1;
    }
}

struct SettingsDocument::Impl {
    std::unique_ptr<SettingsTree> tree;
};

SettingsDocument::SettingsDocument() : impl(std::make_unique<Impl>()) {
    impl->tree = Xml().newSettings();
}

SettingsDocument::SettingsDocument(std::unique_ptr<Impl> parsed) : impl(std::move(parsed)) {}

SettingsDocument::~SettingsDocument() = default;

std::unique_ptr<SettingsDocument> SettingsDocument::Parse(const std::string& xml) {
    // A settings document has no document type: one is refused before parsing, so that
    // no entity it declares is ever expanded.
    if (HasDocumentTypeDeclaration(xml))
        throw Exception("Invalid file open option format");
    auto parsed = std::make_unique<Impl>();
    parsed->tree = Xml().parseSettings(xml);
    return std::unique_ptr<SettingsDocument>(new SettingsDocument(std::move(parsed)));
}

std::string SettingsDocument::ToXml() const {
    return impl->tree->ToXml();
}

bool SettingsDocument::HasKey(const std::string& section, const std::string& key) const {
    return impl->tree->HasKey(section, key);
}

std::optional<std::string> SettingsDocument::GetString(const std::string& section,
                                                       const std::string& key) const {
    return impl->tree->GetString(section, key);
}

std::optional<bool> SettingsDocument::GetBool(const std::string& section,
                                              const std::string& key) const {
    const auto text = GetString(section, key);
    if (!text)
        return std::nullopt;
    if (*text == "true" || *text == "1")
        return true;
    if (*text == "false" || *text == "0")
        return false;
    return std::nullopt;
}

namespace {

// The whole text as a number of type T, or nothing.
template <typename T>
std::optional<T> WholeNumber(const std::optional<std::string>& text) {
    if (!text)
        return std::nullopt;
    T value{};
    const char* end = text->data() + text->size();
    const auto r = std::from_chars(text->data(), end, value);
    if (r.ec != std::errc() || r.ptr != end)
        return std::nullopt;
    return value;
}

}  // namespace

std::optional<long long> SettingsDocument::GetInt(const std::string& section,
                                                  const std::string& key) const {
    return WholeNumber<long long>(GetString(section, key));
}

std::optional<double> SettingsDocument::GetDouble(const std::string& section,
                                                  const std::string& key) const {
    return WholeNumber<double>(GetString(section, key));
}

std::optional<std::vector<std::string>> SettingsDocument::GetList(const std::string& section,
                                                                  const std::string& key) const {
    return impl->tree->GetList(section, key);
}

void SettingsDocument::SetString(const std::string& section, const std::string& key,
                                 const std::string& value) {
    impl->tree->SetString(section, key, value);
}

void SettingsDocument::SetBool(const std::string& section, const std::string& key, bool value) {
    SetString(section, key, value ? "true" : "false");
}

void SettingsDocument::SetInt(const std::string& section, const std::string& key, long long value) {
    SetString(section, key, std::to_string(value));
}

void SettingsDocument::SetDouble(const std::string& section, const std::string& key, double value) {
    char buffer[64];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, value);
    SetString(section, key, std::string(buffer, r.ptr));
}

void SettingsDocument::SetList(const std::string& section, const std::string& key,
                               const std::vector<std::string>& items) {
    impl->tree->SetList(section, key, items);
}

void SettingsDocument::RemoveKey(const std::string& section, const std::string& key) {
    impl->tree->RemoveKey(section, key);
}

}  // namespace zm
