// Driving one reader through open, size, read and close, and the options records it takes.
#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "framework/SpreadsheetFile.h"
#include "framework/ZmImportTypes.h"
#include "framework/host/SheetSink.h"

namespace zmhost {

// An options record whose bytes this program owns. Readers write their defaults into
// an empty record with new[]; those bytes are released here too.
class OptionsRecord {
  public:
    OptionsRecord() = default;
    ~OptionsRecord();
    OptionsRecord(const OptionsRecord&) = delete;
    OptionsRecord& operator=(const OptionsRecord&) = delete;

    // Loads a settings document file; false with `error` set when it cannot be read or
    // is not a settings document.
    // Reads a settings file (or, when `path` is empty, starts from `defaults`, a settings
    // document) and sets the keys of `sets` in its "Settings" section.
    bool Load(const std::string& path, std::string& error,
              const std::vector<std::pair<std::string, std::string>>& sets = {},
              const std::string& defaults = "");
    // Loads `path` when one was given or `sets` when there are any; false on failure,
    // with `failure` naming the settings file (or "--set") and what is wrong.
    bool LoadIfGiven(const std::string& path, std::string& failure,
                     const std::vector<std::pair<std::string, std::string>>& sets = {},
                     const std::string& defaults = "");
    ZmImportOpenOptions* Get() { return &record; }
    // The settings document in the record as XML; empty when the record holds none.
    // False when the bytes are not a settings document.
    bool DecodeXml(std::string& xml) const;

  private:
    ZmImportOpenOptions record{0, nullptr};
    unsigned char* ownBytes = nullptr;  // what Load stored, if a reader replaced it
};

// What became of a read.
struct ReadOutcome {
    bool ok = false;
    std::string error;    // the reader's error text when !ok
    std::string warning;  // the reader's warning, if any
    int code = 0;         // the reader's status code when !ok (0 when it has none)
    std::string file;     // of several files, the one that failed ("" when not known)
};

// Closes and deletes a reader, the way every reader is released.
struct ReaderCloser {
    void operator()(SpreadsheetFile* reader) const;
};
using ReaderPtr = std::unique_ptr<SpreadsheetFile, ReaderCloser>;

ReaderPtr CreateReader(int formatIndex);
// The reader's error text for its current status.
std::string ErrorTextOf(SpreadsheetFile& reader);

// Opens the format's reader on the files (joined for formats that take several), sizes
// the sink from the reader and reads into it. After a read that succeeded, `afterRead`
// (when given) is shown the reader before it closes.
ReadOutcome ReadIntoSink(int formatIndex, const std::vector<std::string>& files,
                         ZmImportOpenOptions* options, CommandSink& sink,
                         const std::function<void(SpreadsheetFile&)>& afterRead = {});

}  // namespace zmhost
