// The import driver the host application calls: its dialog format table, the file check
// before a read, and reading and writing through the plug-in loader.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "framework/SpreadSheetData.h"
#include "framework/ZmImportTypes.h"
#include "platform/ZmExport.h"

class ImportDLLLoader;

// The host's data object: the sink a read fills (sized with SetDataSize(cols, rows)) and
// the source a write empties. A host that only imports may keep the write defaults,
// which describe a source without a data origin (writers then fail with their own code).
class ZMIMPORT_API SpreadsheetData : public ReadSpreadSheetData, public WriteSpreadSheetData {
  public:
    // Cleared by the driver before reading a format whose record has flag4 unset; what it
    // stands for is the host's affair.
    bool firstFlag = true;

    float GetNumber(int, int) override { return 0.0f; }
    std::string GetText(int, int) override { return std::string(); }
    bool GetDataOrigin(int*, int*) override { return false; }
    bool IsNumber(int, int) override { return false; }
    bool IsMissing(int, int) override { return true; }
    bool IsText(int, int) override { return false; }
};

// One entry of the table behind the host's open and save dialogs; the host reads it at
// fixed byte offsets, so the layout must not change.
struct FormatTableEntry {
    static constexpr int kMaxExtensions = 10;  // slots, the last one always empty
    char filter[70];                           // 0: open filter, zero-terminated
    char saveFilter[120];                      // 70: save filter, only for writable formats
    char extensions[kMaxExtensions][256];      // 190: one extension per slot
    char canWrite;                             // 2750
    char canRead;                              // 2751
    char multiFile;                            // 2752
    char flag5;                                // 2753
};
static_assert(offsetof(FormatTableEntry, filter) == 0);
static_assert(offsetof(FormatTableEntry, saveFilter) == 70);
static_assert(offsetof(FormatTableEntry, extensions) == 190);
static_assert(offsetof(FormatTableEntry, canWrite) == 2750);
static_assert(offsetof(FormatTableEntry, canRead) == 2751);
static_assert(offsetof(FormatTableEntry, multiFile) == 2752);
static_assert(offsetof(FormatTableEntry, flag5) == 2753);
static_assert(sizeof(FormatTableEntry) == 2754);

// Checks the files the user picked, decides their format through the loader, opens a
// reader, sizes the host's data object, reads into it and shows the reader's warning.
// Every failure leaves its text in GetErrorMessage(); nothing is thrown for file problems.
// Hosts derive to show real message boxes and progress; the base only logs.
class ZMIMPORT_API ImportHelperBase {
  public:
    enum ReadErrors {
        kNoReadError = 0,
        kFileMissing = 1,
        kFileIsDirectory = 2,
        kSeveralFiles = 3,
        kTypeUndetermined = 4,
        kTypeNotSupported = 5,
    };
    enum MessageType {
        kMessageInformation = 0,
        kMessageError = 1,
        kMessageQuestion = 2,
        kMessageWarning = 3,
    };
    // The answer of PutMsg1 by which the user declines to go on.
    static constexpr int kAnswerDeclined = 2;

    // The loader is not owned and must outlive the driver.
    ImportHelperBase(ImportDLLLoader* loader, const char* name);
    virtual ~ImportHelperBase();
    ImportHelperBase(const ImportHelperBase&) = delete;
    ImportHelperBase& operator=(const ImportHelperBase&) = delete;

    // A message box: returns the user's answer (the base logs and returns defaultAnswer).
    virtual int PutMsg1(const char* text, const char* caption, MessageType type, int defaultAnswer);
    virtual void PutMsg2(const char* a, const char* b, const char* c);
    // Orders the files of a multi-file format; false ends the file check.
    virtual bool SortFiles(const char* firstFile, ReadErrors& error);
    virtual void ShowProgressBarWhileReading(SpreadsheetData* data, int cols, int rows);
    virtual void StopProgressBar(SpreadsheetData* data);

    // `formatIndex` comes in as the position in the open dialog (1 the catch-all entry,
    // k the (k-1)-th readable format) and goes out as the loader's index.
    bool CheckFilesBeforeRead(const std::vector<std::string>& files, int& formatIndex,
                              ReadErrors& error, bool refuseSeveral);
    bool CheckFilesBeforeRead(const std::vector<std::wstring>& files, int& formatIndex,
                              ReadErrors& error, bool refuseSeveral);

    // Reads the files with the format at loader index `formatIndex` into `data`. The
    // reader works on a copy of `options`; with `returnOptions` the record receives the
    // options the reader ended with (new[]'d bytes; earlier bytes of the record must come
    // from new[] and are released).
    bool ReadSpreadsheetFile(const std::vector<std::string>& files, int formatIndex,
                             SpreadsheetData* data, ZmImportOpenOptions* options,
                             bool returnOptions, ImportSpecBase* importSpec);
    bool ReadSpreadsheetFile(const std::vector<std::wstring>& files, int formatIndex,
                             SpreadsheetData* data, ZmImportOpenOptions* options,
                             bool returnOptions, ImportSpecBase* importSpec);
    // Writes `data` with the format at loader index `formatIndex`; an index below 1 picks
    // the first writable format whose extension matches the file.
    bool WriteSpreadsheetFile(const char* file, int formatIndex, SpreadsheetData* data,
                              ZmImportOpenOptions* options);
    // The format's file-dependent options for the files (null when it has none); the
    // caller owns the record and its bytes.
    ZmImportOpenOptions* GetFileOptions(const std::vector<std::string>& files, int formatIndex,
                                        bool flag);
    // Position of the first format whose extensions match, among the eligible formats.
    int GetFormatIndex(const std::string& file, bool forWrite, bool forRead);

    std::string GetErrorMessage() const { return lastError; }
    const char* GetFilenameRead() { return filenameRead.c_str(); }
    const std::string& GetName() const { return name; }

    // Deep copy: allocates `source->size` bytes (none for 0, leaving data null), copies
    // them and sets both fields of `target`; the target's earlier bytes are not touched.
    void CopyOpenOptions(ZmImportOpenOptions* target, const ZmImportOpenOptions* source) const;

    // The dialog table: entry 0 is the catch-all, entries 1..n the loader's formats.
    const FormatTableEntry* GetFormatTable() const { return formatTable.data(); }
    int SizeFormatTable() const { return static_cast<int>(formatTable.size()); }

  protected:
    ImportDLLLoader* GetLoader() const { return loader; }

  private:
    void Init();
    bool Fail(const std::string& text);
    bool Fail(const std::string& text, ReadErrors code, ReadErrors& error);
    // Shows an error in a message box with the application's name as caption.
    void Report(const std::string& text);
    int ResolveDialogPosition(int position) const;
    bool CheckOneFile(const std::string& file, ReadErrors& error);
    std::string OpenName(const std::vector<std::string>& files, int formatIndex) const;

    ImportDLLLoader* loader;
    std::string name;
    std::vector<FormatTableEntry> formatTable;
    std::string lastError;
    std::string filenameRead;
};
