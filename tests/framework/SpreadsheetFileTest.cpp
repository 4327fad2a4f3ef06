// Default behaviour of the reader base: answers of a fresh reader, sticky status,
// sizing on demand and the common error texts.
#include <gtest/gtest.h>

#include <string>

#include "framework/SpreadsheetFile.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/ScriptedReader.h"

namespace {

using zmtest::ScriptedReader;

std::string Message(SpreadsheetFile& reader, unsigned int size = 256) {
    char buffer[256] = "untouched";
    reader.GetErrorMessage(buffer, size);
    return buffer;
}

TEST(SpreadsheetFile, AFreshReaderHasNothingToSayAndSizesOnce) {
    ScriptedReader reader;
    EXPECT_EQ(!reader, 0);
    EXPECT_EQ(reader.SpreadsheetFile::GetWarningMessage(), nullptr);
    EXPECT_EQ(reader.SpreadsheetFile::GetReadFile(), nullptr);
    EXPECT_EQ(reader.GetFileReadOptions("/no/such/file", true), nullptr);

    EXPECT_EQ(std::pair(reader.GetNumRows(), reader.GetNumCols()), std::pair(7, 3));
    EXPECT_EQ(reader.sizeCalls, 1);
    // Copies keep status and the stored size: no new sizing.
    reader.Fail(9);
    ScriptedReader copy(reader), assigned;
    EXPECT_EQ(std::pair(copy.GetStatus(), copy.GetNumRows()), std::pair(9, 7));
    EXPECT_EQ(copy.sizeCalls, 1);
    assigned = reader;
    EXPECT_EQ(std::pair(assigned.GetStatus(), assigned.SizeEstablished()), std::pair(9, true));
}

TEST(SpreadsheetFile, FailedSizingAnswersMinusOneAndRetries) {
    ScriptedReader reader;
    reader.sizeResult = 2;
    EXPECT_EQ(std::pair(reader.GetNumCols(), reader.GetNumRows()), std::pair(-1, -1));
    EXPECT_FALSE(reader.SizeEstablished());
    EXPECT_EQ(std::pair(reader.sizeCalls, reader.GetStatus()), std::pair(2, 2));
}

TEST(SpreadsheetFile, StatusIsStickyUntilClose) {
    ScriptedReader reader;
    reader.openResult = 517;
    EXPECT_EQ(reader.Open(true, "x", nullptr), 517);
    reader.openResult = 0;
    EXPECT_EQ(reader.Open(true, "x", nullptr), 517);  // the first error wins
    zmtest::RecordingSink sink;
    EXPECT_EQ(reader.Read(&sink), 517);
    EXPECT_TRUE(sink.cells.empty());
    EXPECT_EQ(reader.Write(nullptr), 517);  // not overwritten by "not implemented"
    EXPECT_EQ(!reader, 517);
    reader.Close();
    EXPECT_EQ(reader.GetStatus(), 0);
    EXPECT_EQ(reader.Open(true, "x", nullptr), 0);
    EXPECT_EQ(reader.Write(nullptr), 1);
    EXPECT_EQ(reader.GetStatus(), 1);
}

TEST(SpreadsheetFile, CommonCodesHaveTheirTextsCutToTheBuffer) {
    ScriptedReader reader;
    EXPECT_EQ(Message(reader), "");
    reader.Fail(2816);  // a code outside the table falls back
    EXPECT_EQ(Message(reader), "No further information available.");
    reader.Fail(1);
    EXPECT_EQ(Message(reader, 10), "This func");
    EXPECT_EQ(Message(reader, 0), "untouched");
    reader.GetErrorMessage(nullptr, 255);  // tolerated
}

}  // namespace
