// netCDF files cut short, and the trial opening of netCDF-4 files: one per file, answered
// through a pipe (so a host that ignores SIGCHLD still reads), never a long read of
// values a small file only declares.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "formats/spectral/NetCDFFile.h"
#include "platform/FileNames.h"
#include "platform/NetCDF.h"
#include "tests/support/RecordingSink.h"

namespace {

std::string Fixture(const std::string& name) {
    return std::string(ZM_TEST_DATA) + "/netcdf/" + name;
}

std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return (std::ostringstream() << in.rdbuf()).str();
}

std::string Message(NetCDFFile& reader) {
    char buffer[1024];
    reader.GetErrorMessage(buffer, sizeof buffer);
    return buffer;
}

std::string WriteScratch(const std::string& name, const std::string& bytes) {
    const std::string path = ::testing::TempDir() + name;
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    return path;
}

TEST(NetCDFDamage, DataBeyondTheEndOfAClassicFileIsRefused) {
    // A chromatogram from a real instrument cut at 18,819 of its bytes, and a small one
    // cut to 600 of 720: the header places values past the end, which would read as zeros.
    const struct {
        std::string source;
        size_t keep;
    } cases[] = {
        {std::string(ZM_CORPUS) + "/netcdf/agilent_hplc.cdf", 18819},
        {Fixture("aia_run1.cdf"), 600},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.source);
        const std::string whole = Slurp(c.source);
        ASSERT_GT(whole.size(), c.keep);
        NetCDFFile intact;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(intact, c.source, sink), 0) << Message(intact);

        const std::string cut = WriteScratch("zm-netcdf-cut.cdf", whole.substr(0, c.keep));
        EXPECT_FALSE(zm::NetCDF(cut).IsOpen());
        NetCDFFile reader;
        EXPECT_EQ(reader.Open(true, cut.c_str(), nullptr), NetCDFFile::kNotNetCDFFile);
        EXPECT_EQ(Message(reader), "The file does not seem to be a valid NetCDF file.");
        // As the second of two chromatograms, it is one that is not valid.
        NetCDFFile pair;
        EXPECT_EQ(pair.Open(true, zm::JoinFileNames({c.source, cut}).c_str(), nullptr), 2082);
    }
}

TEST(NetCDFDamage, TheTrialAnswersThroughAPipeWhenTheHostIgnoresItsChildren) {
    // Run in a child of its own so that the changed SIGCHLD disposition stays there.
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGCHLD, SIG_IGN);
        const bool opens = zm::NetCDF(Fixture("mva_double.nc")).IsOpen();
        const bool crashes = zm::NetCDF(Fixture("damaged-hdf5-crashes-library.nc")).IsOpen();
        _exit(opens && !crashes ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(NetCDFDamage, TheTrialLeavesOutValuesASmallFileOnlyDeclares) {
    // 6.5 KB declaring 2^40 doubles. Read in full by the trial, its processor-time limit
    // would end it and the valid file would be refused; it opens, and the reader refuses
    // the vast variable with its own code.
    EXPECT_TRUE(zm::NetCDF(Fixture("mva_vast_unwritten.nc")).IsOpen());
    NetCDFFile reader;
    EXPECT_EQ(reader.Open(true, Fixture("mva_vast_unwritten.nc").c_str(), nullptr), 2065);
}

}  // namespace
