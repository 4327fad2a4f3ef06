// Framing of the strings stored in options records.
#include "platform/BinaryString.h"

#include "platform/ByteReader.h"

namespace zm {

void WriteBinaryString(std::string& out, const std::string& value) {
    const auto n = static_cast<uint32_t>(value.size());
    for (int shift = 0; shift < 32; shift += 8)
        out += static_cast<char>((n >> shift) & 0xFF);
    out += value;
}

bool ReadBinaryString(const uint8_t* data, size_t size, std::string& value) {
    ByteReader reader(data, size);
    uint32_t n = 0;
    if (!reader.ReadU32LE(n))
        return false;
    return reader.ReadString(n, value);
}

}  // namespace zm
