// The spare mappings that large arrays hand on to each other.
#include "platform/RawArray.h"

#include <mutex>

namespace zm {

namespace {

// At most this much is kept: about what reading a table of eighty megabytes into columns
// fills. The pages stay with the process; marking them free for the kernel instead would
// split their huge pages and cost about what keeping them saves.
constexpr size_t kSpareLimit = size_t{256} << 20;
constexpr size_t kSpareSlots = 32;
// Smaller mappings are cheap to make again.
constexpr size_t kSpareMinimum = size_t{2} << 20;

struct Spare {
    void* block;
    size_t bytes;
};

std::mutex spareLock;
Spare spares[kSpareSlots];
size_t spareCount = 0;
size_t spareBytes = 0;

}  // namespace

void* TakeSpareMapping(size_t wanted, size_t& bytes) {
    if (wanted < kSpareMinimum)
        return nullptr;
    const std::lock_guard<std::mutex> hold(spareLock);
    // The smallest that fits, and only one that is not much larger: a large mapping
    // spent on a small array would leave the next large one to fresh memory.
    size_t best = spareCount;
    for (size_t i = 0; i < spareCount; ++i) {
        const size_t n = spares[i].bytes;
        if (n >= wanted && n - wanted <= wanted / 2 + kSpareMinimum &&
            (best == spareCount || n < spares[best].bytes))
            best = i;
    }
    if (best == spareCount)
        return nullptr;
    void* block = spares[best].block;
    bytes = spares[best].bytes;
    spareBytes -= bytes;
    spares[best] = spares[--spareCount];
    return block;
}

void KeepSpareMapping(void* block, size_t bytes) {
    if (bytes >= kSpareMinimum && bytes <= kSpareLimit) {
        std::unique_lock<std::mutex> hold(spareLock);
        // The oldest make room for the newest.
        while (spareCount > 0 && (spareCount == kSpareSlots || spareBytes + bytes > kSpareLimit)) {
            munmap(spares[0].block, spares[0].bytes);
            spareBytes -= spares[0].bytes;
            for (size_t i = 1; i < spareCount; ++i)
                spares[i - 1] = spares[i];
            --spareCount;
        }
        spares[spareCount++] = {block, bytes};
        spareBytes += bytes;
        return;
    }
    munmap(block, bytes);
}

}  // namespace zm
