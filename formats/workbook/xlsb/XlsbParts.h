// The small parts of a binary workbook (.xlsb): the visible worksheets with their parts,
// the shared strings, and which cell styles are date styles.
#pragma once

#include <string>
#include <vector>

#include "formats/workbook/xlsx/XlsxParts.h"

namespace zm {
class ZipPackage;
}

namespace zm::xlsb {

enum class PartResult { kOk, kMissing, kCorrupt };

// The worksheets of the workbook part in tab order, hidden ones included (as in .xlsx
// workbooks); sheets whose relationship points outside "worksheets/" (chart sheets,
// macro and dialog sheets) drop out. `date1904` tells whether the workbook property
// record sets the 1904 date system.
PartResult InitBinarySheetsVector(const ZipPackage& package, const std::string& workbook,
                                  std::vector<xlsx::SheetPart>& sheets, bool& date1904);
// Every item of the string table, rich-text and phonetic data left out. A missing part
// leaves no strings.
PartResult InitBinarySharedStringsVector(const ZipPackage& package, const std::string& part,
                                         xlsx::StringTable& strings);
// For each cell style, whether its number format is a date format. kCorrupt when a
// format or style record is not where its count says it is.
PartResult InitBinaryFormatInfo(const ZipPackage& package, const std::string& part,
                                std::vector<bool>& dateStyles);

}  // namespace zm::xlsb
