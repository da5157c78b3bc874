#include "base/number_format.h"

#include <charconv>
#include <cstdint>
#include <cmath>
#include <cstdlib>
#include <string_view>

namespace quillet {

namespace {

template <typename T>
std::string Shortest(T Value) {
  if (!std::isfinite(Value)) return "0";
  if (Value == 0) return "0";
  // Whole values in the exactly representable range are written as integers.
  if (std::fabs(Value) < 1e15 && std::trunc(Value) == Value) {
    char buf[32];
    auto r = std::to_chars(buf, buf + sizeof buf, static_cast<long long>(Value));
    return std::string(buf, r.ptr);
  }
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, Value);
  return std::string(buf, r.ptr);
}

}  // namespace

std::string FloatToShortest(float Value) { return Shortest(Value); }
std::string DoubleToShortest(double Value) { return Shortest(Value); }

void detail::AppendDecimalsBy15Digits(std::string& Out, double Value, int MaxDecimals) {
  if (!std::isfinite(Value) || Value == 0) {
    Out += '0';
    return;
  }
  if (MaxDecimals < 0) MaxDecimals = 0;
  if (MaxDecimals > 15) MaxDecimals = 15;
  // Round the 15-significant-digit decimal form half away from zero, as a desktop number
  // formatter does: 2.675 gives 2.68 and 0.0625 gives 0.063, although the binary values lie
  // just below or exactly on the half.
  constexpr int kDigits = 15;
  char buf[40];
  auto r = std::to_chars(buf, buf + sizeof buf, std::fabs(Value), std::chars_format::scientific, kDigits - 1);
  if (r.ec != std::errc()) {
    Out += '0';
    return;
  }
  char digits[kDigits + 1];
  digits[0] = '0';  // room for a carry out of the first digit
  int n = 0;
  const char* p = buf;
  for (; p < r.ptr && *p != 'e'; ++p)
    if (*p != '.') digits[1 + n++] = *p;
  int exp10 = 0;
  std::from_chars(p + 1 + (p[1] == '+'), r.ptr, exp10);
  // digits[1] stands for 10^exp10; keep the places down to 10^-MaxDecimals.
  int keep = exp10 + MaxDecimals + 1;
  if (keep < 0) {
    Out += '0';
    return;
  }
  if (keep < n) {
    const bool up = digits[1 + keep] >= '5';
    n = keep;
    if (up) {
      int i = n;
      while (i >= 1 && digits[i] == '9') digits[i--] = '0';
      if (i >= 1) {
        ++digits[i];
      } else {
        digits[0] = '1';  // carry: one more leading digit
      }
    }
  }
  const char* d = digits + 1;
  if (digits[0] == '1') {
    d = digits;
    ++n;
    ++exp10;
  }
  // Drop trailing zero digits below the units place.
  while (n > 0 && d[n - 1] == '0' && exp10 - (n - 1) < 0) --n;
  if (n == 0 || (n == 1 && d[0] == '0')) {
    Out += '0';
    return;
  }
  if (Value < 0) Out += '-';
  if (exp10 < 0) {
    Out += "0.";
    Out.append(static_cast<size_t>(-exp10 - 1), '0');
    Out.append(d, static_cast<size_t>(n));
    return;
  }
  for (int place = exp10, i = 0; place >= 0; --place, ++i) Out += i < n ? d[i] : '0';
  if (n > exp10 + 1) {
    Out += '.';
    Out.append(d + exp10 + 1, static_cast<size_t>(n - exp10 - 1));
  }
}

void AppendDecimals(std::string& Out, double Value, int MaxDecimals) {
  // Fast path for the everyday page coordinate: scale, round half away from zero and print an
  // integer. It agrees with the 15-digit rule except close to a half, where the 15-digit
  // rounding or the scaling itself could tip the result; those go the long way.
  static constexpr double kPow10[] = {1, 10, 100, 1000, 10000, 100000, 1000000};
  const double a = std::fabs(Value);
  if (MaxDecimals >= 0 && MaxDecimals <= 6 && a < 1e9) {
    const double scaled = a * kPow10[MaxDecimals];
    const double whole = std::floor(scaled);
    const double frac = scaled - whole;
    if (std::fabs(frac - 0.5) > scaled * 1e-14 + 1e-12) {
      const uint64_t r = static_cast<uint64_t>(whole) + (frac > 0.5 ? 1 : 0);
      if (r == 0) {
        Out += '0';
        return;
      }
      // The text is built in a local buffer and appended once.
      char buf[48];
      char* p = buf;
      if (Value < 0) *p++ = '-';
      const auto div = static_cast<uint64_t>(kPow10[MaxDecimals]);
      p = std::to_chars(p, buf + sizeof buf, r / div).ptr;
      uint64_t f = r % div;
      if (f != 0) {
        int digits = MaxDecimals;
        while (f % 10 == 0) {
          f /= 10;
          --digits;
        }
        *p++ = '.';
        char* end = p + digits;
        for (char* q = end; q > p;) {
          *--q = static_cast<char>('0' + f % 10);
          f /= 10;
        }
        p = end;
      }
      Out.append(buf, p);
      return;
    }
  }
  detail::AppendDecimalsBy15Digits(Out, Value, MaxDecimals);
}

std::string FormatDecimals(double Value, int MaxDecimals) {
  std::string s;
  AppendDecimals(s, Value, MaxDecimals);
  return s;
}

bool ParseDouble(std::string_view Text, double& Value) {
  size_t b = 0, e = Text.size();
  while (b < e && (Text[b] == ' ' || Text[b] == '\t')) ++b;
  while (e > b && (Text[e - 1] == ' ' || Text[e - 1] == '\t')) --e;
  if (b == e) return false;
  const char* first = Text.data() + b;
  const char* last = Text.data() + e;
  if (*first == '+') {
    ++first;
    if (first == last || *first == '-') return false;
  }
  // Only plain decimal numbers: no "inf", "nan" or hexadecimal forms.
  const char c0 = (*first == '-' && first + 1 < last) ? first[1] : *first;
  if (!((c0 >= '0' && c0 <= '9') || c0 == '.')) return false;
  double v = 0;
  auto r = std::from_chars(first, last, v);
  if (r.ec != std::errc() || r.ptr != last) return false;
  if (!std::isfinite(v)) return false;
  Value = v;
  return true;
}

}  // namespace quillet
