// The flat functions at work: the external sensor's life, results and when they are copied out,
// and that every argument arrives where it belongs.
#include <gmock/gmock.h>

#include <cstring>

#include "flat_fixture.h"
#include "robot/ZelFTCTool.h"

namespace zel::test {
namespace {

using testing::Each;
using testing::ElementsAreArray;

ZelFTCTool& openTool() {
  return static_cast<ZelFTCTool&>(*static_cast<ZelForceControlTool*>(m_zelftcclass));
}

constexpr Six untouched = {-1, -2, -3, -4, -5, -6};

// ---- the external sensor
// -------------------------------------------------------------------------

TEST(ExternalSensor, LivesFromInitialiseToUninitialise) {
  ASSERT_EQ(zel_ftc_open(true), 1);
  Six reading = {1, -2, 3, 0.1, -0.2, 0.3}, pose{}, ft{};
  const Six given = reading;
  EXPECT_EQ(zel_ftc_obtainFTSensorData(reading.data()), 0) << "not initialised";

  ASSERT_EQ(zel_ftc_initialFTSensor(4008, "not an address"), 1);
  EXPECT_EQ(zel_ftc_get_GraData(ft.data(), pose.data()), 1);
  EXPECT_THAT(zel_raw_ft, Each(0.0));
  EXPECT_EQ(zel_info_.code, COMM_INIT);
  EXPECT_EQ(zel_info_.IPOC, 0);

  for (int n = 1; n <= 3; ++n) ASSERT_EQ(zel_ftc_obtainFTSensorData(reading.data()), 1);
  EXPECT_EQ(reading, given) << "an input in this mode";
  zel_ftc_get_GraData(ft.data(), pose.data());
  EXPECT_THAT(zel_raw_ft, ElementsAreArray(given));
  EXPECT_EQ(zel_info_.code, FT_N0RMAL);
  EXPECT_EQ(zel_info_.IPOC, 3);
  EXPECT_STREQ(zel_info_.code_info, "The sensor is operating normally.");

  EXPECT_EQ(zel_ftc_initialFTSensor(0, nullptr), 1) << "again: reading and counter stay";
  zel_ftc_get_GraData(ft.data(), pose.data());
  EXPECT_EQ(zel_info_.code, COMM_INIT);
  EXPECT_EQ(zel_info_.IPOC, 3);

  EXPECT_EQ(zel_ftc_zeroFTSensor(), 1);
  EXPECT_EQ(zel_ftc_lowPassFilterFTSensor(3), 1);
  EXPECT_EQ(zel_ftc_medianFilterDepthFTSensor(256), 1);
  EXPECT_EQ(zel_ftc_getFTSensorRange(reading.data()), 1);
  EXPECT_EQ(reading, given) << "an external sensor has no range";

  EXPECT_EQ(zel_ftc_uninitialFTSensor(), 1);
  EXPECT_EQ(zel_ftc_obtainFTSensorData(reading.data()), 0);
  zel_ftc_close();
}

TEST_F(FlatTest, CounterWrapsToZeroAfterAHundredThousand) {
  for (int n = 0; n < 100000; ++n) zel_ftc_obtainFTSensorData(reading.data());
  zel_ftc_get_GraData(out.data(), pose.data());
  EXPECT_EQ(zel_info_.IPOC, 100000);
  feed(reading);
  zel_ftc_get_GraData(out.data(), pose.data());
  EXPECT_EQ(zel_info_.IPOC, 0);
}

// ---- runs
// ----------------------------------------------------------------------------------------

TEST_F(FlatTest, FailedSensorReadLeavesPoseAndResultCode) {
  configureApproach();
  feed(reading);
  ASSERT_EQ(zel_ftc_uninitialFTSensor(), 1);
  out = untouched;
  const auto failsWithoutResult = [&](int result) {
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, untouched);
    EXPECT_EQ(err.ftc_code, 1);
    EXPECT_EQ(err.ft_code, FT_N0RMAL);
    EXPECT_EQ(err.ft_ipoc, 1);
    err = {1, 2, 3};
  };
  failsWithoutResult(zel_ftc_runApproach(out.data(), pose.data(), &err));
  failsWithoutResult(zel_ftc_runAssembly(out.data(), pose.data(), &err));
  failsWithoutResult(
      zel_ftc_runTrackingMotionL(out.data(), start.data(), end.data(), pose.data(), &err));
  failsWithoutResult(zel_ftc_runTrackingMotionC(out.data(), start.data(), via.data(), end.data(),
                                                pose.data(), &err));
}

TEST_F(FlatTest, FailedOrEndedRunHandsTheRobotsPoseBack) {
  feed(reading);
  out = untouched;
  EXPECT_EQ(zel_ftc_runApproach(out.data(), pose.data(), &err), 0);
  EXPECT_EQ(err.ftc_code, 11004);
  EXPECT_EQ(err.ft_code, FT_N0RMAL);
  EXPECT_EQ(err.ft_ipoc, 1);
  EXPECT_EQ(out, pose);

  configureApproach();
  zel_set_minValue(-1, ZEL_MIN_PATH);
  std::fill_n(openTool().isApproachTouchOK, 20, 1);
  openTool().ApproachMode = 3;
  openTool().approachConfig.breakConditionRange[2] = 0;
  out = untouched;
  feed(reading);
  EXPECT_EQ(zel_ftc_runApproach(out.data(), pose.data(), &err), 0);
  EXPECT_EQ(err.ftc_code, 80001);
  EXPECT_EQ(out, pose);
}

TEST_F(FlatTest, SensorBeforeItsFirstReadingIsNotNormal) {
  configureApproach();
  EXPECT_EQ(zel_ftc_runApproach(out.data(), pose.data(), &err), 0);
  EXPECT_EQ(err.ftc_code, 11002);
  EXPECT_EQ(err.ft_code, COMM_INIT);
}

/// The four runs through the flat functions beside a tool of its own, called directly.
TEST_F(FlatTest, EveryArgumentArrivesWhereItBelongs) {
  ZelFTCTool direct;
  Six gain = {1, 2, 3, 40, 50, 60}, band = {7, 8, 9, 1, 2, 3}, expected = {-1, 2, -3, 4, -5, 6};
  Six load = {100, 200, 300, 40, 50, 60}, mounting = {12, -7, 40, 0.7, -0.4, 0.3},
      tip = {5, -9, 130, -0.6, 0.8, 1.1}, permissible = {101, 201, 301, 41, 51, 61};
  double most[] = {91, 92, 93}, least[] = {-94, -95, -96}, group[] = {-1, -2, -3};

  ASSERT_EQ(zel_ftc_setTimeStep(6) + direct.setTimeStep(6), 2);
  zel_ftc_setSensorConfig(load.data(), mounting.data(), tip.data());
  direct.setSensorConfig(load.data(), mounting.data(), tip.data());
  zel_ftc_setLoadData(21, 11, -16, 61);
  direct.setLoadData(21, 11, -16, 61);
  zel_ftc_setCorrectionLimit(most, least, 0.4);
  direct.setCorrectionLimit(most, least, 0.4);
  zel_ftc_setMonitoringFunctions(permissible.data());
  direct.setMonitoringFunctions(permissible.data());
  zel_ftc_setCorrectionMonitoring(70, 2.5);
  direct.setCorrectionMonitoring(70, 2.5);
  zel_ftc_setSensorNoiseThreshold(0.02, 0.003);
  direct.setSensorNoiseThreshold(0.02, 0.003);
  zel_set_minValue(3, 5001);
  direct.set_minValue(3, 5001);
  zel_set_minValue_every(group, 5);
  direct.set_minValue_every(group, 5);

  zel_ft_info info{};
  info.code = FT_N0RMAL;
  const auto sameOut = [&](const zel_pose& directOut, int result, bool directResult) {
    EXPECT_EQ(result, directResult ? 1 : 0);
    if (directResult) {
      EXPECT_EQ(std::memcmp(out.data(), directOut, sizeof(zel_pose)), 0);
    }
  };
  const auto next = [&] {
    for (int i = 0; i < 6; ++i) reading[i] += i < 3 ? 0.7 : 0.02;
    feed(reading);
    info.IPOC = info.IPOC + 1;
    pose[0] += 0.1;
    EXPECT_EQ(zel_ftc_stop() + zel_ftc_Release(), 2) << "change nothing";
  };
  zel_error directErr{};
  zel_pose directOut{};

  testing::internal::CaptureStdout();
  zel_ftc_configApproachMode(RCS_TOOL, FT_FY, -10, gain.data(), 15, 4, 0.5, band.data(), 9000);
  direct.configApproachMode(TOOL, FY, -10, gain.data(), 15, 4, 0.5, band.data(), 9000);
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(printed.substr(0, printed.size() / 2), printed.substr(printed.size() / 2));
  EXPECT_EQ(
      std::memcmp(&openTool().approachConfig, &direct.approachConfig, sizeof direct.approachConfig),
      0);
  next();
  Six flatWrench{};
  zel_ft directWrench;
  ASSERT_EQ(zel_ftc_sensorReset(pose.data()), 1);
  ASSERT_TRUE(direct.sensorReset(pose.data(), reading.data(), info));
  for (int n = 0; n < 8; ++n) {
    next();
    const int result = zel_ftc_runApproach(out.data(), pose.data(), &err);
    sameOut(directOut, result,
            direct.runApproach(directOut, pose.data(), directErr, reading.data(), info));
    ASSERT_EQ(zel_ftc_getRCS_FT_Data(flatWrench.data()), 1);
    ASSERT_TRUE(direct.getRCS_FT_Data(directWrench));
    EXPECT_THAT(flatWrench, ElementsAreArray(directWrench));
  }

  zel_ftc_configAssemblyMode(RCS_BASE, FT_MX, 2, gain.data(), 16, 5, 0.6, band.data(), 8000, 1, 2,
                             3);
  direct.configAssemblyMode(BASE, MX, 2, gain.data(), 16, 5, 0.6, band.data(), 8000, 1, 2, 3);
  EXPECT_EQ(
      std::memcmp(&openTool().assemblyConfig, &direct.assemblyConfig, sizeof direct.assemblyConfig),
      0);
  EXPECT_EQ(direct.assemblyConfig.pathOut, 1);
  EXPECT_EQ(direct.assemblyConfig.timeOut, 8000u);
  EXPECT_EQ(openTool().correctionLimit.angle, 0.4);
  next();
  const int assembled = zel_ftc_runAssembly(out.data(), pose.data(), &err);
  sameOut(directOut, assembled,
          direct.runAssembly(directOut, pose.data(), directErr, reading.data(), info));

  band.fill(0);
  for (bool arc : {false, true}) {
    zel_ftc_clear();
    direct.clear();
    zel_ftc_configTrackingMotionMode(RCS_SENSOR, FT_MY, expected.data(), gain.data(), band.data(),
                                     33);
    direct.configTrackingMotionMode(SENSOR, MY, expected.data(), gain.data(), band.data(), 33);
    EXPECT_EQ(std::memcmp(&openTool().trackingMotionConfig, &direct.trackingMotionConfig,
                          sizeof direct.trackingMotionConfig),
              0);
    for (int n = 0; n < 8; ++n) {
      next();
      const int result =
          arc ? zel_ftc_runTrackingMotionC(out.data(), start.data(), via.data(), end.data(),
                                           pose.data(), &err)
              : zel_ftc_runTrackingMotionL(out.data(), start.data(), end.data(), pose.data(), &err);
      EXPECT_EQ(result, 1);
      sameOut(directOut, result,
              arc ? direct.runTrackingMotionC(directOut, start.data(), via.data(), end.data(),
                                              pose.data(), directErr, reading.data(), info)
                  : direct.runTrackingMotionL(directOut, start.data(), end.data(), pose.data(),
                                              directErr, reading.data(), info));
    }
  }
}

TEST_F(FlatTest, OutputMayBeTheArrayOfTheInput) {
  configureTracking();
  Six separate{}, shared = pose;
  feed(reading);
  ASSERT_EQ(
      zel_ftc_runTrackingMotionL(separate.data(), start.data(), end.data(), pose.data(), &err), 1);
  zel_ftc_clear();
  configureTracking();
  feed(reading);
  ASSERT_EQ(
      zel_ftc_runTrackingMotionL(shared.data(), start.data(), end.data(), shared.data(), &err), 1);
  EXPECT_EQ(shared, separate);

  zel_ftc_clear();
  shared = pose;
  feed(reading);
  ASSERT_EQ(
      zel_ftc_runTrackingMotionL(shared.data(), start.data(), end.data(), shared.data(), &err), 0);
  EXPECT_EQ(shared, pose);

  Six wrench = pose;
  ASSERT_EQ(zel_ftc_getSensorData(separate.data(), pose.data(), RCS_TOOL), 1);
  ASSERT_EQ(zel_ftc_getSensorData(wrench.data(), wrench.data(), RCS_TOOL), 1);
  EXPECT_EQ(wrench, separate);
}

// ---- readings
// ------------------------------------------------------------------------------------

TEST_F(FlatTest, ReadingIsCopiedOutOnSuccessOnly) {
  feed(reading);
  out = untouched;
  zel_info_.IPOC = -4711;
  for (int rcs : {-1, 4}) {
    EXPECT_EQ(zel_ftc_getSensorData(out.data(), pose.data(), static_cast<ZelRcs>(rcs)), 0);
  }
  EXPECT_EQ(zel_info_.IPOC, -4711) << "refused before the sensor is read";
  EXPECT_EQ(zel_ftc_getSensorData(out.data(), pose.data(), RCS_TOOL), 1);
  EXPECT_NE(out, untouched);

  out = untouched;
  double g = 1, lx = 2, ly = 3, lz = 4;
  zel_ftc_setLoadData(1, 501, 0, 0);
  feed(reading);
  EXPECT_EQ(zel_ftc_getSensorData(out.data(), pose.data(), RCS_TOOL), 0);
  EXPECT_EQ(zel_ftc_getRCS_FT_Data(out.data()), 0);
  testing::internal::CaptureStdout();
  EXPECT_EQ(zel_ftc_getLoadData(&g, &lx, &ly, &lz), 0);
  EXPECT_EQ(g + lx + ly + lz, 10);
  zel_ftc_setLoadData(20, 10, -15, 60);
  EXPECT_EQ(zel_ftc_getLoadData(&g, &lx, &ly, &lz), 1);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(g, 20);
  EXPECT_DOUBLE_EQ(lx, 10);
  EXPECT_DOUBLE_EQ(ly, -15);
  EXPECT_DOUBLE_EQ(lz, 60);

  zel_ftc_uninitialFTSensor();
  EXPECT_EQ(zel_ftc_getSensorData(out.data(), pose.data(), RCS_TOOL), 0);
  EXPECT_EQ(zel_ftc_sensorReset(pose.data()), 0);
  EXPECT_EQ(out, untouched);
  EXPECT_EQ(zel_ftc_get_GraData(out.data(), pose.data()), 1) << "works on the last reading";
  EXPECT_NE(out, untouched);
}

TEST_F(FlatTest, ZeroTakesTheReadingAwayOncePerSample) {
  feed(reading);
  EXPECT_EQ(zel_ftc_sensorReset(pose.data()), 1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(zel_ftc_sensorReset(pose.data()), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "out\n");
  EXPECT_EQ(zel_ftc_getSensorData(out.data(), pose.data(), RCS_SENSOR), 1);
  EXPECT_THAT(out, Each(0.0));
  feed(reading);
  zel_ftc_getSensorData(out.data(), pose.data(), RCS_SENSOR);
  testing::internal::CaptureStdout();
  EXPECT_EQ(zel_ftc_sensorReset(pose.data()), 0) << "a reading uses the sample as well";
  testing::internal::GetCapturedStdout();
}

TEST_F(FlatTest, CalibrationTakesTenSamples) {
  for (int n = 0; n < 11; ++n) {
    EXPECT_EQ(zel_ftc_recordCalibrationLoadData(reading.data(), pose.data()), n < 10 ? 1 : 0);
  }
  EXPECT_EQ(zel_ftc_initCalibrationLoadData(), 1);
  EXPECT_EQ(zel_ftc_gravityCalibration(), 1) << "no samples: the load set before stays";
}

TEST_F(FlatTest, RefusedSettingsKeepWhatWasSet) {
  double ms = 0;
  EXPECT_EQ(zel_ftc_setTimeStep(3.99), 0);
  EXPECT_EQ(zel_ftc_getTimeStep(&ms), 1);
  EXPECT_DOUBLE_EQ(ms, 4);
  EXPECT_EQ(zel_ftc_setSensorNoiseThreshold(0, 5), 0);
  EXPECT_EQ(zel_set_minValue(1, 5003), 0);
  EXPECT_EQ(zel_set_minValue(1, 5002), 1);
}

}  // namespace
}  // namespace zel::test
