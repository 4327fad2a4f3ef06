// Regular-file checks made on an open descriptor, so that what is checked is what
// would be read.
#include "platform/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/FileNames.h"

namespace zm {

namespace {

const char* KindName(mode_t mode) {
    if (S_ISDIR(mode))
        return "a directory";
    if (S_ISFIFO(mode))
        return "a pipe (FIFO)";
    if (S_ISCHR(mode))
        return "a character device";
    if (S_ISBLK(mode))
        return "a block device";
    if (S_ISSOCK(mode))
        return "a socket";
    return nullptr;
}

}  // namespace

InputCheck CheckInputFile(const std::string& path) {
    InputCheck check;
    // O_NONBLOCK keeps the open of a FIFO from waiting for a writer; O_NOCTTY keeps a
    // terminal from becoming ours.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat info {};
    if (fd < 0) {
        // A directory cannot always be opened (no read permission), yet it is still no
        // file to import; anything else that cannot be opened is left to the caller.
        if (::stat(path.c_str(), &info) != 0 || S_ISREG(info.st_mode))
            return check;
    } else {
        const int statResult = ::fstat(fd, &info);
        ::close(fd);
        if (statResult != 0)
            return check;
    }
    if (S_ISREG(info.st_mode)) {
        check.kind = InputKind::kRegular;
        check.size = static_cast<uint64_t>(info.st_size);
        return check;
    }
    check.kind = InputKind::kOther;
    const char* what = KindName(info.st_mode);
    check.refusal =
        "'" + path + "' is " +
        (what != nullptr ? std::string(what) + ", not a regular file," : "not a regular file") +
        " and cannot be imported.";
    return check;
}

std::string RefusalOfInputFiles(const std::string& joinedNames) {
    for (const std::string& name : SplitFileNames(joinedNames)) {
        InputCheck check = CheckInputFile(name);
        if (check.kind == InputKind::kOther)
            return std::move(check.refusal);
    }
    return {};
}

bool CheckContainerFile(const std::string& path, uint64_t limit, std::string* error) {
    const InputCheck check = CheckInputFile(path);
    std::string reason;
    if (check.kind == InputKind::kMissing)
        reason = "the file cannot be opened";
    else if (check.kind == InputKind::kOther)
        reason = check.refusal;
    else if (check.size > limit)
        reason = "the file is larger than " + std::to_string(limit) + " bytes";
    if (reason.empty())
        return true;
    if (error != nullptr)
        *error = reason;
    return false;
}

int FirstReadError(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return 0;
    char byte;
    const ssize_t got = ::read(fd, &byte, 1);
    const int error = got < 0 && errno != EAGAIN ? errno : 0;
    ::close(fd);
    return error;
}

std::string SystemErrorText(int errorNumber) {
    const char* text = std::strerror(errorNumber);
    return text != nullptr && *text != '\0' ? text : "error " + std::to_string(errorNumber);
}

}  // namespace zm
