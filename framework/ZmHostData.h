// Binary layout of the host objects that cross the exported interface as untyped
// pointers: a host derives from these classes (or lays out an identical object) and
// the library calls it through its table of virtual functions.
#pragma once

#include <cstdint>

#include "platform/ZmExport.h"

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
