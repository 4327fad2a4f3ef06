// Fuzz target: an options document and a file together. The input is a 2-byte
// little-endian length n, then n bytes of settings text (framed as an options record),
// then the file. The text goes to the settings parser on its own and, framed, to every
// format together with the file, as a host that kept a damaged options file would.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "framework/OptionsRecord.h"
#include "platform/BinaryString.h"
#include "platform/Settings.h"
#include "tests/support/ExerciseFormat.h"

namespace fs = std::filesystem;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const fs::path file =
        fs::temp_directory_path() / ("zmimport-fuzz-options-" + std::to_string(::getpid()));
    if (size < 2)
        return 0;
    const size_t n = std::min<size_t>(data[0] | (data[1] << 8), size - 2);
    const std::string xml(reinterpret_cast<const char*>(data + 2), n);
    try {
        // Whatever it says, a document either parses or is refused with an exception;
        // a parsed one survives writing and reading back.
        const auto document = zm::SettingsDocument::Parse(xml);
        zm::SettingsDocument::Parse(document->ToXml());
    } catch (const std::exception&) {
    }

    if (std::FILE* out = std::fopen(file.c_str(), "wb")) {
        std::fwrite(data + 2 + n, 1, size - 2 - n, out);
        std::fclose(out);
    }
    std::string framed;
    zm::WriteBinaryString(framed, xml);
    for (int format = 1; format <= ZmImportSizeFileFormatsSupported(); ++format) {
        // Every format gets its own copy: a reader may replace the record's bytes.
        std::vector<unsigned char> bytes(framed.begin(), framed.end());
        ZmImportOpenOptions options{static_cast<uint32_t>(bytes.size()), bytes.data()};
        const std::string broken = zmtest::ExerciseFormat(format, file.c_str(), &options);
        if (options.data != bytes.data())
            delete[] options.data;
        if (!broken.empty()) {
            std::fprintf(stderr, "format \"%s\" with options: %s\n",
                         ZmImportGetFileFormatInfo(format)->name, broken.c_str());
            std::abort();
        }
    }
    return 0;
}
