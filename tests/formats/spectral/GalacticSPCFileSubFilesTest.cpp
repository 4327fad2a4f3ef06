// SPC reader: every sub-file of an old-format multi-file file, sheets that keep no x point,
// and file names that hold the list's separator.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "formats/spectral/GalacticSPCFile.h"
#include "platform/BinaryString.h"
#include "platform/FileNames.h"
#include "tests/support/RecordingSink.h"

namespace fs = std::filesystem;

namespace {

std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return (std::ostringstream() << in.rdbuf()).str();
}

std::string Message(GalacticSPCFile& reader) {
    char buffer[512];
    reader.GetErrorMessage(buffer, sizeof buffer);
    return buffer;
}

float LoadFloat(const std::string& bytes, size_t at) {
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data() + at);
    const uint32_t raw = p[0] | p[1] << 8 | p[2] << 16 | static_cast<uint32_t>(p[3]) << 24;
    float value;
    std::memcpy(&value, &raw, sizeof value);
    return value;
}

struct Scratch {
    explicit Scratch(const std::string& name)
        : dir(fs::path(::testing::TempDir()) / ("zm-spc-" + name)) {
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    ~Scratch() { fs::remove_all(dir); }
    std::string Write(const std::string& name, const std::string& bytes) const {
        const std::string path = (dir / name).string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    fs::path dir;
};

TEST(GalacticSPCFileSubFiles, OldMultiFileFilesGiveEverySpectrumTheirSizeHolds) {
    // m_ordz.spc: an old-format file marked multi-file, 857 points of 32-bit y in each of
    // its sub-files, each after a 32-byte header that gives its z. The old header counts
    // no sub-files: the size does.
    const std::string whole = Slurp(std::string(ZM_CORPUS) + "/spc/m_ordz.spc");
    ASSERT_EQ(whole[1], 'M');
    ASSERT_TRUE(whole[0] & 0x04);
    const size_t block = 32 + 4 * 857;
    const size_t spectra = (whole.size() - 224) / block;
    ASSERT_EQ((whole.size() - 224) % block, 0u);
    ASSERT_GT(spectra, 1u);

    Scratch scratch("old-multi");
    const struct {
        std::string bytes;
        size_t rows;
        bool warned;
    } cases[] = {
        {whole, spectra, false},
        // A tail that is no whole spectrum: the count is not sure, and the reader says so.
        {whole + std::string(100, '\0'), spectra, true},
        {whole.substr(0, whole.size() - 1000), spectra - 1, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes.size());
        const std::string path = scratch.Write("m_ordz.spc", c.bytes);
        GalacticSPCFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, path, sink), 0) << Message(reader);
        ASSERT_EQ(sink.rows, static_cast<int>(2 + c.rows));
        EXPECT_EQ(sink.cols, 3 + 857);
        for (size_t s = 0; s < c.rows; ++s) {
            const int row = static_cast<int>(3 + s);
            EXPECT_EQ(sink.Text(2, row), "m_ordz_" + std::to_string(s + 1));
            // Column 3: the z of the sub-file's own header.
            EXPECT_EQ(sink.Number(3, row), LoadFloat(whole, 224 + s * block + 4));
            EXPECT_TRUE(sink.Has(3 + 857, row));
        }
        const char* warning = reader.GetWarningMessage();
        EXPECT_EQ(warning != nullptr, c.warned);
        if (warning != nullptr) {
            const size_t left = (c.bytes.size() - 224) % block;
            EXPECT_NE(std::string(warning).find(std::to_string(left) + " bytes"), std::string::npos)
                << warning;
            EXPECT_NE(std::string(warning).find("m_ordz"), std::string::npos);
        }
    }
    // Less than one whole spectrum is no file at all.
    GalacticSPCFile cut;
    EXPECT_EQ(
        cut.Open(true, scratch.Write("cut.spc", whole.substr(0, 224 + block - 1)).c_str(), nullptr),
        2562);
}

TEST(GalacticSPCFileSubFiles, ANameHoldingALineFeedStaysOneFile) {
    Scratch scratch("names");
    const std::string fixtures = std::string(ZM_TEST_DATA) + "/spc/";
    // The name "x.spc<LF>y.spc" beside two files called x.spc and y.spc, which it must
    // never turn into.
    const std::string odd = scratch.Write("x.spc\ny.spc", Slurp(fixtures + "sixteen-bit.spc"));
    scratch.Write("x.spc", Slurp(fixtures + "float-multi.spc"));
    scratch.Write("y.spc", Slurp(fixtures + "float-multi.spc"));
    for (const std::string& names : {zm::JoinFileNames({odd}), odd}) {
        GalacticSPCFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, names, sink), 0) << Message(reader);
        EXPECT_EQ(sink.rows, 3);
        EXPECT_EQ(sink.Number(7, 3), 32767);  // sixteen-bit.spc's fourth value
    }
    // In a list with another file, the odd name is one of two.
    const std::string other = fixtures + "sixteen-bit.spc";
    EXPECT_EQ(zm::SplitFileNames(zm::JoinFileNames({odd, other})),
              (std::vector<std::string>{odd, other}));
    GalacticSPCFile two;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(two, zm::JoinFileNames({odd, other}), sink), 0) << Message(two);
    EXPECT_EQ(sink.rows, 4);
}

}  // namespace
