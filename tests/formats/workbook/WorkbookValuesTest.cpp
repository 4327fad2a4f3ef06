// Integers in the workbook readers' attribute and option texts.
#include "formats/workbook/WorkbookValues.h"

#include <gtest/gtest.h>

TEST(WorkbookValues, IntegersAtTheStartOrTheWholeText) {
    EXPECT_EQ(zm::ToInt("12abc"), 12);       // attributes: the leading integer counts
    EXPECT_FALSE(zm::ToInt("12abc", true));  // options: the whole text must be one
    EXPECT_EQ(zm::ToInt("-3", true), -3);
    EXPECT_FALSE(zm::ToInt(" 3"));
    EXPECT_FALSE(zm::ToInt(""));
    EXPECT_FALSE(zm::ToInt<int>("4294967296"));  // does not fit: no value, not a wrapped one
    EXPECT_EQ(zm::ToInt("4294967296"), 4294967296LL);
    EXPECT_STREQ(zm::ErrorValueText(0x07), "#DIV/0!");
    EXPECT_EQ(zm::ErrorValueText(0x08), nullptr);
}
