#include "sim/sensor_faults.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <stdexcept>

#include "sim/sensor_simulator.h"
#include "tests/sim/sensor_client.h"

namespace zel::sim::test {
namespace {

using ::testing::ElementsAre;

/// A streamed frame with its number in Fx.
Bytes frame(int number) {
  return testing_ft::frameOf({number, 0x55555555, 0x55555555, 0x55555555, 0x55555555, 0x55555555});
}

SensorFaults one(Fault fault, Occurrence when) {
  SensorFaults faults;
  faults[fault] = when;
  return faults;
}

/// What leaves when frames 1 to `count` are sent through the faults.
std::vector<FaultInjector::Datagram> sendFrames(const SensorFaults& faults, int count) {
  FaultInjector injector;
  injector.set(faults);
  std::vector<FaultInjector::Datagram> out;
  for (int n = 1; n <= count; ++n) injector.pass(frame(n), out);
  return out;
}

std::vector<int> numbers(const std::vector<FaultInjector::Datagram>& datagrams) {
  std::vector<int> result;
  for (const auto& [bytes, delay] : datagrams) result.push_back(channel(bytes, 0));
  return result;
}

Bytes joined(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

TEST(SensorFaults, TakeProbabilitiesAndEveryNth) {
  EXPECT_EQ(0.05, parseOccurrence("0.05").probability);
  EXPECT_EQ(1.0, parseOccurrence("1").probability);
  EXPECT_EQ(20u, parseOccurrence("1/20").every);
  for (const char* text : {"", "x", "-0.1", "1.01", "1/0", "1/", "1/-2", "2/3", "0.5 ", "nan"}) {
    EXPECT_THROW(parseOccurrence(text), std::invalid_argument) << text;
  }
  EXPECT_THROW(one(Fault::loss, {.probability = 1.5}).check(), std::invalid_argument);
  SensorFaults faults;
  EXPECT_NO_THROW(faults.check());
  faults.jitter = NAN;
  EXPECT_THROW(faults.check(), std::invalid_argument);
}

TEST(SensorFaults, StrikeEveryNthPacket) {
  EXPECT_THAT(numbers(sendFrames(one(Fault::loss, {.every = 3}), 7)), ElementsAre(1, 2, 4, 5, 7));
  EXPECT_THAT(numbers(sendFrames(one(Fault::duplication, {.every = 2}), 4)),
              ElementsAre(1, 2, 2, 3, 4, 4));
  EXPECT_THAT(numbers(sendFrames(one(Fault::reordering, {.every = 3}), 7)),
              ElementsAre(1, 2, 4, 3, 5, 7, 6));
  EXPECT_THAT(numbers(sendFrames(one(Fault::reordering, {.every = 1}), 4)),
              ElementsAre(2, 1, 4, 3));
}

TEST(SensorFaults, StrikeWithTheirProbabilityTheSameForTheSameSeed) {
  SensorFaults faults = one(Fault::loss, {.probability = 0.25});
  const std::vector<int> first = numbers(sendFrames(faults, 4000));
  EXPECT_NEAR(3000, static_cast<double>(first.size()), 4 * std::sqrt(4000 * 0.25 * 0.75));
  EXPECT_EQ(first, numbers(sendFrames(faults, 4000)));
  faults.seed = 2;
  EXPECT_NE(first, numbers(sendFrames(faults, 4000)));
}

TEST(SensorFaults, DamageWhatTheyNameAndNothingElse) {
  const auto wrongBytes = [](const Bytes& bytes, int number) {
    const Bytes good = frame(number);
    EXPECT_EQ(good.size(), bytes.size());
    std::vector<std::size_t> wrong;
    for (std::size_t i = 0; i < std::min(good.size(), bytes.size()); ++i) {
      if (bytes[i] != good[i]) wrong.push_back(i);
    }
    return wrong;
  };
  SensorFaults corruption = one(Fault::corruption, {.every = 1});
  std::set<std::size_t> places;
  int number = 0;
  for (const auto& [bytes, delay] : sendFrames(corruption, 200)) {
    const auto wrong = wrongBytes(bytes, ++number);
    ASSERT_EQ(1u, wrong.size());
    places.insert(wrong[0]);
  }
  EXPECT_GT(places.size(), 30u) << "of 34 bytes";
  corruption.corrupt_at = 17;
  EXPECT_THAT(wrongBytes(sendFrames(corruption, 1)[0].bytes, 1), ElementsAre(17));
  EXPECT_THAT(wrongBytes(sendFrames(one(Fault::wrong_crc, {.every = 1}), 1)[0].bytes, 1),
              ElementsAre(30, 31));

  SensorFaults status = one(Fault::status, {.every = 1});
  status.status_byte = 254;
  const Bytes flagged = sendFrames(status, 1)[0].bytes;
  EXPECT_EQ(254, flagged[4]);
  EXPECT_TRUE(isWholePacket(flagged));
}

TEST(SensorFaults, CutAndJoinPacketsWithTheirBytesInOrder) {
  int number = 0;
  for (const auto& [bytes, delay] : sendFrames(one(Fault::truncation, {.every = 1}), 50)) {
    const Bytes good = frame(++number);
    ASSERT_FALSE(bytes.empty());
    ASSERT_LT(bytes.size(), good.size());
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), good.begin()));
  }

  SensorFaults merging = one(Fault::merging, {.every = 2});
  merging.merged_packets = 3;
  const auto merged = sendFrames(merging, 5);
  ASSERT_EQ(3u, merged.size());
  EXPECT_EQ(frame(1), merged[0].bytes);
  EXPECT_EQ(joined({frame(2), frame(3), frame(4)}), merged[1].bytes);
  EXPECT_EQ(frame(5), merged[2].bytes);

  const auto split = sendFrames(one(Fault::splitting, {.every = 1}), 50);
  ASSERT_EQ(100u, split.size());
  for (std::size_t i = 0; i < 100; i += 2) {
    EXPECT_FALSE(split[i].bytes.empty() || split[i + 1].bytes.empty());
    EXPECT_EQ(frame(static_cast<int>(i / 2) + 1), joined({split[i].bytes, split[i + 1].bytes}));
  }

  const auto garbage = sendFrames(one(Fault::garbage, {.every = 2}), 2);
  ASSERT_EQ(3u, garbage.size());
  EXPECT_FALSE(isWholePacket(garbage[1].bytes));
  EXPECT_EQ(frame(2), garbage[2].bytes);
}

TEST(SensorFaults, DelayAndJitterSpanTheirRange) {
  SensorFaults faults;
  faults.delay = 2.0;
  faults.jitter = 0.5;
  const auto out = sendFrames(faults, 200);
  const auto [least, most] = std::minmax_element(
      out.begin(), out.end(), [](const auto& a, const auto& b) { return a.delay < b.delay; });
  EXPECT_GE(least->delay, 2.0);
  EXPECT_LT(least->delay, 2.05);
  EXPECT_LT(most->delay, 2.5);
  EXPECT_GT(most->delay, 2.45);
}

TEST(SensorFaults, StrikeRepliesOnlyWhenAskedFor) {
  SensorSimulator simulator(SensorSimulatorConfig{});
  simulator.start();
  UdpClient client(simulator.port());
  SensorFaults faults = one(Fault::loss, {.every = 2});
  simulator.setFaults(faults);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(17u, client.exchange(askIdentity).size());
  faults.replies = true;
  simulator.setFaults(faults);
  EXPECT_EQ(17u, client.exchange(askIdentity).size());
  client.send(askIdentity);  // lost
  EXPECT_EQ(zeroReset, client.exchange(zeroReset));
}

TEST(SensorFaults, ADeadSensorHasLostTheStreamAndWhatWasNotSaved) {
  SensorSimulator simulator(SensorSimulatorConfig{});
  simulator.start();
  UdpClient client(simulator.port());
  client.exchange(command(24, {7}));
  client.exchange(command(9));
  client.exchange(command(32, {5}));
  client.send(startCapture);
  client.receive(3);

  SensorFaults faults;
  faults.dead = true;
  simulator.setFaults(faults);
  const std::uint64_t frames = simulator.statistics().frames;
  client.send(command(24, {1}));
  EXPECT_EQ(frames, simulator.statistics().frames);
  simulator.setFaults({});
  EXPECT_FALSE(simulator.streaming());
  client.stopStream();
  EXPECT_EQ(6u, simulator.commands().size()) << "nothing heard while dead";
  EXPECT_EQ(7, simulator.settings().low_pass);
  EXPECT_EQ(0, simulator.settings().median_depth);
}

}  // namespace
}  // namespace zel::sim::test
