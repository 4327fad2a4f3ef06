// Compact in-memory store of parsed CSV rows: one character buffer plus field lengths.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

// A growable array of trivially copyable values. Growth goes through realloc, which
// for large blocks remaps pages instead of copying them, so a growing table never
// holds two copies of itself.
template <typename T>
class CsvRawArray {
  public:
    CsvRawArray() = default;
    ~CsvRawArray() { std::free(data); }
    CsvRawArray(const CsvRawArray&) = delete;
    CsvRawArray& operator=(const CsvRawArray&) = delete;

    void Reserve(size_t n) {
        if (n <= capacity)
            return;
        if (n > SIZE_MAX / sizeof(T))
            throw std::bad_alloc();
        T* grown = static_cast<T*>(std::realloc(data, n * sizeof(T)));
        if (grown == nullptr)
            throw std::bad_alloc();
        data = grown;
        capacity = n;
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
    void Truncate(size_t n) {
        if (n < size)
            size = n;
    }
    size_t Size() const { return size; }
    const T* Data() const { return data; }
    T& operator[](size_t i) { return data[i]; }
    const T& operator[](size_t i) const { return data[i]; }

  private:
    void Grow(size_t extra) {
        if (extra > SIZE_MAX / 2 - size)
            throw std::bad_alloc();
        const size_t wanted = size + extra;
        Reserve(wanted > capacity * 2 ? wanted : (capacity < 64 ? 64 : capacity * 2));
    }

    T* data = nullptr;
    size_t size = 0;
    size_t capacity = 0;
};

// Rows of text fields. Every finished field sits in `text` followed by a zero byte, so
// a sink can take it as a C string without a copy; its length is kept separately
// because a field may itself hold a zero byte. The field being built is always the
// tail of `text`.
class CsvRows {
  public:
    // Sizes the character buffer for about `bytes` of field text; untouched capacity
    // costs address space, not memory.
    void ReserveText(size_t bytes) { text.Reserve(bytes); }

    void AppendToField(const char* p, size_t n) { text.Append(p, n); }
    void AppendToField(char c) { text.Push(c); }
    // The same for n <= 16 bytes where 16 bytes from p are readable.
    void AppendShortToField(const char* p, size_t n) { text.AppendShort(p, n); }
    // Ends the field being built and adds it to the current row.
    [[gnu::always_inline]] void EndField() {
        const size_t length = text.Size() - fieldStart;
        if (length > UINT32_MAX)
            ThrowTooLong();
        text.Push('\0');
        lengths.Push(static_cast<uint32_t>(length));
        fieldStart = text.Size();
    }
    // Finishes the current row, even when it has no fields.
    void EndRow();
    // Forgets the field being built and every field of the current row; returns the
    // number of lines of the file that they held.
    size_t DropOpenRow();
    size_t CurrentRowFields() const { return lengths.Size() - rowFirstField; }

    size_t RowCount() const { return rowFields.Size(); }
    size_t LongestRow() const { return longestRow; }
    size_t FieldsInRow(size_t row) const { return rowFields[row]; }
    uint32_t FieldLength(size_t field) const { return lengths[field]; }
    const char* Text() const { return text.Data(); }

  private:
    [[noreturn]] static void ThrowTooLong();

    CsvRawArray<char> text;
    CsvRawArray<uint32_t> lengths;    // per finished field, without its zero byte
    CsvRawArray<uint32_t> rowFields;  // per finished row, its number of fields
    size_t fieldStart = 0;            // where the field being built begins in `text`
    size_t rowFirstField = 0;         // first field of the current row
    size_t rowTextStart = 0;          // where the current row begins in `text`
    size_t longestRow = 0;
};
