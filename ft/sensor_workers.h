// Starts the network sensor's worker threads, in surroundings that are chosen. Internal: not
// installed.
#ifndef ZEL_FTC_FT_SENSOR_WORKERS_H
#define ZEL_FTC_FT_SENSOR_WORKERS_H

#include <functional>
#include <thread>

#include "zel_ftc_workers.h"

namespace zel {

// Of the process, used by the control thread alone: one setting for all sensors, and the facts of
// the last start, whose `error` is 0 when it was good.
extern zel_ftc_workers workerSetting;
extern zel_ftc_worker_fault workerFault;

/// Starts a thread, which `create` makes, and places it as workerSetting says. False, with the
/// facts in workerFault, when the thread or its place cannot be had; a thread that was started all
/// the same is left in `thread`, to be ended by the caller. Never throws, as long as `create` is as
/// small as a pointer; what it throws is a thread that cannot be had.
bool startWorker(std::thread*& thread, ZelWorker which,
                 const std::function<std::thread*()>& create);

}  // namespace zel

#endif
