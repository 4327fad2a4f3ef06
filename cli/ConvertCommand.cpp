// The convert command: any readable file -> sheet -> a writer of the registry, through
// the exported interface as the application exports a sheet.
#include <unistd.h>

#include <charconv>
#include <ostream>

#include "cli/Commands.h"
#include "formats/text/TextFileOptions.h"
#include "framework/OptionsRecord.h"
#include "framework/SprFileFactory.h"
#include "framework/ZmImport.h"
#include "framework/host/FormatTable.h"
#include "framework/host/ReaderSession.h"
#include "framework/host/SheetSource.h"
#include "framework/host/TextTyping.h"
#include "platform/Settings.h"

namespace zmcli {

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

int RunConvert(const Arguments& args, std::ostream&, std::ostream& err) {
    const std::string& input = args.files[0];
    const std::string& output = args.files[1];
    const int writer = args.toFormat.empty() ? WriterForFile(output) : WriterNamed(args.toFormat);
    if (writer == 0) {
        err << "zmimport: "
            << (args.toFormat.empty() ? "no writable format takes the extension of " + output
                                      : "'" + args.toFormat + "' is not a writable format")
            << " (writable: " << WriterNames() << ")\n";
        return kExitUsage;
    }
    if (!args.encoding.empty() &&
        TextFileOptions::GetEncodingIndex(args.encoding) == TextFileOptions::GetEncodingIndex("")) {
        err << "zmimport: unknown encoding '" << args.encoding << "'\n";
        return kExitUsage;
    }

    // Only the delimited-text writer takes an encoding from its options; the others
    // write their own, and a key they would ignore is refused rather than dropped.
    const std::string writerName = FormatInfo(writer)->name;
    if (!args.encoding.empty() && writerName != "Text File") {
        err << "zmimport: the \"" << writerName
            << "\" writer chooses its own encoding; --encoding is not supported for it\n";
        return kExitUsage;
    }

    Arguments readArgs = args;
    readArgs.files = {input};
    int exitStatus = kExitOk;
    const int reader = FormatFor(readArgs, err, exitStatus);
    if (reader == 0)
        return exitStatus;
    ReadPlan plan;
    if (!PlanRead(readArgs, reader, plan, err))
        return kExitFailure;
    OptionsRecord options;
    if (!options.LoadIfGiven(args.optionsFile, err, args.settings, plan.base))
        return kExitFailure;
    SheetSink sink(!args.quiet && isatty(STDERR_FILENO) ? stderr : nullptr);
    sink.TypeTexts(!args.keepText && TypesTextsByDefault(*FormatInfo(reader)));
    const ReadOutcome outcome = ReadIntoSink(reader, readArgs.files, options.Get(), sink);
    if (!outcome.warning.empty())
        err << "zmimport: " << input << ": warning: " << outcome.warning << '\n';
    if (!outcome.ok) {
        err << "zmimport: " << input << ": " << outcome.error << '\n';
        return kExitFailure;
    }

    NoteSheetRead(readArgs, plan, err);
    const std::string error = WriteThroughInterface(writer, output, sink.GetSheet(), args.encoding);
    if (!error.empty()) {
        err << "zmimport: " << output << ": " << error << '\n';
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace zmcli
