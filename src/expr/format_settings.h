// The one set of formatting conventions behind FORMAT, FORMATDATETIME and the engine's date
// patterns. The application may change it before running reports; nothing in the library
// changes it.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace quillet {

struct TFormatSettings {
  std::string DecimalSeparator = ".";
  std::string ThousandSeparator = ",";
  std::string CurrencyString = "";
  // Where %m puts CurrencyString: 0 "$1", 1 "1$", 2 "$ 1", 3 "1 $". A minus sign goes in front.
  uint8_t CurrencyFormat = 0;
  int CurrencyDecimals = 2;  // default precision of %m
  std::string ShortDateFormat = "dd.mm.yyyy";
  std::string LongDateFormat = "dddd, d mmmm yyyy";
  std::string ShortTimeFormat = "hh:nn";
  std::string LongTimeFormat = "hh:nn:ss";
  std::string TimeAMString = "AM";
  std::string TimePMString = "PM";
  std::array<std::string, 12> ShortMonthNames{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::array<std::string, 12> LongMonthNames{"January", "February", "March",     "April",   "May",      "June",
                                             "July",    "August",   "September", "October", "November", "December"};
  // Index 0 is Sunday.
  std::array<std::string, 7> ShortDayNames{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  std::array<std::string, 7> LongDayNames{"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
};

TFormatSettings& FormatSettings();

}  // namespace quillet
