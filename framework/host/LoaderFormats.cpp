// A host's view of the loader's format list and the driver's file check.
#include "framework/host/LoaderFormats.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "framework/ImportDLLLoader.h"
#include "framework/ImportHelperBase.h"
#include "framework/SprFileFactory.h"

namespace zmhost {

namespace {

// The driver keeps its texts for the host to show; it shows no message boxes.
class QuietDriver : public ImportHelperBase {
  public:
    explicit QuietDriver(ImportDLLLoader* loader) : ImportHelperBase(loader, "zmimport") {}
    int PutMsg1(const char*, const char*, MessageType, int defaultAnswer) override {
        return defaultAnswer;
    }
};

struct Road {
    Road() : driver(&loader) {
        for (int i = 1; i <= loader.SizeInfos(); ++i) {
            const ZmImportFileFormatInfo* info = loader.GetInfo(i);
            if (info != nullptr && FirstOfName(info->name) == static_cast<int>(listed.size()))
                listed.push_back(i);
        }
    }

    // The listed position of the first format with this name, or listed.size() if new.
    int FirstOfName(const char* name) const {
        for (size_t k = 0; k < listed.size(); ++k) {
            const char* other = loader.GetInfo(listed[k])->name;
            if (name == other || (name && other && std::strcmp(name, other) == 0))
                return static_cast<int>(k);
        }
        return static_cast<int>(listed.size());
    }

    // Loader index -> listed index of the format's name (0 outside the list).
    int Listed(int loaderIndex) const {
        const ZmImportFileFormatInfo* info = loader.GetInfo(loaderIndex);
        const int k = info != nullptr ? FirstOfName(info->name) : -1;
        return k >= 0 && k < static_cast<int>(listed.size()) ? k + 1 : 0;
    }

    mutable ImportDLLLoader loader;
    QuietDriver driver;
    std::vector<int> listed;  // loader indexes, one per name
};

std::string& PluginFolder() {
    static std::string folder;
    return folder;
}

// Names on standard error the files of a folder named with --plugins that were not loaded;
// the program's own folder is scanned silently.
void ReportSkippedPlugins(const std::string& folder) {
    if (folder.empty())
        return;
    const std::filesystem::path named = std::filesystem::weakly_canonical(folder);
    for (const auto& skipped : ImportDLLLoader::SkippedLibraries()) {
        const std::filesystem::path path(skipped.path);
        if (std::filesystem::weakly_canonical(path.parent_path()) == named)
            std::cerr << "zmimport: skipped plug-in " << skipped.path << ": it " << skipped.reason
                      << "\n";
    }
}

Road& GetRoad() {
    static Road road = [] {
        ImportDLLLoader().Init(PluginFolder().c_str());
        ReportSkippedPlugins(PluginFolder());
        return Road();
    }();
    return road;
}

int LoaderIndex(int index) {
    const Road& road = GetRoad();
    return index >= 1 && index <= static_cast<int>(road.listed.size()) ? road.listed[index - 1] : 0;
}

// The open-dialog position of a loader format: 1 is the catch-all entry, then the
// readable formats in table order.
int DialogPosition(int loaderIndex) {
    const ImportHelperBase& driver = GetRoad().driver;
    int position = 1;
    for (int i = 1; i <= loaderIndex && i < driver.SizeFormatTable(); ++i)
        position += driver.GetFormatTable()[i].canRead ? 1 : 0;
    return position;
}

}  // namespace

void UsePluginFolder(const std::string& folder) {
    PluginFolder() = folder;
}

int ListedFormatCount() {
    return static_cast<int>(GetRoad().listed.size());
}

const ZmImportFileFormatInfo* ListedFormatInfo(int index) {
    const int loaderIndex = LoaderIndex(index);
    return loaderIndex != 0 ? GetRoad().loader.GetInfo(loaderIndex) : nullptr;
}

int RegistryIndexOf(int index) {
    const ZmImportFileFormatInfo* info = ListedFormatInfo(index);
    if (info == nullptr || info->factory == nullptr)
        return 0;
    // A factory pointer means something only inside the library that made the record,
    // so it must be a record of this program's own registry.
    for (int k = 1; k <= SprFileFactory::SizeInfos(); ++k) {
        if (SprFileFactory::GetInfo(k) == info)
            return k;
    }
    return 0;
}

char AskListedFormat(int index, const std::string& file) {
    const int loaderIndex = LoaderIndex(index);
    return loaderIndex != 0 ? GetRoad().loader.IsCorrectFileType(loaderIndex, file.c_str()) : 0;
}

SpreadsheetFile* NewListedReader(int index) {
    if (const int registryIndex = RegistryIndexOf(index))
        return SprFileFactory::GetSpreadsheetFile(registryIndex);
    const int loaderIndex = LoaderIndex(index);
    return loaderIndex != 0 ? GetRoad().loader.GetSpreadsheetFile(loaderIndex) : nullptr;
}

int CheckFiles(const std::vector<std::string>& files, int index, std::string& error) {
    Road& road = GetRoad();
    const ZmImportFileFormatInfo* info = ListedFormatInfo(index);
    // A format that cannot read has no place in the open dialog; its reader decides.
    if (info != nullptr && !info->canRead)
        return index;
    int format = info != nullptr ? DialogPosition(LoaderIndex(index)) : 1;
    ImportHelperBase::ReadErrors readError;
    if (!road.driver.CheckFilesBeforeRead(files, format, readError, false)) {
        error = road.driver.GetErrorMessage();
        return 0;
    }
    // Some readers (CSV) read nothing from a file they cannot open, without an error of
    // their own: say so here, before reading.
    for (const std::string& file : files) {
        if (!std::ifstream(file, std::ios::binary)) {
            error = std::string("The file cannot be read (") + std::strerror(errno) + ").";
            return 0;
        }
    }
    return road.Listed(format);
}

}  // namespace zmhost
