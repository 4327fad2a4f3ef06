// What a reader may be handed: a regular file. A FIFO blocks whoever reads it until a
// writer comes, a device such as /dev/zero never ends, and a directory has no bytes;
// none of them is a file a user means to import, so each is refused before any reader
// or library sees it.
#pragma once

#include <cstdint>
#include <string>

#include "platform/ZmExport.h"

namespace zm {

enum class InputKind { kRegular, kMissing, kOther };

struct InputCheck {
    InputKind kind = InputKind::kMissing;
    uint64_t size = 0;
    // For kOther: a sentence naming the file and what it is instead.
    std::string refusal;
};

// Opens `path` without blocking (a FIFO without a writer would block an ordinary
// open), then asks the open file what it is. A file that cannot be opened is kMissing:
// the caller's own text for that case applies.
ZMIMPORT_API InputCheck CheckInputFile(const std::string& path);

// The first refusal among several names joined as the readers receive them; empty
// when every name is a regular file or cannot be opened at all.
ZMIMPORT_API std::string RefusalOfInputFiles(const std::string& joinedNames);

// Containers handed whole to a third-party library (compound files, zip packages):
// refused when not a regular file or larger than `limit` bytes, with the reason in
// `error`.
ZMIMPORT_API bool CheckContainerFile(const std::string& path, uint64_t limit, std::string* error);

// The largest compound file or zip package handed to its library: 4 GiB, beyond what
// either format can address without extensions these files never use.
constexpr uint64_t kMaxContainerBytes = uint64_t{4} << 30;

// The error number (errno) of a failing first read of the file; 0 when it can be read or
// cannot be opened. Tells a medium that fails from content that is merely not a format's.
ZMIMPORT_API int FirstReadError(const std::string& path);

// The system's text for an error number (strerror), never empty.
ZMIMPORT_API std::string SystemErrorText(int errorNumber);

}  // namespace zm
