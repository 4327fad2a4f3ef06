// The sheets (matrices, blocks, variables) a file offers, the ones a read takes when the settings
// choose none, and the words that tell the user about them.
#pragma once

#include <string>
#include <utility>
#include <vector>

class SpreadsheetFile;

namespace zmhost {

using SettingPairs = std::vector<std::pair<std::string, std::string>>;

struct SheetOffer {
    std::string key;                     // the settings key that chooses: "Sheets" or "DataBlocks"
    std::string noun;                    // "sheet", "matrix", "block" or "variable"
    std::vector<std::string> available;  // every choice, in file order
    std::vector<std::string> readByDefault;  // what a read without a choice takes
    bool sideBySide = false;                 // several are read side by side, not stacked
    std::string labels;                      // what names the rows and columns read
    // What the file holds that the reader cannot read: each one's name and kind.
    std::vector<std::pair<std::string, std::string>> passedOver;
};

// True for a reader that tells what it offers once open (MAT, netCDF, JCAMP-DX), so
// that the reader of a read itself can tell it.
bool TellsItsOffer(SpreadsheetFile& reader);
// What such a reader, opened without settings, offers; false when it offers no choice.
bool OfferOfOpened(SpreadsheetFile& reader, SheetOffer& offer);

// Opens `file` with the format's reader, without settings, and tells what it offers.
// False for a format whose reader offers no choice or a file it cannot open.
bool FindSheetOffer(int formatIndex, const std::string& file, SheetOffer& offer);

// True when the settings name the offer's key.
bool SettingsChoose(const SheetOffer& offer, const SettingPairs& settings);

// The error text for a choice naming what the file does not hold, or "" when every name
// (or, with "UseIndexes", every number) is there.
std::string CheckSheetChoice(const SheetOffer& offer, const SettingPairs& settings);

// One line naming what a read without a choice took, what else there is and the --set
// that chooses; "" when the file offers a single one and holds nothing it cannot read.
std::string SheetNote(const SheetOffer& offer);

}  // namespace zmhost
