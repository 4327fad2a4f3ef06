// The library's limits set on xerces-c parsers: no entity is fetched from a file or the
// network, entity expansion is capped, and elements nest no deeper than kXmlMaxDepth.
#pragma once

#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/XercesDefs.hpp>

#include <string_view>

#include "platform/XmlLimits.h"
#include "platform/ZmExport.h"

XERCES_CPP_NAMESPACE_BEGIN
class AbstractDOMParser;
class SAX2XMLReader;
XERCES_CPP_NAMESPACE_END

namespace zm {

// Caps entity expansion and turns off fetching of external entities and DTDs.
ZMIMPORT_API void HardenParser(XERCES_CPP_NAMESPACE::AbstractDOMParser& parser);
ZMIMPORT_API void HardenParser(XERCES_CPP_NAMESPACE::SAX2XMLReader& reader);

// A DOM parser that refuses, with a zm::Exception, a document nesting its elements
// deeper than kXmlMaxDepth, and one whose internal DTD subset declares an entity with a
// value of its own: the expansion of such entities is what costs memory (one entity of
// half a megabyte used a thousand times), and the documents read here never need one.
// Entities declared as external stay with the entity resolver.
class ZMIMPORT_API SafeDomParser : public XERCES_CPP_NAMESPACE::XercesDOMParser {
  public:
    SafeDomParser();

    void startDocument() override;
    void startElement(
        const XERCES_CPP_NAMESPACE::XMLElementDecl& elemDecl, unsigned int urlId,
        const XMLCh* elemPrefix,
        const XERCES_CPP_NAMESPACE::RefVectorOf<XERCES_CPP_NAMESPACE::XMLAttr>& attrList,
        XMLSize_t attrCount, bool isEmpty, bool isRoot) override;
    void endElement(const XERCES_CPP_NAMESPACE::XMLElementDecl& elemDecl, unsigned int urlId,
                    bool isRoot, const XMLCh* elemPrefix) override;
    void startIntSubset() override;
    void endIntSubset() override;
    void entityDecl(const XERCES_CPP_NAMESPACE::DTDEntityDecl& entityDecl, bool isPEDecl,
                    bool isIgnored) override;

  private:
    unsigned depth = 0;
    bool inInternalSubset = false;
};

}  // namespace zm
