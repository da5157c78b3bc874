#include "expr/formatting.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <cstdint>
#include <string_view>

#include "base/utf8.h"
#include "expr/date_time.h"
#include "expr/decimal_digits.h"
#include "expr/format_settings.h"

namespace quillet {

namespace {

constexpr long kMaxWidth = 1000000;
constexpr int kMaxFloatPrecision = 18;

bool IsDigit(char C) { return C >= '0' && C <= '9'; }
char Upper(char C) { return (C >= 'a' && C <= 'z') ? static_cast<char>(C - 32) : C; }

// Reads a run of digits; false when it exceeds kMaxWidth.
bool ReadCount(const std::string& S, size_t& Pos, long& Value) {
  long v = 0;
  while (Pos < S.size() && IsDigit(S[Pos])) {
    v = v * 10 + (S[Pos++] - '0');
    if (v > kMaxWidth) return false;
  }
  Value = v;
  return true;
}

std::string UnsignedDigits(uint64_t V, unsigned Base) {
  char buf[24];
  size_t n = 0;
  do {
    const unsigned d = static_cast<unsigned>(V % Base);
    buf[n++] = static_cast<char>(d < 10 ? '0' + d : 'A' + d - 10);
    V /= Base;
  } while (V != 0);
  return std::string(std::reverse_iterator<char*>(buf + n), std::reverse_iterator<char*>(buf));
}

void PadZeros(std::string& Digits, long MinDigits) {
  if (MinDigits > static_cast<long>(Digits.size()))
    Digits.insert(0, static_cast<size_t>(MinDigits) - Digits.size(), '0');
}

const char* NonFiniteText(double V) { return std::isnan(V) ? "NAN" : (V < 0 ? "-INF" : "INF"); }

std::string Scientific(double V, int Precision, std::string_view DecimalSep) {
  TDecimalDigits d = ExactDecimalDigits(V);
  RoundToSignificant(d, Precision);
  const bool zero = IsZero(d);
  std::string out;
  if (d.Negative && !zero) out.push_back('-');
  out.push_back(d.Digits[0]);
  if (Precision > 1) {
    out.append(DecimalSep);
    for (int k = 1; k < Precision; ++k)
      out.push_back(static_cast<size_t>(k) < d.Digits.size() ? d.Digits[static_cast<size_t>(k)] : '0');
  }
  const int exp = zero ? 0 : d.Exponent;
  out.push_back('E');
  out.push_back(exp < 0 ? '-' : '+');
  std::string e = UnsignedDigits(static_cast<uint64_t>(exp < 0 ? -exp : exp), 10);
  PadZeros(e, 3);
  out += e;
  return out;
}

std::string Currency(double V, int Decimals, const TFormatSettings& Fs) {
  TDecimalDigits d = RoundedDecimalDigits(V, Decimals);
  const bool negative = d.Negative;
  d.Negative = false;
  const std::string amount = FixedNotation(d, Decimals, Fs.DecimalSeparator, Fs.ThousandSeparator);
  std::string out = negative ? "-" : "";
  switch (Fs.CurrencyFormat) {
    case 1:
      out += amount + Fs.CurrencyString;
      break;
    case 2:
      out += Fs.CurrencyString + " " + amount;
      break;
    case 3:
      out += amount + " " + Fs.CurrencyString;
      break;
    default:
      out += Fs.CurrencyString + amount;
      break;
  }
  return out;
}

// One specifier's text, before width padding; nullopt when the argument does not fit the type.
std::optional<std::string> FormatOne(char Type, long Precision, const TExprValue& Arg, const TFormatSettings& Fs) {
  switch (Type) {
    case 'd':
    case 'u':
    case 'x':
    case 'p': {
      if (Arg.Kind() != evkInteger) return std::nullopt;
      const int64_t v = Arg.AsInt();
      const uint64_t bits = static_cast<uint64_t>(v);
      std::string digits;
      if (Type == 'd') {
        digits = UnsignedDigits(v < 0 ? 0 - bits : bits, 10);
        PadZeros(digits, Precision);
        if (v < 0) digits.insert(0, 1, '-');
      } else if (Type == 'u') {
        digits = UnsignedDigits(bits, 10);
        PadZeros(digits, Precision);
      } else if (Type == 'x') {
        digits = UnsignedDigits(bits, 16);
        PadZeros(digits, Precision);
      } else {
        digits = UnsignedDigits(bits, 16);
        PadZeros(digits, 16);
      }
      return digits;
    }
    case 'e':
    case 'f':
    case 'g':
    case 'n':
    case 'm': {
      double v;
      if (Arg.Kind() == evkInteger)
        v = static_cast<double>(Arg.AsInt());
      else if (Arg.Kind() == evkFloat || Arg.Kind() == evkDateTime)
        v = Arg.AsFloat();
      else
        return std::nullopt;
      if (!std::isfinite(v)) return std::string(NonFiniteText(v));
      if (Type == 'e' || Type == 'g') {
        int prec = Precision < 0 ? 15 : static_cast<int>(std::min<long>(Precision, kMaxFloatPrecision));
        if (prec < 1) prec = 1;
        return Type == 'e' ? Scientific(v, prec, Fs.DecimalSeparator) : GeneralNotation(v, prec, Fs.DecimalSeparator);
      }
      const long defaultPrec = Type == 'm' ? Fs.CurrencyDecimals : 2;
      int prec = static_cast<int>(std::min<long>(Precision < 0 ? defaultPrec : Precision, kMaxFloatPrecision));
      if (prec < 0) prec = 0;
      if (Type == 'm') return Currency(v, prec, Fs);
      const TDecimalDigits d = RoundedDecimalDigits(v, prec);
      return FixedNotation(d, prec, Fs.DecimalSeparator, Type == 'n' ? std::string_view(Fs.ThousandSeparator) : "");
    }
    case 's': {
      if (Arg.Kind() != evkString) return std::nullopt;
      const std::string& s = Arg.AsString();
      if (Precision < 0) return s;
      size_t pos = 0;
      for (long k = 0; k < Precision && pos < s.size(); ++k) DecodeUtf8At(s, pos);
      return s.substr(0, pos);
    }
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<std::string> FormatValues(const std::string& Fmt, const std::vector<TExprValue>& Args) {
  const TFormatSettings& fs = FormatSettings();
  std::string out;
  out.reserve(Fmt.size() + 16);
  size_t next = 0;  // the argument the next specifier without an index takes
  size_t i = 0;
  const size_t n = Fmt.size();
  while (i < n) {
    const size_t pct = Fmt.find('%', i);
    if (pct == std::string::npos) {
      out.append(Fmt, i, std::string::npos);
      break;
    }
    out.append(Fmt, i, pct - i);
    i = pct + 1;
    if (i < n && Fmt[i] == '%') {
      out.push_back('%');
      ++i;
      continue;
    }
    long first = -1;
    if (i < n && IsDigit(Fmt[i]) && !ReadCount(Fmt, i, first)) return std::nullopt;
    if (first >= 0 && i < n && Fmt[i] == ':') {
      next = static_cast<size_t>(first);
      first = -1;
      ++i;
    }
    bool leftAlign = false;
    long width = first;
    if (width < 0) {
      if (i < n && Fmt[i] == '-') {
        leftAlign = true;
        ++i;
      }
      if (i < n && IsDigit(Fmt[i]) && !ReadCount(Fmt, i, width)) return std::nullopt;
    }
    long precision = -1;
    if (i < n && Fmt[i] == '.') {
      ++i;
      precision = 0;
      if (i < n && IsDigit(Fmt[i]) && !ReadCount(Fmt, i, precision)) return std::nullopt;
    }
    if (i >= n) return std::nullopt;
    const char type = static_cast<char>(Fmt[i] >= 'A' && Fmt[i] <= 'Z' ? Fmt[i] + 32 : Fmt[i]);
    ++i;
    if (next >= Args.size()) return std::nullopt;
    std::optional<std::string> body = FormatOne(type, precision, Args[next++], fs);
    if (!body) return std::nullopt;
    const size_t len = Utf8Length(*body);
    const size_t pad = width > static_cast<long>(len) ? static_cast<size_t>(width) - len : 0;
    if (!leftAlign) out.append(pad, ' ');
    out += *body;
    if (leftAlign) out.append(pad, ' ');
  }
  return out;
}

namespace {

void AppendNumber(std::string& Out, int Value, int MinDigits) {
  std::string d = UnsignedDigits(static_cast<uint64_t>(Value < 0 ? -static_cast<int64_t>(Value) : Value), 10);
  PadZeros(d, MinDigits);
  if (Value < 0) Out.push_back('-');
  Out += d;
}

size_t RunLength(std::string_view F, size_t I) {
  const char u = Upper(F[I]);
  size_t j = I;
  while (j < F.size() && Upper(F[j]) == u) ++j;
  return j - I;
}

bool MatchesAt(std::string_view F, size_t I, std::string_view Word) {
  if (F.size() - I < Word.size()) return false;
  for (size_t k = 0; k < Word.size(); ++k)
    if (Upper(F[I + k]) != Word[k]) return false;
  return true;
}

// Whether the pattern asks for a 12-hour clock (an am/pm marker outside quotes).
bool UsesTwelveHours(std::string_view F) {
  for (size_t i = 0; i < F.size(); ++i) {
    const char c = F[i];
    if (c == '"' || c == '\'') {
      const size_t close = F.find(c, i + 1);
      if (close == std::string_view::npos) return false;
      i = close;
    } else if (MatchesAt(F, i, "AM/PM") || MatchesAt(F, i, "A/P") || MatchesAt(F, i, "AMPM")) {
      return true;
    }
  }
  return false;
}

// Level counts pattern expansions from FormatSettings (ddddd, c, t, ...); two levels are enough
// for any sane settings and stop settings that name themselves from recursing forever.
void AppendDateTime(std::string& Out, std::string_view F, const TDateTimeParts& P, int Level) {
  if (Level > 2) return;
  const TFormatSettings& fs = FormatSettings();
  const bool twelve = UsesTwelveHours(F);
  char lastToken = ' ';
  size_t i = 0;
  while (i < F.size()) {
    const char c = F[i];
    char token = Upper(c);
    if (token >= 'A' && token <= 'Z') {
      // Minutes borrow "m" right after an hour token.
      if (token == 'M' && lastToken == 'H') token = 'N';
      lastToken = token;
    }
    switch (token) {
      case '"':
      case '\'': {
        const size_t close = F.find(c, i + 1);
        if (close == std::string_view::npos) {
          Out.append(F.substr(i + 1));
          i = F.size();
        } else {
          Out.append(F.substr(i + 1, close - i - 1));
          i = close + 1;
        }
        break;
      }
      case 'Y': {
        const size_t count = RunLength(F, i);
        if (count <= 2)
          AppendNumber(Out, P.Year % 100, 2);
        else
          AppendNumber(Out, P.Year, 4);
        i += count;
        break;
      }
      case 'M': {
        const size_t count = RunLength(F, i);
        if (count == 1)
          AppendNumber(Out, P.Month, 1);
        else if (count == 2)
          AppendNumber(Out, P.Month, 2);
        else if (count == 3)
          Out += fs.ShortMonthNames[static_cast<size_t>(P.Month - 1)];
        else
          Out += fs.LongMonthNames[static_cast<size_t>(P.Month - 1)];
        i += count;
        break;
      }
      case 'D': {
        const size_t count = RunLength(F, i);
        const size_t dow = static_cast<size_t>(P.DayOfWeek - 1);
        switch (count) {
          case 1: AppendNumber(Out, P.Day, 1); break;
          case 2: AppendNumber(Out, P.Day, 2); break;
          case 3: Out += fs.ShortDayNames[dow]; break;
          case 4: Out += fs.LongDayNames[dow]; break;
          case 5: AppendDateTime(Out, fs.ShortDateFormat, P, Level + 1); break;
          default: AppendDateTime(Out, fs.LongDateFormat, P, Level + 1); break;
        }
        i += count;
        break;
      }
      case 'H': {
        const size_t count = RunLength(F, i);
        int h = P.Hour;
        if (twelve) {
          h %= 12;
          if (h == 0) h = 12;
        }
        AppendNumber(Out, h, count == 1 ? 1 : 2);
        i += count;
        break;
      }
      case 'N': {
        const size_t count = RunLength(F, i);
        AppendNumber(Out, P.Minute, count == 1 ? 1 : 2);
        i += count;
        break;
      }
      case 'S': {
        const size_t count = RunLength(F, i);
        AppendNumber(Out, P.Second, count == 1 ? 1 : 2);
        i += count;
        break;
      }
      case 'Z': {
        const size_t count = RunLength(F, i);
        AppendNumber(Out, P.Millisecond, count <= 2 ? 1 : 3);
        i += count;
        break;
      }
      case 'T': {
        const size_t count = RunLength(F, i);
        AppendDateTime(Out, count == 1 ? fs.ShortTimeFormat : fs.LongTimeFormat, P, Level + 1);
        i += count;
        break;
      }
      case 'C': {
        AppendDateTime(Out, fs.ShortDateFormat, P, Level + 1);
        if (P.Hour != 0 || P.Minute != 0 || P.Second != 0 || P.Millisecond != 0) {
          Out.push_back(' ');
          AppendDateTime(Out, fs.LongTimeFormat, P, Level + 1);
        }
        i += 1;
        break;
      }
      case 'A': {
        const bool pm = P.Hour >= 12;
        if (MatchesAt(F, i, "AM/PM")) {
          Out.append(F.substr(pm ? i + 3 : i, 2));
          i += 5;
        } else if (MatchesAt(F, i, "A/P")) {
          Out.push_back(F[pm ? i + 2 : i]);
          i += 3;
        } else if (MatchesAt(F, i, "AMPM")) {
          Out += pm ? fs.TimePMString : fs.TimeAMString;
          i += 4;
        } else {
          Out.push_back(c);
          i += 1;
        }
        break;
      }
      default:
        Out.push_back(c);
        i += 1;
        break;
    }
  }
}

}  // namespace

std::string FormatDateTime(const std::string& Pattern, double DateTime) {
  TDateTimeParts parts;
  if (!DecodeDateTimeParts(DateTime, parts)) return std::string();
  std::string out;
  AppendDateTime(out, Pattern.empty() ? std::string_view("c") : std::string_view(Pattern), parts, 0);
  return out;
}

}  // namespace quillet
