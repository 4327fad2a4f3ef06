// Pieces shared by the source files of the FDC XML reader.
#pragma once

#include <cctype>
#include <string>

#include "platform/Exception.h"

namespace zm::fdc {

// A fault of a RAWDATA text; any other zm::Exception of the reader is a fault of the XML
// document itself (parse, validation, elements and attributes).
class RawDataError : public Exception {
  public:
    using Exception::Exception;
};

// The character data of one `RawData` element, taken as the parser reads it so that the
// document tree never holds a second copy.
struct RawText {
    std::string text;    // UTF-8
    bool found = false;  // the element held character data at all
};

// RAWDATA sections are found by name without regard to case.
inline std::string LowerAscii(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

}  // namespace zm::fdc
