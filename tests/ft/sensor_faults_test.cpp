// The network sensor under what can go wrong on the wire, streaming from the simulator: no wrong or
// torn reading is ever handed out, and the driver finds back by itself. And the simulator under
// what a driver does.
#include <cmath>

#include "sim/loopback_socket.h"
#include "sim/sensor_simulator.h"
#include "tests/ft/sensor_packets.h"
#include "zel_ftc_diag.h"
#include "zel_ftc_lib.h"

using namespace zel::sim;
using namespace testing_ft;

namespace {

SensorFaults striking(Fault fault, double probability) {
  SensorFaults faults;
  faults[fault].probability = probability;
  return faults;
}

TEST(SensorFaults, NothingWrongIsReadAndTheDriverFindsBack) {
  // Frames are numbered and all channels follow from the number: a reading tells by itself whether
  // it was sent as it was read.
  std::atomic<int> made{0};
  SensorSimulatorConfig config{.source = [&](double) {
    Wrench wrench;
    for (double thousandths = ++made; double& value : wrench) value = thousandths++ / 1000;
    return wrench;
  }};
  config.binary_answer = "OK";
  SensorSimulator simulator(config);
  simulator.start();
  ASSERT_EQ(zel_ftc_open(false), 1);
  ASSERT_EQ(zel_ftc_initialFTSensor(simulator.port(), "127.0.0.1"), 1);
  Sensor& sensor = *static_cast<Sensor*>(m_zelftsensorclass);

  const auto expectReadings = [&](int frames, bool inOrder) {
    int newest = 0;
    EXPECT_TRUE(eventually([&, end = made + frames] {
      Six reading = untouched, sent = untouched;
      const bool done = zel_ftc_obtainFTSensorData(reading.data()) == 1;
      const int number = done ? static_cast<int>(std::lround(reading[0] * 1000)) : 0;
      for (int i = 0; done && i < 6; ++i) sent[i] = (number + i) / 1000.0F;
      EXPECT_EQ(reading, sent) << "torn or wrong";
      EXPECT_LE(number, made) << "never sent";
      EXPECT_TRUE(number >= newest || !inOrder) << "an older one again";
      newest = number;
      return number >= end || HasFailure();
    }));
  };
  SensorFaults all, none;
  for (auto& when : all.when) when.probability = 0.1;
  all.status_byte = 0;
  all.merged_packets = 5;  // more than is received at once
  all.jitter = 0.005;
  for (SensorFaults faults : {striking(Fault::loss, 0.5), striking(Fault::duplication, 0.5),
                              striking(Fault::reordering, 0.5), striking(Fault::corruption, 0.5),
                              striking(Fault::truncation, 0.5), striking(Fault::merging, 0.5),
                              striking(Fault::splitting, 1), striking(Fault::garbage, 1), all}) {
    made = (made / 1000 + 1) * 1000;  // the same numbers under the same faults in every run
    simulator.setFaults(faults);
    expectReadings(50, faults.jitter == 0 && faults[Fault::reordering].probability == 0);
    simulator.setFaults(none);
    expectReadings(20, false);
  }
  for (const std::uint64_t strikes : simulator.statistics().faults) EXPECT_GT(strikes, 0U);

  // Frames that are asked for wait while nobody looks.
  EXPECT_EQ(zel_ftc_keepFrames(true), 1);
  EXPECT_TRUE(eventually([&, end = made + 300] { return made >= end; }));
  zel_ftc_frame frame = {};
  int taken = 0;
  for (std::uint64_t last = 0; zel_ftc_nextFrame(&frame) == 1; last = frame.number, ++taken) {
    EXPECT_TRUE(last == 0 || frame.number == last + 1);
    EXPECT_EQ(frame.status, FT_N0RMAL);
    EXPECT_NEAR(frame.value[5], frame.value[0] + 0.005, 1e-4);
  }
  EXPECT_GT(taken, 50);
  EXPECT_EQ(zel_ftc_keepFrames(false), 1);
  EXPECT_EQ(zel_ftc_nextFrame(&frame), 0);

  // Of a stream that has ended every datagram is accounted for, those of a stranger as well.
  const Fd stranger = connectLoopback(52000);
  EXPECT_EQ(send(stranger.get(), "?", 1, 0), 1);
  zel_ftc_link_health health = {};
  EXPECT_TRUE(eventually([&] { return zel_ftc_linkHealth(&health) && health.rate > 100; }));
  EXPECT_LT(health.rate, 2000);
  EXPECT_TRUE(sensor.setFTSensorStopSample());
  SensorStatistics sent;
  EXPECT_TRUE(eventually([&] {
    sent = simulator.statistics();
    return zel_ftc_linkHealth(&health) == 1 && health.datagrams == sent.datagrams + 1;
  }));
  EXPECT_TRUE(health.bytes <= sent.bytes && health.bytes > sent.bytes * 9 / 10)
      << "long ones are cut";
  EXPECT_EQ(health.foreign_datagrams, 1U);
  EXPECT_GT(health.cut_datagrams, 0U);
  EXPECT_TRUE(eventually([&] { return zel_ftc_linkHealth(&health) && health.rate == 0; }));
  EXPECT_TRUE(sensor.setFTSensorStartSample());

  // Settings arrive, what was saved outlives a cut of the power, the stream does not.
  EXPECT_TRUE(sensor.setFTSensorStopSample());
  EXPECT_TRUE(sensor.setFTSensorKalmanFilter(true, {7, -70000, 3000000000U}, {200, 513, 1}));
  for (const Setting& setting : settings) EXPECT_TRUE(setting.call(sensor)) << setting.sent;
  EXPECT_FALSE(simulator.alarmRaised() || simulator.settings().alarm_normally_open);
  EXPECT_TRUE(sensor.setFTSensorStartSample());
  SensorFaults dead;
  dead.dead = true;
  simulator.setFaults(dead);
  EXPECT_EQ(zel_ftc_lowPassFilterFTSensor(5), 0) << "nobody answers";
  simulator.setFaults(none);
  EXPECT_FALSE(simulator.streaming());
  const SensorSettings kept = simulator.settings();
  EXPECT_EQ(kept.tool_transform, (Six{100.25, -200.5, 300.125, -0.001, 0, 1}));
  EXPECT_EQ(kept.alarm_threshold, (Six{150, -150.5, 200.001, 4, -1, 3.999}));
  EXPECT_EQ((std::array<int, 14>{kept.low_pass, kept.median_depth, kept.smooth_depth, kept.fir,
                                 kept.iir, kept.kalman, kept.alarm, kept.alarm_normally_open,
                                 kept.net_ip[1], kept.net_mask[2], kept.net_gateway[3],
                                 kept.net_port, kept.kalman_para[0].kalman_threshold,
                                 static_cast<int>(kept.kalman_para[1].num_check)}),
            (std::array{3, 9, 16, 1, 1, 1, 1, 1, 168, 254, 2, 0xC012, -70000, 1}));
  // Replies are struck only when asked for.
  SensorFaults loss = striking(Fault::loss, 1);
  simulator.setFaults(loss);
  EXPECT_EQ(zel_ftc_lowPassFilterFTSensor(256), 1);
  EXPECT_EQ(simulator.settings().low_pass, 0) << "the low byte is sent";
  loss.replies = true;
  simulator.setFaults(loss);
  EXPECT_EQ(zel_ftc_lowPassFilterFTSensor(5), 0);
  zel_ftc_error error = {};
  EXPECT_EQ(zel_ftc_runApproach(transform.data(), thresholds.data(), &error), 0);
  EXPECT_EQ(error.ft_code, COMM_CMDRETURN_ERROR);
  simulator.setFaults(none);
  EXPECT_TRUE(eventually([&] { return Reading(sensor).normal; })) << "streams again";
  EXPECT_EQ(zel_ftc_close(), 1);
}

}  // namespace
