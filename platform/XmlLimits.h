// Limits every XML parser of the library applies to documents from outside, and the
// checks on a document's first bytes that need no parser.
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/ZmExport.h"

namespace zm {

// The most entity expansions a document may cause. Real documents of the formats read
// here declare no entities of their own; a handful of references is plenty.
constexpr unsigned kXmlEntityExpansionLimit = 1000;

// The deepest nesting of elements a document may have. The documents read here nest a
// few levels; a parser's memory grows with every open element.
constexpr unsigned kXmlMaxDepth = 256;

// True when the text declares a document type before its root element. Documents that
// have no business carrying one (settings, workbook parts) are refused on sight, which
// also refuses every internal entity they could declare.
ZMIMPORT_API bool HasDocumentTypeDeclaration(std::string_view xml);

// False when the first bytes of a file show that it is no XML document in any encoding:
// after a byte order mark and blanks (NUL bytes count as blanks, so that UTF-16 and
// UTF-32 without a mark pass), an XML document begins with '<'. Bytes that are all
// blank leave the question open (true).
ZMIMPORT_API bool MayBeXml(std::string_view head);

}  // namespace zm
