// Measures, in processor seconds, how fast the text stream and the text reader get
// through the same table stored in UTF-8, windows-1252 and UTF-16LE.
#include <sys/stat.h>

#include <cstdio>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "formats/text/TextFile.h"
#include "platform/TextStream.h"

namespace {

constexpr int kRows = 1000000;
constexpr int kCols = 10;

const char* const kEncodings[] = {"utf8", "windows1252", "utf16le"};

std::string FileFor(const std::string& dir, const char* key) {
    return dir + "/text-" + key + ".txt";
}

// The table: numbers, short words with Western European letters, one longer text.
void Generate(const std::string& dir) {
    const char* words[] = {"Müller", "café", "Größe", "naïve", "Ærø", "plain", "x", "façade"};
    std::vector<std::unique_ptr<zm::TextStream>> outs;
    for (const char* key : kEncodings) {
        outs.push_back(
            std::make_unique<zm::TextStream>(FileFor(dir, key), key, zm::TextStream::Mode::kWrite));
    }
    std::string line;
    uint32_t seed = 12345;
    auto next = [&seed] { return seed = seed * 1664525u + 1013904223u; };
    char number[32];
    for (int r = 0; r < kRows; ++r) {
        line.clear();
        for (int c = 0; c < kCols; ++c) {
            if (c > 0)
                line += '\t';
            if (c == 0) {
                line += "sample ";
                line += std::to_string(r);
            } else if (c % 4 == 3) {
                line += words[next() % 8];
            } else {
                std::snprintf(number, sizeof number, "%.4f", (next() % 2000000) / 1000.0 - 1000);
                line += number;
            }
        }
        line += '\n';
        for (auto& out : outs)
            out->WriteString(std::string_view(line));
    }
}

class CountingSink : public ReadSpreadSheetData {
  public:
    int GetNumberOfColumns() override { return cols; }
    int GetNumberOfRows() override { return rows; }
    void SetDataSize(int c, int r) override { cols = c, rows = r; }
    void Set(int, int, float) override { ++cells; }
    void Set(int, int, const char* text) override {
        ++cells;
        bytes += text[0];
    }
    long long cells = 0;
    long long bytes = 0;
    int cols = 0, rows = 0;
};

// Processor time of this process (user and system, so the kernel's copying of file
// data counts): on a machine shared with other work it varies far less than wall time.
double CpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + now.tv_nsec / 1e9;
}

// Best of five runs of `run`, which returns a checksum that keeps the work alive.
template <typename Run>
double Best(Run run, long long& check) {
    double best = 1e9;
    for (int i = 0; i < 5; ++i) {
        const double start = CpuSeconds();
        check = run();
        const double t = CpuSeconds() - start;
        if (t < best)
            best = t;
    }
    return best;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--generate") {
        Generate(argv[2]);
        return 0;
    }
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_textstream [--generate] DIR\n");
        return 2;
    }
    const std::string dir = argv[1];
    double lineBase = 0, readBase = 0;
    for (const char* key : kEncodings) {
        const std::string file = FileFor(dir, key);
        struct stat info {};
        if (stat(file.c_str(), &info) != 0) {
            std::fprintf(stderr, "missing %s; run with --generate first\n", file.c_str());
            return 1;
        }
        long long lines = 0, cells = 0;
        const double lineTime = Best(
            [&] {
                zm::TextStream stream(file, key, zm::TextStream::Mode::kRead);
                std::string_view line;
                long long n = 0;
                while (stream.GetLine(line))
                    n += line.empty() ? 0 : 1;
                return n;
            },
            lines);
        const double readTime = Best(
            [&] {
                TextFile reader;
                CountingSink sink;
                reader.Open(true, file.c_str(), nullptr);
                sink.SetDataSize(reader.GetNumCols(), reader.GetNumRows());
                reader.Read(&sink);
                return sink.cells;
            },
            cells);
        if (lineBase == 0)
            lineBase = lineTime, readBase = readTime;
        std::printf(
            "%-12s %7.1f MB  GetLine %.3f s (%6.1f MB/s, x%.2f)  TextFile read %.3f s (x%.2f)"
            "  lines %lld cells %lld\n",
            key, info.st_size / 1e6, lineTime, info.st_size / 1e6 / lineTime, lineTime / lineBase,
            readTime, readTime / readBase, lines, cells);
    }
    return 0;
}
