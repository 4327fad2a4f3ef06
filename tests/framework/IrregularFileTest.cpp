// Names that are not regular files (a FIFO, a device, a directory) never reach a reader
// or a container library: the exported open, the detection of every format and the
// container openers refuse them at once. A FIFO without a writer would block any read
// forever, so a test that regressed would hang rather than pass.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <string>

#include "framework/SprFileFactory.h"
#include "framework/ZmImport.h"
#include "platform/CompoundFile.h"
#include "platform/InputFile.h"
#include "platform/ZipPackage.h"
#include "tests/support/TextTestSupport.h"

namespace {

std::string OpenFailure(int format, const std::string& file) {
    void* handle = nullptr;
    const bool opened = ZmImportOpen(format, file.c_str(), true, &handle, nullptr);
    std::string text = opened ? "opened" : ZmImportGetLastError(format, handle);
    ZmImportClose(format, handle);
    return text;
}

class IrregularFile : public ::testing::Test {
  protected:
    void SetUp() override {
        fifo = scratch.Path("pipe.csv");
        ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    }
    zmtest::ScratchDir scratch;
    std::string fifo;
};

TEST_F(IrregularFile, TheExportedOpenRefusesBeforeAnyReaderReads) {
    const int csv = zmtest::FormatIndex("CSV File");
    const int dexan = zmtest::FormatIndex("DEXAN File");
    ASSERT_GT(csv, 0);
    ASSERT_GT(dexan, 0);
    EXPECT_EQ(OpenFailure(csv, fifo),
              "'" + fifo + "' is a pipe (FIFO), not a regular file, and cannot be imported.");
    // /dev/zero never ends: the compound-file library would copy it into memory.
    EXPECT_EQ(OpenFailure(dexan, "/dev/zero"),
              "'/dev/zero' is a character device, not a regular file, and cannot be imported.");
    EXPECT_EQ(OpenFailure(csv, scratch.dir.string()),
              "'" + scratch.dir.string() +
                  "' is a directory, not a regular file, and cannot be imported.");
    // Of several names, one that is not a regular file refuses them all.
    const std::string good = scratch.Write("good.csv", "a,b\n");
    EXPECT_NE(OpenFailure(csv, good + "\n" + fifo).find("pipe (FIFO)"), std::string::npos);
    EXPECT_EQ(OpenFailure(csv, good), "opened");
}

TEST_F(IrregularFile, NoFormatDetectsOne) {
    for (int i = 1; i <= ZmImportSizeFileFormatsSupported(); ++i) {
        SCOPED_TRACE(ZmImportGetFileFormatInfo(i)->name);
        EXPECT_EQ(ZmImportIsCorrectFileType(i, fifo.c_str()), 0);
        EXPECT_EQ(ZmImportIsCorrectFileType(i, "/dev/zero"), 0);
    }
}

TEST_F(IrregularFile, ContainerLibrariesAreHandedRegularFilesOnly) {
    std::string error;
    EXPECT_EQ(zm::CompoundFile::Open("/dev/zero", &error), nullptr);
    EXPECT_NE(error.find("character device"), std::string::npos) << error;
    error.clear();
    EXPECT_EQ(zm::ZipPackage::Open(fifo, &error), nullptr);
    EXPECT_NE(error.find("pipe (FIFO)"), std::string::npos) << error;
    // The size limit: a file beyond it is refused without being read.
    const std::string small = scratch.Write("small.bin", std::string(100, 'x'));
    EXPECT_FALSE(zm::CheckContainerFile(small, 99, &error));
    EXPECT_NE(error.find("larger than"), std::string::npos) << error;
    EXPECT_TRUE(zm::CheckContainerFile(small, 100, &error));
}

}  // namespace
