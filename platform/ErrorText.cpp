// The error-text copy rule shared by every reader.
#include "platform/ErrorText.h"

#include <cstring>

namespace zm {

void CopyErrorText(const std::string& text, char* buffer, unsigned int bufferSize) {
    if (buffer == nullptr || bufferSize == 0)
        return;
    const size_t needed = text.size() + 1;
    const size_t count = needed < bufferSize ? needed : bufferSize;
    std::memcpy(buffer, text.c_str(), count);
    buffer[count - 1] = '\0';
}

}  // namespace zm
