// Bounds-checked little-endian cursor over a byte buffer; every binary format reads
// through it. Each read checks the bytes remaining before it moves, and a failed read
// sets a sticky fail flag and leaves the output untouched.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace zm {

class ByteReader {
  public:
    ByteReader() = default;
    ByteReader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    ByteReader(const char* data, size_t size)
        : data_(reinterpret_cast<const uint8_t*>(data)), size_(size) {}

    size_t Size() const { return size_; }
    size_t Position() const { return pos_; }
    size_t Remaining() const { return size_ - pos_; }
    bool Failed() const { return failed_; }
    bool AtEnd() const { return pos_ == size_; }

    bool ReadU8(uint8_t& v) { return ReadLE(v); }
    bool ReadU16LE(uint16_t& v) { return ReadLE(v); }
    bool ReadU32LE(uint32_t& v) { return ReadLE(v); }
    bool ReadU64LE(uint64_t& v) { return ReadLE(v); }
    bool ReadI16LE(int16_t& v) { return ReadSigned<uint16_t>(v); }
    bool ReadI32LE(int32_t& v) { return ReadSigned<uint32_t>(v); }
    bool ReadI64LE(int64_t& v) { return ReadSigned<uint64_t>(v); }
    bool ReadF32LE(float& v) { return ReadFloat<uint32_t>(v); }
    bool ReadF64LE(double& v) { return ReadFloat<uint64_t>(v); }
    bool ReadU16BE(uint16_t& v) { return ReadBE(v); }
    bool ReadU32BE(uint32_t& v) { return ReadBE(v); }

    // Copies n bytes into out (which must hold n bytes).
    bool ReadBytes(void* out, size_t n) {
        if (!Check(n))
            return false;
        std::memcpy(out, data_ + pos_, n);
        pos_ += n;
        return true;
    }
    bool ReadString(size_t n, std::string& out) {
        if (!Check(n))
            return false;
        out.assign(reinterpret_cast<const char*>(data_ + pos_), n);
        pos_ += n;
        return true;
    }
    // A zero-terminated text inside the next `field` bytes; the cursor moves by `field`.
    bool ReadFixedString(size_t field, std::string& out) {
        if (!Check(field))
            return false;
        const auto* p = reinterpret_cast<const char*>(data_ + pos_);
        const void* zero = std::memchr(p, 0, field);
        out.assign(p, zero ? static_cast<const char*>(zero) - p : field);
        pos_ += field;
        return true;
    }
    // Direct view of the next n bytes without copying.
    bool View(size_t n, const uint8_t*& out) {
        if (!Check(n))
            return false;
        out = data_ + pos_;
        pos_ += n;
        return true;
    }
    bool Skip(size_t n) {
        if (!Check(n))
            return false;
        pos_ += n;
        return true;
    }
    bool Seek(size_t offset) {
        if (offset > size_)
            return Fail();
        pos_ = offset;
        return true;
    }
    // A reader limited to the next n bytes (one record); this cursor moves past them.
    bool Sub(size_t n, ByteReader& out) {
        if (!Check(n))
            return false;
        out = ByteReader(data_ + pos_, n);
        pos_ += n;
        return true;
    }

  private:
    bool Fail() {
        failed_ = true;
        return false;
    }
    bool Check(size_t n) { return n <= size_ - pos_ ? true : Fail(); }

    template <typename T>
    bool ReadLE(T& v) {
        if (!Check(sizeof(T)))
            return false;
        T out = 0;
        for (size_t i = 0; i < sizeof(T); ++i)
            out |= static_cast<T>(data_[pos_ + i]) << (8 * i);
        pos_ += sizeof(T);
        v = out;
        return true;
    }
    template <typename T>
    bool ReadBE(T& v) {
        if (!Check(sizeof(T)))
            return false;
        T out = 0;
        for (size_t i = 0; i < sizeof(T); ++i)
            out = static_cast<T>((out << 8) | data_[pos_ + i]);
        pos_ += sizeof(T);
        v = out;
        return true;
    }
    template <typename U, typename S>
    bool ReadSigned(S& v) {
        U u = 0;
        if (!ReadLE(u))
            return false;
        std::memcpy(&v, &u, sizeof v);
        return true;
    }
    template <typename U, typename F>
    bool ReadFloat(F& v) {
        static_assert(sizeof(U) == sizeof(F));
        U u = 0;
        if (!ReadLE(u))
            return false;
        std::memcpy(&v, &u, sizeof v);
        return true;
    }

    const uint8_t* data_ = nullptr;
    size_t size_ = 0;
    size_t pos_ = 0;
    bool failed_ = false;
};

// Decoders for single values in a buffer the caller has already bounds-checked.
inline uint16_t LoadU16LE(const uint8_t* p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
inline uint32_t LoadU32LE(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
inline float LoadF32LE(const uint8_t* p) {
    const uint32_t u = LoadU32LE(p);
    float f;
    std::memcpy(&f, &u, sizeof f);
    return f;
}

}  // namespace zm
