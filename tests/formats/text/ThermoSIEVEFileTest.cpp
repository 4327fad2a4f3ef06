// The Thermo SIEVE reader: detection and its delimiter, the reshaped and turned sheet of
// each fixture, the sink's row choice, the line limit and the refusals.
#include "formats/text/ThermoSIEVEFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "framework/ZmImport.h"
#include "tests/support/HostileLocale.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Slurp;

const std::string kData = std::string(ZM_TEST_DATA) + "/sieve/";

const char* kSieveHeader =
    "FrameID\tMZStart\tMZStop\tTimeStart\tTimeStop\tpValue\tRatio\tIntensity_A\n";

// A sink that takes only the lines it lists, in order; after them it asks for a line
// past the end, or ends the read when `stop` is set.
class PickingSink : public zmtest::RecordingSink {
  public:
    explicit PickingSink(std::vector<int> lines, bool stop = false)
        : lines(std::move(lines)), stop(stop) {}
    int MapRow(int previous) override {
        asked.push_back(previous);
        for (int line : lines) {
            if (line > previous)
                return line;
        }
        return stop ? -1 : 1 << 30;
    }
    std::vector<int> lines;
    bool stop;
    std::vector<int> asked;
};

// Header line -> detected or not, and the delimiter an empty options record receives.
TEST(ThermoSIEVEFile, DetectionAndTheDelimiterItFinds) {
    struct Case {
        std::string header;
        bool detected;
        std::string delimiter;
    };
    const Case cases[] = {
        {kSieveHeader, true, "\t"},
        {"FrameID;MZStart;MZStop;TimeStart;TimeStop;pValue;Ratio;Intensity_x,y\r\n", true, ";"},
        {"FrameID,MZStart,MZStop,TimeStart,TimeStop,pValue,Ratio\n", true, ","},
        // Six tabs and six commas: the tie goes to the comma.
        {"FrameID,MZStart,MZStop,TimeStart,TimeStop,pValue,Ratio\t\t\t\t\t\t\n", true, ","},
        // Names are compared over their own length only.
        {"FrameIDs\tMZStart_\tMZStopX\tTimeStart1\tTimeStop1\tpValue1\tRatio1\n", true, "\t"},
        {"\xEF\xBB\xBF"
         "FrameID\tMZStart\tMZStop\tTimeStart\tTimeStop\tpValue\tRatio\n",
         true, "\t"},
        {"FrameID\tMZStart\tMZStop\tTimeStart\tTimeStop\tpValue\n", false, ""},
        {"FrameID\tMZStop\tMZStart\tTimeStart\tTimeStop\tpValue\tRatio\n", false, ""},
        {" FrameID\tMZStart\tMZStop\tTimeStart\tTimeStop\tpValue\tRatio\n", false, ""},
        {"\nFrameID\tMZStart\tMZStop\tTimeStart\tTimeStop\tpValue\tRatio\n", false, ""},
        {"", false, ""},
    };
    zmtest::ScratchDir dir;
    const int index = zmtest::FormatIndex("Thermo SIEVE File");
    ASSERT_NE(index, 0);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.header);
        const std::string path = dir.Write("table.txt", c.header + "1\t2\t3\t4\t5\t6\t7\n");
        EXPECT_EQ(ThermoSIEVEFile::IsThermoSIEVEFile(path.c_str()), c.detected);
        EXPECT_EQ(ZmImportIsCorrectFileType(index, path.c_str()), c.detected ? 2 : 0);
        ThermoSIEVEFile reader;
        zmtest::OptionsRecord record;
        const int opened = reader.Open(true, path.c_str(), &record.options);
        EXPECT_EQ(opened, c.detected ? 0 : ThermoSIEVEFile::kNotThermoSIEVEFile);
        if (c.detected) {
            EXPECT_EQ(
                zmtest::StoredKeys(&record.options).rfind("Delimiter=" + c.delimiter + ";", 0), 0u);
        }
    }
    EXPECT_FALSE(ThermoSIEVEFile::IsThermoSIEVEFile(dir.Path("missing.txt").c_str()));
    EXPECT_FALSE(ThermoSIEVEFile::IsThermoSIEVEFile(nullptr));
}

struct Golden {
    const char* file;
    int lines;
    int fields;
};

class ThermoSIEVEGolden : public ::testing::TestWithParam<Golden> {};

// Every fixture gives the sheet its script computed: fields in their fixed order, the
// two averages, the file line first and the field second, sized lines by fields.
TEST_P(ThermoSIEVEGolden, ReadsTheExpectedTurnedSheet) {
    const Golden g = GetParam();
    const std::string expected = Slurp(kData + g.file + ".expected.tsv");
    ASSERT_FALSE(expected.empty());
    ThermoSIEVEFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, kData + g.file, sink), 0);
    EXPECT_EQ(sink.Dump(), expected);
    EXPECT_EQ(sink.cols, g.lines);
    EXPECT_EQ(sink.rows, g.fields);
    for (const auto& [key, cell] : sink.cells) {
        EXPECT_LE(key.first, g.fields);
        EXPECT_LE(key.second, g.lines);
        // The averages come as doubles, every other cell as the file's text.
        EXPECT_EQ(cell.via, cell.kind == zmtest::Cell::kText ? 't' : 'd');
    }

    // The decimal point is read as a point whatever the host's locale.
    zmtest::HostileLocale hostile;
    ThermoSIEVEFile again;
    zmtest::RecordingSink underHostile;
    ASSERT_EQ(zmtest::ReadAll(again, kData + g.file, underHostile), 0);
    EXPECT_EQ(underHostile.Dump(), expected);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, ThermoSIEVEGolden,
                         ::testing::Values(Golden{"tab-two-intensities.txt", 4, 14},
                                           Golden{"comma-missing-cells.txt", 5, 16},
                                           Golden{"semicolon-units.txt", 3, 15}),
                         [](const auto& info) {
                             std::string name = info.param.file;
                             return name.substr(0, name.find('-'));
                         });

// The sink chooses the lines of every field anew, starting from 0; a negative answer
// ends the whole read.
TEST(ThermoSIEVEFile, TheSinkChoosesLinesForEveryField) {
    ThermoSIEVEFile reader;
    PickingSink sink({1, 3});
    ASSERT_EQ(zmtest::ReadAll(reader, kData + "comma-missing-cells.txt", sink), 0);
    for (const auto& [key, cell] : sink.cells)
        EXPECT_TRUE(key.second == 1 || key.second == 3) << key.first << "/" << key.second;
    EXPECT_EQ(sink.Text(1, 1), "FrameID");
    EXPECT_EQ(sink.Text(3, 1), "11");
    EXPECT_EQ(sink.Text(3, 16), "3");
    EXPECT_EQ(std::count(sink.asked.begin(), sink.asked.end(), 0), 16);

    ThermoSIEVEFile stopped;
    PickingSink none({}, true);
    ASSERT_EQ(zmtest::ReadAll(stopped, kData + "comma-missing-cells.txt", none), 0);
    EXPECT_TRUE(none.cells.empty());
    EXPECT_EQ(none.asked, std::vector<int>{0});
}

// A table of 1000000 lines is read; one line more is refused with the size error.
TEST(ThermoSIEVEFile, RefusesMoreThanAMillionLines) {
    zmtest::ScratchDir dir;
    std::string table = kSieveHeader;
    table.reserve(2000100);
    for (int i = 1; i < 1000000; ++i)
        table += "7\n";
    const std::string limit = dir.Write("limit.txt", table);
    const std::string over = dir.Write("over.txt", table + "7\n");

    ThermoSIEVEFile atLimit;
    PickingSink firstLines({1, 2, 1000000});
    ASSERT_EQ(zmtest::ReadAll(atLimit, limit, firstLines), 0);
    EXPECT_EQ(firstLines.cols, 1000000);
    EXPECT_EQ(firstLines.Text(1000000, 1), "7");

    ThermoSIEVEFile tooLong;
    zmtest::RecordingSink sink;
    ASSERT_EQ(tooLong.Open(true, over.c_str(), nullptr), 0);
    EXPECT_EQ(tooLong.Read(&sink), kStatusSizeFailed);
    EXPECT_TRUE(sink.cells.empty());
    EXPECT_EQ(zmtest::Message(tooLong),
              "An error occurred when trying to establish the size of the data in the file.");
}

TEST(ThermoSIEVEFile, RefusalsStickUntilClose) {
    ThermoSIEVEFile reader;
    EXPECT_EQ(reader.Open(true, (kData + "without-ratio.txt").c_str(), nullptr),
              ThermoSIEVEFile::kNotThermoSIEVEFile);
    EXPECT_EQ(zmtest::Message(reader), "The file does not seem to be an Thermo SIEVE File.");
    zmtest::RecordingSink sink;
    EXPECT_EQ(reader.Read(&sink), ThermoSIEVEFile::kNotThermoSIEVEFile);
    EXPECT_EQ(reader.Open(true, (kData + "tab-two-intensities.txt").c_str(), nullptr),
              ThermoSIEVEFile::kNotThermoSIEVEFile);
    reader.Close();
    EXPECT_EQ(reader.Open(true, (kData + "tab-two-intensities.txt").c_str(), nullptr), 0);

    ThermoSIEVEFile missing;
    EXPECT_EQ(missing.Open(true, (kData + "missing.txt").c_str(), nullptr), TextFile::kOpenFailed);

    // Read only: a write open neither creates nor truncates the file.
    zmtest::ScratchDir dir;
    const std::string kept = dir.Write("kept.txt", kSieveHeader);
    ThermoSIEVEFile writer;
    EXPECT_EQ(writer.Open(false, kept.c_str(), nullptr), kStatusWrongMode);
    EXPECT_EQ(Slurp(kept), kSieveHeader);
    EXPECT_EQ(writer.Open(false, dir.Path("new.txt").c_str(), nullptr), kStatusWrongMode);
    EXPECT_FALSE(std::filesystem::exists(dir.Path("new.txt")));
}

}  // namespace
