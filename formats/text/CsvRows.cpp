// Field and row bookkeeping of the compact CSV store.
#include "formats/text/CsvRows.h"

#include <stdexcept>

void CsvRows::ThrowTooLong() {
    throw std::length_error("CSV field longer than 4 GiB");
}

void CsvRows::EndRow() {
    const size_t fields = CurrentRowFields();
    if (fields > UINT32_MAX)
        throw std::length_error("CSV row with more than 2^32 fields");
    rowFields.Push(static_cast<uint32_t>(fields));
    if (fields > longestRow)
        longestRow = fields;
    rowFirstField = lengths.Size();
    rowTextStart = fieldStart;
}

void CsvRows::DropOpenRow() {
    text.Truncate(rowTextStart);
    lengths.Truncate(rowFirstField);
    fieldStart = rowTextStart;
}
