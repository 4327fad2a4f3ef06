// X-range constraints of the spectral readers: which x points are kept, and how runs of
// kept points are averaged into one column.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "framework/ZmImportTypes.h"
#include "platform/ZmExport.h"

namespace zm {
class SettingsDocument;
}

// The exchange record of the constraints. The caller owns it and both arrays; arrays
// handed out by the library are allocated with new[] (FreeUSDConstraints releases them).
struct ZMIMPORT_API USDConstraints {
    bool IncludeOrdinalValues = true;  // keep the x axis as an extra row of x values
    bool IncludeAllValues = true;      // no range filtering: every point is kept
    float* IncludeXStartPt = nullptr;  // lower bound of each included interval
    float* IncludeXEndPt = nullptr;    // upper bound of each included interval
    int32_t NumberOfIncludedIntervals = 0;
    int32_t UseAverage = 0;  // points averaged into one value; below 2: no averaging
};

// Releases both arrays of a record and sets them to null.
ZMIMPORT_API void FreeUSDConstraints(USDConstraints* constraints);

// Mix-in of the spectral readers. Holds the x intervals and the averaging width and
// answers, point by point, whether an x is kept and which value goes into the sheet.
// A point falls into the first interval (in array order) whose bounds it meets, with a
// relative tolerance of 1e-5 on each bound. With averaging, every UseAverage points of one
// interval give one value; a point that opens a later interval flushes the running group
// together with itself and then starts the next group, and an incomplete group at the end
// of a spectrum is dropped.
class ZMIMPORT_API USDBase {
  public:
    USDBase() = default;
    virtual ~USDBase();
    USDBase(const USDBase&) = delete;
    USDBase& operator=(const USDBase&) = delete;

    // Default intervals of a reader: fills up to n entries and returns their number.
    virtual int GetDefaults(float* start, float* end, int n);

    // Tests x; with averaging, x becomes the group's average and the answer is true only
    // when a group is complete.
    bool IsValid(float& x);
    // Tests x, but averages y (with a second accumulator); x is left as it is.
    bool IsValid(float& x, float& y);
    // True when IsValid lets every point through unchanged (no interval test, no
    // averaging): a reader may then skip the test point by point. With the range
    // filter on, no interval at all keeps nothing; intervals counted but not given keep
    // everything.
    bool KeepsEveryPoint() const {
        return includeAllValues || (numberOfIncludedIntervals >= 1 && (!startPoints || !endPoints));
    }
    // Clears both accumulators and the previous point's interval: call before each spectrum.
    void Reset();
    // The number of values IsValid(float&) lets through for x = first + i * step,
    // i = 0 .. n-1 (each x rounded to float). Leaves the accumulators as the last point did.
    int GetNumCol(int n, double first, double step);

    // Fills the record with newly allocated arrays (the record's old ones are freed first).
    // Both booleans of the record receive IncludeAllValues.
    USDConstraints* GetUSDConstraints(USDConstraints* constraints);
    // Copies all six fields in; with fewer than one interval the arrays stay null.
    void SetUSDConstraints(const USDConstraints* constraints);

    // The text form: a settings document with the six keys in section "Settings".
    // Reading stores the fields one by one as it goes, so a failure leaves the fields read
    // before the failing key changed; the arrays are replaced only on success.
    static bool GetUSDConstraintsFromString(const std::string& text, USDConstraints* constraints);
    static bool GetUSDConstraintsFromDocument(const zm::SettingsDocument& document,
                                              USDConstraints* constraints);
    static bool GetStringFromUSDConstraints(const USDConstraints* constraints, std::string& text);
    static void SetUSDConstraintsInDocument(const USDConstraints* constraints,
                                            zm::SettingsDocument& document);
    // Makes the record everything kept, no averaging and one interval from low to high.
    static void SetSingleInterval(USDConstraints* constraints, float low, float high);

    // Reads the constraints of an options record over `defaults`, writes them into an
    // empty record (size 0; the new bytes belong to the host, a record holding bytes is
    // left as it is) and puts them in force. False, nothing put in force, when the record
    // holds no constraints document. Releases the arrays of `defaults`.
    bool ApplyOptions(ZmImportOpenOptions* options, USDConstraints* defaults);
    // The number of the x values that IsValid lets through, from a fresh start.
    long long CountKept(const float* x, size_t count);

    bool IncludeXAsAnObservation() const { return includeOrdinalValues; }
    void SetIncludeXAsAnObservation(bool include) { includeOrdinalValues = include; }
    bool IncludeAllObservations() const { return includeAllValues; }
    void SetIncludeAllObservations(bool include) { includeAllValues = include; }

  private:
    // Outcome of the interval test: every point kept without averaging, rejected, or the
    // 0-based interval the point falls into.
    static constexpr int kKeepAll = -1;
    static constexpr int kRejected = -2;
    int FindInterval(float x) const;
    // The running group of an averaged value.
    struct Group {
        float sum = 0;
        int32_t count = 0;
    };
    // The averaging step for a point of `interval`; `value` becomes the output value.
    bool Average(int interval, float& value, Group& group);
    // The interval test of x, then the averaging step on `value` in its group.
    bool Keep(float x, float& value, Group& group);

    bool includeOrdinalValues = true;
    bool includeAllValues = true;
    std::unique_ptr<float[]> startPoints;
    std::unique_ptr<float[]> endPoints;
    int32_t numberOfIncludedIntervals = 0;
    int32_t useAverage = 0;
    Group xGroup;
    Group yGroup;
    int32_t previousInterval = 0;
};
