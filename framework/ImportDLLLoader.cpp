// The process-wide list of plug-in formats and the choice of a format for a file.
#include "framework/ImportDLLLoader.h"

#include <cctype>
#include <cstring>
#include <filesystem>
#include <set>
#include <system_error>
#include <vector>

#include "framework/DLLFile.h"
#include "framework/ZmImport.h"
#include "platform/DynamicLibrary.h"
#include "platform/InputFile.h"

namespace {

using InstanceInfo = ImportDLLLoader::InstanceInfo;

// Every format offered by the libraries found at the first use, in discovery order.
// Created once; at library unload each plug-in that exports ZmImportReleasePackage is
// told so. Modules are never unloaded.
class InstanceInfoListContainer {
  public:
    explicit InstanceInfoListContainer(const char* folder) {
        const std::string executable = zm::ExecutablePath();
        // A host program may export the interface itself.
        TryLibrary(zm::OpenExecutableModule());
        const std::filesystem::path exePath(executable);
        if (exePath.has_parent_path())
            TryFolder(exePath.parent_path().string());
        if (folder != nullptr && folder[0] != '\0')
            TryFolder(folder);
    }

    ~InstanceInfoListContainer() {
        for (ZmImportReleasePackageFn release : releases)
            release();
    }

    InstanceInfoListContainer(const InstanceInfoListContainer&) = delete;
    InstanceInfoListContainer& operator=(const InstanceInfoListContainer&) = delete;

    std::vector<InstanceInfo> infos;
    std::vector<ImportDLLLoader::SkippedLibrary> skipped;

  private:
    void TryFolder(const std::string& folder) {
        for (const std::string& path : zm::ListSharedLibraries(folder)) {
            // One damaged file in the folder must not take the program down with it.
            std::string problem = zm::SharedObjectProblem(path);
            void* module = problem.empty() ? zm::OpenModule(path) : nullptr;
            if (problem.empty() && module == nullptr)
                problem = "cannot be loaded: " + zm::LastLoadError();
            if (!problem.empty())
                skipped.push_back({path, problem});
            TryLibrary(module);
        }
    }

    void TryLibrary(void* module) {
        if (module == nullptr)
            return;
        auto size = zm::FindFunction<ZmImportSizeFileFormatsSupportedFn>(
            module, "ZmImportSizeFileFormatsSupported");
        auto getInfo =
            zm::FindFunction<ZmImportGetFileFormatInfoFn>(module, "ZmImportGetFileFormatInfo");
        // The executable's symbols include those of the libraries it links with, and a
        // folder may be named twice: the same library is listed only once.
        if (getInfo != nullptr && !listed.insert(reinterpret_cast<void*>(getInfo)).second)
            return;
        if (auto init = zm::FindFunction<ZmImportInitPackageFn>(module, "ZmImportInitPackage"))
            init();
        if (auto release =
                zm::FindFunction<ZmImportReleasePackageFn>(module, "ZmImportReleasePackage"))
            releases.push_back(release);
        if (size == nullptr || getInfo == nullptr)
            return;
        const int count = size();
        for (int i = 1; i <= count; ++i)
            infos.push_back({module, i, getInfo(i)});
    }

    std::set<void*> listed;
    std::vector<ZmImportReleasePackageFn> releases;
};

// The list, created by the first call that needs it. Only that call's folder is scanned.
// Being a local static created after the libraries it loads, it is destroyed before
// their own statics, so ZmImportReleasePackage still finds them intact.
InstanceInfoListContainer& GetContainer(const char* folder = nullptr) {
    static InstanceInfoListContainer container(folder);
    return container;
}

std::vector<InstanceInfo>& GetList(const char* folder = nullptr) {
    return GetContainer(folder).infos;
}

bool EqualNoCase(const char* a, const char* b) {
    for (; *a != '\0' && *b != '\0'; ++a, ++b) {
        if (std::tolower(static_cast<unsigned char>(*a)) !=
            std::tolower(static_cast<unsigned char>(*b)))
            return false;
    }
    return *a == *b;
}

// The extension of a file name, from its last "." (the dot included); empty without one.
std::string ExtensionOf(const char* file) {
    const char* dot = std::strrchr(file, '.');
    return dot != nullptr ? std::string(dot) : std::string();
}

bool HasExtension(const ZmImportFileFormatInfo* info, const std::string& extension) {
    if (info == nullptr || info->extensions == nullptr || extension.empty())
        return false;
    const char* ext = info->extensions;
    for (int i = 0; i < info->extensionCount; ++i) {
        if (EqualNoCase(ext, extension.c_str()))
            return true;
        ext += std::strlen(ext) + 1;
    }
    return false;
}

bool FileExists(const char* file) {
    std::error_code error;
    return std::filesystem::exists(file, error);
}

}  // namespace

ImportDLLLoader::~ImportDLLLoader() = default;

std::recursive_mutex& ImportDLLLoader::GetMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

void ImportDLLLoader::Init(const char* folder) {
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    GetList(folder);
}

std::vector<ImportDLLLoader::SkippedLibrary> ImportDLLLoader::SkippedLibraries() {
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    return GetContainer().skipped;
}

int ImportDLLLoader::SizeInfos() {
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    return static_cast<int>(GetList().size());
}

const ZmImportFileFormatInfo* ImportDLLLoader::GetInfo(int index) {
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    const std::vector<InstanceInfo>& list = GetList();
    if (index < 1 || static_cast<size_t>(index) > list.size())
        return nullptr;
    return list[index - 1].info;
}

SpreadsheetFile* ImportDLLLoader::GetSpreadsheetFile(int index) {
    InstanceInfo entry;
    {
        std::lock_guard<std::recursive_mutex> lock(GetMutex());
        const std::vector<InstanceInfo>& list = GetList();
        if (index < 1 || static_cast<size_t>(index) > list.size())
            return nullptr;
        entry = list[index - 1];
    }
    void* m = entry.module;
    // A missing function is no error yet; it shows as 2048 when the operation is used.
    DLLFile::Functions fn;
    fn.open = zm::FindFunction<ZmImportOpenFn>(m, "ZmImportOpen");
    fn.close = zm::FindFunction<ZmImportCloseFn>(m, "ZmImportClose");
    fn.getLastError = zm::FindFunction<ZmImportGetLastErrorFn>(m, "ZmImportGetLastError");
    fn.establishSize = zm::FindFunction<ZmImportEstablishSizeFn>(m, "ZmImportEstablishSize");
    fn.read = zm::FindFunction<ZmImportReadFn>(m, "ZmImportRead");
    fn.write = zm::FindFunction<ZmImportWriteFn>(m, "ZmImportWrite");
    fn.getWarning = zm::FindFunction<ZmImportGetWarningFn>(m, "ZmImportGetWarning");
    fn.setSpec = zm::FindFunction<ZmImportSetSpecFn>(m, "ZmImportSetSpec");
    fn.getFileRead = zm::FindFunction<ZmImportGetFileReadFn>(m, "ZmImportGetFileRead");
    fn.getFileOptions = zm::FindFunction<ZmImportGetFileOptionsFn>(m, "ZmImportGetFileOptions");
    const bool multiFile = entry.info != nullptr && entry.info->multiFile != 0;
    const bool canWrite = entry.info != nullptr && entry.info->canWrite != 0;
    return new DLLFile(fn, multiFile, canWrite, entry.formatIndex);
}

int ImportDLLLoader::GetIndex(InstanceInfo* info) {
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    if (info == nullptr)
        return -1;
    const std::vector<InstanceInfo>& list = GetList();
    const char* name = info->info != nullptr ? info->info->name : nullptr;
    for (size_t i = 0; i < list.size(); ++i) {
        const InstanceInfo& entry = list[i];
        if (name == nullptr) {
            // A format without a name can only be itself.
            if (entry.module == info->module && entry.formatIndex == info->formatIndex)
                return static_cast<int>(i) + 1;
        } else if (entry.info != nullptr && entry.info->name != nullptr &&
                   std::strcmp(entry.info->name, name) == 0) {
            return static_cast<int>(i) + 1;
        }
    }
    return -1;
}

int ImportDLLLoader::SelectFormat(std::list<InstanceInfo>& candidates) {
    if (candidates.empty())
        return -1;
    return GetIndex(&candidates.front());
}

void ImportDLLLoader::MatchExtension(const char* file, std::list<InstanceInfo>& from,
                                     std::list<InstanceInfo>& to) {
    const std::string extension = ExtensionOf(file);
    for (InstanceInfo& candidate : from) {
        if (HasExtension(candidate.info, extension))
            to.push_back(candidate);
    }
}

int ImportDLLLoader::GetSpreadsheetFileIndex(const char* file) {
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    if (file == nullptr)
        return -1;
    std::vector<InstanceInfo>& list = GetList();
    if (zm::CheckInputFile(file).kind == zm::InputKind::kOther)
        return -1;
    if (!FileExists(file)) {
        std::list<InstanceInfo> all(list.begin(), list.end());
        std::list<InstanceInfo> matches;
        MatchExtension(file, all, matches);
        if (matches.size() == 1)
            return GetIndex(&matches.front());
        return SelectFormat(matches);
    }

    std::list<InstanceInfo> sure;
    std::list<InstanceInfo> possible;
    for (InstanceInfo& entry : list) {
        if (entry.info != nullptr && entry.info->canRead == 0)
            continue;
        auto isCorrect = zm::FindFunction<ZmImportIsCorrectFileTypeFn>(entry.module,
                                                                       "ZmImportIsCorrectFileType");
        // A plug-in that cannot test content may still read the file.
        const char answer = isCorrect != nullptr ? isCorrect(entry.formatIndex, file) : 1;
        if (answer == 2) {
            sure.push_back(entry);
        } else if (answer == 1) {
            possible.push_back(entry);
        }
    }

    if (sure.size() == 1)
        return GetIndex(&sure.front());
    if (sure.size() > 1)
        return SelectFormat(sure);
    if (possible.empty())
        return -1;
    if (possible.size() == 1)
        return GetIndex(&possible.front());
    std::list<InstanceInfo> matches;
    MatchExtension(file, possible, matches);
    if (matches.size() == 1)
        return GetIndex(&matches.front());
    return SelectFormat(matches.empty() ? possible : matches);
}

char ImportDLLLoader::IsCorrectFileType(int index, const char* file) {
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    const std::vector<InstanceInfo>& list = GetList();
    if (file == nullptr || index < 1 || static_cast<size_t>(index) > list.size())
        return 0;
    // A plug-in's detector is never handed a FIFO or a device either.
    if (zm::CheckInputFile(file).kind == zm::InputKind::kOther)
        return 0;
    const InstanceInfo& entry = list[index - 1];
    auto isCorrect =
        zm::FindFunction<ZmImportIsCorrectFileTypeFn>(entry.module, "ZmImportIsCorrectFileType");
    return isCorrect != nullptr ? isCorrect(entry.formatIndex, file) : 1;
}

int ImportDLLLoader::GetFormatIndex(const std::string& file, bool forWrite, bool forRead) {
    std::lock_guard<std::recursive_mutex> lock(GetMutex());
    const std::string extension = ExtensionOf(file.c_str());
    if (extension.empty())
        return -1;
    int position = 0;
    for (const InstanceInfo& entry : GetList()) {
        const ZmImportFileFormatInfo* info = entry.info;
        if (forWrite && (info == nullptr || info->canWrite == 0))
            continue;
        if (forRead && (info == nullptr || info->canRead == 0))
            continue;
        ++position;
        if (HasExtension(info, extension))
            return position;
    }
    return -1;
}
