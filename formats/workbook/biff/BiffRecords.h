// Record types of BIFF streams and the few tests on them that the reader shares.
#pragma once

#include <cstdint>

#include "formats/workbook/WorkbookValues.h"

namespace zm::biff::records {

// Record types.
inline constexpr uint16_t kEof = 0x000A;
inline constexpr uint16_t kFilePass = 0x002F;
inline constexpr uint16_t kContinue = 0x003C;
inline constexpr uint16_t kCodePage = 0x0042;
inline constexpr uint16_t kWsBool = 0x0081;
inline constexpr uint16_t kBoundSheet = 0x0085;
inline constexpr uint16_t kSheetOffset = 0x008E;
inline constexpr uint16_t kBundleHeader = 0x008F;
inline constexpr uint16_t kXf = 0x00E0;
inline constexpr uint16_t kSst = 0x00FC;
inline constexpr uint16_t kFormat = 0x041E;
inline constexpr uint16_t kShrFmla = 0x04BC;

// Sheets never hold more than this many rows and columns; larger DIMENSIONS are damage.
using zm::kMaxCols;
using zm::kMaxRows;

// Records that hold a cell, its row at offset 0 and its column at offset 2.
inline bool IsCellRecord(uint16_t type) {
    switch (type) {
        case 0x0002:
        case 0x0003:
        case 0x0004:
        case 0x0005:
        case 0x0006:
        case 0x0203:
        case 0x0204:
        case 0x0205:
        case 0x0206:
        case 0x0406:
        case 0x007E:
        case 0x027E:
        case 0x00BD:
        case 0x00D6:
        case 0x00FD:
            return true;
        default:
            return false;
    }
}

inline bool IsBof(uint16_t type) {
    return (type & 0xFF) == 0x09 && (type >> 8) <= 0x08;
}

}  // namespace zm::biff::records
