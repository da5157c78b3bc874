#include "base/number_format.h"

#include <charconv>
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

std::string FormatDecimals(double Value, int MaxDecimals) {
  if (!std::isfinite(Value)) return "0";
  if (MaxDecimals < 0) MaxDecimals = 0;
  if (MaxDecimals > 17) MaxDecimals = 17;
  char buf[400];
  // to_chars in fixed form gives the correctly rounded decimal expansion (ties to even on the
  // binary value); that is what a reader of the number expects.
  auto r = std::to_chars(buf, buf + sizeof buf, Value, std::chars_format::fixed, MaxDecimals);
  if (r.ec != std::errc()) return "0";
  std::string s(buf, r.ptr);
  if (s.find('.') != std::string::npos) {
    while (!s.empty() && s.back() == '0') s.pop_back();
    if (!s.empty() && s.back() == '.') s.pop_back();
  }
  if (s == "-0") return "0";
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
