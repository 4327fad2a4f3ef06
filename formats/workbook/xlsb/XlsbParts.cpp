// Workbook, shared strings and styles of a binary workbook.
#include "formats/workbook/xlsb/XlsbParts.h"

#include <map>

#include "formats/workbook/xlsb/XlsbRecords.h"
#include "platform/TextCase.h"
#include "platform/ZipPackage.h"

namespace zm::xlsb {

namespace {

// Record ids of the workbook, string table and styles parts.
constexpr uint32_t kWorkbookProperties = 153;
constexpr uint32_t kBeginBundleSheets = 143;
constexpr uint32_t kBundleSheet = 156;
constexpr uint32_t kBeginStrings = 159;
constexpr uint32_t kEndStrings = 160;
constexpr uint32_t kBeginFormats = 615;
constexpr uint32_t kFormat = 44;
constexpr uint32_t kBeginCellStyles = 617;
constexpr uint32_t kCellStyle = 47;

// A package may say anything; no small part of a workbook is allowed beyond this.
constexpr uint64_t kPartLimit = xlsx::kSmallPartLimit;

std::string FolderOf(const std::string& part) {
    const size_t slash = part.rfind('/');
    return slash == std::string::npos ? std::string() : part.substr(0, slash + 1);
}

}  // namespace

PartResult InitBinarySheetsVector(const ZipPackage& package, const std::string& workbook,
                                  std::vector<xlsx::SheetPart>& sheets, bool& date1904) {
    struct Entry {
        std::string name, relationship;
        uint32_t tab;
    };
    std::vector<Entry> entries;
    {
        auto stream = package.OpenStream(workbook, kPartLimit);
        if (!stream)
            return PartResult::kMissing;
        RecordReader reader(*stream);
        Record record;
        // The workbook's properties come before its sheets; bit 0 of their flags is the
        // 1904 date system.
        date1904 = false;
        bool found = false;
        while (!found && reader.ReadBiffRecord(record)) {
            if (record.id == kWorkbookProperties && record.size >= 4)
                date1904 = (U32At(record.data, 0) & 1) != 0;
            found = record.id == kBeginBundleSheets;
        }
        if (!found)
            return reader.Damaged() ? PartResult::kCorrupt : PartResult::kOk;
        while (reader.ReadBiffRecord(record) && record.id == kBundleSheet) {
            if (record.size < 8)
                return PartResult::kCorrupt;
            Entry entry;
            size_t after = 0;
            if (!StringAt(record, 8, entry.relationship, &after) ||
                !StringAt(record, after, entry.name))
                return PartResult::kCorrupt;
            entry.tab = U32At(record.data, 4);
            entries.push_back(std::move(entry));
        }
        if (!reader.ReadToEnd())
            return PartResult::kCorrupt;
    }
    const std::string folder = FolderOf(workbook);
    const std::string file = workbook.substr(folder.size());
    const auto relationships = xlsx::ReadRelationships(package, folder + "_rels/" + file + ".rels");
    for (const Entry& entry : entries) {
        std::string part = folder + "worksheets/sheet" + std::to_string(entry.tab) + ".bin";
        bool keep = true;
        for (const auto& r : relationships) {
            if (!EqualNoCase(r.id, entry.relationship))
                continue;
            keep = r.target.find("worksheets/") != std::string::npos;
            part = xlsx::Resolve(folder, r.target);
            break;
        }
        if (keep)
            sheets.push_back({entry.name, part});
    }
    return PartResult::kOk;
}

PartResult InitBinarySharedStringsVector(const ZipPackage& package, const std::string& part,
                                         xlsx::StringTable& strings) {
    auto stream = package.OpenStream(part, kPartLimit);
    if (!stream)
        return PartResult::kMissing;
    // Each item is a record of at least seven bytes; its UTF-8 text takes at most one and
    // a half times the UTF-16 it is stored in (more only for rare characters: then the
    // table grows).
    if (const ZipPackage::Entry* entry = package.Find(part)) {
        const uint64_t bytes = ZipPackage::InflatedBound(*entry, kPartLimit);
        strings.Reserve(bytes + bytes / 2, bytes / 7);
    }
    RecordReader reader(*stream);
    Record record;
    if (!reader.FindRecord(kBeginStrings, record))
        return reader.Damaged() ? PartResult::kCorrupt : PartResult::kOk;
    while (reader.ReadBiffRecord(record) && record.id != kEndStrings) {
        // One flags byte, then the characters.
        std::string text;
        if (!StringAt(record, 1, text))
            return PartResult::kCorrupt;
        strings.Add(text);
    }
    return reader.ReadToEnd() ? PartResult::kOk : PartResult::kCorrupt;
}

namespace {

// The cell styles' records after their begin record, each marked when its number format
// is a built-in date format or a custom one that reads as a date.
PartResult ReadCellStyles(RecordReader& reader, const std::map<uint16_t, bool>& customDates,
                          std::vector<bool>& dateStyles) {
    Record record;
    if (!reader.FindRecord(kBeginCellStyles, record) || record.size < 4)
        return reader.Damaged() ? PartResult::kCorrupt : PartResult::kOk;
    const uint32_t count = U32At(record.data, 0);
    for (uint32_t i = 0; i < count; ++i) {
        if (!reader.ReadBiffRecord(record) || record.id != kCellStyle || record.size < 4)
            return PartResult::kCorrupt;
        const uint16_t id = U16At(record.data, 2);
        const auto custom = customDates.find(id);
        dateStyles.push_back((id >= 14 && id <= 22) || (id >= 45 && id <= 47) ||
                             (custom != customDates.end() && custom->second));
    }
    return PartResult::kOk;
}

}  // namespace

PartResult InitBinaryFormatInfo(const ZipPackage& package, const std::string& part,
                                std::vector<bool>& dateStyles) {
    std::map<uint16_t, bool> customDates;
    auto stream = package.OpenStream(part, kPartLimit);
    if (!stream)
        return PartResult::kMissing;
    RecordReader reader(*stream);
    Record record;
    if (reader.FindRecord(kBeginFormats, record) && record.size >= 4) {
        const uint32_t count = U32At(record.data, 0);
        for (uint32_t i = 0; i < count; ++i) {
            std::string code;
            if (!reader.ReadBiffRecord(record) || record.id != kFormat || record.size < 2 ||
                !StringAt(record, 2, code))
                return PartResult::kCorrupt;
            customDates[U16At(record.data, 0)] = xlsx::IsDateFormat(code);
        }
        const PartResult result = ReadCellStyles(reader, customDates, dateStyles);
        return result == PartResult::kOk && !reader.ReadToEnd() ? PartResult::kCorrupt : result;
    }
    if (reader.Damaged())
        return PartResult::kCorrupt;
    // A workbook without custom formats goes straight to the cell styles: the part is
    // searched again from its start.
    auto again = package.OpenStream(part, kPartLimit);
    if (!again)
        return PartResult::kCorrupt;
    RecordReader fresh(*again);
    const PartResult result = ReadCellStyles(fresh, customDates, dateStyles);
    return result == PartResult::kOk && !fresh.ReadToEnd() ? PartResult::kCorrupt : result;
}

}  // namespace zm::xlsb
