// Compact in-memory store of parsed CSV rows: one character buffer plus field lengths.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/RawArray.h"

class CsvRows {
  public:
    // Sizes the character buffer for about `bytes` of field text; untouched capacity
    // costs address space, not memory.
    void ReserveText(size_t bytes) { text.Reserve(bytes); }

    void AppendToField(const char* p, size_t n) { text.Append(p, n); }
    void AppendToField(char c) { text.Push(c); }
    // The same for n <= 16 bytes where 16 bytes from p are readable.
    void AppendShortToField(const char* p, size_t n) { text.AppendShort(p, n); }
    // Ends the field being built and adds it to the current row.
    [[gnu::always_inline]] void EndField() {
        const size_t length = text.Size() - fieldStart;
        if (length > UINT32_MAX)
            ThrowTooLong();
        text.Push('\0');
        lengths.Push(static_cast<uint32_t>(length));
        fieldStart = text.Size();
    }
    // Finishes the current row, even when it has no fields.
    void EndRow();
    // Forgets the field being built and every field of the current row; returns the
    // number of lines of the file that they held.
    size_t DropOpenRow();
    size_t CurrentRowFields() const { return lengths.Size() - rowFirstField; }

    size_t RowCount() const { return rowFields.Size(); }
    size_t LongestRow() const { return longestRow; }
    size_t FieldsInRow(size_t row) const { return rowFields[row]; }
    uint32_t FieldLength(size_t field) const { return lengths[field]; }
    // The lengths of the fields from `field` on, one after another.
    const uint32_t* FieldLengths(size_t field) const { return lengths.Data() + field; }
    const char* Text() const { return text.Data(); }

  private:
    [[noreturn]] static void ThrowTooLong();

    zm::RawArray<char> text;
    zm::RawArray<uint32_t> lengths;    // per finished field, without its zero byte
    zm::RawArray<uint32_t> rowFields;  // per finished row, its number of fields
    size_t fieldStart = 0;             // where the field being built begins in `text`
    size_t rowFirstField = 0;          // first field of the current row
    size_t rowTextStart = 0;           // where the current row begins in `text`
    size_t longestRow = 0;
};
