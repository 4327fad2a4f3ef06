// Binary layout of the host objects that cross the exported interface as untyped
// pointers: a host derives from these classes (or lays out an identical object) and
// the library calls it through its table of virtual functions.
#pragma once

#include <stdint.h>

#include "platform/ZmExport.h"

#ifdef __cplusplus

// A host's read target. Note the order of arguments: the host takes the row first.
// Table slots: 0 number, 1 text, 2 size, 3-4 destructor, 5 MapRow.
// Row count at byte offset 24, column count at byte offset 28.
class ZmHostReadTarget {
  public:
    virtual void SetNumber(int row, int col, float value) = 0;     // slot 0
    virtual void SetText(int row, int col, const char* text) = 0;  // slot 1
    virtual void SetSize(int rows, int cols) = 0;                  // slot 2
    virtual ~ZmHostReadTarget() = default;                         // slots 3 and 4
    virtual int MapRow(int rowCounter) { return rowCounter + 1; }  // slot 5

    void* hostReserved[2] = {nullptr, nullptr};  // bytes 8..23 belong to the host
    int32_t rows = 0;                            // byte 24
    int32_t cols = 0;                            // byte 28
};

// Cell type codes of a host's write source.
enum ZmHostCellType : unsigned char { kHostNumber = 1, kHostText = 2, kHostMissing = 3 };

// A host's write source. Table slots: 0 type, 1 number, 2 text, 3 data origin,
// 4-5 destructor. Row count at byte offset 32, column count at byte offset 36.
class ZmHostWriteSource {
  public:
    virtual unsigned char GetCellType(int row, int col) = 0;  // slot 0
    virtual float GetNumber(int row, int col) = 0;            // slot 1
    virtual const char* GetText(int row, int col) = 0;        // slot 2
    virtual bool GetDataOrigin(int* col, int* row) = 0;       // slot 3
    virtual ~ZmHostWriteSource() = default;                   // slots 4 and 5

    void* hostReserved[3] = {nullptr, nullptr, nullptr};  // bytes 8..31 belong to the host
    int32_t rows = 0;                                     // byte 32
    int32_t cols = 0;                                     // byte 36
};

#else /* C: the same objects laid out by hand, a table of functions behind the first pointer */

#include <stdbool.h>

typedef struct ZmHostReadTarget ZmHostReadTarget;
typedef struct ZmHostReadTargetTable {
    void (*SetNumber)(ZmHostReadTarget* self, int row, int col, float value);    /* slot 0 */
    void (*SetText)(ZmHostReadTarget* self, int row, int col, const char* text); /* slot 1 */
    void (*SetSize)(ZmHostReadTarget* self, int rows, int cols);                 /* slot 2 */
    void (*Destroy)(ZmHostReadTarget* self);               /* slot 3: never called by the library */
    void (*DeleteSelf)(ZmHostReadTarget* self);            /* slot 4: never called by the library */
    int (*MapRow)(ZmHostReadTarget* self, int rowCounter); /* slot 5 */
} ZmHostReadTargetTable;
struct ZmHostReadTarget {
    const ZmHostReadTargetTable* table; /* byte 0 */
    void* hostReserved[2];              /* bytes 8..23 belong to the host */
    int32_t rows;                       /* byte 24 */
    int32_t cols;                       /* byte 28 */
};

enum { kHostNumber = 1, kHostText = 2, kHostMissing = 3 };

typedef struct ZmHostWriteSource ZmHostWriteSource;
typedef struct ZmHostWriteSourceTable {
    unsigned char (*GetCellType)(ZmHostWriteSource* self, int row, int col); /* slot 0 */
    float (*GetNumber)(ZmHostWriteSource* self, int row, int col);           /* slot 1 */
    const char* (*GetText)(ZmHostWriteSource* self, int row, int col);       /* slot 2 */
    bool (*GetDataOrigin)(ZmHostWriteSource* self, int* col, int* row);      /* slot 3 */
    void (*Destroy)(ZmHostWriteSource* self);    /* slot 4: never called by the library */
    void (*DeleteSelf)(ZmHostWriteSource* self); /* slot 5: never called by the library */
} ZmHostWriteSourceTable;
struct ZmHostWriteSource {
    const ZmHostWriteSourceTable* table; /* byte 0 */
    void* hostReserved[3];               /* bytes 8..31 belong to the host */
    int32_t rows;                        /* byte 32 */
    int32_t cols;                        /* byte 36 */
};

#endif
