// Conversion through the registry's writers.
#include "framework/host/Convert.h"

#include <charconv>

#include "formats/text/TextFileOptions.h"
#include "framework/OptionsRecord.h"
#include "framework/SprFileFactory.h"
#include "framework/ZmImport.h"
#include "framework/host/FormatTable.h"
#include "framework/host/ReaderSession.h"
#include "framework/host/SheetSource.h"
#include "framework/host/TextTyping.h"
#include "platform/Settings.h"

namespace zmhost {

namespace {

bool CanWrite(int registryIndex) {
    const ZmImportFileFormatInfo* info = SprFileFactory::GetInfo(registryIndex);
    return info != nullptr && info->canWrite;
}

// A writable format of the registry by its exact name or its registry index; 0 if none.
int WriterNamed(const std::string& nameOrIndex) {
    for (int i = 1; i <= SprFileFactory::SizeInfos(); ++i) {
        const ZmImportFileFormatInfo* info = SprFileFactory::GetInfo(i);
        if (info->name != nullptr && nameOrIndex == info->name)
            return CanWrite(i) ? i : 0;
    }
    int index = 0;
    const char* end = nameOrIndex.data() + nameOrIndex.size();
    const auto [stop, error] = std::from_chars(nameOrIndex.data(), end, index);
    if (error == std::errc() && stop == end && index >= 1 && index <= SprFileFactory::SizeInfos())
        return CanWrite(index) ? index : 0;
    return 0;
}

// The first writable format in registry order that lists the file's extension.
int WriterForFile(const std::string& file) {
    for (int i = 1; i <= SprFileFactory::SizeInfos(); ++i) {
        if (CanWrite(i) && HasListedExtension(*SprFileFactory::GetInfo(i), file))
            return i;
    }
    return 0;
}

std::string WriterNames() {
    std::string names;
    for (int i = 1; i <= SprFileFactory::SizeInfos(); ++i) {
        if (!CanWrite(i))
            continue;
        if (!names.empty())
            names += ", ";
        names += std::string("\"") + SprFileFactory::GetInfo(i)->name + "\"";
    }
    return names;
}

// Writes the sheet through the exported interface; empty on success, else the error.
std::string WriteThroughInterface(int writer, const std::string& file, const Sheet& sheet,
                                  const std::string& encoding) {
    ZmImportOpenOptions* options = nullptr;
    if (!encoding.empty()) {
        zm::SettingsDocument document;
        document.SetString("Settings", "Encoding", encoding);
        options = zm::NewOptionsRecord(document);
    }
    SheetWriteSource source(sheet);
    void* handle = nullptr;
    const bool ok = ZmImportOpen(writer, file.c_str(), false, &handle, options) &&
                    ZmImportWrite(writer, handle, &source);
    std::string error;
    if (!ok) {
        const char* text = ZmImportGetLastError(writer, handle);
        error = text != nullptr && *text != '\0' ? text : "the writer failed without saying why";
    }
    ZmImportClose(writer, handle);
    zm::FreeOptionsRecord(options);
    return error;
}

}  // namespace

ConvertOutcome Convert(const ConvertRequest& request) {
    ConvertOutcome outcome;
    const std::string& input = request.source.files.front();
    const std::string& output = request.target;
    const int writer =
        request.toFormat.empty() ? WriterForFile(output) : WriterNamed(request.toFormat);
    if (writer == 0) {
        outcome.failure = {
            (request.toFormat.empty() ? "no writable format takes the extension of " + output
                                      : "'" + request.toFormat + "' is not a writable format") +
                " (writable: " + WriterNames() + ")",
            true};
        return outcome;
    }
    if (!request.encoding.empty() && TextFileOptions::GetEncodingIndex(request.encoding) ==
                                         TextFileOptions::GetEncodingIndex("")) {
        outcome.failure = {"unknown encoding '" + request.encoding + "'", true};
        return outcome;
    }

    // Only the delimited-text writer takes an encoding from its options; the others
    // write their own, and a key they would ignore is refused rather than dropped.
    const std::string writerName = FormatInfo(writer)->name;
    if (!request.encoding.empty() && writerName != "Text File") {
        outcome.failure = {"the \"" + writerName +
                               "\" writer chooses its own encoding; --encoding is not supported "
                               "for it",
                           true};
        return outcome;
    }

    const ReadRequest& source = request.source;
    const int reader = FormatFor(source, outcome.failure);
    if (reader == 0 || !PlanRead(source, reader, outcome.plan, outcome.failure))
        return outcome;
    OptionsRecord options;
    if (std::string error;
        !options.LoadIfGiven(source.optionsFile, error, source.settings, outcome.plan.base)) {
        outcome.failure = {error};
        return outcome;
    }
    SheetSink sink(request.progressTerminal);
    sink.TypeTexts(!source.keepText && TypesTextsByDefault(*FormatInfo(reader)));
    const ReadOutcome read = ReadIntoSink(reader, source.files, options.Get(), sink);
    outcome.readWarning = read.warning;
    if (!read.ok) {
        outcome.failure = {input + ": " + read.error};
        return outcome;
    }
    outcome.read = true;
    const std::string error =
        WriteThroughInterface(writer, output, sink.GetSheet(), request.encoding);
    if (!error.empty())
        outcome.failure = {output + ": " + error};
    return outcome;
}

}  // namespace zmhost
