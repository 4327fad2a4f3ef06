// The exported functions as a host calls them: handles, booleans, sizes and error texts.
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "framework/ZmHostData.h"
#include "framework/ZmImport.h"
#include "tests/support/ScriptedReader.h"

namespace {

using zmtest::ScriptedReader;

const char* const kMissing = "/nonexistent/zmimport/missing-file.dat";

// A host read target that logs each call in its own (row, col) order.
struct LoggingHost : ZmHostReadTarget {
    void SetNumber(int r, int c, float v) override { Log("num", r, c, std::to_string(v)); }
    void SetText(int r, int c, const char* t) override { Log("text", r, c, t); }
    void SetSize(int r, int c) override {
        rows = r;
        cols = c;
        Log("size", r, c, "");
    }
    void Log(const char* what, int r, int c, const std::string& v) {
        calls.push_back(what + (" " + std::to_string(r)) + " " + std::to_string(c) + " " + v);
    }
    std::vector<std::string> calls;
};

TEST(ZmImport, EveryFormatFailsOnAMissingFileInItsOwnWords) {
    for (int i = 1; i <= ZmImportSizeFileFormatsSupported(); ++i) {
        SCOPED_TRACE(ZmImportGetFileFormatInfo(i)->name);
        EXPECT_LT(ZmImportIsCorrectFileType(i, kMissing), 2);  // never "surely"
        // CSV only remembers the name when opening and reads no rows from a missing file;
        // hosts check files before reading them.
        if (std::string(ZmImportGetFileFormatInfo(i)->name) == "CSV File")
            continue;
        void* handle = reinterpret_cast<void*>(0x1);
        EXPECT_FALSE(ZmImportOpen(i, kMissing, true, &handle, nullptr));
        ASSERT_NE(handle, reinterpret_cast<void*>(0x1));
        ASSERT_NE(handle, nullptr);
        const std::string text = ZmImportGetLastError(i, handle);
        EXPECT_TRUE(!text.empty() && text.size() < 255) << text;
        int rows = 5, cols = 5;
        EXPECT_FALSE(ZmImportEstablishSize(i, handle, &rows, &cols));
        EXPECT_EQ(std::pair(rows, cols), std::pair(-1, -1));
        LoggingHost host;
        EXPECT_FALSE(ZmImportRead(i, handle, &host));
        EXPECT_TRUE(host.calls.empty());
        EXPECT_EQ(ZmImportGetLastError(i, handle), text);  // the failure stays
        ZmImportClose(i, handle);
        if (ZmImportOpenOptions* options = ZmImportGetFileOptions(i, kMissing, true)) {
            delete[] options->data;
            delete options;
        }
    }
}

TEST(ZmImport, SizesAndReadsThroughTheHostAdapterRowFirst) {
    ScriptedReader reader;
    reader.rows = 2;
    int rows = 0, cols = 0;
    ASSERT_TRUE(ZmImportEstablishSize(0, &reader, &rows, &cols));
    EXPECT_EQ(std::pair(rows, cols), std::pair(2, 3));
    LoggingHost host;
    ASSERT_TRUE(ZmImportRead(0, &reader, &host));
    const std::vector<std::string> expected = {
        "size 2 3 ", "text 1 1 id", "num 1 2 " + std::to_string(2.5f), "text 1 3 1234567",
        "num 2 1 " + std::to_string(2.f)};
    EXPECT_EQ(host.calls, expected);

    ScriptedReader failing;
    failing.sizeResult = 2;
    EXPECT_FALSE(ZmImportEstablishSize(0, &failing, &rows, &cols));
    EXPECT_EQ(std::pair(rows, cols), std::pair(-1, -1));
    LoggingHost none;
    EXPECT_FALSE(ZmImportRead(0, &failing, &none));
    EXPECT_TRUE(none.calls.empty());
    // A format that cannot write never touches the source it is given.
    EXPECT_FALSE(ZmImportWrite(0, &reader, &host));
    EXPECT_NE(reader.GetStatus(), 0);
}

TEST(ZmImport, ErrorTextsAreCutTo254Characters) {
    ScriptedReader reader;
    reader.ownText = std::string(200, 'a') + std::string(200, 'b');
    reader.Fail(900);
    EXPECT_EQ(ZmImportGetLastError(0, &reader), reader.ownText.substr(0, 254));
    reader.ownText = std::string(254, 'c');
    EXPECT_EQ(ZmImportGetLastError(0, &reader), reader.ownText);
    reader.Close();
    EXPECT_STREQ(ZmImportGetLastError(0, &reader), "");
}

TEST(ZmImport, PassesWarningsReadFileAndSpecThroughAndRefusesNulls) {
    ScriptedReader reader;
    EXPECT_EQ(ZmImportGetWarning(0, &reader), nullptr);
    reader.warning = "Some rows were skipped.";
    EXPECT_STREQ(ZmImportGetWarning(0, &reader), "Some rows were skipped.");
    EXPECT_STREQ(ZmImportGetFileRead(&reader), "Sheet 1");
    ImportSpecBase importSpec;
    importSpec.accepted = true;
    ZmImportSetSpec(&reader, &importSpec);
    EXPECT_FALSE(importSpec.accepted);

    EXPECT_FALSE(ZmImportOpen(1, kMissing, true, nullptr, nullptr));
    int rows = 0;
    EXPECT_FALSE(ZmImportEstablishSize(0, &reader, &rows, nullptr));
    EXPECT_FALSE(ZmImportRead(0, &reader, nullptr));
    EXPECT_FALSE(ZmImportWrite(0, &reader, nullptr));
    EXPECT_STREQ(ZmImportGetLastError(0, nullptr), "");
    ZmImportClose(0, nullptr);
}

TEST(ZmImport, AnExceptionEndsWithTheCommonTextAndNeverBlamesTheFile) {
    struct ThrowingReader : ScriptedReader {
        int Read(ReadSpreadSheetData*) override { throw std::runtime_error("inside"); }
    };
    ThrowingReader reader;
    LoggingHost host;
    EXPECT_FALSE(ZmImportRead(0, &reader, &host));
    EXPECT_STREQ(ZmImportGetLastError(0, &reader), "An unknown exception occurred.");
    EXPECT_EQ(reader.GetStatus(), kStatusUnknownException);

    // A host whose sink throws while a real format reads a sound file.
    struct ThrowingHost : LoggingHost {
        void SetNumber(int, int, float) override { throw std::bad_alloc(); }
        void SetText(int, int, const char*) override { throw std::bad_alloc(); }
    };
    const std::string file = std::string(ZM_TEST_DATA) + "/brimrose/two-spectra.dat";
    for (int i = 1; i <= ZmImportSizeFileFormatsSupported(); ++i) {
        if (std::string(ZmImportGetFileFormatInfo(i)->name) != "Brimrose File")
            continue;
        void* handle = nullptr;
        ASSERT_TRUE(ZmImportOpen(i, file.c_str(), true, &handle, nullptr))
            << ZmImportGetLastError(i, handle);
        ThrowingHost throwing;
        ASSERT_TRUE(ZmImportEstablishSize(i, handle, &throwing.rows, &throwing.cols));
        EXPECT_FALSE(ZmImportRead(i, handle, &throwing));
        EXPECT_STREQ(ZmImportGetLastError(i, handle), "An unknown exception occurred.");
        ZmImportClose(i, handle);
    }
}

}  // namespace
