// A sensor on 127.0.0.1 that follows a script of literal datagrams, and what the tests of the
// network sensor share. The script is the judge: a datagram that it does not expect fails the test,
// and so do steps that are left when the sensor goes away.
#ifndef ZEL_FTC_TESTS_FT_SCRIPTEDSENSOR_H
#define ZEL_FTC_TESTS_FT_SCRIPTEDSENSOR_H

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ft/ZelForceSensorEtherNetUDP.h"

namespace testing_ft {

using Bytes = std::vector<std::uint8_t>;

inline Bytes fromHex(const std::string& text) {
  std::istringstream in(text);
  Bytes bytes;
  for (unsigned value; in >> std::hex >> value;) bytes.push_back(static_cast<std::uint8_t>(value));
  return bytes;
}

inline std::string toHex(const Bytes& bytes) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  for (std::uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

/// A packet around the N bytes of `body`. CRC bit by bit, from its definition.
inline Bytes packetAround(const Bytes& body) {
  unsigned crc = 0xFFFF;
  for (std::uint8_t byte : body) {
    crc ^= unsigned{byte} << 8;
    for (int bit = 0; bit < 8; ++bit) crc = (crc << 1 ^ (crc & 0x8000 ? 0x1021 : 0)) & 0xFFFF;
  }
  Bytes packet(body.size() + 7);
  packet[0] = 0xF6;
  packet[1] = 0x6F;
  packet[2] = static_cast<std::uint8_t>(body.size());
  std::copy(body.begin(), body.end(), packet.begin() + 3);
  auto end = packet.end() - 4;
  for (unsigned byte : {crc & 0xFF, crc >> 8, 0x6FU, 0xF6U}) {
    *end++ = static_cast<std::uint8_t>(byte);
  }
  return packet;
}

/// A data frame: six channels in thousandths, behind them `extra` bytes that mean nothing.
inline Bytes frameOf(const std::array<std::int32_t, 6>& channels, std::uint8_t status = 0,
                     std::uint8_t command = 2, std::size_t extra = 0) {
  Bytes body = {0, status, command};
  for (std::int32_t channel : channels) {
    for (int i = 0; i < 4; ++i) {
      body.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(channel) >> (8 * i)));
    }
  }
  body.resize(body.size() + extra, 0x5A);
  return packetAround(body);
}

inline const std::string binarySwitch = "3C 42 49 4E 41 52 59 3E";  // <BINARY>
inline const std::string startCommand = "F6 6F 03 00 00 02 DE EC 6F F6";
inline const std::string stopCommand = "F6 6F 03 00 00 03 FF FC 6F F6";
inline const std::string captureCommand = "F6 6F 03 00 00 04 18 8C 6F F6";
inline const std::string identityQuery = "F6 6F 03 00 00 10 AD DE 6F F6";
/// 2024-11-30, model 2 (150, 150, 200 N; 4, 4, 4 N m), range 9, id 0x1234.
inline const std::string identityAnswer = "F6 6F 0A 00 00 10 18 0B 1E 02 09 34 12 D0 F8 6F F6";

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
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (remaining() > 0 && std::chrono::steady_clock::now() < deadline) usleep(1000);
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
    EXPECT_EQ(sendto(descriptor, datagram.data(), datagram.size(), 0,
                     reinterpret_cast<sockaddr*>(&driver), sizeof driver),
              static_cast<ssize_t>(datagram.size()));
  }
  void send(const std::string& hex) { send(fromHex(hex)); }

 private:
  using Step = std::pair<std::string, std::vector<std::string>>;

  std::size_t remaining() {
    const std::lock_guard guard(mutex);
    return script.size();
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
        const Bytes bytes = fromHex(answer);
        sendto(descriptor, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&peer), size);
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

  /// Sends a datagram that completes exactly one frame and waits until the frame is counted.
  void streamOne(const Bytes& datagram) {
    const int before = sensor.IPOC;
    peer.send(datagram);
    EXPECT_TRUE(eventually([&] { return sensor.IPOC != before; }));
    // The count comes just before the reading itself.
    const double first = readSingle(datagram);
    EXPECT_TRUE(eventually([&] { return read(sensor).value[0] == first; }));
  }

  /// First channel of a datagram that is one frame.
  static double readSingle(const Bytes& frame) {
    std::uint32_t raw = 0;
    for (int i = 3; i >= 0; --i) raw = raw << 8 | frame[static_cast<std::size_t>(6 + i)];
    return static_cast<float>(static_cast<std::int32_t>(raw)) / 1000.0F;
  }

  ScriptedSensor peer;
  SensorEtherNet_UDP sensor;
};

}  // namespace testing_ft

#endif
