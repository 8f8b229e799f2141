// A sensor on 127.0.0.1 that follows a script of literal datagrams, and what the tests of the
// network sensor share. The script is the judge: a datagram that it does not expect fails the test,
// and so do steps that are left when the sensor goes away.
#ifndef ZEL_FTC_TESTS_FT_SCRIPTEDSENSOR_H
#define ZEL_FTC_TESTS_FT_SCRIPTEDSENSOR_H

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <deque>
#include <initializer_list>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ft/ZelForceSensorEtherNetUDP.h"
#include "tests/ft/sensor_packets.h"

namespace testing_ft {

/// Waits for a condition that another thread brings about; false when it has not after 10 s.
template <typename Condition>
bool eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    usleep(200);
  }
  return true;
}

class ScriptedSensor {
 public:
  ScriptedSensor() : descriptor(socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in local = {};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof local;
    EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&local), size), 0);
    EXPECT_EQ(getsockname(descriptor, reinterpret_cast<sockaddr*>(&local), &size), 0);
    port_ = ntohs(local.sin_port);
    const timeval poll = {0, 10000};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &poll, sizeof poll);
    thread = std::thread([this] { serve(); });
  }

  ~ScriptedSensor() {
    expectDone();
    stop = true;
    thread.join();
    close(descriptor);
  }

  int port() const { return port_; }

  /// The next datagram of the driver must be `command`; the answers follow at once.
  void expect(const std::string& command, std::initializer_list<std::string> answers = {}) {
    const std::lock_guard guard(mutex);
    script.emplace_back(command, answers);
  }

  void expectStartUp() {
    expect(binarySwitch);
    expect(identityQuery, {identityAnswer});
    expect(startCommand);
  }

  /// Fails when steps remain that nobody has taken (datagrams under way get time to arrive).
  void expectDone() {
    eventually([this] {
      const std::lock_guard guard(mutex);
      return script.empty();
    });
    const std::lock_guard guard(mutex);
    for (const auto& step : script) ADD_FAILURE() << "never sent by the driver: " << step.first;
    script.clear();
  }

  /// Sends a datagram to the driver's port unasked.
  void send(const Bytes& datagram) {
    sockaddr_in driver = {};
    driver.sin_family = AF_INET;
    driver.sin_port = htons(52000);
    driver.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sendTo(driver, datagram);
  }
  void send(const std::string& hex) { send(fromHex(hex)); }

 private:
  using Step = std::pair<std::string, std::vector<std::string>>;

  void sendTo(const sockaddr_in& address, const Bytes& bytes) {
    EXPECT_EQ(sendto(descriptor, bytes.data(), bytes.size(), 0,
                     reinterpret_cast<const sockaddr*>(&address), sizeof address),
              static_cast<ssize_t>(bytes.size()));
  }

  void serve() {
    Bytes buffer(512);
    while (!stop) {
      sockaddr_in peer = {};
      socklen_t size = sizeof peer;
      const ssize_t length = recvfrom(descriptor, buffer.data(), buffer.size(), 0,
                                      reinterpret_cast<sockaddr*>(&peer), &size);
      if (length < 0) continue;
      const std::string got = toHex(Bytes(buffer.begin(), buffer.begin() + length));
      Step step;
      {
        const std::lock_guard guard(mutex);
        if (script.empty()) {
          ADD_FAILURE() << "not expected from the driver: " << got;
          continue;
        }
        step = script.front();
        EXPECT_EQ(got, step.first);
        EXPECT_EQ(ntohs(peer.sin_port), 52000);
        script.pop_front();
      }
      for (const std::string& answer : step.second) {
        sendTo(peer, fromHex(answer));
      }
    }
  }

  int descriptor;
  int port_ = 0;
  std::mutex mutex;
  std::deque<Step> script;
  std::atomic<bool> stop{false};
  std::thread thread;
};

struct Reading {
  bool normal = false;
  std::array<double, 6> value = {};
  zel_ft_info_t info = {};
};

inline Reading read(SensorEtherNet_UDP& sensor) {
  Reading reading;
  reading.value.fill(-99);
  reading.normal = sensor.getFTSensorData(reading.value.data(), reading.info);
  return reading;
}

/// A driver that streams from a scripted sensor, already started.
class Streaming : public ::testing::Test {
 protected:
  Streaming() {
    peer.expectStartUp();
    EXPECT_TRUE(sensor.initialFTSensor(peer.port(), "127.0.0.1"));
    peer.expectDone();
  }
  ~Streaming() override {
    if (sensor.bSampleMode) peer.expect(stopCommand);
    EXPECT_TRUE(sensor.uninitialFTSensor());
  }

  /// Sends a frame and waits until it is read.
  void streamOne(const Bytes& datagram) {
    const int before = sensor.IPOC;
    peer.send(datagram);
    EXPECT_TRUE(eventually([&] { return sensor.IPOC != before; }));
    // The count comes just before the reading itself.
    const double first = static_cast<float>(channel(datagram, 0)) / 1000.0F;
    EXPECT_TRUE(eventually([&] { return read(sensor).value[0] == first; }));
  }

  ScriptedSensor peer;
  SensorEtherNet_UDP sensor;
};

}  // namespace testing_ft

#endif
