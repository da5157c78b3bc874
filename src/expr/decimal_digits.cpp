#include "expr/decimal_digits.h"

#include <charconv>
#include <cstdint>
#include <cmath>

namespace quillet {

TDecimalDigits ExactDecimalDigits(double Value) {
  TDecimalDigits d;
  if (Value == 0 || !std::isfinite(Value)) return d;
  char buf[96];
  const auto r = std::to_chars(buf, buf + sizeof buf, std::fabs(Value), std::chars_format::scientific, 39);
  if (r.ec != std::errc()) return d;
  // "d.ddd...de+XX": one digit, a point, 39 digits, the exponent.
  std::string_view text(buf, static_cast<size_t>(r.ptr - buf));
  const size_t e = text.find('e');
  if (e == std::string_view::npos || e < 3) return d;
  d.Digits.assign(1, text[0]);
  d.Digits.append(text.substr(2, e - 2));
  const char* p = text.data() + e + 1;
  if (*p == '+') ++p;
  int exp = 0;
  std::from_chars(p, text.data() + text.size(), exp);
  d.Exponent = exp;
  d.Negative = Value < 0;
  return d;
}

bool IsZero(const TDecimalDigits& D) { return D.Digits.empty() || D.Digits[0] == '0'; }

namespace {
void SetZero(TDecimalDigits& D) {
  D.Negative = false;
  D.Digits = "0";
  D.Exponent = 0;
}
}  // namespace

void RoundToSignificant(TDecimalDigits& D, int Count) {
  if (Count < 1) Count = 1;
  if (D.Digits.size() <= static_cast<size_t>(Count)) return;
  const bool up = D.Digits[static_cast<size_t>(Count)] >= '5';
  D.Digits.resize(static_cast<size_t>(Count));
  if (!up) return;
  int k = Count - 1;
  while (k >= 0 && D.Digits[static_cast<size_t>(k)] == '9') D.Digits[static_cast<size_t>(k--)] = '0';
  if (k < 0) {
    // 999 -> 1000: one more integer digit, same digit count.
    D.Digits.insert(D.Digits.begin(), '1');
    D.Digits.pop_back();
    ++D.Exponent;
  } else {
    ++D.Digits[static_cast<size_t>(k)];
  }
}

void RoundToDecimals(TDecimalDigits& D, int Decimals) {
  if (IsZero(D)) {
    SetZero(D);
    return;
  }
  const long keep = static_cast<long>(D.Exponent) + 1 + Decimals;
  if (keep >= static_cast<long>(D.Digits.size())) return;
  if (keep < 0) {
    SetZero(D);
  } else if (keep == 0) {
    // The first digit sits just below the last kept decimal place.
    if (D.Digits[0] >= '5') {
      D.Digits = "1";
      ++D.Exponent;
    } else {
      SetZero(D);
    }
  } else {
    RoundToSignificant(D, static_cast<int>(keep));
  }
}

TDecimalDigits RoundedDecimalDigits(double Value, int Decimals) {
  static constexpr double kPow10[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};
  const double a = std::fabs(Value);
  if (std::isfinite(Value) && Decimals >= 0 && Decimals <= 9 && a < 1e15 / kPow10[Decimals]) {
    // One multiplication errs by at most half an ulp of the product. Away from a tie by more
    // than an ulp, rounding the product and rounding the exact value give the same integer.
    const double scaled = a * kPow10[Decimals];
    const double whole = std::floor(scaled);
    const double frac = scaled - whole;
    if (std::fabs(frac - 0.5) > scaled * 0x1p-50 + 0x1p-60) {
      const uint64_t r = static_cast<uint64_t>(whole) + (frac > 0.5 ? 1 : 0);
      TDecimalDigits d;
      if (r == 0) return d;  // a value that rounds to zero loses its sign
      char buf[24];
      const auto res = std::to_chars(buf, buf + sizeof buf, r);
      d.Digits.assign(buf, res.ptr);
      d.Exponent = static_cast<int>(d.Digits.size()) - 1 - Decimals;
      d.Negative = Value < 0;
      return d;
    }
  }
  TDecimalDigits d = ExactDecimalDigits(Value);
  RoundToDecimals(d, Decimals);
  return d;
}

void StripTrailingZeros(TDecimalDigits& D) {
  while (D.Digits.size() > 1 && D.Digits.back() == '0') D.Digits.pop_back();
}

std::string FixedNotation(const TDecimalDigits& D, int Decimals, std::string_view DecimalSep,
                          std::string_view ThousandSep) {
  const bool zero = IsZero(D);
  auto digitAt = [&](long Index) -> char {  // Index 0 is the digit at 10^Exponent
    if (zero || Index < 0 || Index >= static_cast<long>(D.Digits.size())) return '0';
    return D.Digits[static_cast<size_t>(Index)];
  };
  std::string intDigits;
  if (!zero && D.Exponent >= 0) {
    intDigits.reserve(static_cast<size_t>(D.Exponent) + 1);
    for (long k = 0; k <= D.Exponent; ++k) intDigits.push_back(digitAt(k));
  } else {
    intDigits = "0";
  }
  std::string out;
  if (D.Negative && !zero) out.push_back('-');
  if (ThousandSep.empty()) {
    out += intDigits;
  } else {
    const size_t n = intDigits.size();
    for (size_t i = 0; i < n; ++i) {
      if (i > 0 && (n - i) % 3 == 0) out.append(ThousandSep);
      out.push_back(intDigits[i]);
    }
  }
  if (Decimals > 0) {
    out.append(DecimalSep);
    const long first = zero ? 0 : static_cast<long>(D.Exponent) + 1;  // index of 10^-1
    for (long k = 0; k < Decimals; ++k) out.push_back(digitAt(first + k));
  }
  return out;
}

std::string GeneralNotation(double Value, int Precision, std::string_view DecimalSep) {
  TDecimalDigits d = ExactDecimalDigits(Value);
  RoundToSignificant(d, Precision);
  StripTrailingZeros(d);
  if (IsZero(d)) return "0";
  if (d.Exponent < -5 || d.Exponent >= Precision) {
    std::string out;
    if (d.Negative) out.push_back('-');
    out.push_back(d.Digits[0]);
    if (d.Digits.size() > 1) {
      out.append(DecimalSep);
      out.append(d.Digits, 1, std::string::npos);
    }
    out.push_back('E');
    char buf[16];
    const auto r = std::to_chars(buf, buf + sizeof buf, d.Exponent);
    out.append(buf, r.ptr);
    return out;
  }
  const long decimals = static_cast<long>(d.Digits.size()) - 1 - d.Exponent;
  return FixedNotation(d, decimals > 0 ? static_cast<int>(decimals) : 0, DecimalSep, "");
}

}  // namespace quillet
