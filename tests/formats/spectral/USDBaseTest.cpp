// Range constraints (interval test, averaging, record copies, text form) and the sheet
// the spectral readers write through them.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "formats/spectral/SpectrumSheet.h"
#include "formats/spectral/USDBase.h"
#include "tests/support/RecordingSink.h"

namespace {

// Constraints with the given intervals and averaging width, range filtering on.
void Constrain(USDBase& base, std::vector<float> starts, std::vector<float> ends, int average) {
    USDConstraints c;
    c.IncludeAllValues = false;
    c.NumberOfIncludedIntervals = static_cast<int32_t>(starts.size());
    c.IncludeXStartPt = starts.data();
    c.IncludeXEndPt = ends.data();
    c.UseAverage = average;
    base.SetUSDConstraints(&c);
}

// The values IsValid(x, y) lets through for points (x[i], y[i]), after a Reset.
std::vector<float> PassY(USDBase& base, const std::vector<float>& xs,
                         const std::vector<float>& ys) {
    std::vector<float> out;
    base.Reset();
    for (size_t i = 0; i < xs.size(); ++i) {
        float x = xs[i], y = ys[i];
        if (base.IsValid(x, y)) {
            EXPECT_EQ(x, xs[i]) << "x must stay as it is";
            out.push_back(y);
        }
    }
    return out;
}

TEST(USDBase, BoundsAllowARelativeToleranceOfOneInHundredThousand) {
    USDBase base;
    EXPECT_EQ(base.GetNumCol(1234, 4000.0, -1.5), 1234);  // no constraints: every point
    Constrain(base, {1000.01f}, {2000.0f}, 0);
    for (auto [x, kept] : {std::pair{1000.005f, true}, std::pair{999.0f, false},
                           std::pair{2000.015f, true}, std::pair{2001.0f, false}}) {
        float value = x;
        EXPECT_EQ(base.IsValid(value), kept) << x;
    }
    Constrain(base, {1000.0f}, {1001.0f}, 0);
    EXPECT_EQ(base.GetNumCol(5, 999.0, 0.5), 3);  // 1000, 1000.5, 1001
}

TEST(USDBase, AveragingEmitsEveryFullGroupAndDropsTheRest) {
    USDBase base;
    Constrain(base, {0.0f}, {100.0f}, 3);
    const std::vector<float> xs = {1, 2, 3, 4, 5, 6, 7};
    // Averages of points 1-3 and 4-6; point 7 starts a group that never completes.
    EXPECT_EQ(PassY(base, xs, {1, 2, 6, 10, 20, 30, 99}), (std::vector<float>{3, 20}));
    EXPECT_EQ(base.GetNumCol(7, 1.0, 1.0), 2);
    // The x overload averages x itself.
    base.Reset();
    std::vector<float> averagedX;
    for (float x : xs) {
        if (base.IsValid(x))
            averagedX.push_back(x);
    }
    EXPECT_EQ(averagedX, (std::vector<float>{2, 5}));
}

TEST(USDBase, APointOpeningALaterIntervalFlushesTheGroupAndStartsTheNext) {
    USDBase base;
    Constrain(base, {0.0f, 10.0f}, {5.0f, 20.0f}, 3);
    // Points 1-2 in interval 0, points 3-6 in interval 1.
    const std::vector<float> xs = {1, 2, 11, 12, 13, 14};
    const std::vector<float> ys = {3, 6, 9, 30, 60, 99};
    EXPECT_EQ(PassY(base, xs, ys), (std::vector<float>{(3 + 6 + 9) / 3.0f, (9 + 30 + 60) / 3.0f}));
    // A spectrum starting in a later interval emits its first point alone at once.
    EXPECT_EQ(PassY(base, {11, 12}, {7, 8}), (std::vector<float>{7}));
    // Stepping back to an earlier interval passes the point through unaveraged.
    EXPECT_EQ(PassY(base, {11, 1}, {7, 5}), (std::vector<float>{7, 5}));
}

TEST(USDBase, OverlappingIntervalsGoToTheFirstInArrayOrder) {
    USDBase base;
    Constrain(base, {0.0f, 5.0f}, {10.0f, 20.0f}, 2);
    // 6 and 7 lie in both and form one group of interval 0; 15 opens interval 1 alone and
    // is counted again in the group it starts.
    EXPECT_EQ(PassY(base, {6, 7, 15, 16}, {1, 3, 10, 20}), (std::vector<float>{2, 10, 15}));
}

TEST(USDBase, RecordsAndTheirTextFormRoundTripAndBadTextsFail) {
    USDBase base;
    Constrain(base, {400.5f, 1e-7f}, {900.25f, 3.4e38f}, 3);
    base.SetIncludeAllObservations(false);  // both flags come from IncludeAll
    base.SetIncludeXAsAnObservation(true);
    USDConstraints in;
    in.IncludeXStartPt = new float[3];  // the record's old arrays are released
    ASSERT_EQ(base.GetUSDConstraints(&in), &in);
    std::string text;
    ASSERT_TRUE(USDBase::GetStringFromUSDConstraints(&in, text));
    FreeUSDConstraints(&in);
    USDConstraints out;
    ASSERT_TRUE(USDBase::GetUSDConstraintsFromString(text, &out));
    EXPECT_FALSE(out.IncludeOrdinalValues);
    EXPECT_FALSE(out.IncludeAllValues);
    EXPECT_EQ(out.NumberOfIncludedIntervals, 2);
    EXPECT_EQ(out.UseAverage, 3);
    EXPECT_EQ(std::vector<float>(out.IncludeXStartPt, out.IncludeXStartPt + 2),
              (std::vector<float>{400.5f, 1e-7f}));
    EXPECT_EQ(std::vector<float>(out.IncludeXEndPt, out.IncludeXEndPt + 2),
              (std::vector<float>{900.25f, 3.4e38f}));

    // A count that disagrees with the lists fails after the flags and the count were
    // already stored; the arrays stay.
    std::string mismatched = text;
    const std::string count = "<NumberOfIncludedIntervals>2<";
    mismatched.replace(mismatched.find(count), count.size(), "<NumberOfIncludedIntervals>3<");
    out.IncludeAllValues = true;
    float* const arrays = out.IncludeXStartPt;
    EXPECT_FALSE(USDBase::GetUSDConstraintsFromString(mismatched, &out));
    EXPECT_FALSE(out.IncludeAllValues);
    EXPECT_EQ(out.NumberOfIncludedIntervals, 3);
    EXPECT_EQ(out.IncludeXStartPt, arrays);
    std::string missing = text;
    missing.erase(missing.find("<UseAverage>"), std::string("<UseAverage>3</UseAverage>").size());
    EXPECT_FALSE(USDBase::GetUSDConstraintsFromString(missing, &out));
    EXPECT_FALSE(USDBase::GetUSDConstraintsFromString(
        "<Configuration><Other><UseAverage>1</UseAverage></Other></Configuration>", &out));
    FreeUSDConstraints(&out);
}

// A sink that counts the runs of numbers it is handed at once.
class RunCountingSink : public zmtest::RecordingSink {
  public:
    using RecordingSink::SetNumbersAcross;
    void SetNumbersAcross(int col, int row, const float* values, size_t count) override {
        ++runs;
        RecordingSink::SetNumbersAcross(col, row, values, count);
    }
    int runs = 0;
};

TEST(SpectrumSheet, WritesKeptPointsAsRunsAndValuesThatAreNotFiniteOneByOne) {
    USDBase pairs;
    Constrain(pairs, {2}, {5}, 2);
    const std::vector<float> x = {1, 2, 3, 4, 5, 6}, y = {9, 1, 3, 5, 7, 9};
    RunCountingSink sink;
    SpectrumSheet sheet(&sink, pairs, 2, 4);
    sheet.SetPoints(x.data(), x.size());
    sheet.SetNameRows({"ID", "Name"}, "x");
    sheet.BeginRow(3);
    // Two chunks: a group of averaged points spans them.
    sheet.AddPoints(y.data(), 3);
    sheet.AddPoints(y.data() + 3, 3);
    EXPECT_EQ(sink.Text(3, 1) + sink.Text(4, 1) + sink.Text(2, 2), "t 2.5t 4.5x");
    EXPECT_EQ(std::vector<double>({sink.Number(3, 2), sink.Number(4, 2), sink.Number(1, 3),
                                   sink.Number(3, 3), sink.Number(4, 3)}),
              std::vector<double>({2.5, 4.5, 2, 2, 6}));
    EXPECT_EQ(sink.runs, 3);

    USDBase all;
    const double z[] = {1, NAN, INFINITY, 4};
    for (bool skipNaN : {false, true}) {
        SpectrumSheet plain(&sink, all, 1, 5, skipNaN);
        plain.BeginRow(7);
        plain.AddPoints(z, 4);
        EXPECT_EQ(sink.Has(3, 7), !skipNaN);
        EXPECT_TRUE(std::isinf(sink.Number(4, 7)) && sink.Number(5, 7) == 4);
        EXPECT_EQ(sink.At(5, 7).via, 'd');
        sink.cells.clear();
    }
}

}  // namespace
