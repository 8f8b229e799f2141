// Control cycles neither allocate, nor print, nor make a system call; the first cycle of a run
// included. The allocator of this program is interposed and counts; for system calls a child
// process runs the same cycles under a filter that kills it at the first one but the clock.
#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "flat_fixture.h"
#include "sim/sensor_simulator.h"

namespace {

// Of this thread: what the network sensor's threads and the simulator do does not count.
thread_local bool armed = false;
thread_local int heapCalls = 0;

void countHeapCall() {
  if (armed) ++heapCalls;
}

}  // namespace

// The heap of the whole process, the library included; operator new goes through it as well.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);

void* malloc(std::size_t size) {
  countHeapCall();
  return __libc_malloc(size);
}
void* calloc(std::size_t n, std::size_t size) {
  countHeapCall();
  return __libc_calloc(n, size);
}
void* realloc(void* p, std::size_t size) {
  countHeapCall();
  return __libc_realloc(p, size);
}
void* memalign(std::size_t alignment, std::size_t size) {
  countHeapCall();
  return __libc_memalign(alignment, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return memalign(alignment, size);
}
int posix_memalign(void** p, std::size_t alignment, std::size_t size) {
  *p = memalign(alignment, size);
  return *p == nullptr ? ENOMEM : 0;
}
void free(void* p) {
  if (p != nullptr) countHeapCall();
  __libc_free(p);
}
}

namespace zel::test {
namespace {

enum class Work { approach, assembly, line, arc, readings };

struct ControlCycles : FlatTest, testing::WithParamInterface<Work> {
  ControlCycles() {
    if (GetParam() == Work::approach) configureApproach();
    if (GetParam() == Work::assembly) configureAssembly();
    if (GetParam() == Work::line || GetParam() == Work::arc) configureTracking();
  }

  int cycle() {
    zel_ftc_obtainFTSensorData(reading.data());
    switch (GetParam()) {
      case Work::approach:
        return zel_ftc_runApproach(out.data(), pose.data(), &err);
      case Work::assembly:
        return zel_ftc_runAssembly(out.data(), pose.data(), &err);
      case Work::line:
        return zel_ftc_runTrackingMotionL(out.data(), start.data(), end.data(), pose.data(), &err);
      case Work::arc:
        return zel_ftc_runTrackingMotionC(out.data(), start.data(), via.data(), end.data(),
                                          pose.data(), &err);
      case Work::readings:
        return zel_ftc_getSensorData(out.data(), pose.data(), RCS_TOOL) &
               zel_ftc_getRCS_FT_Data(out.data()) & zel_ftc_get_GraData(out.data(), pose.data());
    }
    return 0;
  }

  /// A run from its first cycle on: without contact, in contact, failing, restarted, and with
  /// readings and poses that are not finite. False when a cycle that should have run did not.
  bool session() {
    bool allRan = true;
    for (int n = 0; n < 60; ++n) {
      reading[2] = n < 20 ? 0 : 6 + n % 3;
      pose[0] += 0.01;
      allRan &= cycle() == 1;
    }
    reading[1] = 1e9;  // overload: the run ends, the next cycle is a first one
    cycle();
    reading[1] = 1;
    allRan &= cycle() == 1;
    reading[3] = std::numeric_limits<double>::quiet_NaN();
    cycle();
    reading[3] = 0.1;
    pose[4] = std::numeric_limits<double>::infinity();
    cycle();
    return allRan;
  }
};

std::string nameOf(const testing::TestParamInfo<Work>& info) {
  constexpr const char* names[] = {"Approach", "Assembly", "Line", "Arc", "Readings"};
  return names[static_cast<int>(info.param)];
}
INSTANTIATE_TEST_SUITE_P(All, ControlCycles,
                         testing::Values(Work::approach, Work::assembly, Work::line, Work::arc,
                                         Work::readings),
                         nameOf);

TEST_P(ControlCycles, DoNotTouchTheHeap) {
  heapCalls = 0;
  armed = true;
  const bool ran = session();
  armed = false;
  EXPECT_TRUE(ran) << err.ftc_code;
  EXPECT_EQ(heapCalls, 0);
}

TEST(HeapCounter, SeesTheLibrarysAllocations) {
  heapCalls = 0;
  armed = true;
  zel_ftc_open(true);
  const int opening = heapCalls;
  zel_ftc_close();
  armed = false;
  EXPECT_GE(opening, 2);
  EXPECT_EQ(heapCalls, 2 * opening) << "what opening takes, closing gives back";
}

// ---- system calls
// --------------------------------------------------------------------------------

constexpr int finished = 0, didNotRun = 1, noFilter = 77;

bool forbidSystemCallsButTheClock() {
  constexpr auto number = static_cast<std::uint32_t>(offsetof(seccomp_data, nr));
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, number),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clock_gettime, 1, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
  };
  sock_fprog filter = {sizeof program / sizeof program[0], program};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

/// Wait status of a child that prepares, and then does the work under the filter, which holds for
/// the thread that does it alone. Whatever it prints is a system call at once: its standard output
/// has no buffer.
template <typename Preparation, typename Action>
int statusOfFiltered(Preparation prepare, Action work) {
  const pid_t child = fork();
  if (child == 0) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    prepare();
    if (!forbidSystemCallsButTheClock()) _exit(noFilter);
    _exit(work() ? finished : didNotRun);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

template <typename Action>
int statusOfFiltered(Action work) {
  return statusOfFiltered([] {}, work);
}

bool filterIsMissing(int status) {
  return WIFEXITED(status) && WEXITSTATUS(status) == noFilter;
}

void expectFinished(int status) {
  if (filterIsMissing(status)) GTEST_SKIP() << "this kernel has no system call filter";
  EXPECT_FALSE(WIFSIGNALED(status))
      << "killed by signal " << WTERMSIG(status) << ": a system call or a print in a cycle";
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == finished) << "a cycle did not run";
}

TEST_P(ControlCycles, MakeNoSystemCallButTheClock) {
  expectFinished(statusOfFiltered([&] { return session(); }));
}

TEST(SystemCallFilter, KillsAPrint) {
  const int status = statusOfFiltered([] { return std::printf("x") == 1; });
  if (filterIsMissing(status)) GTEST_SKIP() << "this kernel has no system call filter";
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS);
}

// ---- the network sensor -------------------------------------------------------------------------

/// An approach on readings that stream in from a simulated sensor while the cycles run.
class NetworkCycles : public testing::Test {
 protected:
  void open() {
    sensor.start();
    if (zel_ftc_open(false) != 1 || zel_ftc_initialFTSensor(sensor.port(), "127.0.0.1") != 1)
      return;
    configureBasics();
    configureApproach();
    for (int ms = 0; ms < 10000 && zel_ftc_obtainFTSensorData(reading.data()) != 1; ++ms) {
      usleep(1000);
    }
  }
  ~NetworkCycles() override { zel_ftc_close(); }

  /// Cycles over many frames, without a nap. False when one has not run or the stream stands still.
  bool session() {
    zel_ftc_error err = {};
    int frames = 0;
    for (long n = 0; frames < 100 && n < 100000000; ++n) {
      const int before = err.ft_ipoc;
      if (zel_ftc_obtainFTSensorData(reading.data()) != 1) return false;
      const int ran = zel_ftc_runApproach(out.data(), pose.data(), &err);
      if (ran != 1 && err.ftc_code != ZEL_RUN_SENSOR_TIMEOUT) return false;  // faster than frames
      frames += err.ft_ipoc != before;
    }
    return frames == 100;
  }

  sim::SensorSimulator sensor{{}};
  Six pose = {300, -200, 450, 0.4, -0.7, 2.1}, out{}, reading{};
};

TEST_F(NetworkCycles, DoNotTouchTheHeap) {
  open();
  heapCalls = 0;
  armed = true;
  const bool ran = session();
  armed = false;
  EXPECT_TRUE(ran);
  EXPECT_EQ(heapCalls, 0);
}

TEST_F(NetworkCycles, MakeNoSystemCallButTheClock) {
  expectFinished(statusOfFiltered([&] { open(); }, [&] { return session(); }));
}

}  // namespace
}  // namespace zel::test
