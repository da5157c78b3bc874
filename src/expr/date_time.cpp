#include "expr/date_time.h"

#include <cmath>
#include <cstdint>

#include "base/clock.h"
#include "base/error.h"

namespace quillet {

namespace {

constexpr int64_t kMsPerDay = 86400000;
constexpr int64_t kUnixEpochDays = 25569;  // 1970-01-01 as a day count from 1899-12-30

// Days since 1970-01-01 of a proleptic Gregorian date (H. Hinnant's algorithm).
int64_t DaysFromCivil(int64_t Y, int64_t M, int64_t D) {
  Y -= M <= 2;
  const int64_t era = (Y >= 0 ? Y : Y - 399) / 400;
  const int64_t yoe = Y - era * 400;
  const int64_t doy = (153 * (M + (M > 2 ? -3 : 9)) + 2) / 5 + D - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(int64_t Z, int& Y, int& M, int& D) {
  Z += 719468;
  const int64_t era = (Z >= 0 ? Z : Z - 146096) / 146097;
  const int64_t doe = Z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  D = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  M = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  Y = static_cast<int>(yoe + era * 400 + (M <= 2));
}

bool IsLeapYear(int Y) { return (Y % 4 == 0 && Y % 100 != 0) || Y % 400 == 0; }

int DaysInMonth(int Y, int M) {
  static const int days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return M == 2 && IsLeapYear(Y) ? 29 : days[M - 1];
}

// Exactly Count ASCII digits at S[Pos..].
bool ReadFixedDigits(const std::string& S, size_t Pos, size_t Count, int& Value) {
  if (Pos + Count > S.size()) return false;
  int v = 0;
  for (size_t i = Pos; i < Pos + Count; ++i) {
    if (S[i] < '0' || S[i] > '9') return false;
    v = v * 10 + (S[i] - '0');
  }
  Value = v;
  return true;
}

// One or two ASCII digits at S[Pos..], advancing Pos.
bool ReadShortNumber(const std::string& S, size_t& Pos, int& Value) {
  int v = 0;
  size_t n = 0;
  while (Pos < S.size() && n < 2 && S[Pos] >= '0' && S[Pos] <= '9') {
    v = v * 10 + (S[Pos++] - '0');
    ++n;
  }
  if (n == 0) return false;
  Value = v;
  return true;
}

bool ReadDottedDate(const std::string& S, double& DateTime) {
  size_t b = 0, e = S.size();
  while (b < e && (S[b] == ' ' || S[b] == '\t')) ++b;
  while (e > b && (S[e - 1] == ' ' || S[e - 1] == '\t')) --e;
  const std::string t = S.substr(b, e - b);
  size_t p = 0;
  int d, m, y, h = 0, n = 0, s = 0;
  if (!ReadShortNumber(t, p, d) || p >= t.size() || t[p++] != '.') return false;
  if (!ReadShortNumber(t, p, m) || p >= t.size() || t[p++] != '.') return false;
  if (!ReadFixedDigits(t, p, 4, y)) return false;
  p += 4;
  if (p < t.size()) {
    if (t[p++] != ' ') return false;
    while (p < t.size() && t[p] == ' ') ++p;
    if (!ReadShortNumber(t, p, h) || p >= t.size() || t[p++] != ':') return false;
    if (!ReadShortNumber(t, p, n)) return false;
    if (p < t.size()) {
      if (t[p++] != ':' || !ReadShortNumber(t, p, s)) return false;
    }
    if (p != t.size()) return false;
  }
  return TryEncodeDateTime(y, m, d, h, n, s, 0, DateTime);
}

}  // namespace

bool TryEncodeDateTime(int Year, int Month, int Day, int Hour, int Minute, int Second, int Millisecond,
                       double& DateTime) {
  if (Year < 1 || Year > 9999 || Month < 1 || Month > 12 || Day < 1 || Day > DaysInMonth(Year, Month))
    return false;
  if (Hour < 0 || Hour > 23 || Minute < 0 || Minute > 59 || Second < 0 || Second > 59 || Millisecond < 0 ||
      Millisecond > 999)
    return false;
  const double date = static_cast<double>(DaysFromCivil(Year, Month, Day) + kUnixEpochDays);
  const double time =
      static_cast<double>(((Hour * 60 + Minute) * 60 + Second) * 1000 + Millisecond) / static_cast<double>(kMsPerDay);
  // Before 1899-12-30 the time of day is carried as a magnitude on the negative day count.
  DateTime = date < 0 ? date - time : date + time;
  return true;
}

double EncodeDateTime(int Year, int Month, int Day, int Hour, int Minute, int Second, int Millisecond) {
  double dt;
  if (!TryEncodeDateTime(Year, Month, Day, Hour, Minute, Second, Millisecond, dt))
    throw EQuilletError("Invalid argument to date encode");
  return dt;
}

bool DecodeDateTimeParts(double DateTime, TDateTimeParts& Parts) {
  // Checked before any conversion to an integer type.
  if (!(DateTime > MinDateTime - 1 && DateTime < MaxDateTime + 1)) return false;
  const double whole = std::trunc(DateTime);
  int64_t day = static_cast<int64_t>(whole);
  int64_t ms = std::llround(std::fabs(DateTime - whole) * static_cast<double>(kMsPerDay));
  if (ms >= kMsPerDay) {
    ms -= kMsPerDay;
    day += DateTime < 0 ? -1 : 1;
  }
  const int64_t unixDays = day - kUnixEpochDays;
  TDateTimeParts p;
  CivilFromDays(unixDays, p.Year, p.Month, p.Day);
  if (p.Year < 1 || p.Year > 9999) return false;
  p.Hour = static_cast<int>(ms / 3600000);
  p.Minute = static_cast<int>(ms / 60000 % 60);
  p.Second = static_cast<int>(ms / 1000 % 60);
  p.Millisecond = static_cast<int>(ms % 1000);
  // 1970-01-01 was a Thursday (5 with Sunday = 1).
  p.DayOfWeek = static_cast<int>(((unixDays + 4) % 7 + 7) % 7) + 1;
  Parts = p;
  return true;
}

bool DecodeDateTime(double DateTime, int& Year, int& Month, int& Day, int& Hour, int& Minute, int& Second,
                    int& Millisecond) {
  TDateTimeParts p;
  if (!DecodeDateTimeParts(DateTime, p)) return false;
  Year = p.Year;
  Month = p.Month;
  Day = p.Day;
  Hour = p.Hour;
  Minute = p.Minute;
  Second = p.Second;
  Millisecond = p.Millisecond;
  return true;
}

bool TryStrToDateTime(const std::string& S, double& DateTime) {
  if (S.size() >= 10 && S[4] == '-' && S[7] == '-') {
    int y, m, d, h = 0, n = 0, s = 0;
    if (!ReadFixedDigits(S, 0, 4, y) || !ReadFixedDigits(S, 5, 2, m) || !ReadFixedDigits(S, 8, 2, d)) return false;
    if (S.size() >= 13 && !ReadFixedDigits(S, 11, 2, h)) return false;
    if (S.size() >= 16 && !ReadFixedDigits(S, 14, 2, n)) return false;
    if (S.size() >= 19 && !ReadFixedDigits(S, 17, 2, s)) return false;
    return TryEncodeDateTime(y, m, d, h, n, s, 0, DateTime);
  }
  return ReadDottedDate(S, DateTime);
}

bool TryValueToDateTime(const TExprValue& Value, double& DateTime) {
  switch (Value.Kind()) {
    case evkString:
      return TryStrToDateTime(Value.AsString(), DateTime);
    case evkInteger:
      DateTime = static_cast<double>(Value.AsInt());
      return true;
    case evkFloat:
    case evkDateTime:
      if (!std::isfinite(Value.AsFloat())) return false;
      DateTime = Value.AsFloat();
      return true;
    default:
      return false;
  }
}

double NowDateTime() {
  const TClockReading c = ReadClock();
  double dt;
  // A leap second reads as the last second of its minute.
  const int second = c.Second > 59 ? 59 : c.Second;
  if (!TryEncodeDateTime(c.Year, c.Month, c.Day, c.Hour, c.Minute, second, c.Millisecond, dt)) return 0;
  return dt;
}

}  // namespace quillet
