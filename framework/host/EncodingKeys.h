// The encoding keys that the text formats know, for checking what a user typed.
#pragma once

#include <string>

namespace zmhost {

// True for a key of the text formats' encoding table ("" is the local code page).
bool IsKnownEncoding(const std::string& key);
// The known keys, comma-separated, for messages.
std::string KnownEncodings();

}  // namespace zmhost
