// The formats, detect, options and convert commands, and the dispatch of every command.
#include "cli/Commands.h"

#include <unistd.h>

#include <algorithm>
#include <exception>
#include <ostream>
#include <string>
#include <vector>

#include "framework/host/Convert.h"
#include "framework/host/FormatChoice.h"
#include "framework/host/FormatTable.h"
#include "framework/host/LoaderFormats.h"

namespace zmcli {

using namespace zmhost;

namespace {

// Prints rows of texts as columns two blanks apart; the first column is right-aligned.
void PrintTable(const std::vector<std::vector<std::string>>& rows, std::ostream& out) {
    std::vector<size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()), 0);
        for (size_t c = 0; c < row.size(); ++c)
            widths[c] = std::max(widths[c], row[c].size());
    }
    for (const auto& row : rows) {
        std::string line;
        for (size_t c = 0; c < row.size(); ++c) {
            const std::string pad(widths[c] - row[c].size(), ' ');
            if (c == 0) {
                line += pad + row[c];
            } else {
                line += "  " + row[c];
                if (c + 1 < row.size())
                    line += pad;
            }
        }
        out << line << '\n';
    }
}

std::string Join(const std::vector<std::string>& items, const char* separator) {
    std::string joined;
    for (size_t i = 0; i < items.size(); ++i) {
        if (i > 0)
            joined += separator;
        joined += items[i];
    }
    return joined;
}

// The host layer's request for the files and settings the command line names.
ReadRequest RequestOf(const Arguments& args) {
    return {args.files, args.format, args.optionsFile, args.settings, args.keepText};
}

}  // namespace

int FormatFor(const Arguments& args, std::ostream& err, int& exitStatus) {
    Failure failure;
    const int index = zmhost::FormatFor(RequestOf(args), failure);
    if (index == 0) {
        err << "zmimport: " << failure.text << '\n';
        exitStatus = failure.badRequest ? kExitUsage : kExitFailure;
    }
    return index;
}

int RunFormats(std::ostream& out) {
    std::vector<std::vector<std::string>> rows{
        {"#", "name", "filter", "extensions", "read", "write"}};
    for (int index = 1; index <= FormatCount(); ++index) {
        const ZmImportFileFormatInfo* info = FormatInfo(index);
        rows.push_back({std::to_string(index), info->name ? info->name : "",
                        info->filter ? info->filter : "", Join(ExtensionsOf(*info), " "),
                        info->canRead ? "yes" : "no", info->canWrite ? "yes" : "no"});
    }
    PrintTable(rows, out);
    return kExitOk;
}

int RunDetect(const Arguments& args, std::ostream& out, std::ostream& err) {
    const std::string& file = args.files.front();
    std::vector<std::vector<std::string>> rows{{"#", "name", "answer"}};
    for (int index = 1; index <= FormatCount(); ++index) {
        rows.push_back(
            {std::to_string(index), FormatInfo(index)->name, AnswerName(AskFormat(index, file))});
    }
    PrintTable(rows, out);
    std::string why;
    const int chosen = ChooseFormat(args.files, &why);
    if (chosen == 0) {
        out << "chosen: none\n";
        err << "zmimport: " << NoFormatText(file, why) << '\n';
        return kExitFailure;
    }
    out << "chosen: " << chosen << " " << FormatInfo(chosen)->name << '\n';
    return kExitOk;
}

bool PlanRead(const Arguments& args, int index, ReadPlan& plan, std::ostream& err) {
    Failure failure;
    const bool ok = zmhost::PlanRead(RequestOf(args), index, plan, failure, true);
    if (!plan.warning.empty())
        err << "zmimport: " << plan.warning << '\n';
    if (!ok)
        err << "zmimport: " << failure.text << '\n';
    return ok;
}

void NoteSheetRead(const Arguments& args, const ReadPlan& plan, std::ostream& err) {
    if (args.quiet || !plan.offered || plan.chosen)
        return;
    const std::string note = SheetNote(plan.offer);
    if (!note.empty())
        err << "zmimport: " << args.files.front() << ": " << note << '\n';
}

int RunOptions(const Arguments& args, std::ostream& out, std::ostream& err) {
    int exitStatus = kExitOk;
    const int index = FormatFor(args, err, exitStatus);
    if (index == 0)
        return exitStatus;
    const std::string& file = args.files.front();
    const char* name = FormatInfo(index)->name;

    std::string xml;
    bool opened = false;
    std::string openError;
    if (!DefaultOptionsXml(index, file, xml, opened, openError)) {
        err << "zmimport: " << file << ": the reader wrote options that cannot be decoded\n";
        return kExitFailure;
    }
    if (!xml.empty()) {
        out << xml;
        if (xml.back() != '\n')
            out << '\n';
        return kExitOk;
    }
    if (!opened) {
        err << "zmimport: " << file << ": " << openError << '\n';
        return kExitFailure;
    }
    out << "The format \"" << name << "\" has no options.\n";
    return kExitOk;
}

int RunConvert(const Arguments& args, std::ostream&, std::ostream& err) {
    zmhost::ConvertRequest request{RequestOf(args), args.files[1], args.toFormat, args.encoding};
    request.source.files = {args.files[0]};
    request.progressTerminal = !args.quiet && isatty(STDERR_FILENO) ? stderr : nullptr;
    const zmhost::ConvertOutcome outcome = zmhost::Convert(request);
    if (!outcome.plan.warning.empty())
        err << "zmimport: " << outcome.plan.warning << '\n';
    if (!outcome.readWarning.empty())
        err << "zmimport: " << args.files[0] << ": warning: " << outcome.readWarning << '\n';
    if (outcome.read)
        NoteSheetRead(args, outcome.plan, err);
    if (outcome.failure) {
        err << "zmimport: " << outcome.failure.text << '\n';
        return outcome.failure.badRequest ? kExitUsage : kExitFailure;
    }
    return kExitOk;
}

namespace {

int RunCommand(const Arguments& args, std::ostream& out, std::ostream& err) {
    switch (args.command) {
        case Command::kHelp:
            out << UsageText();
            return kExitOk;
        case Command::kVersion:
            out << "zmimport " << ZMIMPORT_VERSION << '\n';
            return kExitOk;
        case Command::kFormats:
            return RunFormats(out);
        case Command::kDetect:
            return RunDetect(args, out, err);
        case Command::kRead:
            return RunRead(args, out, err);
        case Command::kOptions:
            return RunOptions(args, out, err);
        case Command::kConvert:
            return RunConvert(args, out, err);
    }
    return kExitUsage;
}

}  // namespace

int RunCommandLine(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    Arguments args;
    try {
        args = ParseArguments(argc, argv);
    } catch (const UsageError& e) {
        err << "zmimport: " << e.what() << "\nTry 'zmimport --help'.\n";
        return kExitUsage;
    }
    UsePluginFolder(args.pluginDir);
    // What the commands do not answer themselves (a part of the library that cannot be
    // loaded, memory running out) ends the program with its text, not an abort.
    try {
        return RunCommand(args, out, err);
    } catch (const std::exception& e) {
        out.flush();
        err << "zmimport: " << e.what() << '\n';
        return kExitFailure;
    }
}

}  // namespace zmcli
