// Limits every XML parser of the library applies to documents from outside: no entity
// is fetched from a file or the network, and entity expansion is capped.
#pragma once

#include <xercesc/util/XercesDefs.hpp>

#include <string_view>

#include "platform/ZmExport.h"

XERCES_CPP_NAMESPACE_BEGIN
class AbstractDOMParser;
class SAX2XMLReader;
XERCES_CPP_NAMESPACE_END

namespace zm {

// The most entity expansions a document may cause. Real documents of the formats read
// here declare no entities of their own; a handful of references is plenty.
constexpr unsigned kXmlEntityExpansionLimit = 1000;

// True when the text declares a document type before its root element. Documents that
// have no business carrying one (settings, workbook parts) are refused on sight, which
// also refuses every internal entity they could declare.
ZMIMPORT_API bool HasDocumentTypeDeclaration(std::string_view xml);

// Caps entity expansion and turns off fetching of external entities and DTDs.
ZMIMPORT_API void HardenParser(XERCES_CPP_NAMESPACE::AbstractDOMParser& parser);
ZMIMPORT_API void HardenParser(XERCES_CPP_NAMESPACE::SAX2XMLReader& reader);

}  // namespace zm
