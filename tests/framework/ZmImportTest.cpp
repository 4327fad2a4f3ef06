// The exported functions as a host calls them: handles, booleans, sizes and error texts.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "framework/PendingFormat.h"
#include "framework/SprFileFactory.h"
#include "framework/ZmImport.h"
#include "tests/support/ScriptedReader.h"
#include "tests/support/TestHost.h"

namespace {

using zmtest::RecordingHost;
using zmtest::ScriptedReader;

const char* const kMissing = "/nonexistent/zmimport/missing-file.dat";

TEST(ZmImport, ListsTheRegistryAndTreatsLowIndexesAsTheFirst) {
    ZmImportInitPackage();
    const int n = ZmImportSizeFileFormatsSupported();
    EXPECT_EQ(n, SprFileFactory::SizeInfos());
    EXPECT_EQ(ZmImportGetFileFormatInfo(0), ZmImportGetFileFormatInfo(1));
    EXPECT_EQ(ZmImportGetFileFormatInfo(-1), ZmImportGetFileFormatInfo(1));
    EXPECT_STREQ(ZmImportGetFileFormatInfo(1)->name, "Brimrose File");
    EXPECT_STREQ(ZmImportGetFileFormatInfo(n)->name, "Unscrambler File");
    ZmImportReleasePackage();
}

TEST(ZmImport, EveryFormatOpensAMissingFileAsAFailureWithAText) {
    for (int i = 1; i <= ZmImportSizeFileFormatsSupported(); ++i) {
        SCOPED_TRACE(ZmImportGetFileFormatInfo(i)->name);
        EXPECT_EQ(ZmImportIsCorrectFileType(i, kMissing), ZmImportIsCorrectFileType(i, kMissing));
        const char answer = ZmImportIsCorrectFileType(i, kMissing);
        EXPECT_TRUE(answer == 0 || answer == 1) << int(answer);  // never "surely"

        void* handle = reinterpret_cast<void*>(0x1);
        EXPECT_FALSE(ZmImportOpen(i, kMissing, true, &handle, nullptr));
        ASSERT_NE(handle, nullptr);
        EXPECT_NE(handle, reinterpret_cast<void*>(0x1));
        const std::string text = ZmImportGetLastError(i, handle);
        EXPECT_FALSE(text.empty());
        EXPECT_LT(text.size(), 255u);
        int rows = 5, cols = 5;
        EXPECT_FALSE(ZmImportEstablishSize(i, handle, &rows, &cols));
        EXPECT_EQ(rows, -1);
        EXPECT_EQ(cols, -1);
        RecordingHost host;
        EXPECT_FALSE(ZmImportRead(i, handle, &host));
        EXPECT_TRUE(host.cells.empty());
        // The failure stays: a later call reports the same text.
        EXPECT_EQ(ZmImportGetLastError(i, handle), text);
        ZmImportClose(i, handle);

        ZmImportOpenOptions* options = ZmImportGetFileOptions(i, kMissing, true);
        if (options != nullptr) {
            delete[] options->data;
            delete options;
        }
    }
}

TEST(ZmImport, AFailedOpenExplainsItselfInTheFormatsOwnWords) {
    // The exported text is the one the format's reader gives for the same failure.
    for (int i = 1; i <= ZmImportSizeFileFormatsSupported(); ++i) {
        SCOPED_TRACE(ZmImportGetFileFormatInfo(i)->name);
        SpreadsheetFile* direct = SprFileFactory::GetSpreadsheetFile(i);
        ASSERT_NE(direct, nullptr);
        EXPECT_NE(direct->Open(true, kMissing, nullptr), 0);
        char expected[255];
        direct->GetErrorMessage(expected, sizeof expected);
        delete direct;

        void* handle = nullptr;
        ASSERT_FALSE(ZmImportOpen(i, kMissing, true, &handle, nullptr));
        EXPECT_STREQ(ZmImportGetLastError(i, handle), expected);
        ZmImportClose(i, handle);
    }
}

TEST(ZmImport, PendingFormatsRecogniseNothingAndAreNotImplemented) {
    PendingFormatFile pending;
    EXPECT_EQ(pending.Open(true, kMissing, nullptr), 1);
    EXPECT_EQ(pending.Read(nullptr), 1);
    EXPECT_EQ(pending.GetNumRows(), -1);
    char text[255];
    pending.GetErrorMessage(text, sizeof text);
    EXPECT_STREQ(text, "This function is not implemented for this file format.");
    pending.Close();
    EXPECT_EQ(pending.GetStatus(), 0);
    EXPECT_EQ(pending.Write(nullptr), 1);
}

TEST(ZmImport, ReadsThroughTheHostAdapterRowFirst) {
    ScriptedReader reader;
    reader.rows = 3;
    int rows = 0, cols = 0;
    ASSERT_TRUE(ZmImportEstablishSize(0, &reader, &rows, &cols));
    EXPECT_EQ(rows, 3);
    EXPECT_EQ(cols, 3);
    RecordingHost host;
    ASSERT_TRUE(ZmImportRead(0, &reader, &host));
    EXPECT_EQ(host.rows, 3);
    EXPECT_EQ(host.cols, 3);
    EXPECT_EQ(host.outside, 0);
    EXPECT_EQ(host.At(1, 1).text, "id");
    EXPECT_EQ(host.At(1, 2).number, 2.5f);
    ASSERT_TRUE(host.At(1, 3).isText);  // a whole double beyond float precision
    EXPECT_EQ(host.At(1, 3).text, "1234567");
    EXPECT_EQ(host.At(3, 1).number, 3.0f);
    EXPECT_FALSE(host.At(3, 1).isText);
}

TEST(ZmImport, FailedSizingStoresMinusOneInBoth) {
    ScriptedReader reader;
    reader.sizeResult = 2;
    int rows = 0, cols = 0;
    EXPECT_FALSE(ZmImportEstablishSize(0, &reader, &rows, &cols));
    EXPECT_EQ(rows, -1);
    EXPECT_EQ(cols, -1);
    EXPECT_STREQ(ZmImportGetLastError(0, &reader),
                 "An error occurred when trying to establish the size of the data in the file.");
    RecordingHost host;
    EXPECT_FALSE(ZmImportRead(0, &reader, &host));
    EXPECT_TRUE(host.cells.empty());
}

TEST(ZmImport, WritingAReadOnlyFormatIsNotImplemented) {
    ScriptedReader reader;
    struct EmptySource : ZmHostWriteSource {
        unsigned char GetCellType(int, int) override { return kHostMissing; }
        float GetNumber(int, int) override { return 0; }
        const char* GetText(int, int) override { return ""; }
        bool GetDataOrigin(int*, int*) override { return false; }
    } empty;
    EXPECT_FALSE(ZmImportWrite(0, &reader, &empty));
    EXPECT_STREQ(ZmImportGetLastError(0, &reader),
                 "This function is not implemented for this file format.");
}

TEST(ZmImport, LongErrorTextsAreCutTo254Characters) {
    ScriptedReader reader;
    reader.ownText = std::string(200, 'a') + std::string(200, 'b');
    reader.Fail(900);
    const std::string text = ZmImportGetLastError(0, &reader);
    EXPECT_EQ(text, reader.ownText.substr(0, 254));
    reader.ownText = std::string(254, 'c');
    EXPECT_EQ(ZmImportGetLastError(0, &reader), reader.ownText);
    reader.Close();
    EXPECT_STREQ(ZmImportGetLastError(0, &reader), "");
}

TEST(ZmImport, PassesWarningsReadFileAndSpecThrough) {
    ScriptedReader reader;
    EXPECT_EQ(ZmImportGetWarning(0, &reader), nullptr);
    reader.warning = "Some rows were skipped.";
    EXPECT_STREQ(ZmImportGetWarning(0, &reader), "Some rows were skipped.");
    EXPECT_STREQ(ZmImportGetFileRead(&reader), "Sheet 1");
    ImportSpecBase spec;
    spec.accepted = true;
    ZmImportSetSpec(&reader, &spec);
    EXPECT_FALSE(spec.accepted);
}

TEST(ZmImport, NullArgumentsAreRefusedQuietly) {
    EXPECT_FALSE(ZmImportOpen(1, kMissing, true, nullptr, nullptr));
    int rows = 0;
    ScriptedReader reader;
    EXPECT_FALSE(ZmImportEstablishSize(0, &reader, &rows, nullptr));
    EXPECT_FALSE(ZmImportRead(0, &reader, nullptr));
    EXPECT_FALSE(ZmImportWrite(0, &reader, nullptr));
    EXPECT_STREQ(ZmImportGetLastError(0, nullptr), "");
    ZmImportClose(0, nullptr);
}

}  // namespace
