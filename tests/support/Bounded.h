// Runs work in a child process under resource limits (CPU seconds, address space) and
// reports how it ended and its peak resident memory, as wait4 measures it. Tests bound
// cost this way rather than by the clock: a loaded machine slows a run down but does
// not make it use more memory or more steps.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZMTEST_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define ZMTEST_ASAN 1
#endif

namespace zmtest {

// AddressSanitizer reserves terabytes of address space and keeps freed blocks in a
// quarantine of up to 256 MB: no address-space limit there, and that much more room.
#ifdef ZMTEST_ASAN
inline constexpr bool kAddressSanitizer = true;
#else
inline constexpr bool kAddressSanitizer = false;
#endif

struct Limits {
    rlim_t cpuSeconds = 10;
    rlim_t addressSpaceBytes = 0;  // 0: no limit
};

struct Outcome {
    bool exited = false;  // ended by _exit/exit (else by a signal)
    int code = -1;        // exit status, or the signal's number
    long peakKb = 0;      // peak resident set, from wait4
    long residentAtStartKb = 0;
    std::string said;  // what the child wrote: its result, or its standard error

    bool Signalled(int signal) const { return !exited && code == signal; }
    long GrowthKb() const { return peakKb - residentAtStartKb; }
    std::string Describe() const {
        if (exited)
            return "exit " + std::to_string(code);
        return code == SIGXCPU || code == SIGKILL ? "killed at its CPU limit"
                                                  : std::string("signal ") + ::strsignal(code);
    }
};

inline long ResidentKb() {
    long pages = 0, resident = 0;
    if (std::FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2)
            resident = 0;
        std::fclose(f);
    }
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

inline void ApplyLimits(const Limits& limits) {
    // The soft limit sends SIGXCPU; the hard one, a little later, SIGKILL.
    const rlimit cpu{limits.cpuSeconds, limits.cpuSeconds + 2};
    ::setrlimit(RLIMIT_CPU, &cpu);
    if (limits.addressSpaceBytes != 0 && !kAddressSanitizer) {
        const rlimit as{limits.addressSpaceBytes, limits.addressSpaceBytes};
        ::setrlimit(RLIMIT_AS, &as);
    }
    ::signal(SIGPIPE, SIG_DFL);
}

// Reads what the child writes (keeping at most `keep` bytes) and waits for it.
inline Outcome Collect(pid_t pid, int readEnd, long residentAtStart, size_t keep = 1 << 16) {
    Outcome outcome;
    outcome.residentAtStartKb = residentAtStart;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(readEnd, buffer, sizeof buffer);
        if (n > 0 && outcome.said.size() < keep)
            outcome.said.append(buffer, std::min<size_t>(n, keep - outcome.said.size()));
        if (n == 0 || (n < 0 && errno != EINTR))
            break;
    }
    ::close(readEnd);
    int status = 0;
    rusage usage{};
    while (::wait4(pid, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    outcome.exited = WIFEXITED(status);
    outcome.code = outcome.exited ? WEXITSTATUS(status) : WTERMSIG(status);
    outcome.peakKb = usage.ru_maxrss;
    return outcome;
}

// Runs `work` in a forked child; the string it returns comes back in `said`, and the
// child exits 0 (or with `work`'s failure code when it sets one through `exitCode`).
template <class Work>
Outcome RunBounded(const Limits& limits, Work&& work) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return {};
    // The child notes its own resident size as it starts, in a page both processes share:
    // the parent's is no baseline, as regions a runtime marks not to be forked (the
    // sanitizer's) are resident in the parent and absent from the child.
    void* shared =
        ::mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        ::close(fds[0]);
        ::close(fds[1]);
        return {};
    }
    long* residentAtStart = static_cast<long*>(shared);
    *residentAtStart = 0;
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        *residentAtStart = ResidentKb();
        ApplyLimits(limits);
        int exitCode = 0;
        const std::string result = work(exitCode);
        for (size_t done = 0; done < result.size();) {
            const ssize_t n = ::write(fds[1], result.data() + done, result.size() - done);
            if (n <= 0)
                break;
            done += static_cast<size_t>(n);
        }
        std::fflush(nullptr);
        ::_exit(exitCode);  // no exit handlers: they belong to the parent
    }
    ::close(fds[1]);
    if (pid < 0) {
        ::close(fds[0]);
        ::munmap(shared, sizeof(long));
        return {};
    }
    Outcome outcome = Collect(pid, fds[0], 0);
    outcome.residentAtStartKb = *residentAtStart;
    ::munmap(shared, sizeof(long));
    return outcome;
}

// Runs a program under the limits with its standard output discarded; its standard
// error comes back in `said`.
inline Outcome SpawnBounded(const Limits& limits, const std::vector<std::string>& argv) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return {};
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ApplyLimits(limits);
        const int null = ::open("/dev/null", O_RDWR);
        ::dup2(null, 0);
        ::dup2(null, 1);
        ::dup2(fds[1], 2);
        ::execv(args[0], args.data());
        ::_exit(127);
    }
    ::close(fds[1]);
    if (pid < 0) {
        ::close(fds[0]);
        return {};
    }
    // The child's peak counts from an exec'd image, not from this process.
    return Collect(pid, fds[0], 0);
}

}  // namespace zmtest
