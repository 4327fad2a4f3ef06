// What a workbook, MAT, JCAMP-DX or netCDF file offers to choose from, found by opening it
// with the format's reader as a read without settings does.
#include "framework/host/SheetOffer.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <memory>
#include <utility>

#include "formats/spectral/JCAMPFile.h"
#include "formats/spectral/NetCDFFile.h"
#include "formats/workbook/ExcelFile.h"
#include "formats/workbook/MatFile.h"
#include "formats/workbook/xlsx/Excel2007File.h"
#include "framework/host/ReaderSession.h"
#include "platform/Settings.h"

namespace zmhost {

namespace {

// Longer lists are cut in the note; `zmimport options FILE` prints them whole.
constexpr size_t kNamesShown = 12;

bool ToIndex(const std::string& text, long long& value) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end;
}

const std::string* Setting(const SettingPairs& settings, const std::string& key) {
    const std::string* value = nullptr;
    for (const auto& [k, v] : settings) {
        if (k == key)
            value = &v;  // the last one counts, as in the settings document
    }
    return value;
}

std::string Plural(const std::string& noun) {
    return noun == "matrix" ? "matrices" : noun + "s";
}

std::string NameList(const std::vector<std::string>& names) {
    std::string list;
    for (size_t i = 0; i < names.size() && i < kNamesShown; ++i)
        list += (i > 0 ? ", " : "") + names[i];
    if (names.size() > kNamesShown)
        list += ", ... (" + std::to_string(names.size()) + " in all)";
    return list;
}

std::string Article(const std::string& word) {
    return !word.empty() && std::string("aeiou").find(word.front()) != std::string::npos ? "an "
                                                                                         : "a ";
}

std::string PassedOverList(const std::vector<std::pair<std::string, std::string>>& passed) {
    std::vector<std::string> named;
    for (const auto& [name, kind] : passed)
        named.push_back(name.empty() ? kind : name + " (" + kind + ")");
    return NameList(named);
}

// What a read of several without a choice took, and what else there is.
std::string WhatWasRead(const SheetOffer& offer) {
    const size_t count = offer.available.size();
    if (offer.readByDefault.size() == count) {
        return "read all " + std::to_string(count) + " " + Plural(offer.noun) +
               (offer.key == "Sheets" ? (offer.sideBySide ? ", side by side" : ", stacked") : "") +
               " (" + NameList(offer.available) + ")";
    }
    std::string what;
    for (size_t i = 0; i < offer.readByDefault.size() && i < kNamesShown; ++i)
        what += (i > 0 ? ", \"" : "\"") + offer.readByDefault[i] + "\"";
    const bool one = offer.readByDefault.size() == 1;
    std::string position = std::to_string(offer.readByDefault.size());
    if (one) {
        const auto at =
            std::find(offer.available.begin(), offer.available.end(), offer.readByDefault.front());
        position = std::to_string(at - offer.available.begin() + 1);
    }
    return "read " + (one ? offer.noun : Plural(offer.noun)) + " " + what + " (" + position +
           " of " + std::to_string(count) + ": " + NameList(offer.available) + ")";
}

std::string ChooseHint(const SheetOffer& offer) {
    return "--set " + offer.key + (offer.key == "DataBlocks" ? "=INDEX" : "=NAME");
}

// The reader's settings after opening without any, as a document (null when none).
std::unique_ptr<zm::SettingsDocument> Written(const OptionsRecord& record) {
    std::string xml;
    if (!record.DecodeXml(xml) || xml.empty())
        return nullptr;
    return zm::SettingsDocument::Parse(xml);
}

}  // namespace

bool TellsItsOffer(SpreadsheetFile& reader) {
    return dynamic_cast<MatFile*>(&reader) != nullptr ||
           dynamic_cast<NetCDFFile*>(&reader) != nullptr ||
           dynamic_cast<JCAMPFile*>(&reader) != nullptr;
}

bool OfferOfOpened(SpreadsheetFile& reader, SheetOffer& offer) {
    offer = SheetOffer();
    ReadChoices choices;
    if (!reader.GetReadChoices(choices))
        return false;
    offer.key = choices.key;
    offer.noun = choices.noun;
    offer.available = std::move(choices.available);
    offer.readByDefault = std::move(choices.chosen);
    offer.sideBySide = choices.sideBySide;
    offer.labels = std::move(choices.labels);
    offer.passedOver = std::move(choices.passedOver);
    return true;
}

bool FindSheetOffer(int formatIndex, const std::string& file, SheetOffer& offer) {
    offer = SheetOffer();
    try {
        ReaderPtr reader = CreateReader(formatIndex);
        auto* excel = dynamic_cast<ExcelFile*>(reader.get());
        auto* excel2007 = dynamic_cast<Excel2007File*>(reader.get());
        // Readers that say what they offer, and the workbook readers, whose offer is read
        // from what they write back.
        const bool offers = TellsItsOffer(*reader);
        if (excel == nullptr && excel2007 == nullptr && !offers)
            return false;
        OptionsRecord record;
        if (reader->Open(true, file.c_str(), record.Get()) != 0)
            return false;
        if (offers)
            return OfferOfOpened(*reader, offer);
        const std::unique_ptr<zm::SettingsDocument> written = Written(record);
        if (!written)
            return false;
        offer.key = "Sheets";
        offer.noun = "sheet";
        offer.available = excel != nullptr ? excel->GetWorksheets() : excel2007->GetWorksheets();
        const auto chosen = written->GetString("Settings", "Sheets");
        if (!chosen)
            return false;
        offer.readByDefault = zm::SplitSettingsList(*chosen);
        offer.sideBySide = written->GetInt("Settings", "ReadOrder").value_or(1) == 3;
        return !offer.available.empty();
    } catch (const std::exception&) {
        return false;
    }
}

bool SettingsChoose(const SheetOffer& offer, const SettingPairs& settings) {
    return Setting(settings, offer.key) != nullptr ||
           (offer.key == "Sheets" && Setting(settings, "AllSheets") != nullptr);
}

std::string CheckSheetChoice(const SheetOffer& offer, const SettingPairs& settings) {
    const std::string* value = Setting(settings, offer.key);
    if (value == nullptr || value->empty())
        return std::string();
    const std::string* byIndex = Setting(settings, "UseIndexes");
    const bool indexes = offer.key == "DataBlocks" ||
                         (byIndex != nullptr && (*byIndex == "true" || *byIndex == "1"));
    // Blocks count from 0, sheets chosen by number from 1.
    const long long first = offer.key == "DataBlocks" ? 0 : 1;
    const long long last = first + static_cast<long long>(offer.available.size()) - 1;
    for (const std::string& item : zm::SplitSettingsList(*value)) {
        long long number = 0;
        const bool held = indexes ? ToIndex(item, number) && number >= first && number <= last
                                  : std::find(offer.available.begin(), offer.available.end(),
                                              item) != offer.available.end();
        if (held)
            continue;
        for (const auto& [name, kind] : offer.passedOver) {
            if (!indexes && name == item)
                return offer.noun + " \"" + item + "\" is " + Article(kind) + kind +
                       ", which cannot be read (" + Plural(offer.noun) + ": " +
                       NameList(offer.available) + ")";
        }
        std::string text = "no " + offer.noun + " \"" + item + "\" in the file (" +
                           Plural(offer.noun) + ": " + NameList(offer.available);
        if (indexes)
            text += "; numbers " + std::to_string(first) + " to " + std::to_string(last);
        return text + ")";
    }
    return std::string();
}

std::string SheetNote(const SheetOffer& offer) {
    const size_t count = offer.available.size();
    if ((count < 2 && offer.passedOver.empty()) || offer.readByDefault.empty())
        return std::string();
    std::string note = count < 2 ? "read " + offer.noun + " \"" + offer.readByDefault.front() + "\""
                                 : WhatWasRead(offer);
    if (!offer.labels.empty())
        note += ", " + offer.labels;
    if (!offer.passedOver.empty())
        note += "; not read: " + PassedOverList(offer.passedOver);
    if (count > 1)
        note += "; choose with " + ChooseHint(offer);
    return note;
}

}  // namespace zmhost
