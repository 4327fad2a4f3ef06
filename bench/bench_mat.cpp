// Times MatFile reading a MAT file into a sink that keeps nothing but a checksum, and the
// floor of a compressed file: zlib inflating its first element into a reused buffer.
// Usage: bench_mat FILE | bench_mat --inflate FILE
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "formats/workbook/MatFile.h"

namespace {

class DiscardingSink : public ReadSpreadSheetData {
  public:
    int GetNumberOfColumns() override { return cols; }
    int GetNumberOfRows() override { return rows; }
    void SetDataSize(int c, int r) override {
        cols = c;
        rows = r;
    }
    void Set(int, int, double value) override { sum += value; }
    void Set(int, int, float value) override { sum += value; }
    void Set(int, int, const char*) override { ++texts; }
    double sum = 0;
    long texts = 0;
    int cols = 0, rows = 0;
};

double Seconds(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

int ReadWithMatFile(const char* file) {
    const auto start = std::chrono::steady_clock::now();
    MatFile reader;
    DiscardingSink sink;
    if (reader.Open(true, file, nullptr) != 0)
        return 1;
    sink.SetDataSize(reader.GetNumCols(), reader.GetNumRows());
    if (reader.Read(&sink) != 0)
        return 1;
    std::printf("cells %d x %d  checksum %.6g\n", sink.rows, sink.cols, sink.sum);
    std::printf("seconds %.4f\n", Seconds(start));
    return 0;
}

// The first top-level element of a Level 5 file, inflated in 64 KB steps.
int InflateFloor(const char* file) {
    const auto start = std::chrono::steady_clock::now();
    std::ifstream in(file, std::ios::binary);
    char tag[8];
    in.seekg(128);
    if (!in.read(tag, 8))
        return 1;
    uint32_t type, size;
    std::memcpy(&type, tag, 4);
    std::memcpy(&size, tag + 4, 4);
    if (type != 15)
        return 1;
    // 64 KB in and out, as a streaming reader works.
    std::vector<unsigned char> packed(1 << 16), out(1 << 16);
    z_stream z{};
    inflateInit(&z);
    uint64_t total = 0, left = size;
    int result = Z_OK;
    while (result == Z_OK) {
        if (z.avail_in == 0 && left > 0) {
            const size_t n = static_cast<size_t>(std::min<uint64_t>(left, packed.size()));
            in.read(reinterpret_cast<char*>(packed.data()), static_cast<std::streamsize>(n));
            left -= n;
            z.next_in = packed.data();
            z.avail_in = static_cast<uInt>(n);
        }
        z.next_out = out.data();
        z.avail_out = static_cast<uInt>(out.size());
        result = inflate(&z, Z_NO_FLUSH);
        total += out.size() - z.avail_out;
    }
    inflateEnd(&z);
    std::printf("inflated %llu bytes\n", static_cast<unsigned long long>(total));
    std::printf("seconds %.4f\n", Seconds(start));
    return result == Z_STREAM_END ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--inflate") == 0)
        return InflateFloor(argv[2]);
    if (argc == 2)
        return ReadWithMatFile(argv[1]);
    std::fprintf(stderr, "usage: bench_mat FILE | bench_mat --inflate FILE\n");
    return 2;
}
