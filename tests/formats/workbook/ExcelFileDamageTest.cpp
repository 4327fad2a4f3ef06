// The Excel 97-2003 reader on hostile and damaged files (fuzz/corpus, written by
// tests/data/xls/make_hostile_seeds.py): record walks that lead back or overlap are
// refused, declared sheet sizes cost no cells, and texts that claim more than the file
// holds are read with a warning that counts them.
#include "formats/workbook/ExcelFile.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

std::string Seed(const char* name) {
    return std::string(ZM_TEST_DATA) + "/../../fuzz/corpus/" + name;
}

TEST(ExcelFileDamage, RecordWalksThatLeadBackOrOverlapAreRefused) {
    // A BIFF4 workbook's sheet offset onto itself or back to the start, and 4000 sheet
    // records that each point into the same sheet (each would be walked to its end).
    for (const char* name :
         {"xls-biff4-sheet-offset-onto-itself.xls", "xls-biff4-sheet-offset-backwards.xls",
          "xls-sheet-records-into-one-sheet-quadratic.xls"}) {
        SCOPED_TRACE(name);
        ExcelFile file;
        zmtest::RecordingSink sink;
        EXPECT_EQ(zmtest::ReadAll(file, Seed(name), sink), ExcelFile::kBadGlobalsRecord);
        EXPECT_EQ(zmtest::Message(file),
                  "An error occurred when reading the Workbook section in the Excel file. An "
                  "invalid BIFF-record was found.");
    }
}

TEST(ExcelFileDamage, DeclaredSheetSizesCostNoCells) {
    // A DIMENSIONS record beyond what BIFF8 holds is cut to 65536 x 256; eight stacked
    // sheets that each declare a million rows around one value get one label each.
    ExcelFile one;
    zmtest::RecordingSink oneSink;
    EXPECT_EQ(zmtest::ReadAll(one, Seed("xls-dimensions-1048576-by-16384.xls"), oneSink), 0);
    EXPECT_EQ(one.GetNumRows(), 65536);
    EXPECT_EQ(one.GetNumCols(), 256);
    EXPECT_EQ(oneSink.cells.size(), 1u);

    ExcelFile stacked;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(stacked, Seed("xls-sheet-label-for-every-declared-row.xls"), sink),
              0);
    EXPECT_EQ(stacked.GetNumRows(), 8 * 65536);
    EXPECT_EQ(stacked.GetNumCols(), 2);
    EXPECT_EQ(sink.cells.size(), 16u);
    EXPECT_EQ(sink.Text(2, 65537), "sheet: B");
    EXPECT_EQ(sink.Number(1, 65537), 1.0);
}

TEST(ExcelFileDamage, TextsLongerThanTheFileAreCountedInTheWarning) {
    // A shared string claims 60,000 characters and swallows the next one: the cell of the
    // cut string keeps what is there, the cells of the swallowed string and of an index
    // past the table stay empty, and a LABEL whose length exceeds its record keeps its 3
    // characters. All four are counted.
    ExcelFile file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(file, Seed("xls-shared-string-longer-than-the-file.xls"), sink), 0);
    EXPECT_EQ(sink.Text(1, 1).substr(0, 3), "abc");
    EXPECT_FALSE(sink.Has(2, 1));
    EXPECT_FALSE(sink.Has(3, 1));
    EXPECT_EQ(sink.Text(1, 2), "xyz");
    ASSERT_NE(file.GetWarningMessage(), nullptr);
    EXPECT_EQ(std::string(file.GetWarningMessage()),
              "4 cells of the Excel file could not be read in full: their text is cut short or "
              "refers to a shared string the file does not hold.");
}

}  // namespace
