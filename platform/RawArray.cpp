// The spare mappings that large arrays hand on to each other.
#include "platform/RawArray.h"

#include <mutex>

namespace zm {

namespace {

// The pages of kept mappings stay with the process; marking them free for the kernel
// instead would split their huge pages and cost about what keeping them saves.
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
size_t spareLimit = 0;

// Unmaps the oldest kept mappings until `bytes` more fit; the lock is held.
void MakeRoom(size_t bytes) {
    while (spareCount > 0 && (spareCount == kSpareSlots || spareBytes + bytes > spareLimit)) {
        munmap(spares[0].block, spares[0].bytes);
        spareBytes -= spares[0].bytes;
        for (size_t i = 1; i < spareCount; ++i)
            spares[i - 1] = spares[i];
        --spareCount;
    }
}

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

void SetSpareMappingLimit(size_t bytes) {
    const std::lock_guard<std::mutex> hold(spareLock);
    spareLimit = bytes;
    MakeRoom(0);
}

void KeepSpareMapping(void* block, size_t bytes) {
    if (bytes >= kSpareMinimum) {
        const std::lock_guard<std::mutex> hold(spareLock);
        if (bytes <= spareLimit) {
            // The oldest make room for the newest.
            MakeRoom(bytes);
            spares[spareCount++] = {block, bytes};
            spareBytes += bytes;
            return;
        }
    }
    munmap(block, bytes);
}

}  // namespace zm
