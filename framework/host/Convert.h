// Conversion: any readable file -> sheet -> a writer of the registry, through the
// exported interface as the application exports a sheet.
#pragma once

#include <cstdio>
#include <string>

#include "framework/host/ReadRequest.h"

namespace zmhost {

struct ConvertRequest {
    ReadRequest source;    // one file, read as a read request says
    std::string target;    // the file written
    std::string toFormat;  // the writer's name or registry index; empty: by extension
    std::string encoding;  // the written file's encoding key; empty: the writer's own
    std::FILE* progressTerminal = nullptr;  // where the read's progress line goes, if anywhere
};

// What a conversion did, in the order a host tells it.
struct ConvertOutcome {
    ReadPlan plan;            // the source's read plan (its warning, the sheets on offer)
    bool read = false;        // the source was read, so a note on the sheet read applies
    std::string readWarning;  // the reader's warning, if any
    Failure failure;          // empty when the target was written
};

ConvertOutcome Convert(const ConvertRequest& request);

}  // namespace zmhost
