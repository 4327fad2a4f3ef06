// Number forwarding and type tests of the host-data adapters.
#include "framework/DLLSpreadSheetData.h"

#include <boost/lexical_cast.hpp>
#include <cstddef>
#include <cstdint>

// The host layout is part of the exported interface: check the byte offsets.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(ZmHostReadTarget, rows) == 24);
static_assert(offsetof(ZmHostReadTarget, cols) == 28);
static_assert(offsetof(ZmHostWriteSource, rows) == 32);
static_assert(offsetof(ZmHostWriteSource, cols) == 36);
#pragma GCC diagnostic pop

// The host object comes from another program, often another compiler: it only shares
// the layout of ZmHostReadTarget/ZmHostWriteSource, not their type information. The
// sanitizer's dynamic-type check would reject every such call, so it is off here.
#define ZM_HOST_CALL __attribute__((no_sanitize("vptr")))

ZM_HOST_CALL int DLLReadSpreadSheetData::GetNumberOfColumns() {
    return host->cols;
}

ZM_HOST_CALL int DLLReadSpreadSheetData::GetNumberOfRows() {
    return host->rows;
}

ZM_HOST_CALL void DLLReadSpreadSheetData::Set(int col, int row, int value) {
    Set(col, row, static_cast<float>(value));
}

ZM_HOST_CALL void DLLReadSpreadSheetData::Set(int col, int row, long long value) {
    if (value == -99) {
        host->SetText(row, col, "");
        return;
    }
    const std::string text = boost::lexical_cast<std::string>(value);
    host->SetText(row, col, text.c_str());
}

ZM_HOST_CALL void DLLReadSpreadSheetData::Set(int col, int row, double value) {
    // Whole numbers above what a float keeps exactly go as decimal text.
    if (value > 999990.0 && value < 9223372036854775808.0) {
        const auto whole = static_cast<long long>(value);
        if (static_cast<double>(whole) == value) {
            Set(col, row, whole);
            return;
        }
    }
    Set(col, row, static_cast<float>(value));
}

ZM_HOST_CALL void DLLReadSpreadSheetData::Set(int col, int row, const char* text) {
    host->SetText(row, col, text);
}

ZM_HOST_CALL void DLLReadSpreadSheetData::Set(int col, int row, float value) {
    host->SetNumber(row, col, value);
}

ZM_HOST_CALL int DLLReadSpreadSheetData::MapRow(int rowCounter) {
    return host->MapRow(rowCounter);
}

ZM_HOST_CALL void DLLReadSpreadSheetData::SetDataSize(int cols, int rows) {
    host->SetSize(rows, cols);
}

ZM_HOST_CALL int DLLWriteSpreadSheetData::GetNumberOfColumns() {
    return host->cols;
}

ZM_HOST_CALL int DLLWriteSpreadSheetData::GetNumberOfRows() {
    return host->rows;
}

ZM_HOST_CALL float DLLWriteSpreadSheetData::GetNumber(int col, int row) {
    return host->GetNumber(row, col);
}

ZM_HOST_CALL std::string DLLWriteSpreadSheetData::GetText(int col, int row) {
    const char* text = host->GetText(row, col);
    return text != nullptr ? std::string(text) : std::string();
}

ZM_HOST_CALL bool DLLWriteSpreadSheetData::GetDataOrigin(int* col, int* row) {
    return host->GetDataOrigin(col, row);
}

ZM_HOST_CALL bool DLLWriteSpreadSheetData::IsNumber(int col, int row) {
    return host->GetCellType(row, col) == kHostNumber;
}

ZM_HOST_CALL bool DLLWriteSpreadSheetData::IsMissing(int col, int row) {
    return host->GetCellType(row, col) == kHostMissing;
}

ZM_HOST_CALL bool DLLWriteSpreadSheetData::IsText(int col, int row) {
    return host->GetCellType(row, col) == kHostText;
}
