// Streaming XML over xerces-c's SAX2 reader, inside the XML module.
#pragma once

#include <istream>
#include <string>

#include "platform/XmlReader.h"

namespace zm {

bool ParseXmlWithXerces(std::istream& in, XmlHandler& handler, std::string& error);

}  // namespace zm
