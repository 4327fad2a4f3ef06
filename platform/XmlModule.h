// The library's XML side (xerces-c) lives in a module of its own, libzmimport_xml.so.0,
// loaded beside the library the first time a document is parsed or a settings document
// is made. Reads that never meet XML (most text and binary formats) then start without
// xerces-c and the network and crypto libraries it pulls in. Programs built from the
// library's objects link the module's objects in and find them without loading anything.
#pragma once

#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ZmExport.h"

namespace zm {

class XmlHandler;

// A settings document's tree: sections holding keys, a key holding a text or a list of
// items. Names and texts are UTF-8.
class SettingsTree {
  public:
    virtual ~SettingsTree() = default;
    virtual std::string ToXml() const = 0;
    virtual bool HasKey(const std::string& section, const std::string& key) const = 0;
    virtual std::optional<std::string> GetString(const std::string& section,
                                                 const std::string& key) const = 0;
    virtual std::optional<std::vector<std::string>> GetList(const std::string& section,
                                                            const std::string& key) const = 0;
    virtual void SetString(const std::string& section, const std::string& key,
                           const std::string& value) = 0;
    virtual void SetList(const std::string& section, const std::string& key,
                         const std::vector<std::string>& items) = 0;
    virtual void RemoveKey(const std::string& section, const std::string& key) = 0;
};

// What the module offers the platform layer.
struct XmlModule {
    // An empty <Configuration/>.
    std::unique_ptr<SettingsTree> (*newSettings)();
    // Parses a settings document; throws zm::Exception when the text is not one.
    std::unique_ptr<SettingsTree> (*parseSettings)(const std::string& xml);
    // Streams a document's events to `handler`; false with the reason when it is not
    // well-formed or breaks a limit.
    bool (*parseXml)(std::istream& in, XmlHandler& handler, std::string& error);
};

// The address of `symbol` in the XML module, loading the module on first use; throws
// zm::Exception naming the module when it cannot be loaded or lacks the symbol.
ZMIMPORT_API void* XmlModuleSymbol(const char* symbol);

// The module's entry `symbol`, a function answering a table of type Entry: `linked` when
// the program links the module's objects (a weak reference, null otherwise), else the one
// of the loaded module. Throws as XmlModuleSymbol does.
template <typename Entry>
const Entry* XmlModuleEntry(const Entry* (*linked)(), const char* symbol) {
    if (linked != nullptr)
        return linked();
    return reinterpret_cast<const Entry* (*)()>(XmlModuleSymbol(symbol))();
}

// The module's platform entry points.
ZMIMPORT_API const XmlModule& Xml();

}  // namespace zm
