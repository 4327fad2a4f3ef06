// Brimrose reader: recognition, sizing, golden sheets, truncation and sticky codes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "formats/spectral/BrimroseFile.h"
#include "tests/support/RecordingSink.h"

namespace {

std::string Fixture(const std::string& name) {
    return std::string(ZM_TEST_DATA) + "/brimrose/" + name;
}

std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

std::string Message(BrimroseFile& reader, unsigned int size = 512) {
    std::string buffer(size, 'x');
    reader.GetErrorMessage(buffer.data(), size);
    return buffer.c_str();
}

// Time stamps are local time; the fixtures hold UTC values.
class UtcZone {
  public:
    UtcZone() {
        if (const char* tz = std::getenv("TZ"))
            saved_ = std::make_unique<std::string>(tz);
        setenv("TZ", "UTC", 1);
        tzset();
    }
    ~UtcZone() {
        if (saved_) {
            setenv("TZ", saved_->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

  private:
    std::unique_ptr<std::string> saved_;
};

// Lets a test give the reader any code, to check texts that no read produces.
class ProbeReader : public BrimroseFile {
  public:
    void Force(int code) { status = code; }
};

struct Golden {
    const char* stem;
    int status;
};

class BrimroseFileGolden : public ::testing::TestWithParam<Golden> {
    UtcZone utc_;
};

TEST_P(BrimroseFileGolden, ReadsTheExpectedSheet) {
    const Golden& g = GetParam();
    BrimroseFile reader;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(reader, Fixture(std::string(g.stem) + ".dat"), sink), g.status);
    EXPECT_EQ(reader.GetStatus(), g.status);
    EXPECT_EQ(sink.Dump(), Slurp(Fixture(std::string(g.stem) + ".expected.tsv")));
}

INSTANTIATE_TEST_SUITE_P(Fixtures, BrimroseFileGolden,
                         ::testing::Values(Golden{"two-spectra", 0}, Golden{"alternative-magic", 0},
                                           Golden{"unsigned-time-stamps", 0},
                                           Golden{"zero-spectra", 0},
                                           Golden{"cut-in-third-spectrum", 2820},
                                           Golden{"cut-in-second-sub-header", 2819}),
                         [](const auto& info) {
                             std::string name = info.param.stem;
                             for (char& c : name) {
                                 if (c == '-')
                                     c = '_';
                             }
                             return name;
                         });

TEST(BrimroseFile, RecognisesMagicOnlyWithAWholeMainHeader) {
    EXPECT_TRUE(BrimroseFile::IsBrimroseFile(Fixture("two-spectra.dat").c_str()));
    EXPECT_TRUE(BrimroseFile::IsBrimroseFile(Fixture("alternative-magic.dat").c_str()));
    EXPECT_TRUE(BrimroseFile::IsBrimroseFile(Fixture("zero-spectra.dat").c_str()));   // 512 bytes
    EXPECT_FALSE(BrimroseFile::IsBrimroseFile(Fixture("short-header.dat").c_str()));  // 511
    EXPECT_FALSE(BrimroseFile::IsBrimroseFile(Fixture("wrong-magic.dat").c_str()));
    EXPECT_FALSE(BrimroseFile::IsBrimroseFile(Fixture("missing.dat").c_str()));
    EXPECT_FALSE(BrimroseFile::IsBrimroseFile(nullptr));

    // The registry's first format is this one; its factory maps the test to 0 and 3.
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(1, Fixture("two-spectra.dat").c_str()),
              SprFileFactory::kSurely);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(1, Fixture("wrong-magic.dat").c_str()),
              SprFileFactory::kNotMine);
    std::unique_ptr<SpreadsheetFile> made(SprFileFactory::GetSpreadsheetFile(1));
    EXPECT_NE(dynamic_cast<BrimroseFile*>(made.get()), nullptr);
}

TEST(BrimroseFile, OpenFailuresAndStickyStatus) {
    BrimroseFile reader;
    EXPECT_EQ(reader.Open(false, Fixture("two-spectra.dat").c_str(), nullptr), 3);
    EXPECT_EQ(Message(reader),
              "Tried to write to the file when it was opened for reading or vice versa.");
    // Sticky: a good file does not clear the code, Close does.
    EXPECT_EQ(reader.Open(true, Fixture("two-spectra.dat").c_str(), nullptr), 3);
    EXPECT_EQ(reader.GetNumCols(), -1);
    reader.Close();
    EXPECT_EQ(reader.GetStatus(), 0);

    // A missing file fails to open, but "not a Brimrose file" is the code kept.
    EXPECT_EQ(reader.Open(true, Fixture("missing.dat").c_str(), nullptr), 2822);
    reader.Close();
    EXPECT_EQ(reader.Open(true, Fixture("short-header.dat").c_str(), nullptr), 2822);
    reader.Close();
    EXPECT_EQ(reader.Open(true, Fixture("wrong-magic.dat").c_str(), nullptr), 2822);
    EXPECT_EQ(Message(reader), "The file does not seem to be a valid Brimrose file.");
    reader.Close();
    EXPECT_EQ(reader.Open(true, Fixture("two-spectra.dat").c_str(), nullptr), 0);
    EXPECT_EQ(reader.GetNumCols(), 5);
    EXPECT_EQ(reader.GetNumRows(), 3);
}

TEST(BrimroseFile, SizesFromTheMainHeader) {
    BrimroseFile reader;
    ASSERT_EQ(reader.Open(true, Fixture("zero-spectra.dat").c_str(), nullptr), 0);
    EXPECT_EQ(reader.GetNumCols(), 4);  // no name columns without spectra
    EXPECT_EQ(reader.GetNumRows(), 0);
    reader.Close();

    // 16-bit counts are unsigned: 65535 points and spectra, not -1.
    ASSERT_EQ(reader.Open(true, Fixture("maximum-counts.dat").c_str(), nullptr), 0);
    EXPECT_EQ(reader.GetNumCols(), 65537);
    EXPECT_EQ(reader.GetNumRows(), 65536);
    zmtest::RecordingSink sink;
    EXPECT_EQ(reader.Read(&sink), 2819);
    EXPECT_EQ(sink.cells.size(), 65537u);  // the name row only
    EXPECT_EQ(sink.Text(65537, 1), "w33167");
}

TEST(BrimroseFile, ReadBeforeSizingDeliversNothing) {
    BrimroseFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(reader.Open(true, Fixture("two-spectra.dat").c_str(), nullptr), 0);
    EXPECT_EQ(reader.Read(&sink), 0);
    EXPECT_TRUE(sink.cells.empty());
}

TEST(BrimroseFile, SequenceNumbersAreIntegersAndValuesFloats) {
    UtcZone utc;
    BrimroseFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("two-spectra.dat"), sink), 0);
    EXPECT_EQ(sink.At(1, 3).via, 'i');
    EXPECT_EQ(sink.At(2, 3).via, 't');
    EXPECT_EQ(sink.At(5, 3).via, 'f');
    // A second read rewinds and delivers the same sheet again.
    zmtest::RecordingSink again;
    EXPECT_EQ(reader.Read(&again), 0);
    EXPECT_EQ(again.Dump(), sink.Dump());
}

TEST(BrimroseFile, TruncatedReadKeepsRowsAndStaysFailed) {
    BrimroseFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("cut-in-third-spectrum.dat"), sink), 2820);
    EXPECT_EQ(Message(reader), "File corrupt! Could not read data (possibly end of file).");
    EXPECT_TRUE(sink.Has(5, 3));
    EXPECT_FALSE(sink.Has(1, 4));

    zmtest::RecordingSink later;
    EXPECT_EQ(reader.Read(&later), 2820);
    EXPECT_EQ(reader.Open(true, Fixture("two-spectra.dat").c_str(), nullptr), 2820);
    EXPECT_TRUE(later.cells.empty());
    EXPECT_EQ(reader.GetNumCols(), 5);  // sizing succeeded before the read failed
}

TEST(BrimroseFile, MainHeaderShortenedAfterOpenFailsSizing) {
    const auto path = std::filesystem::path(::testing::TempDir()) / "brimrose-shrinking.dat";
    std::filesystem::copy_file(Fixture("two-spectra.dat"), path,
                               std::filesystem::copy_options::overwrite_existing);
    BrimroseFile reader;
    ASSERT_EQ(reader.Open(true, path.c_str(), nullptr), 0);
    std::filesystem::resize_file(path, 100);
    EXPECT_EQ(reader.GetNumCols(), -1);
    EXPECT_EQ(reader.GetNumRows(), -1);
    EXPECT_EQ(reader.GetStatus(), 2818);
    EXPECT_EQ(Message(reader),
              "File corrupt! Could not read the whole main header (possibly end of file).");
    reader.Close();
    std::filesystem::remove(path);
}

TEST(BrimroseFile, EveryCutPointGivesTheCodeOfThePartCut) {
    const std::string whole = Slurp(Fixture("two-spectra.dat"));
    const size_t record = 128 + 4 * 3;
    const auto path = std::filesystem::path(::testing::TempDir()) / "brimrose-cut.dat";
    std::ofstream(path, std::ios::binary).write(whole.data(), whole.size());
    // Shortening one file in place is far cheaper than writing a file per length.
    for (size_t length = whole.size(); length-- > 0;) {
        std::filesystem::resize_file(path, length);
        BrimroseFile reader;
        zmtest::RecordingSink sink;
        const int code = zmtest::ReadAll(reader, path.string(), sink);
        if (length < 512) {
            EXPECT_EQ(code, 2822) << length;
            continue;
        }
        const size_t complete = (length - 512) / record;
        const size_t rest = (length - 512) % record;
        EXPECT_EQ(code, rest < 128 ? 2819 : 2820) << length;
        // Row 1 holds the names, so the last complete spectrum is row complete + 1.
        EXPECT_TRUE(sink.Has(1, static_cast<int>(complete) + 1)) << length;
        EXPECT_FALSE(sink.Has(1, static_cast<int>(complete) + 2)) << length;
    }
    std::filesystem::remove(path);
}

TEST(BrimroseFile, ErrorTextsAndTruncation) {
    const std::pair<int, const char*> texts[] = {
        {0, ""},
        {1, "This function is not implemented for this file format."},
        {6, "No further information available."},
        {2816, "Failed to open stream for reading."},
        {2817, "Wrong file mode. The executed operation is only supported in read mode."},
        {2818, "File corrupt! Could not read the whole main header (possibly end of file)."},
        {2819, "File corrupt! Could not read the whole sub header (possibly end of file)."},
        {2820, "File corrupt! Could not read data (possibly end of file)."},
        {2821,
         "File is corrupt! Header contains corrupt information about starting, ending "
         "wavelength, or number of data points."},
        {2822, "The file does not seem to be a valid Brimrose file."},
        {2823, "No further information available."},
    };
    ProbeReader reader;
    for (const auto& [code, text] : texts) {
        reader.Force(code);
        EXPECT_EQ(Message(reader), text) << code;
    }
    reader.Force(2822);
    EXPECT_EQ(Message(reader, 10), "The file ");
    EXPECT_EQ(Message(reader, 1), "");
}

}  // namespace
