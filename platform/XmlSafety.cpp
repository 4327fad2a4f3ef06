// Limits on entity expansion, nesting and external fetching for the library's XML parsers.
#include "platform/XmlSafety.h"

#include <xercesc/validators/DTD/DTDEntityDecl.hpp>

#include <xercesc/parsers/AbstractDOMParser.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <string>

#include "platform/Exception.h"

namespace zm {

namespace {

class ExpansionLimit : public XERCES_CPP_NAMESPACE::SecurityManager {
  public:
    ExpansionLimit() { setEntityExpansionLimit(kXmlEntityExpansionLimit); }
};

// Shared by every parser; xerces only reads it.
XERCES_CPP_NAMESPACE::SecurityManager& Limits() {
    static ExpansionLimit limits;
    return limits;
}

}  // namespace

void HardenParser(XERCES_CPP_NAMESPACE::AbstractDOMParser& parser) {
    parser.setSecurityManager(&Limits());
    parser.setDisableDefaultEntityResolution(true);
    parser.setLoadExternalDTD(false);
    parser.setCreateEntityReferenceNodes(false);
}

void HardenParser(XERCES_CPP_NAMESPACE::SAX2XMLReader& reader) {
    using XERCES_CPP_NAMESPACE::XMLUni;
    reader.setProperty(XMLUni::fgXercesSecurityManager, &Limits());
    reader.setFeature(XMLUni::fgXercesDisableDefaultEntityResolution, true);
    reader.setFeature(XMLUni::fgXercesLoadExternalDTD, false);
}

SafeDomParser::SafeDomParser() {
    HardenParser(*this);
}

void SafeDomParser::startDocument() {
    depth = 0;
    inInternalSubset = false;
    XercesDOMParser::startDocument();
}

void SafeDomParser::startElement(
    const XERCES_CPP_NAMESPACE::XMLElementDecl& elemDecl, unsigned int urlId,
    const XMLCh* elemPrefix,
    const XERCES_CPP_NAMESPACE::RefVectorOf<XERCES_CPP_NAMESPACE::XMLAttr>& attrList,
    XMLSize_t attrCount, bool isEmpty, bool isRoot) {
    if (++depth > kXmlMaxDepth)
        throw Exception("The document nests its elements deeper than {1} levels.",
                        {std::to_string(kXmlMaxDepth)});
    // An empty element ends inside this call, through endElement.
    XercesDOMParser::startElement(elemDecl, urlId, elemPrefix, attrList, attrCount, isEmpty,
                                  isRoot);
}

void SafeDomParser::endElement(const XERCES_CPP_NAMESPACE::XMLElementDecl& elemDecl,
                               unsigned int urlId, bool isRoot, const XMLCh* elemPrefix) {
    if (depth > 0)
        --depth;
    XercesDOMParser::endElement(elemDecl, urlId, isRoot, elemPrefix);
}

void SafeDomParser::startIntSubset() {
    inInternalSubset = true;
    XercesDOMParser::startIntSubset();
}

void SafeDomParser::endIntSubset() {
    inInternalSubset = false;
    XercesDOMParser::endIntSubset();
}

void SafeDomParser::entityDecl(const XERCES_CPP_NAMESPACE::DTDEntityDecl& entityDecl, bool isPEDecl,
                               bool isIgnored) {
    if (inInternalSubset && !entityDecl.isExternal()) {
        char* name = XERCES_CPP_NAMESPACE::XMLString::transcode(entityDecl.getName());
        const std::string text = name != nullptr ? name : "";
        XERCES_CPP_NAMESPACE::XMLString::release(&name);
        throw Exception("The entity '{1}' declared in the document is not read.", {text});
    }
    XercesDOMParser::entityDecl(entityDecl, isPEDecl, isIgnored);
}

}  // namespace zm
