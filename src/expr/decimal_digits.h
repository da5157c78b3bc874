// Decimal digits of a double for the formatters that print numbers for people (the value text
// form, STR, FORMAT). Rounding is half away from zero on the decimal digits, the way printed
// figures are expected to round: 2.5 shows as 3 with no decimals, while 1.005, whose binary value
// lies just below 1.005, shows as 1.00 with two.
#pragma once

#include <string>
#include <string_view>

namespace quillet {

struct TDecimalDigits {
  bool Negative = false;
  std::string Digits = "0";  // significant digits, the first non-zero; "0" for zero
  int Exponent = 0;          // value = Digits[0] . Digits[1..] x 10^Exponent
};

// The first 40 significant digits of the exact binary value of a finite double. Forty digits is
// far more than any double needs to be told apart from a decimal tie beside it, so rounding these
// digits gives the same result as rounding the exact value.
TDecimalDigits ExactDecimalDigits(double Value);

// Keeps Count (>= 1) significant digits, rounding half away from zero.
void RoundToSignificant(TDecimalDigits& D, int Count);
// Keeps Decimals (>= 0) digits after the decimal point, rounding half away from zero. A value
// that rounds to zero loses its sign.
void RoundToDecimals(TDecimalDigits& D, int Decimals);
void StripTrailingZeros(TDecimalDigits& D);
// ExactDecimalDigits then RoundToDecimals, without the long expansion when the value is plainly
// away from a tie at that many decimals (the everyday money amount).
TDecimalDigits RoundedDecimalDigits(double Value, int Decimals);
bool IsZero(const TDecimalDigits& D);

// Fixed notation with exactly Decimals digits after DecimalSep (none and no separator when
// Decimals is 0). The integer digits are grouped by three with ThousandSep when it is not empty.
// Digits beyond those held in D are zeros. The sign is written for negative non-zero values.
std::string FixedNotation(const TDecimalDigits& D, int Decimals, std::string_view DecimalSep,
                          std::string_view ThousandSep);

}  // namespace quillet

namespace quillet {

// Up to Precision significant digits without trailing zeros, fixed notation unless the rounded
// magnitude is below 1E-5 or has Precision or more integer digits; then d.dddE<exponent> with
// the exponent written plainly (1E20, 1.5E-7). Value must be finite.
std::string GeneralNotation(double Value, int Precision, std::string_view DecimalSep);

}  // namespace quillet
