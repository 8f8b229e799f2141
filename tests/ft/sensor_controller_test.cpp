// The network sensor in a controller: called from a tied-down thread, killed and started again,
// beside other programs, without rights or a core to spare.
#include <sys/wait.h>

#include <csignal>

#include "ft/sensor_protocol.h"
#include "sim/sensor_simulator.h"
#include "tests/ft/scriptedsensor.h"
#include "zel_ftc_workers.h"

using namespace testing_ft;

/// Takes the place of the system's function: nobody has the right to real time here.
static std::atomic<int> inTimeSharing{0};
extern "C" int pthread_setschedparam(pthread_t, int policy, const sched_param*) noexcept {
  return policy == SCHED_OTHER ? ++inTimeSharing, 0 : EPERM;
}

namespace {

struct SensorInAController : testing::Test {
  ~SensorInAController() override { zel_ftc_setWorkers(&defaults); }

  bool starts() {
    return sensor.initialFTSensor(52001, "127.0.0.1") &&
           eventually([this] { return read(sensor).normal; });
  }
  void expectRefused(ZelInfoCode code) {
    EXPECT_TRUE(!starts() && sensor.CODE == code && sensor.sock_Client == -1 && !sensor.hThrd);
  }

  zel_ftc_workers defaults, workers;
  const int known = zel_ftc_getWorkers(&defaults) + zel_ftc_getWorkers(&workers);
  zel::sim::SensorSimulator simulator{{.port = 52001, .faults = {.answer_delay = 0.003}}};
  SensorEtherNet_UDP sensor;
};

TEST_F(SensorInAController, WorkersTakeOverNothingFromTheCaller) {
  inTimeSharing = 0;
  sigset_t waitedFor = {};
  sigaddset(&waitedFor, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &waitedFor, nullptr);
  simulator.start();
  cpu_set_t ofProcess, cores = {};
  sched_getaffinity(0, sizeof ofProcess, &ofProcess);
  CPU_SET(static_cast<unsigned>(sched_getcpu()), &cores);
  std::thread([&] {
    pthread_sigmask(SIG_UNBLOCK, &waitedFor, nullptr);
    EXPECT_EQ(sched_setaffinity(0, sizeof cores, &cores), 0);
    EXPECT_TRUE(starts());
  }).join();
  EXPECT_EQ(inTimeSharing, 2);
  for (std::thread* worker : {sensor.hThrd, sensor.hThrdUnpack}) {
    pthread_getaffinity_np(worker->native_handle(), sizeof cores, &cores);
    EXPECT_TRUE(CPU_EQUAL(&cores, &ofProcess));
  }
  kill(getpid(), SIGUSR1);  // ends the process when a worker gets it
  EXPECT_EQ(sigwaitinfo(&waitedFor, nullptr), SIGUSR1);
}

TEST_F(SensorInAController, PlacesAreRefusedWhenSetOrFailTheStartWithAReason) {
  for (const auto& [core, policy, priority] : std::initializer_list<std::array<int, 3>>{
           {-2, 0, 0}, {1024, 0, 0}, {0, 0, 1}, {0, 1, 0}, {0, 2, 100}, {0, 3, 1}}) {
    workers.unpack = {core, ZelWorkerPolicy{policy}, priority};
    EXPECT_EQ(zel_ftc_setWorkers(&workers), 0) << core << ' ' << policy << ' ' << priority;
  }
  const auto expectReason = [this](zel_ftc_worker unpack, const char* reason) {
    char text[256] = "";
    workers.unpack = unpack;
    EXPECT_EQ(zel_ftc_setWorkers(&workers), 1);
    expectRefused(COMM_THREAD_OPEN_ERROR);
    EXPECT_EQ(zel_ftc_getWorkerFaultText(text, sizeof text), 1);
    EXPECT_STREQ(text, reason);
  };
  expectReason({1023, ZEL_SCHED_OTHER, 0},
               "cannot keep the unpack thread on core 1023: Invalid argument; needs a core that "
               "the machine has and the process may use");
  expectReason({0, ZEL_SCHED_FIFO, 80},
               "cannot run the unpack thread under SCHED_FIFO priority 80: Operation not "
               "permitted; needs CAP_SYS_NICE or RLIMIT_RTPRIO >= 80");
  workers.receive = workers.unpack;
  EXPECT_EQ(zel_ftc_setWorkers(&workers), 0) << "the receive thread would never run";
}

TEST_F(SensorInAController, AWaitingUnpackThreadSleepsAndWakesForFramesAndShutDown) {
  simulator.start();
  workers.unpack_waits = true;
  EXPECT_EQ(zel_ftc_setWorkers(&workers), 1);
  EXPECT_TRUE(starts() && sensor.setFTSensorStopSample());
  const char* const sleeps = "grep -q '(zel_ft_unpack) S' /proc/$PPID/task/*/stat";
  EXPECT_TRUE(eventually([&] { return system(sleeps) == 0; }));
  EXPECT_TRUE(sensor.setFTSensorStartSample());
  EXPECT_TRUE(eventually([this, before = +sensor.IPOC] { return sensor.IPOC > before + 100; }));
}

TEST_F(SensorInAController, KilledInMidStreamItComesBackAndThePortIsOneProgramsOwn) {
  const pid_t child = fork();  // another controller
  while (child == 0) alarm(60), starts() && pause();
  simulator.start();
  EXPECT_TRUE(eventually([this] { return simulator.statistics().frames > 10; }));
  expectRefused(COMM_PORT_ERROR);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);

  const auto shares = [one = 1](int descriptor) {
    sockaddr_in local = {AF_INET, htons(52000), {}, {}};
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    return bind(descriptor, reinterpret_cast<sockaddr*>(&local), sizeof local) == 0;
  };
  const int early = socket(AF_INET, SOCK_DGRAM, 0), late = socket(AF_INET, SOCK_DGRAM, 0);
  EXPECT_TRUE(shares(early));
  expectRefused(COMM_PORT_ERROR);
  close(early);
  EXPECT_TRUE(simulator.streaming() && starts());
  EXPECT_FALSE(shares(late));
  close(late);
}

TEST_F(SensorInAController, ValuesStatusAndCounterOfAReadingAreThoseOfOneFrame) {
  std::fill(std::begin(sensor.ft_range), std::end(sensor.ft_range), 1e9);
  sensor.bConnect = sensor.bSampleMode = true;
  std::thread unpack([this] {
    for (std::uint8_t body[27] = {0, 0, 2}; sensor.IPOC < 100000; body[1] ^= 254) {
      zel::protocol::writeInt32(body + 3, sensor.IPOC + 1);
      sensor.updatData(body, sizeof body);
    }
  });
  for (int n = 0; n < 100000 && !HasFailure();) {
    const Reading reading = read(sensor);
    n = reading.info.IPOC;
    EXPECT_EQ(reading.value[0], double{static_cast<float>(n) / 1000.0F});
    EXPECT_EQ(reading.info.code, n == 0 ? COMM_INIT : n % 2 ? FT_N0RMAL : FT_OVERLOAD_ERROR);
  }
  unpack.join();
}

}  // namespace
