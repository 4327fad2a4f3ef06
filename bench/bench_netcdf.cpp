// Times the netCDF format reading a chromatogram into a sink that keeps nothing but a
// checksum of the numbers and the bytes of the texts.
// Usage: bench_netcdf FILE
#include <chrono>
#include <cstdio>
#include <cstring>

#include "formats/spectral/NetCDFFile.h"

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
    void Set(int, int, const char* text) override { textBytes += std::strlen(text); }
    double sum = 0;
    size_t textBytes = 0;
    int cols = 0, rows = 0;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    const auto start = std::chrono::steady_clock::now();
    NetCDFFile reader;
    DiscardingSink sink;
    if (reader.Open(true, argv[1], nullptr) != 0)
        return 1;
    sink.SetDataSize(reader.GetNumCols(), reader.GetNumRows());
    if (reader.Read(&sink) != 0)
        return 1;
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("cells %d x %d  checksum %.6g  text bytes %zu\n", sink.rows, sink.cols, sink.sum,
                sink.textBytes);
    std::printf("seconds %.4f\n", seconds);
    return 0;
}
