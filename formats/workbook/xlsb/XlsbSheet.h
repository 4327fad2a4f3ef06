// One worksheet part of a binary workbook, read record by record into the same compact
// cell list as the XML worksheets.
#pragma once

#include <string>
#include <vector>

#include "formats/workbook/xlsx/XlsxSheet.h"

namespace zm {
class ZipPackage;
}

namespace zm::xlsb {

enum class SheetResult { kOk, kMissing, kCorrupt };

// Reads the part. `dateStyles` tells which cell styles format numbers as dates;
// `unknownRecords` grows by the records that are not understood (outside alternate
// content).
SheetResult ReadBinarySheet(const ZipPackage& package, const std::string& part,
                            const std::vector<bool>& dateStyles, xlsx::SheetCells& out,
                            long long& unknownRecords);

}  // namespace zm::xlsb
