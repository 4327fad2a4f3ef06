// Field and row bookkeeping of the compact CSV store.
#include "formats/text/CsvRows.h"

#include <algorithm>
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

size_t CsvRows::DropOpenRow() {
    // A line end inside the open field is one line; a last line without one counts too.
    const char* begin = text.Data() + rowTextStart;
    const char* end = text.Data() + text.Size();
    size_t lines = static_cast<size_t>(std::count(begin, end, '\n'));
    if (begin == end || end[-1] != '\n')
        ++lines;
    text.Truncate(rowTextStart);
    lengths.Truncate(rowFirstField);
    fieldStart = rowTextStart;
    return lines;
}
