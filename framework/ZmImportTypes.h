/* Plain records that cross the exported C interface: the format record and the options
   record. This header is C as well as C++. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
class SprFileFactory;
#else
typedef struct SprFileFactory SprFileFactory;
#endif

// One format of a library: handed out by pointer and read by plug-in hosts at fixed
// byte offsets, so the field order and sizes must not change.
typedef struct ZmImportFileFormatInfo {
    const char* name;         // 0: the format's name, the unique key for replacement
    const char* filter;       // 8: open-dialog filter text, the ordering key
    const char* saveFilter;   // 16: save-dialog filter text or null
    int32_t extensionCount;   // 24: number of extensions in `extensions`
    const char* extensions;   // 32: zero-terminated extensions laid end to end
    char canWrite;            // 40
    char canRead;             // 41
    char multiFile;           // 42
    char flag4;               // 43: false makes the driver clear the host data's first flag
    char flag5;               // 44: copied into the host's format table
    SprFileFactory* factory;  // 48: meaningful only inside the library that made the record
} ZmImportFileFormatInfo;

// Options of one open: a byte count and bytes holding one length-prefixed settings document.
typedef struct ZmImportOpenOptions {
    uint32_t size;  // number of bytes in data; 0 means no options
    unsigned char* data;
} ZmImportOpenOptions;

#ifndef __cplusplus
#include <assert.h>
#endif
static_assert(offsetof(ZmImportFileFormatInfo, name) == 0, "layout");
static_assert(offsetof(ZmImportFileFormatInfo, filter) == 8, "layout");
static_assert(offsetof(ZmImportFileFormatInfo, saveFilter) == 16, "layout");
static_assert(offsetof(ZmImportFileFormatInfo, extensionCount) == 24, "layout");
static_assert(offsetof(ZmImportFileFormatInfo, extensions) == 32, "layout");
static_assert(offsetof(ZmImportFileFormatInfo, canWrite) == 40, "layout");
static_assert(offsetof(ZmImportFileFormatInfo, flag5) == 44, "layout");
static_assert(offsetof(ZmImportFileFormatInfo, factory) == 48, "layout");
static_assert(sizeof(ZmImportFileFormatInfo) == 56, "layout");
