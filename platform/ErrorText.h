// Copies an error text into a caller's buffer: truncated to the buffer, always terminated.
#pragma once

#include <string>

#include "platform/ZmExport.h"

namespace zm {

// With n = length + 1, copies n bytes when n < bufferSize, else bufferSize bytes, and
// writes a zero into the last byte copied. A null buffer or size 0 copies nothing.
ZMIMPORT_API void CopyErrorText(const std::string& text, char* buffer, unsigned int bufferSize);

}  // namespace zm
