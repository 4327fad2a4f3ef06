// The settings document carried by options records: an XML configuration of sections
// and keys, on a xerces-c DOM. One shape for every format:
//   <Configuration><Settings><Delimiter>;</Delimiter></Settings></Configuration>
// A list is one key whose items are <Item> children. Values keep every character.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ZmExport.h"

namespace zm {

// The items of a ';'-separated list as the settings and the command line write it (sheet
// names, x ranges): "a;b;" gives "a", "b" and "".
ZMIMPORT_API std::vector<std::string> SplitSettingsList(const std::string& text);

class ZMIMPORT_API SettingsDocument {
  public:
    SettingsDocument();  // an empty <Configuration/>
    ~SettingsDocument();
    SettingsDocument(const SettingsDocument&) = delete;
    SettingsDocument& operator=(const SettingsDocument&) = delete;

    // Parses a settings document; throws zm::Exception when the text is not one.
    static std::unique_ptr<SettingsDocument> Parse(const std::string& xml);
    std::string ToXml() const;

    bool HasKey(const std::string& section, const std::string& key) const;
    // Absent keys read as absent (nullopt); malformed numbers and booleans too.
    std::optional<std::string> GetString(const std::string& section, const std::string& key) const;
    std::optional<bool> GetBool(const std::string& section, const std::string& key) const;
    std::optional<long long> GetInt(const std::string& section, const std::string& key) const;
    std::optional<double> GetDouble(const std::string& section, const std::string& key) const;
    std::optional<std::vector<std::string>> GetList(const std::string& section,
                                                    const std::string& key) const;

    void SetString(const std::string& section, const std::string& key, const std::string& value);
    void SetBool(const std::string& section, const std::string& key, bool value);
    void SetInt(const std::string& section, const std::string& key, long long value);
    void SetDouble(const std::string& section, const std::string& key, double value);
    void SetList(const std::string& section, const std::string& key,
                 const std::vector<std::string>& items);
    void RemoveKey(const std::string& section, const std::string& key);

  private:
    struct Impl;
    explicit SettingsDocument(std::unique_ptr<Impl> parsed);
    std::unique_ptr<Impl> impl;
};

}  // namespace zm
