// Runs the fuzz target over every file named on the command line, and every file below
// every folder named, so the corpus and past crash inputs replay as a plain test.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

namespace {

void Replay(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in),
                                  std::istreambuf_iterator<char>()};
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
    size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        const fs::path arg = argv[i];
        if (fs::is_directory(arg)) {
            std::vector<fs::path> files;
            for (const auto& entry : fs::recursive_directory_iterator(arg))
                if (entry.is_regular_file())
                    files.push_back(entry.path());
            std::sort(files.begin(), files.end());
            for (const auto& f : files) {
                Replay(f);
                ++count;
            }
        } else if (fs::is_regular_file(arg)) {
            Replay(arg);
            ++count;
        } else {
            std::fprintf(stderr, "not found: %s\n", argv[i]);
            return 2;
        }
    }
    std::printf("replayed %zu inputs\n", count);
    return 0;
}
