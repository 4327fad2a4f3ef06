// Settings documents on the xerces-c DOM.
#include "platform/Settings.h"

#include <charconv>
#include <cstring>
#include <mutex>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLString.hpp>

#include "platform/BinaryString.h"
#include "platform/Exception.h"

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
    TranscodeFromStr t(reinterpret_cast<const XMLByte*>(utf8.data()), utf8.size(), "UTF-8");
    const XMLCh* s = t.str();
    return std::u16string(s != nullptr ? s : u"", t.length());
}

std::string FromXml16(const XMLCh* s) {
    if (s == nullptr) return std::string();
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
    while (DOMNode* n = element->getFirstChild()) element->removeChild(n)->release();
}

class ThrowingErrorHandler : public HandlerBase {
public:
    void error(const SAXParseException& e) override { throw e; }
    void fatalError(const SAXParseException& e) override { throw e; }
};

}  // namespace

struct SettingsDocument::Impl {
    std::unique_ptr<XercesDOMParser> parser;  // owns a parsed document
    DOMDocument* document = nullptr;          // owned by parser, or by us when created
    bool ownsDocument = false;

    ~Impl() {
        if (ownsDocument && document != nullptr) document->release();
    }

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
};

SettingsDocument::SettingsDocument() : impl(std::make_unique<Impl>()) {
    EnsureXerces();
    DOMImplementation* dom = DOMImplementationRegistry::getDOMImplementation(u"Core");
    impl->document = dom->createDocument(nullptr, u"Configuration", nullptr);
    impl->ownsDocument = true;
}

SettingsDocument::~SettingsDocument() = default;

std::unique_ptr<SettingsDocument> SettingsDocument::Parse(const std::string& xml) {
    EnsureXerces();
    auto doc = std::unique_ptr<SettingsDocument>(new SettingsDocument());
    auto parser = std::make_unique<XercesDOMParser>();
    parser->setValidationScheme(XercesDOMParser::Val_Never);
    parser->setDoNamespaces(false);
    parser->setCreateEntityReferenceNodes(false);
    parser->setDisableDefaultEntityResolution(true);
    ThrowingErrorHandler handler;
    parser->setErrorHandler(&handler);
    MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(),
                             "settings");
    try {
        parser->parse(source);
    } catch (...) {
        throw Exception("Invalid file open option format");
    }
    DOMDocument* parsed = parser->getDocument();
    if (parsed == nullptr || parsed->getDocumentElement() == nullptr ||
        std::u16string(u"Configuration") != parsed->getDocumentElement()->getNodeName())
        throw Exception("Invalid file open option format");
    doc->impl->document->release();
    doc->impl->document = parsed;
    doc->impl->ownsDocument = false;
    doc->impl->parser = std::move(parser);
    return doc;
}

std::string SettingsDocument::ToXml() const {
    DOMImplementation* dom = DOMImplementationRegistry::getDOMImplementation(u"LS");
    DOMLSSerializer* serializer = static_cast<DOMImplementationLS*>(dom)->createLSSerializer();
    DOMConfiguration* config = serializer->getDomConfig();
    if (config->canSetParameter(XMLUni::fgDOMWRTFormatPrettyPrint, true))
        config->setParameter(XMLUni::fgDOMWRTFormatPrettyPrint, true);
    MemBufFormatTarget target;
    DOMLSOutput* output = static_cast<DOMImplementationLS*>(dom)->createLSOutput();
    output->setEncoding(u"UTF-8");
    output->setByteStream(&target);
    serializer->write(impl->document, output);
    std::string xml(reinterpret_cast<const char*>(target.getRawBuffer()), target.getLen());
    output->release();
    serializer->release();
    return xml;
}

bool SettingsDocument::HasKey(const std::string& section, const std::string& key) const {
    return impl->Key(section, key) != nullptr;
}

std::optional<std::string> SettingsDocument::GetString(const std::string& section,
                                                       const std::string& key) const {
    const DOMElement* k = impl->Key(section, key);
    if (k == nullptr) return std::nullopt;
    return OwnText(k);
}

std::optional<bool> SettingsDocument::GetBool(const std::string& section,
                                              const std::string& key) const {
    const auto text = GetString(section, key);
    if (!text) return std::nullopt;
    if (*text == "true" || *text == "1") return true;
    if (*text == "false" || *text == "0") return false;
    return std::nullopt;
}

std::optional<long long> SettingsDocument::GetInt(const std::string& section,
                                                  const std::string& key) const {
    const auto text = GetString(section, key);
    if (!text) return std::nullopt;
    long long value = 0;
    const char* end = text->data() + text->size();
    const auto r = std::from_chars(text->data(), end, value);
    if (r.ec != std::errc() || r.ptr != end) return std::nullopt;
    return value;
}

std::optional<double> SettingsDocument::GetDouble(const std::string& section,
                                                  const std::string& key) const {
    const auto text = GetString(section, key);
    if (!text) return std::nullopt;
    double value = 0;
    const char* end = text->data() + text->size();
    const auto r = std::from_chars(text->data(), end, value);
    if (r.ec != std::errc() || r.ptr != end) return std::nullopt;
    return value;
}

std::optional<std::vector<std::string>> SettingsDocument::GetList(const std::string& section,
                                                                  const std::string& key) const {
    const DOMElement* k = impl->Key(section, key);
    if (k == nullptr) return std::nullopt;
    std::vector<std::string> items;
    for (DOMNode* n = k->getFirstChild(); n != nullptr; n = n->getNextSibling()) {
        if (n->getNodeType() == DOMNode::ELEMENT_NODE &&
            std::u16string(u"Item") == n->getNodeName())
            items.push_back(OwnText(static_cast<DOMElement*>(n)));
    }
    return items;
}

void SettingsDocument::SetString(const std::string& section, const std::string& key,
                                 const std::string& value) {
    impl->SetText(impl->MakeKey(section, key), value);
}

void SettingsDocument::SetBool(const std::string& section, const std::string& key, bool value) {
    SetString(section, key, value ? "true" : "false");
}

void SettingsDocument::SetInt(const std::string& section, const std::string& key,
                              long long value) {
    SetString(section, key, std::to_string(value));
}

void SettingsDocument::SetDouble(const std::string& section, const std::string& key,
                                 double value) {
    char buffer[64];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, value);
    SetString(section, key, std::string(buffer, r.ptr));
}

void SettingsDocument::SetList(const std::string& section, const std::string& key,
                               const std::vector<std::string>& items) {
    DOMElement* k = impl->MakeKey(section, key);
    for (const std::string& item : items) {
        DOMElement* e = impl->document->createElement(u"Item");
        impl->SetText(e, item);
        k->appendChild(e);
    }
}

void SettingsDocument::RemoveKey(const std::string& section, const std::string& key) {
    DOMElement* k = impl->Key(section, key);
    if (k != nullptr) k->getParentNode()->removeChild(k)->release();
}

OptionsDecode DecodeOptions(const ZmImportOpenOptions* options,
                            std::unique_ptr<SettingsDocument>& document) {
    document.reset();
    if (options == nullptr || options->size == 0) return OptionsDecode::kNoOptions;
    if (options->data == nullptr) return OptionsDecode::kMalformed;
    std::string xml;
    if (!ReadBinaryString(options->data, options->size, xml)) return OptionsDecode::kMalformed;
    try {
        document = SettingsDocument::Parse(xml);
    } catch (const std::exception&) {
        return OptionsDecode::kMalformed;
    }
    return OptionsDecode::kDecoded;
}

std::string EncodeOptions(const SettingsDocument& document) {
    std::string bytes;
    WriteBinaryString(bytes, document.ToXml());
    return bytes;
}

void StoreOptions(ZmImportOpenOptions* options, const SettingsDocument& document) {
    if (options == nullptr) return;
    const std::string bytes = EncodeOptions(document);
    auto* data = new unsigned char[bytes.size()];
    std::memcpy(data, bytes.data(), bytes.size());
    options->data = data;
    options->size = static_cast<uint32_t>(bytes.size());
}

ZmImportOpenOptions* NewOptionsRecord(const SettingsDocument& document) {
    auto* options = new ZmImportOpenOptions{0, nullptr};
    StoreOptions(options, document);
    return options;
}

void FreeOptionsRecord(ZmImportOpenOptions* options) {
    if (options == nullptr) return;
    delete[] options->data;
    delete options;
}

}  // namespace zm
