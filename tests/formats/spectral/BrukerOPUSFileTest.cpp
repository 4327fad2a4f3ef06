// OPUS reader: files built block by block, the choice of block, merging and resampling,
// detection against the other spectral formats, and damaged directories.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "formats/spectral/BrukerOPUSFile.h"
#include "framework/SprFileFactory.h"
#include "platform/BinaryString.h"
#include "tests/support/Bytes.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

namespace fs = std::filesystem;
using zmtest::Message;
using zmtest::U32;

// A parameter block: entries of key, type, length in 2-byte words and value.
struct Parameters {
    std::string bytes;
    Parameters& Int(const char* key, int32_t v) {
        Head(key, 0, 2);
        bytes += U32(static_cast<uint32_t>(v));
        return *this;
    }
    Parameters& Real(const char* key, double v) {
        Head(key, 1, 4);
        bytes += zmtest::F64(v);
        return *this;
    }
    Parameters& Text(const char* key, const std::string& v) {
        std::string padded = v + '\0';
        padded.resize((padded.size() + 3) / 4 * 4, '\0');
        Head(key, 2, static_cast<uint16_t>(padded.size() / 2));
        bytes += padded;
        return *this;
    }
    std::string End() {
        Head("END", 0, 0);
        return bytes;
    }
    void Head(const char* key, uint16_t type, uint16_t words) {
        bytes += std::string(key, 3) + '\0' + zmtest::U16(type) + zmtest::U16(words);
    }
};

struct Block {
    uint8_t type[4];
    std::string bytes;
};

// Header, directory (room for the blocks and the directory's own entry), then blocks.
std::string BuildOpus(const std::vector<Block>& blocks) {
    const uint32_t entries = static_cast<uint32_t>(blocks.size()) + 1;
    const std::string out = std::string("\x0A\x0A\xFE\xFE", 4) + std::string(8, '\0') + U32(24) +
                            U32(entries) + U32(entries);
    uint32_t offset = 24 + 12 * entries;
    std::string directory = std::string("\0\x34\0\0", 4) + U32(3 * entries) + U32(24);
    std::string body;
    for (const Block& block : blocks) {
        directory.append(reinterpret_cast<const char*>(block.type), 4);
        directory += U32(static_cast<uint32_t>(block.bytes.size() / 4)) + U32(offset);
        body += block.bytes;
        offset += static_cast<uint32_t>(block.bytes.size());
    }
    return out + directory + body;
}

std::string Floats(const std::vector<float>& values) {
    std::string out;
    for (float v : values)
        out += U32(std::bit_cast<uint32_t>(v));
    return out;
}

// An absorbance spectrum (and, when asked, a sample single channel) on FXV..LXV.
std::string Spectrum(const std::vector<float>& y, double first, double last, double scale = 1,
                     bool singleChannel = false, std::optional<int32_t> npt = std::nullopt) {
    auto parameters = [&](int32_t n) {
        return Parameters()
            .Int("DPF", 1)
            .Int("NPT", n)
            .Real("FXV", first)
            .Real("LXV", last)
            .Real("CSF", scale)
            .Text("DXU", "WN")
            .Text("DAT", "16/03/2023")
            .Text("TIM", "12:28:27")
            .End();
    };
    const int32_t n = npt ? *npt : static_cast<int32_t>(y.size());
    std::vector<Block> blocks = {
        {{0xA0, 0, 0, 0}, Parameters().Text("SNM", "soil 7;;;powder").End()},
        {{15, 16, 0, 0}, Floats(y)},
        {{31, 16, 0, 0}, parameters(n)},
    };
    if (singleChannel) {
        std::vector<float> doubled;
        for (float v : y)
            doubled.push_back(2 * v);
        blocks.push_back({{7, 4, 0, 0}, Floats(doubled)});
        blocks.push_back({{23, 4, 0, 0}, parameters(n)});
    }
    return BuildOpus(blocks);
}

class OpusFiles : public ::testing::Test {
  protected:
    zmtest::ScratchDir scratch;
    std::string Write(const std::string& name, const std::string& bytes) {
        return scratch.Write(name, bytes);
    }
};

// Options holding just the chosen block.
struct BlockOption : zmtest::OptionsRecord {
    explicit BlockOption(const std::string& block) {
        zm::SettingsDocument document;
        document.SetString("Settings", "DataBlock", block);
        zm::StoreOptions(&options, document);
    }
};

TEST_F(OpusFiles, ReadsTheAbsorbanceOnItsAxisScaledAndLabelled) {
    const std::string path = Write("a.0", Spectrum({1, 2, 3, 4, 5}, 4000, 3000, 0.5, true));
    BrukerOPUSFile reader;
    zmtest::RecordingSink sink;
    ZmImportOpenOptions written{};
    ASSERT_EQ(zmtest::ReadAll(reader, path, sink, &written), 0) << Message(reader);
    // The settings written back name the block in force and the blocks there are.
    std::string text;
    ASSERT_TRUE(zm::ReadBinaryString(written.data, written.size, text));
    delete[] written.data;
    EXPECT_NE(text.find("<DataBlock>AB</DataBlock>"), std::string::npos) << text;
    EXPECT_NE(text.find("<Item>ScSm</Item>"), std::string::npos) << text;

    EXPECT_EQ(reader.GetNumCols(), 4 + 5);
    EXPECT_EQ(reader.GetNumRows(), 3);
    zmtest::ExpectCells(sink, {{4, 1, "Date"},
                               {2, 2, "WN"},
                               {5, 2, 4000.0},
                               {6, 2, 3750.0},
                               {9, 2, 3000.0},
                               {2, 3, "a"},
                               {3, 3, "soil 7"},
                               {4, 3, "16/03/2023 12:28:27"},
                               {5, 3, 0.5},
                               {9, 3, 2.5}});

    // The option chooses another block, or names the one that is missing.
    BrukerOPUSFile channel;
    zmtest::RecordingSink single;
    BlockOption sample("ScSm");
    ASSERT_EQ(zmtest::ReadAll(channel, path, single, &sample.options), 0) << Message(channel);
    EXPECT_EQ(single.Number(9, 3), 5);  // 2 x 5 x 0.5
    BrukerOPUSFile missing;
    BlockOption nothing("IgRf");
    EXPECT_EQ(missing.Open(true, path.c_str(), &nothing.options), BrukerOPUSFile::kMissingBlock);
    EXPECT_NE(Message(missing).find("IgRf"), std::string::npos);
}

TEST_F(OpusFiles, FilesOnOneGridMergeAndOthersAreRefusedByName) {
    const std::string a = Write("a.0", Spectrum({1, 2, 3}, 10, 30));
    const std::string b = Write("b.0", Spectrum({4, 5, 6}, 10, 30));
    const std::string c = Write("c.0", Spectrum({7, 8, 9}, 10, 40));
    BrukerOPUSFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, a + "\n" + b, sink), 0) << Message(reader);
    EXPECT_EQ(reader.GetNumRows(), 4);
    EXPECT_EQ(sink.Number(7, 4), 6);

    BrukerOPUSFile refusing;
    EXPECT_EQ(refusing.Open(true, (a + "\n" + c).c_str(), nullptr),
              BrukerOPUSFile::kDifferentGrids);
    const std::string text = Message(refusing);
    EXPECT_NE(text.find("a.0"), std::string::npos) << text;
    EXPECT_NE(text.find("c.0"), std::string::npos) << text;

    // Resampled onto the first grid, y = x gives its x; points past the second file stay empty.
    const std::string d = Write("d.0", Spectrum({10, 20, 30, 40}, 10, 40));
    const std::string e = Write("e.0", Spectrum({5, 15, 25, 35}, 5, 35));
    BrukerOPUSFile interpolated(true);
    zmtest::RecordingSink resampled;
    ASSERT_EQ(zmtest::ReadAll(interpolated, d + "\n" + e, resampled), 0) << Message(interpolated);
    zmtest::ExpectCells(resampled,
                        {{5, 4, 10.0}, {6, 4, 20.0}, {7, 4, 30.0}, zmtest::Absent(8, 4)});
}

TEST_F(OpusFiles, DamagedLayoutsAreRefusedWithTheirOwnCodes) {
    const std::string good = Spectrum({1, 2, 3}, 10, 30);
    struct Case {
        const char* what;
        size_t at;
        uint32_t value;
        int code;
    };
    // Offsets: directory pointer 12, entry count 20; entry 1 (sample) at 36, its offset
    // at 44; entry 2 (data) at 48, words at 52; entry 3 (parameters) offset at 68.
    const Case cases[] = {
        {"directory beyond the end", 12, 0x7FFFFFF0, BrukerOPUSFile::kBadDirectory},
        {"directory inside the header", 12, 8, BrukerOPUSFile::kBadDirectory},
        {"more entries than room", 20, 9, BrukerOPUSFile::kBadDirectory},
        {"block beyond the end", 44, 0xFFFFFFF0, BrukerOPUSFile::kBlockOutside},
        {"block of 2^31 words", 52, 0x80000000, BrukerOPUSFile::kBlockOutside},
        // The parameters read from the data block's floats hold no NPT.
        {"parameters pointing at the data", 68, 0, BrukerOPUSFile::kBadParameters},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::string bytes = good;
        uint32_t value = c.value;
        if (std::string(c.what) == "parameters pointing at the data")
            std::memcpy(&value, bytes.data() + 56, 4);  // the data block's offset
        std::memcpy(bytes.data() + c.at, &value, 4);
        BrukerOPUSFile reader;
        EXPECT_EQ(reader.Open(true, Write("bad.0", bytes).c_str(), nullptr), c.code);
        EXPECT_FALSE(Message(reader).empty());
    }
    // An absorbance block 40 times longer than its two points: a series.
    const std::string path =
        Write("s.0", Spectrum(std::vector<float>(80, 1.0f), 10, 20, 1, true, 2));
    BrukerOPUSFile series;
    EXPECT_EQ(series.Open(true, path.c_str(), nullptr), BrukerOPUSFile::kSeriesBlock);
    EXPECT_NE(Message(series).find("series"), std::string::npos);
    // Point counts beyond the block are refused before any allocation.
    for (int32_t npt : {0, -1, 4, INT32_MAX, INT32_MIN}) {
        SCOPED_TRACE(npt);
        BrukerOPUSFile reader;
        const std::string path = Write("n.0", Spectrum({1, 2, 3}, 10, 30, 1, false, npt));
        EXPECT_EQ(reader.Open(true, path.c_str(), nullptr), BrukerOPUSFile::kBadPointCount);
    }
}

TEST_F(OpusFiles, EveryTruncationIsReadOrRefusedWithAText) {
    // In memory at every offset, a built file and a real one: the layout is refused or
    // every listed block's points lie inside the cut.
    const std::string built = Spectrum({1, 2, 3, 4}, 10, 40, 1, true);
    std::ifstream in(std::string(ZM_CORPUS) + "/opus/BF_lo_01_soil_cal.1", std::ios::binary);
    const std::string real((std::istreambuf_iterator<char>(in)), {});
    for (const std::string* whole : {&built, &real}) {
        const auto* data = reinterpret_cast<const uint8_t*>(whole->data());
        for (size_t n = 0; n <= whole->size(); ++n) {
            zm::opus::FileLayout layout;
            if (zm::opus::ParseLayout(data, n, layout) != zm::opus::LayoutError::kNone)
                continue;
            std::vector<double> y;
            for (const auto& block : layout.spectra)
                ASSERT_TRUE(zm::opus::ReadSpectrum(data, n, block, y)) << n;
        }
    }
    // Through the reader, in steps: read in full or refused with a text.
    for (size_t n = 0; n < built.size(); n += 7) {
        BrukerOPUSFile reader;
        zmtest::RecordingSink sink;
        if (zmtest::ReadAll(reader, Write("t.0", built.substr(0, n)), sink) != 0)
            EXPECT_FALSE(Message(reader).empty()) << n;
        else
            EXPECT_EQ(sink.Number(8, 3), 4) << n;
    }
}

TEST_F(OpusFiles, DetectionGoesByContentAndClaimsNoOtherFormat) {
    const std::string opus = Write("spectrum.spc", Spectrum({1, 2}, 1, 2));
    const std::string text = Write("plain.0", "##TITLE=x\n##JCAMP-DX=4.24\n");
    std::string magicOnly("\x0A\x0A\xFE\xFE", 4);
    magicOnly.append(20, '\xFF');
    const std::string broken = Write("broken.0", magicOnly);
    const int plain = zmtest::FormatIndex("Bruker OPUS File");
    const int interpolated = zmtest::FormatIndex("Bruker OPUS Interpolated File");
    const int spc = zmtest::FormatIndex("GalacticSPC File");
    const int jcamp = zmtest::FormatIndex("JCAMP-DX File");
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(plain, opus.c_str()), SprFileFactory::kSurely);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(interpolated, opus.c_str()), SprFileFactory::kCanRead);
    EXPECT_NE(SprFileFactory::IsMyKindOfFile(spc, opus.c_str()), SprFileFactory::kSurely);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(plain, text.c_str()), SprFileFactory::kNotMine);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(plain, broken.c_str()), SprFileFactory::kNotMine);
    EXPECT_NE(SprFileFactory::IsMyKindOfFile(jcamp, opus.c_str()), SprFileFactory::kSurely);
    for (const auto& entry : fs::directory_iterator(std::string(ZM_CORPUS) + "/spc")) {
        EXPECT_EQ(SprFileFactory::IsMyKindOfFile(plain, entry.path().c_str()),
                  SprFileFactory::kNotMine)
            << entry.path();
    }
}

}  // namespace
