// Limits on entity expansion and external fetching for the library's XML parsers.
#include "platform/XmlSafety.h"

#include <xercesc/parsers/AbstractDOMParser.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLUni.hpp>

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

bool HasDocumentTypeDeclaration(std::string_view xml) {
    // Walk the prolog: the XML declaration, processing instructions, comments and blanks
    // may stand before the root element; a "<!DOCTYPE" among them is a declaration.
    size_t i = 0;
    while (i < xml.size()) {
        const size_t lt = xml.find('<', i);
        if (lt == std::string_view::npos || lt + 1 >= xml.size())
            return false;
        const std::string_view rest = xml.substr(lt);
        if (rest.substr(0, 4) == "<!--") {
            const size_t end = xml.find("-->", lt + 4);
            if (end == std::string_view::npos)
                return false;
            i = end + 3;
        } else if (rest.substr(0, 2) == "<?") {
            const size_t end = xml.find("?>", lt + 2);
            if (end == std::string_view::npos)
                return false;
            i = end + 2;
        } else {
            return rest.substr(0, 2) == "<!";
        }
    }
    return false;
}

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

}  // namespace zm
