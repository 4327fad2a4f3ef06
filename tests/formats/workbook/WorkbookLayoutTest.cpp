// The shared placing of several worksheets in one table.
#include "formats/workbook/WorkbookLayout.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tests/support/RecordingSink.h"

namespace {

using zmtest::Absent;
using zmtest::At;
using Cells = std::vector<std::pair<int, int>>;

// Places the 0-based cells (row, col) of one sheet and returns their table positions.
Cells Place(zm::WorkbookLayout& layout, const std::string& name, zm::SheetSize size,
            const Cells& cells) {
    Cells placed;
    layout.Begin(name, size);
    for (const auto& [r, c] : cells) {
        int row = 0, col = 0;
        if (layout.Place(r, c, row, col))
            placed.emplace_back(row, col);
    }
    layout.End();
    return placed;
}

TEST(WorkbookLayout, SheetsAreNamedOnlyWhereTheyHoldAValue) {
    // Stacked: sheet A is 4 x 2 with values in rows 0, 2 and (out of order, after row 2)
    // 1; row 3 is declared but empty. Sheet B is 2 x 3. Place writes no value: the sink
    // holds the labels alone.
    const zm::SheetSize table = zm::CombinedSize({{4, 2}, {2, 3}}, zm::SheetChoice::kStacked);
    ASSERT_EQ(std::make_pair(table.rows, table.cols), std::make_pair(6, 4));
    zmtest::RecordingSink sink;
    zm::WorkbookLayout layout(&sink, zm::SheetChoice::kStacked, 2, table);
    EXPECT_EQ(Place(layout, "A", {4, 2}, {{0, 0}, {2, 1}, {1, 0}, {4, 0}, {0, 2}}),
              (Cells{{1, 1}, {3, 2}, {2, 1}}));
    EXPECT_EQ(Place(layout, "B", {2, 3}, {{1, 2}}), (Cells{{6, 3}}));
    zmtest::ExpectCells(sink, {At(4, 1, "sheet: A"), At(4, 2, "sheet: A"), At(4, 3, "sheet: A"),
                               Absent(4, 4), Absent(4, 5), At(4, 6, "sheet: B")});
    EXPECT_EQ(sink.cells.size(), 4u);

    // Side by side, the first sheet unnamed: the last row names the used columns.
    const zm::SheetSize wide = zm::CombinedSize({{2, 3}, {3, 1}}, zm::SheetChoice::kSideBySide);
    ASSERT_EQ(std::make_pair(wide.rows, wide.cols), std::make_pair(4, 4));
    zmtest::RecordingSink side;
    zm::WorkbookLayout beside(&side, zm::SheetChoice::kSideBySide, 2, wide);
    EXPECT_EQ(Place(beside, "", {2, 3}, {{0, 2}, {1, 2}}), (Cells{{1, 3}, {2, 3}}));
    EXPECT_EQ(Place(beside, "B", {3, 1}, {{2, 0}}), (Cells{{3, 4}}));
    zmtest::ExpectCells(side, {At(3, 4, "sheet"), At(4, 4, "sheet: B")});
    EXPECT_EQ(side.cells.size(), 2u);

    // One sheet is named nowhere.
    zmtest::RecordingSink single;
    zm::WorkbookLayout one(&single, zm::SheetChoice::kStacked, 1, {2, 2});
    EXPECT_EQ(Place(one, "A", {2, 2}, {{1, 1}}), (Cells{{2, 2}}));
    EXPECT_TRUE(single.cells.empty());
}

}  // namespace
