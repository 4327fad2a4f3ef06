// The plug-in list and the choice of a format, with the test plug-in folder named.
#include <gtest/gtest.h>

#include <memory>

#include "framework/ZmImport.h"
#include "tests/loader/LoaderSupport.h"
#include "tests/support/RecordingSink.h"

namespace {

using zmtest::RecordingLoader;
using zmtest::ScratchDir;

class ImportDLLLoaderTest : public ::testing::Test {
  protected:
    void SetUp() override { loader.Init(ZM_TEST_PLUGINS); }

    int Single(const std::string& name) {
        const std::vector<int> found = loader.IndexesOf(name);
        EXPECT_EQ(found.size(), 1u) << name;
        return found.empty() ? -1 : found.front();
    }

    RecordingLoader loader;
    ScratchDir dir;
};

TEST_F(ImportDLLLoaderTest, ListsTheLibraryFormatsFirstOnceThenThePluginsByFileName) {
    // This program links the library, so its own symbols reach it too; the library
    // found beside the program must not be listed a second time.
    const int own = ZmImportSizeFileFormatsSupported();
    ASSERT_EQ(own, 22);
    for (int i = 1; i <= own; ++i)
        EXPECT_EQ(loader.GetInfo(i), ZmImportGetFileFormatInfo(i)) << i;

    // Eight formats from the test folder; the library without the interface, the one
    // offering none, the text file and the folder named "*.so" add nothing.
    EXPECT_EQ(loader.SizeInfos(), own + 8);
    EXPECT_EQ(loader.GetInfo(0), nullptr);
    EXPECT_EQ(loader.GetInfo(loader.SizeInfos() + 1), nullptr);

    // Sorted by file name: dup-a, dup-b, failing, partial, silent, twin, xy.
    const std::vector<std::string> expected = {
        "Duplicate Format", "Duplicate Format", "Failing Format", "Partial Format",
        "Silent Format",    "Twin A",           "Twin B",         "XY Spectrum"};
    for (size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(loader.NameAt(own + 1 + static_cast<int>(i)), expected[i]);

    // A later folder does not rebuild the list.
    loader.Init("/nonexistent-folder");
    EXPECT_EQ(loader.SizeInfos(), own + 8);
}

TEST_F(ImportDLLLoaderTest, EveryIndexOfADuplicateNameResolvesToTheFirst) {
    const std::vector<int> dups = loader.IndexesOf("Duplicate Format");
    ASSERT_EQ(dups.size(), 2u);
    for (int index : dups) {
        ImportDLLLoader::InstanceInfo info{nullptr, 1, loader.GetInfo(index)};
        EXPECT_EQ(loader.GetIndex(&info), dups[0]);
    }

    // Both copies claim the file surely: the choice falls to SelectFormat, and the
    // answer is the first copy, which also does the reading.
    const std::string file = dir.Write("both.dup", "DUP data");
    const int chosen = loader.GetSpreadsheetFileIndex(file.c_str());
    EXPECT_EQ(chosen, dups[0]);
    ASSERT_EQ(loader.selections.size(), 1u);
    EXPECT_EQ(loader.selections[0].size(), 2u);

    loader.pickLast = true;
    EXPECT_EQ(loader.GetSpreadsheetFileIndex(file.c_str()), dups[0]);
    EXPECT_EQ(loader.GetSpreadsheetFileIndex(dir.File("gone.dup").c_str()), dups[0]);

    std::unique_ptr<SpreadsheetFile> reader(loader.GetSpreadsheetFile(chosen));
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(*reader, file, sink), 0);
    EXPECT_EQ(sink.Text(1, 1), "first");
    reader->Close();
}

TEST_F(ImportDLLLoaderTest, MissingFileGoesByExtensionAndAsksSelectFormatAmongSeveral) {
    const int twinA = Single("Twin A");
    const int twinB = Single("Twin B");

    EXPECT_EQ(loader.GetSpreadsheetFileIndex(dir.File("missing.TWIN").c_str()), twinA);
    ASSERT_EQ(loader.selections.size(), 1u);
    EXPECT_EQ(loader.selections[0], (std::vector<std::string>{"Twin A", "Twin B"}));

    loader.pickLast = true;
    EXPECT_EQ(loader.GetSpreadsheetFileIndex(dir.File("missing.twin").c_str()), twinB);

    // One match needs no choice; none gives -1.
    loader.selections.clear();
    EXPECT_EQ(loader.GetSpreadsheetFileIndex(dir.File("missing.Xy").c_str()),
              Single("XY Spectrum"));
    EXPECT_TRUE(loader.selections.empty());
    EXPECT_EQ(loader.GetSpreadsheetFileIndex(dir.File("missing.nothing").c_str()), -1);
    EXPECT_EQ(loader.GetSpreadsheetFileIndex(dir.File("no-extension").c_str()), -1);
}

TEST_F(ImportDLLLoaderTest, BrimroseContentWinsOverTheNameTxt) {
    const std::string file =
        dir.Write("x.txt", zmtest::BrimroseBytes(1100, 2, 3, {{0.5f, 0.25f, 0.125f}, {1, 2, 3}}));
    const int index = loader.GetSpreadsheetFileIndex(file.c_str());
    ASSERT_EQ(loader.NameAt(index), "Brimrose File");
    EXPECT_TRUE(loader.selections.empty());

    // Read through the library's exported functions and the host records.
    std::unique_ptr<SpreadsheetFile> reader(loader.GetSpreadsheetFile(index));
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(*reader, file, sink), 0);
    EXPECT_EQ(sink.rows, 3);
    EXPECT_EQ(sink.cols, 5);
    EXPECT_EQ(sink.Text(1, 1), "SampleNo");
    EXPECT_EQ(sink.Text(5, 1), "w1104");
    EXPECT_EQ(sink.Number(1, 3), 2.0);
    EXPECT_EQ(sink.Number(3, 2), 0.5);
    EXPECT_EQ(sink.Number(5, 3), 3.0);
    EXPECT_EQ(sink.At(5, 3).via, 'f');
    reader->Close();
}

TEST_F(ImportDLLLoaderTest, ContentDecidesThenTheExtensionAmongPossibleFormats) {
    // Surely the plug-in's by content.
    const std::string xy = std::string(ZM_EXAMPLE_DATA) + "/sample.xy";
    EXPECT_EQ(loader.GetSpreadsheetFileIndex(xy.c_str()), Single("XY Spectrum"));

    // Nobody is sure of these bytes. The partial plug-in cannot test content, so it
    // counts as possible for every file, and the extension picks it.
    const std::string part = dir.Write("junk.part", "\x01\x02 nothing anyone knows");
    EXPECT_EQ(loader.GetSpreadsheetFileIndex(part.c_str()), Single("Partial Format"));
    EXPECT_TRUE(loader.selections.empty());

    const std::string twin = dir.Write("junk.twin", "\x01\x02 nothing anyone knows");
    EXPECT_EQ(loader.GetSpreadsheetFileIndex(twin.c_str()), Single("Twin A"));
    ASSERT_EQ(loader.selections.size(), 1u);
    EXPECT_EQ(loader.selections[0], (std::vector<std::string>{"Twin A", "Twin B"}));

    // No extension matches: every possible format is offered.
    loader.selections.clear();
    const std::string other = dir.Write("junk.bin", "\x01\x02 nothing anyone knows");
    const int chosen = loader.GetSpreadsheetFileIndex(other.c_str());
    ASSERT_EQ(loader.selections.size(), 1u);
    const std::vector<std::string>& offered = loader.selections[0];
    EXPECT_NE(std::find(offered.begin(), offered.end(), "Partial Format"), offered.end());
    EXPECT_NE(std::find(offered.begin(), offered.end(), "Twin B"), offered.end());
    EXPECT_EQ(loader.NameAt(chosen), offered.front());
}

TEST_F(ImportDLLLoaderTest, FormatIndexCountsOnlyEligibleFormats) {
    EXPECT_EQ(loader.GetFormatIndex("spectrum", false, false), -1);
    EXPECT_EQ(loader.GetFormatIndex("/data.d/spectrum", false, true), -1);
    EXPECT_EQ(loader.GetFormatIndex("spectrum.unknown", false, false), -1);
    EXPECT_EQ(loader.GetFormatIndex("SPECTRUM.XY", false, false), Single("XY Spectrum"));
    EXPECT_EQ(loader.GetFormatIndex("a.twin", false, false), Single("Twin A"));

    // For writing, "Twin A" is skipped and the position counts writable formats only.
    const int position = loader.GetFormatIndex("a.twin", true, false);
    ASSERT_GT(position, 0);
    int seen = 0;
    std::string found;
    for (int i = 1; i <= loader.SizeInfos() && found.empty(); ++i) {
        if (loader.GetInfo(i)->canWrite && ++seen == position)
            found = loader.NameAt(i);
    }
    EXPECT_EQ(found, "Twin B");
    EXPECT_LT(position, Single("Twin B"));
}

TEST(ImportDLLLoaderRelease, PluginsAreInitialisedOnceAndReleasedWhenTheListGoes) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            ImportDLLLoader loader;
            loader.Init(ZM_TEST_PLUGINS);
            loader.Init(ZM_TEST_PLUGINS);
            std::exit(loader.SizeInfos() > 0 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "^zero plug-in initialised\nzero plug-in released\n$");
}

}  // namespace
