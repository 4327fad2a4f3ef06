// Spreadsheet serial numbers as date and time texts, in the 1900 or the 1904 date system.
#pragma once

#include <string>

namespace zm {

// A serial below 1.0 is a time of day, "HH:mm:ss"; anything else a date-time in the
// 1900 date system, where day 1 is 1900-01-01 and 1900 counts as a leap year (day 60 is
// the 29th of February 1900): "yyyy-MM-dd HH:mm:ss", or "yyyy-MM-dd" when the time of
// day is exactly midnight. The fraction of the day is rounded to hundredths of a second
// first. With `date1904` (workbooks written on old Macintosh systems) day 0 is 1904-01-01
// and every day is a calendar day. Serials outside 0 .. 9999-12-31 give "".
std::string SerialToDateText(double serial, bool date1904 = false);

}  // namespace zm
