// A quick reading of a worksheet part's cell data. Worksheets of millions of cells spend
// most of their time in the general XML parser; their cell data is almost always plain
// ASCII markup of a few element kinds, which is scanned here directly. Everything around
// the cell data still goes through the XML parser, and anything the scan does not know
// (comments, processing instructions, character references, line ends that XML would
// normalise, bytes beyond ASCII, very long tags) makes it give up, so that the whole
// part is parsed the ordinary way instead.
#pragma once

#include <istream>

namespace zm {
class XmlHandler;
}

namespace zm::xlsx {

// Reads the part from `in`, handing the handler the start tags, end tags and texts of
// the cell data (the contents of <sheetData>) as the XML parser would. True when the
// whole document was read and is well-formed; false when the scan gave up, the document
// is not well-formed or the stream failed: the handler may then have had some events,
// and the caller parses the part again from its start with the XML parser.
bool ScanSheetData(std::istream& in, XmlHandler& handler);

}  // namespace zm::xlsx
