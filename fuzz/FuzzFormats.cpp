// Fuzz target: one input goes to every registered format through the exported
// functions, as a host would drive them. Besides crashes it stops on broken promises:
// a failure without a status or text, an impossible size, a cell outside the table.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ExerciseFormat.h"

namespace fs = std::filesystem;

namespace {

// The input is written to one file that every format reaches under a name with one of
// its own extensions (through a link), since some formats go by the extension.
struct Workspace {
    fs::path dir = fs::temp_directory_path() / ("zmimport-fuzz-" + std::to_string(::getpid()));
    fs::path data = dir / "input";
    std::map<std::string, std::string> byExtension;

    Workspace() { fs::create_directories(dir); }
    ~Workspace() {
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
    // One of the format's extensions, picked by `pick` so each gets its turn; the
    // wildcard ".*" means no particular extension.
    const std::string& PathFor(const ZmImportFileFormatInfo* info, size_t pick) {
        std::string extension;
        if (info->extensionCount > 0 && info->extensions != nullptr) {
            const char* p = info->extensions;
            for (int i = static_cast<int>(pick % info->extensionCount); i > 0; --i)
                p += std::strlen(p) + 1;
            extension = std::strcmp(p, ".*") == 0 ? "" : p;
        }
        auto it = byExtension.find(extension);
        if (it != byExtension.end())
            return it->second;
        const fs::path link = dir / ("input" + extension);
        std::error_code ec;
        if (!extension.empty())
            fs::create_symlink(data, link, ec);
        return byExtension[extension] = (extension.empty() ? data : link).string();
    }
};

// Damage modes, chosen by a leading byte that no seed starts with; the four bytes after
// it (little-endian) steer the damage, the rest is the file:
//   0xF1  cut the file at selector % size
//   0xF2  flip bit selector / 8 % bits of one zip entry's stored data (entry selector %
//         entries), leaving its CRC-32 as it was
// The whole file and the damaged copy are both read by every format; the copy must be
// refused, warned about or read with the same cells: a changed sheet without a word is
// a silent wrong read, and stops the run.
constexpr uint8_t kCutMode = 0xF1, kZipBitMode = 0xF2;

uint32_t Le32(const uint8_t* p) {
    return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

// The copy damaged as `mode` says, or "" when the file offers nothing to damage.
std::string Damaged(uint8_t mode, uint32_t selector, const std::string& file) {
    if (mode == kCutMode)
        return file.empty() ? "" : file.substr(0, selector % file.size());
    // Local headers: signature, sizes at 18, name and extra lengths at 26 and 28.
    std::vector<std::pair<size_t, size_t>> entries;
    for (size_t at = file.find("PK\x03\x04"); at != std::string::npos && at + 30 <= file.size();
         at = file.find("PK\x03\x04", at + 4)) {
        const auto* p = reinterpret_cast<const uint8_t*>(file.data() + at);
        const size_t begin = at + 30 + (p[26] | (p[27] << 8)) + (p[28] | (p[29] << 8));
        const size_t size = Le32(p + 18);
        if (size > 0 && begin < file.size() && size <= file.size() - begin)
            entries.push_back({begin, size});
    }
    if (entries.empty())
        return "";
    const auto [begin, size] = entries[selector % entries.size()];
    std::string copy = file;
    const size_t bit = (selector / 8) % (size * 8);
    copy[begin + bit / 8] = static_cast<char>(copy[begin + bit / 8] ^ (1 << (bit % 8)));
    return copy;
}

void Write(const std::string& path, const uint8_t* data, size_t size) {
    if (std::FILE* out = std::fopen(path.c_str(), "wb")) {
        if (size > 0)
            std::fwrite(data, 1, size, out);
        std::fclose(out);
    }
}

[[noreturn]] void Broken(const ZmImportFileFormatInfo* info, const std::string& what) {
    std::fprintf(stderr, "format \"%s\": %s\n", info->name, what.c_str());
    std::abort();
}

// Reads the whole file and the damaged copy with every format that reads the whole.
void CheckDamage(Workspace& workspace, uint8_t mode, uint32_t selector, const std::string& file) {
    const std::string damaged = Damaged(mode, selector, file);
    if (damaged.empty() || damaged == file)
        return;
    for (int format = 1; format <= ZmImportSizeFileFormatsSupported(); ++format) {
        const ZmImportFileFormatInfo* info = ZmImportGetFileFormatInfo(format);
        if (zmtest::CarriesNoLength(info->name))
            continue;
        const std::string& path = workspace.PathFor(info, file.size());
        Write(workspace.data, reinterpret_cast<const uint8_t*>(file.data()), file.size());
        const zmtest::Snapshot whole = zmtest::ReadSnapshot(format, path.c_str());
        if (!whole.read || whole.cells.empty())
            continue;
        Write(workspace.data, reinterpret_cast<const uint8_t*>(damaged.data()), damaged.size());
        const std::string change =
            zmtest::SilentChange(whole, zmtest::ReadSnapshot(format, path.c_str()));
        if (!change.empty())
            Broken(info, std::string(mode == kCutMode ? "cut at " : "zip bit flipped, ") +
                             std::to_string(selector) + ": " + change);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Workspace workspace;
    if (size >= 5 && (data[0] == kCutMode || data[0] == kZipBitMode)) {
        CheckDamage(workspace, data[0], Le32(data + 1),
                    std::string(reinterpret_cast<const char*>(data + 5), size - 5));
        return 0;
    }
    Write(workspace.data, data, size);
    for (int format = 1; format <= ZmImportSizeFileFormatsSupported(); ++format) {
        const ZmImportFileFormatInfo* info = ZmImportGetFileFormatInfo(format);
        const std::string& file = workspace.PathFor(info, size);
        const std::string broken = zmtest::ExerciseFormat(format, file.c_str());
        if (!broken.empty())
            Broken(info, broken);
    }
    return 0;
}
