// Forwarding of reader operations to a plug-in library, and the host objects it builds.
#include "framework/DLLFile.h"

#include <string>

#include "framework/ZmHostData.h"
#include "platform/ErrorText.h"
#include "platform/Translate.h"

// A host read target over a sink: the plug-in addresses cells row first, the sink
// column first.
class DLLFile::HostReadRecord : public ZmHostReadTarget {
  public:
    explicit HostReadRecord(ReadSpreadSheetData* sink) : sink(sink) { TakeCounts(); }

    void SetNumber(int row, int col, float value) override { sink->Set(col, row, value); }
    void SetText(int row, int col, const char* text) override {
        sink->Set(col, row, text != nullptr ? text : "");
    }
    void SetSize(int newRows, int newCols) override {
        sink->SetDataSize(newCols, newRows);
        TakeCounts();
    }
    int MapRow(int rowCounter) override { return sink->MapRow(rowCounter); }

  private:
    void TakeCounts() {
        rows = sink->GetNumberOfRows();
        cols = sink->GetNumberOfColumns();
    }

    ReadSpreadSheetData* sink;
};

// A host write source over a source. The text handed out stays valid until the next
// text is asked for.
class DLLFile::HostWriteRecord : public ZmHostWriteSource {
  public:
    explicit HostWriteRecord(WriteSpreadSheetData* source) : source(source) {
        rows = source->GetNumberOfRows();
        cols = source->GetNumberOfColumns();
    }

    unsigned char GetCellType(int row, int col) override {
        if (source->IsNumber(col, row))
            return kHostNumber;
        if (source->IsText(col, row))
            return kHostText;
        return kHostMissing;
    }
    float GetNumber(int row, int col) override { return source->GetNumber(col, row); }
    const char* GetText(int row, int col) override {
        text = source->GetText(col, row);
        return text.c_str();
    }
    bool GetDataOrigin(int* col, int* row) override { return source->GetDataOrigin(col, row); }

  private:
    WriteSpreadSheetData* source;
    std::string text;
};

DLLFile::DLLFile(const Functions& functions, bool multiFile, bool canWrite, int formatIndex)
    : fn(functions), multiFile(multiFile), canWrite(canWrite), formatIndex(formatIndex) {}

DLLFile::~DLLFile() {
    // A caller that forgot Close must not leak the plug-in's reader.
    if (handle != nullptr)
        ReleaseHandle();
}

void DLLFile::ReleaseHandle() {
    if (fn.close != nullptr)
        fn.close(formatIndex, handle);
    handle = nullptr;
    readRecord.reset();
    writeRecord.reset();
}

void DLLFile::Close() {
    // Without a handle there is nothing to give back, and the status stays as it is.
    if (handle == nullptr)
        return;
    ReleaseHandle();
    status = 0;
}

int DLLFile::Open(bool readMode, const char* file, ZmImportOpenOptions* options) {
    if (status != 0)
        return status;
    if (!readMode && !canWrite)
        return SetStatus(kStatusWrongMode);
    if (fn.open == nullptr)
        return SetStatus(kMissingFunction);
    if (readMode && RefuseIrregularInput(file) != 0)
        return status;
    if (handle != nullptr)
        ReleaseHandle();
    sizeEstablished = false;
    numRows = -1;
    numCols = -1;
    // The plug-in stores its handle before opening, so a failed open still leaves one
    // to explain the failure and to close.
    if (!fn.open(formatIndex, file, readMode, &handle, options))
        return SetStatus(kPluginFailed);
    return status;
}

int DLLFile::EstablishSize() {
    if (status != 0)
        return status;
    if (handle == nullptr)
        return SetStatus(kNotOpened);
    // Deliberately not stored: a plug-in without sizing leaves the reader usable.
    if (fn.establishSize == nullptr)
        return kMissingFunction;
    int rows = -1;
    int cols = -1;
    if (!fn.establishSize(formatIndex, handle, &rows, &cols))
        return SetStatus(kPluginFailed);
    numRows = rows;
    numCols = cols;
    sizeEstablished = true;
    return 0;
}

int DLLFile::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    // Deliberately not stored, unlike Write: a read before Open leaves the reader clean.
    if (handle == nullptr)
        return kNotOpened;
    if (fn.read == nullptr)
        return SetStatus(kMissingFunction);
    readRecord = std::make_unique<HostReadRecord>(sink);
    if (!fn.read(formatIndex, handle, readRecord.get()))
        return SetStatus(kPluginFailed);
    return status;
}

int DLLFile::Write(WriteSpreadSheetData* source) {
    if (status != 0)
        return status;
    if (handle == nullptr)
        return SetStatus(kNotOpened);
    if (!canWrite)
        return SetStatus(kStatusWrongMode);
    if (fn.write == nullptr)
        return SetStatus(kMissingFunction);
    writeRecord = std::make_unique<HostWriteRecord>(source);
    if (!fn.write(formatIndex, handle, writeRecord.get()))
        return SetStatus(kPluginFailed);
    return status;
}

const char* DLLFile::GetWarningMessage() {
    if (handle == nullptr || fn.getWarning == nullptr)
        return nullptr;
    return fn.getWarning(formatIndex, handle);
}

ZmImportOpenOptions* DLLFile::GetFileReadOptions(const char* file, bool flag) {
    if (fn.getFileOptions == nullptr) {
        SetStatus(kMissingFunction);
        return nullptr;
    }
    return fn.getFileOptions(formatIndex, file, flag);
}

void DLLFile::SetImportSpec(ImportSpecBase* importSpec) {
    if (fn.setSpec == nullptr) {
        SpreadsheetFile::SetImportSpec(importSpec);
        return;
    }
    fn.setSpec(handle, importSpec);
}

const char* DLLFile::GetReadFile() {
    if (handle == nullptr || fn.getFileRead == nullptr)
        return nullptr;
    return fn.getFileRead(handle);
}

void DLLFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    if (status == kPluginFailed) {
        if (fn.getLastError != nullptr) {
            // The plug-in's own text, as it stands.
            // The buffer size goes along as a further argument; a plug-in written to the
            // two-argument form ignores it (the calling convention allows that).
            using WithSize = const char* (*)(int, void*, unsigned int);
            const char* text = reinterpret_cast<WithSize>(
                reinterpret_cast<void (*)()>(fn.getLastError))(formatIndex, handle, bufferSize);
            zm::CopyErrorText(text != nullptr ? text : "", buffer, bufferSize);
            return;
        }
        status = kMissingFunction;
    }
    switch (status) {
        case kMissingFunction:
            zm::CopyErrorText(zm::Translate("The import dll is missing a function."), buffer,
                              bufferSize);
            return;
        case kNotOpened:
            zm::CopyErrorText(zm::Translate("The file was not opened properly."), buffer,
                              bufferSize);
            return;
        default:
            SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
            return;
    }
}
