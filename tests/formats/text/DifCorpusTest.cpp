// Every file of the real-world DIF corpus (Excel, Quattro Pro, WPS) read through DIFFile
// and checked against the cells the files visibly hold.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "formats/text/DIFFile.h"
#include "tests/support/RecordingSink.h"

namespace {

const std::filesystem::path kDifCorpus = std::filesystem::path(ZM_CORPUS) / "dif";

// Rows of expected texts; "-" marks a cell that must not be delivered.
using Grid = std::vector<std::vector<std::string>>;

void ExpectSheet(const std::string& name, int rows, int cols, const Grid& expected) {
    SCOPED_TRACE(name);
    const std::string path = (kDifCorpus / name).string();
    EXPECT_TRUE(DIFFile::IsDIFFile(path.c_str()));
    DIFFile file;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(file, path, sink), 0);
    EXPECT_EQ(file.GetNumRows(), rows);
    EXPECT_EQ(file.GetNumCols(), cols);
    for (size_t r = 0; r < expected.size(); ++r) {
        for (size_t c = 0; c < expected[r].size(); ++c) {
            const int col = static_cast<int>(c + 1), row = static_cast<int>(r + 1);
            if (expected[r][c] == "-") {
                EXPECT_FALSE(sink.Has(col, row)) << row << "," << col;
            } else if (sink.Has(col, row)) {
                EXPECT_EQ(sink.Text(col, row), expected[r][c]) << row << "," << col;
            } else {
                ADD_FAILURE() << "no cell at " << row << "," << col;
            }
        }
    }
}

// Excel writes VECTORS and TUPLES the other way round: 14 tuples of 10 values under a
// header saying 14 vectors and 10 tuples. ERROR and NA arrive empty, TRUE and FALSE as
// 1 and 0, dates as Excel wrote them.
TEST(DifCorpus, ExcelErrorTypesIsSizedTransposed) {
    ExpectSheet(
        "ErrorTypes.dif", 14, 10,
        {{"Error", "Bang", "Que", "Non", "Val", "ErrType", "Type", "ISERR", "ISNA", "ErrTypeIsErr"},
         {"", "", "#NULL?", "#NULL", "1", "1", "16", "1", "0", "0"},
         {},
         {},
         {},
         {"", "#NAME!", "", "#NAME", "5", "5", "16", "1", "0", "0"},
         {},
         {"", "#N/A!", "#N/A?", "", "7", "7", "16", "0", "1", "0"},
         {"#WTF", "#WTF!", "#WTF?", "#WTF", "69", "", "2", "0", "0", "0"},
         {"123", "123!", "123?", "123", "123", "", "1", "0", "0", "0"},
         {},
         {"10/11/14", "10/11/14!", "10/11/14?", "10/11/14", "10/11/14", "", "1", "0", "0", "0"},
         {"1", "TRUE!", "TRUE?", "1", "1", "", "4", "0", "0", "0"},
         {"array", "array!", "array?", "array", "array", "", "64", "0", "0", "0"}});
}

// Quattro Pro leaves out the empty cells at the ends of tuples, so the header's 4 x 4
// is found by scanning.
TEST(DifCorpus, QuattroProShortTuples) {
    ExpectSheet("quattro_write.dif", 4, 4,
                {{"1", "2", "3", "-"},
                 {"1", "0", "", "sheetjs"},
                 {"foo", "bar", "41689", "0.3"},
                 {"baz", "", "qux", "-"}});
}

TEST(DifCorpus, WpsAndExcelWrites) {
    ExpectSheet("wps_write.dif", 4, 4,
                {{"1", "2", "3", ""},
                 {"1", "0", "", "sheetjs"},
                 {"foo", "bar", "2/19/14", "0.3"},
                 {"baz", "", "qux", ""}});
    // Excel wrote 0.3 as a string record here.
    ExpectSheet("write.dif", 4, 4,
                {{"1", "2", "3", ""},
                 {"1", "0", "", "sheetjs"},
                 {"foo", "bar", "2/19/14", "0.3"},
                 {"baz", "", "qux", ""}});
}

TEST(DifCorpus, EveryFileIsCovered) {
    const std::set<std::string> covered = {"ErrorTypes.dif", "quattro_write.dif", "wps_write.dif",
                                           "write.dif"};
    for (const auto& entry : std::filesystem::directory_iterator(kDifCorpus)) {
        EXPECT_TRUE(covered.count(entry.path().filename().string()))
            << entry.path().filename() << " is not read by any test";
    }
}

}  // namespace
