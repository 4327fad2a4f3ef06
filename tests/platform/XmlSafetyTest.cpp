// The limits of the library's XML parsers: nesting depth for the streaming reader and
// the DOM parser, document types refused by the streaming reader, and entities that a
// document declares with values of its own refused by the DOM parser, while external
// declarations are left to the entity resolver.
#include "platform/XmlSafety.h"

#include <gtest/gtest.h>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include <sstream>
#include <string>

#include "platform/Exception.h"
#include "platform/XmlLimits.h"
#include "platform/XmlReader.h"

namespace {

std::string Nested(unsigned depth, const std::string& inner = "x") {
    std::string open, close;
    for (unsigned i = 0; i < depth; ++i) {
        open += "<e>";
        close += "</e>";
    }
    return open + inner + close;
}

struct Counter : zm::XmlHandler {
    int elements = 0;
    void Start(std::string_view, const std::vector<zm::XmlAttribute>&) override { ++elements; }
    void End(std::string_view) override {}
    void Text(std::string_view) override {}
};

bool Stream(const std::string& xml, std::string& error) {
    std::istringstream in(xml);
    Counter counter;
    return zm::ParseXml(in, counter, error);
}

TEST(XmlSafety, TheStreamingReaderCapsNestingAndRefusesDocumentTypes) {
    std::string error;
    EXPECT_TRUE(Stream(Nested(zm::kXmlMaxDepth), error)) << error;
    EXPECT_FALSE(Stream(Nested(zm::kXmlMaxDepth + 1), error));
    EXPECT_NE(error.find("nest deeper than 256"), std::string::npos) << error;
    // Siblings do not add up: depth is what is open at once.
    std::string wide = "<r>";
    for (int i = 0; i < 1000; ++i)
        wide += Nested(200);
    EXPECT_TRUE(Stream(wide + "</r>", error)) << error;
    for (const char* doctype :
         {"<!DOCTYPE r>", "<!DOCTYPE r [<!ENTITY e \"xxxxxxxxxx\">]>",
          "<?xml version=\"1.0\"?><!-- c --><!DOCTYPE r SYSTEM \"file:///etc/hostname\">"}) {
        error.clear();
        EXPECT_FALSE(Stream(std::string(doctype) + "<r>&amp;</r>", error)) << doctype;
        EXPECT_NE(error.find("document type"), std::string::npos) << error;
    }
}

// Parses `xml` with the DOM parser; the zm::Exception's text, or "" when it parsed.
std::string Dom(const std::string& xml) {
    XERCES_CPP_NAMESPACE::XMLPlatformUtils::Initialize();
    zm::SafeDomParser parser;
    parser.setValidationScheme(XERCES_CPP_NAMESPACE::XercesDOMParser::Val_Never);
    XERCES_CPP_NAMESPACE::MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()),
                                                   xml.size(), "test");
    try {
        parser.parse(source);
    } catch (const zm::Exception& e) {
        return e.what();
    }
    return parser.getErrorCount() == 0 && parser.getDocument() != nullptr ? "" : "error";
}

TEST(XmlSafety, TheDomParserCapsNestingAndRefusesItsOwnEntities) {
    EXPECT_EQ(Dom(Nested(zm::kXmlMaxDepth)), "");
    EXPECT_EQ(Dom(Nested(zm::kXmlMaxDepth + 1)),
              "The document nests its elements deeper than 256 levels.");
    // Empty elements end where they start.
    std::string empties = "<r>";
    for (int i = 0; i < 1000; ++i)
        empties += "<e/>";
    EXPECT_EQ(Dom(empties + "</r>"), "");
    // One half-megabyte entity, used a thousand times, would take half a gigabyte.
    const std::string big = "<!DOCTYPE e [<!ENTITY big \"" + std::string(500000, 'x') + "\">]>";
    std::string uses;
    for (int i = 0; i < 1000; ++i)
        uses += "&big;";
    EXPECT_EQ(Dom(big + "<e>" + uses + "</e>"),
              "The entity 'big' declared in the document is not read.");
    EXPECT_EQ(Dom("<!DOCTYPE e [<!ENTITY % p \"<!ELEMENT e ANY>\">]><e/>"),
              "The entity 'p' declared in the document is not read.");
    // A document type that declares no entity is fine.
    EXPECT_EQ(Dom("<!DOCTYPE e [<!ELEMENT e ANY>]><e>a</e>"), "");
}

}  // namespace

namespace {

// Only files that cannot be XML in any encoding are told apart without a parser.
TEST(XmlSafety, OnlyFilesThatCannotBeXmlAreToldApartWithoutTheParser) {
    using namespace std::string_literals;
    for (const std::string& head :
         {"<?xml version=\"1.0\"?><a/>"s, " \r\n\t<a/>"s, "\xEF\xBB\xBF<a/>"s, "\xFF\xFE<\0a\0"s,
          "\xFE\xFF\0<\0a"s, "\0<\0?\0x"s, "<\0?\0x\0"s, "\0\0\0<"s, "\x4C\x6F\xA7\x94"s, ""s,
          "   "s})
        EXPECT_TRUE(zm::MayBeXml(head)) << head;
    for (const std::string& head :
         {"a,b\n1,2\n"s, "##TITLE=x\n"s, "\x89HDF\r\n"s, " x<a/>"s, "\xEF\xBB<a/>"s, "CDF\x01"s})
        EXPECT_FALSE(zm::MayBeXml(head)) << head;
}

}  // namespace
