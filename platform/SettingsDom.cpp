// Settings documents on the xerces-c DOM.
#include "platform/SettingsDom.h"

#include <cstdio>
#include <cstring>
#include <mutex>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLString.hpp>

#include "platform/Exception.h"
#include "platform/XmlSafety.h"

namespace zm {

namespace {

using namespace xercesc;

// xerces-c must be initialised once per process; it is never terminated because
// documents may live until the process ends.
void EnsureXerces() {
    static std::once_flag once;
    std::call_once(once, [] { XMLPlatformUtils::Initialize(); });
}

std::u16string ToXml16(const std::string& utf8) {
    try {
        TranscodeFromStr t(reinterpret_cast<const XMLByte*>(utf8.data()), utf8.size(), "UTF-8");
        const XMLCh* s = t.str();
        return std::u16string(s != nullptr ? s : u"", t.length());
    } catch (const XMLException&) {
        // Callers handle standard exceptions; the parser's own types stay in here.
        throw Exception("A setting is not valid UTF-8 text.");
    }
}

std::string FromXml16(const XMLCh* s) {
    if (s == nullptr)
        return std::string();
    TranscodeToStr t(s, "UTF-8");
    return std::string(reinterpret_cast<const char*>(t.str()), t.length());
}

DOMElement* FindChild(const DOMNode* parent, const std::u16string& name) {
    for (DOMNode* n = parent->getFirstChild(); n != nullptr; n = n->getNextSibling()) {
        if (n->getNodeType() == DOMNode::ELEMENT_NODE && name == n->getNodeName())
            return static_cast<DOMElement*>(n);
    }
    return nullptr;
}

// Text of an element's own text children (not of nested elements).
std::string OwnText(const DOMElement* element) {
    std::u16string text;
    for (DOMNode* n = element->getFirstChild(); n != nullptr; n = n->getNextSibling()) {
        const auto type = n->getNodeType();
        if (type == DOMNode::TEXT_NODE || type == DOMNode::CDATA_SECTION_NODE)
            text += n->getNodeValue();
    }
    return FromXml16(reinterpret_cast<const XMLCh*>(text.c_str()));
}

void ClearChildren(DOMElement* element) {
    while (DOMNode* n = element->getFirstChild())
        element->removeChild(n)->release();
}

// Appends `text` as XML character data. Markup characters become entities; a carriage
// return becomes a reference because parsers turn a literal one into a line feed;
// characters that parsers would drop or treat as line ends (other control characters,
// U+0080..U+009F, U+2028) become references too. Control characters below 0x20 can
// only be written as references in XML 1.1, so those make the document 1.1.
void AppendEscaped(const std::string& text, std::string& out, bool& needsXml11) {
    char ref[16];
    for (size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        unsigned int code = 0;
        size_t length = 1;
        if (c == '&') {
            out += "&amp;";
            continue;
        } else if (c == '<') {
            out += "&lt;";
            continue;
        } else if (c == '>') {
            out += "&gt;";
            continue;
        } else if (c < 0x20 && c != '\t' && c != '\n') {
            code = c;
            if (c != '\r')
                needsXml11 = true;
        } else if (c == 0x7F) {
            code = c;
        } else if (c == 0xC2 && i + 1 < text.size() &&
                   static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                   static_cast<unsigned char>(text[i + 1]) <= 0x9F) {
            code = static_cast<unsigned char>(text[i + 1]);
            length = 2;
        } else if (text.compare(i, 3, "\xE2\x80\xA8") == 0) {
            code = 0x2028;
            length = 3;
        } else {
            out += static_cast<char>(c);
            continue;
        }
        std::snprintf(ref, sizeof ref, "&#x%X;", code);
        out += ref;
        i += length - 1;
    }
}

// Writes an element, indented by its depth. An element with element children lists
// them one per line (text between them is layout and is not kept); any other element
// is written on one line with its text, exactly as it stands.
void WriteElement(const DOMElement* element, int depth, std::string& out, bool& needsXml11) {
    const std::string name = FromXml16(element->getTagName());
    const std::string indent(2 * static_cast<size_t>(depth), ' ');
    bool hasElements = false;
    for (DOMNode* n = element->getFirstChild(); n != nullptr; n = n->getNextSibling())
        hasElements = hasElements || n->getNodeType() == DOMNode::ELEMENT_NODE;
    out += indent + "<" + name + ">";
    if (hasElements) {
        out += "\n";
        for (DOMNode* n = element->getFirstChild(); n != nullptr; n = n->getNextSibling()) {
            if (n->getNodeType() == DOMNode::ELEMENT_NODE)
                WriteElement(static_cast<DOMElement*>(n), depth + 1, out, needsXml11);
        }
        out += indent;
    } else {
        AppendEscaped(OwnText(element), out, needsXml11);
    }
    out += "</" + name + ">\n";
}

// A settings document is flat: configuration, sections, keys and the items of a list.
// Anything deeper is refused, so that no later walk meets unbounded nesting.
constexpr int kSettingsDepth = 4;

bool IsFlat(const DOMElement* root) {
    const DOMNode* node = root;
    int depth = 1;
    while (node != nullptr) {
        const DOMNode* child = node->getFirstChild();
        while (child != nullptr && child->getNodeType() != DOMNode::ELEMENT_NODE)
            child = child->getNextSibling();
        if (child != nullptr) {
            if (++depth > kSettingsDepth)
                return false;
            node = child;
            continue;
        }
        // Next element sibling, climbing up as long as there is none.
        while (node != nullptr && node != root) {
            const DOMNode* next = node->getNextSibling();
            while (next != nullptr && next->getNodeType() != DOMNode::ELEMENT_NODE)
                next = next->getNextSibling();
            if (next != nullptr) {
                node = next;
                break;
            }
            node = node->getParentNode();
            --depth;
        }
        if (node == root)
            return true;
    }
    return true;
}

class ThrowingErrorHandler : public HandlerBase {
  public:
    void error(const SAXParseException& e) override { throw e; }
    void fatalError(const SAXParseException& e) override { throw e; }
};

// The settings tree on a xerces-c DOM document.
class DomSettings final : public SettingsTree {
  public:
    // An empty <Configuration/>.
    DomSettings() {
        EnsureXerces();
        DOMImplementation* dom = DOMImplementationRegistry::getDOMImplementation(u"Core");
        document = dom->createDocument(nullptr, u"Configuration", nullptr);
        ownsDocument = true;
    }
    // A parsed document, owned by its parser.
    explicit DomSettings(std::unique_ptr<XercesDOMParser> owner)
        : parser(std::move(owner)), document(parser->getDocument()) {}
    ~DomSettings() override {
        if (ownsDocument && document != nullptr)
            document->release();
    }

    std::string ToXml() const override {
        std::string body;
        bool needsXml11 = false;
        WriteElement(document->getDocumentElement(), 0, body, needsXml11);
        return std::string("<?xml version=\"") + (needsXml11 ? "1.1" : "1.0") +
               "\" encoding=\"UTF-8\"?>\n" + body;
    }

    bool HasKey(const std::string& section, const std::string& key) const override {
        return Key(section, key) != nullptr;
    }

    std::optional<std::string> GetString(const std::string& section,
                                         const std::string& key) const override {
        const DOMElement* k = Key(section, key);
        if (k == nullptr)
            return std::nullopt;
        return OwnText(k);
    }

    std::optional<std::vector<std::string>> GetList(const std::string& section,
                                                    const std::string& key) const override {
        const DOMElement* k = Key(section, key);
        if (k == nullptr)
            return std::nullopt;
        std::vector<std::string> items;
        for (DOMNode* n = k->getFirstChild(); n != nullptr; n = n->getNextSibling()) {
            if (n->getNodeType() == DOMNode::ELEMENT_NODE &&
                std::u16string(u"Item") == n->getNodeName())
                items.push_back(OwnText(static_cast<DOMElement*>(n)));
        }
        return items;
    }

    void SetString(const std::string& section, const std::string& key,
                   const std::string& value) override {
        SetText(MakeKey(section, key), value);
    }

    void SetList(const std::string& section, const std::string& key,
                 const std::vector<std::string>& items) override {
        DOMElement* k = MakeKey(section, key);
        for (const std::string& item : items) {
            DOMElement* e = document->createElement(u"Item");
            SetText(e, item);
            k->appendChild(e);
        }
    }

    void RemoveKey(const std::string& section, const std::string& key) override {
        DOMElement* k = Key(section, key);
        if (k != nullptr)
            k->getParentNode()->removeChild(k)->release();
    }

  private:
    DOMElement* Root() const { return document->getDocumentElement(); }

    DOMElement* Key(const std::string& section, const std::string& key) const {
        DOMElement* s = FindChild(Root(), ToXml16(section));
        return s != nullptr ? FindChild(s, ToXml16(key)) : nullptr;
    }

    DOMElement* MakeKey(const std::string& section, const std::string& key) {
        const std::u16string sectionName = ToXml16(section);
        DOMElement* s = FindChild(Root(), sectionName);
        if (s == nullptr) {
            s = document->createElement(reinterpret_cast<const XMLCh*>(sectionName.c_str()));
            Root()->appendChild(s);
        }
        const std::u16string keyName = ToXml16(key);
        DOMElement* k = FindChild(s, keyName);
        if (k == nullptr) {
            k = document->createElement(reinterpret_cast<const XMLCh*>(keyName.c_str()));
            s->appendChild(k);
        }
        ClearChildren(k);
        return k;
    }

    void SetText(DOMElement* element, const std::string& value) {
        const std::u16string v = ToXml16(value);
        element->appendChild(document->createTextNode(reinterpret_cast<const XMLCh*>(v.c_str())));
    }

    std::unique_ptr<XercesDOMParser> parser;  // owns a parsed document
    DOMDocument* document = nullptr;          // owned by parser, or by us when created
    bool ownsDocument = false;
};

}  // namespace

std::unique_ptr<SettingsTree> NewDomSettings() {
    return std::make_unique<DomSettings>();
}

std::unique_ptr<SettingsTree> ParseDomSettings(const std::string& xml) {
    EnsureXerces();
    auto parser = std::make_unique<SafeDomParser>();
    parser->setValidationScheme(XercesDOMParser::Val_Never);
    parser->setDoNamespaces(false);
    HardenParser(*parser);
    ThrowingErrorHandler handler;
    parser->setErrorHandler(&handler);
    MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), "settings");
    try {
        parser->parse(source);
    } catch (...) {
        throw Exception("Invalid file open option format");
    }
    DOMDocument* parsed = parser->getDocument();
    if (parsed == nullptr || parsed->getDocumentElement() == nullptr ||
        std::u16string(u"Configuration") != parsed->getDocumentElement()->getNodeName())
        throw Exception("Invalid file open option format");
    if (!IsFlat(parsed->getDocumentElement()))
        throw Exception("Invalid file open option format");
    return std::make_unique<DomSettings>(std::move(parser));
}

}  // namespace zm
