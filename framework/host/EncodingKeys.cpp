// The encoding keys that the text formats know, for checking what a user typed.
#include "framework/host/EncodingKeys.h"

#include "formats/text/TextFileOptions.h"

namespace zmhost {

bool IsKnownEncoding(const std::string& key) {
    const char** keys = TextFileOptions::GetAllEncodings();
    for (size_t i = 0; i < TextFileOptions::GetEncodingsCount(); ++i) {
        if (key == keys[i])
            return true;
    }
    return false;
}

std::string KnownEncodings() {
    std::string list;
    const char** keys = TextFileOptions::GetAllEncodings();
    for (size_t i = 0; i < TextFileOptions::GetEncodingsCount(); ++i) {
        if (keys[i][0] == '\0')
            continue;
        list += (list.empty() ? "known: " : ", ") + std::string(keys[i]);
    }
    return list;
}

}  // namespace zmhost
