#include "base/clock.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <charconv>

namespace quillet {

TClockReading ReadClock() {
  TClockReading r;
  std::time_t secs;
  if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH"); epoch && *epoch) {
    std::string_view s(epoch);
    int64_t v = 0;
    auto res = std::from_chars(s.data(), s.data() + s.size(), v);
    if (res.ec == std::errc() && res.ptr == s.data() + s.size() && v >= 0) {
      r.Fixed = true;
      r.UnixSeconds = v;
    }
  }
  if (!r.Fixed) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    r.UnixSeconds = ms / 1000;
    r.Millisecond = static_cast<int32_t>(ms % 1000);
  }
  secs = static_cast<std::time_t>(r.UnixSeconds);
  std::tm tmv{};
  if (r.Fixed) {
    gmtime_r(&secs, &tmv);
  } else {
    localtime_r(&secs, &tmv);
    r.UtcOffsetMinutes = static_cast<int32_t>(tmv.tm_gmtoff / 60);
  }
  r.Year = tmv.tm_year + 1900;
  r.Month = tmv.tm_mon + 1;
  r.Day = tmv.tm_mday;
  r.Hour = tmv.tm_hour;
  r.Minute = tmv.tm_min;
  r.Second = tmv.tm_sec;
  return r;
}

}  // namespace quillet
