// Measures how fast BrimroseFile pours a large spectra file into an in-memory sheet.
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <unordered_map>
#include <vector>

#include "formats/spectral/BrimroseFile.h"

namespace {

constexpr int kSpectra = 10000;
constexpr int kPoints = 1000;

// What a host keeps of a sheet: every number in a dense float matrix (NaN where a cell
// holds text or nothing) and the few text cells (names, time stamps) on the side.
class MatrixSink : public ReadSpreadSheetData {
  public:
    int GetNumberOfColumns() override { return cols_; }
    int GetNumberOfRows() override { return rows_; }
    void SetDataSize(int cols, int rows) override {
        cols_ = cols;
        rows_ = rows;
        numbers_.assign(static_cast<size_t>(cols) * rows, std::numeric_limits<float>::quiet_NaN());
        texts_.clear();
    }
    void Set(int col, int row, float value) override {
        if (Inside(col, row))
            numbers_[Index(col, row)] = value;
    }
    void Set(int col, int row, const char* text) override {
        if (Inside(col, row))
            texts_[Index(col, row)] = text;
    }
    double Checksum() const {
        double sum = 0;
        for (float v : numbers_) {
            if (!std::isnan(v))
                sum += v;
        }
        return sum + static_cast<double>(texts_.size());
    }

  private:
    bool Inside(int col, int row) const {
        return col >= 1 && col <= cols_ && row >= 1 && row <= rows_;
    }
    size_t Index(int col, int row) const {
        return static_cast<size_t>(row - 1) * cols_ + static_cast<size_t>(col - 1);
    }

    int cols_ = 0;
    int rows_ = 0;
    std::vector<float> numbers_;
    std::unordered_map<size_t, std::string> texts_;
};

// Writes kSpectra spectra of kPoints values, laid out as the instruments write them.
bool Generate(const char* path) {
    std::FILE* out = std::fopen(path, "wb");
    if (out == nullptr)
        return false;
    uint8_t header[512] = {};
    const uint32_t magic = 0x0D0C10FF;
    const float first = 1100.0f, increment = 1.4f, last = first + increment * (kPoints - 1);
    const uint16_t points = kPoints, spectra = kSpectra;
    std::memcpy(header, &magic, 4);  // the benchmark runs on little-endian x86-64
    std::memcpy(header + 29, &first, 4);
    std::memcpy(header + 33, &last, 4);
    std::memcpy(header + 37, &increment, 4);
    std::memcpy(header + 41, &points, 2);
    std::memcpy(header + 45, &spectra, 2);
    bool ok = std::fwrite(header, 1, sizeof header, out) == sizeof header;
    std::vector<uint8_t> record(128 + 4 * kPoints);
    for (int n = 0; n < kSpectra && ok; ++n) {
        const uint32_t stamp = 1700000000u + 60u * n;
        std::memset(record.data(), 0, 128);
        std::memcpy(record.data(), &stamp, 4);
        std::snprintf(reinterpret_cast<char*>(record.data()) + 4, 64, "sample %d", n + 1);
        for (int i = 0; i < kPoints; ++i) {
            const float v = 0.3f + 0.0004f * i + 0.00001f * n;
            std::memcpy(record.data() + 128 + 4 * i, &v, 4);
        }
        ok = std::fwrite(record.data(), 1, record.size(), out) == record.size();
    }
    return std::fclose(out) == 0 && ok;
}

// One complete import: open, size the sink, read, close. Returns seconds, or -1.
double TimeOneRead(const char* path, MatrixSink& sink) {
    const auto start = std::chrono::steady_clock::now();
    BrimroseFile reader;
    if (reader.Open(true, path, nullptr) != 0)
        return -1;
    const int cols = reader.GetNumCols();
    const int rows = reader.GetNumRows();
    if (cols < 0 || rows < 0)
        return -1;
    sink.SetDataSize(cols, rows);
    if (reader.Read(&sink) != 0)
        return -1;
    reader.Close();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--generate") == 0) {
        if (!Generate(argv[2])) {
            std::fprintf(stderr, "bench_brimrose: cannot write %s\n", argv[2]);
            return 1;
        }
        return 0;
    }
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_brimrose --generate FILE | bench_brimrose FILE\n");
        return 2;
    }
    struct stat info {};
    if (::stat(argv[1], &info) != 0) {
        std::fprintf(stderr, "bench_brimrose: cannot find %s\n", argv[1]);
        return 1;
    }
    const double megabytes = static_cast<double>(info.st_size) / 1e6;

    MatrixSink sink;
    double best = TimeOneRead(argv[1], sink);  // warm-up: page cache and allocations
    for (int i = 0; i < 3 && best >= 0; ++i) {
        const double t = TimeOneRead(argv[1], sink);
        best = t < 0 ? t : std::min(best, t);
    }
    if (best <= 0) {
        std::fprintf(stderr, "bench_brimrose: reading %s failed\n", argv[1]);
        return 1;
    }
    std::printf("file      %.1f MB, %d x %d cells, checksum %.6g\n", megabytes,
                sink.GetNumberOfRows(), sink.GetNumberOfColumns(), sink.Checksum());
    std::printf("best of 3 %.3f s\n", best);
    std::printf("MB/s      %.1f\n", megabytes / best);
    return 0;
}
