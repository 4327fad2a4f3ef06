// Every hostile file of the fixtures and of the fuzz seeds goes through `zmimport read`
// in a child with an address-space and a CPU limit, once with the format detection
// chooses and once with each format that claims the file's extension. The child's peak
// resident memory (wait4) must stay within 64 MB + 16 bytes per input byte, where a
// compressed part (zip entry, zlib element) counts at the size it inflates to, but at no
// more than 100 times its compressed size. The output ends with each format's worst
// memory per input byte.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "framework/ZmImport.h"
#include "tests/support/Bounded.h"

namespace fs = std::filesystem;

namespace {

constexpr uint64_t kBase = 64ull << 20;
constexpr uint64_t kPerByte = 16;
constexpr uint64_t kMaxInflation = 100;

std::string Bytes(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

uint32_t U32(const std::string& b, size_t at) {
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(b[at + i]);
    return v;
}

// The bytes a zlib stream inflates to, counted up to `cap`.
uint64_t InflatedSize(const std::string& packed, uint64_t cap) {
    z_stream z{};
    if (inflateInit(&z) != Z_OK)
        return 0;
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    z.avail_in = static_cast<uInt>(packed.size());
    uint64_t total = 0;
    unsigned char out[65536];
    int rc = Z_OK;
    while (rc == Z_OK && total < cap) {
        z.next_out = out;
        z.avail_out = sizeof out;
        rc = inflate(&z, Z_NO_FLUSH);
        total += sizeof out - z.avail_out;
        if (z.avail_out == sizeof out)
            break;  // no progress: damaged or cut
    }
    inflateEnd(&z);
    return std::min(total, cap);
}

// Bytes that count against the budget: the file, plus what its compressed parts inflate
// to as their headers declare (zip central directory) or as zlib says (MAT Level 5).
uint64_t CountedSize(const std::string& b) {
    uint64_t counted = b.size();
    // Zip: each central-directory entry gives compressed and uncompressed sizes.
    for (size_t at = b.find("PK\x01\x02"); at != std::string::npos && at + 46 <= b.size();
         at = b.find("PK\x01\x02", at + 4)) {
        const uint64_t packed = U32(b, at + 20), plain = U32(b, at + 24);
        counted += std::min(plain, packed * kMaxInflation);
    }
    // MAT Level 5: top-level elements of type 15 (miCOMPRESSED) after the 128-byte header.
    if (b.size() >= 136 && b.compare(0, 6, "MATLAB") == 0) {
        for (size_t at = 128; at + 8 <= b.size();) {
            const uint32_t type = U32(b, at), size = U32(b, at + 4);
            const uint64_t available = std::min<uint64_t>(size, b.size() - at - 8);
            if (type == 15)
                counted += InflatedSize(b.substr(at + 8, available), available * kMaxInflation);
            at += 8 + static_cast<size_t>(available);
            at = (at + 7) & ~size_t{7};
        }
    }
    return counted;
}

uint64_t Budget(uint64_t counted) {
    return kBase + kPerByte * counted;
}

struct Input {
    std::string name;  // folder/file
    fs::path path;
};

std::vector<Input> Inputs() {
    static const std::regex kNotInput(
        R"((^|/)scripts/|\.expected|\.(md|tsv|py|sh|js|json|cmake)$)");
    std::vector<Input> out;
    for (const fs::path& root : {fs::path(ZM_TEST_DATA), fs::path(ZM_FUZZ_DIR) / "corpus",
                                 fs::path(ZM_FUZZ_DIR) / "pending"}) {
        if (!fs::is_directory(root))
            continue;
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            const std::string name = fs::relative(entry.path(), root.parent_path()).string();
            if (entry.is_regular_file() && !std::regex_search(name, kNotInput))
                out.push_back({name, entry.path()});
        }
    }
    std::sort(out.begin(), out.end(), [](auto& a, auto& b) { return a.name < b.name; });
    return out;
}

// Readable formats claiming the file's extension; all readable ones when none does.
std::vector<std::string> FormatsFor(const fs::path& file) {
    std::vector<std::string> claiming, all;
    const std::string extension = file.extension().string();
    for (int format = 1; format <= ZmImportSizeFileFormatsSupported(); ++format) {
        const ZmImportFileFormatInfo* info = ZmImportGetFileFormatInfo(format);
        if (!info->canRead)
            continue;
        all.push_back(info->name);
        const char* p = info->extensions;
        for (int i = 0; p != nullptr && i < info->extensionCount; ++i, p += std::strlen(p) + 1)
            if (!extension.empty() && strcasecmp(p, extension.c_str()) == 0)
                claiming.push_back(info->name);
    }
    return claiming.empty() ? all : claiming;
}

struct Worst {
    double ratio = 0;
    std::string file;
    long peakKb = 0;
};

TEST(ResourceBudget, CountedSizeTakesCompressedPartsAtTheirInflatedSize) {
    const std::string plain(100000, 'a');
    uLongf packedSize = compressBound(plain.size());
    std::string packed(packedSize, '\0');
    ASSERT_EQ(compress(reinterpret_cast<Bytef*>(packed.data()), &packedSize,
                       reinterpret_cast<const Bytef*>(plain.data()), plain.size()),
              Z_OK);
    packed.resize(packedSize);
    // A MAT Level 5 file with one compressed element: counted at 100x, not at 100,000.
    std::string mat(128, ' ');
    mat.replace(0, 6, "MATLAB");
    const auto le = [](uint32_t v) { return std::string(reinterpret_cast<char*>(&v), 4); };
    mat += le(15) + le(static_cast<uint32_t>(packed.size())) + packed;
    EXPECT_EQ(CountedSize(mat), mat.size() + std::min<uint64_t>(100000, 100 * packed.size()));
    // A zip central-directory entry of 10 bytes packed, 1,000,000 plain: counted at 1,000.
    std::string zip = "PK\x01\x02" + std::string(16, '\0') + le(10) + le(1000000);
    zip += std::string(46 - zip.size(), '\0');
    EXPECT_EQ(CountedSize(zip), zip.size() + 1000);
    EXPECT_EQ(CountedSize("plain text"), 10u);
}

TEST(ResourceBudget, TheChildLimitsCatchABlowUpAndAHang) {
    zmtest::Limits limits;
    limits.cpuSeconds = 1;
    // 96 MB touched shows in the peak; a loop without end meets the CPU limit. The block
    // is mapped afresh rather than allocated, so no allocator can hand back pages that
    // were already resident at the fork (the sanitizer's does).
    const zmtest::Outcome touched = zmtest::RunBounded(limits, [](int&) {
        const size_t size = 96u << 20;
        void* mapped =
            ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapped == MAP_FAILED)
            return std::string("mmap failed");
        char* block = static_cast<char*>(mapped);
        std::memset(block, 'x', size);
        return std::string(1, block[size / 2]);
    });
    EXPECT_EQ(touched.said, "x");
    EXPECT_GE(touched.GrowthKb(), 64 * 1024);
    const zmtest::Outcome spun = zmtest::RunBounded(limits, [](int&) {
        volatile bool forever = true;
        while (forever) {
        }
        return std::string();
    });
    EXPECT_FALSE(spun.exited);
    EXPECT_EQ(spun.Describe(), "killed at its CPU limit");
}

TEST(ResourceBudget, EveryHostileFileIsReadWithinItsBudget) {
    if (zmtest::kAddressSanitizer)
        GTEST_SKIP() << "the sanitizer's shadow memory is no reader's";
    const std::string cli = std::string(ZM_BIN_DIR) + "/zmimport";
    // What each format costs on an empty file: the program and the libraries it loads.
    const std::string empty = std::string(ZM_FUZZ_DIR) + "/corpus/empty";
    std::map<std::string, long> baselineKb;
    for (const std::string& format : FormatsFor(empty))
        baselineKb[format] =
            zmtest::SpawnBounded({}, {cli, "read", empty, "--format", format}).peakKb;
    baselineKb["detected"] = zmtest::SpawnBounded({}, {cli, "read", empty}).peakKb;
    std::map<std::string, Worst> worst;
    std::vector<std::string> over;
    size_t runs = 0;
    for (const Input& input : Inputs()) {
        const std::string bytes = Bytes(input.path);
        const uint64_t counted = CountedSize(bytes), budget = Budget(counted);
        zmtest::Limits limits;
        limits.cpuSeconds = 10;  // a hang guard only, as the fuzzers' -timeout
        // Room above the budget, so a blow-up shows in the peak before the limit bites.
        limits.addressSpaceBytes = 2 * budget + (1ull << 30);
        std::vector<std::string> formats = FormatsFor(input.path);
        formats.insert(formats.begin(), "detected");
        for (const std::string& format : formats) {
            std::vector<std::string> argv = {cli, "read", input.path.string()};
            if (format != "detected")
                argv.insert(argv.end(), {"--format", format});
            const zmtest::Outcome outcome = zmtest::SpawnBounded(limits, argv);
            ++runs;
            std::string fault;
            if (!outcome.exited)
                fault = outcome.Describe();
            else if (outcome.code > 2)
                fault = "exit " + std::to_string(outcome.code) + ": " + outcome.said;
            else if (static_cast<uint64_t>(outcome.peakKb) * 1024 > budget)
                fault = "peak " + std::to_string(outcome.peakKb >> 10) + " MB";
            else if (outcome.said.find("bad_alloc") != std::string::npos ||
                     outcome.said.find("llocat") != std::string::npos)
                fault = "refused only at the address-space limit: " + outcome.said;
            if (!fault.empty())
                over.push_back(input.name + "|" + format + ": " + fault + " (budget " +
                               std::to_string(budget >> 20) + " MB)");
            const double ratio =
                static_cast<double>(std::max(0L, outcome.peakKb - baselineKb[format])) * 1024 /
                counted;
            Worst& w = worst[format];
            if (bytes.size() >= 1024 && ratio > w.ratio)
                w = {ratio, input.name, outcome.peakKb};
        }
    }
    std::printf(
        "%zu reads; worst memory per input byte above what the format takes for an "
        "empty file (files of 1 KB and more):\n",
        runs);
    for (const auto& [format, w] : worst)
        std::printf("  %-32s %8.2f  %s (peak %ld MB)\n", format.c_str(), w.ratio, w.file.c_str(),
                    w.peakKb >> 10);
    for (const std::string& o : over)
        ADD_FAILURE() << "over budget: " << o;
}

}  // namespace
