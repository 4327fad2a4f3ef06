// Finds the libraries that export the import interface and lists the formats they offer.
#pragma once

#include <list>
#include <mutex>
#include <string>
#include <vector>

#include "framework/SpreadsheetFile.h"
#include "framework/ZmImportTypes.h"
#include "platform/ZmExport.h"

// The process-wide list of formats offered by plug-in libraries: the host executable
// itself, every "*.so" in the executable's folder (this library among them), then the
// folder named to Init. The list is built once per process and never rebuilt; modules
// are never unloaded, so records handed out stay valid for the life of the process.
// Loader indexes are 1-based positions in the list. A host derives from this class to
// let the user choose among several candidate formats (SelectFormat).
class ZMIMPORT_API ImportDLLLoader {
  public:
    // One format offered by a loaded library.
    struct InstanceInfo {
        void* module = nullptr;                        // the library's module handle
        int formatIndex = 0;                           // 1-based index inside its library
        const ZmImportFileFormatInfo* info = nullptr;  // the library's record, owned by it
    };

    // A "*.so" file of a scanned folder that was not loaded, and why.
    struct SkippedLibrary {
        std::string path;
        std::string reason;
    };

    ImportDLLLoader() = default;
    ImportDLLLoader(const ImportDLLLoader&) = delete;
    ImportDLLLoader& operator=(const ImportDLLLoader&) = delete;
    virtual ~ImportDLLLoader();

    // Makes sure the list exists, scanning `folder` (may be null or empty) besides the
    // executable's own folder. Only the first creation scans; later folders are ignored.
    virtual void Init(const char* folder);
    int SizeInfos();
    // The files of the scanned folders that were passed over (damaged, foreign or
    // unloadable objects), in scan order.
    static std::vector<SkippedLibrary> SkippedLibraries();
    // The record of the format at 1-based `index`, or null outside the list.
    const ZmImportFileFormatInfo* GetInfo(int index);
    // A new reader for the format at `index`, owned by the caller (delete after Close);
    // null outside the list.
    SpreadsheetFile* GetSpreadsheetFile(int index);
    // The format that should read `file`, chosen by content and extension, or -1.
    int GetSpreadsheetFileIndex(const char* file);
    // The content test of the format at `index` for `file`: 2 surely, 1 possibly, 0 not.
    // A library without the test answers 1, as when choosing a format; outside the list 0.
    char IsCorrectFileType(int index, const char* file);
    // The 1-based position, among the formats that pass the filters, of the first one
    // whose extensions hold the file's extension; -1 when none or the name has no dot.
    int GetFormatIndex(const std::string& file, bool forWrite, bool forRead);

  protected:
    // Chooses among several candidates; the default takes the first. Returns a loader index.
    virtual int SelectFormat(std::list<InstanceInfo>& candidates);
    // The position of the first listed format whose name equals info's byte for byte.
    int GetIndex(InstanceInfo* info);

  private:
    // Appends to `to` every format of `from` one of whose extensions is the file's.
    void MatchExtension(const char* file, std::list<InstanceInfo>& from,
                        std::list<InstanceInfo>& to);
    // The one lock of the list; recursive because the public operations nest.
    static std::recursive_mutex& GetMutex();
};
