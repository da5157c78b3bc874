// The two formatting engines of the expression language: FORMAT (printf-like format strings
// over values) and FORMATDATETIME (date-time patterns). Both follow FormatSettings().
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "expr/expr_value.h"

namespace quillet {

// Format strings: literal text, "%%" for a percent sign, and specifiers
//   "%" [index ":"] ["-"] [width] ["." precision] type
// The index picks the argument (0-based) and later specifiers continue after it; "-" pads on the
// right instead of the left; width pads with blanks (counted in code points). Types, in either
// case:
//   d  integer; precision = minimum digits, zero-padded        %.5d of 42 -> 00042
//   u  integer read as unsigned 64-bit
//   x  integer in upper-case hexadecimal (two's complement when negative); precision as for d
//   p  integer as 16 upper-case hexadecimal digits
//   f  number, fixed; precision = decimals (default 2)        %.2f of 3.14159 -> 3.14
//   n  like f, with thousand separators                        %.2n of 1234567.5 -> 1,234,567.50
//   m  like n with CurrencyDecimals and CurrencyString placed per CurrencyFormat
//   e  number, scientific; precision = significant digits (default 15), exponent with sign and
//      at least three digits                                   %.3e of 1234 -> 1.23E+003
//   g  number, general; precision = significant digits (default 15), as the value text form
//   s  string; precision = maximum code points
// Numbers are integers, floats and date-times (integers are accepted wherever a float is) and
// round half away from zero; decimal and thousand separators come from FormatSettings().
// Returns nullopt for a missing argument, an argument of the wrong kind (%d of a float or a
// string, %f or %s of anything but a number or string respectively, any boolean, null or empty),
// an unknown type letter, a "*" or a width or precision above 1000000.
std::optional<std::string> FormatValues(const std::string& Fmt, const std::vector<TExprValue>& Args);

// Date-time patterns; letters in either case:
//   d dd        day without / with leading zero       ddd dddd   short / long day name
//   ddddd       ShortDateFormat                       dddddd     LongDateFormat
//   m mm        month without / with leading zero     mmm mmmm   short / long month name
//   yy yyyy     two-digit / four-digit year
//   h hh        hour; 12-hour when the pattern holds am/pm, a/p or ampm anywhere
//   n nn        minute; m and mm right after an h or hh token (other letters in between break
//               this, punctuation does not) are minutes too: "hh:mm"
//   s ss        second                                z zzz      millisecond (zzz three digits)
//   am/pm a/p   the letters as written for before/after noon; ampm uses TimeAMString/TimePMString
//   c           ShortDateFormat, then " " and LongTimeFormat unless the time of day is 00:00:00.000
//   t tt        ShortTimeFormat / LongTimeFormat
//   "..." '...' literal text; every other character, ":" and "/" included, stands for itself
// An empty pattern means "c". Returns "" for a date-time that cannot be decoded (see
// DecodeDateTime).
std::string FormatDateTime(const std::string& Pattern, double DateTime);

}  // namespace quillet
