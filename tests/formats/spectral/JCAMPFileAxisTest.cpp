// JCAMP-DX reader: the x axis of resampled rows, line-start x checks, a second Open and
// file names that hold the list's separator.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "formats/spectral/JCAMPFile.h"
#include "platform/FileNames.h"
#include "tests/support/BoundedTest.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace fs = std::filesystem;

namespace {

using zmtest::Message;

// An XYDATA block of `n` points y = i from `first` to `last`, ten values a line, each line
// starting with its x; `npoints` false leaves "##NPOINTS=" out; `skipLine` >= 0 drops
// that data line.
std::string Spectrum(int n, double first, double last, bool npoints = true, int skipLine = -1) {
    std::string text = "##TITLE=n" + std::to_string(n) + "\n##JCAMP-DX=4.24\n##DATA TYPE=IR\n";
    char buffer[128];
    std::snprintf(buffer, sizeof buffer, "##FIRSTX=%.17g\n##LASTX=%.17g\n", first, last);
    text += buffer;
    if (npoints)
        text += "##NPOINTS=" + std::to_string(n) + "\n";
    text += "##XFACTOR=1\n##YFACTOR=1\n##XYDATA=(X++(Y..Y))\n";
    const double step = (last - first) / (n - 1);
    for (int i = 0, line = 0; i < n; i += 10, ++line) {
        std::string data;
        std::snprintf(buffer, sizeof buffer, "%.10g", first + i * step);
        data += buffer;
        for (int k = i; k < std::min(n, i + 10); ++k)
            data += " " + std::to_string(k);
        if (line != skipLine)
            text += data + "\n";
    }
    return text + "##END=\n";
}

TEST(JCAMPFileAxis, ResampledRowsKeepTheirLastPoint) {
    // Spectra over one x range with other point counts end on the reference's last x:
    // its last column always gets the other row's last value, whatever the rounding of
    // first + i * step.
    zmtest::ScratchDir scratch;
    int pairs = 0;
    for (int n = 20; n < 120; n += 3) {
        const std::string reference = scratch.Write("a.jdx", Spectrum(n, 399.1, 4001.7));
        const std::string other = scratch.Write("b.jdx", Spectrum(n + 7, 399.1, 4001.7));
        JCAMPFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, zm::JoinFileNames({reference, other}), sink), 0)
            << Message(reader);
        ASSERT_EQ(sink.cols, n + 1) << n;
        EXPECT_TRUE(sink.Has(sink.cols, 3)) << "n = " << n;
        EXPECT_NEAR(sink.Number(sink.cols, 3), n + 6, 1e-6) << n;
        EXPECT_EQ(sink.Number(2, 3), 0) << n;
        ++pairs;
    }
    EXPECT_GT(pairs, 30);
}

TEST(JCAMPFileAxis, ResampledRowsTakeNoRoomOfTheirOwn) {
    // One spectrum of 200,000 points and 100 short ones over its x range: each short one
    // resampled onto the long axis would be 1.6 MB if held, 160 MB for the sheet. They
    // are resampled as they are written, so the read stays within 16 bytes per input
    // byte over what the child held at its start.
    zmtest::ScratchDir scratch;
    std::vector<std::string> names{scratch.Write("long.jdx", Spectrum(200000, 400, 4000))};
    for (int i = 0; i < 100; ++i)
        names.push_back(scratch.Write("s" + std::to_string(i) + ".jdx", Spectrum(50, 400, 4000)));
    uintmax_t input = 0;
    for (const std::string& name : names)
        input += fs::file_size(name);
    const std::string joined = zm::JoinFileNames(names);
    const auto cost = zmtest::ExpectBounded({60, 0}, [&joined] {
        JCAMPFile reader;
        ASSERT_EQ(reader.Open(true, joined.c_str(), nullptr), 0);
        ASSERT_EQ(reader.GetNumRows(), 102);
        ASSERT_EQ(reader.GetNumCols(), 200001);
        // A sink that keeps nothing: the reader's own memory is what is measured.
        struct Drop : ReadSpreadSheetData {
            int GetNumberOfColumns() override { return 200001; }
            int GetNumberOfRows() override { return 102; }
            void Set(int, int, const char*) override {}
            void Set(int, int, float) override {}
            void SetDataSize(int, int) override {}
        } drop;
        EXPECT_EQ(reader.Read(&drop), 0);
    });
    EXPECT_LT(cost.GrowthKb(), static_cast<long>(16 * input / 1024) + zmtest::AllowedGrowthKb(8))
        << "input " << input << " bytes";
}

TEST(JCAMPFileAxis, ASecondOpenStartsAfresh) {
    zmtest::ScratchDir scratch;
    const std::string a = scratch.Write("a.jdx", Spectrum(30, 100, 129));
    const std::string b = scratch.Write("b.jdx", Spectrum(12, 5, 16));
    JCAMPFile reader;
    ASSERT_EQ(reader.Open(true, a.c_str(), nullptr), 0);
    ASSERT_EQ(reader.GetNumJCAMPBlocks(), 1);
    ASSERT_EQ(reader.Open(true, b.c_str(), nullptr), 0) << Message(reader);
    EXPECT_EQ(reader.GetNumJCAMPBlocks(), 1);
    zmtest::RecordingSink sink;
    sink.SetDataSize(reader.GetNumCols(), reader.GetNumRows());
    ASSERT_EQ(reader.Read(&sink), 0);
    EXPECT_EQ(sink.rows, 2);
    EXPECT_EQ(sink.cols, 13);
    EXPECT_EQ(sink.Number(2, 1), 5);
    EXPECT_EQ(sink.Text(1, 2), "n12");
}

TEST(JCAMPFileAxis, LineStartsTellAMissingLineWithoutAPointCount) {
    // 100 points, ten a line. A line left out stretches the x axis silently unless the x
    // that starts each line is checked: the warning says how many points the file held
    // and how many its line starts call for, as it does when "##NPOINTS=" is given.
    zmtest::ScratchDir scratch;
    const struct {
        bool npoints;
        int skip;
        bool warned;
    } cases[] = {
        {false, -1, false}, {false, 0, true}, {false, 4, true},
        {false, 9, true},   {true, 4, true},  {true, -1, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "npoints " << c.npoints << ", line " << c.skip);
        const std::string path =
            scratch.Write("lines.jdx", Spectrum(100, 1000, 1099, c.npoints, c.skip));
        JCAMPFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, path, sink), 0) << Message(reader);
        const char* warning = reader.GetWarningMessage();
        ASSERT_EQ(warning != nullptr, c.warned) << (warning ? warning : "");
        if (warning != nullptr) {
            EXPECT_NE(std::string(warning).find("Could only read 90 y-values, but expected to "
                                                "read 100."),
                      std::string::npos)
                << warning;
        }
    }
}

TEST(JCAMPFileAxis, BlocksOpenedWithoutEndAreRefusedAndEmptyOnesCostNothing) {
    zmtest::ScratchDir scratch;
    std::string open = "##TITLE=a\n";
    for (int i = 0; i < 100; ++i)
        open += "##TITLE=t\n";
    JCAMPFile deep;
    EXPECT_EQ(deep.Open(true, scratch.Write("deep.jdx", open).c_str(), nullptr),
              JCAMPFile::kTitleEndMismatch);

    // 200,000 blocks without data, then one with: the empty ones leave nothing behind, so
    // the block list holds the one.
    std::string many;
    for (int i = 0; i < 200000; ++i)
        many += "##TITLE=e\n##PAGE=p\n##PAGE=q\n##END=\n";
    many += Spectrum(12, 5, 16);
    JCAMPFile reader;
    ASSERT_EQ(reader.Open(true, scratch.Write("many.jdx", many).c_str(), nullptr), 0)
        << Message(reader);
    EXPECT_EQ(reader.GetNumJCAMPBlocks(), 1);
}

TEST(JCAMPFileAxis, ANameHoldingALineFeedStaysOneFile) {
    zmtest::ScratchDir scratch;
    const std::string odd = scratch.Write("x.jdx\ny.jdx", Spectrum(12, 5, 16));
    scratch.Write("x.jdx", Spectrum(30, 100, 129));
    scratch.Write("y.jdx", Spectrum(30, 100, 129));
    for (const std::string& names : {zm::JoinFileNames({odd}), odd}) {
        JCAMPFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, names, sink), 0) << Message(reader);
        EXPECT_EQ(sink.rows, 2);
        EXPECT_EQ(sink.cols, 13);
    }
}

}  // namespace
