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
    // A new record (new'd, with new[]'d bytes) holding the choice.
    ZmImportOpenOptions* NewRecord(size_t availableCount) const;
    // The name of what was read: the names joined by "_", or "" for one sheet with a
    // default name ("Sheet1", "Blad2", "Tabelle3", "Feuil1", "Hoja1").
    std::string ReadName() const;

    enum class Outcome { kChosen, kCancelled, kBadOptions };
    // The choice a workbook reader makes when it opens: a single sheet is taken; several
    // are chosen by `options` or, without any, by `ask` (the reader's own choice, false
    // when the host cancelled), which an empty record then receives. Names the workbook
    // lacks are dropped; when none is left, the first sheet is read.
    template <typename Ask>
    Outcome Choose(const std::vector<std::string>& available, ZmImportOpenOptions* options,
                   Ask ask) {
        if (available.size() == 1) {
            names = available;
        } else if (options == nullptr || options->size == 0 || options->data == nullptr) {
            if (!ask())
                return Outcome::kCancelled;
            if (options != nullptr)
                Write(options, available.size());
        } else if (!Read(options, available)) {
            return Outcome::kBadOptions;
        }
        KeepAvailable(available);
        return Outcome::kChosen;
    }
    // Drops the names the workbook lacks; none left selects the first sheet.
    void KeepAvailable(const std::vector<std::string>& available);
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
