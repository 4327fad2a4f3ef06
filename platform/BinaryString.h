// Length-prefixed strings: a 4-byte little-endian byte count, then the bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zm {

void WriteBinaryString(std::string& out, const std::string& value);
// Reads one framed string from the start of `data`; false when the frame does not fit.
bool ReadBinaryString(const uint8_t* data, size_t size, std::string& value);

}  // namespace zm
