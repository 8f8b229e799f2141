#include "ft/sensor_workers.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace zel {

zel_ftc_workers workerSetting = {
    {ZEL_ANY_CORE, ZEL_SCHED_OTHER, 0}, {ZEL_ANY_CORE, ZEL_SCHED_OTHER, 0}, false};
zel_ftc_worker_fault workerFault = {};

namespace {

/// Cut by the system to those that the process may use.
cpu_set_t everyCore() {
  cpu_set_t cores;
  std::memset(&cores, 0xFF, sizeof cores);
  return cores;
}

/// The cores of the process when the library was loaded: those of its first thread. Whoever calls
/// later may have been tied to a single one.
const cpu_set_t coresAtLoad = [] {
  cpu_set_t cores;
  return sched_getaffinity(getpid(), sizeof cores, &cores) == 0 ? cores : everyCore();
}();

int keepOn(pthread_t thread, const cpu_set_t& cores) {
  return pthread_setaffinity_np(thread, sizeof cores, &cores);
}

// These two return the system's error number, 0 for none.

int place(pthread_t thread, const zel_ftc_worker& worker) {
  if (worker.core == ZEL_ANY_CORE) {
    // Where the process has been moved to other cores since, those.
    return keepOn(thread, coresAtLoad) == 0 ? 0 : keepOn(thread, everyCore());
  }
  cpu_set_t core;
  CPU_ZERO(&core);
  CPU_SET(static_cast<unsigned>(worker.core), &core);
  return keepOn(thread, core);
}

int schedule(pthread_t thread, const zel_ftc_worker& worker) {
  static constexpr int policies[] = {SCHED_OTHER, SCHED_FIFO, SCHED_RR};  // of ZelWorkerPolicy
  sched_param parameters = {};
  parameters.sched_priority = worker.priority;
  const int error = pthread_setschedparam(thread, policies[worker.policy], &parameters);
  // Everybody may leave real time, but not everybody SCHED_IDLE: a process that runs there stays.
  return error == EPERM && worker.policy == ZEL_SCHED_OTHER ? 0 : error;
}

/// All signals blocked while it lives: a thread started meanwhile never has one open, so that a
/// signal which the host waits for is not delivered there.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t before_;
};

/// The system's error number, 0 for none.
int start(std::thread*& thread, const std::function<std::thread*()>& create) {
  const BlockedSignals blocked;
  try {
    thread = create();
    return 0;
  } catch (const std::system_error& error) {
    return error.code().value();
  } catch (...) {
    return ENOMEM;
  }
}

}  // namespace

bool startWorker(std::thread*& thread, ZelWorker which,
                 const std::function<std::thread*()>& create) {
  const bool receives = which == ZEL_WORKER_RECEIVE;
  const zel_ftc_worker& worker = receives ? workerSetting.receive : workerSetting.unpack;
  workerFault = {ZEL_WORKER_THREAD, which, worker, start(thread, create)};
  if (workerFault.error != 0) return false;

  const pthread_t handle = thread->native_handle();
  pthread_setname_np(handle, receives ? "zel_ft_receive" : "zel_ft_unpack");
  workerFault.step = ZEL_WORKER_CORE;
  workerFault.error = place(handle, worker);
  if (workerFault.error != 0) return false;
  workerFault.step = ZEL_WORKER_SCHEDULING;
  workerFault.error = schedule(handle, worker);
  return workerFault.error == 0;
}

}  // namespace zel
