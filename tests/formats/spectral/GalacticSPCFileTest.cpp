// SPC reader: golden sheets, refusals, several files in one sheet, options, damage, every
// sub-file of an old-format multi-file file and file names that hold the list's separator.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <string>
#include <vector>

#include "formats/spectral/GalacticSPCFile.h"
#include "platform/BinaryString.h"
#include "platform/FileNames.h"
#include "tests/support/Bytes.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Message;
using zmtest::Slurp;
using zmtest::U32;

std::string Fixture(const std::string& name) {
    return std::string(ZM_TEST_DATA) + "/spc/" + name;
}

std::string Files(std::initializer_list<const char*> names) {
    std::vector<std::string> paths;
    for (const char* name : names)
        paths.push_back(Fixture(name));
    return zm::JoinFileNames(paths);
}

std::string F32(float v) {
    return U32(std::bit_cast<uint32_t>(v));
}

float FloatAt(const std::string& bytes, size_t at) {
    uint32_t v = 0;
    for (size_t i = 4; i-- > 0;)
        v = v << 8 | static_cast<unsigned char>(bytes[at + i]);
    return std::bit_cast<float>(v);
}

// A new-format header of float y values.
std::string NewHeader(uint8_t flags, uint32_t points, double first, double last, int32_t subs) {
    std::string h = std::string{char(flags), 0x4B, 0, char(-128)} + U32(points) +
                    zmtest::F64(first) + zmtest::F64(last) + U32(static_cast<uint32_t>(subs));
    h.resize(512, '\0');
    return h;
}

// An options record holding a constraints text, as a host hands it over.
struct ConstraintsRecord {
    explicit ConstraintsRecord(const USDConstraints& c) {
        std::string text;
        USDBase::GetStringFromUSDConstraints(&c, text);
        zm::WriteBinaryString(bytes, text);
        record = {static_cast<uint32_t>(bytes.size()), reinterpret_cast<unsigned char*>(&bytes[0])};
    }
    ~ConstraintsRecord() {
        if (record.data != reinterpret_cast<unsigned char*>(&bytes[0]))
            delete[] record.data;
    }
    std::string bytes;
    ZmImportOpenOptions record{};
};

class GalacticSPCFileGolden : public ::testing::TestWithParam<const char*> {};

TEST_P(GalacticSPCFileGolden, ReadsTheExpectedSheet) {
    const std::string stem = GetParam();
    GalacticSPCFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture(stem + ".spc"), sink), 0) << Message(reader);
    EXPECT_EQ(sink.Dump(), Slurp(Fixture(stem + ".expected.tsv")));
    // Every cell lies inside the announced table, and a second read gives the same.
    EXPECT_EQ(sink.cells.rbegin()->first.first, sink.rows);
    for (const auto& [key, cell] : sink.cells)
        EXPECT_LE(key.second, sink.cols);
    zmtest::RecordingSink again;
    EXPECT_EQ(reader.Read(&again), 0);
    EXPECT_EQ(again.Dump(), sink.Dump());
}

INSTANTIATE_TEST_SUITE_P(Fixtures, GalacticSPCFileGolden,
                         ::testing::Values("sixteen-bit", "thirty-two-bit", "float-multi",
                                           "minutes-from-date", "seconds-without-increment",
                                           "x-array-a", "old-format"));

TEST(GalacticSPCFile, RefusesWhatItCannotReadWithItsOwnCode) {
    const char* const gcms =
        "Looks like GC-MS spectra files and that is not supported at the moment. Contact the "
        "Vantor Pelmora support.";
    const struct {
        const char* name;
        int code;
        const char* text = nullptr;
    } cases[] = {
        {"big-endian.spc", 2563, "This version of Galactic SPC files are not supported."},
        {"not-spc.spc", 2562},
        {"one-byte.spc", 2562},
        {"short-header.spc", 2564},
        {"old-uneven-x.spc", 2565},
        {"xy-per-sub-file.spc", 2568, gcms},
        {"huge-point-count.spc", 2562},
        {"unsigned-point-count.spc", 2562},
        {"huge-sub-file-count.spc", 2562},
        {"no-sub-files-huge-point-count.spc", 2562},
        {"negative-sub-file-count.spc", 2562},
        {"huge-old-point-count.spc", 2562},
        {"cut-in-data.spc", 2562},
        {"no-such-file.spc", 2560},
    };
    for (const auto& [name, code, text] : cases) {
        GalacticSPCFile reader;
        EXPECT_EQ(reader.Open(true, Fixture(name).c_str(), nullptr), code) << name;
        if (text != nullptr) {
            EXPECT_EQ(Message(reader), text);
        }
        // Sticky until Close: sizing and reading answer the stored code.
        EXPECT_EQ(reader.GetNumCols(), -1) << name;
        EXPECT_EQ(reader.Read(nullptr), code) << name;
        reader.Close();
        EXPECT_EQ(reader.GetStatus(), 0);
    }
    GalacticSPCFile reader;
    EXPECT_EQ(reader.Open(false, Fixture("sixteen-bit.spc").c_str(), nullptr), 3);
    reader.Close();
    EXPECT_EQ(reader.Open(true, "", nullptr), 2566);
    EXPECT_EQ(Message(reader), "No files were selected, import aborted.");
    reader.Close();
    // A readable header with no points gives no sheet, and says so.
    EXPECT_EQ(reader.Open(true, Fixture("zero-points.spc").c_str(), nullptr), 0);
    EXPECT_EQ(reader.GetNumCols(), -1);
    EXPECT_NE(reader.GetStatus(), 0);
}

TEST(GalacticSPCFile, MergesFilesWhoseXAxesAgreeAndSelectsAmongThem) {
    GalacticSPCFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, Files({"merge-400.spc", "merge-400-00001.spc"}), sink), 0);
    EXPECT_EQ(reader.GetFirstPoint(), 400.0);
    EXPECT_EQ(reader.GetPointSpacing(), 1.0);
    EXPECT_DOUBLE_EQ(reader.GetLastPoint(), 402.00001);
    EXPECT_EQ(sink.rows, 4);
    zmtest::ExpectCells(sink,
                        {{2, 3, "merge-400"}, {2, 4, "merge-400-00001"}, {1, 4, 3.0}, {6, 4, 3.0}});
    std::vector<std::string> list;
    reader.GetFileList(list);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0], Fixture("merge-400.spc") +
                           " [Num values: 3, First value: 400, Last value: 402, X-Spacing: 1]");
    reader.Close();

    EXPECT_EQ(
        reader.Open(true, Files({"merge-400.spc", "merge-other-spacing.spc"}).c_str(), nullptr),
        2567);
    EXPECT_EQ(Message(reader), "The data did not have the same X-spacing.");
    reader.Close();
    EXPECT_EQ(reader.Open(true, Files({"sixteen-bit.spc", "float-multi.spc"}).c_str(), nullptr),
              2567);
    reader.Close();

    // Files with an x array must carry the same one.
    zmtest::RecordingSink arrays;
    EXPECT_EQ(zmtest::ReadAll(reader, Files({"x-array-a.spc", "x-array-b.spc"}), arrays), 0);
    EXPECT_EQ(arrays.Number(6, 2), 4.0f);
    EXPECT_EQ(arrays.Number(7, 4), 8.0f);
    reader.Close();
    EXPECT_EQ(reader.Open(true, Files({"x-array-a.spc", "x-array-other.spc"}).c_str(), nullptr),
              2569);
    EXPECT_EQ(Message(reader), "The X variable names in files differ from each other");
    reader.Close();

    // Selection keeps the chosen files in opening order; indices past the end are ignored.
    EXPECT_EQ(reader.SelectFilesToImport({}), -1);  // nothing open
    ASSERT_EQ(
        reader.Open(true, Files({"merge-400.spc", "merge-400-00001.spc", "merge-400.spc"}).c_str(),
                    nullptr),
        0);
    EXPECT_EQ(reader.SelectFilesToImport({}), 0);
    EXPECT_EQ(reader.GetNumRows(), 5);
    EXPECT_EQ(reader.SelectFilesToImport({1, 7}), 0);
    EXPECT_EQ(reader.GetNumRows(), 3);
    zmtest::RecordingSink chosen;
    chosen.SetDataSize(reader.GetNumCols(), reader.GetNumRows());
    EXPECT_EQ(reader.Read(&chosen), 0);
    EXPECT_EQ(chosen.Text(2, 3), "merge-400-00001");
    reader.Close();
    ASSERT_EQ(reader.Open(true, Fixture("float-multi.spc").c_str(), nullptr), 0);
    reader.GetFileList(list);
    EXPECT_EQ(list, std::vector<std::string>{Fixture("float-multi.spc") +
                                             " [Num sub-files: 3, Num values: 3]"});
}

// A sink that cannot take a second name row.
class OneNameRowSink : public zmtest::RecordingSink {
  public:
    int MapRow(int rowCounter) override { return rowCounter + 5; }
};

TEST(GalacticSPCFile, ConstraintsCutAndAverageColumnsAndXHeadingsFitTheSink) {
    // sixteen-bit.spc: x 1000..1004, y 0, 1, -2, 32767, -32768. Keep 1001..1004 in pairs,
    // without the x row.
    std::vector<float> starts = {1001.0f}, ends = {1004.0f};
    USDConstraints c;
    c.IncludeOrdinalValues = false;
    c.IncludeAllValues = false;
    c.NumberOfIncludedIntervals = 1;
    c.IncludeXStartPt = starts.data();
    c.IncludeXEndPt = ends.data();
    c.UseAverage = 2;
    ConstraintsRecord options(c);
    GalacticSPCFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("sixteen-bit.spc"), sink, &options.record), 0);
    EXPECT_EQ(sink.cols, 5);
    EXPECT_EQ(sink.rows, 2);
    zmtest::ExpectCells(sink, {{4, 1, 1001.5}, {5, 1, 1003.5}, {4, 2, -0.5}, {5, 2, -0.5}});
    // The constraints in force come back in the record.
    std::string text;
    ASSERT_TRUE(zm::ReadBinaryString(options.record.data, options.record.size, text));
    USDConstraints back;
    ASSERT_TRUE(USDBase::GetUSDConstraintsFromString(text, &back));
    EXPECT_EQ(back.UseAverage, 2);
    EXPECT_FALSE(back.IncludeAllValues);
    FreeUSDConstraints(&back);

    std::string garbage = "\x05\x00\x00\x00<a/>x";
    ZmImportOpenOptions bad{static_cast<uint32_t>(garbage.size()),
                            reinterpret_cast<unsigned char*>(&garbage[0])};
    GalacticSPCFile other;
    EXPECT_EQ(other.Open(true, Fixture("sixteen-bit.spc").c_str(), &bad), 5);
    EXPECT_EQ(Message(other), "Incorrect format of file open options");

    // A sink without a second name row gets the x values as numbers in its one.
    GalacticSPCFile numeric;
    OneNameRowSink one;
    ASSERT_EQ(zmtest::ReadAll(numeric, Fixture("sixteen-bit.spc"), one), 0);
    EXPECT_FALSE(numeric.IncludeXAsAnObservation());
    EXPECT_EQ(one.At(4, 1).kind, zmtest::Cell::kNumber);
    zmtest::ExpectCells(one, {{8, 1, 1004.0}, {2, 2, "sixteen-bit"}, {7, 2, 32767.0}});
}

TEST(GalacticSPCFile, TruncatedCopiesAreRefusedOrReadInFull) {
    zmtest::ScratchDir scratch;
    for (const char* name : {"float-multi.spc", "old-format.spc"}) {
        const std::string whole = Slurp(Fixture(name));
        for (size_t at = 0; at < whole.size(); ++at) {
            GalacticSPCFile reader;
            zmtest::RecordingSink sink;
            const int status =
                zmtest::ReadAll(reader, scratch.Write(name, whole.substr(0, at)), sink);
            // Every cut leaves the file shorter than its header promises.
            EXPECT_TRUE(status == 2562 || status == 2564) << name << " cut at " << at;
        }
    }
}

TEST(GalacticSPCFile, BlocksAcrossTheReadBufferAndFilesOfFewerPointsReadInFull) {
    // 80 sub-files of 1,000 float points (over 300 KB, more than one stream buffer), then
    // a single spectrum on the same x axis with only 500 points; every point is kept.
    zmtest::ScratchDir scratch;
    std::string many = NewHeader(0x04, 1000, 1.0, 1000.0, 80);
    for (int sub = 0; sub < 80; ++sub) {
        std::string s(32, '\0');
        s[1] = static_cast<char>(0x80);
        many += s;
        for (int i = 0; i < 1000; ++i)
            many += F32(static_cast<float>(sub * 1000 + i));
    }
    std::string few = NewHeader(0x00, 500, 1.0, 500.0, 1) + std::string(32, '\0');
    for (int i = 0; i < 500; ++i)
        few += F32(static_cast<float>(-i));
    GalacticSPCFile reader;
    zmtest::RecordingSink sink;
    const std::string names =
        zm::JoinFileNames({scratch.Write("many.spc", many), scratch.Write("few.spc", few)});
    ASSERT_EQ(zmtest::ReadAll(reader, names, sink), 0) << Message(reader);
    ASSERT_EQ(sink.rows, 83);
    ASSERT_EQ(sink.cols, 1003);
    for (int sub = 0; sub < 80; ++sub) {
        const int row = 3 + sub;
        // The row number's digits grow from one to two in place.
        EXPECT_EQ(sink.Text(2, row), "many_" + std::to_string(sub + 1));
        for (int i = 0; i < 1000; ++i)
            ASSERT_EQ(sink.Number(4 + i, row), sub * 1000 + i) << "sub-file " << sub;
    }
    EXPECT_EQ(sink.Text(2, 83), "few");
    EXPECT_EQ(sink.Number(503, 83), -499);
    EXPECT_EQ(sink.cells.count({83, 504}), 0u);
}

TEST(GalacticSPCFile, ExtremeExponentsScaleToInfinityOrZero) {
    // Old files carry a 16-bit exponent: 2^(16 - 200) underflows float, so non-zero
    // values become signed infinities; 2^(16 + 200) overflows, so they become zeros.
    zmtest::ScratchDir scratch;
    for (const int16_t exponent : {200, -200}) {
        std::string file = "\x01\x4D" + zmtest::U16(static_cast<uint16_t>(exponent)) + F32(3) +
                           F32(1) + F32(3);  // 16-bit y, three points
        file.resize(256, '\0');
        for (const int16_t y : {0, 5, -5})
            file += zmtest::U16(static_cast<uint16_t>(y));
        GalacticSPCFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, scratch.Write("old.spc", file), sink), 0)
            << Message(reader);
        EXPECT_EQ(sink.Number(4, 3), 0.0);
        EXPECT_FALSE(std::signbit(sink.Number(4, 3)));
        EXPECT_EQ(sink.Number(5, 3), exponent > 0 ? INFINITY : 0.0);
        EXPECT_EQ(sink.Number(6, 3), exponent > 0 ? -INFINITY : 0.0);
        EXPECT_TRUE(std::signbit(sink.Number(6, 3)));
    }
}

TEST(GalacticSPCFile, MonthLengths) {
    EXPECT_EQ(GalacticSPCFile::GetDaysInMonth(12, 2, 2023), 12);
    EXPECT_EQ(GalacticSPCFile::GetDaysInMonth(28, 2, 1900), 28);
    EXPECT_EQ(GalacticSPCFile::GetDaysInMonth(28, 2, 2000), 29);
    EXPECT_EQ(GalacticSPCFile::GetDaysInMonth(28, 2, 2024), 29);
    EXPECT_EQ(GalacticSPCFile::GetDaysInMonth(30, 9, 2024), 30);
    EXPECT_EQ(GalacticSPCFile::GetDaysInMonth(30, 13, 2024), -1);
}

TEST(GalacticSPCFile, OldMultiFileFilesGiveEverySpectrumTheirSizeHolds) {
    // m_ordz.spc: old format, multi-file, sub-files of a 32-byte header (with z) and 857
    // 32-bit y; the old header counts no sub-files, the size does.
    const std::string whole = Slurp(std::string(ZM_CORPUS) + "/spc/m_ordz.spc");
    ASSERT_EQ(whole[1], 'M');
    ASSERT_TRUE(whole[0] & 0x04);
    const size_t block = 32 + 4 * 857;
    const size_t spectra = (whole.size() - 224) / block;
    ASSERT_EQ((whole.size() - 224) % block, 0u);
    ASSERT_GT(spectra, 1u);

    zmtest::ScratchDir scratch;
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
        GalacticSPCFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, scratch.Write("m_ordz.spc", c.bytes), sink), 0)
            << Message(reader);
        ASSERT_EQ(sink.rows, static_cast<int>(2 + c.rows));
        EXPECT_EQ(sink.cols, 3 + 857);
        for (size_t s = 0; s < c.rows; ++s) {
            const int row = static_cast<int>(3 + s);
            EXPECT_EQ(sink.Text(2, row), "m_ordz_" + std::to_string(s + 1));
            // Column 3: the z of the sub-file's own header.
            EXPECT_EQ(sink.Number(3, row), FloatAt(whole, 228 + s * block));
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

TEST(GalacticSPCFile, ANameHoldingALineFeedStaysOneFile) {
    zmtest::ScratchDir scratch;
    // The name "x.spc<LF>y.spc" beside two files called x.spc and y.spc, which it must
    // never turn into.
    const std::string odd = scratch.Write("x.spc\ny.spc", Slurp(Fixture("sixteen-bit.spc")));
    scratch.Write("x.spc", Slurp(Fixture("float-multi.spc")));
    scratch.Write("y.spc", Slurp(Fixture("float-multi.spc")));
    const std::string other = Fixture("sixteen-bit.spc");
    const std::pair<std::string, int> cases[] = {
        {zm::JoinFileNames({odd}), 3}, {odd, 3}, {zm::JoinFileNames({odd, other}), 4}};
    for (const auto& [names, rows] : cases) {
        GalacticSPCFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, names, sink), 0) << Message(reader);
        EXPECT_EQ(sink.rows, rows);
        EXPECT_EQ(sink.Number(7, 3), 32767);  // sixteen-bit.spc's fourth value
    }
}

}  // namespace
