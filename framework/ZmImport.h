/* The library's plain exported interface. Plug-in libraries export the same fifteen
   functions with the same signatures. Results typed bool are one byte, true = success. */
#pragma once

#include "platform/ZmExport.h"
#include "framework/ZmImportTypes.h"

class ImportSpecBase;

extern "C" {

ZMIMPORT_API int ZmImportSizeFileFormatsSupported();
ZMIMPORT_API const ZmImportFileFormatInfo* ZmImportGetFileFormatInfo(int index);
/* 2 surely this format, 1 possibly, 0 not this format. */
ZMIMPORT_API char ZmImportIsCorrectFileType(int index, const char* file);
/* Stores the handle before opening; on false the handle is valid and must be closed. */
ZMIMPORT_API bool ZmImportOpen(int index, const char* file, bool readMode, void** handle,
                               ZmImportOpenOptions* options);
ZMIMPORT_API void ZmImportClose(int formatIndex, void* handle);
/* Text valid until the next call from any thread. */
ZMIMPORT_API const char* ZmImportGetLastError(int formatIndex, void* handle);
ZMIMPORT_API bool ZmImportEstablishSize(int formatIndex, void* handle, int* rows, int* cols);
ZMIMPORT_API bool ZmImportRead(int formatIndex, void* handle, void* hostTarget);
ZMIMPORT_API bool ZmImportWrite(int formatIndex, void* handle, void* hostSource);
ZMIMPORT_API const char* ZmImportGetWarning(int formatIndex, void* handle);
ZMIMPORT_API void ZmImportSetSpec(void* handle, ImportSpecBase* importSpec);
ZMIMPORT_API const char* ZmImportGetFileRead(void* handle);
/* The caller owns the returned record and its bytes (delete[] data, then delete). */
ZMIMPORT_API ZmImportOpenOptions* ZmImportGetFileOptions(int index, const char* file, bool flag);
ZMIMPORT_API void ZmImportInitPackage();
ZMIMPORT_API void ZmImportReleasePackage();

}  // extern "C"

/* Function types of the interface, for hosts that bind them by name. */
using ZmImportSizeFileFormatsSupportedFn = int (*)();
using ZmImportGetFileFormatInfoFn = const ZmImportFileFormatInfo* (*)(int);
using ZmImportIsCorrectFileTypeFn = char (*)(int, const char*);
using ZmImportOpenFn = bool (*)(int, const char*, bool, void**, ZmImportOpenOptions*);
using ZmImportCloseFn = void (*)(int, void*);
using ZmImportGetLastErrorFn = const char* (*)(int, void*);
using ZmImportEstablishSizeFn = bool (*)(int, void*, int*, int*);
using ZmImportReadFn = bool (*)(int, void*, void*);
using ZmImportWriteFn = bool (*)(int, void*, void*);
using ZmImportGetWarningFn = const char* (*)(int, void*);
using ZmImportSetSpecFn = void (*)(void*, ImportSpecBase*);
using ZmImportGetFileReadFn = const char* (*)(void*);
using ZmImportGetFileOptionsFn = ZmImportOpenOptions* (*)(int, const char*, bool);
using ZmImportInitPackageFn = void (*)();
using ZmImportReleasePackageFn = void (*)();
