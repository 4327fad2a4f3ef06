// The FDC message definitions that the FDC XML reader validates against, carried in the
// library so that no document type is ever fetched from a file or the network.
#pragma once

#include <string_view>

namespace zm::fdc {

// The definition served for a system id: "FDCRequest.dtd", "FDC.dtd" or "base.dtd",
// compared exactly. Empty for any other id.
std::string_view DocumentTypeDefinition(std::u16string_view systemId);

}  // namespace zm::fdc
