// The exported functions: thin wrappers over the registry and the reader base that
// never let an exception cross into the host.
#include "framework/ZmImport.h"

#include <exception>

#include "framework/DLLSpreadSheetData.h"
#include "framework/SprFileFactory.h"
#include "framework/SpreadsheetFile.h"
#include "platform/ErrorText.h"
#include "platform/Translate.h"

namespace {

constexpr unsigned int kErrorBufferSize = 255;

// Shared, unguarded: one caller at a time.
char errorBuffer[kErrorBufferSize + 1];

SpreadsheetFile* AsFile(void* handle) {
    return static_cast<SpreadsheetFile*>(handle);
}

}  // namespace

extern "C" {

int ZmImportSizeFileFormatsSupported() {
    return SprFileFactory::SizeInfos();
}

const ZmImportFileFormatInfo* ZmImportGetFileFormatInfo(int index) {
    return SprFileFactory::GetInfo(index);
}

char ZmImportIsCorrectFileType(int index, const char* file) {
    try {
        switch (SprFileFactory::IsMyKindOfFile(index, file)) {
            case SprFileFactory::kSurely:
                return 2;
            case SprFileFactory::kCanRead:
            case SprFileFactory::kPlausible:
                return 1;
            default:
                return 0;
        }
    } catch (...) {
        return 0;
    }
}

bool ZmImportOpen(int index, const char* file, bool readMode, void** handle,
                  ZmImportOpenOptions* options) {
    if (handle == nullptr)
        return false;
    *handle = nullptr;
    try {
        SpreadsheetFile* reader = SprFileFactory::GetSpreadsheetFile(index);
        *handle = reader;
        if (reader == nullptr)
            return false;
        if (readMode && reader->RefuseIrregularInput(file) != 0)
            return false;
        return reader->Open(readMode, file, options) == 0;
    } catch (...) {
        if (*handle != nullptr)
            AsFile(*handle)->SetUnknownException();
        return false;
    }
}

void ZmImportClose(int, void* handle) {
    SpreadsheetFile* reader = AsFile(handle);
    if (reader == nullptr)
        return;
    try {
        reader->Close();
    } catch (...) {
    }
    delete reader;
}

const char* ZmImportGetLastError(int, void* handle) {
    errorBuffer[0] = '\0';
    SpreadsheetFile* reader = AsFile(handle);
    if (reader == nullptr)
        return errorBuffer;
    try {
        reader->GetErrorMessage(errorBuffer, kErrorBufferSize);
    } catch (...) {
        zm::CopyErrorText(zm::Translate("An unknown exception occurred."), errorBuffer,
                          kErrorBufferSize);
    }
    return errorBuffer;
}

bool ZmImportEstablishSize(int, void* handle, int* rows, int* cols) {
    SpreadsheetFile* reader = AsFile(handle);
    if (reader == nullptr || rows == nullptr || cols == nullptr)
        return false;
    try {
        *rows = reader->GetNumRows();
        *cols = reader->GetNumCols();
        return *rows >= 0 && *cols >= 0;
    } catch (...) {
        *rows = -1;
        *cols = -1;
        reader->SetUnknownException();
        return false;
    }
}

bool ZmImportRead(int, void* handle, void* hostTarget) {
    SpreadsheetFile* reader = AsFile(handle);
    if (reader == nullptr || hostTarget == nullptr)
        return false;
    try {
        DLLReadSpreadSheetData sink(hostTarget);
        return reader->Read(&sink) == 0;
    } catch (...) {
        reader->SetUnknownException();
        return false;
    }
}

bool ZmImportWrite(int, void* handle, void* hostSource) {
    SpreadsheetFile* reader = AsFile(handle);
    if (reader == nullptr || hostSource == nullptr)
        return false;
    try {
        DLLWriteSpreadSheetData source(hostSource);
        return reader->Write(&source) == 0;
    } catch (...) {
        reader->SetUnknownException();
        return false;
    }
}

const char* ZmImportGetWarning(int, void* handle) {
    SpreadsheetFile* reader = AsFile(handle);
    if (reader == nullptr)
        return nullptr;
    try {
        return reader->GetWarningMessage();
    } catch (...) {
        return nullptr;
    }
}

void ZmImportSetSpec(void* handle, ImportSpecBase* importSpec) {
    SpreadsheetFile* reader = AsFile(handle);
    if (reader == nullptr)
        return;
    try {
        reader->SetImportSpec(importSpec);
    } catch (...) {
    }
}

const char* ZmImportGetFileRead(void* handle) {
    SpreadsheetFile* reader = AsFile(handle);
    if (reader == nullptr)
        return nullptr;
    try {
        return reader->GetReadFile();
    } catch (...) {
        return nullptr;
    }
}

ZmImportOpenOptions* ZmImportGetFileOptions(int index, const char* file, bool flag) {
    SpreadsheetFile* reader = nullptr;
    ZmImportOpenOptions* options = nullptr;
    try {
        reader = SprFileFactory::GetSpreadsheetFile(index);
        if (reader != nullptr)
            options = reader->GetFileReadOptions(file, flag);
    } catch (...) {
        options = nullptr;
    }
    delete reader;
    return options;
}

void ZmImportInitPackage() {}

void ZmImportReleasePackage() {}

}  // extern "C"
