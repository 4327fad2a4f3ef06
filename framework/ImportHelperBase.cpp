// The driver's dialog table, message hooks and the file check before a read.
#include "framework/ImportHelperBase.h"

#include <cstdio>
#include <cstring>
#include <filesystem>

#include "framework/ImportDLLLoader.h"
#include "platform/FileNames.h"
#include "platform/InputFile.h"
#include "platform/Log.h"
#include "platform/Translate.h"

namespace {

// Copies a text into a fixed field, truncated and always terminated.
template <size_t N>
void CopyField(char (&field)[N], const char* text) {
    if (text == nullptr)
        return;
    const size_t n = std::min(std::strlen(text), N - 1);
    std::memcpy(field, text, n);
    field[n] = '\0';
}

FormatTableEntry CatchAllEntry() {
    FormatTableEntry entry{};
    CopyField(entry.filter, zm::Translate("All files (*.*)").c_str());
    CopyField(entry.extensions[0], ".*");
    entry.canWrite = entry.canRead = entry.multiFile = entry.flag5 = 1;
    return entry;
}

FormatTableEntry EntryOf(const ZmImportFileFormatInfo& info) {
    FormatTableEntry entry{};
    CopyField(entry.filter, info.filter);
    if (info.canWrite)
        CopyField(entry.saveFilter, info.saveFilter);
    // The last slot stays empty to end the list.
    const char* extension = info.extensions;
    for (int i = 0; extension != nullptr && i < info.extensionCount &&
                    i < FormatTableEntry::kMaxExtensions - 1;
         ++i) {
        CopyField(entry.extensions[i], extension);
        extension += std::strlen(extension) + 1;
    }
    entry.canWrite = info.canWrite ? 1 : 0;
    entry.canRead = info.canRead ? 1 : 0;
    entry.multiFile = info.multiFile ? 1 : 0;
    entry.flag5 = info.flag5 ? 1 : 0;
    return entry;
}

}  // namespace

ImportHelperBase::ImportHelperBase(ImportDLLLoader* loader, const char* name)
    : loader(loader), name(name != nullptr ? name : "") {
    Init();
}

ImportHelperBase::~ImportHelperBase() = default;

void ImportHelperBase::Init() {
    formatTable.clear();
    formatTable.push_back(CatchAllEntry());
    if (loader == nullptr)
        return;
    const int count = loader->SizeInfos();
    for (int i = 1; i <= count; ++i) {
        const ZmImportFileFormatInfo* info = loader->GetInfo(i);
        formatTable.push_back(info != nullptr ? EntryOf(*info) : FormatTableEntry{});
    }
}

int ImportHelperBase::PutMsg1(const char* text, const char*, MessageType, int defaultAnswer) {
    zm::WriteMessage("ImportHelper", "PutMsgMB", zm::LogLevel::kError, text != nullptr ? text : "");
    return defaultAnswer;
}

void ImportHelperBase::PutMsg2(const char*, const char* b, const char* c) {
    zm::WriteMessage("ImportHelper", "PutMsgDD", zm::LogLevel::kError,
                     zm::FormatMessage("%1%: %2%", b != nullptr ? b : "", c != nullptr ? c : ""));
}

bool ImportHelperBase::SortFiles(const char*, ReadErrors&) {
    return true;
}

void ImportHelperBase::ShowProgressBarWhileReading(SpreadsheetData*, int, int) {}

void ImportHelperBase::StopProgressBar(SpreadsheetData*) {}

bool ImportHelperBase::Fail(const std::string& text) {
    lastError = text;
    return false;
}

bool ImportHelperBase::Fail(const std::string& text, ReadErrors code, ReadErrors& error) {
    error = code;
    return Fail(text);
}

void ImportHelperBase::Report(const std::string& text) {
    const std::string caption = zm::GetApplicationName();
    PutMsg1(text.c_str(), caption.c_str(), kMessageError, 1);
}

bool ImportHelperBase::CheckOneFile(const std::string& file, ReadErrors& error) {
    std::error_code ec;
    const auto status = std::filesystem::status(file, ec);
    if (ec || !std::filesystem::exists(status))
        return Fail(zm::Translate("The file does not exist."), kFileMissing, error);
    if (std::filesystem::is_directory(status))
        return Fail(zm::Translate("Directories can not be imported."), kFileIsDirectory, error);
    // Checked on a descriptor opened without blocking: an ordinary open of a FIFO would
    // wait for a writer, and a device would hand its endless bytes to the reader.
    const zm::InputCheck check = zm::CheckInputFile(file);
    if (check.kind == zm::InputKind::kMissing)
        return Fail(zm::Translate("The file could not be opened."), kFileMissing, error);
    if (check.kind == zm::InputKind::kOther)
        return Fail(check.refusal, kTypeNotSupported, error);
    return true;
}

// The loader index of the (position-1)-th readable table entry; -1 for the catch-all
// position 1 and for positions past the readable formats.
int ImportHelperBase::ResolveDialogPosition(int position) const {
    if (position < 2)
        return -1;
    int readable = 0;
    for (size_t i = 1; i < formatTable.size(); ++i) {
        if (formatTable[i].canRead && ++readable == position - 1)
            return static_cast<int>(i);
    }
    return -1;
}

bool ImportHelperBase::CheckFilesBeforeRead(const std::vector<std::string>& files, int& formatIndex,
                                            ReadErrors& error, bool refuseSeveral) {
    error = kNoReadError;
    for (const std::string& file : files) {
        if (!CheckOneFile(file, error))
            return false;
    }
    if (files.empty())
        return Fail(zm::Translate("The file does not exist."), kFileMissing, error);

    if (formatIndex >= 1) {
        const int resolved = ResolveDialogPosition(formatIndex);
        if (resolved >= 1) {
            formatIndex = resolved;
        } else {
            formatIndex =
                loader != nullptr ? loader->GetSpreadsheetFileIndex(files[0].c_str()) : -1;
            if (formatIndex < 1)
                return Fail(
                    zm::FormatMessage(zm::Translate("The file type could not be determined (%1%)."),
                                      files[0]),
                    kTypeUndetermined, error);
        }
    }

    if (formatIndex >= 1 && files.size() > 1) {
        const ZmImportFileFormatInfo* info = loader->GetInfo(formatIndex);
        if (info != nullptr && info->multiFile) {
            if (!SortFiles(files[0].c_str(), error))
                return false;
        } else if (refuseSeveral) {
            const char* filter = info != nullptr && info->filter != nullptr ? info->filter : "";
            return Fail(zm::FormatMessage(zm::Translate("%1% can only be imported one at a "
                                                        "time.\n\n Import will be aborted."),
                                          filter),
                        kSeveralFiles, error);
        }
    }

    if (formatIndex < 1)
        return Fail(zm::Translate("The file type is either not supported or could not be "
                                  "deduced from the file's extension or contents."),
                    kTypeNotSupported, error);
    return true;
}

bool ImportHelperBase::CheckFilesBeforeRead(const std::vector<std::wstring>& files,
                                            int& formatIndex, ReadErrors& error,
                                            bool refuseSeveral) {
    std::vector<std::string> narrow;
    narrow.reserve(files.size());
    for (const std::wstring& file : files)
        narrow.push_back(zm::WideToNarrow(file));
    return CheckFilesBeforeRead(narrow, formatIndex, error, refuseSeveral);
}

int ImportHelperBase::GetFormatIndex(const std::string& file, bool forWrite, bool forRead) {
    return loader != nullptr ? loader->GetFormatIndex(file, forWrite, forRead) : -1;
}

void ImportHelperBase::CopyOpenOptions(ZmImportOpenOptions* target,
                                       const ZmImportOpenOptions* source) const {
    if (target == nullptr)
        return;
    target->size = 0;
    target->data = nullptr;
    if (source == nullptr || source->size == 0 || source->data == nullptr)
        return;
    target->data = new unsigned char[source->size];
    std::memcpy(target->data, source->data, source->size);
    target->size = source->size;
}
