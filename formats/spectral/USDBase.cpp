// X-range constraints of the spectral readers: interval test, averaging and text form.
#include "formats/spectral/USDBase.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <exception>
#include <vector>

#include "framework/OptionsRecord.h"
#include "platform/Settings.h"

namespace {

constexpr const char* kSection = "Settings";
constexpr double kBoundTolerance = 1e-5;

// A bound counts as met when x lies within a relative 1e-5 of it; the quotient is taken in
// float, as the x values themselves are floats.
bool NearBound(float bound, float x) {
    const float relative = std::fabs((bound - x) / x);
    return relative < kBoundTolerance;
}

std::unique_ptr<float[]> CopyArray(const float* from, int32_t n) {
    std::unique_ptr<float[]> to(new float[static_cast<size_t>(n)]);
    for (int32_t i = 0; i < n; ++i)
        to[static_cast<size_t>(i)] = from[i];
    return to;
}

float* NewArray(const float* from, int32_t n) {
    return n > 0 && from != nullptr ? CopyArray(from, n).release() : nullptr;
}

bool ParseFloats(const std::vector<std::string>& items, std::vector<float>& out) {
    out.clear();
    for (const std::string& item : items) {
        float value = 0;
        const char* end = item.data() + item.size();
        const auto r = std::from_chars(item.data(), end, value);
        if (r.ec != std::errc() || r.ptr != end)
            return false;
        out.push_back(value);
    }
    return true;
}

std::vector<std::string> FormatFloats(const float* values, int32_t n) {
    std::vector<std::string> items;
    for (int32_t i = 0; values != nullptr && i < n; ++i) {
        char buffer[32];
        const auto r = std::to_chars(buffer, buffer + sizeof buffer, values[i]);
        items.emplace_back(buffer, r.ptr);
    }
    return items;
}

void Increment(int32_t& count) {
    if (count < INT32_MAX)
        ++count;
}

}  // namespace

void FreeUSDConstraints(USDConstraints* constraints) {
    if (constraints == nullptr)
        return;
    delete[] constraints->IncludeXStartPt;
    delete[] constraints->IncludeXEndPt;
    constraints->IncludeXStartPt = nullptr;
    constraints->IncludeXEndPt = nullptr;
}

USDBase::~USDBase() = default;

int USDBase::GetDefaults(float*, float*, int) {
    return 0;
}

int USDBase::FindInterval(float x) const {
    if (KeepsEveryPoint())
        return kKeepAll;
    if (numberOfIncludedIntervals < 1)
        return kRejected;
    for (int32_t i = 0; i < numberOfIncludedIntervals; ++i) {
        const float start = startPoints[static_cast<size_t>(i)];
        const float end = endPoints[static_cast<size_t>(i)];
        const bool lower = x >= start || NearBound(start, x);
        const bool upper = end >= x || NearBound(end, x);
        if (lower && upper)
            return i;
    }
    return kRejected;
}

bool USDBase::Average(int interval, float& value, Group& group) {
    Increment(group.count);
    if (interval < previousInterval) {
        // A step back to an earlier interval passes the point through untouched.
        previousInterval = interval;
        return true;
    }
    if (interval > previousInterval) {
        // The point opening a later interval ends the running group, taking part in it,
        // and is counted again as the first member of the next group.
        const float opening = value;
        value = (opening + group.sum) / static_cast<float>(group.count);
        group = {opening, 1};
        previousInterval = interval;
        return true;
    }
    if (group.count != useAverage) {
        group.sum += value;
        return false;
    }
    value = (group.sum + value) / static_cast<float>(useAverage);
    group = {};
    return true;
}

bool USDBase::Keep(float x, float& value, Group& group) {
    const int interval = FindInterval(x);
    if (interval == kKeepAll)
        return true;
    if (interval == kRejected)
        return false;
    if (useAverage < 2)
        return true;
    return Average(interval, value, group);
}

bool USDBase::IsValid(float& x) {
    return Keep(x, x, xGroup);
}

bool USDBase::IsValid(float& x, float& y) {
    return Keep(x, y, yGroup);
}

long long USDBase::CountKept(const float* x, size_t count) {
    Reset();
    long long kept = 0;
    for (size_t i = 0; i < count; ++i) {
        float point = x[i];
        kept += IsValid(point) ? 1 : 0;
    }
    return kept;
}

void USDBase::Reset() {
    xGroup = {};
    yGroup = {};
    previousInterval = 0;
}

int USDBase::GetNumCol(int n, double first, double step) {
    Reset();
    if (KeepsEveryPoint())
        return n > 0 ? n : 0;  // every point passes: no need to walk them
    int kept = 0;
    for (int i = 0; i < n; ++i) {
        const double position = first + static_cast<double>(i) * step;
        // Out-of-range doubles become infinities explicitly rather than by conversion.
        float x = position > 3.4e38    ? INFINITY
                  : position < -3.4e38 ? -INFINITY
                                       : static_cast<float>(position);
        if (IsValid(x))
            ++kept;
    }
    return kept;
}

USDConstraints* USDBase::GetUSDConstraints(USDConstraints* constraints) {
    if (constraints == nullptr)
        return nullptr;
    FreeUSDConstraints(constraints);
    // Both flags carry IncludeAllValues; hosts rely on that reading of the record.
    constraints->IncludeOrdinalValues = includeAllValues;
    constraints->IncludeAllValues = includeAllValues;
    constraints->NumberOfIncludedIntervals = numberOfIncludedIntervals;
    constraints->UseAverage = useAverage;
    constraints->IncludeXStartPt = NewArray(startPoints.get(), numberOfIncludedIntervals);
    constraints->IncludeXEndPt = NewArray(endPoints.get(), numberOfIncludedIntervals);
    return constraints;
}

void USDBase::SetUSDConstraints(const USDConstraints* constraints) {
    if (constraints == nullptr)
        return;
    includeOrdinalValues = constraints->IncludeOrdinalValues;
    includeAllValues = constraints->IncludeAllValues;
    numberOfIncludedIntervals = constraints->NumberOfIncludedIntervals;
    useAverage = constraints->UseAverage;
    startPoints.reset();
    endPoints.reset();
    if (numberOfIncludedIntervals < 1)
        return;
    if (constraints->IncludeXStartPt == nullptr || constraints->IncludeXEndPt == nullptr) {
        // Without both arrays there are no intervals to copy.
        return;
    }
    startPoints = CopyArray(constraints->IncludeXStartPt, numberOfIncludedIntervals);
    endPoints = CopyArray(constraints->IncludeXEndPt, numberOfIncludedIntervals);
}

bool USDBase::GetUSDConstraintsFromString(const std::string& text, USDConstraints* constraints) {
    if (constraints == nullptr)
        return false;
    std::unique_ptr<zm::SettingsDocument> document;
    try {
        document = zm::SettingsDocument::Parse(text);
    } catch (const std::exception&) {
        return false;
    }
    return GetUSDConstraintsFromDocument(*document, constraints);
}

bool USDBase::GetUSDConstraintsFromDocument(const zm::SettingsDocument& document,
                                            USDConstraints* constraints) {
    if (constraints == nullptr)
        return false;
    const auto ordinal = document.GetBool(kSection, "IncludeOrdinalValues");
    if (!ordinal)
        return false;
    constraints->IncludeOrdinalValues = *ordinal;
    const auto all = document.GetBool(kSection, "IncludeAllValues");
    if (!all)
        return false;
    constraints->IncludeAllValues = *all;
    const auto count = document.GetInt(kSection, "NumberOfIncludedIntervals");
    if (!count || *count < INT32_MIN || *count > INT32_MAX)
        return false;
    constraints->NumberOfIncludedIntervals = static_cast<int32_t>(*count);
    const auto average = document.GetInt(kSection, "UseAverage");
    if (!average || *average < INT32_MIN || *average > INT32_MAX)
        return false;
    constraints->UseAverage = static_cast<int32_t>(*average);

    const auto startItems = document.GetList(kSection, "IncludeXStartPt");
    const auto endItems = document.GetList(kSection, "IncludeXEndPt");
    const auto expected = static_cast<size_t>(*count < 0 ? SIZE_MAX : *count);
    if (!startItems || !endItems || startItems->size() != expected || endItems->size() != expected)
        return false;
    std::vector<float> starts, ends;
    if (!ParseFloats(*startItems, starts) || !ParseFloats(*endItems, ends))
        return false;
    std::unique_ptr<float[]> newStart = CopyArray(starts.data(), static_cast<int32_t>(*count));
    std::unique_ptr<float[]> newEnd = CopyArray(ends.data(), static_cast<int32_t>(*count));
    FreeUSDConstraints(constraints);
    constraints->IncludeXStartPt = newStart.release();
    constraints->IncludeXEndPt = newEnd.release();
    return true;
}

bool USDBase::GetStringFromUSDConstraints(const USDConstraints* constraints, std::string& text) {
    if (constraints == nullptr)
        return false;
    zm::SettingsDocument document;
    SetUSDConstraintsInDocument(constraints, document);
    text = document.ToXml();
    return true;
}

void USDBase::SetUSDConstraintsInDocument(const USDConstraints* constraints,
                                          zm::SettingsDocument& document) {
    document.SetBool(kSection, "IncludeOrdinalValues", constraints->IncludeOrdinalValues);
    document.SetBool(kSection, "IncludeAllValues", constraints->IncludeAllValues);
    document.SetInt(kSection, "NumberOfIncludedIntervals", constraints->NumberOfIncludedIntervals);
    document.SetInt(kSection, "UseAverage", constraints->UseAverage);
    document.SetList(
        kSection, "IncludeXStartPt",
        FormatFloats(constraints->IncludeXStartPt, constraints->NumberOfIncludedIntervals));
    document.SetList(
        kSection, "IncludeXEndPt",
        FormatFloats(constraints->IncludeXEndPt, constraints->NumberOfIncludedIntervals));
}

void USDBase::SetSingleInterval(USDConstraints* constraints, float low, float high) {
    FreeUSDConstraints(constraints);
    constraints->IncludeOrdinalValues = true;
    constraints->IncludeAllValues = true;
    constraints->NumberOfIncludedIntervals = 1;
    constraints->UseAverage = 0;
    constraints->IncludeXStartPt = new float[1]{low};
    constraints->IncludeXEndPt = new float[1]{high};
}

bool USDBase::ApplyOptions(ZmImportOpenOptions* options, USDConstraints* defaults) {
    bool applied = false;
    try {
        std::unique_ptr<zm::SettingsDocument> document;
        switch (zm::DecodeOptions(options, document)) {
            case zm::OptionsDecode::kMalformed:
                break;
            case zm::OptionsDecode::kDecoded:
                applied = GetUSDConstraintsFromDocument(*document, defaults);
                break;
            case zm::OptionsDecode::kNoOptions:
                if (options != nullptr) {
                    zm::SettingsDocument offered;
                    SetUSDConstraintsInDocument(defaults, offered);
                    zm::StoreOptions(options, offered);
                }
                applied = true;
                break;
        }
        if (applied)
            SetUSDConstraints(defaults);
    } catch (...) {
        // The settings layer failing on the text is an error in the options.
        applied = false;
    }
    FreeUSDConstraints(defaults);
    return applied;
}
