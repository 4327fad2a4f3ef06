// Packages built part by part for the workbook tests.
#pragma once

#include <zipios++/zipoutputstream.h>

#include <map>
#include <string>

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

}  // namespace zmtest
