// Streaming XML: the parser itself is in the XML module.
#include "platform/XmlReader.h"

#include "platform/Exception.h"
#include "platform/XmlModule.h"

namespace zm {

std::optional<std::string_view> AttributeOf(const std::vector<XmlAttribute>& attributes,
                                            std::string_view name) {
    for (const XmlAttribute& a : attributes) {
        if (a.name == name)
            return std::string_view(a.value);
    }
    return std::nullopt;
}

bool ParseXml(std::istream& in, XmlHandler& handler, std::string& error) {
    const XmlModule* module = nullptr;
    try {
        module = &Xml();
    } catch (const Exception& e) {
        error = e.what();
        return false;
    }
    return module->parseXml(in, handler, error);
}

}  // namespace zm
