// A reader whose operations forward to a plug-in library's exported functions.
#pragma once

#include <memory>

#include "framework/SpreadsheetFile.h"
#include "framework/ZmImport.h"
#include "platform/ZmExport.h"

// One format of a plug-in library, seen as a reader. Every operation calls the
// plug-in's function with the plug-in's own format index and the handle of the open
// file. Codes: 3 write to a format that cannot write, 2048 the plug-in lacks the
// function an operation needs, 2049 the plug-in reported failure (its own text is
// given), 2050 no file is open.
class ZMIMPORT_API DLLFile : public SpreadsheetFile {
  public:
    enum Status {
        kMissingFunction = 2048,
        kPluginFailed = 2049,
        kNotOpened = 2050,
    };

    // The plug-in's operation functions, each possibly null.
    struct Functions {
        ZmImportOpenFn open = nullptr;
        ZmImportCloseFn close = nullptr;
        ZmImportGetLastErrorFn getLastError = nullptr;
        ZmImportEstablishSizeFn establishSize = nullptr;
        ZmImportReadFn read = nullptr;
        ZmImportWriteFn write = nullptr;
        ZmImportGetWarningFn getWarning = nullptr;
        ZmImportSetSpecFn setSpec = nullptr;
        ZmImportGetFileReadFn getFileRead = nullptr;
        ZmImportGetFileOptionsFn getFileOptions = nullptr;
    };

    DLLFile(const Functions& functions, bool multiFile, bool canWrite, int formatIndex);
    DLLFile(const DLLFile&) = delete;
    DLLFile& operator=(const DLLFile&) = delete;
    ~DLLFile() override;

    void Close() override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    const char* GetWarningMessage() override;
    ZmImportOpenOptions* GetFileReadOptions(const char* file, bool flag) override;
    int Open(bool readMode, const char* file, ZmImportOpenOptions* options) override;
    int Read(ReadSpreadSheetData* sink) override;
    const char* GetReadFile() override;
    int Write(WriteSpreadSheetData* source) override;
    void SetImportSpec(ImportSpecBase* importSpec) override;

    bool IsMultiFile() const { return multiFile; }

  private:
    class HostReadRecord;
    class HostWriteRecord;

    int EstablishSize() override;
    // Lets the plug-in release its handle and drops the host-data records.
    void ReleaseHandle();

    Functions fn;
    bool multiFile;
    bool canWrite;
    int formatIndex;
    void* handle = nullptr;
    std::unique_ptr<HostReadRecord> readRecord;
    std::unique_ptr<HostWriteRecord> writeRecord;
};
