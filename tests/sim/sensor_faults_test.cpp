#include "sim/sensor_faults.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <semaphore>
#include <set>
#include <stdexcept>

#include "sim/sensor_simulator.h"
#include "tests/sim/sensor_client.h"

namespace zel::sim::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// A streamed frame with its number in Fx.
Bytes frame(std::uint8_t number) {
  Bytes payload(24, 0x55);
  payload[0] = number;
  std::fill_n(payload.begin() + 1, 3, 0);
  return command(2, payload);
}

SensorFaults one(Fault fault, Occurrence when) {
  SensorFaults faults;
  faults[fault] = when;
  return faults;
}

/// What leaves when frames 1 to `count` are sent through the faults.
std::vector<FaultInjector::Datagram> sendFrames(const SensorFaults& faults, std::uint8_t count) {
  FaultInjector injector;
  injector.set(faults);
  std::vector<FaultInjector::Datagram> out;
  for (std::uint8_t n = 1; n <= count; ++n) injector.pass(frame(n), out);
  return out;
}

std::vector<int> numbers(const std::vector<FaultInjector::Datagram>& datagrams) {
  std::vector<int> result;
  for (const auto& [bytes, delay] : datagrams) result.push_back(channel(bytes, 0));
  return result;
}

TEST(SensorFaults, ParsesProbabilitiesAndEveryNth) {
  EXPECT_EQ(0.05, parseOccurrence("0.05").probability);
  EXPECT_EQ(1.0, parseOccurrence("1").probability);
  EXPECT_EQ(20u, parseOccurrence("1/20").every);
  for (const char* text : {"", "x", "-0.1", "1.01", "1/0", "1/", "1/-2", "2/3", "0.5 ", "nan"}) {
    EXPECT_THROW(parseOccurrence(text), std::invalid_argument) << text;
  }
}

TEST(SensorFaults, RefusesValuesOutOfRangeByName) {
  const auto refusal = [](auto change) -> std::string {
    SensorFaults faults;
    change(faults);
    try {
      faults.check();
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "accepted";
  };
  EXPECT_THAT(refusal([](SensorFaults& f) { f.delay = -0.1; }), HasSubstr("delay -0.1 s"));
  EXPECT_THAT(refusal([](SensorFaults& f) { f.jitter = NAN; }), HasSubstr("jitter nan s"));
  EXPECT_THAT(refusal([](SensorFaults& f) { f.merged_packets = 1; }), HasSubstr("1"));
  EXPECT_THAT(refusal([](SensorFaults& f) { f[Fault::loss].probability = 1.5; }), HasSubstr("1.5"));
  EXPECT_EQ("accepted", refusal([](SensorFaults&) {}));
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
  const auto losses = [&] {
    FaultInjector injector;
    injector.set(faults);
    std::vector<FaultInjector::Datagram> out;
    for (int i = 0; i < 4000; ++i) injector.pass(frame(static_cast<std::uint8_t>(i)), out);
    EXPECT_EQ(4000 - out.size(), injector.strikes()[0]);
    return numbers(out);
  };
  const std::vector<int> first = losses();
  EXPECT_NEAR(3000, static_cast<double>(first.size()), 4 * std::sqrt(4000 * 0.25 * 0.75));
  EXPECT_EQ(first, losses());
  faults.seed = 2;
  EXPECT_NE(first, losses());
}

TEST(SensorFaults, CorruptionChangesOneByte) {
  SensorFaults faults = one(Fault::corruption, {.every = 1});
  std::set<std::size_t> places;
  const auto wrongBytes = [](const Bytes& bytes, std::uint8_t number) {
    const Bytes good = frame(number);
    EXPECT_EQ(good.size(), bytes.size());
    std::vector<std::size_t> wrong;
    for (std::size_t i = 0; i < good.size(); ++i) {
      if (bytes[i] != good[i]) wrong.push_back(i);
    }
    return wrong;
  };
  const auto anywhere = sendFrames(faults, 200);
  for (std::size_t i = 0; i < anywhere.size(); ++i) {
    const auto wrong = wrongBytes(anywhere[i].bytes, static_cast<std::uint8_t>(i + 1));
    ASSERT_EQ(1u, wrong.size());
    places.insert(wrong[0]);
  }
  EXPECT_GT(places.size(), 30u) << "of 34 bytes";
  faults.corrupt_at = 17;
  EXPECT_THAT(wrongBytes(sendFrames(faults, 1)[0].bytes, 1), ElementsAre(17));
}

TEST(SensorFaults, WrongCrcLeavesEverythingElse) {
  Bytes bytes = sendFrames(one(Fault::wrong_crc, {.every = 1}), 1)[0].bytes;
  EXPECT_FALSE(isWholePacket(bytes));
  bytes[30] ^= 0xFF;
  bytes[31] ^= 0xFF;
  EXPECT_EQ(frame(1), bytes);
}

TEST(SensorFaults, TruncatedPacketsAreProperBeginnings) {
  for (const auto& [bytes, delay] : sendFrames(one(Fault::truncation, {.every = 1}), 50)) {
    ASSERT_LT(bytes.size(), 34u);
    ASSERT_FALSE(bytes.empty());
    const Bytes good = frame(bytes.size() > 6 ? bytes[6] : 0);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), good.begin()));
  }
}

TEST(SensorFaults, MergedAndSplitPacketsHaveAllBytesInOrder) {
  SensorFaults faults = one(Fault::merging, {.every = 2});
  faults.merged_packets = 3;
  Bytes three;
  for (std::uint8_t n = 2; n <= 4; ++n) {
    const Bytes next = frame(n);
    three.insert(three.end(), next.begin(), next.end());
  }
  const auto merged = sendFrames(faults, 5);
  ASSERT_EQ(3u, merged.size());
  EXPECT_EQ(frame(1), merged[0].bytes);
  EXPECT_EQ(three, merged[1].bytes);
  EXPECT_EQ(frame(5), merged[2].bytes);

  const auto split = sendFrames(one(Fault::splitting, {.every = 1}), 50);
  ASSERT_EQ(100u, split.size());
  for (std::size_t i = 0; i < 100; i += 2) {
    Bytes whole = split[i].bytes;
    EXPECT_FALSE(whole.empty() || split[i + 1].bytes.empty());
    whole.insert(whole.end(), split[i + 1].bytes.begin(), split[i + 1].bytes.end());
    EXPECT_EQ(frame(static_cast<std::uint8_t>(i / 2 + 1)), whole);
  }
}

TEST(SensorFaults, GarbageGoesAheadOfThePacket) {
  const auto out = sendFrames(one(Fault::garbage, {.every = 2}), 2);
  ASSERT_EQ(3u, out.size());
  EXPECT_EQ(frame(1), out[0].bytes);
  EXPECT_FALSE(isWholePacket(out[1].bytes));
  EXPECT_EQ(frame(2), out[2].bytes);
}

TEST(SensorFaults, StatusIsSetInValidDataFramesOnly) {
  SensorFaults faults = one(Fault::status, {.every = 2});
  faults.status_byte = 254;
  const auto out = sendFrames(faults, 2);
  EXPECT_EQ(0, out[0].bytes[4]);
  EXPECT_EQ(254, out[1].bytes[4]);
  EXPECT_TRUE(isWholePacket(out[1].bytes));

  FaultInjector injector;
  faults[Fault::status].every = 1;
  injector.set(faults);
  std::vector<FaultInjector::Datagram> reply;
  injector.pass(acknowledgement(11), reply);
  EXPECT_EQ(acknowledgement(11), reply.at(0).bytes);
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

/// A sensor at 1 kHz whose frames carry their number in Fx; waits for commands by counting them.
class FaultySensor : public ::testing::Test {
 protected:
  FaultySensor() { simulator_.start(); }

  void awaitCommands(int count) {
    for (int i = 0; i < count; ++i) heard_.acquire();
  }

  std::counting_semaphore<> heard_{0};
  SensorSimulator simulator_{SensorSimulatorConfig{
      .source = [](double seconds) { return Wrench{std::round(seconds * 1000.0) / 1000.0}; },
      .log = [this](const SensorCommand&) { heard_.release(); }}};
};

TEST_F(FaultySensor, FramesAreLostButAnswersAreNotUnlessAskedFor) {
  UdpClient client(simulator_.port());
  SensorFaults faults = one(Fault::loss, {.every = 2});
  simulator_.setFaults(faults);
  client.send(startCapture);
  const std::vector<Bytes> frames = client.receive(50);
  for (int i = 0; i < 50; ++i) ASSERT_EQ(2 * i, channel(frames.at(static_cast<std::size_t>(i)), 0));
  client.stopStream();
  for (int i = 0; i < 4; ++i) EXPECT_EQ(17u, client.exchange(askIdentity).size());

  faults.replies = true;
  simulator_.setFaults(faults);
  EXPECT_EQ(17u, client.exchange(askIdentity).size());
  client.send(askIdentity);  // lost
  EXPECT_EQ(acknowledgement(11), client.exchange(zeroReset));
}

TEST_F(FaultySensor, JitterBeyondThePeriodLetsFramesOvertake) {
  UdpClient client(simulator_.port());
  SensorFaults faults;
  faults.jitter = 0.02;
  simulator_.setFaults(faults);
  client.send(startCapture);
  std::vector<int> stamps;
  for (const Bytes& bytes : client.receive(200)) stamps.push_back(channel(bytes, 0));
  EXPECT_FALSE(std::is_sorted(stamps.begin(), stamps.end()));
  EXPECT_EQ(200u, std::set<int>(stamps.begin(), stamps.end()).size());
}

TEST_F(FaultySensor, SilentSensorObeysButDoesNotSpeak) {
  UdpClient client(simulator_.port());
  SensorFaults faults;
  faults.silent = true;
  simulator_.setFaults(faults);
  client.send(command(24, {7}));
  awaitCommands(1);
  EXPECT_EQ(7, simulator_.settings().low_pass);
  EXPECT_EQ(1u, simulator_.statistics().suppressed);
  simulator_.setFaults({});
  EXPECT_EQ(17u, client.exchange(askIdentity).size());
}

TEST_F(FaultySensor, AfterItsDeathItHasLostTheStreamAndWhatWasNotSaved) {
  UdpClient client(simulator_.port());
  client.exchange(command(24, {7}));
  client.exchange(command(9));
  client.exchange(command(32, {5}));
  client.send(startCapture);
  client.receive(3);
  awaitCommands(4);

  SensorFaults faults;
  faults.dead = true;
  simulator_.setFaults(faults);
  const std::uint64_t frames = simulator_.statistics().frames;
  client.send(command(24, {1}));
  EXPECT_EQ(frames, simulator_.statistics().frames);
  simulator_.setFaults({});
  EXPECT_FALSE(simulator_.streaming());
  client.stopStream();
  EXPECT_EQ(6u, simulator_.commands().size()) << "nothing heard while dead";
  EXPECT_EQ(7, simulator_.settings().low_pass);
  EXPECT_EQ(0, simulator_.settings().median_depth);
}

TEST_F(FaultySensor, SurvivingSensorStreamsOn) {
  UdpClient client(simulator_.port());
  client.send(startCapture);
  EXPECT_EQ(0, channel(client.receive(), 0));
  SensorFaults faults;
  faults.dead = true;
  faults.survives = true;
  simulator_.setFaults(faults);
  const auto sent = static_cast<std::int32_t>(simulator_.statistics().frames);
  faults.dead = false;
  simulator_.setFaults(faults);
  for (std::int32_t n = 1; n < sent + 20; ++n) ASSERT_EQ(n, channel(client.receive(), 0));
}

// For the thread sanitizer: everything that may be called from outside, while frames fly.
TEST_F(FaultySensor, FaultsCanChangeWhileStreaming) {
  UdpClient client(simulator_.port());
  client.send(startCapture);
  for (int round = 0; round < 100; ++round) {
    SensorFaults faults;
    faults.when[static_cast<std::size_t>(round) % faultKinds].every = 2;
    faults.jitter = round % 3 == 0 ? 0.005 : 0.0;
    simulator_.setFaults(faults);
    client.receive(2);
    EXPECT_TRUE(simulator_.streaming());
  }
  for (const std::uint64_t strikes : simulator_.statistics().faults) EXPECT_GT(strikes, 0u);
}

}  // namespace
}  // namespace zel::sim::test
