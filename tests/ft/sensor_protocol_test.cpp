// Packets, decoding and conversions of the network sensor, without a socket.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "tests/ft/scriptedsensor.h"

using namespace testing_ft;

namespace {

void take(SensorEtherNet_UDP& sensor, const Bytes& packet) {
  sensor.updatData(packet.data() + 3, packet[2]);
}

TEST(SensorProtocol, CrcOfTheNineDigitsAndOfAPacketWithAnyBitFlipped) {
  SensorEtherNet_UDP sensor;
  EXPECT_EQ(sensor.crc16Cal(reinterpret_cast<const std::uint8_t*>("123456789"), 9), 0x29B1);
  EXPECT_EQ(sensor.crc16Cal(nullptr, 0), 0xFFFF);
  Bytes packet = fromHex(identityAnswer);
  EXPECT_TRUE(sensor.verifyPacket(packet.data()));
  for (std::size_t bit = 3 * 8; bit < (packet.size() - 2) * 8; ++bit) {
    const auto flip = static_cast<std::uint8_t>(1 << bit % 8);
    packet[bit / 8] ^= flip;
    EXPECT_FALSE(sensor.verifyPacket(packet.data())) << "bit " << bit;
    packet[bit / 8] ^= flip;
  }
}

TEST(SensorProtocol, CommandPacketsOnLiteralBytes) {
  SensorEtherNet_UDP sensor;
  Bytes packet(262);
  ASSERT_EQ(
      sensor.createCmdPack(SensorEtherNet_UDP::COMMAND_STOP_CAPTURE, nullptr, 0, packet.data()),
      10);
  EXPECT_EQ(toHex(Bytes(packet.begin(), packet.begin() + 10)), stopCommand);

  const Bytes longest(252, 0x22);
  EXPECT_EQ(sensor.createCmdPack(19, longest.data(), 252, packet.data()), 262);
  EXPECT_TRUE(sensor.verifyPacket(packet.data()));
  for (int length : {-1, 253, 100000}) {
    EXPECT_EQ(sensor.createCmdPack(19, longest.data(), length, packet.data()), 0) << length;
  }
  EXPECT_EQ(sensor.createCmdPack(19, nullptr, 1, packet.data()), 0);
}

TEST(SensorProtocol, AddressTexts) {
  SensorEtherNet_UDP sensor;
  EXPECT_EQ(sensor.inet_addr_("10.0.0.2"), 0x0200000AUL);
  EXPECT_EQ(sensor.inet_addr_("192.168.1.77"), 0x4D01A8C0UL);
  EXPECT_EQ(sensor.inet_addr_("300.0.0.1"), 0x0100012CUL) << "spills into the next byte";
  // Not addresses at all: any value will do, but nothing outside the text may be read.
  for (const char* text : {"", "...", "1.2.3", "a.b", "99999999999999999999.0.0.1"}) {
    const std::string copy(text);
    EXPECT_LE(sensor.inet_addr_(copy.c_str()), 0xFFFFFFFFUL) << text;
  }
  EXPECT_EQ(sensor.inet_addr_(nullptr), 0UL);
}

TEST(SensorProtocol, FrameOnLiteralBytes) {
  SensorEtherNet_UDP sensor;
  std::fill(std::begin(sensor.ft_range), std::end(sensor.ft_range), 200.0);
  take(sensor, fromHex("F6 6F 1B 00 00 02 39 30 00 00 18 FC FF FF 3F 0D 03 00 18 FC FF FF "
                       "C4 09 00 00 FF FF FF FF F7 8D 6F F6"));
  double value[6];
  EXPECT_TRUE(sensor.getRawData(value));
  const double expected[6] = {12.345F, -1.0, 199.999F, 1.0, -2.5, 0.001F};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(value[i], expected[i]) << "channel " << i;
  EXPECT_EQ(sensor.IPOC, 1);
  EXPECT_GT(sensor.time_start.load().time_since_epoch().count(), 0);
}

TEST(SensorProtocol, ChannelsAreSinglePrecision) {
  SensorEtherNet_UDP sensor;
  std::fill(std::begin(sensor.ft_range), std::end(sensor.ft_range), 1e9);
  // 2^24 + 1 is not a single-precision number: it is 2^24 before the division.
  take(sensor, frameOf({16777217, INT32_MIN, INT32_MAX, 16777217, 0, 0}));
  double value[6];
  EXPECT_TRUE(sensor.getRawData(value));
  EXPECT_EQ(value[0], double{16777.216F});
  EXPECT_EQ(value[1], double{-2147483.648F});
  EXPECT_EQ(value[2], double{2147483.648F});
  EXPECT_EQ(value[3], double{-16777.216F});
  EXPECT_TRUE(std::signbit(value[4])) << "the torque's sign is turned, zero included";
}

TEST(SensorProtocol, StatusOfAFrame) {
  struct Case {
    std::uint8_t status;
    std::int32_t fz;
    ZelInfoCode before, after;
  };
  const Case cases[] = {
      {0, 100, COMM_INIT, FT_N0RMAL},
      {255, 100, FT_N0RMAL, FT_DATA_ERROR},
      {254, 100, FT_N0RMAL, FT_OVERLOAD_ERROR},
      {7, 100, COMM_INIT, COMM_INIT},
      {253, 100, FT_N0RMAL, FT_N0RMAL},
      {0, 200000, COMM_INIT, FT_N0RMAL},          // exactly the range
      {0, 200001, COMM_INIT, FT_OVERLOAD_ERROR},  // beyond it wins over every status byte
      {255, -200001, COMM_INIT, FT_OVERLOAD_ERROR},
      {7, -200001, FT_N0RMAL, FT_OVERLOAD_ERROR},
  };
  for (const Case& c : cases) {
    SensorEtherNet_UDP sensor;
    std::fill(std::begin(sensor.ft_range), std::end(sensor.ft_range), 200.0);
    sensor.setCODE(c.before);
    take(sensor, frameOf({0, 0, c.fz, 0, 0, 0}, c.status));
    EXPECT_EQ(sensor.CODE, c.after) << "status " << int{c.status} << ", Fz " << c.fz;
    double value[6] = {};
    EXPECT_EQ(sensor.getRawData(value), c.after == FT_N0RMAL);
    EXPECT_EQ(value[2], static_cast<float>(c.fz) / 1000.0F) << "handed out all the same";
    sensor.setCODE(FT_N0RMAL);  // as by a later frame
    const bool normal = sensor.getRawData(value);
    EXPECT_FALSE(normal && c.after == FT_OVERLOAD_ERROR);
  }
}

TEST(SensorProtocol, FramesThatAreNoReadingChangeNothing) {
  SensorEtherNet_UDP sensor;
  const Bytes frame = frameOf({1, 2, 3, 4, 5, 6});
  for (int length : {2, 0}) sensor.updatData(frame.data() + 3, length);
  sensor.updatData(nullptr, 27);
  take(sensor, frameOf({1, 2, 3, 4, 5, 6}, 254, 16));
  EXPECT_EQ(sensor.IPOC, 0);
  EXPECT_EQ(sensor.CODE, ZelInfoCode{});
  EXPECT_FALSE(sensor.SET_CMD_ZERO);
  take(sensor, packetAround({0, 254, 11}));
  EXPECT_TRUE(sensor.SET_CMD_ZERO);
  EXPECT_EQ(sensor.IPOC, 0);
  EXPECT_EQ(sensor.CODE, ZelInfoCode{});
}

TEST(SensorProtocol, TheCounterRunsTo100000ThenTo0) {
  SensorEtherNet_UDP sensor;
  const Bytes frame = frameOf({0, 0, 0, 0, 0, 0});
  for (int i = 0; i < 100000; ++i) take(sensor, frame);
  EXPECT_EQ(sensor.IPOC, 100000);
  take(sensor, frame);
  EXPECT_EQ(sensor.IPOC, 0);
}

TEST(SensorProtocol, RangeOfTheModel) {
  for (const auto& [model, fx, mz] : {std::array{0, 600, 15},
                                      {1, 600, 15},
                                      {2, 150, 4},
                                      {3, 3000, 150},
                                      {4, 600, 15},
                                      {5, 1000, 30},
                                      {255, 600, 15}}) {
    SensorEtherNet_UDP sensor;
    sensor.dev_info.model = static_cast<std::uint8_t>(model);
    double range[6] = {};
    sensor.getFTSensorRange(range);
    EXPECT_EQ(range[0], fx) << model;
    EXPECT_EQ(range[5], mz) << model;
  }
}

TEST(SensorProtocol, ClosedSensorRefusesEverythingAndTellsItsStatus) {
  SensorEtherNet_UDP sensor;
  sensor.setCODE(ETHERNET_NO_SENSOR_ERROR);
  const Reading reading = read(sensor);
  EXPECT_FALSE(reading.normal);
  EXPECT_EQ(reading.value[0], -99);
  EXPECT_EQ(reading.info.code, ETHERNET_NO_SENSOR_ERROR);
  EXPECT_NE(std::strstr(reading.info.code_info, "SensorEtherNet_UDP"), nullptr);
  EXPECT_FALSE(sensor.zeroFTSensor());
  EXPECT_FALSE(sensor.setFTSensorStartSample());
  EXPECT_EQ(sensor.CODE, ETHERNET_NO_SENSOR_ERROR);
}

}  // namespace
