// How far a read is through its input files. The input layers (text streams, zip
// entries, files loaded whole) tell the meter of the running thread how far into which
// file they have read; the meter passes the bytes done of all the read's files, of their
// summed sizes, on to whoever installed it. A reader needs no sink for this, so the
// parsing a reader does while it opens (a workbook's sheets, a set of spectra) shows too.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/ZmExport.h"

namespace zm {

class ZMIMPORT_API ReadMeter {
  public:
    // Bytes done of all the read's files, and their total.
    using Listener = std::function<void(uint64_t done, uint64_t total)>;

    // Listens on this thread for as long as the meter lives, to the `files` of one read
    // (their sizes, asked now, make the total); a meter installed before is put back after.
    ReadMeter(const std::vector<std::string>& files, Listener listener);
    ~ReadMeter();
    ReadMeter(const ReadMeter&) = delete;
    ReadMeter& operator=(const ReadMeter&) = delete;

    // Told by an input layer: `path` has been read up to `position` bytes from its start.
    // A file that is not one of the read's (a helper file, a sniff before the read) and a
    // position behind one told before change nothing; without a meter it costs one test.
    static void Reached(const std::string& path, uint64_t position);
    // Told when `path` has been read to its end.
    static void Finished(const std::string& path) { Reached(path, UINT64_MAX); }
    // Told by a layer that reads a file out of order (the entries of a zip package):
    // `bytes` more of `path` have been taken in, wherever they lie.
    static void Advanced(const std::string& path, uint64_t bytes);

  private:
    struct File {
        std::string path;
        uint64_t size = 0;
        uint64_t reached = 0;
    };
    void Note(const std::string& path, uint64_t position, bool add);

    std::vector<File> files;
    size_t lastFile = 0;  // the file told last: most reports are of the same one
    uint64_t done = 0;
    uint64_t total = 0;
    Listener listener;
    ReadMeter* previous;
};

}  // namespace zm
