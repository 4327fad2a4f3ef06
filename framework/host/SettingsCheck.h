// Checking the settings keys and values a host was given against the keys a format's
// reader writes as its defaults.
#pragma once

#include <string>
#include <vector>

#include "framework/host/SheetOffer.h"

namespace zmhost {

struct SettingsVerdict {
    std::vector<std::string> unknown;  // keys the reader does not read, in order given
    std::vector<std::string> known;    // the keys it reads
    std::string error;                 // a value that does not parse, with its key; "" if none
};

// Compares the settings with the reader's defaults (a settings document, "" when the
// format has no settings): a key the defaults lack is unknown; a value whose default is
// a whole number, a number or true/false must be one too.
SettingsVerdict CheckSettings(const std::string& defaultsXml, const SettingPairs& settings);

// The warning for the unknown keys of `verdict`, naming the keys the format reads.
std::string UnknownKeysWarning(const std::string& formatName, const SettingsVerdict& verdict);

}  // namespace zmhost
