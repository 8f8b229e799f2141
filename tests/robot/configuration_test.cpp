// Settings: defaults, scaling, refusals.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "robot/ZelFTCTool.h"

namespace zel::test {
namespace {

using testing::Each;
using testing::ElementsAre;

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
  EXPECT_THAT(tool.ft_data_base.value, Each(0.0)) << "what WORLD and BASE measure";
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

TEST(Settings, ApproachAlonePrintsWhatItStoredInOneLine) {
  ZelFTCTool tool;
  double gain[6] = {1, 2, 3, 4, 5, 7}, band[6] = {0.5, 0, -1, 2, 6, 3}, expected[6] = {};
  tool.setTimeStep(10);
  testing::internal::CaptureStdout();
  EXPECT_TRUE(tool.configApproachMode(TOOL, MY, -12.5, gain, 15, 4, 0.3, band, 5000));
  EXPECT_TRUE(tool.configAssemblyMode(BASE, FX, 6, gain, 25, 3, 0.2, band, 800, 42, 43, 44));
  EXPECT_TRUE(tool.configTrackingMotionMode(BASE, FX, expected, gain, band, 250));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "2 4 0.015 4 0.3 5000"
            " 1e-05 2e-05 3e-05 4e-05 5e-05 7e-05"
            " 0.5 0 -1 2 6 3"
            " 0 0 0 0 -12.5 0\n");
}

}  // namespace
}  // namespace zel::test
