// The formats, detect and options commands, and the dispatch of every command.
#include "cli/Commands.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "framework/host/FormatChoice.h"
#include "framework/host/FormatTable.h"
#include "framework/host/LoaderFormats.h"
#include "framework/host/ReaderSession.h"
#include "framework/host/SettingsCheck.h"

namespace zmcli {

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

// "FILE: " before a text that does not name the file itself.
std::string WhyPrefix(const std::string& file, const std::string& why) {
    return why == BinaryRefusal(file) ? std::string() : file + ": ";
}

}  // namespace

int FormatFor(const Arguments& args, std::ostream& err, int& exitStatus) {
    if (!args.format.empty()) {
        const int index = ResolveFormat(args.format);
        if (index == 0) {
            err << "zmimport: unknown format '" << args.format
                << "' (see 'zmimport formats' for names and indexes)\n";
            exitStatus = kExitUsage;
            return 0;
        }
        // The files pass the same check as in the application's open dialog.
        std::string error;
        if (CheckFiles(args.files, index, error) == 0) {
            err << "zmimport: " << args.files.front() << ": " << error << '\n';
            exitStatus = kExitFailure;
            return 0;
        }
        return index;
    }
    std::string why;
    const int index = ChooseFormat(args.files, &why);
    if (index == 0) {
        err << "zmimport: " << WhyPrefix(args.files.front(), why) << why << '\n';
        exitStatus = kExitFailure;
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
        err << "zmimport: " << WhyPrefix(file, why) << why << '\n';
        return kExitFailure;
    }
    out << "chosen: " << chosen << " " << FormatInfo(chosen)->name << '\n';
    return kExitOk;
}

// A sink that takes every cell and keeps none.
class DiscardingSink : public ReadSpreadSheetData {
  public:
    int GetNumberOfColumns() override { return cols; }
    int GetNumberOfRows() override { return rows; }
    void Set(int, int, const char*) override {}
    void Set(int, int, float) override {}
    void SetDataSize(int c, int r) override { cols = c, rows = r; }

  private:
    int cols = 0, rows = 0;
};

bool DefaultOptionsXml(int index, const std::string& file, std::string& xml, bool& opened,
                       std::string& openError) {
    xml.clear();
    // Readers write their defaults into an empty record.
    OptionsRecord record;
    ReaderPtr reader = CreateReader(index);
    opened = reader->RefuseIrregularInput(file.c_str()) == 0 &&
             reader->Open(true, file.c_str(), record.Get()) == 0;
    if (!opened)
        openError = ErrorTextOf(*reader);
    if (!record.DecodeXml(xml))
        return false;
    if (xml.empty() && opened) {
        // Some readers (CSV) apply and write back their options only when reading: read
        // into a sink that keeps nothing to find them.
        DiscardingSink discard;
        if (reader->GetNumRows() >= 0 && reader->GetNumCols() >= 0 && reader->Read(&discard) == 0 &&
            !record.DecodeXml(xml))
            return false;
    }
    if (xml.empty()) {
        std::unique_ptr<ZmImportOpenOptions, void (*)(ZmImportOpenOptions*)> fileOptions(
            CreateReader(index)->GetFileReadOptions(file.c_str(), false),
            [](ZmImportOpenOptions* o) {
                if (o != nullptr)
                    delete[] o->data;
                delete o;
            });
        if (fileOptions) {
            OptionsRecord copy;
            *copy.Get() = *fileOptions;
            fileOptions->data = nullptr;  // now owned by `copy`
            if (!copy.DecodeXml(xml))
                return false;
        }
    }
    return true;
}

std::string SetBase(const Arguments& args, int index) {
    std::string xml, openError;
    bool opened = false;
    if (args.settings.empty() || !args.optionsFile.empty() || args.files.empty() ||
        !DefaultOptionsXml(index, args.files.front(), xml, opened, openError))
        return std::string();
    return xml;
}

bool PlanRead(const Arguments& args, int index, ReadPlan& plan, std::ostream& err) {
    plan = ReadPlan();
    plan.base = SetBase(args, index);
    const std::string& file = args.files.front();
    if (!args.settings.empty()) {
        std::string defaults = plan.base, openError;
        bool opened = false;
        if (!args.optionsFile.empty())
            DefaultOptionsXml(index, file, defaults, opened, openError);
        const SettingsVerdict verdict = CheckSettings(defaults, args.settings);
        if (!verdict.error.empty()) {
            err << "zmimport: " << verdict.error << '\n';
            return false;
        }
        if (!verdict.unknown.empty())
            err << "zmimport: " << UnknownKeysWarning(FormatInfo(index)->name, verdict) << '\n';
    }
    if (args.files.size() != 1)
        return true;
    plan.offered = FindSheetOffer(index, file, plan.offer);
    if (!plan.offered)
        return true;
    plan.chosen = !args.optionsFile.empty() || SettingsChoose(plan.offer, args.settings);
    const std::string missing = CheckSheetChoice(plan.offer, args.settings);
    if (!missing.empty()) {
        err << "zmimport: " << file << ": " << missing << '\n';
        return false;
    }
    return true;
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

int RunCommandLine(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    Arguments args;
    try {
        args = ParseArguments(argc, argv);
    } catch (const UsageError& e) {
        err << "zmimport: " << e.what() << "\nTry 'zmimport --help'.\n";
        return kExitUsage;
    }
    UsePluginFolder(args.pluginDir);
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

}  // namespace zmcli
