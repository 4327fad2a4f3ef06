// Streaming XML over xerces-c's SAX2 reader, inside the XML module.
#include "platform/XmlSax.h"

#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/util/XMLUniDefs.hpp>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>

#include "platform/XmlSafety.h"

XERCES_CPP_NAMESPACE_USE

namespace zm {

namespace {

void AppendUtf8(std::string& out, const XMLCh* text, XMLSize_t length) {
    XMLSize_t i = 0;
    // Markup and numbers are ASCII: copied straight until the first other character.
    {
        const size_t start = out.size();
        out.resize(start + length);
        char* to = out.data() + start;
        for (; i < length && text[i] < 0x80; ++i)
            to[i] = static_cast<char>(text[i]);
        out.resize(start + i);
    }
    for (; i < length; ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < length && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;
        }
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | c >> 6);
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | c >> 12);
            out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | c >> 18);
            out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
            out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
}

// A qualified name without its prefix, as UTF-8 into `out`.
void LocalName(std::string& out, const XMLCh* qname) {
    out.clear();
    if (qname == nullptr)
        return;
    const XMLSize_t length = XMLString::stringLen(qname);
    XMLSize_t start = 0;
    for (XMLSize_t i = 0; i < length; ++i) {
        if (qname[i] == chColon)
            start = i + 1;
    }
    AppendUtf8(out, qname + start, length - start);
}

bool IsNamespaceDeclaration(const XMLCh* qname) {
    static const XMLCh xmlns[] = {chLatin_x, chLatin_m, chLatin_l, chLatin_n, chLatin_s, chNull};
    return XMLString::startsWith(qname, xmlns) && (qname[5] == chNull || qname[5] == chColon);
}

std::string Utf8(const XMLCh* text) {
    std::string out;
    if (text != nullptr)
        AppendUtf8(out, text, XMLString::stringLen(text));
    return out;
}

// The document's first bytes, already read, then the rest of the stream.
class StdBinInputStream : public BinInputStream {
  public:
    StdBinInputStream(const std::string& head, std::istream& in) : head(head), in(in) {}
    XMLFilePos curPos() const override { return position; }
    XMLSize_t readBytes(XMLByte* const toFill, const XMLSize_t maxToRead) override {
        if (position < head.size()) {
            const XMLSize_t got = std::min<XMLSize_t>(maxToRead, head.size() - position);
            std::memcpy(toFill, head.data() + position, got);
            position += got;
            return got;
        }
        in.read(reinterpret_cast<char*>(toFill), static_cast<std::streamsize>(maxToRead));
        const auto got = static_cast<XMLSize_t>(in.gcount());
        position += got;
        return got;
    }
    const XMLCh* getContentType() const override { return nullptr; }

  private:
    const std::string& head;
    std::istream& in;
    XMLFilePos position = 0;
};

class StdInputSource : public InputSource {
  public:
    StdInputSource(const std::string& head, std::istream& in) : head(head), in(in) {}
    BinInputStream* makeStream() const override { return new StdBinInputStream(head, in); }

  private:
    const std::string& head;
    std::istream& in;
};

// A limit of the library broken by the document: ends the parse with this reason.
struct LimitBroken {
    std::string reason;
};

// Hands the parser's events on in UTF-8 with local names. Namespaces are not processed:
// the parts read here tell their elements apart by local name alone, and the scanner is
// much faster without resolving every prefix.
class Forwarder : public DefaultHandler {
  public:
    explicit Forwarder(XmlHandler& handler) : handler(handler) {}
    void startElement(const XMLCh* const, const XMLCh* const, const XMLCh* const qname,
                      const Attributes& attrs) override {
        if (++depth > kXmlMaxDepth)
            throw LimitBroken{"elements nest deeper than " + std::to_string(kXmlMaxDepth) +
                              " levels"};
        const XMLSize_t count = attrs.getLength();
        size_t used = 0;
        for (XMLSize_t i = 0; i < count; ++i) {
            const XMLCh* attributeName = attrs.getQName(i);
            if (IsNamespaceDeclaration(attributeName))
                continue;
            if (used == attributes.size())
                attributes.emplace_back();
            XmlAttribute& a = attributes[used++];
            LocalName(a.name, attributeName);
            a.value.clear();
            const XMLCh* value = attrs.getValue(i);
            AppendUtf8(a.value, value, XMLString::stringLen(value));
        }
        attributes.resize(used);
        LocalName(name, qname);
        handler.Start(name, attributes);
    }
    void endElement(const XMLCh* const, const XMLCh* const, const XMLCh* const qname) override {
        --depth;
        LocalName(name, qname);
        handler.End(name);
    }
    void characters(const XMLCh* const chars, const XMLSize_t length) override {
        text.clear();
        AppendUtf8(text, chars, length);
        handler.Text(text);
    }
    // The parts read here never need a document type, and without one no document can
    // declare an entity: it is refused before its internal subset is read.
    void startDTD(const XMLCh* const, const XMLCh* const, const XMLCh* const) override {
        throw LimitBroken{"a document type is not allowed here"};
    }
    void fatalError(const SAXParseException& e) override { throw e; }
    void error(const SAXParseException& e) override { throw e; }

  private:
    XmlHandler& handler;
    std::vector<XmlAttribute> attributes;
    std::string name;
    std::string text;
    unsigned depth = 0;
};

// How much of a document is looked at before parsing.
constexpr size_t kHeadBytes = 64 * 1024;

void EnsureXerces() {
    static std::once_flag once;
    std::call_once(once, [] { XMLPlatformUtils::Initialize(); });
}

}  // namespace

bool ParseXmlWithXerces(std::istream& in, XmlHandler& handler, std::string& error) {
    EnsureXerces();
    std::unique_ptr<SAX2XMLReader> reader(XMLReaderFactory::createXMLReader());
    reader->setFeature(XMLUni::fgSAX2CoreNameSpaces, false);
    reader->setFeature(XMLUni::fgSAX2CoreValidation, false);
    // No schema processing: without it the scanner skips a grammar lookup per element.
    reader->setFeature(XMLUni::fgXercesSchema, false);
    HardenParser(*reader);
    Forwarder forwarder(handler);
    reader->setContentHandler(&forwarder);
    reader->setErrorHandler(&forwarder);
    reader->setLexicalHandler(&forwarder);
    // The prolog is looked at before parsing: a document type, even one that declares
    // nothing, is refused. One whose prolog runs past the first block still meets
    // startDTD when it has a subset, the only kind that can declare anything.
    std::string head(kHeadBytes, '\0');
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(in.gcount()));
    if (HasDocumentTypeDeclaration(head)) {
        error = "a document type is not allowed here";
        return false;
    }
    StdInputSource source(head, in);
    try {
        reader->parse(source);
        // A stream that failed (a damaged or oversized zip entry) is no document, even
        // when what came before its failure was well-formed.
        if (in.bad()) {
            error = "the document could not be read to its end";
            return false;
        }
    } catch (const LimitBroken& e) {
        error = e.reason;
        return false;
    } catch (const SAXParseException& e) {
        error = Utf8(e.getMessage());
        return false;
    } catch (const XMLException& e) {
        error = Utf8(e.getMessage());
        return false;
    }
    return true;
}

}  // namespace zm
