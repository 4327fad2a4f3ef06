// Several threads creating the list, detecting formats and reading files at once; built
// with ThreadSanitizer, which fails the test on any data race in the loader or the readers.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "tests/loader/PluginTestSupport.h"
#include "tests/support/RecordingSink.h"

namespace {

// What one thread saw of one file: the chosen format and the cells read.
std::string Outcome(ImportDLLLoader& loader, const std::string& file) {
    const int index = loader.GetSpreadsheetFileIndex(file.c_str());
    const ZmImportFileFormatInfo* info = loader.GetInfo(index);
    if (info == nullptr || !std::filesystem::exists(file))
        return info != nullptr ? info->name : "<none>";
    std::unique_ptr<SpreadsheetFile> reader(loader.GetSpreadsheetFile(index));
    zmtest::RecordingSink sink;
    const int status = zmtest::ReadAll(*reader, file, sink);
    return info->name + (" status " + std::to_string(status)) + "\n" + sink.Dump();
}

TEST(LoaderThreads, DetectAndReadDifferentFilesAtOnce) {
    zmtest::ScratchDir dir;
    const std::vector<std::string> files = {
        dir.Write("x.txt", dir.Read(std::string(ZM_TEST_DATA) + "/brimrose/two-spectra.dat")),
        std::string(ZM_EXAMPLE_DATA) + "/sample.xy",
        dir.Script("both.dtf", "rows 5\n"),
        dir.Write("some.ptf", "#ptf\n"),
        dir.File("missing.dtx"),
    };
    constexpr int kThreads = 6;
    constexpr int kRounds = 12;
    std::vector<std::vector<std::string>> seen(kThreads);
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            while (!go.load())
                std::this_thread::yield();
            ImportDLLLoader loader;
            loader.Init(ZM_TEST_PLUGINS);  // the first of them creates the list
            for (int r = 0; r < kRounds; ++r)
                seen[t].push_back(Outcome(loader, files[(t + r) % files.size()]));
        });
    }
    go = true;
    for (std::thread& thread : threads)
        thread.join();

    // Every thread saw what a single thread sees now.
    ImportDLLLoader loader;
    std::vector<std::string> expected;
    for (const std::string& file : files)
        expected.push_back(Outcome(loader, file));
    EXPECT_EQ(expected[0].rfind("Brimrose File status 0\n", 0), 0u) << expected[0];
    EXPECT_EQ(expected[2].rfind("Driver test format status 0\n", 0), 0u) << expected[2];
    for (int t = 0; t < kThreads; ++t) {
        for (int r = 0; r < kRounds; ++r)
            EXPECT_EQ(seen[t][r], expected[(t + r) % files.size()]) << t << " " << r;
    }
}

}  // namespace
