// Log hook and application name.
#include "platform/Log.h"

#include <atomic>
#include <mutex>

namespace zm {
namespace {

std::atomic<LogHook> logHook{nullptr};

std::mutex& NameMutex() {
    static std::mutex mutex;
    return mutex;
}

std::string& ApplicationName() {
    static std::string name = "TAVIX";
    return name;
}

}  // namespace

void SetLogHook(LogHook hook) {
    logHook.store(hook);
}

void WriteMessage(const char* source, const char* tag, LogLevel level, const std::string& text) {
    LogHook hook = logHook.load();
    if (hook != nullptr)
        hook(source, tag, level, text.c_str());
}

void SetApplicationName(const std::string& name) {
    std::lock_guard<std::mutex> lock(NameMutex());
    ApplicationName() = name;
}

std::string GetApplicationName() {
    std::lock_guard<std::mutex> lock(NameMutex());
    return ApplicationName();
}

}  // namespace zm
