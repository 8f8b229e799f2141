// Start-up, its failures, and shut-down of the network sensor: nothing may be left behind.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "tests/ft/scriptedsensor.h"
#include "zel_ftc_lib.h"

using namespace testing_ft;

namespace {
/// The n-th thread from now cannot be created; -1: all can.
std::atomic<int> threadsUntilFailure{-1};
}  // namespace

/// Takes the place of the system's function for this program and the library.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) {
  using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  if (threadsUntilFailure >= 0 && threadsUntilFailure-- == 0) return EAGAIN;
  return create(thread, attributes, body, argument);
}

namespace {

std::set<std::string> entries(const char* folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename());
  }
  return names;
}

void expectClosed(const SensorEtherNet_UDP& sensor) {
  EXPECT_FALSE(sensor.bConnect);
  EXPECT_FALSE(sensor.bSensorRun);
  EXPECT_FALSE(sensor.bSampleMode);
  EXPECT_EQ(sensor.sock_Client, -1);
  EXPECT_EQ(sensor.hThrd, nullptr);
  EXPECT_EQ(sensor.hThrdUnpack, nullptr);
}

class SensorLifecycle : public ::testing::Test {
 protected:
  /// Nothing more than when the test began.
  void expectNothingLeft() {
    EXPECT_EQ(entries("/proc/self/fd").size(), descriptors);
    // A thread that was joined leaves the list a moment later.
    EXPECT_TRUE(eventually([&] { return entries("/proc/self/task").size() <= threads; }));
  }

  /// A failed start leaves nothing behind, and the next one works at once.
  void expectFailsThenStarts(
      const char* address, ZelInfoCode code, const std::function<void()>& repair = [] {}) {
    SensorEtherNet_UDP sensor;
    EXPECT_FALSE(sensor.initialFTSensor(peer.port(), address));
    EXPECT_EQ(sensor.CODE, code);
    expectClosed(sensor);
    repair();
    start(sensor);
    expectStops(sensor);
  }

  void start(SensorEtherNet_UDP& sensor) {
    peer.expectStartUp();
    EXPECT_TRUE(sensor.initialFTSensor(peer.port(), "127.0.0.1"));
    peer.expect(stopCommand);
  }

  void expectStops(SensorEtherNet_UDP& sensor) {
    EXPECT_TRUE(sensor.uninitialFTSensor());
    expectClosed(sensor);
    expectNothingLeft();
  }

  ScriptedSensor peer;
  const std::size_t descriptors = entries("/proc/self/fd").size();
  const std::size_t threads = entries("/proc/self/task").size();
};

TEST_F(SensorLifecycle, AddressesThatAreNotFourDottedNumbers) {
  for (const char* text : {static_cast<const char*>(nullptr), "", "127.0.0", "127.0.0.1.1",
                           "127.0.0.x", "127..0.1", " 127.0.0.1", "127.0.0.1 ", "-1.0.0.1"}) {
    SCOPED_TRACE(text ? text : "null");
    expectFailsThenStarts(text, COMM_IP_ERROR);
  }
}

TEST_F(SensorLifecycle, LocalPortTaken) {
  const int blocker = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in local = {};
  local.sin_family = AF_INET;
  local.sin_port = htons(52000);
  ASSERT_EQ(bind(blocker, reinterpret_cast<sockaddr*>(&local), sizeof local), 0);
  expectFailsThenStarts("127.0.0.1", COMM_PORT_ERROR, [&] { close(blocker); });
}

TEST_F(SensorLifecycle, NoAnswerToTheIdentityQuery) {
  peer.expect(binarySwitch, {"00 11 22"});
  peer.expect(identityQuery);
  expectFailsThenStarts("127.0.0.1", COMM_PORT_ERROR);
}

TEST_F(SensorLifecycle, NoThreadToBeHad) {
  for (int first : {0, 1}) {
    threadsUntilFailure = first;
    expectFailsThenStarts("127.0.0.1", COMM_THREAD_OPEN_ERROR, [] {
      EXPECT_EQ(threadsUntilFailure, -1) << "nobody asked for the thread";
    });
  }
}

TEST_F(SensorLifecycle, ShutDownFromEveryStateAndTwice) {
  const auto opened = [&](SensorEtherNet_UDP& sensor) {
    EXPECT_TRUE(
        sensor.initSensorEtherNet_UDPIF(static_cast<std::uint16_t>(peer.port()), "127.0.0.1"));
  };
  const std::vector<std::function<void(SensorEtherNet_UDP&)>> states = {
      [](SensorEtherNet_UDP&) {},
      opened,
      [&](SensorEtherNet_UDP& sensor) {  // streams without being connected
        opened(sensor);
        peer.expect(startCommand);
        sensor.startSample();
      },
      [&](SensorEtherNet_UDP& sensor) { start(sensor); },
      [&](SensorEtherNet_UDP& sensor) {  // frames under way
        start(sensor);
        for (int i = 0; i < 200; ++i) peer.send(frameOf({1000, 0, 0, 0, 0, 0}));
      },
      [&](SensorEtherNet_UDP& sensor) {  // polled
        start(sensor);
        EXPECT_TRUE(sensor.setFTSensorStopSample());
      },
  };
  for (const auto& reach : states) {
    {
      SensorEtherNet_UDP sensor;
      reach(sensor);
      expectStops(sensor);
      expectStops(sensor);
    }
    {
      SensorEtherNet_UDP destroyedInThatState;
      reach(destroyedInThatState);
    }
    expectNothingLeft();
  }
}

TEST_F(SensorLifecycle, OpeningAnOpenLinkIsRefused) {
  SensorEtherNet_UDP sensor;
  const auto port = static_cast<std::uint16_t>(peer.port());
  EXPECT_TRUE(sensor.initSensorEtherNet_UDPIF(port, "127.0.0.1"));
  EXPECT_FALSE(sensor.initSensorEtherNet_UDPIF(port, "127.0.0.1"));
  EXPECT_EQ(sensor.CODE, COMM_PORT_ERROR);
  start(sensor);  // takes the half-open link down first
  expectStops(sensor);
}

// The descriptor 0 that a never-opened sensor might take for its own, and the one that gets a
// closed sensor's number.
TEST_F(SensorLifecycle, ForeignDescriptorsStayOpen) {
  int foreign = -1;
  std::set<std::string> all;
  {
    SensorEtherNet_UDP sensor;
    all = entries("/proc/self/fd");
    EXPECT_TRUE(sensor.uninitialFTSensor());
    EXPECT_EQ(entries("/proc/self/fd"), all);

    start(sensor);
    const int number = sensor.sock_Client;
    EXPECT_TRUE(sensor.uninitialFTSensor());
    foreign = open("/dev/null", O_RDONLY);
    EXPECT_EQ(foreign, number);
    all = entries("/proc/self/fd");
    EXPECT_TRUE(sensor.uninitialFTSensor());
  }
  EXPECT_EQ(entries("/proc/self/fd"), all);
  close(foreign);
}

// Through the flat interface. ZEL_FTC_ROUNDS sets the number of rounds.
TEST_F(SensorLifecycle, RoundsWithoutGrowth) {
  const char* wanted = std::getenv("ZEL_FTC_ROUNDS");
  const int rounds = wanted == nullptr ? 4 : std::atoi(wanted);
  std::size_t held = 0;
  for (int round = 0; round < rounds; ++round) {
    ASSERT_EQ(zel_ftc_open(false), 1);
    peer.expectStartUp();
    ASSERT_EQ(zel_ftc_initialFTSensor(static_cast<unsigned short>(peer.port()), "127.0.0.1"), 1);
    double values[6] = {};
    EXPECT_EQ(zel_ftc_obtainFTSensorData(values), 0) << "no frame yet";
    peer.send(frameOf({1000, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(eventually([&] { return zel_ftc_obtainFTSensorData(values) == 1; }));
    EXPECT_EQ(values[0], 1.0);
    EXPECT_EQ(zel_info_.IPOC, 1);
    peer.expect(stopCommand);
    EXPECT_EQ(zel_ftc_close(), 1);
    peer.expectDone();
    expectNothingLeft();
    // Not to the byte, chunks in the caches of threads count; the address sanitizer does that.
    constexpr std::size_t caches = 16384;
    const std::size_t now = mallinfo2().uordblks;
    if (round > 0) {
      EXPECT_LE(now, held + caches) << "round " << round;
    } else {
      held = now;
    }
  }
}

}  // namespace
