// The stream of the network sensor: what arrives in whatever shape, and what a caller sees of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

#include "tests/ft/scriptedsensor.h"

using namespace testing_ft;

namespace {

class SensorStream : public Streaming {
 protected:
  /// Sends a packet in datagrams of at most 128 bytes, the most that is received at once.
  void sendInParts(const Bytes& packet, std::size_t part = 128) {
    for (std::size_t at = 0; at < packet.size(); at += part) {
      const auto begin = packet.begin() + static_cast<std::ptrdiff_t>(at);
      peer.send(
          Bytes(begin, begin + static_cast<std::ptrdiff_t>(std::min(part, packet.size() - at))));
    }
  }

  /// Two good frames get through, whatever came before, and are read as they were sent.
  void expectRightAgain() {
    const int before = sensor.IPOC;
    peer.send(frameOf({1000, 2000, 3000, 100, 200, 300}));
    peer.send(frameOf({1500, 2500, 3500, 150, 250, 350}));
    EXPECT_TRUE(eventually([&] { return sensor.IPOC > before && read(sensor).value[0] == 1.5; }));
    const Reading reading = read(sensor);
    EXPECT_TRUE(reading.normal);
    EXPECT_EQ(reading.value[2], 3.5);
    EXPECT_EQ(reading.value[5], -double{0.35F});
  }
};

TEST_F(SensorStream, NothingIsNormalBeforeTheFirstFrame) {
  Reading reading = read(sensor);
  EXPECT_FALSE(reading.normal);
  EXPECT_EQ(reading.info.code, COMM_INIT);
  EXPECT_EQ(reading.info.IPOC, 0);
  EXPECT_EQ(reading.value[0], 0.0);
  // The status of the first frame is there a moment before the frame.
  sensor.setCODE(FT_N0RMAL);
  reading = read(sensor);
  EXPECT_FALSE(reading.normal);
  EXPECT_EQ(reading.info.code, COMM_INIT);
}

TEST_F(SensorStream, MergedFramesCountEachAndTheNewestWins) {
  Bytes merged;
  for (std::int32_t i = 1; i <= 3; ++i) {
    const Bytes frame = frameOf({i * 1000, 0, 0, 0, 0, 0});
    merged.insert(merged.end(), frame.begin(), frame.end());
  }
  peer.send(merged);
  EXPECT_TRUE(eventually([&] { return read(sensor).value[0] == 3.0; }));
  EXPECT_EQ(read(sensor).info.IPOC, 3);
  EXPECT_TRUE(read(sensor).normal);
}

TEST_F(SensorStream, FramesInPieces) {
  const Bytes frame = frameOf({4000, 0, 0, 0, 0, 0});
  for (std::size_t part : {1U, 2U, 3U, 7U, 33U}) {
    const int before = sensor.IPOC;
    sendInParts(frame, part);
    EXPECT_TRUE(eventually([&] { return sensor.IPOC == before + 1; })) << part;
  }
}

TEST_F(SensorStream, EveryLengthOfADataFrame) {
  for (std::size_t n = 27; n <= 255; ++n) {
    const auto value = static_cast<std::int32_t>(n);
    sendInParts(frameOf({value, 0, 0, 0, 0, 0}, 0, 2, n - 27));
    ASSERT_TRUE(eventually([&] { return read(sensor).value[0] == double{value / 1000.0F}; }))
        << "N = " << n;
  }
  EXPECT_EQ(sensor.IPOC, 229);
}

TEST_F(SensorStream, ShortFramesCountAndPacketsWithoutACommandDoNot) {
  for (std::size_t n = 0; n < 27; ++n) {
    Bytes body(n, 0);
    if (n > 2) body[2] = 2;
    peer.send(packetAround(body));
    if (n % 5 == 4 || n == 26) expectRightAgain();  // before the queue overflows
  }
  EXPECT_EQ(sensor.IPOC, 12 + 24);
}

TEST_F(SensorStream, RightAgainAfterEachFault) {
  streamOne(frameOf({9000, 0, 0, 0, 0, 0}));
  const Bytes good = frameOf({8000, 0, 0, 0, 0, 0});
  Bytes badCrc = good;
  badCrc[30] ^= 0x40;
  Bytes badData = good;
  badData[7] ^= 0x01;
  const Bytes truncated(good.begin(), good.begin() + 20);
  for (const Bytes& fault :
       {badCrc, badData, truncated, Bytes(400, 0x11), Bytes{0xF6}, Bytes{0xF6, 0xF6},
        Bytes{0xF6, 0xF6, 0x00, 0x6F}, Bytes{0x6F, 0xF6}, Bytes(128, 0xF6), Bytes(128, 0x6F)}) {
    SCOPED_TRACE(toHex(fault));
    peer.send(fault);
    expectRightAgain();
    streamOne(frameOf({9000, 0, 0, 0, 0, 0}));
  }
}

TEST_F(SensorStream, InitialisingAgainKeepsTheLinkAndShowsItInTheStatus) {
  streamOne(frameOf({1000, 0, 0, 0, 0, 0}));
  EXPECT_TRUE(sensor.initialFTSensor(1, nullptr));
  EXPECT_EQ(read(sensor).info.code, COMM_INIT);
  streamOne(frameOf({2000, 0, 0, 0, 0, 0}));
  EXPECT_TRUE(read(sensor).normal);
}

// Six channels that carry the same number. Beyond 4000 the torque range is exceeded, and every
// third frame is overloaded by its status byte alone: those have odd numbers. The last frame has a
// number of its own.
TEST_F(SensorStream, ReadingsAreWholeAndAnOverloadIsNeverNormal) {
  constexpr int bursts = 2000;
  const Bytes lastFrame = frameOf({-1, -1, -1, -1, -1, -1});
  std::atomic<bool> lastSeen{false};
  std::thread sender([&] {
    int i = 0;
    for (int burst = 0; burst < bursts; ++burst) {
      const int before = sensor.IPOC;
      for (int k = 0; k < 4; ++k, ++i) {
        const bool flagged = i % 3 == 0;
        const std::int32_t number = i * 37 % 3900 / 2 * 2 + (flagged ? 1 : i % 2 ? 4002 : 0);
        peer.send(frameOf({number, number, number, number, number, number}, flagged ? 254 : 0));
      }
      EXPECT_TRUE(eventually([&] { return sensor.IPOC != before; }));
    }
    EXPECT_TRUE(eventually([&] {
      peer.send(lastFrame);
      return lastSeen.load();
    }));
    lastSeen = true;
  });
  int normal = 0;
  int changes = 0;
  double last = 0;
  while (!lastSeen && !HasFailure()) {
    const Reading reading = read(sensor);
    const double number = reading.value[0];
    const bool whole = reading.value[1] == number && reading.value[2] == number &&
                       reading.value[3] == -number && reading.value[4] == -number &&
                       reading.value[5] == -number;
    if (!whole) ADD_FAILURE() << "torn at " << number;
    const bool overloaded = number > 4 || std::lround(number * 1000) % 2 == 1;
    if (reading.normal && overloaded) ADD_FAILURE() << "overload shown as normal: " << number;
    if (reading.normal != (reading.info.code == FT_N0RMAL)) ADD_FAILURE() << "two statements";
    normal += reading.normal;
    changes += number != last;
    last = number;
    if (number == double{-0.001F}) lastSeen = true;
  }
  sender.join();
  EXPECT_GT(normal, 0);
  EXPECT_GT(changes, 100);
}

}  // namespace
