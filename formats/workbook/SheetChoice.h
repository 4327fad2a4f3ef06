// Which worksheets of a workbook are read and how several are laid out, as the workbook
// readers keep it in their options: "ReadOrder" (1 stacked, 3 side by side), "Sheets"
// (";"-separated names or, with "UseIndexes", 1-based numbers) and "AllSheets".
#pragma once

#include <string>
#include <vector>

#include "framework/ZmImportTypes.h"

namespace zm {

struct SheetChoice {
    enum Layout { kStacked = 1, kSideBySide = 3 };

    std::vector<std::string> names;  // the selection, in the order to read
    int layout = kStacked;

    // Applies an options record against the workbook's sheet names. Returns false when
    // the record holds bytes that are no settings document. Names the workbook lacks are
    // dropped; an empty result selects the first sheet.
    bool Read(const ZmImportOpenOptions* record, const std::vector<std::string>& available);
    // Writes the choice into the record (new bytes, the receiver's).
    void Write(ZmImportOpenOptions* record, size_t availableCount) const;
    // The name of what was read: the names joined by "_", or "" for one sheet with a
    // default name ("Sheet1", "Blad2", "Tabelle3", "Feuil1", "Hoja1").
    std::string ReadName() const;
};

// The sheet size of several sheets read together, with the extra column (stacked) or
// row (side by side) that names the sheet each value came from.
struct SheetSize {
    int rows = 0;
    int cols = 0;
};
SheetSize CombinedSize(const std::vector<SheetSize>& sheets, int layout);

// The text that names a sheet in the extra column or row: "sheet: NAME", or "sheet".
std::string SheetLabel(const std::string& name);

}  // namespace zm
