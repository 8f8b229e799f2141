// Every command of the network sensor on the wire: packet, answer, check, failure code.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>

#include "tests/ft/scriptedsensor.h"

using namespace testing_ft;

namespace {

using Sensor = SensorEtherNet_UDP;

const char* const alarmQuery = "F6 6F 03 00 00 26 38 88 6F F6";

double transform[6] = {100.25, -200.5, 300.1259, -0.0011, 0.0009, 1.57};
double thresholds[6] = {150, -150.5, 200.0019, 4, -4, 3.9999};

struct Setting {
  const char* packet;
  bool codeChecked;  ///< an answer with another command's code is a failure
  std::function<bool(Sensor&)> call;
};

const Setting settings[] = {
    {"F6 6F 03 00 00 0B F7 7D 6F F6", true, [](Sensor& s) { return s.zeroFTSensor(); }},
    {"F6 6F 03 00 00 09 B5 5D 6F F6", true, [](Sensor& s) { return s.saveFTSensorUserSetting(); }},
    {"F6 6F 04 00 00 18 03 79 3E 6F F6", true,
     [](Sensor& s) { return s.setFTSensorLowPassFilter(3); }},
    {"F6 6F 1B 00 00 13 9A 87 01 00 CC F0 FC FF 5D 94 04 00 FF FF FF FF 00 00 00 00 22 06 00 00 "
     "5C C1 6F F6",
     true, [](Sensor& s) { return s.setFTSensorToolTransform(transform); }},
    {"F6 6F 04 00 00 37 01 E3 08 6F F6", false,
     [](Sensor& s) { return s.setFTSensorIIRFilter(true); }},
    {"F6 6F 04 00 00 37 00 C2 18 6F F6", false,
     [](Sensor& s) { return s.setFTSensorIIRFilter(false); }},
    {"F6 6F 04 00 00 32 01 16 F7 6F F6", false,
     [](Sensor& s) { return s.setFTSensorFIRFilter(true); }},
    {"F6 6F 04 00 00 20 09 0F 13 6F F6", false,
     [](Sensor& s) { return s.setFTSensorMedianFilter(9); }},
    {"F6 6F 04 00 00 31 10 55 A0 6F F6", true,
     [](Sensor& s) { return s.setFTSensorSmoothAverFilter(16); }},
    {"F6 6F 07 00 00 19 C0 A8 01 4D 29 50 6F F6", true,
     [](Sensor& s) { return s.setFTSensorNetIP("192.168.1.77"); }},
    {"F6 6F 07 00 00 1A FF FF FE 00 34 07 6F F6", true,
     [](Sensor& s) { return s.setFTSensorNetMask("255.255.254.0"); }},
    {"F6 6F 07 00 00 1B 0A 00 00 02 82 51 6F F6", true,
     [](Sensor& s) { return s.setFTSensorNetGateway("10.0.0.2"); }},
    {"F6 6F 05 00 00 1C 12 C0 53 9B 6F F6", true,
     [](Sensor& s) { return s.setFTSensorNetPortNumber(0xC012); }},
    {"F6 6F 03 00 00 28 F6 69 6F F6", true, [](Sensor& s) { return s.setFTSensorAlarmSignal(); }},
    {"F6 6F 03 00 00 23 9D D8 6F F6", true, [](Sensor& s) { return s.clearFTSensorAlarmSignal(); }},
    {"F6 6F 04 00 00 25 01 F2 6D 6F F6", false, [](Sensor& s) { return s.setFTSensorAlarm(true); }},
    {"F6 6F 04 00 00 27 00 B1 1B 6F F6", false,
     [](Sensor& s) { return s.setFTSensorAlarmNormalOpen(false); }},
    {"F6 6F 1B 00 00 24 F0 49 02 00 1C B4 FD FF 41 0D 03 00 A0 0F 00 00 60 F0 FF FF 9F 0F 00 00 "
     "29 84 6F F6",
     true, [](Sensor& s) { return s.setFTSensorAlarmThresholdValue(thresholds); }},
};

Bytes acknowledgementOf(const Setting& setting) {
  return command(fromHex(setting.packet)[5]);
}

/// A link without the start-up: commands run one by one.
class SensorCommands : public ::testing::Test {
 protected:
  SensorCommands() {
    EXPECT_TRUE(
        sensor.initSensorEtherNet_UDPIF(static_cast<std::uint16_t>(peer.port()), "127.0.0.1"));
  }

  ScriptedSensor peer;
  Sensor sensor;
};

TEST_F(SensorCommands, AnswersInPiecesAndOfEveryLength) {
  // In pieces; with stale bytes before it, which are dropped; with the longest body there is.
  peer.send("F6 6F 1B 00 00 02 39 30");
  ASSERT_TRUE(eventually([&] { return sensor.R_FIFO.GetDataCount() == 8; }));
  peer.expect(zeroCommand, {"F6", "6F 03 00", "00 0B F7", "7D 6F F6"});
  EXPECT_TRUE(sensor.zeroReset());

  Bytes body(255, 0x33);
  body[2] = 11;
  const Bytes longest = packetAround(body);
  const auto part = [&](std::ptrdiff_t from, std::ptrdiff_t to) {
    return toHex(Bytes(longest.begin() + from, longest.begin() + to));
  };
  Bytes ret(255);
  peer.expect(zeroCommand, {part(0, 128), part(128, 250), part(250, 262)});
  EXPECT_TRUE(sensor.simpleCommunication(11, ret.data(), 100));
  EXPECT_EQ(ret, body);
}

TEST_F(SensorCommands, BadHeadsAndMissingAnswersFail) {
  for (const char* answer : {"F6 F6 03 00 00 0B F7 7D 6F F6", "00 6F 03 00 00 0B F7 7D 6F F6",
                             "F6 6F 02 00 00 0F 1D 6F F6", "F6 6F 00 FF FF 6F F6", "F6 6F",
                             "F6 6F 03 00 00 0B F7 7D 6F"}) {
    SCOPED_TRACE(answer);
    sensor.setCODE(COMM_INIT);
    peer.expect(zeroCommand, {answer});
    EXPECT_FALSE(sensor.zeroReset());
    EXPECT_EQ(sensor.CODE, COMM_CMDRETURN_ERROR);
  }
  peer.expect(zeroCommand);
  EXPECT_FALSE(sensor.zeroReset());
}

TEST_F(SensorCommands, NoAnswerIsAwaitedWithoutATimeOrABuffer) {
  Bytes ret(255);
  const std::uint8_t argument = 1;
  peer.expect(zeroCommand);
  EXPECT_TRUE(sensor.simpleCommunication(11, ret.data(), 0));
  peer.expect("F6 6F 04 00 00 11 01 A3 A4 6F F6", {toHex(command(17))});
  EXPECT_TRUE(sensor.simpleCommunication2(17, &argument, 1, nullptr, 100));
  EXPECT_FALSE(sensor.simpleCommunication2(17, &argument, 253, ret.data(), 100));
}

TEST_F(SensorCommands, Identity) {
  EXPECT_EQ(sensor.ft_range[2], 0.0);
  Sensor::DeviceModelInfo info = {};
  peer.expect(identityQuery, {identityAnswer});
  EXPECT_TRUE(sensor.getDevModelInfo(info));
  EXPECT_EQ(info.model, 2);
  EXPECT_EQ(info.range, 9);
  EXPECT_EQ(info.id, 0x1234);
  EXPECT_EQ(info.year, 24);
  EXPECT_EQ(info.month, 11);
  EXPECT_EQ(info.date, 30);
  EXPECT_EQ(sensor.ft_range[2], 200.0);

  peer.expect(identityQuery, {"F6 6F 09 00 00 10 18 0B 1E 02 09 34 E2 CF 6F F6"});  // a byte short
  EXPECT_TRUE(sensor.getDevModelInfo(info));
  EXPECT_EQ(info.id, 0x34) << "what is missing reads as 0";
}

TEST_F(SensorCommands, WhatAShortAnswerOfTheAlarmAxesLeavesOutIsZero) {
  Bytes axes(6, 0xEE);
  peer.expect(alarmQuery, {"F6 6F 08 00 00 26 00 01 00 00 02 21 DF 6F F6"});  // five axes
  EXPECT_TRUE(sensor.getAlarmAxis(axes.data()));
  EXPECT_EQ(axes, (Bytes{0, 1, 0, 0, 2, 0}));
}

TEST_F(SensorCommands, ValuesBeyond32BitsKeepTheirLowBits) {
  double values[6] = {4294968.296, -4294968.296, 0, 0, 0, 0};  // +-(2^32 + 1000) thousandths
  Bytes body = {0, 0, 19, 0xE8, 0x03, 0, 0, 0x18, 0xFC, 0xFF, 0xFF};
  body.resize(27);
  peer.expect(toHex(packetAround(body)), {toHex(command(19))});
  EXPECT_TRUE(sensor.setToolTransform(values));
}

class StreamingSettings : public Streaming {
 protected:
  void stopStream() {
    peer.expect(stopCommand);
    EXPECT_TRUE(sensor.setFTSensorStopSample());
  }
};

TEST_F(StreamingSettings, PacketAndAnswer) {
  stopStream();
  for (const Setting& setting : settings) {
    SCOPED_TRACE(setting.packet);
    Bytes damaged = acknowledgementOf(setting);
    damaged[6] ^= 1;  // the CRC
    const struct {
      Bytes answer;
      bool accepted;
    } cases[] = {
        {acknowledgementOf(setting), true}, {command(99), !setting.codeChecked}, {damaged, false}};
    for (const auto& [answer, accepted] : cases) {
      sensor.setCODE(COMM_INIT);
      peer.expect(setting.packet, {toHex(answer)});
      EXPECT_EQ(setting.call(sensor), accepted);
      EXPECT_EQ(sensor.CODE, accepted ? COMM_INIT : COMM_CMDRETURN_ERROR);
    }
  }
}

TEST_F(StreamingSettings, PauseTheStreamAndStartItAgain) {
  const auto expectPaused = [&](const std::string& packet, const Bytes& answer) {
    peer.expect(stopCommand);
    peer.expect(packet, {toHex(answer)});
    peer.expect(startCommand);
  };
  for (const Setting& setting : settings) {
    SCOPED_TRACE(setting.packet);
    expectPaused(setting.packet, acknowledgementOf(setting));
    EXPECT_TRUE(setting.call(sensor));
    EXPECT_TRUE(sensor.bSampleMode);
    peer.expectDone();
  }
  peer.expect(stopCommand);
  peer.expect("F6 6F 15 00 00 12 07 90 EE FE FF 00 5E D0 B2 C8 01 02 00 00 01 00 00 00 FA 2B 6F F6",
              {toHex(command(99))});  // its failure does not count
  peer.expect("F6 6F 04 00 00 11 01 A3 A4 6F F6", {toHex(command(17))});
  peer.expect(startCommand);
  EXPECT_TRUE(sensor.setFTSensorKalmanFilter(true, {7, -70000, 3000000000U}, {200, 513, 1}));

  Bytes axes(6);
  expectPaused(alarmQuery, fromHex("F6 6F 09 00 00 26 00 01 00 00 02 FF 62 05 6F F6"));
  EXPECT_TRUE(sensor.getFTSensorAlarmAxis(axes.data()));
  EXPECT_EQ(axes, (Bytes{0, 1, 0, 0, 2, 255}));

  streamOne(frameOf({5000, 0, 0, 0, 0, 0}));
  EXPECT_TRUE(read(sensor).normal);
}

TEST_F(StreamingSettings, UnusableArgumentsAreRefusedWithTheStreamUntouched) {
  zel_ft_info_t info = {};
  EXPECT_FALSE(sensor.getFTSensorData(nullptr, info));
  EXPECT_EQ(info.code, COMM_INIT);
  EXPECT_FALSE(sensor.setFTSensorToolTransform(nullptr));
  EXPECT_FALSE(sensor.setFTSensorAlarmThresholdValue(nullptr));
  EXPECT_FALSE(sensor.setFTSensorNetIP(nullptr));
  EXPECT_FALSE(sensor.setFTSensorNetMask(nullptr));
  EXPECT_FALSE(sensor.setFTSensorNetGateway(nullptr));
  EXPECT_FALSE(sensor.getFTSensorAlarmAxis(nullptr));
  EXPECT_TRUE(sensor.bSampleMode);

  stopStream();
  double values[6] = {0, 0, 0, 0, 0, std::numeric_limits<double>::quiet_NaN()};
  EXPECT_FALSE(sensor.setFTSensorToolTransform(values));
  values[5] = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(sensor.setFTSensorAlarmThresholdValue(values));
  EXPECT_EQ(sensor.CODE, COMM_CMDRETURN_ERROR);
  EXPECT_FALSE(sensor.setFTSensorNetIP("10.0.0"));
  EXPECT_EQ(sensor.CODE, COMM_IP_ERROR);
}

TEST_F(StreamingSettings, PolledReadings) {
  streamOne(frameOf({100000, 0, 0, 0, 0, 0}));
  EXPECT_FALSE(sensor.setFTSensorStartSample()) << "streams already";
  stopStream();
  EXPECT_FALSE(sensor.setFTSensorStopSample());

  const int before = sensor.IPOC;
  peer.expect(captureCommand,
              {"F6 6F 1B 00 00 04 39 30 00 00 18 FC FF FF 3F 0D 03 00 18 FC FF FF C4 09 00 00 "
               "FF FF FF FF 6E 00 6F F6"});
  Reading reading = read(sensor);
  EXPECT_TRUE(reading.normal);
  EXPECT_EQ(reading.value[0], double{12.345F});
  EXPECT_EQ(reading.value[3], 1.0);
  EXPECT_EQ(reading.info.IPOC, before + 1);
  EXPECT_EQ(sensor.rawData.newest().value[0], 100.0) << "the streamed reading stays";

  // The range check looks at the last streamed reading, not at the one just taken.
  peer.expect(captureCommand, {toHex(frameOf({0, 0, 999000, 0, 0, 0}, 0, 4))});
  EXPECT_TRUE(read(sensor).normal);
  peer.expect(captureCommand, {toHex(frameOf({0, 0, 0, 0, 0, 0}, 254, 4))});
  reading = read(sensor);
  EXPECT_FALSE(reading.normal);
  EXPECT_EQ(reading.info.code, FT_OVERLOAD_ERROR);
  EXPECT_EQ(reading.value[0], 0.0);

  for (const Bytes& answer : {frameOf({0, 0, 0, 0, 0, 0}, 0, 2), Bytes{0xF6, 0x6F}}) {
    peer.expect(captureCommand, {toHex(answer)});
    reading = read(sensor);
    EXPECT_FALSE(reading.normal);
    EXPECT_EQ(reading.value[0], -99);
    EXPECT_EQ(reading.info.code, COMM_CMDRETURN_ERROR);
    EXPECT_EQ(reading.info.IPOC, before + 3);
  }

  peer.expect(zeroCommand, {zeroCommand});
  EXPECT_TRUE(sensor.zeroFTSensor()) << "in the polled state without stop and start";
  peer.expect(startCommand);
  EXPECT_TRUE(sensor.setFTSensorStartSample());
  streamOne(frameOf({7000, 0, 0, 0, 0, 0}));
  EXPECT_TRUE(read(sensor).normal);
}

}  // namespace
