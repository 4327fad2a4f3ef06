// The workbook readers' sheet choice and its options.
#include "formats/workbook/SheetChoice.h"

#include <algorithm>
#include <climits>
#include <memory>

#include "formats/workbook/WorkbookValues.h"
#include "framework/OptionsRecord.h"
#include "platform/Settings.h"
#include "platform/Translate.h"

namespace zm {

namespace {

constexpr const char* kSection = "Settings";

}  // namespace

bool SheetChoice::Read(const ZmImportOpenOptions* record,
                       const std::vector<std::string>& available) {
    std::unique_ptr<SettingsDocument> document;
    if (DecodeOptions(record, document) == OptionsDecode::kMalformed)
        return false;
    if (!document)
        return true;
    if (const auto order = document->GetInt(kSection, "ReadOrder"))
        layout = *order == kSideBySide ? kSideBySide : kStacked;
    const bool byIndex = document->GetBool(kSection, "UseIndexes").value_or(false);
    const auto sheets = document->GetString(kSection, "Sheets");
    if (document->GetBool(kSection, "AllSheets").value_or(false) && (!sheets || sheets->empty())) {
        names = available;
        return true;
    }
    if (!sheets)
        return true;
    names.clear();
    for (const std::string& item : zm::SplitSettingsList(*sheets)) {
        if (byIndex) {
            const auto index = ToInt(item, true);
            if (index && *index >= 1 && *index <= static_cast<long long>(available.size()))
                names.push_back(available[static_cast<size_t>(*index - 1)]);
        } else if (std::find(available.begin(), available.end(), item) != available.end()) {
            names.push_back(item);
        }
    }
    if (names.empty() && !available.empty())
        names.push_back(available.front());
    return true;
}

void SheetChoice::Write(ZmImportOpenOptions* record, size_t availableCount) const {
    if (record == nullptr)
        return;
    SettingsDocument document;
    std::string joined;
    for (size_t i = 0; i < names.size(); ++i)
        joined += (i > 0 ? ";" : "") + names[i];
    document.SetInt(kSection, "ReadOrder", layout);
    document.SetString(kSection, "Sheets", joined);
    document.SetBool(kSection, "UseIndexes", false);
    document.SetBool(kSection, "AllSheets", names.size() == availableCount);
    StoreOptions(record, document);
}

ZmImportOpenOptions* SheetChoice::NewRecord(size_t availableCount) const {
    auto* record = new ZmImportOpenOptions{0, nullptr};
    Write(record, availableCount);
    return record;
}

std::string SheetChoice::ReadName() const {
    if (names.size() == 1) {
        for (const char* prefix : {"Sheet", "Blad", "Tabelle", "Feuil", "Hoja"}) {
            const std::string& name = names.front();
            const std::string start(prefix);
            if (name.size() > start.size() && name.compare(0, start.size(), start) == 0 &&
                ToInt(std::string_view(name).substr(start.size()), true))
                return std::string();
        }
    }
    std::string joined;
    for (size_t i = 0; i < names.size(); ++i)
        joined += (i > 0 ? "_" : "") + names[i];
    return joined;
}

void SheetChoice::KeepAvailable(const std::vector<std::string>& available) {
    std::vector<std::string> kept;
    for (const std::string& name : names) {
        if (std::find(available.begin(), available.end(), name) != available.end())
            kept.push_back(name);
    }
    if (kept.empty() && !available.empty())
        kept.push_back(available.front());
    names = kept;
}

SheetSize CombinedSize(const std::vector<SheetSize>& sheets, int layout) {
    long long rows = 0, cols = 0;
    for (const SheetSize& s : sheets) {
        if (layout == SheetChoice::kSideBySide) {
            cols += s.cols;
            rows = std::max<long long>(rows, s.rows);
        } else {
            rows += s.rows;
            cols = std::max<long long>(cols, s.cols);
        }
    }
    if (sheets.size() > 1)
        ++(layout == SheetChoice::kSideBySide ? rows : cols);
    return {static_cast<int>(std::min<long long>(rows, INT_MAX)),
            static_cast<int>(std::min<long long>(cols, INT_MAX))};
}

std::string SheetLabel(const std::string& name) {
    return name.empty() ? Translate("sheet") : FormatMessage(Translate("sheet: %1%"), name);
}

}  // namespace zm
