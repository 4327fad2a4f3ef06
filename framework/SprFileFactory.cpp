// Registration, ordering and lookup of the built-in formats.
#include "framework/SprFileFactory.h"

#include <cstring>
#include <iterator>
#include <set>
#include <vector>

#include "platform/InputFile.h"

namespace {

struct ByFilter {
    bool operator()(const ZmImportFileFormatInfo* a, const ZmImportFileFormatInfo* b) const {
        return std::strcmp(a->filter, b->filter) < 0;
    }
};

// Records are handed out by pointer and kept by hosts and the loader, so a record is
// never freed, not even when a later registration of its name replaces it.
using Registry = std::set<const ZmImportFileFormatInfo*, ByFilter>;

// Replaced records, kept alive (and reachable) for whoever still holds them.
std::vector<const ZmImportFileFormatInfo*>& Retired() {
    static auto* retired = new std::vector<const ZmImportFileFormatInfo*>;
    return *retired;
}

// Created on first use so that registration works whatever the order in which static
// objects are constructed; never destroyed.
Registry& GetRegistry() {
    static Registry* registry = new Registry;
    return *registry;
}

const ZmImportFileFormatInfo* RecordAt(int index) {
    Registry& registry = GetRegistry();
    if (registry.empty())
        return nullptr;
    if (index < 2)
        return *registry.begin();
    if (static_cast<size_t>(index) > registry.size())
        return nullptr;
    return *std::next(registry.begin(), index - 1);
}

}  // namespace

SprFileFactory::SprFileFactory(const char* name, const char* filter, const char* saveFilter,
                               int extensionCount, const char* extensions, char canWrite,
                               char canRead, char multiFile, char flag4, char flag5,
                               char priority) {
    Registry& registry = GetRegistry();
    for (auto it = registry.begin(); it != registry.end(); ++it) {
        if (std::strcmp((*it)->name, name) != 0)
            continue;
        if ((*it)->factory->GetPriority() > static_cast<signed char>(priority))
            return;
        Retired().push_back(*it);
        registry.erase(it);
        break;
    }
    ZmImportFileFormatInfo probe{};
    probe.filter = filter;
    if (registry.count(&probe) != 0)
        return;  // an equal filter is present: silently ignored
    auto* record = new ZmImportFileFormatInfo{};
    record->name = name;
    record->filter = filter;
    record->saveFilter = saveFilter;
    record->extensionCount = extensionCount;
    record->extensions = extensions;
    record->canWrite = canWrite;
    record->canRead = canRead;
    record->multiFile = multiFile;
    record->flag4 = flag4;
    record->flag5 = flag5;
    record->factory = this;
    registry.insert(record);
}

int SprFileFactory::SizeInfos() {
    return static_cast<int>(GetRegistry().size());
}

SprFileFactory::MyKindOfFile SprFileFactory::IsMyKindOfFile(int index, const char* file) {
    const ZmImportFileFormatInfo* record = RecordAt(index);
    if (record == nullptr || file == nullptr)
        return kNotMine;
    // No detector is handed a FIFO (its reads would block) or a device (whose reads
    // never end).
    if (zm::CheckInputFile(file).kind == zm::InputKind::kOther)
        return kNotMine;
    return record->factory->IsMyKindOfFile(file);
}

SpreadsheetFile* SprFileFactory::GetSpreadsheetFile(int index) {
    const ZmImportFileFormatInfo* record = RecordAt(index);
    return record != nullptr ? record->factory->GetSpreadsheetFile() : nullptr;
}

const ZmImportFileFormatInfo* SprFileFactory::GetInfo(int index) {
    return RecordAt(index);
}
