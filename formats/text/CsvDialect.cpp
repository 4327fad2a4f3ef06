// The named CSV flavours.
#include "formats/text/CsvDialect.h"

CsvDialect CsvDialect::Excel() {
    CsvDialect d;
    d.doubleQuote = 1;
    d.delimiter = U',';
    d.quoteChar = U'"';
    d.escapeChar = 0;
    d.skipInitialSpace = false;
    d.lineTerminator = U"\r\n";
    d.quoting = true;
    d.strict = false;
    return d;
}

CsvDialect CsvDialect::Pelmora() {
    CsvDialect d = Excel();
    d.skipInitialSpace = true;
    return d;
}
