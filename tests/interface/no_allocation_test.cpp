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
#include "tests/diag/arrangement.h"
#include "tests/robot/session.h"
#include "zel_ftc_guard.h"

// By the library on the thread of the test; what the network sensor's threads do does not count.
static int taken = 0, givenBack = 0, failing = -1;

// The heap of the whole process; operator new goes through it as well.
extern "C" {
void* __libc_malloc(std::size_t);
void __libc_free(void*);

void* malloc(std::size_t size) {
  if (reference::inLibrary && taken++ == failing) return nullptr;
  return __libc_malloc(size);
}
void free(void* p) {
  givenBack += reference::inLibrary && p != nullptr;
  __libc_free(p);
}
}

namespace {

using reference::InLibrary;

TEST(Open, TakesNothingWhenMemoryRunsOut) {
  for (const bool isExternal : {true, false}) {
    bool opened = false;
    for (failing = 0; !opened; ++failing) {
      taken = givenBack = 0;
      opened = (InLibrary(), zel_ftc_open(isExternal)) == 1;
      EXPECT_EQ(zel_ftc_issetok(true), opened ? 1 : -1);
      EXPECT_TRUE(opened || taken - 1 == givenBack) << "allocation " << failing << " fails";
    }
    EXPECT_GT(failing, 2) << "tool and sensor";
    (InLibrary(), zel_ftc_close());
    EXPECT_EQ(taken, givenBack) << "what opening takes, closing gives back";
  }
  failing = -1;
}

TEST(Start, OfTheNetworkSensorEndsInOrderWhenMemoryRunsOut) {
  double reading[6];
  ASSERT_EQ(zel_ftc_open(false), 1);
  for (failing = 0;; ++failing) {
    taken = 0;
    EXPECT_EQ((InLibrary(), zel_ftc_initialFTSensor(9, "127.0.0.1")), 0);
    if (taken <= failing) break;
    zel_ftc_obtainFTSensorData(reading);
    EXPECT_EQ(zel_info_.code, COMM_THREAD_OPEN_ERROR) << "allocation " << failing << " fails";
  }
  EXPECT_GT(failing, 3) << "two threads";
  failing = -1;
  EXPECT_EQ(zel_ftc_close(), 1);
}

void forbidSystemCallsButTheClock() {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clock_gettime, 1, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
  };
  sock_fprog filter = {sizeof program / sizeof program[0], program};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter);
}

enum Verdict { quiet, didNotRun, usedTheHeap, madeASystemCall };

/// What is found about the work, done in a child process after the preparation. The filter holds
/// for the thread that does it alone. Standard output has no buffer: a print is a system call.
Verdict verdictOn(auto prepare, auto work) {
  const pid_t child = fork();
  if (child == 0) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    mallopt(M_TOP_PAD, 1 << 24);  // what the test itself takes is there before
    prepare();
    forbidSystemCallsButTheClock();
    taken = givenBack = 0;
    const bool ran = work();
    _exit(!ran ? didNotRun : taken + givenBack > 0 ? usedTheHeap : quiet);
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
    const auto play = [&] {
      const bool agree = session->play(100, true).empty();
      return agree && std::any_of(met.begin(), met.end(), [](auto m) { return m.second == 80000; });
    };
    ++verdicts[verdictOn([&] { session.emplace(n, met); }, play)];
  }
  testing::internal::GetCapturedStdout();
  EXPECT_GT(verdicts[quiet], 30) << "some lack a setting";
  EXPECT_EQ(verdicts[usedTheHeap] + verdicts[madeASystemCall], 0);
}

TEST(ControlCycles, OnTheNetworkSensorReadFrameAfterFrameLikewise) {
  zel::sim::SensorSimulator sensor{{}};
  double reading[6];
  const auto open = [&] {
    timeIsStaged = false;
    sensor.start();
    zel_ftc_open(false);
    while (zel_ftc_initialFTSensor(sensor.port(), "127.0.0.1") != 1) continue;
  };
  const auto read = [&] {
    int frames = 0;
    for (long n = 0; frames < 100 && n < 1000000000; ++n) {
      const int before = zel_info_.IPOC;
      (InLibrary(), zel_ftc_obtainFTSensorData(reading));
      frames += zel_info_.IPOC != before;
    }
    return frames == 100;
  };
  EXPECT_EQ(verdictOn(open, read), quiet);
}

TEST(ControlCycles, WithDiagnosisCheckAndGuardLikewise) {
  zel::test::Arrangement setup;
  zel::test::Six reading{}, pose{};
  std::array<zel_ftc_finding, ZEL_FINDINGS_ENOUGH> findings;
  const auto open = [&] {
    timeIsStaged = false;
    zel_ftc_open(true);
    zel_ftc_initialFTSensor(0, nullptr);
    setup.make(reading);
    for (int limit = 0; limit < ZEL_GUARD_LIMIT_COUNT; ++limit) {
      zel_ftc_setGuardLimit(static_cast<ZelGuardLimit>(limit), 1e-9, ZEL_GUARD_HOLD);
    }
  };
  const auto work = [&] {
    char text[400];
    zel_ftc_reason reason;
    zel_ftc_cycle_view view;
    zel_ftc_guard_verdict verdict;
    const zel_ftc_plan plan = setup.plan();
    const InLibrary inLibrary;
    int held = 0, refused = 0;
    for (int n = 0; n < 100; ++n) {
      zel_ftc_error err;
      zel_ftc_obtainFTSensorData(reading.data());
      if (zel_ftc_runApproach(pose.data(), setup.start.data(), &err) != 1) return false;
      held += 1 - zel_ftc_guard(pose.data(), setup.start.data(), &verdict);
      refused += 1 - zel_ftc_setTimeStep(1);
      zel_ftc_lastReason(&reason);
      zel_ftc_reasonText(&reason, text, sizeof text);
      zel_ftc_reasonRemedy(&reason, text, sizeof text);
      zel_ftc_guardText(&verdict, text, sizeof text);
      zel_ftc_cycleView(&view);
      for (int i = 0; i < view.not_ending_count; ++i) {
        zel_ftc_whyText(&view.not_ending[i], text, sizeof text);
      }
      const int found = zel_ftc_checkConfiguration(&plan, findings.data(), ZEL_FINDINGS_ENOUGH);
      for (int i = 0; i < found; ++i) zel_ftc_findingText(&findings[i], text, sizeof text);
    }
    return held > 90 && refused == 100;
  };
  EXPECT_EQ(verdictOn(open, work), quiet);
}

TEST(SystemCallFilter, SeesAPrint) {
  const Verdict verdict = verdictOn([] {}, [] { return std::printf("x") == 1; });
  if (verdict == quiet) GTEST_SKIP() << "this kernel has no system call filter";
  EXPECT_EQ(verdict, madeASystemCall);
}

}  // namespace
