// Helpers shared by the loader tests: a loader that records its choices, scratch files.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <list>
#include <string>
#include <vector>

#include "framework/ImportDLLLoader.h"

namespace zmtest {

// A loader that records every SelectFormat call (the candidates' names) and can be told
// to pick the last candidate instead of the first.
class RecordingLoader : public ImportDLLLoader {
  public:
    using ImportDLLLoader::GetIndex;

    int SelectFormat(std::list<InstanceInfo>& candidates) override {
        std::vector<std::string> names;
        for (const InstanceInfo& c : candidates)
            names.push_back(c.info->name);
        selections.push_back(names);
        if (pickLast && !candidates.empty())
            return GetIndex(&candidates.back());
        return ImportDLLLoader::SelectFormat(candidates);
    }

    // Every loader index whose record carries `name`, in list order.
    std::vector<int> IndexesOf(const std::string& name) {
        std::vector<int> found;
        for (int i = 1; i <= SizeInfos(); ++i) {
            if (GetInfo(i) != nullptr && name == GetInfo(i)->name)
                found.push_back(i);
        }
        return found;
    }

    std::string NameAt(int index) {
        const ZmImportFileFormatInfo* info = GetInfo(index);
        return info != nullptr ? info->name : "<none>";
    }

    std::vector<std::vector<std::string>> selections;
    bool pickLast = false;
};

// A scratch folder removed with the object.
class ScratchDir {
  public:
    ScratchDir() {
        path = std::filesystem::temp_directory_path() /
               ("zm-loader-" + std::to_string(getpid()) + "-" + std::to_string(++counter));
        std::filesystem::create_directories(path);
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::string Write(const std::string& name, const std::string& bytes) const {
        const std::string file = (path / name).string();
        std::ofstream(file, std::ios::binary) << bytes;
        return file;
    }
    std::string File(const std::string& name) const { return (path / name).string(); }

    std::filesystem::path path;

  private:
    static inline int counter = 0;
};

// A Brimrose spectra file: 512-byte main header, then per spectrum a 128-byte
// sub-header and one float32 per point, all little-endian.
inline std::string BrimroseBytes(float first, float increment, uint16_t points,
                                 const std::vector<std::vector<float>>& spectra) {
    std::string bytes(512, '\0');
    auto put = [&bytes](size_t at, const void* value, size_t size) {
        std::memcpy(&bytes[at], value, size);
    };
    const uint32_t magic = 0x0D0C10FF;
    const float last = first + increment * static_cast<float>(points - 1);
    const uint16_t count = static_cast<uint16_t>(spectra.size());
    put(0, &magic, 4);
    put(29, &first, 4);
    put(33, &last, 4);
    put(37, &increment, 4);
    put(41, &points, 2);
    put(45, &count, 2);
    for (const std::vector<float>& spectrum : spectra) {
        std::string sub(128, '\0');
        const uint32_t time = 1700000000;
        std::memcpy(&sub[0], &time, 4);
        bytes += sub;
        for (float value : spectrum) {
            bytes.append(reinterpret_cast<const char*>(&value), 4);
        }
    }
    return bytes;
}

}  // namespace zmtest
