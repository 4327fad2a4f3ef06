// The read command: files -> reader -> CSV, TSV or JSON, row by row or through a stored sheet.
#include <unistd.h>

#include <iostream>
#include <memory>
#include <optional>
#include <ostream>

#include "cli/Commands.h"
#include "cli/StreamSink.h"
#include "framework/host/FormatTable.h"
#include "framework/host/ReaderSession.h"
#include "framework/host/TextTyping.h"

namespace zmcli {

using namespace zmhost;

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

// The readers that deliver every cell in row order, left to right: the delimited-text
// family, whose files are the ones too large to keep.
bool DeliversRowByRow(const ZmImportFileFormatInfo& info) {
    const std::string name = info.name != nullptr ? info.name : "";
    return name == "CSV File" || name == "Text File" || name == "Text UTF-8 File" ||
           name == "DIF File";
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
    if (std::string failure;
        !options.LoadIfGiven(args.optionsFile, failure, args.settings, plan.base)) {
        err << "zmimport: " << failure << '\n';
        return kExitFailure;
    }

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
    // makes the command read the file again into a stored sheet. What a pipe or a
    // terminal received cannot be taken back, so there only the readers that deliver
    // row by row stream; the others fill a stored sheet first.
    StreamSink stream(args.to, *output, progressTerminal);
    stream.TypeTexts(typeTexts);
    std::unique_ptr<SheetSink> stored;
    const auto takeOffer = [&plan](SpreadsheetFile& reader) {
        if (plan.offerAfterRead)
            plan.offered = OfferOfOpened(reader, plan.offer);
    };
    ReadOutcome outcome;
    long long dropped = 0;
    const bool streams = output->AlwaysRewinds() || DeliversRowByRow(info);
    if (streams) {
        outcome = ReadIntoSink(index, args.files, options.Get(), stream, takeOffer);
        dropped = stream.DroppedCells();
    }
    if (!streams || (outcome.ok && stream.FellBack())) {
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
        outcome = ReadIntoSink(index, args.files, options.Get(), *stored, takeOffer);
        dropped = stored->GetSheet().DroppedCells();
    }
    if (!outcome.warning.empty()) {
        err << "zmimport: " << label << ": warning: " << outcome.warning << '\n';
    }
    if (!outcome.ok) {
        output->Abandon();
        err << "zmimport: " << (outcome.file.empty() ? label : outcome.file) << ": "
            << outcome.error << '\n';
        return kExitFailure;
    }
    if (dropped != 0) {
        err << "zmimport: " << label << ": warning: " << dropped
            << " cells outside the sheet were ignored\n";
    }

    NoteSheetRead(args, plan, err);
    if (stored)
        WriteSheet(stored->GetSheet(), args.to, *output);
    else if (const Sheet* kept = stream.Kept())
        WriteSheet(*kept, args.to, *output);
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
