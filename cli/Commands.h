// The commands of the zmimport program. Each returns the process exit status.
#pragma once

#include <iosfwd>
#include <string>

#include "cli/Arguments.h"
#include "framework/host/SheetOffer.h"

namespace zmcli {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;  // a file could not be read or no format fits
constexpr int kExitUsage = 2;    // the command line is wrong

// The format named by --format, or else chosen by content: its 1-based index, or 0
// after telling `err` why there is none and setting `exitStatus`.
int FormatFor(const Arguments& args, std::ostream& err, int& exitStatus);

// The settings (XML) the format's reader uses for `file` by default, "" when it has none;
// false when what the reader wrote cannot be decoded. `opened` tells whether the reader
// opened the file, `openError` its text when not.
bool DefaultOptionsXml(int index, const std::string& file, std::string& xml, bool& opened,
                       std::string& openError);

// What --set keys go into: the reader's own defaults when no --options file is given
// (so that the keys not set keep their defaults), else "".
std::string SetBase(const Arguments& args, int index);

// What a read settles before it starts: the settings' base, and the sheets on offer.
struct ReadPlan {
    std::string base;      // what --set keys go into (see SetBase)
    bool offered = false;  // the file offers sheets (matrices, blocks) to choose from
    bool chosen = false;   // the settings choose among them
    SheetOffer offer;
};

// Checks a read's settings against the format before it starts: warns on `err` about
// keys the format does not read; false, after telling `err`, when a value does not parse
// or names a sheet the file lacks.
bool PlanRead(const Arguments& args, int index, ReadPlan& plan, std::ostream& err);

// After a read that chose no sheet of several: the note naming what was read.
void NoteSheetRead(const Arguments& args, const ReadPlan& plan, std::ostream& err);

int RunFormats(std::ostream& out);
int RunDetect(const Arguments& args, std::ostream& out, std::ostream& err);
int RunRead(const Arguments& args, std::ostream& out, std::ostream& err);
int RunOptions(const Arguments& args, std::ostream& out, std::ostream& err);
int RunConvert(const Arguments& args, std::ostream& out, std::ostream& err);

// Parses the command line and runs its command.
int RunCommandLine(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace zmcli
