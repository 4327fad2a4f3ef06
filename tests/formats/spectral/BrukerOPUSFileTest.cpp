// OPUS reader: files built block by block, the choice of block, merging and resampling,
// detection against the other spectral formats, and damaged directories.
#include <gtest/gtest.h>

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
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

namespace fs = std::filesystem;
using zmtest::Message;

void Put32(std::string& out, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out += static_cast<char>((v >> (8 * i)) & 0xFF);
}

void Put16(std::string& out, uint16_t v) {
    out += static_cast<char>(v & 0xFF);
    out += static_cast<char>(v >> 8);
}

// A parameter block: entries of key, type, length in 2-byte words and value.
struct Parameters {
    std::string bytes;
    Parameters& Int(const char* key, int32_t v) {
        Head(key, 0, 2);
        Put32(bytes, static_cast<uint32_t>(v));
        return *this;
    }
    Parameters& Real(const char* key, double v) {
        Head(key, 1, 4);
        uint64_t bits;
        std::memcpy(&bits, &v, 8);
        Put32(bytes, static_cast<uint32_t>(bits));
        Put32(bytes, static_cast<uint32_t>(bits >> 32));
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
        bytes.append(key, 3);
        bytes += '\0';
        Put16(bytes, type);
        Put16(bytes, words);
    }
};

struct Block {
    uint8_t type[4];
    std::string bytes;
};

// Header, directory (room for the blocks and the directory's own entry), then blocks.
std::string BuildOpus(const std::vector<Block>& blocks) {
    const uint32_t entries = static_cast<uint32_t>(blocks.size()) + 1;
    std::string out("\x0A\x0A\xFE\xFE", 4);
    out.append(8, '\0');
    Put32(out, 24);
    Put32(out, entries);
    Put32(out, entries);
    uint32_t offset = 24 + 12 * entries;
    std::string directory;
    directory += std::string("\0\x34\0\0", 4);
    Put32(directory, 3 * entries);
    Put32(directory, 24);
    std::string body;
    for (const Block& block : blocks) {
        directory.append(reinterpret_cast<const char*>(block.type), 4);
        Put32(directory, static_cast<uint32_t>(block.bytes.size() / 4));
        Put32(directory, offset);
        body += block.bytes;
        offset += static_cast<uint32_t>(block.bytes.size());
    }
    return out + directory + body;
}

std::string Floats(const std::vector<float>& values) {
    std::string out;
    for (float v : values) {
        uint32_t bits;
        std::memcpy(&bits, &v, 4);
        Put32(out, bits);
    }
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
struct BlockOption {
    std::vector<unsigned char> data;
    ZmImportOpenOptions record{};
    explicit BlockOption(const std::string& block) {
        std::string framed;
        zm::WriteBinaryString(framed, "<Configuration><Settings><DataBlock>" + block +
                                          "</DataBlock></Settings></Configuration>");
        data.assign(framed.begin(), framed.end());
        record.data = data.data();
        record.size = static_cast<uint32_t>(data.size());
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
    EXPECT_EQ(sink.Text(4, 1), "Date");
    EXPECT_EQ(sink.Text(2, 2), "WN");
    EXPECT_EQ(sink.Number(5, 2), 4000);
    EXPECT_EQ(sink.Number(6, 2), 3750);
    EXPECT_EQ(sink.Number(9, 2), 3000);
    EXPECT_EQ(sink.Text(2, 3), "a");
    EXPECT_EQ(sink.Text(3, 3), "soil 7");
    EXPECT_EQ(sink.Text(4, 3), "16/03/2023 12:28:27");
    EXPECT_EQ(sink.Number(5, 3), 0.5);
    EXPECT_EQ(sink.Number(9, 3), 2.5);
}

TEST_F(OpusFiles, TheOptionChoosesAnotherBlockOrNamesTheMissingOne) {
    const std::string path = Write("a.0", Spectrum({1, 2, 3}, 10, 30, 1, true));
    BrukerOPUSFile reader;
    zmtest::RecordingSink sink;
    BlockOption single("ScSm");
    ASSERT_EQ(zmtest::ReadAll(reader, path, sink, &single.record), 0) << Message(reader);
    EXPECT_EQ(sink.Number(7, 3), 6);

    BrukerOPUSFile missing;
    BlockOption nothing("IgRf");
    EXPECT_EQ(missing.Open(true, path.c_str(), &nothing.record), BrukerOPUSFile::kMissingBlock);
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
}

TEST_F(OpusFiles, TheInterpolatedVariantResamplesOntoTheFirstGrid) {
    // y = x on both grids: resampled values equal the first grid's x; points beyond the
    // second file's range stay empty.
    const std::string a = Write("a.0", Spectrum({10, 20, 30, 40}, 10, 40));
    const std::string b = Write("b.0", Spectrum({5, 15, 25, 35}, 5, 35));
    BrukerOPUSFile reader(true);
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, a + "\n" + b, sink), 0) << Message(reader);
    EXPECT_EQ(sink.Number(5, 4), 10);
    EXPECT_EQ(sink.Number(6, 4), 20);
    EXPECT_EQ(sink.Number(7, 4), 30);
    EXPECT_FALSE(sink.Has(8, 4));
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
}

TEST_F(OpusFiles, ABlockOfManySpectraIsRefusedAndTheOthersStayReadable) {
    // An absorbance block 40 times longer than its two points: a series.
    const std::string path =
        Write("s.0", Spectrum(std::vector<float>(80, 1.0f), 10, 20, 1, true, 2));
    BrukerOPUSFile reader;
    EXPECT_EQ(reader.Open(true, path.c_str(), nullptr), BrukerOPUSFile::kSeriesBlock);
    EXPECT_NE(Message(reader).find("series"), std::string::npos);
}

TEST_F(OpusFiles, PointCountsBeyondTheBlockAreRefusedBeforeAnyAllocation) {
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
    int plain = 0, interpolated = 0, spc = 0, jcamp = 0;
    for (int i = 1; i <= SprFileFactory::SizeInfos(); ++i) {
        const std::string name = SprFileFactory::GetInfo(i)->name;
        plain = name == "Bruker OPUS File" ? i : plain;
        interpolated = name == "Bruker OPUS Interpolated File" ? i : interpolated;
        spc = name == "GalacticSPC File" ? i : spc;
        jcamp = name == "JCAMP-DX File" ? i : jcamp;
    }
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(plain, opus.c_str()), SprFileFactory::kSurely);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(interpolated, opus.c_str()), SprFileFactory::kCanRead);
    EXPECT_NE(SprFileFactory::IsMyKindOfFile(spc, opus.c_str()), SprFileFactory::kSurely);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(plain, text.c_str()), SprFileFactory::kNotMine);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(plain, broken.c_str()), SprFileFactory::kNotMine);
    EXPECT_NE(SprFileFactory::IsMyKindOfFile(jcamp, opus.c_str()), SprFileFactory::kSurely);
    const std::string realSpc = std::string(ZM_CORPUS) + "/spc";
    if (fs::exists(realSpc)) {
        for (const auto& entry : fs::directory_iterator(realSpc)) {
            EXPECT_EQ(SprFileFactory::IsMyKindOfFile(plain, entry.path().c_str()),
                      SprFileFactory::kNotMine)
                << entry.path();
        }
    }
}

}  // namespace
