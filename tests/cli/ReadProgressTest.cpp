// How far a read is through its files, counted in bytes.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "framework/host/FormatChoice.h"
#include "framework/host/ReaderSession.h"
#include "framework/host/SheetSink.h"

namespace {

std::string Data(const std::string& name) {
    return std::string(ZM_TEST_DATA) + "/" + name;
}

// Keeps every byte report.
class ByteLog : public zmhost::SheetSink {
  public:
    void ReportBytesRead(unsigned long long done, unsigned long long total) override {
        reports.emplace_back(done, total);
    }
    std::vector<std::pair<uint64_t, uint64_t>> reports;
};

// Bytes only grow, of the summed sizes of all the files (a name given twice counts
// twice), up to all of them where the files are taken whole; a package counts its
// parts' compressed bytes only.
TEST(ReadProgress, ReadsTellTheBytesOfAllTheirFiles) {
    const std::vector<std::vector<std::string>> reads = {
        {Data("csv/gnumeric_export.csv")},
        {Data("xlsx/gnumeric.xlsx")},
        {Data("spc/merge-400.spc"), Data("spc/merge-400-00001.spc")},
        {Data("jcamp/bands-sqz.jdx"), Data("jcamp/bands-dif.jdx")},
        {Data("netcdf/aia_run1.cdf"), Data("netcdf/aia_run1.cdf")}};
    for (const std::vector<std::string>& files : reads) {
        uint64_t size = 0;
        for (const std::string& file : files)
            size += std::filesystem::file_size(file);
        ByteLog sink;
        ASSERT_TRUE(zmhost::ReadIntoSink(zmhost::ChooseFormat(files), files, nullptr, sink).ok);
        ASSERT_FALSE(sink.reports.empty()) << files[0];
        for (size_t i = 0; i < sink.reports.size(); ++i) {
            EXPECT_EQ(sink.reports[i].second, size) << files[0];
            EXPECT_GE(sink.reports[i].first, i > 0 ? sink.reports[i - 1].first : 1) << files[0];
        }
        EXPECT_EQ(sink.reports.back().first == size, !files[0].ends_with(".xlsx")) << files[0];
    }
}

}  // namespace
