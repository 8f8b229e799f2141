// Control cycles neither allocate, nor print, nor make a system call; the first cycle of a run
// included. The allocator of this program is interposed and counts; a child process runs the cycles
// under a filter that kills it at the first system call but the clock.
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include "sim/sensor_simulator.h"
#include "tests/robot/session.h"

// By the library on the thread of the test; what the network sensor's threads do does not count.
static int taken = 0, givenBack = 0, failing = -1;

// The heap of the whole process; operator new goes through it as well.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void __libc_free(void*);

void* malloc(std::size_t size) {
  if (reference::inLibrary && taken++ == failing) return nullptr;
  return __libc_malloc(size);
}
void* calloc(std::size_t n, std::size_t size) {
  taken += reference::inLibrary;
  return __libc_calloc(n, size);
}
void* realloc(void* p, std::size_t size) {
  taken += reference::inLibrary;
  return __libc_realloc(p, size);
}
void free(void* p) {
  givenBack += reference::inLibrary && p != nullptr;
  __libc_free(p);
}
}

namespace {

using reference::library;

TEST(Open, TakesNothingWhenMemoryRunsOut) {
  for (const bool isExternal : {true, false}) {
    bool opened = false;
    for (failing = 0; !opened; ++failing) {
      taken = givenBack = 0;
      opened = library([&] { return zel_ftc_open(isExternal); }) == 1;
      EXPECT_EQ(zel_ftc_issetok(true), opened ? 1 : -1);
      EXPECT_TRUE(opened || taken - 1 == givenBack) << "allocation " << failing << " fails";
    }
    EXPECT_GT(failing, 2) << "tool and sensor";
    library(zel_ftc_close);
    EXPECT_EQ(taken, givenBack) << "what opening takes, closing gives back";
  }
  failing = -1;
}

bool forbidSystemCallsButTheClock() {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clock_gettime, 1, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
  };
  sock_fprog filter = {sizeof program / sizeof program[0], program};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

enum Verdict { quiet, quietWithoutFilter, didNotRun, usedTheHeap, madeASystemCall };

/// What is found about the work, done in a child process after the preparation. The filter holds
/// for the thread that does it alone. Standard output has no buffer: a print is a system call.
template <typename Preparation, typename Work>
Verdict verdictOn(Preparation prepare, Work work) {
  const pid_t child = fork();
  if (child == 0) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    mallopt(M_TOP_PAD, 1 << 24);  // what the test itself takes is there before
    prepare();
    const Verdict best = forbidSystemCallsButTheClock() ? quiet : quietWithoutFilter;
    taken = givenBack = 0;
    const bool ran = work();
    _exit(!ran ? didNotRun : taken + givenBack > 0 ? usedTheHeap : best);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? static_cast<Verdict>(WEXITSTATUS(status)) : madeASystemCall;
}

TEST(ControlCycles, TouchNeitherTheHeapNorTheSystem) {
  std::map<Verdict, int> verdicts;
  testing::internal::CaptureStdout();  // the approach configuration prints a line
  for (unsigned n = 0; n < 60; ++n) {
    reference::Met met;
    std::optional<reference::Session> session;
    const auto ran = [&](const auto& what) { return what[1] == ZEL_RUN_RUNNING; };
    ++verdicts[verdictOn([&] { session.emplace(n, met); },
                         [&] {
                           return session->play(100, true).empty() &&
                                  std::any_of(met.begin(), met.end(), ran);
                         })];
  }
  testing::internal::GetCapturedStdout();
  EXPECT_GT(verdicts[quiet] + verdicts[quietWithoutFilter], 30) << "some lack a setting";
  EXPECT_EQ(verdicts[usedTheHeap] + verdicts[madeASystemCall], 0);

  const auto nothing = [] {};
  if (verdicts[quietWithoutFilter] > 0) GTEST_SKIP() << "this kernel has no system call filter";
  EXPECT_EQ(verdictOn(nothing, [] { return std::printf("x") == 1; }), madeASystemCall);
}

/// An approach on readings that stream in from a simulated sensor while the cycles run.
TEST(ControlCycles, OnTheNetworkSensorToo) {
  zel::sim::SensorSimulator sensor{{}};
  double far[6] = {1e3, 1e3, 1e3, 1e3, 1e3, 1e3}, zero[6] = {}, reading[6], pose[6] = {300, 0, 400};
  const auto open = [&] {
    timeIsStaged = false;
    sensor.start();
    zel_ftc_open(false);
    zel_ftc_initialFTSensor(sensor.port(), "127.0.0.1");
    zel_ftc_setSensorConfig(far, zero, zero);
    zel_ftc_setLoadData(20, 10, -15, 60);
    zel_ftc_setCorrectionLimit(far, zero, 1);
    zel_ftc_setMonitoringFunctions(far);
    zel_ftc_setCorrectionMonitoring(1e3, 10);
    zel_ftc_configApproachMode(RCS_SENSOR, FT_FZ, -10, zero, 5, 4, 1, far, 3600000);
    for (int ms = 0; ms < 10000 && zel_ftc_obtainFTSensorData(reading) != 1; ++ms) usleep(1000);
  };
  const auto overManyFrames = [&] {
    zel_ftc_error err = {};
    int frames = 0;
    for (long n = 0; frames < 100 && n < 100000000; ++n) {
      const int before = err.ft_ipoc;
      const bool read = library([&] { return zel_ftc_obtainFTSensorData(reading); }) == 1;
      const bool ran = library([&] { return zel_ftc_runApproach(pose, pose, &err); }) == 1;
      // Faster than frames: some cycles find no new one.
      if (!read || (!ran && err.ftc_code != ZEL_RUN_SENSOR_TIMEOUT)) return false;
      frames += err.ft_ipoc != before;
    }
    return frames == 100;
  };
  EXPECT_LE(verdictOn(open, overManyFrames), quietWithoutFilter);
}

}  // namespace
