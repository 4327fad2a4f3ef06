// Runs the fuzz target over every file named on the command line, and every file below
// every folder named, so the corpus and past findings replay as a plain test. Each input
// runs in its own child under the limits libFuzzer is run with, taking the same flags:
//   -rss_limit_mb=N     peak resident memory of the child (wait4)
//   -malloc_limit_mb=N  the largest single allocation (checked here in plain builds; under
//                       AddressSanitizer by its max_allocation_size_mb)
//   -timeout=N          CPU seconds per input (RLIMIT_CPU: a hang guard, not a clock)
// so a blow-up is a finding, named with its input, and the run exits 1.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/Bounded.h"

#ifdef ZMTEST_ASAN
#include <sanitizer/lsan_interface.h>
#endif

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

namespace {

size_t mallocLimit = 0;  // bytes; 0 until main reads its flags

// Unused where the sanitizer's allocator enforces the limit itself.
[[noreturn, maybe_unused]] void TooLarge(size_t size) {
    char text[128];
    const int n = std::snprintf(text, sizeof text, "malloc(%zu) exceeds the limit of %zu MB\n",
                                size, mallocLimit >> 20);
    if (n > 0)
        (void)!::write(2, text, static_cast<size_t>(n));
    std::abort();
}

}  // namespace

#ifndef ZMTEST_ASAN
// The allocator's entry points, wrapped to refuse a single block beyond the limit the
// way libFuzzer's -malloc_limit_mb does; operator new comes through malloc.
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);
extern "C" void* malloc(size_t size) {
    if (mallocLimit != 0 && size > mallocLimit)
        TooLarge(size);
    return __libc_malloc(size);
}
extern "C" void* calloc(size_t count, size_t size) {
    if (mallocLimit != 0 && size != 0 && count > mallocLimit / size)
        TooLarge(count * size);
    return __libc_calloc(count, size);
}
extern "C" void* realloc(void* block, size_t size) {
    if (mallocLimit != 0 && size > mallocLimit)
        TooLarge(size);
    return __libc_realloc(block, size);
}
#else
// Under AddressSanitizer the sanitizer's allocator refuses large blocks itself.
extern "C" const char* __asan_default_options() {
    return "max_allocation_size_mb=256:allocator_may_return_null=0";
}
#endif

int main(int argc, char** argv) {
    long rssLimitMb = 0, mallocLimitMb = 0, timeout = 60;
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const auto flag = [&](const char* name, long& value) {
            if (arg.rfind(name, 0) != 0)
                return false;
            value = std::atol(arg.c_str() + std::strlen(name));
            return true;
        };
        if (flag("-rss_limit_mb=", rssLimitMb) || flag("-malloc_limit_mb=", mallocLimitMb) ||
            flag("-timeout=", timeout))
            continue;
        if (fs::is_regular_file(arg)) {
            files.push_back(arg);
        } else if (fs::is_directory(arg)) {
            for (const auto& entry : fs::recursive_directory_iterator(arg))
                if (entry.is_regular_file())
                    files.push_back(entry.path());
        } else {
            std::fprintf(stderr, "not found: %s\n", argv[i]);
            return 2;
        }
    }
    std::sort(files.begin(), files.end());
    zmtest::Limits limits;
    limits.cpuSeconds = static_cast<rlim_t>(std::max(timeout, 1L));
    // The address-space limit only keeps a runaway input from taking the machine; the
    // finding is the peak against -rss_limit_mb.
    if (rssLimitMb > 0)
        limits.addressSpaceBytes = static_cast<rlim_t>(rssLimitMb + 2048) << 20;
    // The target's scratch folder is made here, once, so the children share it and this
    // process removes it at the end.
    LLVMFuzzerTestOneInput(nullptr, 0);
    size_t findings = 0;
    for (const auto& file : files) {
        std::ifstream in(file, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(in), {}};
        const zmtest::Outcome outcome = zmtest::RunBounded(limits, [&](int& code) {
            mallocLimit = static_cast<size_t>(mallocLimitMb) << 20;
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            mallocLimit = 0;
#ifdef ZMTEST_ASAN
            // The child leaves without exit handlers, so the leak check runs here.
            if (__lsan_do_recoverable_leak_check() != 0)
                code = 1;
#endif
            (void)code;
            return std::string();
        });
        std::string finding;
        if (!outcome.exited || outcome.code != 0)
            finding = outcome.Describe();
        else if (rssLimitMb > 0 && outcome.peakKb > rssLimitMb * 1024)
            finding = "peak resident memory " + std::to_string(outcome.peakKb >> 10) +
                      " MB over the limit of " + std::to_string(rssLimitMb) + " MB";
        if (!finding.empty()) {
            ++findings;
            std::fprintf(stderr, "FINDING %s (%zu bytes): %s\n", file.c_str(), bytes.size(),
                         finding.c_str());
        }
    }
    std::printf("replayed %zu inputs, %zu findings\n", files.size(), findings);
    return findings == 0 ? 0 : 1;
}
