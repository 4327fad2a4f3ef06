// Brimrose reader: recognition, sizing, golden sheets, truncation and sticky codes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>

#include "formats/spectral/BrimroseFile.h"
#include "tests/support/HostileLocale.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Message;
using zmtest::Slurp;

std::string Fixture(const std::string& name) {
    return std::string(ZM_TEST_DATA) + "/brimrose/" + name;
}

class BrimroseFileGolden : public ::testing::TestWithParam<std::pair<const char*, int>> {
  protected:
    // Time stamps are local time; the fixtures hold UTC values.
    static void SetUpTestSuite() {
        setenv("TZ", "UTC", 1);
        tzset();
    }
};

TEST_P(BrimroseFileGolden, ReadsTheExpectedSheet) {
    const auto [stem, status] = GetParam();
    BrimroseFile reader;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(reader, Fixture(std::string(stem) + ".dat"), sink), status);
    EXPECT_EQ(sink.Dump(), Slurp(Fixture(std::string(stem) + ".expected.tsv")));
    // Sequence numbers go out as integers, values as floats; a second read rewinds.
    if (sink.Has(1, 2)) {
        EXPECT_EQ(std::string() + sink.At(1, 2).via + sink.At(3, 2).via, "if");
    }
    if (status == 0) {
        zmtest::RecordingSink again;
        EXPECT_EQ(reader.Read(&again), 0);
        EXPECT_EQ(again.Dump(), sink.Dump());
    }
}

INSTANTIATE_TEST_SUITE_P(Fixtures, BrimroseFileGolden,
                         ::testing::Values(std::pair("two-spectra", 0),
                                           std::pair("alternative-magic", 0),
                                           std::pair("unsigned-time-stamps", 0),
                                           std::pair("zero-spectra", 0),
                                           std::pair("cut-in-third-spectrum", 2820),
                                           std::pair("cut-in-second-sub-header", 2819)));

TEST_F(BrimroseFileGolden, NamesIgnoreTheHostLocaleAndStampsFollowTheTimeZone) {
    // Under a global locale with grouping and a decimal comma the sheet is the same.
    {
        zmtest::HostileLocale hostile;
        EXPECT_TRUE(hostile.CActive());
        BrimroseFile reader;
        zmtest::RecordingSink sink;
        EXPECT_EQ(zmtest::ReadAll(reader, Fixture("two-spectra.dat"), sink), 0);
        EXPECT_EQ(sink.Dump(), Slurp(Fixture("two-spectra.expected.tsv")));
    }
    // Stamps are shown in local time: five and a half hours east of UTC moves them.
    auto firstStamp = [] {
        BrimroseFile reader;
        zmtest::RecordingSink sink;
        zmtest::ReadAll(reader, Fixture("two-spectra.dat"), sink);
        return sink.At(2, 2).text;
    };
    const std::string utc = firstStamp();
    setenv("TZ", "IST-5:30", 1);
    tzset();
    const std::string east = firstStamp();
    setenv("TZ", "UTC", 1);
    tzset();
    ASSERT_EQ(utc.size(), 19u);
    std::tm tm{};
    ASSERT_NE(strptime(utc.c_str(), "%Y-%m-%d/%H:%M:%S", &tm), nullptr);
    const time_t shifted = timegm(&tm) + 5 * 3600 + 30 * 60;
    char expected[32];
    std::strftime(expected, sizeof expected, "%Y-%m-%d/%H:%M:%S", std::gmtime(&shifted));
    EXPECT_EQ(east, expected);

    // A file of no spectra still has its point count of columns, and no rows.
    BrimroseFile empty;
    ASSERT_EQ(empty.Open(true, Fixture("zero-spectra.dat").c_str(), nullptr), 0);
    EXPECT_EQ(empty.GetNumCols(), 4);
    EXPECT_EQ(empty.GetNumRows(), 0);
}

TEST(BrimroseFile, RecognisesMagicOnlyWithAWholeMainHeader) {
    const std::pair<const char*, bool> kFiles[] = {
        {"two-spectra.dat", true},   {"alternative-magic.dat", true},
        {"zero-spectra.dat", true},   // exactly 512 bytes
        {"short-header.dat", false},  // 511 bytes
        {"wrong-magic.dat", false},  {"missing.dat", false}};
    for (const auto& [name, mine] : kFiles) {
        EXPECT_EQ(BrimroseFile::IsBrimroseFile(Fixture(name).c_str()), mine) << name;
        // The registry's first format is this one; its factory maps the test to 0 and 3.
        EXPECT_EQ(SprFileFactory::IsMyKindOfFile(1, Fixture(name).c_str()),
                  mine ? SprFileFactory::kSurely : SprFileFactory::kNotMine);
        BrimroseFile reader;
        EXPECT_EQ(reader.Open(true, Fixture(name).c_str(), nullptr), mine ? 0 : 2822) << name;
        if (!mine) {
            EXPECT_EQ(Message(reader), "The file does not seem to be a valid Brimrose file.");
        }
    }
    EXPECT_FALSE(BrimroseFile::IsBrimroseFile(nullptr));
    std::unique_ptr<SpreadsheetFile> made(SprFileFactory::GetSpreadsheetFile(1));
    EXPECT_NE(dynamic_cast<BrimroseFile*>(made.get()), nullptr);
}

TEST(BrimroseFile, CodesStickUntilCloseAndCountsAreUnsigned) {
    const std::string good = Fixture("two-spectra.dat");
    BrimroseFile reader;
    EXPECT_EQ(reader.Open(false, good.c_str(), nullptr), 3);
    EXPECT_EQ(reader.Open(true, good.c_str(), nullptr), 3);
    EXPECT_EQ(reader.GetNumCols(), -1);
    reader.Close();
    // Read before sizing delivers nothing.
    zmtest::RecordingSink sink;
    ASSERT_EQ(reader.Open(true, good.c_str(), nullptr), 0);
    EXPECT_EQ(reader.Read(&sink), 0);
    EXPECT_TRUE(sink.cells.empty());
    reader.Close();
    // A failed read keeps its code through later reads and opens.
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("cut-in-third-spectrum.dat"), sink), 2820);
    zmtest::RecordingSink later;
    EXPECT_EQ(reader.Read(&later), 2820);
    EXPECT_EQ(reader.Open(true, good.c_str(), nullptr), 2820);
    EXPECT_TRUE(later.cells.empty());
    EXPECT_EQ(reader.GetNumCols(), 5);  // sizing succeeded before the read failed

    // 65535 points and spectra, not -1; no data, so only the name row arrives.
    BrimroseFile maximum;
    ASSERT_EQ(maximum.Open(true, Fixture("maximum-counts.dat").c_str(), nullptr), 0);
    EXPECT_EQ(std::pair(maximum.GetNumCols(), maximum.GetNumRows()), std::pair(65537, 65536));
    zmtest::RecordingSink names;
    EXPECT_EQ(maximum.Read(&names), 2819);
    EXPECT_EQ(names.cells.size(), 65537u);
    EXPECT_EQ(names.Text(65537, 1), "w33167");
}

TEST(BrimroseFile, EveryCutPointGivesTheCodeOfThePartCut) {
    const std::string whole = Slurp(Fixture("two-spectra.dat"));
    const size_t record = 128 + 4 * 3;
    zmtest::ScratchDir scratch;
    const std::string path = scratch.Write("cut.dat", whole);
    // A main header shortened after opening fails sizing.
    BrimroseFile shrunk;
    ASSERT_EQ(shrunk.Open(true, path.c_str(), nullptr), 0);
    std::filesystem::resize_file(path, 100);
    EXPECT_EQ(shrunk.GetNumRows(), -1);
    EXPECT_EQ(shrunk.GetStatus(), 2818);
    // Shortening one file in place is far cheaper than writing a file per length.
    for (size_t length = whole.size(); length-- > 0;) {
        std::filesystem::resize_file(path, length);
        BrimroseFile reader;
        zmtest::RecordingSink sink;
        const int code = zmtest::ReadAll(reader, path, sink);
        if (length < 512) {
            EXPECT_EQ(code, 2822) << length;
            continue;
        }
        const size_t complete = (length - 512) / record;
        EXPECT_EQ(code, (length - 512) % record < 128 ? 2819 : 2820) << length;
        if (code != 0) {
            EXPECT_FALSE(Message(reader).empty()) << length;
        }
        // Row 1 holds the names, so the last complete spectrum is row complete + 1.
        EXPECT_TRUE(sink.Has(1, static_cast<int>(complete) + 1)) << length;
        EXPECT_FALSE(sink.Has(1, static_cast<int>(complete) + 2)) << length;
    }
}

}  // namespace
