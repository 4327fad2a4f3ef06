// ChemStation reader: files built field by field in each coding, damaged headers and
// records, truncation of real files, and detection.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "formats/spectral/ChemStationFile.h"
#include "framework/SprFileFactory.h"
#include "platform/BinaryString.h"
#include "tests/support/Bytes.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zm::chemstation::ParseError;
using zm::chemstation::ParseRun;
using zmtest::Message;
using zmtest::Slurp;
using ChemRun = zm::chemstation::Run;

void PutBig32(std::string& out, size_t at, uint32_t v) {
    out.replace(at, 4, zmtest::U32(v, true));
}

void PutBig16(std::string& out, int16_t v) {
    out += zmtest::U16(static_cast<uint16_t>(v), true);
}

// A 6 kB header of the given version with times in ms, the scale and a UTF-16 signal.
std::string NewHeader(const char* version, double scale, uint32_t first, uint32_t last) {
    std::string out(0x1800, '\0');
    out[0] = static_cast<char>(std::strlen(version));
    std::memcpy(out.data() + 1, version, std::strlen(version));
    PutBig32(out, 264, 0x1800 / 512 + 1);
    PutBig32(out, 282, first);
    PutBig32(out, 286, last);
    out.replace(4732, 8, zmtest::F64(scale, true));
    const std::string signal = "DAD1A";
    out[4213] = static_cast<char>(signal.size());
    for (size_t i = 0; i < signal.size(); ++i)
        out[4214 + 2 * i] = signal[i];
    return out;
}

uint32_t FloatBits(float f) {
    return std::bit_cast<uint32_t>(f);
}

ChemRun Parse(const std::string& bytes, ParseError expected = ParseError::kNone) {
    ChemRun run;
    EXPECT_EQ(ParseRun(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), run),
              expected);
    return run;
}

TEST(ChemStationParse, DecodesDifferencesWithTheirEscapedValues) {
    // Version 130: one segment of three values: +5, an escaped 70000, then -1.
    std::string file = NewHeader("130", 0.5, 0, 120000);
    file += "\x10\x03";
    PutBig16(file, 5);
    PutBig16(file, -32768);
    file += std::string("\x00\x01\x11\x70", 4);
    PutBig16(file, -1);
    const ChemRun run = Parse(file);
    ASSERT_EQ(run.traces.size(), 1u);
    EXPECT_EQ(run.traces[0].label, "DAD1A");
    EXPECT_EQ(run.traces[0].values, (std::vector<double>{2.5, 35000, 34999.5}));
    EXPECT_EQ(run.times, (std::vector<double>{0, 1, 2}));
}

TEST(ChemStationParse, DecodesSecondDifferencesAndDoubles) {
    // Version 181: steps 2, 3 give 2, 7; an escaped -5 (48 bits) restarts; step 1 gives -4.
    std::string file = NewHeader("181", 1, FloatBits(60000), FloatBits(240000));
    PutBig16(file, 2);
    PutBig16(file, 3);
    PutBig16(file, 32767);
    PutBig16(file, -1);
    file += std::string("\xFF\xFF\xFF\xFB", 4);
    PutBig16(file, 1);
    const ChemRun run = Parse(file);
    EXPECT_EQ(run.traces[0].values, (std::vector<double>{2, 7, -5, -4}));
    EXPECT_EQ(run.times.front(), 1);
    EXPECT_EQ(run.times.back(), 4);

    // Version 179: little-endian doubles to the end, times as floats.
    std::string doubles = NewHeader("179", 2, FloatBits(0), FloatBits(60000));
    doubles += zmtest::F64(1.25) + zmtest::F64(-3.5);
    EXPECT_EQ(Parse(doubles).traces[0].values, (std::vector<double>{2.5, -7}));
}

TEST(ChemStationParse, RefusesDamagedHeadersAndRecords) {
    std::string file = NewHeader("130", 1, 0, 1000);
    file += "\x10\x05";
    PutBig16(file, 1);
    Parse(file, ParseError::kDamaged);  // the segment promises five values
    std::string pointer = NewHeader("130", 1, 0, 1000);
    PutBig32(pointer, 264, 0xFFFFFFFF);
    Parse(pointer, ParseError::kDamaged);
    Parse(NewHeader("130", 1, 0, 1000), ParseError::kNoPoints);
    Parse(NewHeader("99", 1, 0, 1000), ParseError::kUnsupported);
    Parse(std::string{'\x03', '1', 'a', '0'}, ParseError::kNotChemStation);
    std::string nan = NewHeader("179", 1, FloatBits(NAN), 0);
    nan.append(8, '\0');
    Parse(nan, ParseError::kDamaged);

    // A diode-array file claiming 2^31 spectra in 4 kB of records.
    std::string uv = NewHeader("131", 1, 0, 0);
    uv.resize(0x1000 + 4096);
    PutBig32(uv, 278, 0x80000000);
    uv.replace(3085, 8, zmtest::F64(1, true));
    Parse(uv, ParseError::kDamaged);
    // One spectrum whose record length is shorter than its head.
    PutBig32(uv, 278, 1);
    uv[0x1000 + 2] = 10;
    Parse(uv, ParseError::kDamaged);
}

class ChemStationFiles : public ::testing::Test {
  protected:
    zmtest::ScratchDir scratch;
    std::string Write(const std::string& name, const std::string& bytes) {
        return scratch.Write(name, bytes);
    }
    static std::string Corpus(const char* name) {
        return std::string(ZM_CORPUS) + "/chemstation/" + name;
    }
};

TEST_F(ChemStationFiles, EveryTruncationIsDecodedInBoundsOrRefused) {
    // Real files of each coding cut at every offset (in steps through the long data of
    // the diode-array file): a cut either decodes consistently or gives a code.
    for (const char* name : {"brown_dad1A.ch", "entab_test_fid.ch", "red_DAD1B.ch",
                             "gc2asm_V181_FID1A.ch", "pels_TCD3C.ch", "red_DAD1.UV"}) {
        const std::string whole = Slurp(Corpus(name));
        ASSERT_FALSE(whole.empty()) << name;
        const auto* data = reinterpret_cast<const uint8_t*>(whole.data());
        const size_t step = whole.size() > 200000 ? 4099 : 97;
        for (size_t n = 0; n <= whole.size(); n += n < 0x1900 ? 1 : step) {
            ChemRun run;
            if (ParseRun(data, n, run) != ParseError::kNone)
                continue;
            ASSERT_FALSE(run.traces.empty()) << name << " at " << n;
            for (const auto& trace : run.traces)
                ASSERT_EQ(trace.values.size(), run.times.size()) << name << " at " << n;
        }
    }
    // Through the reader, a cut file is refused with a text.
    const std::string whole = Slurp(Corpus("red_DAD1.UV"));
    for (size_t n : {size_t{0}, size_t{3}, size_t{0x1000}, size_t{0x1010}, whole.size() / 2}) {
        ChemStationFile reader;
        zmtest::RecordingSink sink;
        EXPECT_NE(zmtest::ReadAll(reader, Write("cut.uv", whole.substr(0, n)), sink), 0) << n;
        EXPECT_FALSE(Message(reader).empty()) << n;
    }
}

TEST_F(ChemStationFiles, ReadsASignalFileAsOneRowUnderItsRetentionTimes) {
    ChemStationFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, Corpus("entab_mwd1A.ch"), sink), 0) << Message(reader);
    EXPECT_EQ(reader.GetNumCols(), 4 + 1801);
    EXPECT_EQ(reader.GetNumRows(), 3);
    EXPECT_EQ(sink.Text(3, 3), "Cytochrome C");
    EXPECT_EQ(sink.Text(4, 3), "MWD A, Sig=210,5 Ref=360,100");
    EXPECT_NEAR(sink.Number(5, 2), -0.039667, 1e-6);
    EXPECT_NEAR(sink.Number(5, 3), -36.34977, 1e-5);
}

TEST_F(ChemStationFiles, ARetentionTimeRangeKeepsThatSliceOfTheRow) {
    ChemStationFile all;
    zmtest::RecordingSink whole;
    ASSERT_EQ(zmtest::ReadAll(all, Corpus("red_DAD1.UV"), whole), 0);
    std::string framed;
    zm::WriteBinaryString(
        framed,
        "<Configuration><Settings><IncludeOrdinalValues>true</IncludeOrdinalValues>"
        "<IncludeAllValues>false</IncludeAllValues>"
        "<NumberOfIncludedIntervals>1</NumberOfIncludedIntervals>"
        "<UseAverage>0</UseAverage><IncludeXStartPt><Item>1</Item></IncludeXStartPt>"
        "<IncludeXEndPt><Item>2</Item></IncludeXEndPt></Settings></Configuration>");
    std::vector<unsigned char> bytes(framed.begin(), framed.end());
    ZmImportOpenOptions options{static_cast<uint32_t>(bytes.size()), bytes.data()};
    ChemStationFile some;
    zmtest::RecordingSink slice;
    ASSERT_EQ(zmtest::ReadAll(some, Corpus("red_DAD1.UV"), slice, &options), 0) << Message(some);
    // The kept columns are those of the whole row whose times lie in the range, in order.
    std::vector<std::pair<double, double>> expected, got;
    for (int col = 5; col < all.GetNumCols() + 1; ++col) {
        const double t = whole.Number(col, 2);
        if (t >= 1 && t <= 2)
            expected.emplace_back(t, whole.Number(col, 50));
    }
    for (int col = 5; col < some.GetNumCols() + 1; ++col)
        got.emplace_back(slice.Number(col, 2), slice.Number(col, 50));
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(got, expected);
}

TEST_F(ChemStationFiles, DetectionNeedsTheVersionAndTheExtension) {
    const int index = zmtest::FormatIndex("HPLC ChemStation File");
    const std::string signal = Slurp(Corpus("red_DAD1B.ch"));
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(index, Write("a.ch", signal).c_str()),
              SprFileFactory::kSurely);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(index, Write("a.dat", signal).c_str()),
              SprFileFactory::kNotMine);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(index, Write("b.ch", "hello").c_str()),
              SprFileFactory::kPlausible);
    const std::string opus = std::string(ZM_CORPUS) + "/opus/issue81_A1.1.0";
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(index, Write("o.ch", Slurp(opus)).c_str()),
              SprFileFactory::kPlausible);
}

}  // namespace
