// The cell sink a reader fills and the cell source a writer empties.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/ZmExport.h"

// Common base of sinks and sources: the extent of the table they hold.
class ZMIMPORT_API SpreadSheetDataBase {
  public:
    virtual ~SpreadSheetDataBase() = default;
    virtual int GetNumberOfColumns() = 0;
    virtual int GetNumberOfRows() = 0;
};

// Target of a read. Columns and rows are 1-based; the sink's own number type is the
// 32-bit float, so the wider overloads narrow unless a sink overrides them.
class ZMIMPORT_API ReadSpreadSheetData : public virtual SpreadSheetDataBase {
  public:
    virtual void Set(int col, int row, int value) { Set(col, row, static_cast<float>(value)); }
    virtual void Set(int col, int row, long long value) {
        Set(col, row, static_cast<float>(value));
    }
    virtual void Set(int col, int row, double value) { Set(col, row, static_cast<float>(value)); }
    virtual void Set(int col, int row, const char* text) = 0;
    virtual void Set(int col, int row, float value) = 0;
    // Lets a sink renumber rows: a later row skips lines, a negative one ends the read.
    virtual int MapRow(int rowCounter) { return rowCounter + 1; }
    virtual void SetDataSize(int cols, int rows) = 0;
    // How far a read is through its input: `bytesRead` of the `bytesTotal` bytes of the
    // file (or files) it reads. Readers that know their position call it now and then,
    // with totals that only grow; a sink that shows progress overrides it, others ignore it.
    virtual void ReportBytesRead(unsigned long long bytesRead, unsigned long long bytesTotal) {
        (void)bytesRead;
        (void)bytesTotal;
    }
    // A run of `count` numbers into consecutive cells from (`col`, `row`): down the column
    // or across the row. A value that is not finite stands for a missing cell and leaves
    // its cell as it is. By default each number goes through the per-cell `Set`; a sink
    // that keeps numbers in blocks takes the run at once.
    virtual void SetNumbersDown(int col, int row, const double* values, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            if (std::isfinite(values[i]))
                Set(col, row + static_cast<int>(i), values[i]);
        }
    }
    virtual void SetNumbersAcross(int col, int row, const double* values, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            if (std::isfinite(values[i]))
                Set(col + static_cast<int>(i), row, values[i]);
        }
    }
    // The fields of a row as texts into consecutive cells from (`col`, `row`): `count`
    // zero-terminated texts one after another from `texts`, the i-th `lengths[i]` bytes
    // long before its terminator. By default each goes through the per-cell `Set`; a
    // sink that types texts may take the row at once.
    virtual void SetTextsAcross(int col, int row, const char* texts, const uint32_t* lengths,
                                size_t count) {
        for (size_t i = 0; i < count; ++i) {
            Set(col + static_cast<int>(i), row, texts);
            texts += lengths[i] + size_t{1};
        }
    }
    // The same for the sink's own 32-bit numbers (a spectrum's values, say).
    virtual void SetNumbersAcross(int col, int row, const float* values, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            if (std::isfinite(values[i]))
                Set(col + static_cast<int>(i), row, values[i]);
        }
    }
    // Headings across `row` from `col` on, one text per number: `prefix` followed by the
    // number as zm::FormatG6 writes it, the "t 350.5" headings of a spectrum's x points.
    // By default each text goes through the per-cell `Set`; a sink may keep the numbers
    // and make the texts when they are asked for.
    virtual void SetHeadingsAcross(int col, int row, const char* prefix, const float* values,
                                   size_t count);
};

// Source of a write.
class ZMIMPORT_API WriteSpreadSheetData : public virtual SpreadSheetDataBase {
  public:
    virtual float GetNumber(int col, int row) = 0;
    virtual std::string GetText(int col, int row) = 0;
    // Where the numeric block begins; the column before holds row names, the row above
    // column names. False when the source cannot say.
    virtual bool GetDataOrigin(int* col, int* row) = 0;
    virtual bool IsNumber(int col, int row) = 0;
    virtual bool IsMissing(int col, int row) = 0;
    virtual bool IsText(int col, int row) = 0;
};

// The host's description of what to take from a file holding several data sets. The
// library only ever touches `accepted`, telling the host whether the reader used it.
class ZMIMPORT_API ImportSpecBase {
  public:
    bool accepted = false;
    virtual ~ImportSpecBase() = default;
};
