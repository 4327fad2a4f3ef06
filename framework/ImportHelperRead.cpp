// The driver's reading and writing: a reader from the loader, sized, read into the host's
// data object, its warning shown, and always closed and deleted before returning.
#include <cstring>
#include <filesystem>
#include <memory>

#include "framework/ImportDLLLoader.h"
#include "framework/ImportHelperBase.h"
#include "framework/ImportOptionsHelper.h"
#include "framework/SpreadsheetFile.h"
#include "platform/FileNames.h"
#include "platform/ReadMeter.h"
#include "platform/Translate.h"

namespace {

constexpr unsigned int kErrorBufferSize = 1024;
// The untranslated text of code 4: the user stopped the import and has been told.
constexpr const char* kAbortedByUser = "AbortedByUser";

// Closes and deletes a reader however the driver leaves.
struct CloseAndDelete {
    void operator()(SpreadsheetFile* file) const {
        file->Close();
        delete file;
    }
};
using ReaderPtr = std::unique_ptr<SpreadsheetFile, CloseAndDelete>;

std::string ReaderError(SpreadsheetFile& reader) {
    char buffer[kErrorBufferSize];
    buffer[0] = '\0';
    reader.GetErrorMessage(buffer, kErrorBufferSize);
    return buffer;
}

// Points the record at a new[]'d copy of `source`'s bytes (or at none). The bytes it held
// belong to whoever built the record, who keeps or frees them; the new ones belong to
// the record's receiver.
void ReturnOptions(const ImportHelperBase& helper, ZmImportOpenOptions* target,
                   const ZmImportOpenOptions* source) {
    if (target == nullptr)
        return;
    if (source != nullptr) {
        helper.CopyOpenOptions(target, source);
    } else {
        target->size = 0;
        target->data = nullptr;
    }
}

std::vector<std::string> Narrow(const std::vector<std::wstring>& files) {
    std::vector<std::string> narrow;
    narrow.reserve(files.size());
    for (const std::wstring& file : files)
        narrow.push_back(zm::WideToNarrow(file));
    return narrow;
}

}  // namespace

// Several files travel as one name to a multi-file format; other formats get the first.
std::string ImportHelperBase::OpenName(const std::vector<std::string>& files,
                                       int formatIndex) const {
    const ZmImportFileFormatInfo* info = loader->GetInfo(formatIndex);
    if (info != nullptr && info->multiFile)
        return zm::JoinFileNames(files);
    return files.front();
}

bool ImportHelperBase::ReadSpreadsheetFile(const std::vector<std::string>& files, int formatIndex,
                                           SpreadsheetData* data, ZmImportOpenOptions* options,
                                           bool returnOptions, ImportSpecBase* importSpec) {
    filenameRead.clear();
    if (files.empty())
        return Fail(zm::Translate("The file does not exist."));
    ReaderPtr reader(loader != nullptr && formatIndex >= 1 && formatIndex <= loader->SizeInfos()
                         ? loader->GetSpreadsheetFile(formatIndex)
                         : nullptr);
    if (!reader || data == nullptr)
        return Fail(
            zm::Translate("The file type is either not supported or could not be "
                          "deduced from the file's extension or contents."));

    ImportOptionsHelper::OpenOptions working;
    CopyOpenOptions(&working, options);
    const std::string openName = OpenName(files, formatIndex);
    // The input layers tell the data object how far into the files the reader is, from
    // the opening on, for the host's progress bar.
    const zm::ReadMeter meter(zm::SplitFileNames(openName), [data](uint64_t done, uint64_t total) {
        data->ReportBytesRead(done, total);
    });
    reader->Open(true, openName.c_str(), &working);
    if (importSpec != nullptr)
        reader->SetImportSpec(importSpec);

    if (reader->GetStatus() == 0) {
        const ZmImportFileFormatInfo* info = loader->GetInfo(formatIndex);
        if (info != nullptr && !info->flag4)
            data->firstFlag = false;
        const int rows = reader->GetNumRows();
        const int cols = reader->GetNumCols();
        if (rows >= 1 && cols >= 1) {
            data->SetDataSize(cols, rows);
            ShowProgressBarWhileReading(data, cols, rows);
            const int read = reader->Read(data);
            StopProgressBar(data);
            if (read == 0) {
                const char* warning = reader->GetWarningMessage();
                if (warning != nullptr && *warning != '\0') {
                    const std::string caption = zm::Translate("Warning");
                    if (PutMsg1(warning, caption.c_str(), kMessageWarning, 1) == kAnswerDeclined) {
                        reader.reset();
                        if (returnOptions)
                            ReturnOptions(*this, options, nullptr);
                        return false;
                    }
                }
                if (returnOptions)
                    ReturnOptions(*this, options, &working);
                const char* readName = reader->GetReadFile();
                if (readName != nullptr)
                    filenameRead = readName;
                if (filenameRead.empty())
                    filenameRead = zm::FileTitle(files.front());
                return true;
            }
        } else if (ReaderError(*reader) != kAbortedByUser) {
            // Whatever else the reader says, a sheet without one row and one column is
            // reported as empty; only the user's own abort stays silent.
            const std::string text = zm::Translate(
                "The selected file does not contain any data. Import will be aborted.");
            Report(text);
            return Fail(text);
        }
    }

    // Open, sizing or Read failed: the reader's own text, unless the user aborted.
    const std::string text = ReaderError(*reader);
    lastError = text;
    if (text != kAbortedByUser)
        Report(text);
    return false;
}

bool ImportHelperBase::ReadSpreadsheetFile(const std::vector<std::wstring>& files, int formatIndex,
                                           SpreadsheetData* data, ZmImportOpenOptions* options,
                                           bool returnOptions, ImportSpecBase* importSpec) {
    return ReadSpreadsheetFile(Narrow(files), formatIndex, data, options, returnOptions,
                               importSpec);
}

bool ImportHelperBase::WriteSpreadsheetFile(const char* file, int formatIndex,
                                            SpreadsheetData* data, ZmImportOpenOptions* options) {
    const std::string notSupported = zm::Translate(
        "Save not supported for the current file format\nor the file format could not be "
        "deduced.");
    if (file == nullptr || data == nullptr || loader == nullptr)
        return Fail(notSupported);
    if (formatIndex < 1) {
        // The extension picks a position among the writable formats; walk to its index.
        const int position = loader->GetFormatIndex(file, true, false);
        const int count = loader->SizeInfos();
        for (int i = 1, writable = 0; position >= 1 && i <= count; ++i) {
            const ZmImportFileFormatInfo* info = loader->GetInfo(i);
            if (info != nullptr && info->canWrite && ++writable == position) {
                formatIndex = i;
                break;
            }
        }
    }
    const ZmImportFileFormatInfo* info = formatIndex >= 1 && formatIndex <= loader->SizeInfos()
                                             ? loader->GetInfo(formatIndex)
                                             : nullptr;
    if (info == nullptr || !info->canWrite) {
        Report(notSupported);
        return Fail(notSupported);
    }
    ReaderPtr writer(loader->GetSpreadsheetFile(formatIndex));
    if (!writer) {
        Report(notSupported);
        return Fail(notSupported);
    }
    if (writer->Open(false, file, options) == 0 && writer->Write(data) == 0)
        return true;
    const std::string text = ReaderError(*writer);
    lastError = text;
    if (text != kAbortedByUser)
        Report(text);
    return false;
}

ZmImportOpenOptions* ImportHelperBase::GetFileOptions(const std::vector<std::string>& files,
                                                      int formatIndex, bool flag) {
    std::error_code ec;
    if (files.empty() || !std::filesystem::exists(files.front(), ec)) {
        Fail(zm::Translate("The file does not exist."));
        return nullptr;
    }
    if (loader == nullptr || formatIndex < 1 || formatIndex > loader->SizeInfos())
        return nullptr;
    ReaderPtr reader(loader->GetSpreadsheetFile(formatIndex));
    if (!reader)
        return nullptr;
    return reader->GetFileReadOptions(OpenName(files, formatIndex).c_str(), flag);
}
