// The meter of the running thread and the sum of the bytes its files are read to.
#include "platform/ReadMeter.h"

#include <algorithm>
#include <utility>

#include "platform/InputFile.h"

namespace zm {

namespace {

thread_local ReadMeter* current = nullptr;

}  // namespace

ReadMeter::ReadMeter(const std::vector<std::string>& names, Listener listener)
    : listener(std::move(listener)), previous(current) {
    for (const std::string& name : names) {
        const InputCheck check = CheckInputFile(name);
        files.push_back({name, check.kind == InputKind::kRegular ? check.size : 0, 0});
        total += files.back().size;
    }
    current = this;
}

ReadMeter::~ReadMeter() {
    current = previous;
}

void ReadMeter::Reached(const std::string& path, uint64_t position) {
    if (current != nullptr)
        current->Note(path, position, false);
}

void ReadMeter::Advanced(const std::string& path, uint64_t bytes) {
    if (current != nullptr)
        current->Note(path, bytes, true);
}

void ReadMeter::Note(const std::string& path, uint64_t position, bool add) {
    // A name given twice is read twice: a report goes to the first of its files that is
    // not yet read to its end.
    const auto open = [&](const File& file) {
        return file.path == path && file.reached < file.size;
    };
    if (lastFile >= files.size() || !open(files[lastFile])) {
        const auto found = std::find_if(files.begin(), files.end(), open);
        if (found == files.end())
            return;
        lastFile = static_cast<size_t>(found - files.begin());
    }
    File& file = files[lastFile];
    if (add)
        position = file.reached + std::min(position, file.size - file.reached);
    // A file that grew since it was measured counts no further than its measured size.
    const uint64_t reached = std::min(position, file.size);
    if (reached <= file.reached)
        return;
    done += reached - file.reached;
    file.reached = reached;
    if (listener)
        listener(done, total);
}

}  // namespace zm
