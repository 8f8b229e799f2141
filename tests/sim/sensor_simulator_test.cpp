// The simulated sensor: its packets on literal bytes, what it ignores; the faults; the recording
// and the robot link that feed it.
#include "sim/sensor_simulator.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>

#include <cmath>
#include <fstream>

#include "sim/recording.h"
#include "sim/robot_link.h"
#include "tests/ft/sensor_packets.h"

using namespace testing_ft;
using namespace zel::sim;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace {

Datagram textOf(const Bytes& bytes) {
  return {bytes.begin(), bytes.end()};
}

/// A sensor of model 2 (150, 150, 200 N; 4, 4, 4 N m) under a load that can be changed.
struct SensorDeviceTest : testing::Test {
  Datagram answerTo(const Datagram& datagram) {
    received = {};
    return textOf(device.execute(raw(datagram), datagram.size(), received));
  }

  std::optional<Wrench> load = Wrench{};
  double time = -1;  ///< of the last sample, s
  SensorDevice device{{.model = 2, .range = 9, .id = 0x1234, .year = 24, .month = 11, .date = 30},
                      [this](double seconds) { return time = seconds, load; },
                      1000};
  SensorCommand received;
};

TEST_F(SensorDeviceTest, SpeaksLiteralBytesSampleBySample) {
  EXPECT_EQ(answerTo(identityQuery), identityAnswer);
  for (const auto& [wrench, frame] :
       {// mN as they are, mN m negated: the driver turns the torques round after decoding.
        std::pair{Wrench{1.5, -2.0, 0.0014, 1.0, -0.25, 0.0004},
                  "F6 6F 1B 00 00 04 DC 05 00 00 30 F8 FF FF 01 00 00 00 18 FC FF FF "
                  "FA 00 00 00 00 00 00 00 AA 8B 6F F6"},
        // Beyond 32 bits: saturated and overloaded.
        {Wrench{1e300, -3e6, 0.0, 2147483.649, -1e300, 0.0},
         "F6 6F 1B 00 FE 04 FF FF FF 7F 00 00 00 80 00 00 00 00 00 00 00 80 FF FF FF 7F "
         "00 00 00 00 A8 AE 6F F6"},
        {Wrench{1.0, NAN, 2.0},
         "F6 6F 1B 00 FF 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
         "00 00 00 00 5F 16 6F F6"}}) {
    load = wrench;
    EXPECT_EQ(answerTo(captureCommand), fromHex(frame));
  }
  EXPECT_EQ(answerTo(startCommand), "");
  load = {{0, 0, 200, 0, 0, 0.001}};
  EXPECT_EQ(textOf(device.nextFrame()), frameOf({0, 0, 200000, 0, 0, -1}));
  EXPECT_EQ(time, 0.003);
  // The range belongs to the physical load: zeroing does not widen it.
  load = {{0, 0, -200.5}};
  EXPECT_EQ(answerTo(zeroCommand), zeroCommand);
  EXPECT_EQ(answerTo(captureCommand), frameOf({}, 254, 4));
  load = {{0, 0, NAN}};
  EXPECT_EQ(answerTo(zeroCommand), "");
  EXPECT_THAT(received.text, HasSubstr("there is no load to measure"));
  load = {};
  EXPECT_EQ(answerTo(captureCommand) + answerTo(zeroCommand), "");
  EXPECT_TRUE(device.nextFrame().empty() && device.ended() && !device.streaming());
}

TEST_F(SensorDeviceTest, TellsWhatItUnderstandsAndWhatNot) {
  Datagram wrongCrc = zeroCommand, wrongTail = zeroCommand;
  wrongCrc[6] ^= 1;
  wrongTail[9] ^= 1;
  for (const auto& [datagram, text] :
       {std::pair<Datagram, std::string>{command("25 01"), "ENABLE_ALARM_OUTPUT (37): on"},
        {command("1C 34 12"), "SET_NET_PORT_NUMBER (28): 4660"},
        {"x", "ignored: 1 bytes that are not one command packet"},
        {zeroCommand + "x", "ignored: 11 bytes that are not one command packet"},
        {wrongTail, "ignored: 10 bytes that are not one command packet"},
        {wrongCrc, "ignored: command packet with a wrong CRC"},
        {command("63"), "ignored: unknown command 99"},
        {command("05 01"), "ignored: SET_SAMPLE_RATE (5) is not supported"},
        {command("18"), "ignored: SET_FILTER_RANG (24) has 0 payload bytes instead of 1"},
        {command("25 02"), "ignored: ENABLE_ALARM_OUTPUT (37): 2 is neither 0 nor 1"}}) {
    EXPECT_EQ(answerTo(datagram).empty(), text.starts_with("ignored"));
    EXPECT_EQ(received.text, text);
    EXPECT_EQ(received.accepted, !text.starts_with("ignored"));
  }
}

TEST_F(SensorDeviceTest, AnAxisBeyondItsThresholdRaisesTheAlarmUntilItIsCleared) {
  load = {{5, 0, -8, -2, 0, 0}};  // thresholds 5, 5, 7.999, 1.5, 1, 1
  answerTo(command("24 88 13 00 00 88 13 00 00 3F 1F 00 00 DC 05 00 00 E8 03 00 00 E8 03 00 00"));
  const Datagram ask = command("26"), none = command("26 000000000000");
  EXPECT_EQ(answerTo(ask), none) << "not enabled yet";
  answerTo(command("25 01"));
  EXPECT_EQ(answerTo(ask), command("26 000001010000"));
  answerTo(zeroCommand);  // takes the load away, not the alarm
  EXPECT_TRUE(answerTo(ask) != none && device.alarmRaised());
  answerTo(command("23"));
  EXPECT_TRUE(answerTo(ask) == none && !device.alarmRaised());
}

// ---- faults -------------------------------------------------------------------------------------

/// What leaves when frames 1 to `count` are sent: their numbers, "23" in one datagram, ":4" for a
/// wrong byte there, "?" for what is no frame.
std::string sent(const SensorFaults& faults, int count) {
  FaultInjector injector;
  injector.set(faults);
  std::vector<FaultInjector::Datagram> out;
  const auto frame = [](int n) { return frameOf({n, n, n, n, n, n}); };
  for (int n = 1; n <= count; ++n) {
    const Datagram whole = frame(n);
    injector.pass({whole.begin(), whole.end()}, out);
  }
  std::string text;
  for (const auto& [bytes, delay] : out) {
    Datagram rest = textOf(bytes);
    for (; rest.size() >= 34; rest.erase(0, 34)) {
      text += std::to_string(rest[10]);
      for (std::size_t i = 0; i < 34; ++i) {
        if (rest[i] != frame(rest[10])[i]) text += fmt::format(":{}", i);
      }
    }
    text += rest.empty() ? " " : "? ";
  }
  return text;
}

TEST(SensorFaults, StrikeWhatTheyNameAndNothingElse) {
  for (const auto& [fault, every, expected] :
       {std::tuple{Fault::loss, 3U, "1 2 4 5 7 "},
        {Fault::duplication, 3U, "1 2 3 3 4 5 6 6 7 "},
        {Fault::reordering, 3U, "1 2 4 3 5 7 6 "},
        {Fault::reordering, 1U, "2 1 4 3 6 5 "},
        {Fault::corruption, 3U, "1 2 3:17 4 5 6:17 7 "},
        {Fault::wrong_crc, 3U, "1 2 3:30:31 4 5 6:30:31 7 "},
        {Fault::truncation, 3U, "1 2 ? 4 5 ? 7 "},
        {Fault::merging, 3U, "1 2 34 5 67 "},
        {Fault::splitting, 3U, "1 2 ? ? 4 5 ? ? 7 "},
        {Fault::garbage, 3U, "1 2 ? 3 4 5 ? 6 7 "},
        {Fault::status, 3U, "1 2 3:4:30:31 4 5 6:4:30:31 7 "}}) {
    SensorFaults faults;
    faults[fault].every = every;
    faults.corrupt_at = 17;
    faults.seed = 2;  // its garbage is shorter than a frame
    EXPECT_EQ(sent(faults, 7), expected);
  }
  SensorFaults faults;
  faults[Fault::loss].probability = 0.25;
  const auto passed = std::ranges::count(sent(faults, 4000), ' ');
  EXPECT_NEAR(static_cast<double>(passed), 3000, 4 * std::sqrt(4000 * 0.25 * 0.75));
  EXPECT_EQ(sent(faults, 100), sent(faults, 100)) << "the same for the same seed";
}

TEST(SensorFaults, AreRefusedWhenTheyMakeNoSense) {
  EXPECT_EQ(parseOccurrence("0.05").probability, 0.05);
  EXPECT_EQ(parseOccurrence("1/20").every, 20U);
  for (const char* text : {"", "x", "-0.1", "1.01", "1/0", "1/", "1/-2", "2/3", "0.5 ", "nan"}) {
    EXPECT_THROW(parseOccurrence(text), std::invalid_argument) << text;
  }
  SensorSimulatorConfig config;
  SensorFaults faults;
  faults.merged_packets = 1;
  EXPECT_THROW(faults.check(), std::invalid_argument);
  config.faults.jitter = NAN;
  EXPECT_THROW(SensorSimulator{config}, std::invalid_argument);
}

// ---- what feeds it ------------------------------------------------------------------------------

TEST(Recording, HoldsEachSampleForItsTime) {
  const std::string path = testing::TempDir() + std::to_string(getpid()) + ".csv";
  std::ofstream(path) << "mz,fx,fy,fz,mx,my\r\n-0.3,1,2.5e1,3,0.1,+0.2\r\n\r\n6, 1 ,2,3,4,5\n";
  const Recording recording = Recording::load(path);
  std::ofstream(path) << "fx,fy,fz,mx,my,mz\n1,2,3,4,,6\n";
  EXPECT_THAT([&] { Recording::load(path); },
              ThrowsMessage<std::runtime_error>(
                  path + ", line 2, column \"my\": \"\" is not a finite number"));
  std::remove(path.c_str());
  const Wrench first = {1, 25, 3, 0.1, 0.2, -0.3}, second = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(recording.at(0.0009, 1000, Recording::End::stop), first);
  EXPECT_EQ(recording.at(0.002, 1000, Recording::End::stop), std::nullopt);
  for (int n = 0; n < 1000; ++n) {  // n / rate * rate is not always n in floating point
    EXPECT_EQ(recording.at(n / 333.3, 333.3, Recording::End::loop), n % 2 ? second : first);
  }
}

TEST(RobotLink, AnswersItsDocumentedBytesAndRefusesClearly) {
  const auto bytes = [](const auto& value) {
    return Datagram(reinterpret_cast<const char*>(&value), sizeof value);
  };
  SharedCell cell({.start = {3, 4, 1, 0, 0, 0}, .lag = 0.1, .load = {}, .surface = {}});
  std::optional<RobotLinkServer> server(std::in_place, cell, 0);
  RobotLinkClient client(server->port());
  const Fd end = connectLoopback(server->port());
  const Pose goal = {3, 4, -9, 0, 0, 0};
  for (const double seconds : {-0.1, 0.05}) {  // the first is ignored
    const Datagram request =
        (seconds < 0 ? "ZRL1...." : "ZRL1\1\2\3\4") + bytes(goal) + bytes(seconds);
    EXPECT_EQ(send(end.get(), request.data(), request.size(), 0), 64);
  }
  pollfd event = {end.get(), POLLIN, 0};
  EXPECT_EQ(poll(&event, 1, 10000), 1);
  char reply[100];
  const auto size = static_cast<std::size_t>(recv(end.get(), reply, sizeof reply, 0));
  const Pose reached = cell.state().flange;
  EXPECT_EQ(Datagram(reply, size), "ZRL1\1\2\3\4" + bytes(reached) + bytes(-reached[2]));
  EXPECT_NEAR(reached[2], 10 * std::exp(-0.5) - 9, 1e-9);
  EXPECT_EQ(client.exchange(goal, 0).flange, reached);
  EXPECT_THROW(client.exchange(goal, longestStep + 0.01), std::invalid_argument);
  server.reset();
  EXPECT_THAT([&] { client.exchange(goal, 0); },
              ThrowsMessage<std::runtime_error>(HasSubstr("nothing listens there")));
}

}  // namespace
