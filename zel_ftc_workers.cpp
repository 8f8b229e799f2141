#include "zel_ftc_workers.h"

#include <sched.h>

#include <cstdio>
#include <cstring>

#include "ft/sensor_workers.h"

using zel::workerFault;
using zel::workerSetting;

namespace {

bool isValid(const zel_ftc_worker& worker) {
  if (worker.core < ZEL_ANY_CORE || worker.core >= CPU_SETSIZE) return false;
  if (worker.policy == ZEL_SCHED_OTHER) return worker.priority == 0;
  return (worker.policy == ZEL_SCHED_FIFO || worker.policy == ZEL_SCHED_RR) &&
         worker.priority >= 1 && worker.priority <= 99;
}

/// The unpack thread would never let the receive thread run. (SCHED_OTHER has priority 0.)
bool starves(const zel_ftc_workers& workers) {
  return !workers.unpack_waits && workers.unpack.policy != ZEL_SCHED_OTHER &&
         workers.unpack.core != ZEL_ANY_CORE && workers.unpack.core == workers.receive.core &&
         workers.unpack.priority >= workers.receive.priority;
}

}  // namespace

int zel_ftc_setWorkers(const zel_ftc_workers* workers) {
  if (workers == nullptr || !isValid(workers->receive) || !isValid(workers->unpack) ||
      starves(*workers)) {
    return 0;
  }
  workerSetting = *workers;
  return 1;
}

int zel_ftc_getWorkers(zel_ftc_workers* workers) {
  if (workers == nullptr) return 0;
  *workers = workerSetting;
  return 1;
}

int zel_ftc_getWorkerFault(zel_ftc_worker_fault* fault) {
  if (fault == nullptr || workerFault.error == 0) return 0;
  *fault = workerFault;
  return 1;
}

int zel_ftc_getWorkerFaultText(char* text, size_t size) {
  if (text == nullptr || size == 0 || workerFault.error == 0) return 0;
  const zel_ftc_worker& asked = workerFault.asked;
  const char* const name = workerFault.worker == ZEL_WORKER_RECEIVE ? "receive" : "unpack";
  static const char* const policies[] = {"SCHED_OTHER", "SCHED_FIFO", "SCHED_RR"};
  char core[32] = "any core of the process";
  if (asked.core != ZEL_ANY_CORE) std::snprintf(core, sizeof core, "core %d", asked.core);
  char buffer[64];
  const char* const error = strerror_r(workerFault.error, buffer, sizeof buffer);
  switch (workerFault.step) {
    case ZEL_WORKER_THREAD:
      std::snprintf(text, size,
                    "cannot start the %s thread: %s; needs room within RLIMIT_NPROC and RLIMIT_AS, "
                    "and a caller that is not under SCHED_DEADLINE",
                    name, error);
      break;
    case ZEL_WORKER_CORE:
      std::snprintf(text, size,
                    "cannot keep the %s thread on %s: %s; needs a core that the machine has "
                    "and the process may use",
                    name, core, error);
      break;
    case ZEL_WORKER_SCHEDULING:
      std::snprintf(text, size,
                    "cannot run the %s thread under %s priority %d: %s; needs CAP_SYS_NICE or "
                    "RLIMIT_RTPRIO >= %d",
                    name, policies[asked.policy], asked.priority, error, asked.priority);
      break;
  }
  return 1;
}
