// Packages built part by part, and the outcome of a read, for the workbook tests.
#pragma once

#include <zipios++/zipoutputstream.h>

#include <map>
#include <string>

#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace zmtest {

using Parts = std::map<std::string, std::string>;

// Writes `parts` (name, bytes) as the zip package `path` and returns the path.
inline std::string WriteZip(const std::string& path, const Parts& parts) {
    zipios::ZipOutputStream out(path);
    for (const auto& [part, data] : parts) {
        out.putNextEntry(part);
        out.write(data.data(), static_cast<std::streamsize>(data.size()));
    }
    return path;
}

// The status of reading `path` with a `Reader`, and its text: "0 " when the read succeeds.
template <class Reader>
std::string StatusOf(const std::string& path) {
    Reader file;
    RecordingSink sink;
    const int code = ReadAll(file, path, sink);
    return std::to_string(code) + " " + Message(file);
}

}  // namespace zmtest
