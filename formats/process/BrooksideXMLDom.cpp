// Parsing and validating FDC request documents with the xerces-c DOM, and taking the
// wafers, intervals and raw data texts out of the tree.
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/LocalFileInputSource.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/EntityResolver.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "formats/process/BrooksideXML.h"
#include "formats/process/BrooksideXMLDtd.h"
#include "formats/process/BrooksideXMLInternal.h"
#include "platform/FileNames.h"
#include "platform/ReadMeter.h"
#include "platform/XmlSafety.h"

using namespace xercesc;

namespace {

using zm::fdc::LowerAscii;
using zm::fdc::RawDataError;

// xerces-c is initialised once per process and never terminated: other parts of the
// library keep documents until the process ends.
void EnsureXerces() {
    static std::once_flag once;
    std::call_once(once, [] { XMLPlatformUtils::Initialize(); });
}

// Appends UTF-16 text as UTF-8; an unpaired surrogate becomes U+FFFD.
void AppendUtf8(const XMLCh* s, size_t n, std::string& out) {
    for (size_t i = 0; i < n; ++i) {
        char32_t c = s[i];
        if (c >= 0xD800 && c <= 0xDFFF) {
            if (c <= 0xDBFF && i + 1 < n && s[i + 1] >= 0xDC00 && s[i + 1] <= 0xDFFF) {
                c = 0x10000 + ((c - 0xD800) << 10) + (s[i + 1] - 0xDC00);
                ++i;
            } else {
                c = 0xFFFD;
            }
        }
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
}

std::string Utf8(const XMLCh* s) {
    std::string out;
    if (s != nullptr)
        AppendUtf8(s, XMLString::stringLen(s), out);
    return out;
}

std::string Utf8(std::u16string_view s) {
    std::string out;
    AppendUtf8(s.data(), s.size(), out);
    return out;
}

// Serves the library's own FDC definitions and refuses every other external entity, so
// that a document can make the parser read neither local files nor the network. A
// refused entity gets an empty text instead, and the parse is failed afterwards: an
// exception thrown through the parser's prolog scanning would leak its state.
class MyEntityResolver : public EntityResolver {
  public:
    InputSource* resolveEntity(const XMLCh* const, const XMLCh* const systemId) override {
        const std::u16string_view id = systemId != nullptr ? systemId : u"";
        std::string_view dtd = zm::fdc::DocumentTypeDefinition(id);
        if (dtd.empty()) {
            if (refused.empty())
                refused = Utf8(id);
        } else if (id == u"FDCRequest.dtd") {
            requestServed = true;
        }
        return new MemBufInputSource(reinterpret_cast<const XMLByte*>(dtd.data()), dtd.size(),
                                     systemId != nullptr ? systemId : u"");
    }

    std::string refused;         // the system id of the first refused entity
    bool requestServed = false;  // the document's own type is the FDC request
};

// Keeps the parser's first error or fatal error. The parser stops by itself at the first
// of either, since validation errors are made fatal.
class MyErrorHandler : public ErrorHandler {
  public:
    void warning(const SAXParseException&) override {}
    void error(const SAXParseException& e) override { Keep(e); }
    void fatalError(const SAXParseException& e) override { Keep(e); }
    void resetErrors() override {}

    std::string message;

  private:
    void Keep(const SAXParseException& e) {
        if (message.empty()) {
            message = Utf8(e.getMessage()) + " (line " + std::to_string(e.getLineNumber()) +
                      ", column " + std::to_string(e.getColumnNumber()) + ")";
        }
    }
};

// Typed attribute values, converted strictly: the whole text must be the value.
int ToInteger(const char* name, const std::string& text) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto r = std::from_chars(text.data(), end, value);
    if (text.empty() || r.ec != std::errc() || r.ptr != end)
        throw zm::Exception("Expected an integer value for '{1}', found '{2}'", {name, text});
    return value;
}

double ToFloatingPoint(const char* name, const std::string& text) {
    // Writers put a plus sign before positive numbers at times; from_chars takes none.
    const size_t start = !text.empty() && text[0] == '+' ? 1 : 0;
    double value = 0;
    const char* end = text.data() + text.size();
    const auto r = std::from_chars(text.data() + start, end, value);
    if (text.size() == start || r.ec != std::errc() || r.ptr != end)
        throw zm::Exception("Expected a floating point value for '{1}', found '{2}'", {name, text});
    return value;
}

bool ToBoolean(const char* name, const std::string& text) {
    if (text == "true")
        return true;
    if (text == "false")
        return false;
    throw zm::Exception("Expected true or false for '{1}', found '{2}'", {name, text});
}

bool StartsWithNoCase(const std::string& text, const char* prefix) {
    for (size_t i = 0; prefix[i] != '\0'; ++i) {
        if (i >= text.size() || std::tolower(static_cast<unsigned char>(text[i])) != prefix[i])
            return false;
    }
    return true;
}

// A DOM parser that keeps the character data of `RawData` elements out of the tree: the
// raw text, nearly all of a file, goes once into UTF-8 as it is scanned, instead of into
// a UTF-16 text node first and a UTF-8 copy beside it. Everything else builds the tree as
// usual. With `keep` false (detection) the raw text is only noted, not kept.
class RawDataParser : public zm::SafeDomParser {
  public:
    explicit RawDataParser(bool keep) : keep(keep) {}

    std::vector<zm::fdc::RawText> sections;  // per RawData element, in document order

    void startElement(const XMLElementDecl& decl, const unsigned int urlId,
                      const XMLCh* const prefix, const RefVectorOf<XMLAttr>& attributes,
                      const XMLSize_t count, const bool isEmpty, const bool isRoot) override {
        // An FDC request nests five levels; content models are checked only at end tags,
        // so a document of unclosed elements would otherwise build a tree of millions
        // of nodes before the parser finds the fault.
        if (depth >= kMaxDepth)
            throw zm::Exception("The document nests elements deeper than {1} levels.",
                                {std::to_string(kMaxDepth)});
        zm::SafeDomParser::startElement(decl, urlId, prefix, attributes, count, isEmpty, isRoot);
        ++depth;
        if (rawDepth == 0 && XMLString::equals(decl.getFullName(), u"RawData")) {
            rawDepth = depth;
            sections.emplace_back();
        }
        // An empty element gets its end event too, right after this one.
    }

    void endElement(const XMLElementDecl& decl, const unsigned int urlId, const bool isRoot,
                    const XMLCh* const prefix) override {
        zm::SafeDomParser::endElement(decl, urlId, isRoot, prefix);
        LeaveElement();
    }

    void docCharacters(const XMLCh* const chars, const XMLSize_t length,
                       const bool cdataSection) override {
        if (rawDepth == 0) {
            XercesDOMParser::docCharacters(chars, length, cdataSection);
            return;
        }
        // Text, CDATA sections and expanded references together are the raw text.
        zm::fdc::RawText& section = sections.back();
        section.found = true;
        if (keep)
            AppendUtf8(chars, length, section.text);
    }

  private:
    static constexpr size_t kMaxDepth = 64;

    void LeaveElement() {
        if (rawDepth == depth)
            rawDepth = 0;
        --depth;
    }

    bool keep;
    size_t depth = 0;
    size_t rawDepth = 0;  // depth of the open RawData element; 0 outside one
};

}  // namespace

void BrooksideXML::Parse(XercesDOMParser& parser, InputSource& stream) {
    MyEntityResolver resolver;
    MyErrorHandler handler;
    zm::HardenParser(parser);
    // Validation loads the external document type whatever HardenParser says; the
    // resolver decides what that may be.
    parser.setValidationScheme(XercesDOMParser::Val_Always);
    parser.setValidationConstraintFatal(true);
    parser.setExitOnFirstFatalError(true);
    parser.setDoNamespaces(false);
    parser.setDoSchema(false);
    parser.setEntityResolver(&resolver);
    parser.setErrorHandler(&handler);
    std::string failure;
    try {
        parser.parse(stream);
    } catch (const SAXException& e) {
        failure = Utf8(e.getMessage());
    } catch (const XMLException& e) {
        failure = Utf8(e.getMessage());
    } catch (const DOMException& e) {
        failure = Utf8(e.getMessage());
    } catch (const OutOfMemoryException&) {
        failure = "out of memory";
    } catch (const zm::Exception& e) {
        failure = e.what();  // a limit of the reader's own
    }
    parser.setEntityResolver(nullptr);
    parser.setErrorHandler(nullptr);
    if (!resolver.refused.empty())
        throw zm::Exception("The external entity '{1}' is not read.", {resolver.refused});
    if (!handler.message.empty())
        throw zm::Exception(handler.message);
    if (failure.empty() && parser.getErrorCount() > 0)
        failure = "The document is not valid.";
    if (!failure.empty())
        throw zm::Exception(failure);
    if (!resolver.requestServed)
        throw zm::Exception("The document type is not 'FDCRequest.dtd'.");
}

bool BrooksideXML::IsMyKindOfFile(const char* file) {
    if (file == nullptr)
        return false;
    try {
        EnsureXerces();
        RawDataParser parser(false);
        TranscodeFromStr path(reinterpret_cast<const XMLByte*>(file), std::strlen(file), "UTF-8");
        LocalFileInputSource source(path.str());
        BrooksideXML probe;
        probe.Parse(parser, source);
        return true;
    } catch (...) {
        return false;
    }
}

void BrooksideXML::Open(const char* files) {
    EnsureXerces();
    const std::vector<std::string> names = zm::SplitFileNames(files != nullptr ? files : "");
    if (names.empty())
        throw zm::Exception("No file name was given.");
    for (size_t i = 0; i < names.size(); ++i) {
        failedFile = names[i];  // the one to name should it fail
        // The parser owns the tree; it goes at the end of each turn. The raw texts never
        // enter it: they are taken in UTF-8 while the file is scanned.
        RawDataParser parser(true);
        TranscodeFromStr path(reinterpret_cast<const XMLByte*>(names[i].data()), names[i].size(),
                              "UTF-8");
        LocalFileInputSource source(path.str());
        Parse(parser, source);
        const DOMDocument* document = parser.getDocument();
        if (document == nullptr)
            throw zm::Exception("XML node '{1}' not found", {"FDCRequest"});
        ReadDOM(document, parser.sections, names[i], static_cast<int>(i));
        zm::ReadMeter::Finished(names[i]);
    }
    failedFile.clear();
}

const DOMElement* BrooksideXML::FindNode(const DOMNode* parent, const char16_t* name, bool required,
                                         bool stepping) {
    const DOMNode* n = stepping ? parent->getNextSibling() : parent->getFirstChild();
    for (; n != nullptr; n = n->getNextSibling()) {
        if (n->getNodeType() == DOMNode::ELEMENT_NODE && XMLString::equals(n->getNodeName(), name))
            return static_cast<const DOMElement*>(n);
    }
    if (required)
        throw zm::Exception("XML node '{1}' not found", {Utf8(name)});
    return nullptr;
}

std::string BrooksideXML::FindAttribute(const DOMElement* node, const char16_t* name,
                                        bool required) {
    const DOMAttr* attribute = node->getAttributeNode(name);
    if (attribute == nullptr) {
        if (required)
            throw zm::Exception("The attribute '{1}' could not be found.", {Utf8(name)});
        return std::string();
    }
    return Utf8(attribute->getValue());
}

void BrooksideXML::ReadDOM(const DOMNode* document, std::vector<zm::fdc::RawText>& rawTexts,
                           const std::string& file, int fileIndex) {
    // Of several files, the first one's message-level values are kept.
    const bool first = fileIndex == 0;
    const DOMElement* root = FindNode(document, u"FDCRequest", true);
    std::string value = FindAttribute(root, u"MessageSequenceIdentifier", true);
    if (first)
        messageSequenceIdentifier_ = std::move(value);
    value = FindAttribute(FindNode(root, u"APCSystemName", true), u"ID", true);
    if (first)
        apcSystemName_ = std::move(value);

    const DOMElement* logistics = FindNode(root, u"Logistics", true);
    for (const char16_t* name :
         {u"FDCModel", u"RecipeID", u"ControlJobID", u"EquipmentID", u"ToolType", u"ResourceID"})
        logistics_.emplace(Utf8(name), FindAttribute(logistics, name, true));
    if (logistics->getAttributeNode(u"chamberRecipe") != nullptr)
        logistics_.emplace("chamberRecipe", FindAttribute(logistics, u"chamberRecipe", false));

    const DOMElement* trend = FindNode(root, u"Trend", true);
    value = FindAttribute(trend, u"Name", true);
    if (first)
        trendName_ = std::move(value);
    for (const DOMElement* dataset = FindNode(trend, u"dataset", false); dataset != nullptr;
         dataset = FindNode(dataset, u"dataset", false, true))
        ReadWafer(dataset, fileIndex);

    value = FindAttribute(FindNode(root, u"Response", true), u"TopicName", true);
    if (first)
        topicName_ = std::move(value);

    // The parser took the RawData texts in document order; the tree's RawData elements
    // under the root are matched to them by their position among all RawData elements.
    const DOMNodeList* all =
        static_cast<const DOMDocument*>(document)->getElementsByTagName(u"RawData");
    if (all == nullptr || all->getLength() != rawTexts.size())
        throw zm::Exception("The RawData elements could not be matched to their texts.");
    // Both go in document order: one walk matches them.
    size_t index = 0;
    for (const DOMElement* raw = FindNode(root, u"RawData", false); raw != nullptr;
         raw = FindNode(raw, u"RawData", false, true), ++index) {
        const std::string name = FindAttribute(raw, u"Name", true);
        while (index < rawTexts.size() && all->item(index) != raw)
            ++index;
        if (index >= rawTexts.size() || !rawTexts[index].found)
            throw RawDataError("Could not find RawData for file '{1}'", {file});
        std::string text = std::move(rawTexts[index].text);
        if (text.find("NUM_DATA_ROWS") == std::string::npos)
            throw RawDataError(
                "The RawData section '{1}' does not contain the string "
                "'NUM_DATA_ROWS'",
                {name});
        // The first section of a name wins; names are matched without case.
        rawData_.emplace(std::pair(fileIndex, LowerAscii(name)), std::move(text));
    }
}

void BrooksideXML::ReadWafer(const DOMElement* dataset, int fileIndex) {
    static const char16_t* const kNames[kWaferAttributeCount] = {
        u"WaferID",         u"rawDataName",   u"LotID",
        u"SlotID",          u"RouteID",       u"ProductID",
        u"OperationNumber", u"OperationName", u"OPERATIONPASSCOUNT",
        u"PriorityClass",   u"LineCode",      u"JobClass",
        u"QualityCode"};
    Wafer wafer;
    wafer.file = fileIndex;
    for (int i = 0; i < kWaferAttributeCount; ++i)
        wafer.attributes[i] = FindAttribute(dataset, kNames[i], true);

    for (const DOMElement* interval = FindNode(dataset, u"Interval", false); interval != nullptr;
         interval = FindNode(interval, u"Interval", false, true)) {
        Phase phase;
        phase.name = FindAttribute(interval, u"Name", true);
        if (StartsWithNoCase(phase.name, "f_") || StartsWithNoCase(phase.name, "b_"))
            apstat_ = true;
        phase.number = ToInteger("Number", FindAttribute(interval, u"Number", true));
        phase.fromRow = ToInteger("FromRow", FindAttribute(interval, u"FromRow", true));
        phase.toRow = ToInteger("ToRow", FindAttribute(interval, u"ToRow", true));
        phase.duration = ToFloatingPoint("Duration", FindAttribute(interval, u"Duration", true));
        phase.startTime = FindAttribute(interval, u"StartTime", true);

        for (const DOMElement* s = FindNode(interval, u"sumdata", false); s != nullptr;
             s = FindNode(s, u"sumdata", false, true)) {
            phase.sumData.push_back({FindAttribute(s, u"Name", true),
                                     FindAttribute(s, u"StatName", false),
                                     FindAttribute(s, u"Value", true)});
        }
        for (const DOMElement* p = FindNode(interval, u"RecipeParameter", false); p != nullptr;
             p = FindNode(p, u"RecipeParameter", false, true)) {
            RecipeParameter parameter;
            parameter.name = FindAttribute(p, u"Name", true);
            parameter.value = ToFloatingPoint("Value", FindAttribute(p, u"Value", true));
            parameter.lowerLimit =
                ToFloatingPoint("ValueLowerLimit", FindAttribute(p, u"ValueLowerLimit", true));
            parameter.upperLimit =
                ToFloatingPoint("ValueUpperLimit", FindAttribute(p, u"ValueUpperLimit", true));
            parameter.useCurrentValue =
                ToBoolean("UseCurrentValueFlag", FindAttribute(p, u"UseCurrentValueFlag", true));
            phase.recipeParameters.push_back(std::move(parameter));
        }
        wafer.phases.push_back(std::move(phase));
    }
    wafers_.push_back(std::move(wafer));
}
