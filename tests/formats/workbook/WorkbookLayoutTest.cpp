// The shared placing of several worksheets in one table.
#include "formats/workbook/WorkbookLayout.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tests/support/RecordingSink.h"

namespace {

// Places `cells` (0-based row, col) of one sheet and returns the table positions.
std::vector<std::pair<int, int>> PlaceAll(zm::WorkbookLayout& layout,
                                          const std::vector<std::pair<int, int>>& cells) {
    std::vector<std::pair<int, int>> placed;
    for (const auto& [r, c] : cells) {
        int row = 0, col = 0;
        if (layout.Place(r, c, row, col))
            placed.emplace_back(row, col);
    }
    return placed;
}

}  // namespace

TEST(WorkbookLayout, StackedSheetsNameOnlyTheRowsHoldingAValue) {
    // Sheet A is 4 x 2 with values in rows 0, 2 and (out of order, after row 2) 1; row 3
    // is declared but empty. Sheet B is 2 x 3.
    const zm::SheetSize table = zm::CombinedSize({{4, 2}, {2, 3}}, zm::SheetChoice::kStacked);
    ASSERT_EQ(table.rows, 6);
    ASSERT_EQ(table.cols, 4);
    zmtest::RecordingSink sink;
    zm::WorkbookLayout layout(&sink, zm::SheetChoice::kStacked, 2, table);
    layout.Begin("A", {4, 2});
    EXPECT_EQ(PlaceAll(layout, {{0, 0}, {2, 1}, {1, 0}, {4, 0}, {0, 2}}),
              (std::vector<std::pair<int, int>>{{1, 1}, {3, 2}, {2, 1}}));
    layout.End();
    layout.Begin("B", {2, 3});
    EXPECT_EQ(PlaceAll(layout, {{1, 2}}), (std::vector<std::pair<int, int>>{{6, 3}}));
    layout.End();
    EXPECT_EQ(sink.Text(4, 1), "sheet: A");
    EXPECT_EQ(sink.Text(4, 2), "sheet: A");  // labelled when its late cell came
    EXPECT_EQ(sink.Text(4, 3), "sheet: A");
    EXPECT_FALSE(sink.Has(4, 4));  // no value, no name
    EXPECT_FALSE(sink.Has(4, 5));
    EXPECT_EQ(sink.Text(4, 6), "sheet: B");
    EXPECT_EQ(sink.cells.size(), 4u);  // the labels alone: Place writes no value
}

TEST(WorkbookLayout, SideBySideNamesUsedColumnsAndOneSheetNone) {
    const zm::SheetSize table = zm::CombinedSize({{2, 3}, {3, 1}}, zm::SheetChoice::kSideBySide);
    ASSERT_EQ(table.rows, 4);
    ASSERT_EQ(table.cols, 4);
    zmtest::RecordingSink sink;
    zm::WorkbookLayout layout(&sink, zm::SheetChoice::kSideBySide, 2, table);
    layout.Begin("", {2, 3});
    EXPECT_EQ(PlaceAll(layout, {{0, 2}, {1, 2}}),
              (std::vector<std::pair<int, int>>{{1, 3}, {2, 3}}));
    layout.End();
    layout.Begin("B", {3, 1});
    EXPECT_EQ(PlaceAll(layout, {{2, 0}}), (std::vector<std::pair<int, int>>{{3, 4}}));
    layout.End();
    EXPECT_EQ(sink.Text(3, 4), "sheet");  // an unnamed sheet
    EXPECT_EQ(sink.Text(4, 4), "sheet: B");
    EXPECT_EQ(sink.cells.size(), 2u);

    zmtest::RecordingSink single;
    zm::WorkbookLayout one(&single, zm::SheetChoice::kStacked, 1, {2, 2});
    one.Begin("A", {2, 2});
    EXPECT_EQ(PlaceAll(one, {{1, 1}}), (std::vector<std::pair<int, int>>{{2, 2}}));
    one.End();
    EXPECT_TRUE(single.cells.empty());
}
