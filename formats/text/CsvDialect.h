// How a comma-separated file is written: delimiter, quoting and escaping.
#pragma once

#include <string>

#include "platform/ZmExport.h"

// A plain copyable description of one CSV flavour. Characters are Unicode code points;
// an escape character of 0 means the dialect has none.
struct ZMIMPORT_API CsvDialect {
    int doubleQuote = 0;      // a doubled quote inside quotes stands for one quote
    char32_t delimiter = 44;  // ','
    char32_t quoteChar = 34;  // '"'
    char32_t escapeChar = 0;  // none
    bool skipInitialSpace = false;
    std::u32string lineTerminator;  // carried for writers; the parser knows CR and LF
    bool quoting = false;           // the quote character is active
    bool strict = false;            // text after a closing quote is an error

    // The flavour spreadsheet programs write: doubled quotes, CR LF line ends.
    static CsvDialect Excel();
    // Excel() that also drops blanks at the start of every field.
    static CsvDialect Pelmora();
};
