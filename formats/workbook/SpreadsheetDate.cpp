// Spreadsheet serial numbers as date and time texts.
#include "formats/workbook/SpreadsheetDate.h"

#include <boost/date_time/gregorian/gregorian.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>

#include <cmath>
#include <cstdio>

namespace zm {

namespace {

constexpr long long kHundredthsPerDay = 8640000;

std::string TimeText(long long hundredths) {
    const long long seconds = hundredths / 100;
    char text[48];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60,
                  seconds % 60);
    return text;
}

std::string DateText(int year, int month, int day) {
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", year, month, day);
    return text;
}

}  // namespace

std::string SerialToDateText(double serial, bool date1904) {
    // The calendar ends with 9999-12-31: serial 2958465 in the 1900 system, 1462 days
    // fewer in the 1904 system.
    const double end = date1904 ? 2957004.0 : 2958466.0;
    if (!std::isfinite(serial) || serial < 0.0 || serial >= end)
        return std::string();
    if (serial < 1.0) {
        const double fraction = serial - std::floor(serial);
        long long hundredths = static_cast<long long>(fraction * kHundredthsPerDay + 0.5);
        return TimeText(hundredths % kHundredthsPerDay);
    }
    long long day = static_cast<long long>(std::floor(serial));
    long long hundredths =
        static_cast<long long>((serial - std::floor(serial)) * kHundredthsPerDay + 0.5);
    if (hundredths >= kHundredthsPerDay) {
        hundredths -= kHundredthsPerDay;
        ++day;
    }
    std::string date;
    if (date1904) {
        // Day 0 is 1904-01-01; the system has no fictitious day.
        const boost::gregorian::date d =
            boost::gregorian::date(1904, 1, 1) + boost::gregorian::days(day);
        date = DateText(d.year(), d.month(), d.day());
    } else if (day == 60) {
        date = DateText(1900, 2, 29);  // the day the 1900 system counts and the calendar lacks
    } else {
        // Before the fictitious day the serial counts from 1899-12-31, after it from
        // 1899-12-30.
        const boost::gregorian::date origin(1899, 12, day < 60 ? 31 : 30);
        const boost::gregorian::date d = origin + boost::gregorian::days(day);
        date = DateText(d.year(), d.month(), d.day());
    }
    return hundredths / 100 == 0 ? date : date + " " + TimeText(hundredths);
}

}  // namespace zm
