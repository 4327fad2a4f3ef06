// The sheet writers' output buffer and the files it writes.
#include "framework/host/OutputBuffer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <ostream>

namespace zmhost {

namespace {

constexpr size_t kHoldEverything = std::numeric_limits<size_t>::max();

bool IsNullDevice(const struct stat& info) {
    struct stat null;
    return S_ISCHR(info.st_mode) && stat("/dev/null", &null) == 0 && S_ISCHR(null.st_mode) &&
           info.st_rdev == null.st_rdev;
}

}  // namespace

OutputBuffer::OutputBuffer(std::ostream& stream) : handOnSize(kHoldEverything), stream(&stream) {}

OutputBuffer::OutputBuffer(std::string path, size_t handOnSize)
    : handOnSize(handOnSize), path(std::move(path)) {}

OutputBuffer::OutputBuffer(std::FILE* open, size_t handOnSize)
    : handOnSize(handOnSize), file(open) {
    Inspect();
}

OutputBuffer::~OutputBuffer() {
    if (file != nullptr && ownsFile)
        std::fclose(file);
}

void OutputBuffer::Grow(size_t n) {
    const size_t wanted = std::max({capacity * 2, size + n, size_t{1} << 16});
    auto grown = std::make_unique_for_overwrite<char[]>(wanted);
    if (size > 0)
        std::memcpy(grown.get(), data.get(), size);
    data = std::move(grown);
    capacity = wanted;
}

bool OutputBuffer::Open() {
    file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        failed = true;
        return false;
    }
    ownsFile = true;
    // The buffer here is large already; stdio's own would only copy it once more.
    std::setvbuf(file, nullptr, _IONBF, 0);
    Inspect();
    return true;
}

void OutputBuffer::Inspect() {
    struct stat info;
    const bool known = fstat(fileno(file), &info) == 0;
    regularFile = known && S_ISREG(info.st_mode);
    nullDevice = known && IsNullDevice(info);
    if (regularFile) {
        std::fflush(file);
        start = lseek(fileno(file), 0, SEEK_CUR);
    }
    if (regularFile && start < 0)
        handOnSize = kHoldEverything;
    // A pipe or a terminal cannot take output back, but holding a whole sheet for it
    // costs memory in proportion to the file and keeps `| head` waiting. The first
    // bytes are held longer, since a reader that goes back to printed rows shows itself
    // early; after that the output flows as to a file.
    if (!regularFile && !(known && IsNullDevice(info)) && handOnSize != kHoldEverything)
        handOnSize = std::max(handOnSize, kFirstPipeHold);
}

bool OutputBuffer::Write(const char* bytes, size_t n) {
    if (n > 0 && std::fwrite(bytes, 1, n, file) != n)
        failed = true;
    return !failed;
}

void OutputBuffer::HandOnEarly() {
    if (!failed && (file != nullptr || Open()) && size >= handOnSize) {
        Write(data.get(), size);
        handedOn = true;
        if (!regularFile)
            handOnSize = kHandOnSize;
    }
    // After a failure nothing more goes out; Finish reports it.
    if (failed || handOnSize != kHoldEverything)
        size = 0;
}

bool OutputBuffer::CanRewind() const {
    return !handedOn || regularFile || nullDevice;
}

void OutputBuffer::Rewind() {
    size = 0;
    if (file == nullptr || failed || !regularFile)
        return;
    if (std::fflush(file) != 0 || ftruncate(fileno(file), start) != 0 ||
        std::fseek(file, start, SEEK_SET) != 0)
        failed = true;
}

bool OutputBuffer::Finish() {
    if (stream != nullptr) {
        stream->write(data.get(), static_cast<std::streamsize>(size));
        stream->flush();
        size = 0;
        return static_cast<bool>(*stream);
    }
    if (!failed && (file != nullptr || Open()))
        Write(data.get(), size);
    size = 0;
    if (file != nullptr && (ownsFile ? std::fclose(file) : std::fflush(file)) != 0)
        failed = true;
    if (ownsFile)
        file = nullptr;
    return !failed;
}

void OutputBuffer::Abandon() {
    if (file == nullptr || !ownsFile) {
        Rewind();
        return;
    }
    size = 0;
    std::fclose(file);
    file = nullptr;
    if (regularFile)
        std::remove(path.c_str());
}

}  // namespace zmhost
