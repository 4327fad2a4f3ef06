/* The library's plain exported interface. Plug-in libraries export the same fifteen
   functions with the same signatures. Results typed bool are one byte, true = success.
   This header is C as well as C++. */
#pragma once

#include "framework/ZmImportTypes.h"
#include "platform/ZmExport.h"

#ifdef __cplusplus
class ImportSpecBase;
extern "C" {
#else
#include <stdbool.h>
typedef struct ImportSpecBase ImportSpecBase;
#endif

ZMIMPORT_API int ZmImportSizeFileFormatsSupported(void);
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
ZMIMPORT_API void ZmImportInitPackage(void);
ZMIMPORT_API void ZmImportReleasePackage(void);

/* Function types of the interface, for hosts that bind them by name. */
typedef int (*ZmImportSizeFileFormatsSupportedFn)(void);
typedef const ZmImportFileFormatInfo* (*ZmImportGetFileFormatInfoFn)(int);
typedef char (*ZmImportIsCorrectFileTypeFn)(int, const char*);
typedef bool (*ZmImportOpenFn)(int, const char*, bool, void**, ZmImportOpenOptions*);
typedef void (*ZmImportCloseFn)(int, void*);
typedef const char* (*ZmImportGetLastErrorFn)(int, void*);
typedef bool (*ZmImportEstablishSizeFn)(int, void*, int*, int*);
typedef bool (*ZmImportReadFn)(int, void*, void*);
typedef bool (*ZmImportWriteFn)(int, void*, void*);
typedef const char* (*ZmImportGetWarningFn)(int, void*);
typedef void (*ZmImportSetSpecFn)(void*, ImportSpecBase*);
typedef const char* (*ZmImportGetFileReadFn)(void*);
typedef ZmImportOpenOptions* (*ZmImportGetFileOptionsFn)(int, const char*, bool);
typedef void (*ZmImportInitPackageFn)(void);
typedef void (*ZmImportReleasePackageFn)(void);

#ifdef __cplusplus
}  // extern "C"
#endif
