// The read command: files -> reader -> sheet -> CSV, TSV or JSON.
#include <unistd.h>

#include <fstream>
#include <ostream>

#include "cli/Commands.h"
#include "cli/FormatTable.h"
#include "cli/ReaderSession.h"
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

    OptionsRecord options;
    if (!args.optionsFile.empty()) {
        std::string error;
        if (!options.Load(args.optionsFile, error)) {
            err << "zmimport: " << args.optionsFile << ": " << error << '\n';
            return kExitFailure;
        }
    }

    const std::string label = FilesLabel(args.files);
    SheetSink sink(isatty(STDERR_FILENO) ? stderr : nullptr);
    sink.TypeTexts(!args.keepText && TypesTextsByDefault(info));
    const ReadOutcome outcome = ReadIntoSink(index, args.files, options.Get(), sink);
    if (!outcome.warning.empty()) {
        err << "zmimport: " << label << ": warning: " << outcome.warning << '\n';
    }
    if (!outcome.ok) {
        err << "zmimport: " << label << ": " << outcome.error << '\n';
        return kExitFailure;
    }
    if (const long long dropped = sink.GetSheet().DroppedCells()) {
        err << "zmimport: " << label << ": warning: " << dropped
            << " cells outside the sheet were ignored\n";
    }

    if (args.output.empty()) {
        WriteSheet(sink.GetSheet(), args.to, out);
        out.flush();
        return out ? kExitOk : kExitFailure;
    }
    std::ofstream file(args.output, std::ios::binary);
    if (file)
        WriteSheet(sink.GetSheet(), args.to, file);
    file.close();
    if (!file) {
        err << "zmimport: " << args.output << ": cannot write the output\n";
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace zmcli
