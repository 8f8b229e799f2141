// What the flat interface has seen, as far as the tool does not keep it itself: in which order the
// settings came, and the run in progress. Internal: not installed.
#ifndef ZEL_FTC_DIAG_HISTORY_H
#define ZEL_FTC_DIAG_HISTORY_H

#include <cstdint>

#include "zel_ftc_diag.h"

namespace zel::diag {

/// A setting that has been made.
struct Setting {
  std::uint64_t order = 0;  ///< later settings have higher numbers; 0: never made
  double period = 0.0;      ///< control period at that time, s
};

struct History {
  std::uint64_t settings = 0;
  Setting period, load, identified, mounting, sensorZero, zero, approach, assembly, tracking;

  ZelRunKind run = ZEL_NO_RUN;  ///< whose function was called last
  bool running = false;
  std::int32_t code = 0;     ///< its last result
  std::uint64_t cycles = 0;  ///< of this run
  std::uint64_t runs = 0;    ///< begun since open
  std::uint64_t calls = 0;   ///< cycles of all runs
  /// Why the last cycle got no reading and did not come that far: a sensor status, or 0.
  std::int32_t unread = 0;

  /// One cycle of a run, after it. A stall fails the cycle, not the run. Real-time safe.
  void ran(ZelRunKind kind, bool goesOn, std::int32_t result) {
    if (!running || kind != run) {
      cycles = 0;
      ++runs;
    }
    run = kind;
    running = goesOn || result == ZEL_RUN_SENSOR_TIMEOUT;
    unread = 0;
    code = result;
    ++cycles;
    ++calls;
  }

  /// The run was given up.
  void ended() {
    running = false;
    unread = 0;
  }

  /// Whether the last cycle came as far as compensating its reading.
  bool measured() const {
    return code >= ZEL_RUN_RUNNING || code == ZEL_RUN_OVER_MONITORING ||
           code == ZEL_RUN_OVER_CORRECTION || code == ZEL_RUN_TIMEOUT;
  }
};

/// Of the open library; starts afresh with each zel_ftc_open.
extern History history;

/// Notes that a setting has been made when `result` says so, and hands the result on.
int noted(Setting& setting, int result);

}  // namespace zel::diag

#endif
