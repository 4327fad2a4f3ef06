// The plug-in list, the choice of a format, and readers over plug-in functions: forwarding,
// the plug-in codes and their texts.
#include <gtest/gtest.h>
#include <filesystem>
#include <map>

#include <memory>

#include "framework/DLLFile.h"
#include "framework/ZmImport.h"
#include "tests/loader/PluginTestSupport.h"
#include "tests/support/RecordingSink.h"

namespace {

using Strings = std::vector<std::string>;
using zmtest::RecordingSink;

std::string Message(SpreadsheetFile& reader, unsigned int size = 256) {
    std::string buffer(size, 'x');
    reader.GetErrorMessage(buffer.data(), size);
    return buffer.c_str();
}

class LoaderTest : public zmtest::PluginTest {
  protected:
    int Choose(const std::string& file) { return loader.GetSpreadsheetFileIndex(file.c_str()); }
};

TEST_F(LoaderTest, ListsTheLibraryFormatsFirstOnceThenThePluginsByFileName) {
    // This program links the library, so its own symbols reach it too; the library
    // found beside the program must not be listed a second time.
    const int own = ZmImportSizeFileFormatsSupported();
    ASSERT_EQ(own, 22);
    for (int i = 1; i <= own; ++i)
        EXPECT_EQ(loader.GetInfo(i), ZmImportGetFileFormatInfo(i)) << i;
    EXPECT_EQ(loader.GetInfo(0), nullptr);
    EXPECT_EQ(loader.GetInfo(loader.SizeInfos() + 1), nullptr);

    // By file name: dup-a, dup-b, partial, silent, xy. The library exporting nothing, the
    // one offering no format, the text file and the folder named "*.so" add nothing.
    loader.Init("/nonexistent-folder");  // a later folder does not rebuild the list
    Strings names;
    for (int i = own + 1; i <= loader.SizeInfos(); ++i)
        names.push_back(NameAt(i));
    EXPECT_EQ(names, (Strings{"Driver test format", "Driver test series", "Driver test format",
                              "Driver test series", "Partial format", "Partial series",
                              "Silent format", "Silent series", "XY Spectrum"}));
    // The damaged and foreign files were passed over with a reason, not loaded.
    std::map<std::string, std::string> skipped;
    for (const auto& s : ImportDLLLoader::SkippedLibraries())
        skipped[std::filesystem::path(s.path).filename().string()] = s.reason;
    EXPECT_EQ(skipped["truncated.so"].rfind("is truncated", 0), 0u) << skipped["truncated.so"];
    EXPECT_EQ(skipped["not-a-library.so"], "is not an ELF object");
    EXPECT_EQ(skipped.count("loader-xy.so") + skipped.count("libloader-xy.so"), 0u);
}

TEST_F(LoaderTest, EveryIndexOfADuplicateNameResolvesToTheFirst) {
    const std::vector<int> dups = loader.IndexesOf("Driver test format");
    ASSERT_EQ(dups.size(), 2u);
    for (int index : dups) {
        ImportDLLLoader::InstanceInfo info{nullptr, 1, loader.GetInfo(index)};
        EXPECT_EQ(loader.GetIndex(&info), dups[0]);
    }
    // Both copies are sure of the file: SelectFormat chooses, whichever it picks the
    // answer is the first copy, and that copy reads.
    const std::string file = dir.Script("both.dtf");
    EXPECT_EQ(Choose(file), dups[0]);
    loader.pickLast = true;
    EXPECT_EQ(Choose(file), dups[0]);
    EXPECT_EQ(loader.selections, std::vector<Strings>(2, Strings(2, "Driver test format")));
    RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(*Reader("Driver test format"), file, sink), 0);
    EXPECT_EQ(sink.Text(1, 1), "first1");
}

TEST_F(LoaderTest, ContentDecidesThenTheExtension) {
    // A Brimrose file named x.txt is read as Brimrose, through the exported functions.
    const std::string brimrose = std::string(ZM_TEST_DATA) + "/brimrose/two-spectra";
    const std::string file = dir.Write("x.txt", dir.Read(brimrose + ".dat"));
    ASSERT_EQ(NameAt(Choose(file)), "Brimrose File");
    RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(*Reader("Brimrose File"), file, sink), 0);
    EXPECT_EQ(sink.Dump(), dir.Read(brimrose + ".expected.tsv"));
    EXPECT_EQ(Choose(std::string(ZM_EXAMPLE_DATA) + "/sample.xy"), First("XY Spectrum"));

    // Nobody is sure of these bytes. The partial plug-in cannot test content, so it is a
    // possible reader of every file: the extension picks it, or it is offered.
    const std::string junk = "\x01\x02 nothing anyone knows";
    EXPECT_EQ(Choose(dir.Write("junk.ptf", junk)), First("Partial format"));
    EXPECT_TRUE(loader.selections.empty());
    const int chosen = Choose(dir.Write("junk.bin", junk));
    ASSERT_EQ(loader.selections.size(), 1u);
    const Strings& offered = loader.selections[0];
    EXPECT_NE(std::find(offered.begin(), offered.end(), "Partial series"), offered.end());
    EXPECT_EQ(NameAt(chosen), offered.front());

    // A missing file goes by extension; two matches go to SelectFormat, none gives -1.
    loader.selections.clear();
    EXPECT_EQ(Choose(dir.File("missing.Xy")), First("XY Spectrum"));
    EXPECT_EQ(Choose(dir.File("missing.PTX")), First("Partial format"));
    loader.pickLast = true;
    EXPECT_EQ(Choose(dir.File("missing.ptx")), First("Partial series"));
    EXPECT_EQ(loader.selections, std::vector<Strings>(2, {"Partial format", "Partial series"}));
    EXPECT_EQ(Choose(dir.File("missing.nothing")), -1);
    EXPECT_EQ(Choose(dir.File("no-extension")), -1);
}

TEST_F(LoaderTest, FormatIndexCountsOnlyEligibleFormats) {
    EXPECT_EQ(loader.GetFormatIndex("spectrum", false, false), -1);
    EXPECT_EQ(loader.GetFormatIndex("/data.d/spectrum", false, true), -1);
    EXPECT_EQ(loader.GetFormatIndex("spectrum.unknown", false, false), -1);
    EXPECT_EQ(loader.GetFormatIndex("SPECTRUM.XY", false, false), First("XY Spectrum"));
    EXPECT_EQ(loader.GetFormatIndex("a.pts", true, false), -1);  // the series cannot write
    EXPECT_GT(loader.GetFormatIndex("a.ptx", true, false), 0);
}

TEST(LoaderRelease, PluginsAreInitialisedOnceAndReleasedWhenTheListGoes) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            ImportDLLLoader loader;
            loader.Init(ZM_TEST_PLUGINS);
            loader.Init(ZM_TEST_PLUGINS);
            std::exit(loader.SizeInfos() > 0 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "^test plug-in initialised\ntest plug-in released\n$");
}

TEST_F(LoaderTest, ExamplePluginReadsReopensAndReportsItsOwnTexts) {
    std::unique_ptr<SpreadsheetFile> reader = Reader("XY Spectrum");
    for (int round = 0; round < 2; ++round) {
        RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(*reader, std::string(ZM_EXAMPLE_DATA) + "/sample.xy", sink), 0);
        EXPECT_EQ(sink.Number(10, 2), 0.633f);
        EXPECT_EQ(reader->GetWarningMessage(), nullptr);
        reader->Close();
    }
    RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(*reader, dir.Write("bad.xy", "# header\n1 2\nthree 4\n"), sink),
              DLLFile::kPluginFailed);
    EXPECT_EQ(Message(*reader), "Line 3 is not an x/y pair.");
    reader->Close();
    ASSERT_EQ(zmtest::ReadAll(*reader, dir.Write("wide.xy", "1,2,3\r\n4;5\r\n"), sink), 0);
    EXPECT_EQ(sink.Number(3, 2), 5.0);
    EXPECT_STREQ(reader->GetWarningMessage(), "Columns after the second were ignored.");
}

TEST_F(LoaderTest, MissingFunctionsGive2048AndSizingLeavesTheStatusAlone) {
    std::unique_ptr<SpreadsheetFile> reader = Reader("Partial format");
    EXPECT_EQ(reader->GetFileReadOptions("any.ptf", false), nullptr);
    reader->Close();  // no handle yet: the status stays
    EXPECT_EQ(reader->GetStatus(), DLLFile::kMissingFunction);

    reader = Reader("Partial format");
    ASSERT_EQ(reader->Open(true, dir.Write("x.ptf", "#ptf\n").c_str(), nullptr), 0);
    EXPECT_EQ(reader->GetNumRows(), -1);
    EXPECT_EQ(reader->GetWarningMessage(), nullptr);
    EXPECT_EQ(reader->GetReadFile(), nullptr);
    ImportSpecBase importSpec;
    importSpec.accepted = true;
    reader->SetImportSpec(&importSpec);
    EXPECT_FALSE(importSpec.accepted);
    EXPECT_EQ(reader->GetStatus(), 0);
    RecordingSink sink;
    EXPECT_EQ(reader->Read(&sink), DLLFile::kMissingFunction);
    EXPECT_EQ(Message(*reader), "The import dll is missing a function.");
    reader->Close();
    EXPECT_EQ(reader->GetStatus(), 0);
}

TEST_F(LoaderTest, TheHostsRowMapReachesThePlugin) {
    // Every other row, and stop after the third one asked for.
    struct EveryOtherRow : zmtest::RecordingSink {
        int MapRow(int counter) override { return counter < 3 ? 2 * counter + 1 : -1; }
    };
    std::unique_ptr<SpreadsheetFile> reader = Reader("Driver test format");
    EveryOtherRow sink;
    ASSERT_EQ(zmtest::ReadAll(*reader, dir.Script("m.dtf", "rows 9\ncols 1\nmaprow"), sink), 0);
    EXPECT_EQ(sink.Dump(), "1\t1\tnumber\t101.5\n3\t1\tnumber\t301.5\n5\t1\tnumber\t501.5\n");
}

TEST_F(LoaderTest, FailuresAreStickyUntilCloseAndCarryThePluginText) {
    std::unique_ptr<SpreadsheetFile> reader = Reader("Driver test format");
    RecordingSink sink;  // reading unopened fails without storing the status
    EXPECT_EQ(reader->Read(&sink), DLLFile::kNotOpened);
    EXPECT_EQ(reader->GetStatus(), 0);
    const std::string file = dir.Script("locked.dtf", "fail open\nerror The header is damaged.");
    EXPECT_EQ(reader->Open(true, file.c_str(), nullptr), DLLFile::kPluginFailed);
    EXPECT_EQ(Message(*reader), "The header is damaged.");
    EXPECT_EQ(Message(*reader, 8), "The hea");
    EXPECT_EQ(reader->Open(true, file.c_str(), nullptr), DLLFile::kPluginFailed);
    reader->Close();
    EXPECT_EQ(reader->Write(nullptr), DLLFile::kNotOpened);  // writing unopened stores it
    EXPECT_EQ(Message(*reader), "The file was not opened properly.");

    // The plug-in learns the size of the buffer its text goes into.
    reader = Reader("Driver test format");
    const std::string sized = dir.Script("sized.dtf", "fail open\nerror size");
    EXPECT_EQ(reader->Open(true, sized.c_str(), nullptr), DLLFile::kPluginFailed);
    EXPECT_EQ(Message(*reader, 64), "buffer of 64");

    // The import settings object reaches a plug-in that has the function even before a file is
    // open.
    reader = Reader("Driver test format");
    ImportSpecBase unopened;
    unopened.accepted = false;
    reader->SetImportSpec(&unopened);
    EXPECT_TRUE(unopened.accepted);

    // A plug-in without GetLastError cannot explain its failure.
    reader = Reader("Silent format");
    EXPECT_EQ(reader->Open(true, dir.File("x.slf").c_str(), nullptr), DLLFile::kPluginFailed);
    EXPECT_EQ(Message(*reader), "The import dll is missing a function.");
    EXPECT_EQ(reader->GetStatus(), DLLFile::kMissingFunction);

    reader = Reader("Driver test series");
    EXPECT_EQ(reader->Open(false, dir.File("a.dts").c_str(), nullptr), kStatusWrongMode);
    EXPECT_EQ(Message(*reader),
              "Tried to write to the file when it was opened for reading or vice versa.");
}

}  // namespace
