#include "sim/sensor_simulator.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <limits>
#include <system_error>

#include "tests/sim/sensor_client.h"

namespace zel::sim::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// Fx counts the samples in thousandths: the stamp of a frame is channel 0.
WrenchSource counting(double rate) {
  return [rate](double seconds) { return Wrench{std::round(seconds * rate) / 1000.0}; };
}

struct RunningSensor {
  explicit RunningSensor(SensorSimulatorConfig config) : simulator(std::move(config)) {
    simulator.start();
    client.emplace(simulator.port());
  }
  explicit RunningSensor(const Wrench& wrench)
      : RunningSensor(SensorSimulatorConfig{.source = [wrench](double) { return wrench; }}) {}

  SensorSimulator simulator;
  std::optional<UdpClient> client;
};

std::size_t entries(const char* folder) {
  const std::filesystem::directory_iterator all(folder);
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST(SensorSimulator, IdentityAndDataFramesOnLiteralBytes) {
  RunningSensor named(SensorSimulatorConfig{
      .identity = {.model = 3, .range = 7, .id = 0x1234, .year = 24, .month = 11, .date = 30}});
  EXPECT_EQ(fromHex("F6 6F 0A 00 00 10 18 0B 1E 03 07 34 12 65 95 6F F6"),
            named.client->exchange(askIdentity));

  const struct {
    Wrench wrench;
    const char* frame;
  } cases[] = {
      // mN as they are, mN m negated: the driver turns the torques round after decoding.
      {{1.5, -2.0, 0.0014, 1.0, -0.25, 0.0004},
       "F6 6F 1B 00 00 04 DC 05 00 00 30 F8 FF FF 01 00 00 00 18 FC FF FF FA 00 00 00 "
       "00 00 00 00 AA 8B 6F F6"},
      // Beyond 32 bits: saturated and overloaded.
      {{1e300, -3e6, 0.0, 2147483.649, -1e300, 0.0},
       "F6 6F 1B 00 FE 04 FF FF FF 7F 00 00 00 80 00 00 00 00 00 00 00 80 FF FF FF 7F "
       "00 00 00 00 A8 AE 6F F6"},
      // Not finite: a data error.
      {{1.0, std::numeric_limits<double>::quiet_NaN(), 2.0},
       "F6 6F 1B 00 FF 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
       "00 00 00 00 5F 16 6F F6"},
  };
  for (const auto& [wrench, frame] : cases) {
    RunningSensor sensor(wrench);
    EXPECT_EQ(fromHex(frame), sensor.client->exchange(singleCapture));
  }
}

// The range belongs to the model and to the physical load: zeroing does not widen it.
TEST(SensorSimulator, OverloadFollowsTheModelNotTheZero) {
  for (const auto& [model, status] : {std::pair{1, 0}, {2, 254}, {3, 0}, {5, 0}, {77, 0}}) {
    SensorSimulatorConfig config{.source = [](double) { return Wrench{0, 0, 201}; }};
    config.identity.model = static_cast<std::uint8_t>(model);
    RunningSensor sensor(config);
    sensor.client->exchange(zeroReset);
    const Bytes frame = sensor.client->exchange(singleCapture);
    EXPECT_EQ(status, frame.at(4)) << "model " << model;
    EXPECT_EQ(0, channel(frame, 2));
  }
}

TEST(SensorSimulator, StreamsEverySampleInOrderAtEachRate) {
  for (const double rate : {50.0, 4000.0}) {
    RunningSensor sensor(SensorSimulatorConfig{.rate = rate, .source = counting(rate)});
    sensor.client->send(startCapture);
    for (int n = 0; n < static_cast<int>(rate / 10.0); ++n) {
      const Bytes frame = sensor.client->receive();
      ASSERT_TRUE(isWholePacket(frame));
      ASSERT_EQ(34u, frame.size());
      ASSERT_EQ(2, frame[5]);
      ASSERT_EQ(n, channel(frame, 0));
    }
    EXPECT_TRUE(sensor.simulator.streaming());
  }
}

TEST(SensorSimulator, StopCaptureEndsTheStreamAndStartCaptureGoesOnWithIt) {
  RunningSensor sensor(SensorSimulatorConfig{.source = counting(1000.0)});
  sensor.client->send(startCapture);
  const std::int32_t first = channel(sensor.client->receive(5).back(), 0);
  sensor.client->stopStream();
  EXPECT_FALSE(sensor.simulator.streaming());
  const std::uint64_t frames = sensor.simulator.statistics().frames;

  // Nothing but the answers arrives while the stream is off; a single capture is the next sample.
  const Bytes single = sensor.client->exchange(singleCapture);
  EXPECT_EQ(4, single.at(5));
  EXPECT_EQ(static_cast<std::int64_t>(frames), channel(single, 0));
  EXPECT_GT(channel(single, 0), first);
  sensor.client->send(startCapture);
  EXPECT_EQ(channel(single, 0) + 1, channel(sensor.client->receive(), 0));
}

TEST(SensorSimulator, ZeroResetMakesThePresentLoadTheZero) {
  std::atomic<double> fz = 12.5;
  RunningSensor sensor(
      SensorSimulatorConfig{.source = [&fz](double) { return Wrench{0, 0, fz, 0, 0.5, 0}; }});
  EXPECT_EQ(command(11), sensor.client->exchange(zeroReset));
  fz = 13.0;
  const Bytes frame = sensor.client->exchange(singleCapture);
  EXPECT_EQ(500, channel(frame, 2));
  EXPECT_EQ(0, channel(frame, 4));
}

TEST(SensorSimulator, KeepsAndLogsEverySetting) {
  RunningSensor sensor(Wrench{});
  const Bytes six =
      fromHex("E8 03 00 00 18 FC FF FF 01 00 00 00 00 00 00 00 FF FF FF 7F 00 00 00 80");
  const struct {
    std::uint8_t code;
    Bytes payload;
    const char* text;
  } cases[] = {
      {24, {3}, "SET_FILTER_RANG (24): 3"},
      {32, {9}, "SET_MEDIAN_FILTER_PARA (32): 9"},
      {18, fromHex("05 FE FF FF FF 07 00 00 80 06 01 02 00 00 08 00 00 00"),
       "SET_KALMAN_FILTER_PARA (18): K 5 threshold -2 checks 2147483655, "
       "K 6 threshold 513 checks 8"},
      {17, {1}, "ENABLE_KALMAN_FILTER (17): on"},
      {19, six, "TOOL_TRANSFORM (19): 1.000 -1.000 0.001 0.000 2147483.647 -2147483.648"},
      {25, {192, 168, 0, 7}, "SET_NET_IP (25): 192.168.0.7"},
      {28, {0x34, 0x12}, "SET_NET_PORT_NUMBER (28): 4660"},
      {37, {1}, "ENABLE_ALARM_OUTPUT (37): on"},
      {36, six,
       "SET_ALARM_THRESHOLD_VALUE (36): 1.000 -1.000 0.001 0.000 2147483.647 -2147483.648"},
      {9, {}, "SAVE_TO_PROFILE (9)"},
  };
  for (const auto& [code, payload, text] : cases) {
    EXPECT_EQ(command(code), sensor.client->exchange(command(code, payload)));
    const SensorCommand received = sensor.simulator.commands().back();
    EXPECT_TRUE(received.accepted);
    EXPECT_EQ(text, received.text);
  }
  const SensorSettings kept = sensor.simulator.settings();
  EXPECT_EQ(3, kept.low_pass);
  EXPECT_EQ(8u, kept.kalman_para[1].num_check);
  EXPECT_THAT(kept.tool_transform, ElementsAre(1, -1, 0.001, 0, 2147483.647, -2147483.648));
  EXPECT_EQ(4660, kept.net_port);
  EXPECT_EQ(std::size(cases), sensor.simulator.statistics().commands);
}

TEST(SensorSimulator, AlarmIsRaisedByTheAxisBeyondItsThresholdAndStaysUntilCleared) {
  RunningSensor sensor(Wrench{5, 0, -8, -2, 0, 0});
  const auto alarmAxes = [&] {
    const Bytes reply = sensor.client->exchange(command(38));
    EXPECT_TRUE(isWholePacket(reply));
    return Bytes(reply.begin() + 6, reply.end() - 4);
  };
  // Thresholds 5, 5, 7.999, 1.5, 1, 1: not exceeded by 5.
  sensor.client->exchange(command(36, fromHex("88 13 00 00 88 13 00 00 3F 1F 00 00 DC 05 00 00 "
                                              "E8 03 00 00 E8 03 00 00")));
  EXPECT_THAT(alarmAxes(), ElementsAre(0, 0, 0, 0, 0, 0)) << "the alarm is not enabled yet";
  sensor.client->exchange(command(37, {1}));
  EXPECT_THAT(alarmAxes(), ElementsAre(0, 0, 1, 1, 0, 0));
  sensor.client->exchange(zeroReset);  // takes the load away, not the alarm
  EXPECT_THAT(alarmAxes(), ElementsAre(0, 0, 1, 1, 0, 0));
  EXPECT_EQ(command(35), sensor.client->exchange(command(35)));
  EXPECT_FALSE(sensor.simulator.alarmRaised());
}

TEST(SensorSimulator, IgnoresWhatIsNoValidCommandAndSaysWhy) {
  RunningSensor sensor(Wrench{});
  Bytes wrongCrc = askIdentity, wrongTail = askIdentity, wrongHead = askIdentity;
  wrongCrc[6] ^= 1;
  wrongTail.back() ^= 1;
  wrongHead[1] ^= 1;
  Bytes two = askIdentity;
  two.insert(two.end(), askIdentity.begin(), askIdentity.end());
  const struct {
    Bytes datagram;
    const char* why;
  } cases[] = {
      {{}, "0 bytes that are not one command packet"},
      {wrongHead, "not one command packet"},
      {wrongTail, "not one command packet"},
      {two, "20 bytes that are not one command packet"},
      {Bytes(1500, 0xF6), "not one command packet"},
      {wrongCrc, "wrong CRC"},
      {command(99), "unknown command 99"},
      {command(5, {1}), "SET_SAMPLE_RATE (5) is not supported"},
      {command(24, {1, 2}), "SET_FILTER_RANG (24) has 2 payload bytes instead of 1"},
      {command(37, {2}), "ENABLE_ALARM_OUTPUT (37): 2 is neither 0 nor 1"},
  };
  for (const auto& [datagram, why] : cases) {
    sensor.client->send(datagram);
    EXPECT_EQ(17u, sensor.client->exchange(askIdentity).size()) << why;
    const std::vector<SensorCommand> commands = sensor.simulator.commands();
    const SensorCommand& ignored = commands.at(commands.size() - 2);
    EXPECT_FALSE(ignored.accepted);
    EXPECT_THAT(ignored.text, HasSubstr(why));
  }
  EXPECT_EQ(std::size(cases), sensor.simulator.statistics().ignored);
}

TEST(SensorSimulator, TheEndOfTheSourceEndsTheStream) {
  RunningSensor sensor(SensorSimulatorConfig{.source = [](double seconds) {
    return seconds < 0.0045 ? std::optional(Wrench{seconds}) : std::nullopt;
  }});
  sensor.client->send(startCapture);
  EXPECT_EQ(4, channel(sensor.client->receive(5).back(), 0));
  sensor.client->send(singleCapture);  // unanswered
  EXPECT_EQ(17u, sensor.client->exchange(askIdentity).size());
  EXPECT_FALSE(sensor.simulator.streaming());
  EXPECT_TRUE(sensor.simulator.ended());
}

TEST(SensorSimulator, RefusesABadRateAndATakenPort) {
  for (const double rate : {0.999, 4000.1, std::nan("")}) {
    EXPECT_THROW(SensorSimulator(SensorSimulatorConfig{.rate = rate}), std::invalid_argument);
  }
  auto first = std::make_unique<SensorSimulator>(SensorSimulatorConfig{});
  first->start();
  const std::uint16_t port = first->port();
  SensorSimulator second(SensorSimulatorConfig{.port = port});
  try {
    second.start();
    ADD_FAILURE() << "two sensors on one port";
  } catch (const std::system_error& error) {
    EXPECT_EQ(std::errc::address_in_use, error.code());
    EXPECT_THAT(error.what(), HasSubstr("127.0.0.1:" + std::to_string(port)));
  }
  first.reset();
  second.start();
  EXPECT_EQ(17u, UdpClient(port).exchange(askIdentity).size());
}

TEST(SensorSimulator, StopsWhileStreamingAndLeavesNothingBehind) {
  // The first round is not counted: what the process starts for good with its first thread (a
  // sanitizer's own, say) is there afterwards.
  std::size_t descriptors = 0, threads = 0;
  for (int round = 0; round < 20; ++round) {
    RunningSensor sensor(SensorSimulatorConfig{.rate = 4000.0});
    sensor.client->send(startCapture);
    sensor.client->receive();
    sensor.simulator.stop();
    sensor.simulator.stop();
    if (round == 0) {
      threads = entries("/proc/self/task");
      descriptors = entries("/proc/self/fd");
    }
    // The system lists a thread for a moment after it has been joined.
    for (int wait = 0; wait < 1000 && entries("/proc/self/task") > threads; ++wait) usleep(1000);
    EXPECT_LE(entries("/proc/self/task"), threads);
    EXPECT_EQ(descriptors, entries("/proc/self/fd"));
    sensor.simulator.start();
    UdpClient again(sensor.simulator.port());
    EXPECT_EQ(17u, again.exchange(askIdentity).size());
  }
}

}  // namespace
}  // namespace zel::sim::test
