// A growable array of plain values for tables of millions of entries.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/ZmExport.h"

namespace zm {

// Released mappings of large arrays can be kept, up to a bound, for the next array of about
// their size: reading a table fills fresh memory of several times its size, and on virtual
// machines the page faults and the zeroing of fresh pages cost as much as the parsing.
// Nothing is kept until a program that reads file after file asks for it with
// SetSpareMappingLimit; a program that reads once keeps no memory it does not use.
// Thread-safe.
// Sets how many bytes of released mappings are kept (0, the default: none) and unmaps
// the oldest kept ones beyond the new bound.
ZMIMPORT_API void SetSpareMappingLimit(size_t bytes);
// A kept mapping of at least `wanted` bytes and not much more, its size in `bytes`; null
// when there is none.
ZMIMPORT_API void* TakeSpareMapping(size_t wanted, size_t& bytes);
// Keeps a mapping of `bytes` (a multiple of the page size) for reuse, or unmaps it.
ZMIMPORT_API void KeepSpareMapping(void* block, size_t bytes);

// Asks the kernel to back a large block with huge pages. Filling a fresh block of
// 4 KiB pages costs a page fault per page, and on virtual machines those faults take
// as long as the parsing that fills the block; 2 MiB pages cut their number 512-fold.
// Only the whole pages inside the block are advised; a small block is left alone.
inline void AdviseHugePages(void* block, size_t bytes) {
#ifdef MADV_HUGEPAGE
    constexpr size_t kHugePage = size_t{2} << 20;
    constexpr uintptr_t kPage = 4096;
    if (bytes < kHugePage)
        return;
    const uintptr_t begin = (reinterpret_cast<uintptr_t>(block) + kPage - 1) & ~(kPage - 1);
    const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + bytes) & ~(kPage - 1);
    if (end > begin)
        madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#else
    (void)block;
    (void)bytes;
#endif
}

// A growable array of trivially copyable values. Small arrays live on the heap; from
// 1 MiB on an array has its own mapping, which grows by remapping its pages rather than
// copying them (the heap's realloc copies once its threshold for own mappings has
// risen), so a growing table never holds two copies of itself.
template <typename T>
class RawArray {
  public:
    RawArray() = default;
    ~RawArray() { Release(); }
    RawArray(const RawArray&) = delete;
    RawArray& operator=(const RawArray&) = delete;
    RawArray(RawArray&& other) noexcept
        : data(other.data),
          size(other.size),
          capacity(other.capacity),
          mappedBytes(other.mappedBytes) {
        other.data = nullptr;
        other.size = other.capacity = other.mappedBytes = 0;
    }
    RawArray& operator=(RawArray&& other) noexcept {
        if (this != &other) {
            Release();
            data = other.data;
            size = other.size;
            capacity = other.capacity;
            mappedBytes = other.mappedBytes;
            other.data = nullptr;
            other.size = other.capacity = other.mappedBytes = 0;
        }
        return *this;
    }

    void Reserve(size_t n) {
        if (n <= capacity)
            return;
        if (n > SIZE_MAX / sizeof(T))
            throw std::bad_alloc();
        const size_t bytes = n * sizeof(T);
        if (bytes < kMapBytes) {
            T* grown = static_cast<T*>(std::realloc(data, bytes));
            if (grown == nullptr)
                throw std::bad_alloc();
            data = grown;
            capacity = n;
            return;
        }
        size_t mapped = (bytes + kPageBytes - 1) & ~(kPageBytes - 1);
        void* grown;
        if (IsMapped()) {
            grown = mremap(data, MappedBytes(), mapped, MREMAP_MAYMOVE);
        } else {
            size_t spare = 0;
            grown = TakeSpareMapping(mapped, spare);
            if (grown != nullptr) {
                mapped = spare;
            } else {
                grown = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                             -1, 0);
            }
            if (grown != MAP_FAILED && size != 0)
                std::memcpy(grown, data, size * sizeof(T));
            if (grown != MAP_FAILED)
                std::free(data);
        }
        if (grown == MAP_FAILED)
            throw std::bad_alloc();
        data = static_cast<T*>(grown);
        capacity = mapped / sizeof(T);
        mappedBytes = mapped;
        AdviseHugePages(data, mapped);
    }
    [[gnu::always_inline]] void Push(T value) {
        if (size == capacity)
            Grow(1);
        data[size++] = value;
    }
    [[gnu::always_inline]] void Append(const T* values, size_t n) {
        if (capacity - size < n)
            Grow(n);
        // Fields are short: a plain loop beats a call into memcpy for them.
        if (n <= 16) {
            // Through a local pointer: a store through a char pointer could otherwise
            // alias this object's members and force them to be reloaded every byte.
            T* out = data + size;
            for (size_t i = 0; i < n; ++i)
                out[i] = values[i];
        } else {
            std::memcpy(data + size, values, n * sizeof(T));
        }
        size += n;
    }
    // Appends n <= 16 values from a source with at least 16 readable values by copying
    // all 16 in one move; the values past n are overwritten by the next append.
    [[gnu::always_inline]] void AppendShort(const T* values, size_t n) {
        if (capacity - size < 16)
            Grow(16);
        std::memcpy(data + size, values, 16 * sizeof(T));
        size += n;
    }
    // Grows to n values, the new ones set to `fill`.
    void Resize(size_t n, T fill) {
        if (n <= size)
            return;
        if (n > capacity)
            Grow(n - size);
        for (size_t i = size; i < n; ++i)
            data[i] = fill;
        size = n;
    }
    // Grows by n values left unset, for a caller that fills them at once (a read from
    // a file straight into the array); returns the first of them.
    T* Extend(size_t n) {
        if (capacity - size < n)
            Grow(n);
        T* first = data + size;
        size += n;
        return first;
    }
    size_t Capacity() const { return capacity; }
    bool Empty() const { return size == 0; }
    void Truncate(size_t n) {
        if (n < size)
            size = n;
    }
    size_t Size() const { return size; }
    const T* Data() const { return data; }
    T& operator[](size_t i) { return data[i]; }
    const T& operator[](size_t i) const { return data[i]; }

  private:
    static constexpr size_t kMapBytes = size_t{1} << 20;
    static constexpr size_t kPageBytes = 4096;

    bool IsMapped() const { return mappedBytes != 0; }
    size_t MappedBytes() const { return mappedBytes; }
    void Release() {
        if (IsMapped())
            KeepSpareMapping(data, MappedBytes());
        else
            std::free(data);
        data = nullptr;
        mappedBytes = 0;
    }

    void Grow(size_t extra) {
        if (extra > SIZE_MAX / 2 - size)
            throw std::bad_alloc();
        // At least what is wanted: doubling a small array may still fall short of it.
        const size_t wanted = size + extra;
        const size_t doubled = capacity < 32 ? 64 : capacity * 2;
        Reserve(wanted > doubled ? wanted : doubled);
    }

    T* data = nullptr;
    size_t size = 0;
    size_t capacity = 0;
    size_t mappedBytes = 0;  // of the values' own mapping; 0 while they are on the heap
};

// Rows of text fields. Every finished field sits in `text` followed by a zero byte, so
// a sink can take it as a C string without a copy; its length is kept separately
// because a field may itself hold a zero byte. The field being built is always the
// tail of `text`.
}  // namespace zm
