// The one clock. Everything that asks for "now" (system variables, TODAY and NOW, the PDF
// creation date) asks here. When SOURCE_DATE_EPOCH is set, the clock stands still at that
// instant and reads in UTC, so reports and the files made from them are reproducible.
#pragma once

#include <cstdint>

namespace quillet {

struct TClockReading {
  int64_t UnixSeconds = 0;   // seconds since 1970-01-01 UTC
  int32_t Millisecond = 0;
  // Broken-down wall time: local time, or UTC when the clock is fixed.
  int32_t Year = 1970, Month = 1, Day = 1, Hour = 0, Minute = 0, Second = 0;
  int32_t UtcOffsetMinutes = 0;  // local time minus UTC; 0 when fixed
  bool Fixed = false;            // true when read from SOURCE_DATE_EPOCH
};

TClockReading ReadClock();

}  // namespace quillet
