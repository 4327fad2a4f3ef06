// Times one format reading files into a sink that keeps nothing but a checksum of the
// numbers and the bytes of the texts: the library's own reading, without the process
// start and the command line's output. Usage: bench_read FORMAT FILE...
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "framework/host/FormatTable.h"
#include "framework/host/ReaderSession.h"

namespace {

class DiscardingSink : public zmhost::CommandSink {
  public:
    DiscardingSink() : CommandSink(nullptr) {}
    int GetNumberOfColumns() override { return cols; }
    int GetNumberOfRows() override { return rows; }
    void SetDataSize(int c, int r) override {
        cols = c;
        rows = r;
    }
    void Set(int, int, int value) override { sum += value; }
    void Set(int, int, long long value) override { sum += static_cast<double>(value); }
    void Set(int, int, double value) override { sum += value; }
    void Set(int, int, float value) override { sum += value; }
    void Set(int, int, const char* text) override { textBytes += std::strlen(text); }
    double sum = 0;
    size_t textBytes = 0;
    int cols = 0, rows = 0;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: bench_read FORMAT FILE...\n");
        return 2;
    }
    const int format = zmhost::ResolveFormat(argv[1]);
    if (format == 0) {
        std::fprintf(stderr, "bench_read: no format \"%s\"\n", argv[1]);
        return 2;
    }
    const std::vector<std::string> files(argv + 2, argv + argc);
    const auto start = std::chrono::steady_clock::now();
    zmhost::OptionsRecord options;
    DiscardingSink sink;
    const zmhost::ReadOutcome outcome = zmhost::ReadIntoSink(format, files, options.Get(), sink);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!outcome.ok) {
        std::fprintf(stderr, "bench_read: %s\n", outcome.error.c_str());
        return 1;
    }
    std::printf("cells %d x %d  checksum %.6g  text bytes %zu\n", sink.rows, sink.cols, sink.sum,
                sink.textBytes);
    std::printf("seconds %.4f\n", seconds);
    return 0;
}
