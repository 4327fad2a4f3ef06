// Helpers of the plug-in tests: a loader that records its choices, scratch files, and a
// fixture with both.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "framework/ImportDLLLoader.h"
#include "framework/SpreadsheetFile.h"

namespace zmtest {

// A loader that records the candidates' names of every SelectFormat call and can be told
// to pick the last candidate instead of the first.
class RecordingLoader : public ImportDLLLoader {
  public:
    using ImportDLLLoader::GetIndex;

    int SelectFormat(std::list<InstanceInfo>& candidates) override {
        selections.emplace_back();
        for (const InstanceInfo& c : candidates)
            selections.back().push_back(c.info->name);
        if (pickLast && !candidates.empty())
            return GetIndex(&candidates.back());
        return ImportDLLLoader::SelectFormat(candidates);
    }
    // Every loader index whose record carries `name`, in list order.
    std::vector<int> IndexesOf(const std::string& name) {
        std::vector<int> found;
        for (int i = 1; i <= SizeInfos(); ++i) {
            if (name == GetInfo(i)->name)
                found.push_back(i);
        }
        return found;
    }

    std::vector<std::vector<std::string>> selections;
    bool pickLast = false;
};

// A scratch folder removed with the object.
class ScratchDir {
  public:
    ~ScratchDir() { std::filesystem::remove_all(path); }

    std::string File(const std::string& name) const { return (path / name).string(); }
    std::string Write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path / name, std::ios::binary) << bytes;
        return File(name);
    }
    // A file of the test plug-in: its header line and directives.
    std::string Script(const std::string& name, const std::string& directives = "") const {
        return Write(name, "#dtf\n" + directives);
    }
    static std::string Read(const std::string& file) {
        std::stringstream s;
        s << std::ifstream(file).rdbuf();
        return s.str();
    }

    const std::filesystem::path path = [] {
        std::string name = (std::filesystem::temp_directory_path() / "zm-plugins-XXXXXX").string();
        return std::filesystem::path(mkdtemp(name.data()));
    }();
};

// A loader over the test plug-in folder and a scratch folder. The list of formats is
// built once per process, so the folder is named before any loader or driver exists.
class PluginTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { ImportDLLLoader().Init(ZM_TEST_PLUGINS); }

    int First(const std::string& name) { return loader.IndexesOf(name).at(0); }
    std::string NameAt(int index) {
        return loader.GetInfo(index) != nullptr ? loader.GetInfo(index)->name : "<none>";
    }
    std::unique_ptr<SpreadsheetFile> Reader(const std::string& name) {
        return std::unique_ptr<SpreadsheetFile>(loader.GetSpreadsheetFile(First(name)));
    }

    RecordingLoader loader;
    ScratchDir dir;
};

}  // namespace zmtest
