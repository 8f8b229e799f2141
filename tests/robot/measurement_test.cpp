// Readings: zeroing, gravity, frames, dead band; and the tool's own load identification.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "reference_tool.h"
#include "tool_fixture.h"

namespace zel::test {
namespace {

using testing::Each;

struct Measurement : ToolTest {
  Measurement() {
    mounting = {12, -7, 40, 0.7, -0.4, 0.3};
    tip = {5, -9, 130, -0.6, 0.8, 1.1};
    Six load = {1e3, 1e3, 1e3, 1e2, 1e2, 1e2};
    tool.setSensorConfig(load.data(), mounting.data(), tip.data());
    tool.setLoadData(weight, centre[0], centre[1], centre[2]);
    truth.G = weight;
    truth.arm = {0.001 * centre[0], 0.001 * centre[1], 0.001 * centre[2]};
    truth.flange_sensor = reference::Tool::internal(mounting.data());
  }

  /// What an ideal sensor with a constant offset reads: minus the weight's wrench.
  Six readingAt(const Six& flange) const {
    const Six g = truth.gravityAt(reference::Tool::internal(flange.data()));
    Six reading;
    for (int i = 0; i < 6; ++i) reading[i] = offset[i] - g[i];
    return reading;
  }

  bool zeroAt(Six flange) {
    info.IPOC = info.IPOC + 1;
    Six reading = readingAt(flange);
    return tool.sensorReset(flange.data(), reading.data(), info);
  }

  double weight = 23;
  std::array<double, 3> centre = {14, -22, 65};
  Six offset = {3, -5, 7, 0.2, -0.3, 0.5};
  reference::Tool truth;
};

TEST_F(Measurement, AfterZeroingOnlyTheContactForceIsLeftInAnyAttitude) {
  ASSERT_TRUE(zeroAt({100, 200, 300, 0.3, -0.2, 2.8}));
  tool.setSensorNoiseThreshold(1e-12, 1e-12);
  Random random(7);
  for (int n = 0; n < 50; ++n) {
    Six flange = random.pose(), reading = readingAt(flange);
    const Six contact = random.wrench(30, 3);
    for (int i = 0; i < 6; ++i) reading[i] += contact[i];
    zel_ft sensor, bare;
    ASSERT_TRUE(tool.getSensorData(sensor, flange.data(), SENSOR, reading.data(), info));
    ASSERT_TRUE(tool.get_GraData(bare, flange.data(), reading.data()));
    for (int i = 0; i < 6; ++i) {
      EXPECT_NEAR(sensor[i], contact[i], 1e-12);
      EXPECT_NEAR(bare[i], contact[i], 1e-12);
    }
  }
}

// A force that passes through the tip has no moment there: p x f taken away again, then rotated.
TEST_F(Measurement, ToolFrameMovesTheMomentToTheTip) {
  ASSERT_TRUE(zeroAt(pose));
  const reference::Vec3 p = {0.005, -0.009, 0.130}, f = {8, -11, 21};
  const reference::Vec3 m = reference::cross(p, f);
  Six reading = readingAt(pose);
  for (int i = 0; i < 3; ++i) {
    reading[i] += f[i];
    reading[i + 3] += m[i];
  }
  zel_ft atTip;
  ASSERT_TRUE(tool.getSensorData(atTip, pose.data(), TOOL, reading.data(), info));
  const auto T = reference::transformOf(reference::Tool::internal(tip.data()));
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(atTip[i], T[0][i] * f[0] + T[1][i] * f[1] + T[2][i] * f[2], 1e-12);
    EXPECT_EQ(atTip[i + 3], 0.0);
  }
}

TEST_F(Measurement, DeadBandKeepsAValueEqualToTheThreshold) {
  tool.setSensorNoiseThreshold(0.5, 0.25);
  RVector wrench(6);
  const double in[] = {0.5, -0.5, std::nextafter(0.5, 0), 0.25, -0.25, -std::nextafter(0.25, 0)};
  std::copy_n(in, 6, wrench.value);
  tool.ftTSL(wrench);
  const double out[] = {0.5, -0.5, 0, 0.25, -0.25, 0};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(wrench.value[i], out[i]) << i;
}

// ---- the tool's own identification
// ---------------------------------------------------------------

struct Calibration : Measurement {
  void record(int samples, std::uint64_t seed = 11) {
    Random random(seed);
    for (int n = 0; n < samples; ++n) {
      Six flange = random.pose(), reading = readingAt(flange);
      ASSERT_TRUE(tool.recordCalibrationLoadData(reading.data(), flange.data()));
    }
  }
  /// The identified load: N and mm.
  std::array<double, 4> identified() {
    std::array<double, 4> load = {-1, -1, -1, -1};
    testing::internal::CaptureStdout();
    tool.getLoadData(load[0], load[1], load[2], load[3]);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), " function is getLoadData!\n");
    return load;
  }
};

TEST_F(Calibration, FindsTheWeightAndTheMirroredCentreOfMass) {
  for (int samples : {4, 7, 10}) {
    tool.initCalibrationLoadData();
    record(samples);
    tool.loadData = {};
    tool.isSetLoadData = false;
    ASSERT_TRUE(tool.gravityCalibration());
    EXPECT_TRUE(tool.isSetLoadData);
    const auto load = identified();
    EXPECT_NEAR(load[0], weight, 1e-9);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(load[1 + i], -centre[i], 1e-8);
  }
}

TEST_F(Calibration, TakesTenSamples) {
  record(10);
  const double first = tool.ft_data[0];
  Six reading = {9, 9, 9, 9, 9, 9};
  EXPECT_FALSE(tool.recordCalibrationLoadData(reading.data(), pose.data()));
  EXPECT_EQ(tool.gravityCalibrationData.size, 10u);
  EXPECT_EQ(tool.ft_data[0], first) << "a refused sample changes nothing";

  tool.initCalibrationLoadData();
  EXPECT_EQ(tool.gravityCalibrationData.size, 0u);
  EXPECT_THAT(tool.gravityCalibrationData.FTData[9], Each(0.0));
  EXPECT_TRUE(tool.recordCalibrationLoadData(reading.data(), pose.data()));
}

TEST_F(Calibration, PlausibilityIsOneSidedAndLooksAtXAndYOnly) {
  const auto calibrateWith = [&](double x, double y, double z) {
    truth.arm = {-x, -y, -z};  // identified mirrored
    truth.G = 31;
    tool.initCalibrationLoadData();
    record(6);
    tool.isSetLoadData = true;
    return tool.gravityCalibration();
  };
  for (bool inX : {true, false}) {
    EXPECT_FALSE(calibrateWith(inX ? 0.51 : 0.1, inX ? 0.1 : 0.51, 0.1));
    EXPECT_FALSE(tool.isSetLoadData);
    EXPECT_NEAR(tool.loadData.G, 31, 1e-9) << "the new weight is kept";
    const auto& load = tool.loadData;
    EXPECT_THAT((std::array{load.lx, load.ly, load.lz}), Each(0.0));
    EXPECT_EQ(identified()[0], -1) << "nothing handed out";
  }
  EXPECT_TRUE(calibrateWith(0.1, 0.1, 0.8));
  EXPECT_NEAR(tool.loadData.lz, 0.8, 1e-9);
  EXPECT_TRUE(calibrateWith(-0.9, -0.8, 0.1));
  EXPECT_NEAR(tool.loadData.lx, -0.9, 1e-9);
}

TEST_F(Calibration, WithoutUsableSamplesNothingCrashes) {
  const double G = tool.loadData.G;
  EXPECT_TRUE(tool.gravityCalibration()) << "no samples: the earlier load stays";
  EXPECT_EQ(tool.loadData.G, G);
  tool.isSetLoadData = false;
  EXPECT_FALSE(tool.gravityCalibration());

  Six reading = readingAt(pose);
  for (int n = 0; n < 10; ++n) tool.recordCalibrationLoadData(reading.data(), pose.data());
  tool.gravityCalibration();  // one orientation: singular, any result will do

  tool.initCalibrationLoadData();
  record(9);
  reading[2] = std::numeric_limits<double>::quiet_NaN();
  tool.recordCalibrationLoadData(reading.data(), pose.data());
  EXPECT_TRUE(tool.gravityCalibration()) << "no comparison holds, so the load is accepted";
  EXPECT_TRUE(std::isnan(tool.loadData.lx));
}

}  // namespace
}  // namespace zel::test
