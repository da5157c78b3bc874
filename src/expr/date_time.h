// Date-times as doubles counting days since 1899-12-30 00:00 (see expr_value.h for negative
// values), their calendar parts, the date strings the expression language reads, and "now".
#pragma once

#include <string>

#include "expr/expr_value.h"

namespace quillet {

// The range of decodable date-times: 0001-01-01 00:00 to 9999-12-31 23:59:59.999.
inline constexpr double MinDateTime = -693593.0;
inline constexpr double MaxDateTime = 2958465.99999999;

struct TDateTimeParts {
  int Year = 1899, Month = 12, Day = 30;
  int Hour = 0, Minute = 0, Second = 0, Millisecond = 0;
  int DayOfWeek = 7;  // 1 = Sunday .. 7 = Saturday
};

// False when a part is out of range (month 13, 30 February, hour 24, year 0 or 10000).
bool TryEncodeDateTime(int Year, int Month, int Day, int Hour, int Minute, int Second, int Millisecond,
                       double& DateTime);
// Throws EQuilletError("Invalid argument to date encode") when a part is out of range.
double EncodeDateTime(int Year, int Month, int Day, int Hour, int Minute, int Second, int Millisecond);

// Splits a date-time into calendar parts, rounding to the millisecond. Returns false (and leaves
// the outputs untouched) for NaN, infinities and values outside MinDateTime..MaxDateTime.
bool DecodeDateTime(double DateTime, int& Year, int& Month, int& Day, int& Hour, int& Minute, int& Second,
                    int& Millisecond);
bool DecodeDateTimeParts(double DateTime, TDateTimeParts& Parts);

// Reads a date string:
//  - at least 10 characters with "-" as 5th and 8th: year from characters 1-4, month 6-7, day
//    9-10, then hour 12-13, minute 15-16 and second 18-19 as far as the string is long enough
//    ("2024-03-05", "2024-03-05 14:30", "2024-03-05T14:30:15");
//  - otherwise "dd.mm.yyyy", "dd.mm.yyyy hh:nn" or "dd.mm.yyyy hh:nn:ss" (day, month, hour,
//    minute and second with one or two digits), blanks around allowed.
// Returns false for anything else and for dates that do not exist.
bool TryStrToDateTime(const std::string& S, double& DateTime);

// The date argument of YEAR, MONTH, DAY and FORMATDATETIME: strings go through TryStrToDateTime,
// integers, floats and date-times are taken as day counts; null, empty and booleans fail.
bool TryValueToDateTime(const TExprValue& Value, double& DateTime);

// The current local date and time from the library's one clock (fixed under SOURCE_DATE_EPOCH).
double NowDateTime();

}  // namespace quillet
