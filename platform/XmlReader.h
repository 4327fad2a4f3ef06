// Streaming XML: a document read from a stream as start tags, end tags and text, in
// UTF-8, with the library's limits (no document type, so no entity of its own; elements
// nested at most kXmlMaxDepth deep; nothing fetched). Element and attribute names are
// local names, without their prefix.
#pragma once

#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/ZmExport.h"

namespace zm {

struct XmlAttribute {
    std::string name;
    std::string value;
};

class ZMIMPORT_API XmlHandler {
  public:
    virtual ~XmlHandler() = default;
    virtual void Start(std::string_view name, const std::vector<XmlAttribute>& attributes) = 0;
    virtual void End(std::string_view name) = 0;
    virtual void Text(std::string_view text) = 0;
};

// The value of the attribute with local name `name`, if present.
ZMIMPORT_API std::optional<std::string_view> AttributeOf(
    const std::vector<XmlAttribute>& attributes, std::string_view name);

// Parses the document; false with the reason in `error` when it is not well-formed or
// breaks a limit. A handler may throw to stop; the exception passes through.
ZMIMPORT_API bool ParseXml(std::istream& in, XmlHandler& handler, std::string& error);

}  // namespace zm
