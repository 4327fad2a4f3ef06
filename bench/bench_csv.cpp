// Generates the large CSV/tab-delimited benchmark table and times the library-level read
// of either file (CsvFile or TextFile into a sink that only counts cells).
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "formats/text/CsvFile.h"
#include "formats/text/TextFile.h"

namespace {

// Counts what arrives, as cheaply as a sink can.
class CountingSink : public ReadSpreadSheetData {
  public:
    int GetNumberOfColumns() override { return cols; }
    int GetNumberOfRows() override { return rows; }
    void SetDataSize(int c, int r) override {
        cols = c;
        rows = r;
    }
    void Set(int, int, float) override { ++numbers; }
    void Set(int, int, const char* text) override {
        ++texts;
        firstBytes += static_cast<unsigned char>(text[0]);
    }

    int cols = 0;
    int rows = 0;
    long long numbers = 0;
    long long texts = 0;
    unsigned long long firstBytes = 0;
};

const char* const kNames[] = {"alpha", "beta", "gamma", "delta", "eps", "zeta", "eta", "theta"};
const char* const kTowns[] = {"Oslo",          "Lyon",   "Z\xC3\xBCrich", "Turku",
                              "M\xC3\xA1laga", "Bergen", "Delft"};

// 1,000,000 rows x 10 columns, about 80 MB: an id, five decimals, a name, a town (one in
// eight quoted with a comma in the CSV; two hold non-ASCII letters), a count and a flag.
// The tab-delimited twin has
// the same cells without quoting.
int Generate(const char* csvPath, const char* tsvPath, long rows) {
    std::FILE* csv = std::fopen(csvPath, "wb");
    std::FILE* tsv = std::fopen(tsvPath, "wb");
    if (csv == nullptr || tsv == nullptr) {
        std::perror("open");
        return 1;
    }
    const char* header[] = {"id", "x1", "x2", "x3", "x4", "x5", "name", "town", "count", "flag"};
    for (int c = 0; c < 10; ++c) {
        std::fprintf(csv, "%s%s", c ? "," : "", header[c]);
        std::fprintf(tsv, "%s%s", c ? "\t" : "", header[c]);
    }
    std::fputs("\n", csv);
    std::fputs("\n", tsv);
    std::mt19937 random(20261121);
    std::uniform_real_distribution<double> value(-2000.0, 2000.0);
    char number[5][32];
    for (long r = 1; r <= rows; ++r) {
        for (auto& n : number)
            std::snprintf(n, sizeof n, "%.4f", value(random));
        const char* name = kNames[random() % 8];
        const char* town = kTowns[random() % 7];
        const bool quoted = random() % 8 == 0;
        const unsigned count = random() % 10000;
        const char* flag = random() % 2 ? "yes" : "no";
        std::fprintf(csv, "%ld,%s,%s,%s,%s,%s,%s,%s%s%s,%u,%s\n", r, number[0], number[1],
                     number[2], number[3], number[4], name, quoted ? "\"" : "", town,
                     quoted ? ", NO\"" : "", count, flag);
        std::fprintf(tsv, "%ld\t%s\t%s\t%s\t%s\t%s\t%s\t%s%s\t%u\t%s\n", r, number[0], number[1],
                     number[2], number[3], number[4], name, town, quoted ? ", NO" : "", count,
                     flag);
    }
    return std::fclose(csv) != 0 || std::fclose(tsv) != 0;
}

int Read(SpreadsheetFile& file, const char* path) {
    const auto start = std::chrono::steady_clock::now();
    CountingSink sink;
    int status = file.Open(true, path, nullptr);
    if (status == 0) {
        const int rows = file.GetNumRows();
        const int cols = file.GetNumCols();
        sink.SetDataSize(cols, rows);
        status = file.Read(&sink);
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (status != 0) {
        char message[256];
        file.GetErrorMessage(message, sizeof message);
        std::fprintf(stderr, "read failed: %d %s\n", status, message);
        return 1;
    }
    std::printf("seconds %.4f\ncells %lld\nsize %d x %d\n", seconds, sink.texts + sink.numbers,
                sink.rows, sink.cols);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 4 && std::strcmp(argv[1], "--generate") == 0) {
        return Generate(argv[2], argv[3], argc >= 5 ? std::atol(argv[4]) : 1000000);
    }
    if (argc == 3 && std::strcmp(argv[1], "--read-csv") == 0) {
        CsvFile file;
        return Read(file, argv[2]);
    }
    if (argc == 3 && std::strcmp(argv[1], "--read-text") == 0) {
        TextFile file;
        return Read(file, argv[2]);
    }
    std::fprintf(stderr,
                 "usage: bench_csv --generate CSV TSV [ROWS] | --read-csv FILE | --read-text "
                 "FILE\n");
    return 2;
}
