#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <stdexcept>

#include "sim/robot_link.h"
#include "sim/sensor_simulator.h"
#include "tests/sim/sensor_client.h"

namespace zel::sim::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

/// The tip starts 1 mm above a flat surface of 10 N/mm at z = 0.
CellConfig aboveSurface() {
  CellConfig config;
  config.start = {3, 4, 1, 0, 0, 0};
  return config;
}

// First-order lag of 0.1 s: 1 - exp(-t / 0.1) of the way after t.
TEST(SensorRobotLink, OnlyRequestsLetTimePass) {
  CellConfig config = aboveSurface();
  config.lag = 0.1;
  SharedCell cell(config);
  RobotLinkServer server(cell, 0);
  RobotLinkClient controller(server.port());
  const Pose goal = {3, 4, 11, 0, 0, 0};
  EXPECT_EQ(1.0, controller.exchange(goal, 0.0).flange[2]);
  EXPECT_NEAR(1.0 + 10.0 * (1.0 - std::exp(-0.5)), controller.exchange(goal, 0.05).flange[2], 1e-9);
  const double z = cell.state().flange[2];
  EXPECT_EQ(z, controller.exchange(goal, 0.0).flange[2]);
  EXPECT_NEAR(1.0 + 10.0 * (1.0 - std::exp(-2.5)), controller.exchange(goal, 0.2).flange[2], 1e-9);
}

TEST(SensorRobotLink, HasTheDocumentedBytes) {
  SharedCell cell(aboveSurface());
  RobotLinkServer server(cell, 0);
  UdpClient raw(server.port());
  const auto request = [](std::uint32_t sequence, const Pose& pose, double seconds) {
    Bytes bytes = {'Z', 'R', 'L', '1'};
    bytes.resize(64);
    std::memcpy(&bytes[4], &sequence, 4);
    std::memcpy(&bytes[8], pose.data(), 48);
    std::memcpy(&bytes[56], &seconds, 8);
    return bytes;
  };
  const Pose pose = {3, 4, -2, 0, 0, 0};
  Bytes wrongMagic = request(1, pose, 0.1);
  wrongMagic[3] = '2';
  Bytes tooLong = request(2, pose, 0.1);
  tooLong.push_back(0);
  for (const Bytes& bad :
       {wrongMagic, tooLong, Bytes{}, request(3, {NAN}, 0.1), request(4, pose, -0.1),
        request(5, pose, INFINITY), request(6, pose, longestStep + 0.1)}) {
    raw.send(bad);
  }
  const Bytes reply = raw.exchange(request(0x01020304, pose, 0.1));
  EXPECT_EQ(request(0x01020304, pose, 2.0), reply) << "pose reached and 2 mm of penetration";
}

TEST(SensorRobotLink, ClientRefusesAndReportsClearly) {
  SharedCell cell(aboveSurface());
  RobotLinkServer server(cell, 0);
  RobotLinkClient client(server.port());
  EXPECT_THROW(client.exchange({0, 0, NAN}, 0.01), std::invalid_argument);
  EXPECT_THROW(client.exchange(Pose{}, longestStep + 0.01), std::invalid_argument);
  EXPECT_THROW(RobotLinkServer(cell, server.port()), std::system_error);

  const auto expectFailure = [](std::uint16_t port, const char* why) {
    RobotLinkClient alone(port, 0.02);
    EXPECT_THAT([&] { alone.exchange(Pose{}, 0.01); },
                ThrowsMessage<std::runtime_error>(HasSubstr(why)));
  };
  std::uint16_t port = 0;
  {
    const Fd mute = bindLoopback(0);
    port = localPort(mute);
    expectFailure(port, "no reply within");
  }
  expectFailure(port, "nothing listens there");
}

// Also for the thread sanitizer: the link moves the cell while the sensor reads it.
TEST(SensorRobotLink, SensorFeelsWhereTheControllerMovesTheRobot) {
  SharedCell cell(aboveSurface());
  RobotLinkServer server(cell, 0);
  SensorSimulator sensor(
      SensorSimulatorConfig{.rate = 4000.0, .source = [&cell](double) { return cell.reading(); }});
  sensor.start();
  UdpClient driver(sensor.port());
  RobotLinkClient controller(server.port());
  EXPECT_EQ(0, channel(driver.exchange(singleCapture), 2));
  const RobotState touching = controller.exchange({3, 4, -2.5, 0, 0, 0}, 0.01);
  EXPECT_THAT(touching.flange, ElementsAre(3, 4, -2.5, 0, 0, 0));
  EXPECT_DOUBLE_EQ(2.5, touching.penetration);
  EXPECT_EQ(25'000, channel(driver.exchange(singleCapture), 2));

  driver.send(startCapture);
  EXPECT_EQ(25'000, channel(driver.receive(), 2));
  for (int round = 0; round < 200; ++round) {
    const double depth = round % 2 == 0 ? 1.0 : 3.0;
    EXPECT_EQ(depth, controller.exchange({3, 4, -depth, 0, 0, 0}, 0.001).penetration);
    const std::int32_t fz = channel(driver.receive(), 2);
    EXPECT_TRUE(fz == 25'000 || fz == 10'000 || fz == 30'000) << fz;
  }
}

}  // namespace
}  // namespace zel::sim::test
