// How far a read is through its files, and which of several files a failed read names.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "framework/host/FormatChoice.h"
#include "framework/host/ReaderSession.h"
#include "framework/host/SheetSink.h"
#include "platform/ReadMeter.h"
#include "tests/support/TextTestSupport.h"

namespace {

using Reports = std::vector<std::pair<uint64_t, uint64_t>>;

std::string Data(const std::string& name) {
    return std::string(ZM_TEST_DATA) + "/" + name;
}

// Keeps every byte report, and how many came while the reader was still opening.
class ByteLog : public zmhost::SheetSink {
  public:
    void ReportBytesRead(unsigned long long done, unsigned long long total) override {
        reports.emplace_back(done, total);
    }
    void SetDataSize(int cols, int rows) override {
        whileOpening = reports.size();
        SheetSink::SetDataSize(cols, rows);
    }
    Reports reports;
    size_t whileOpening = 0;
};

TEST(ReadMeter, SumsTheFilesOfTheReadAndNothingElse) {
    zmtest::ScratchDir scratch;
    const std::string a = scratch.Write("a", std::string(100, 'a'));
    const std::string b = scratch.Write("b", std::string(50, 'b'));
    Reports told, inner;
    {
        zm::ReadMeter meter({a, b, a},
                            [&](uint64_t done, uint64_t total) { told.emplace_back(done, total); });
        EXPECT_EQ(meter.Total(), 250u);
        zm::ReadMeter::Reached(a, 40);
        zm::ReadMeter::Reached(a, 30);  // behind: nothing
        zm::ReadMeter::Reached(scratch.Path("other"), 10);
        zm::ReadMeter::Advanced(b, 20);
        zm::ReadMeter::Advanced(b, 100);  // no further than the file's size
        zm::ReadMeter::Finished(a);
        zm::ReadMeter::Reached(a, 70);  // the second reading of the same name
        {
            zm::ReadMeter nested(
                {b}, [&](uint64_t done, uint64_t total) { inner.emplace_back(done, total); });
            zm::ReadMeter::Reached(b, 10);
        }
        zm::ReadMeter::Reached(a, 1000);
        EXPECT_EQ(meter.Done(), 250u);
    }
    zm::ReadMeter::Reached(a, 1);  // no meter: nobody told
    EXPECT_EQ(told, (Reports{{40, 250}, {60, 250}, {90, 250}, {150, 250}, {220, 250}, {250, 250}}));
    EXPECT_EQ(inner, (Reports{{10, 50}}));
}

// Reads of one file and of several tell bytes that only grow, of the summed sizes of
// their files, up to all of them where the reader takes the files whole.
TEST(ReadProgress, ReadsTellTheBytesOfAllTheirFiles) {
    struct Case {
        std::vector<std::string> files;
        bool toTheEnd;      // the last report is every byte of every file
        bool whileOpening;  // bytes are told before a cell is set
    };
    const Case cases[] = {
        {{Data("csv/gnumeric_export.csv")}, true, false},
        // A package's parts count by their compressed bytes, its directory not at all.
        {{Data("xlsx/gnumeric.xlsx")}, false, true},
        {{Data("spc/merge-400.spc"), Data("spc/merge-400-00001.spc")}, true, false},
        {{Data("jcamp/bands-sqz.jdx"), Data("jcamp/bands-dif.jdx")}, true, true},
        {{Data("netcdf/aia_run1.cdf"), Data("netcdf/aia_run2.cdf")}, true, false},
        {{Data("netcdf/aia_run1.cdf"), Data("netcdf/aia_run1.cdf")}, true, false},
    };
    for (const Case& c : cases) {
        const std::string label = c.files.front() + " +" + std::to_string(c.files.size() - 1);
        uint64_t size = 0;
        for (const std::string& file : c.files)
            size += std::filesystem::file_size(file);
        ByteLog sink;
        const zmhost::ReadOutcome outcome =
            zmhost::ReadIntoSink(zmhost::ChooseFormat(c.files), c.files, nullptr, sink);
        ASSERT_TRUE(outcome.ok) << label << ": " << outcome.error;
        ASSERT_FALSE(sink.reports.empty()) << label;
        for (size_t i = 0; i < sink.reports.size(); ++i) {
            EXPECT_EQ(sink.reports[i].second, size) << label;
            if (i > 0) {
                EXPECT_GE(sink.reports[i].first, sink.reports[i - 1].first) << label;
            }
        }
        const uint64_t last = sink.reports.back().first;
        EXPECT_TRUE(c.toTheEnd ? last == size : (last > size / 2 && last < size)) << label;
        if (c.whileOpening) {
            EXPECT_GT(sink.whileOpening, 0u) << label;
        }
    }
}

// Of several files merged into one sheet, the one cut short is named, first or second.
TEST(ReadProgress, AFailedReadOfSeveralFilesNamesTheFileCutShort) {
    zmtest::ScratchDir scratch;
    for (const char* fixture : {"spc/merge-400.spc", "jcamp/bands-sqz.jdx", "netcdf/aia_run1.cdf",
                                "chemstation/v130-differences.ch",
                                "opus/absorbance-and-single-channel.0", "fdc/two-wafers.xml"}) {
        const std::string bytes = zmtest::Slurp(Data(fixture));
        const std::string name = std::filesystem::path(fixture).filename().string();
        const std::string whole = scratch.Write("whole-" + name, bytes);
        const std::string cut = scratch.Write("cut-" + name, bytes.substr(0, bytes.size() / 2));
        const int format = zmhost::ChooseFormat({whole});
        for (const std::vector<std::string>& files :
             {std::vector<std::string>{whole, cut}, std::vector<std::string>{cut, whole}}) {
            ByteLog sink;
            const zmhost::ReadOutcome outcome = zmhost::ReadIntoSink(format, files, nullptr, sink);
            EXPECT_FALSE(outcome.ok) << fixture;
            EXPECT_EQ(outcome.file, cut) << fixture << ": " << outcome.error;
        }
    }
}

}  // namespace
