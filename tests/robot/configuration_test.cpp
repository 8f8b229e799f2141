// Settings: defaults, scaling, refusals.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "tool_fixture.h"

namespace zel::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

TEST(Construction, NothingIsConfiguredAndNothingRuns) {
  ZelFTCTool tool;
  for (bool flag :
       {tool.isSetApproach, tool.isSetAssembly, tool.isSetTrackingMotion, tool.isSetSensorConfig,
        tool.isSetLoadData, tool.isSetCorrectionLimit, tool.isSetMonitoringFunctions,
        tool.isSetCorrectionMonitoring, tool.isSensorRun, tool.runApproachMode,
        tool.runAssemblyMode, tool.runTrackingMotionMode, tool.runDragMode, tool.isApproachTouch,
        tool.isAssemblyTouch, tool.correctionLimit.set_group}) {
    EXPECT_FALSE(flag);
  }
  EXPECT_TRUE(tool.isFistZeroFT);
  EXPECT_EQ(tool.timeStep, 0.008);
  EXPECT_EQ(tool.getTimeStep(), 8.0);
  EXPECT_EQ(tool._f_min, 0.25);
  EXPECT_EQ(tool._m_min, 0.0025);
  EXPECT_EQ(tool.gravityCalibrationData.size, 0u);
  for (const RVector* v :
       {&tool.rcs_ft_data, &tool.PosStart, &tool.PosFTC, &tool.ldd_ft0, &tool.ft_data_base,
        &tool.ftc_path_offset, &tool.FTconfig.flange_sensor, &tool.FTconfig.sensor_tool}) {
    EXPECT_EQ(v->size, 6u);
    EXPECT_THAT(v->value, Each(0.0));
  }
  for (const RVector* v :
       {&tool.MoveLrv_q, &tool.MoveCrv_b_q, &tool.MoveCrv_c_q, &tool.PosMoveExpect_q}) {
    EXPECT_EQ(v->size, 7u);
    EXPECT_THAT(v->value, Each(0.0));
  }
}

TEST(Settings, LengthsAreStoredInMetresTheRestAsGiven) {
  ZelFTCTool tool;
  double load[] = {10, 20, 30, 4, 5, 6}, mount[] = {11, -22, 33, 0.1, -0.2, 0.3},
         tip[] = {-1, 2, 150, 1.5, 0.5, -2.5};
  EXPECT_TRUE(tool.setSensorConfig(load, mount, tip));
  EXPECT_TRUE(tool.isSetSensorConfig);
  EXPECT_THAT(tool.FTconfig.MaxLoad, ElementsAreArray(load));
  const double mountMetres[] = {0.001 * 11, 0.001 * -22, 0.001 * 33, 0.1, -0.2, 0.3};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(tool.FTconfig.flange_sensor.value[i], mountMetres[i]);
  EXPECT_EQ(tool.FTconfig.sensor_tool.value[2], 0.001 * 150);
  EXPECT_EQ(tool.FTconfig.sensor_tool.value[5], -2.5);

  double most[] = {1, 2, 3}, least[] = {-4, -5, -6};
  EXPECT_TRUE(tool.setCorrectionLimit(most, least, 0.7));
  EXPECT_TRUE(tool.isSetCorrectionLimit);
  EXPECT_THAT(tool.correctionLimit.max, ElementsAre(1 * 0.001, 2 * 0.001, 3 * 0.001));
  EXPECT_THAT(tool.correctionLimit.min, ElementsAre(-4 * 0.001, -5 * 0.001, -6 * 0.001));
  EXPECT_EQ(tool.correctionLimit.angle, 0.7);

  EXPECT_TRUE(tool.setMonitoringFunctions(load));
  EXPECT_TRUE(tool.isSetMonitoringFunctions);
  EXPECT_THAT(tool.monitoringFunctions.MaxPermissibleLoad, ElementsAreArray(load));
  EXPECT_TRUE(tool.setCorrectionMonitoring(70, 0.5));
  EXPECT_TRUE(tool.isSetCorrectionMonitoring);
  EXPECT_EQ(tool.correctionMonitoring.path, 70 * 0.001);
  EXPECT_EQ(tool.correctionMonitoring.angle, 0.5);
}

TEST(Settings, TimeStepTakesFourToAHundredMilliseconds) {
  ZelFTCTool tool;
  for (double ms : {4.0, 100.0, 12.5}) {
    EXPECT_TRUE(tool.setTimeStep(ms));
    EXPECT_EQ(tool.timeStep, ms * 0.001);
    EXPECT_EQ(tool.getTimeStep(), ms * 0.001 / 0.001);
  }
  for (double ms : {3.99, 100.01, 0.0, -8.0, nan, inf, -inf}) {
    EXPECT_FALSE(tool.setTimeStep(ms)) << ms;
    EXPECT_EQ(tool.timeStep, 12.5 * 0.001);
  }
}

TEST(Settings, NoiseThresholdStoresWhatPassesEvenWhenTheOtherFails) {
  ZelFTCTool tool;
  EXPECT_TRUE(tool.setSensorNoiseThreshold(99.9, 9.99));
  EXPECT_FALSE(tool.setSensorNoiseThreshold(0, 5));
  EXPECT_EQ(tool._f_min, 99.9);
  EXPECT_EQ(tool._m_min, 5);
  EXPECT_FALSE(tool.setSensorNoiseThreshold(3, 10));
  EXPECT_EQ(tool._f_min, 3);
  EXPECT_EQ(tool._m_min, 5);
  for (double bad : {0.0, -1.0, 100.0, nan, inf}) {
    EXPECT_FALSE(tool.setSensorNoiseThreshold(bad, bad)) << bad;
  }
  EXPECT_EQ(tool._f_min, 3);
  EXPECT_EQ(tool._m_min, 5);
}

TEST(Settings, RefusedLoadStoresNothingAndTakesTheLoadAway) {
  ZelFTCTool tool;
  ASSERT_TRUE(tool.setLoadData(20, 500, -9000, 3));
  EXPECT_TRUE(tool.isSetLoadData);
  EXPECT_EQ(tool.loadData.ly, -9000 * 0.001) << "only the upper bound is checked";
  for (int axis = 0; axis < 3; ++axis) {
    tool.isSetLoadData = true;
    double l[] = {1, 2, 3};
    l[axis] = 500.001;
    EXPECT_FALSE(tool.setLoadData(7, l[0], l[1], l[2])) << axis;
    EXPECT_FALSE(tool.isSetLoadData);
    EXPECT_EQ(tool.loadData.G, 20);
    EXPECT_EQ(tool.loadData.lx, 500 * 0.001);
    EXPECT_EQ(tool.loadData.lz, 3 * 0.001);
  }
  EXPECT_TRUE(tool.setLoadData(nan, nan, 1, -inf)) << "what is not a number passes";
  EXPECT_TRUE(std::isnan(tool.loadData.lx));
  EXPECT_FALSE(tool.setLoadData(1, 1, inf, 1));
}

TEST(Settings, MinimumValuesByName) {
  ZelFTCTool tool;
  EXPECT_TRUE(tool.set_minValue(7, 5001));
  EXPECT_TRUE(tool.set_minValue(8, 5002));
  for (int name : {0, 5000, 5003, -5001}) EXPECT_FALSE(tool.set_minValue(99, name)) << name;
  EXPECT_EQ(tool.correctionLimit.minPath, 7 * 0.001);
  EXPECT_EQ(tool.correctionLimit.minPathForce, 8);
  double group[] = {1, 2, 3};
  EXPECT_TRUE(tool.set_minValue_every(group, -1));
  EXPECT_TRUE(tool.correctionLimit.set_group);
  EXPECT_THAT(tool.correctionLimit.minpath_group, ElementsAre(1 * 0.001, 2 * 0.001, 3 * 0.001));
}

struct Modes : testing::Test {
  ZelFTCTool tool;
  double gain[6] = {1, 2, 3, 4, 5, 7}, band[6] = {0.5, 0, -1, 2, nan, 3};
  double expected[6] = {1, -2, 3, -4, 5, -6};

  std::string approach() {
    testing::internal::CaptureStdout();
    EXPECT_TRUE(tool.configApproachMode(TOOL, MY, -12.5, gain, 15, 4, 0.3, band, 5000));
    return testing::internal::GetCapturedStdout();
  }
  bool assembly() {
    return tool.configAssemblyMode(BASE, FX, 6, gain, 25, 3, 0.2, band, 800, 42, 43, 44);
  }
  bool tracking() { return tool.configTrackingMotionMode(BASE, FX, expected, gain, band, 250); }
};

TEST_F(Modes, OnlyTheLastOneIsUsable) {
  approach();
  EXPECT_TRUE(tool.isSetApproach && !tool.isSetAssembly && !tool.isSetTrackingMotion);
  EXPECT_TRUE(assembly());
  EXPECT_TRUE(!tool.isSetApproach && tool.isSetAssembly && !tool.isSetTrackingMotion);
  EXPECT_TRUE(tracking());
  EXPECT_TRUE(!tool.isSetApproach && !tool.isSetAssembly && tool.isSetTrackingMotion);
  approach();
  EXPECT_TRUE(tool.isSetApproach && !tool.isSetAssembly && !tool.isSetTrackingMotion);
}

TEST_F(Modes, ApproachAndAssemblyExpectAForceOnTheirMainAxisOnly) {
  tool.ApproachMode = 1;
  approach();
  EXPECT_EQ(tool.ApproachMode, 0);
  const auto& a = tool.approachConfig;
  EXPECT_EQ(a.rcs, TOOL);
  EXPECT_EQ(a.mainDirection, MY);
  EXPECT_THAT(a.setExpectFT, ElementsAre(0, 0, 0, 0, -12.5, 0));
  EXPECT_EQ(a.translationalMotion, 15 * 0.001);
  EXPECT_EQ(a.switchingForce, 4);
  EXPECT_EQ(a.switchingTorque, 0.3);
  EXPECT_EQ(a.timeOut, 5000u);

  tool.ApproachMode = 1;
  EXPECT_TRUE(assembly());
  EXPECT_EQ(tool.ApproachMode, 1);
  const auto& b = tool.assemblyConfig;
  EXPECT_THAT(b.setExpectFT, ElementsAre(6, 0, 0, 0, 0, 0));
  EXPECT_EQ(b.pathOut, 42);
  EXPECT_EQ(tool.correctionLimit.minPath, 0) << "the minimum path of a mode is ignored";
  EXPECT_EQ(a.mainDirection, MY) << "the approach record is left alone";

  EXPECT_TRUE(tracking());
  EXPECT_THAT(tool.trackingMotionConfig.setExpectFT, ElementsAreArray(expected));
  EXPECT_EQ(tool.trackingMotionConfig.setDesiredSpeed, 250 * 0.001);
  EXPECT_TRUE(std::isnan(tool.trackingMotionConfig.breakConditionRange[4]));
}

TEST_F(Modes, GainsAreScaledWithThePeriodOfTheirConfiguration) {
  tool.setTimeStep(10);
  approach();
  assembly();
  tracking();
  tool.setTimeStep(20);
  for (const double* kr :
       {tool.approachConfig.setKR, tool.assemblyConfig.setKR, tool.trackingMotionConfig.setKR}) {
    for (int i = 0; i < 6; ++i) EXPECT_EQ(kr[i], gain[i] * 0.001 * (10 * 0.001));
  }
}

TEST_F(Modes, ApproachPrintsWhatItStoredInOneLine) {
  band[4] = 6;
  tool.setTimeStep(10);
  EXPECT_EQ(approach(),
            "2 4 0.015 4 0.3 5000"
            " 1e-05 2e-05 3e-05 4e-05 5e-05 7e-05"
            " 0.5 0 -1 2 6 3"
            " 0 0 0 0 -12.5 0\n");
  testing::internal::CaptureStdout();
  assembly();
  tracking();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
}  // namespace zel::test
