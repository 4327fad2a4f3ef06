// One large buffer between the sheet writers and where their output goes.
#pragma once

#include <cstddef>
#include <cstdio>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

namespace zmhost {

// Writers append bytes; the buffer hands them on in large pieces. While a read is still
// running, what was handed on may have to be taken back (a reader that delivers a cell
// for a row already printed makes the command print everything again): a regular file
// is cut back, the null device needs nothing. A pipe or a terminal gets its first
// 8 MiB at once and then flows the same way; what it received cannot be taken back
// (CanRewind). A std::ostream gets everything at Finish. A failed read leaves no
// partial output in a file.
class OutputBuffer {
  public:
    static constexpr size_t kHandOnSize = size_t{1} << 20;
    static constexpr size_t kFirstPipeHold = size_t{8} << 20;

    // Output to a stream, held until Finish.
    explicit OutputBuffer(std::ostream& stream);
    // Output to a file, created when the first bytes go out.
    explicit OutputBuffer(std::string path, size_t handOnSize = kHandOnSize);
    // Output to an open file such as standard output, from where it stands now; the file
    // stays open.
    explicit OutputBuffer(std::FILE* open, size_t handOnSize = kHandOnSize);
    ~OutputBuffer();
    OutputBuffer(const OutputBuffer&) = delete;
    OutputBuffer& operator=(const OutputBuffer&) = delete;

    // Room for `n` more bytes at the end; Used says how many of them were written.
    char* Room(size_t n) {
        if (capacity - size < n)
            Grow(n);
        return data.get() + size;
    }
    void Used(size_t n) { size += n; }
    void Append(std::string_view text) {
        std::char_traits<char>::copy(Room(text.size()), text.data(), text.size());
        size += text.size();
    }
    void Append(char c) {
        *Room(1) = c;
        ++size;
    }

    // Called between rows: hands the bytes on once there are many and the destination
    // allows it.
    void RowDone() {
        if (size >= handOnSize)
            HandOnEarly();
    }
    // False once bytes went to a destination that cannot take them back.
    bool CanRewind() const;
    // True when whatever is handed on can always be taken back: a regular file, the null
    // device, or a stream that gets everything at Finish (no pipe and no terminal).
    bool AlwaysRewinds() const { return file == nullptr || regularFile || nullDevice; }
    // Forgets everything written so far, also what a file already received.
    void Rewind();
    // Hands on the rest; false when the output cannot be written.
    bool Finish();
    // After a failed read: drops the output and removes a file that received part of it.
    void Abandon();

  private:
    void Grow(size_t n);
    void HandOnEarly();
    bool Open();
    void Inspect();
    bool Write(const char* bytes, size_t n);

    std::unique_ptr<char[]> data;
    size_t size = 0;
    size_t capacity = 0;
    size_t handOnSize = 0;  // 0: hold everything until Finish
    std::ostream* stream = nullptr;
    std::string path;
    std::FILE* file = nullptr;
    bool ownsFile = false;
    bool regularFile = false;
    bool nullDevice = false;  // takes anything and keeps nothing: nothing to take back
    long long start = 0;      // where the output begins in a regular file
    bool failed = false;
    bool handedOn = false;
};

}  // namespace zmhost
