// Parsing of the command line: "zmimport COMMAND [FILE...] [--option VALUE...]".
#include "cli/Arguments.h"

#include "framework/host/EncodingKeys.h"

#include <string_view>

namespace zmcli {

using namespace zmhost;

namespace {

struct CommandInfo {
    std::string_view name;
    Command command;
    int minFiles;
    int maxFiles;  // -1: no limit
};

constexpr CommandInfo kCommands[] = {
    {"formats", Command::kFormats, 0, 0}, {"detect", Command::kDetect, 1, 1},
    {"read", Command::kRead, 1, -1},      {"options", Command::kOptions, 1, 1},
    {"convert", Command::kConvert, 2, 2},
};

const CommandInfo* FindCommand(std::string_view name) {
    for (const CommandInfo& info : kCommands) {
        if (info.name == name)
            return &info;
    }
    return nullptr;
}

// Which options each command accepts.
bool Accepts(Command command, std::string_view option) {
    if (option == "--plugins")
        return true;
    if (option == "--format")
        return command == Command::kRead || command == Command::kOptions ||
               command == Command::kConvert;
    if (option == "--to-format" || option == "--encoding")
        return command == Command::kConvert;
    if (option == "--options" || option == "--set" || option == "--keep-text" ||
        option == "--quiet")
        return command == Command::kRead || command == Command::kConvert;
    return command == Command::kRead;  // --to, -o
}

// Splits "--name=value"; a plain "--name" leaves `value` empty and `hasValue` false.
void SplitOption(std::string_view arg, std::string_view& name, std::string_view& value,
                 bool& hasValue) {
    const size_t eq = arg.find('=');
    hasValue = arg.rfind("--", 0) == 0 && eq != std::string_view::npos;
    name = hasValue ? arg.substr(0, eq) : arg;
    value = hasValue ? arg.substr(eq + 1) : std::string_view();
}

}  // namespace

Arguments ParseArguments(int argc, const char* const* argv) {
    Arguments args;
    if (argc < 2)
        throw UsageError("no command given");
    const std::string_view first = argv[1];
    if (first == "--help" || first == "-h" || first == "help")
        return args;
    if (first == "--version") {
        args.command = Command::kVersion;
        return args;
    }
    const CommandInfo* info = FindCommand(first);
    if (info == nullptr)
        throw UsageError("unknown command '" + std::string(first) + "'");
    args.command = info->command;

    bool onlyFiles = false;
    for (int i = 2; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (onlyFiles || arg.empty() || arg[0] != '-' || arg == "-") {
            args.files.emplace_back(arg);
            continue;
        }
        if (arg == "--") {
            onlyFiles = true;
            continue;
        }
        if (arg == "--help" || arg == "-h") {
            args.command = Command::kHelp;
            return args;
        }
        std::string_view name, value;
        bool hasValue;
        SplitOption(arg, name, value, hasValue);
        if (name != "--format" && name != "--options" && name != "--to" && name != "-o" &&
            name != "--plugins" && name != "--to-format" && name != "--encoding" &&
            name != "--keep-text" && name != "--set" && name != "--quiet") {
            throw UsageError("unknown option '" + std::string(name) + "'");
        }
        if (!Accepts(args.command, name)) {
            throw UsageError("option '" + std::string(name) + "' does not apply to '" +
                             std::string(info->name) + "'");
        }
        if (name == "--keep-text" || name == "--quiet") {
            if (hasValue)
                throw UsageError("option '" + std::string(name) + "' takes no value");
            (name == "--quiet" ? args.quiet : args.keepText) = true;
            continue;
        }
        if (!hasValue) {
            if (i + 1 >= argc)
                throw UsageError("option '" + std::string(name) + "' needs a value");
            value = argv[++i];
        }
        if (name == "--format") {
            args.format = value;
        } else if (name == "--options") {
            args.optionsFile = value;
        } else if (name == "--set") {
            const std::string pair(value);
            const size_t equals = pair.find('=');
            if (equals == std::string::npos || equals == 0)
                throw UsageError("--set takes KEY=VALUE, not '" + pair + "'");
            args.settings.emplace_back(pair.substr(0, equals), pair.substr(equals + 1));
        } else if (name == "--plugins") {
            args.pluginDir = value;
        } else if (name == "-o") {
            args.output = value;
        } else if (name == "--to-format") {
            args.toFormat = value;
        } else if (name == "--encoding") {
            if (!IsKnownEncoding(std::string(value)))
                throw UsageError("unknown encoding key '" + std::string(value) + "' (" +
                                 KnownEncodings() + ")");
            args.encoding = value;
        } else if (auto to = ParseOutputFormat(value)) {
            args.to = *to;
        } else {
            throw UsageError("--to takes csv, tsv or json, not '" + std::string(value) + "'");
        }
    }

    const int count = static_cast<int>(args.files.size());
    if (count < info->minFiles) {
        throw UsageError("'" + std::string(info->name) + "' needs a file");
    }
    if (info->maxFiles >= 0 && count > info->maxFiles) {
        throw UsageError(info->maxFiles == 0 ? "'" + std::string(info->name) + "' takes no file"
                         : info->maxFiles == 1
                             ? "'" + std::string(info->name) + "' takes one file"
                             : "'" + std::string(info->name) + "' takes IN and OUT");
    }
    return args;
}

std::string UsageText() {
    return R"(usage: zmimport COMMAND [ARGUMENTS]

Commands:
  zmimport formats
      List the formats in the order the application lists them (this program's
      own, then those of plug-in libraries): index, name, open-dialog filter,
      extensions, and whether the format reads and writes.
  zmimport detect FILE
      Show every format's answer for FILE (surely, plausible, can read, no) and,
      on the last line, the format a read would choose. Exit status 1 when none.
      Plug-in formats answer surely, can read or no.
  zmimport read FILE... [--format NAME|INDEX] [--options SETTINGS.xml]
                        [--set KEY=VALUE]... [--to csv|tsv|json] [-o OUT]
      Read FILE into a sheet and print it (default CSV on standard output).
      Several files are read together by formats that take several files.
      --format   the format's exact name or its 1-based index (see 'formats');
                 without it the format is chosen as 'detect' shows
      --options  a settings document (XML) handed to the reader
      --set      a key of the settings, over the document's (repeatable), e.g.
                 --set Sheets="Data;Notes" --set ReadOrder=3 for a workbook's
                 sheets stacked (1) or side by side (3), --set Delimiter=";"
      --to       csv:  comma-separated, fields with a comma, quote, CR or LF
                       are quoted with inner quotes doubled; LF line ends
                 tsv:  tab-separated, LF line ends; in texts a backslash, tab,
                       LF and CR are written as \\, \t, \n and \r
                 json: {"columns": C, "rows": R, "cells": [[...], ...]} with one
                       array per row, missing cells and NaN/inf as null
                 Missing cells are empty in CSV and TSV; NaN/inf print as NaN,
                 inf and -inf. Numbers print in their shortest exact form.
      -o         write to OUT instead of standard output
      --keep-text  keep every text cell as it is; by default the delimited text,
                 CSV and DIF formats turn a text that is a number into that number
                 and an empty text into a missing cell
      --quiet    no progress line and no note on the sheet that was read
      On a terminal, a read that takes more than a second shows a progress line
      on standard error. When a file holds several sheets (matrices, blocks) and
      the settings choose none, a note on standard error names what was read and
      the --set that chooses; a sheet the file lacks is an error.
  zmimport convert IN OUT [--format NAME|INDEX] [--options SETTINGS.xml] [--set K=V]...
                         [--to-format NAME|INDEX] [--encoding KEY] [--keep-text]
                         [--quiet]
      Read IN as 'read' does and write the sheet to OUT with a writable format of
      this program, chosen by OUT's extension (.txt: "Text File", .dif: "DIF File")
      unless --to-format names one (its name or registry index). --encoding gives
      the written file's encoding key (utf8, windows1252, utf16le, ...).
  zmimport options FILE [--format NAME|INDEX]
      Print the settings (XML) the format's reader uses for FILE by default; for a
      workbook, "Sheets" lists the sheets it offers.
  Every command takes --plugins DIR: a folder of plug-in libraries whose
  formats are listed, detected and read beside this program's own (the
  libraries beside the program are always searched).
  zmimport --help      this text
  zmimport --version   the program's version

Exit status: 0 success, 1 the file could not be read, 2 wrong command line.
)";
}

}  // namespace zmcli
