// The library clock: time points of the system (wall) clock with nanosecond resolution.
// Both functions have internal linkage and are compiled into each source file that uses them.
#ifndef ZEL_CLOCK_H
#define ZEL_CLOCK_H

#include <chrono>
#include <cstdint>

#include "zel_ftc_types.h"

using zel_clock = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

/// The current time. Real-time safe (one clock read).
static inline zel_clock zel_start_timer_clock() {
  return std::chrono::system_clock::now();
}

/// Whole units elapsed since `start`, truncated toward zero; negative when `start` lies in the
/// future. Any other unit gives -1.0. Real-time safe.
static inline double zel_end_timer_clock(const ZEL_TimerUint& unit, zel_clock start) {
  const std::int64_t elapsed = (zel_start_timer_clock() - start).count();
  switch (unit) {
    case SEC:
      return static_cast<double>(elapsed / 1000000000);
    case MILLISEC:
      return static_cast<double>(elapsed / 1000000);
    case MICROSEC:
      return static_cast<double>(elapsed / 1000);
  }
  return -1.0;
}

#endif
