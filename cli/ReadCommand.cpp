// The read command: files -> reader -> CSV, TSV or JSON, row by row or through a stored sheet.
#include <unistd.h>

#include <iostream>
#include <memory>
#include <optional>
#include <ostream>

#include "cli/Commands.h"
#include "cli/FormatTable.h"
#include "cli/ReaderSession.h"
#include "cli/StreamSink.h"
#include "cli/TextTyping.h"

namespace zmcli {

namespace {

std::string FilesLabel(const std::vector<std::string>& files) {
    std::string label;
    for (size_t i = 0; i < files.size(); ++i) {
        if (i > 0)
            label += ", ";
        label += files[i];
    }
    return label;
}

}  // namespace

int RunRead(const Arguments& args, std::ostream& out, std::ostream& err) {
    int exitStatus = kExitOk;
    const int index = FormatFor(args, err, exitStatus);
    if (index == 0)
        return exitStatus;
    const ZmImportFileFormatInfo& info = *FormatInfo(index);
    if (args.files.size() > 1 && !info.multiFile) {
        err << "zmimport: the format \"" << info.name << "\" reads one file at a time\n";
        return kExitUsage;
    }

    ReadPlan plan;
    if (!PlanRead(args, index, plan, err))
        return kExitFailure;
    OptionsRecord options;
    if (!options.LoadIfGiven(args.optionsFile, err, args.settings, plan.base))
        return kExitFailure;

    const std::string label = FilesLabel(args.files);
    std::FILE* const progressTerminal = !args.quiet && isatty(STDERR_FILENO) ? stderr : nullptr;
    const bool typeTexts = !args.keepText && TypesTextsByDefault(info);
    std::optional<OutputBuffer> output;
    if (!args.output.empty()) {
        output.emplace(args.output);
    } else if (&out == &std::cout) {
        // The program's standard output is written directly, so that a redirection to a
        // file receives the rows while they are read.
        std::cout.flush();
        output.emplace(stdout);
    } else {
        output.emplace(out);
    }

    // Rows are printed while they are read; a reader that goes back to an earlier row
    // makes the command read the file again into a stored sheet.
    StreamSink stream(args.to, *output, progressTerminal);
    stream.TypeTexts(typeTexts);
    ReadOutcome outcome = ReadIntoSink(index, args.files, options.Get(), stream);
    long long dropped = stream.DroppedCells();
    std::unique_ptr<SheetSink> stored;
    if (outcome.ok && stream.FellBack()) {
        if (!output->CanRewind()) {
            output->Finish();
            err << "zmimport: " << label
                << ": the reader went back to rows already written to the pipe; write to a "
                   "file with -o instead\n";
            return kExitFailure;
        }
        output->Rewind();
        stored = std::make_unique<SheetSink>(progressTerminal);
        stored->TypeTexts(typeTexts);
        outcome = ReadIntoSink(index, args.files, options.Get(), *stored);
        dropped = stored->GetSheet().DroppedCells();
    }
    if (!outcome.warning.empty()) {
        err << "zmimport: " << label << ": warning: " << outcome.warning << '\n';
    }
    if (!outcome.ok) {
        output->Abandon();
        err << "zmimport: " << label << ": " << outcome.error << '\n';
        return kExitFailure;
    }
    if (dropped != 0) {
        err << "zmimport: " << label << ": warning: " << dropped
            << " cells outside the sheet were ignored\n";
    }

    NoteSheetRead(args, plan, err);
    if (stored)
        WriteSheet(stored->GetSheet(), args.to, *output);
    else
        stream.Finish();
    if (!output->Finish()) {
        if (!args.output.empty())
            err << "zmimport: " << args.output << ": cannot write the output\n";
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace zmcli
