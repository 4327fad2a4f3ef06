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

int DLLReadSpreadSheetData::GetNumberOfColumns() { return host->cols; }

int DLLReadSpreadSheetData::GetNumberOfRows() { return host->rows; }

void DLLReadSpreadSheetData::Set(int col, int row, int value) {
    Set(col, row, static_cast<float>(value));
}

void DLLReadSpreadSheetData::Set(int col, int row, long long value) {
    if (value == -99) {
        host->SetText(row, col, "");
        return;
    }
    const std::string text = boost::lexical_cast<std::string>(value);
    host->SetText(row, col, text.c_str());
}

void DLLReadSpreadSheetData::Set(int col, int row, double value) {
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

void DLLReadSpreadSheetData::Set(int col, int row, const char* text) {
    host->SetText(row, col, text);
}

void DLLReadSpreadSheetData::Set(int col, int row, float value) {
    host->SetNumber(row, col, value);
}

int DLLReadSpreadSheetData::MapRow(int rowCounter) { return host->MapRow(rowCounter); }

void DLLReadSpreadSheetData::SetDataSize(int cols, int rows) { host->SetSize(rows, cols); }

int DLLWriteSpreadSheetData::GetNumberOfColumns() { return host->cols; }

int DLLWriteSpreadSheetData::GetNumberOfRows() { return host->rows; }

float DLLWriteSpreadSheetData::GetNumber(int col, int row) { return host->GetNumber(row, col); }

std::string DLLWriteSpreadSheetData::GetText(int col, int row) {
    const char* text = host->GetText(row, col);
    return text != nullptr ? std::string(text) : std::string();
}

bool DLLWriteSpreadSheetData::GetDataOrigin(int* col, int* row) {
    return host->GetDataOrigin(col, row);
}

bool DLLWriteSpreadSheetData::IsNumber(int col, int row) {
    return host->GetCellType(row, col) == kHostNumber;
}

bool DLLWriteSpreadSheetData::IsMissing(int col, int row) {
    return host->GetCellType(row, col) == kHostMissing;
}

bool DLLWriteSpreadSheetData::IsText(int col, int row) {
    return host->GetCellType(row, col) == kHostText;
}
