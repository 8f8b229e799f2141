// The network sensor byte by byte: start-up, settings, readings, shut-down, packets and frames.
//
// What the driver asks of the system passes through this program. What it sends goes to a script;
// its waiting takes no time and is counted; a thread can be refused, and the unpack thread held
// with a packet in its hands.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cmath>
#include <deque>
#include <filesystem>
#include <functional>

#include "sim/loopback_socket.h"
#include "tests/ft/sensor_packets.h"
#include "zel_ftc_diag.h"
#include "zel_ftc_lib.h"

using namespace testing_ft;

namespace {

using Datagrams = std::deque<Datagram>;

/// The judge: a datagram or pause that the script does not expect fails the test.
struct Script {
  struct Step {
    Datagram sent;           ///< by the driver; or its pause, as "50 ms"
    Datagrams answers = {};  ///< one at each of its waits of 1 ms
    int waits = static_cast<int>(answers.size());
  };

  void expect(std::initializer_list<Step> more) { steps.insert(steps.end(), more); }

  void take(const Datagram& sent) {
    EXPECT_EQ(now.waits, 0) << "looks for an answer more or less often";
    if (steps.empty()) expect({{"nothing"}});
    now = steps.front();
    steps.pop_front();
    EXPECT_EQ(sent, now.sent);
  }
  void wait(int ms) {
    if (ms == 1) {
      onWait();
      --now.waits;
      if (now.answers.empty()) return;
      arrive(now.answers.front());
      now.answers.pop_front();
    } else if (!steps.empty() && steps[0].sent.ends_with("ms")) {
      take(std::to_string(ms) + " ms");
    }
  }
  /// As the receive thread does.
  void arrive(const Datagram& datagram) {
    queue->WriteBuffer(raw(datagram), static_cast<std::int32_t>(datagram.size()));
  }

  RingBufferManager* queue = nullptr;
  std::deque<Step> steps;
  Step now;
  std::function<void()> onWait = [] {};
} script;

constexpr std::uint16_t port = 49152;
const pthread_t tester = pthread_self();
std::atomic<int> threadsUntilFailure{-1};  ///< -1: all can be created
std::atomic<bool> holdUnpacking{false}, unpackingIsHeld{false};

}  // namespace

extern "C" {

ssize_t sendto(int, const void* data, std::size_t size, int, const sockaddr* to, socklen_t) {
  const auto& address = reinterpret_cast<const sockaddr_in&>(*to);
  EXPECT_TRUE(address.sin_port == htons(port) && address.sin_addr.s_addr == htonl(INADDR_LOOPBACK));
  script.take(Datagram(static_cast<const char*>(data), size));
  return static_cast<ssize_t>(size);
}

int nanosleep(const timespec* wanted, timespec* left) {
  const auto ms = static_cast<int>(std::lround(wanted->tv_sec * 1e3 + wanted->tv_nsec * 1e-6));
  if (ms > 0 && pthread_self() == tester) return script.wait(ms), 0;
  return static_cast<int>(syscall(SYS_nanosleep, wanted, left));
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) noexcept {
  static const auto create =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  if (threadsUntilFailure >= 0 && threadsUntilFailure-- == 0) return EAGAIN;
  return create(thread, attributes, body, argument);
}

/// The unpack thread asks for the time of day in the middle of a packet.
int clock_gettime(clockid_t clock, timespec* time) noexcept {
  for (; clock == CLOCK_REALTIME && holdUnpacking; usleep(100)) unpackingIsHeld = true;
  return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

}  // extern "C"

namespace {

/// Of this process.
std::ptrdiff_t entries(const std::string& list) {
  const std::filesystem::directory_iterator all("/proc/self/" + list);
  return std::distance(begin(all), end(all));
}

class SensorTest : public testing::Test {
 protected:
  /// What a sanitizer starts with the first thread is there from then on.
  static void SetUpTestSuite() {
    std::thread([] {}).join();
  }
  SensorTest() { script.queue = &sensor.R_FIFO; }
  ~SensorTest() override { zel_ftc_close(); }

  void TearDown() override {
    if (sensor.bConnect && sensor.bSampleMode) script.expect({{stopCommand}});
    for (int time = 0; time < 2; ++time) {
      EXPECT_TRUE(sensor.uninitialFTSensor());
      expectNothingLeft();
    }
  }

  /// Nothing more, and nothing less, than when the test began.
  void expectNothingLeft() {
    EXPECT_TRUE(script.steps.empty() && script.now.waits == 0) << "the driver has not done all";
    EXPECT_FALSE(sensor.bConnect || sensor.bSensorRun || sensor.bSampleMode);
    EXPECT_TRUE(sensor.sock_Client == -1 && !sensor.hThrd && !sensor.hThrdUnpack);
    EXPECT_EQ(entries("fd"), descriptors);
    // A thread that was joined leaves the list a moment later.
    EXPECT_TRUE(eventually([&] { return entries("task") <= threads; }));
  }

  bool start(const char* address = loopback) { return zel_ftc_initialFTSensor(port, address) == 1; }
  void expectStarts() {
    script.expect({{"<BINARY>"}, {identityQuery, {identityAnswer}}, {startCommand}});
    EXPECT_TRUE(start());
  }
  /// Socket and threads only.
  bool open() { return sensor.initSensorEtherNet_UDPIF(port, loopback); }

  static void expectReason(const std::string& reason) {
    char text[300];
    zel_ftc_reasonText(nullptr, text, sizeof text);
    EXPECT_EQ(text, reason);
  }

  void expectReading(const Six& value, int code, std::int32_t count) {
    const Reading reading(sensor);
    EXPECT_EQ(reading.value, value);
    EXPECT_EQ(reading.info.code, code);
    EXPECT_EQ(reading.normal, code == FT_N0RMAL);
    EXPECT_EQ(reading.info.IPOC, count);
  }

  /// What arrives and, at last, a frame with a number of its own: so many are accepted in all.
  void expectAccepted(int count, const Datagrams& datagrams = {}) {
    count += sensor.IPOC;
    for (const Datagram& datagram : datagrams) script.arrive(datagram);
    script.arrive(frameOf({++number}));
    EXPECT_TRUE(eventually([&] { return Reading(sensor).value[0] == double{number / 1000.0F}; }));
    expectReading({number / 1000.0F}, FT_N0RMAL, count);
  }

  /// As the unpack thread does.
  void unpack(const Datagram& packet) { sensor.updatData(raw(packet) + 3, raw(packet)[2]); }

  static constexpr char loopback[] = "127.0.0.1";
  const int opened = zel_ftc_open(false);
  Sensor& sensor = *static_cast<Sensor*>(m_zelftsensorclass);
  const std::ptrdiff_t descriptors = entries("fd"), threads = entries("task");
  std::int32_t number = 1000;
};

// ---- start-up and shut-down ---------------------------------------------------------------------

TEST_F(SensorTest, StartUpReadsTheIdentityAndTheFirstFrameMakesItNormal) {
  script.expect({{"<BINARY>"}, {"200 ms"}, {"200 ms"}, {identityQuery, {identityAnswer}}});
  script.expect({{startCommand}, {"50 ms"}});
  EXPECT_TRUE(start());
  const auto& [model, range, id, year, month, date] = sensor.dev_info;
  EXPECT_EQ((std::array<int, 6>{model, range, id, year, month, date}),
            (std::array{2, 9, 0x1234, 24, 11, 30}));
  expectReading({}, COMM_INIT, 0);
  expectAccepted(1);
  EXPECT_TRUE(start(nullptr)) << "connected already";
  expectReading({1.001F}, COMM_INIT, 1);
  expectAccepted(1);
  script.expect({{stopCommand}, {"50 ms"}, {"100 ms"}, {"100 ms"}});
  EXPECT_TRUE(sensor.uninitialFTSensor());
}

TEST_F(SensorTest, FailedStartsLeaveNothingBehindAndTheNextOneWorks) {
  const auto expectFailed = [&](int code, const std::string& reason) {
    EXPECT_EQ(sensor.CODE, code);
    expectReason("zel_ftc_initialFTSensor: " + reason);
    expectNothingLeft();
    expectStarts();
    TearDown();
  };
  for (const char* address : {static_cast<const char*>(nullptr), "", "127.0.0", "127.0.0.1.1",
                              "127..0.1", "127.0.0.1 ", "-1.0.0.1"}) {
    EXPECT_FALSE(start(address)) << address;
    expectFailed(COMM_IP_ERROR, address == nullptr ? "ip is a null pointer"
                                                   : "ip \"" + std::string(address) +
                                                         "\" is not four dotted numbers");
  }
  rlimit limit = {};
  getrlimit(RLIMIT_NOFILE, &limit);
  testing::internal::CaptureStdout();
  const rlimit none = {0, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_FALSE(start()) << "no socket to be had";
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "1: error_code=\n");
  expectFailed(COMM_PORT_ERROR, "no UDP socket is to be had: Too many open files");
  {
    const zel::sim::Fd taken = zel::sim::bindLoopback(52000);
    EXPECT_FALSE(start());
  }
  expectFailed(COMM_PORT_ERROR, "the local UDP port 52000 cannot be had: Address already in use");
  for (const std::string thread : {"receive", "unpack"}) {
    threadsUntilFailure = thread == "unpack" ? 1 : 0;
    EXPECT_FALSE(start());
    expectFailed(COMM_THREAD_OPEN_ERROR,
                 "the " + thread + " thread cannot be had: Resource temporarily unavailable");
  }
  script.expect({{"<BINARY>"}, {identityQuery, {}, 800 + 100}});
  EXPECT_FALSE(start()) << "nobody answers, nor streams";
  expectFailed(COMM_PORT_ERROR, "no answer to GET_DEVICE_INFO within 800 ms");
  // A half-open link is not opened twice, and a start takes it down first.
  EXPECT_TRUE(open() && !open());
  EXPECT_EQ(sensor.CODE, COMM_PORT_ERROR);
  script.expect({{startCommand}});
  EXPECT_TRUE(sensor.startSample());
  expectStarts();
}

// ---- settings -----------------------------------------------------------------------------------

TEST_F(SensorTest, SettingsPauseTheStreamAndJudgeTheirAnswer) {
  expectStarts();
  for (const auto& [sent, call, codeChecked, waits, failure] : settings) {
    const Datagram good = command(Datagram(sent, 2) + "01 02 03 04 05 06");
    const int bodyWaits = sent[2] == '\0' ? waits + 201 : waits + 1;
    const auto wrong = [&](std::size_t at) {
      Datagram answer = good;
      answer[at] = '?';
      return answer;
    };
    for (const auto& [answer, accepted, waited] : {std::tuple{wrong(0), false, 1},
                                                   {wrong(1), false, 1},
                                                   {wrong(6), false, 1},
                                                   {"", false, waits},
                                                   {good.substr(0, 2), false, waits},
                                                   {good.substr(0, 15), false, bodyWaits},
                                                   {packetAround(""), !codeChecked, 1},
                                                   {command("63"), !codeChecked, 1},
                                                   {good, true, 1}}) {
      sensor.setCODE(COMM_INIT);
      script.expect({{stopCommand}, {"50 ms"}, {command(sent), {answer}, waited}});
      script.expect({{startCommand}, {"50 ms"}});
      EXPECT_EQ(call(sensor), accepted) << sent;
      EXPECT_EQ(sensor.CODE, accepted ? COMM_INIT : failure) << sent;
    }
  }
  EXPECT_EQ(fromHex("010203040506"), Datagram(axes, axes + 6));
  script.expect({{stopCommand}, {command("26"), {command("26 07")}}, {startCommand}});
  EXPECT_TRUE(sensor.getFTSensorAlarmAxis(axes));
  EXPECT_EQ(fromHex("070000000000"), Datagram(axes, axes + 6)) << "what is missing is 0";
  expectAccepted(1);
  // Whether the sensor takes the parameters does not count.
  script.expect(
      {{stopCommand},
       {command("12 07 90 EE FE FF 00 5E D0 B2 C8 01 02 00 00 01 00 00 00"), {command("63")}},
       {command("11 01"), {command("63")}},
       {startCommand}});
  EXPECT_TRUE(sensor.setFTSensorKalmanFilter(true, {7, -70000, 3000000000U}, {200, 513, 1}));
}

TEST_F(SensorTest, TheLinkKnowsHowItIsAndWhyACommandFailed) {
  expectStarts();
  zel_ftc_link_health before, now = {};
  ASSERT_EQ(zel_ftc_linkHealth(&before), 1);
  EXPECT_EQ(before.age, -1);
  Datagram badCrc = zeroCommand;
  badCrc[6] ^= 1;
  for (const auto& [answer, waits, reason] :
       {std::tuple<Datagram, int, const char*>{"", 200, "no answer to ZERO_RESET within 200 ms"},
        {"\xF6", 200, "the answer to ZERO_RESET came in part only"},
        {"\xF6\x6F\x03", 401, "the answer to ZERO_RESET came in part only"},
        {"\xF6\xF6\x03", 1, "the answer to ZERO_RESET is no packet of the protocol"},
        {badCrc, 1, "the answer to ZERO_RESET has a wrong checksum"},
        {command("63"), 1, "the answer to ZERO_RESET belongs to another command"}}) {
    script.expect({{stopCommand}, {zeroCommand, {answer}, waits}, {startCommand}});
    EXPECT_EQ(zel_ftc_zeroFTSensor(), 0);
    expectReason("zel_ftc_zeroFTSensor: " + std::string(reason));
  }
  Datagram badFrame = frameOf({});
  badFrame[7] ^= 1;
  expectAccepted(4, {frameOf({}, 7), badFrame, "skipped", frameOf({0, 0, 200001}), frameOf({}, 9)});
  ASSERT_EQ(zel_ftc_linkHealth(&now), 1);
  EXPECT_EQ((std::array{now.good_frames, now.wrong_checksums, now.skipped_bytes}),
            (std::array<std::uint64_t, 3>{4, 1, 7}));
  EXPECT_EQ((std::array{now.frames_beyond_range, now.bad_status_frames, now.exchanges,
                        now.failed_exchanges}),
            (std::array<std::uint64_t, 4>{1, 2, before.exchanges + 6, 6}));
  EXPECT_EQ(now.last_bad_status, 9);
  EXPECT_TRUE(now.age >= 0 && now.longest_gap > 0 && now.rate == 0);
}

TEST_F(SensorTest, NothingIsSentWhileClosedOrForUnusableArguments) {
  sensor.setCODE(ETHERNET_NO_SENSOR_ERROR);
  for (const Setting& setting : settings) EXPECT_FALSE(setting.call(sensor)) << setting.sent;
  EXPECT_FALSE(sensor.setFTSensorStartSample() || sensor.setFTSensorStopSample());
  expectReading(untouched, ETHERNET_NO_SENSOR_ERROR, 0);
  EXPECT_TRUE(
      std::string(Reading(sensor).info.code_info).starts_with("Error:The SensorEtherNet_UDP"));

  expectStarts();
  zel_ft_info_t info = {};
  EXPECT_FALSE(sensor.getFTSensorData(nullptr, info) || sensor.getRawData(nullptr));
  EXPECT_FALSE(sensor.setFTSensorToolTransform(nullptr) || sensor.setToolTransform(nullptr));
  EXPECT_FALSE(sensor.setFTSensorAlarmThresholdValue(nullptr));
  EXPECT_FALSE(sensor.getFTSensorAlarmAxis(nullptr) || sensor.getAlarmAxis(nullptr));
  EXPECT_FALSE(sensor.setFTSensorNetIP(nullptr) || sensor.setFTSensorNetMask(nullptr));
  EXPECT_FALSE(sensor.setFTSensorNetGateway(nullptr));
  EXPECT_TRUE(sensor.startSample() && !sensor.setFTSensorStartSample()) << "streams already";
  EXPECT_TRUE(sensor.bSampleMode);
  script.expect({{stopCommand}});
  EXPECT_TRUE(sensor.setFTSensorStopSample());
  EXPECT_TRUE(sensor.stopSample() && !sensor.setFTSensorStopSample());
  for (const double bad : {INFINITY, NAN}) {
    Six values = {0, 0, 0, 0, 0, bad};
    sensor.setCODE(COMM_INIT);
    EXPECT_FALSE(sensor.setFTSensorToolTransform(values.data()));
    EXPECT_EQ(sensor.CODE, COMM_CMDRETURN_ERROR);
  }
  EXPECT_FALSE(sensor.setFTSensorNetIP("10.0.0"));
  EXPECT_EQ(sensor.CODE, COMM_IP_ERROR);
}

TEST_F(SensorTest, AnswersInPiecesOfEveryLengthAndSuchAsAreNone) {
  ASSERT_TRUE(open());
  std::uint8_t ret[255];
  const Datagram body(255, 'x'), longest = packetAround(body), &zero = zeroCommand;
  script.arrive("stale");
  EXPECT_EQ(sensor.readFromSensor(ret, 3, 0), 0) << "no time to wait";
  EXPECT_EQ(sensor.readFromSensor(ret, 3, 1), 3);
  EXPECT_EQ(sensor.R_FIFO.GetDataCount(), 2);
  script.expect({{zero, {zero.substr(0, 1), zero.substr(1, 4), zero.substr(5)}}});
  EXPECT_TRUE(sensor.zeroReset());
  script.expect({{zero, {longest.substr(0, 128), longest.substr(128, 122), longest.substr(250)}}});
  EXPECT_TRUE(sensor.simpleCommunication(11, ret, 100));
  EXPECT_EQ(Datagram(ret, ret + 255), body);

  // Nothing is awaited without a time; without a buffer it is.
  const std::uint8_t on = 1;
  script.arrive("stale");
  script.expect({{zero}, {command("11 01")}, {command("11 01"), {packetAround("")}}});
  EXPECT_TRUE(sensor.simpleCommunication(11, ret, 0));
  EXPECT_EQ(sensor.R_FIFO.GetDataCount(), 0);
  script.arrive("stale");
  EXPECT_TRUE(sensor.simpleCommunication2(17, &on, 1, ret, 0));
  EXPECT_EQ(sensor.R_FIFO.GetDataCount(), 0);
  EXPECT_TRUE(sensor.simpleCommunication2(17, &on, 1, nullptr, 100));
  EXPECT_FALSE(sensor.simpleCommunication2(17, &on, 253, ret, 100)) << "no such packet";
}

TEST_F(SensorTest, ACommandWaitsForThePacketThatTheUnpackThreadHasInItsHands) {
  expectStarts();
  holdUnpacking = true;
  script.arrive(frameOf({}));
  EXPECT_TRUE(eventually([] { return unpackingIsHeld.load(); }));
  script.expect({{stopCommand, {}, 100}, {startCommand}});
  EXPECT_FALSE(sensor.zeroFTSensor()) << "not for ever, and sends nothing then";
  script.onWait = [] {
    if (script.steps.size() != 2) return;  // the command is out
    holdUnpacking = false;
    script.now.waits = 1;
    usleep(10000);
  };
  script.expect({{stopCommand}, {zeroCommand, {zeroCommand}}, {startCommand}});
  EXPECT_TRUE(sensor.zeroFTSensor());
  EXPECT_FALSE(holdUnpacking.exchange(false)) << "before the packet was dealt with";
}

// ---- readings -----------------------------------------------------------------------------------

TEST_F(SensorTest, WhateverComesTheStreamFindsTheNextFrame) {
  expectStarts();
  const Datagram frame = frameOf({100}),
                 longest = packetAround(frame.substr(3, 27) + Datagram(228, 'x'));
  Datagram badCrc = frame, badData = frame;
  badCrc[30] ^= 0x40;
  badData[7] ^= 0x01;
  for (const auto& [accepted, datagrams] :
       {std::pair<int, Datagrams>{3, {frame + frame}},
        {2, {frame.substr(0, 1), frame.substr(1, 1), frame.substr(2, 1), frame.substr(3)}},
        {2, {longest.substr(0, 128), longest.substr(128, 133), longest.substr(261)}},
        {3, {frameOf({}, 0, 4), frameOf({}, 0, 16), frame}},
        {2, {badCrc, frame, badData}},
        {1, {frame.substr(0, 20), frame}},  // swallows the next one's beginning
        {1, {packetAround(""), packetAround("x"), packetAround("xx")}},
        {2, {command("02")}},  // what is missing is 0
        {1, {"\xF6"}},
        {1, {"\xF6x"}},
        {1, {"\xF6\xF6x\x6F\xF6"}},
        {1, {Datagram(128, '\xF6') + Datagram(128, '\x6F') + Datagram(127, 'x')}}}) {
    SCOPED_TRACE(testing::PrintToString(datagrams));
    expectAccepted(accepted, datagrams);
  }
}

TEST_F(SensorTest, PolledReadingsComeOneByOneAndAreJudgedByTheLastStreamedOne) {
  expectStarts();
  for (const ZelInfoCode streamed : {FT_N0RMAL, FT_OVERLOAD_ERROR}) {
    expectAccepted(1);
    if (streamed == FT_OVERLOAD_ERROR) script.arrive(frameOf({0, 0, -200001}));
    EXPECT_TRUE(eventually([&] { return Reading(sensor).info.code == streamed; }));
    script.expect({{stopCommand}});
    EXPECT_TRUE(sensor.setFTSensorStopSample());
    for (const auto& [answer, value, code] :
         {std::tuple<Datagram, Six, ZelInfoCode>{
              fromHex("F6 6F 1B 00 00 04 39 30 00 00 18 FC FF FF 3F 0D 03 00 18 FC FF FF "
                      "C4 09 00 00 FF FF FF FF 6E 00 6F F6"),
              {12.345F, -1.0, 199.999F, 1.0, -2.5, 0.001F},
              streamed},
          // 2^24 + 1 is not a single-precision number: it is 2^24 before the division.
          {frameOf({16777217, INT32_MIN, INT32_MAX, 16777217}, 0, 4),
           {16777.216F, -2147483.648F, 2147483.648F, -16777.216F},
           streamed},
          {command("04 01 02"), {0.513F}, streamed},  // what is missing is 0
          {frameOf({8000}, 254, 4), {8}, FT_OVERLOAD_ERROR},
          {frameOf({9000}, 1, 4), {9}, FT_OVERLOAD_ERROR},
          {frameOf({}, 0, 2), untouched, COMM_CMDRETURN_ERROR},
          {"", untouched, COMM_CMDRETURN_ERROR}}) {
      script.expect({{captureCommand, {answer}, answer.empty() ? 400 : 1}});
      expectReading(value, code, sensor.IPOC + (value == untouched ? 0 : 1));
    }
    script.expect({{zeroCommand, {zeroCommand}}, {startCommand}});
    EXPECT_TRUE(sensor.zeroFTSensor()) << "without stop and start";
    EXPECT_TRUE(sensor.setFTSensorStartSample());
  }
  expectAccepted(1);
}

TEST_F(SensorTest, StatusOfAFrameAndItsCount) {
  expectStarts();
  int count = 0;
  for (const auto& [status, fz, before, after] :
       {std::array{0, 100, int{COMM_INIT}, int{FT_N0RMAL}},
        {255, 100, FT_N0RMAL, FT_DATA_ERROR},
        {254, 100, FT_N0RMAL, FT_OVERLOAD_ERROR},
        {7, 100, COMM_INIT, COMM_INIT},
        {253, 100, FT_N0RMAL, FT_N0RMAL},
        {0, 200000, COMM_INIT, FT_N0RMAL},          // exactly the range
        {0, 200001, COMM_INIT, FT_OVERLOAD_ERROR},  // beyond it always wins
        {255, -200001, COMM_INIT, FT_OVERLOAD_ERROR},
        {7, -200001, FT_N0RMAL, FT_OVERLOAD_ERROR}}) {
    sensor.setCODE(static_cast<ZelInfoCode>(before));
    unpack(frameOf({0, 0, fz}, status));
    expectReading({0, 0, static_cast<float>(fz) / 1000.0F}, after, ++count);
  }
  EXPECT_GT(sensor.time_start.load().time_since_epoch().count(), 0);
  const Datagram frame = frameOf({});
  sensor.updatData(raw(frame) + 3, 2);
  sensor.updatData(nullptr, 27);
  EXPECT_FALSE(sensor.SET_CMD_ZERO);
  unpack(zeroCommand);
  EXPECT_TRUE(sensor.SET_CMD_ZERO);
  for (; count <= 100001; ++count, unpack(frame)) ASSERT_EQ(sensor.IPOC, count % 100001);
}

TEST_F(SensorTest, PacketsAddressesAndRanges) {
  std::uint8_t packet[262];
  const Datagram payload(253, 'x');
  EXPECT_EQ(sensor.crc16Cal(raw("123456789"), 9), 0x29B1);
  EXPECT_EQ(sensor.createCmdPack(19, raw(payload), 252, packet), 262);
  EXPECT_TRUE(packet[2] == 255 && sensor.verifyPacket(packet));
  EXPECT_EQ(sensor.createCmdPack(19, raw(payload), 253, packet), 0);
  EXPECT_EQ(sensor.createCmdPack(19, raw(payload), -1, packet), 0);
  EXPECT_EQ(sensor.createCmdPack(19, nullptr, 1, packet), 0);
  EXPECT_FALSE(sensor.verifyPacket(nullptr));
  EXPECT_EQ(sensor.inet_addr_("300.0.0.1"), 0x0100012CUL) << "spills into the next byte";
  for (const char* text : {"", "1.2.3", static_cast<const char*>(nullptr)}) {
    EXPECT_LE(sensor.inet_addr_(text), 0xFFFFFFFFUL) << "reads nothing outside the text";
  }
  for (const auto& [model, fx, mz] :
       {std::array{0, 600, 15}, {1, 600, 15}, {2, 150, 4}, {3, 3000, 150}, {5, 1000, 30}}) {
    sensor.dev_info.model = static_cast<std::uint8_t>(model);
    Six range;
    sensor.getFTSensorRange(range.data());
    EXPECT_TRUE(range[0] == fx && range[5] == mz) << model;
  }
  testing::internal::CaptureStdout();
  sensor.PrintBuffer(raw("\n\xFF"), 2);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "buff: 10 255 \n");
}

}  // namespace
