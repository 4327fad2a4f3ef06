// Plain records that cross the exported C interface: the format record and the options record.
#pragma once

#include <cstddef>
#include <cstdint>

#ifdef __cplusplus
class SprFileFactory;
#else
typedef struct SprFileFactory SprFileFactory;
#endif

// One format of a library: handed out by pointer and read by plug-in hosts at fixed
// byte offsets, so the field order and sizes must not change.
struct ZmImportFileFormatInfo {
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
};

// Options of one open: a byte count and bytes holding one length-prefixed settings document.
struct ZmImportOpenOptions {
    uint32_t size;  // number of bytes in data; 0 means no options
    unsigned char* data;
};

#ifdef __cplusplus
static_assert(offsetof(ZmImportFileFormatInfo, name) == 0);
static_assert(offsetof(ZmImportFileFormatInfo, filter) == 8);
static_assert(offsetof(ZmImportFileFormatInfo, saveFilter) == 16);
static_assert(offsetof(ZmImportFileFormatInfo, extensionCount) == 24);
static_assert(offsetof(ZmImportFileFormatInfo, extensions) == 32);
static_assert(offsetof(ZmImportFileFormatInfo, canWrite) == 40);
static_assert(offsetof(ZmImportFileFormatInfo, flag5) == 44);
static_assert(offsetof(ZmImportFileFormatInfo, factory) == 48);
static_assert(sizeof(ZmImportFileFormatInfo) == 56);
#endif
