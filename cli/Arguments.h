// The command line's grammar: a command, its files and its options.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "framework/host/SheetWriters.h"

namespace zmcli {

enum class Command { kHelp, kVersion, kFormats, kDetect, kRead, kOptions, kConvert };

struct Arguments {
    Command command = Command::kHelp;
    std::vector<std::string> files;
    std::string format;       // --format: a name or a 1-based index; empty: by content
    std::string optionsFile;  // --options: a settings document
    std::vector<std::pair<std::string, std::string>> settings;  // --set KEY=VALUE, in order
    zmhost::OutputFormat to = zmhost::OutputFormat::kCsv;
    std::string output;     // -o: empty writes to stdout
    std::string pluginDir;  // --plugins: a further folder of plug-in libraries
    std::string toFormat;   // --to-format: the writer's name or registry index (convert)
    std::string encoding;   // --encoding: the written file's encoding key (convert)
    bool keepText = false;  // --keep-text: texts stay texts, never typed
    bool quiet = false;     // --quiet: no progress line, no note on the sheet read
};

// A command line that does not follow the grammar; the program exits with status 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Parses argv[1..argc-1]; throws UsageError.
Arguments ParseArguments(int argc, const char* const* argv);

std::string UsageText();

}  // namespace zmcli
