// The commands of the zmimport program. Each returns the process exit status.
#pragma once

#include <iosfwd>
#include <string>

#include "cli/Arguments.h"
#include "framework/host/ReadRequest.h"

namespace zmcli {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;  // a file could not be read or no format fits
constexpr int kExitUsage = 2;    // the command line is wrong

// The format named by --format, or else chosen by content: its 1-based index, or 0
// after telling `err` why there is none and setting `exitStatus`.
int FormatFor(const Arguments& args, std::ostream& err, int& exitStatus);

// Settles a read before it starts (see zmhost::PlanRead), telling `err` about settings
// keys the format does not read; false, after telling `err` why, when the read cannot go on.
// The offer may be left to the read (ReadPlan::offerAfterRead).
bool PlanRead(const Arguments& args, int index, zmhost::ReadPlan& plan, std::ostream& err);

// After a read that chose no sheet of several: the note naming what was read.
void NoteSheetRead(const Arguments& args, const zmhost::ReadPlan& plan, std::ostream& err);

int RunFormats(std::ostream& out);
int RunDetect(const Arguments& args, std::ostream& out, std::ostream& err);
int RunRead(const Arguments& args, std::ostream& out, std::ostream& err);
int RunOptions(const Arguments& args, std::ostream& out, std::ostream& err);
int RunConvert(const Arguments& args, std::ostream& out, std::ostream& err);

// Parses the command line and runs its command.
int RunCommandLine(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace zmcli
