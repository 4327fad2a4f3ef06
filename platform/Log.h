// The process-wide log hook and the application name, both set by the host.
#pragma once

#include <string>

#include "platform/ZmExport.h"

namespace zm {

enum class LogLevel { kDebug = 0, kInfo = 1, kWarning = 2, kError = 3 };

// A host-supplied function that receives the library's log messages. By default
// messages go nowhere: the library reads no environment and writes no files.
using LogHook = void (*)(const char* source, const char* tag, LogLevel level, const char* text);

ZMIMPORT_API void SetLogHook(LogHook hook);
void WriteMessage(const char* source, const char* tag, LogLevel level, const std::string& text);

// The name that messages insert for the application; "TAVIX" unless the host sets another.
ZMIMPORT_API void SetApplicationName(const std::string& name);
ZMIMPORT_API std::string GetApplicationName();

}  // namespace zm
