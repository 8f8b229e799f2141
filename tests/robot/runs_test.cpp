// The runs: order of the tests, codes and texts, the flags that a run leaves behind, and what one
// run hands on to the next.
#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <vector>

#include "tool_fixture.h"

namespace zel::test {
namespace {

using testing::Each;

struct Runs : ToolTest, testing::WithParamInterface<RunKind> {
  bool& running() {
    switch (GetParam()) {
      case RunKind::approach:
        return tool.runApproachMode;
      case RunKind::assembly:
        return tool.runAssemblyMode;
      default:
        return tool.runTrackingMotionMode;
    }
  }
  bool isContact() const {
    return GetParam() == RunKind::approach || GetParam() == RunKind::assembly;
  }
};

std::string nameOf(const testing::TestParamInfo<RunKind>& info) {
  constexpr const char* names[] = {"Approach", "Assembly", "Line", "Arc"};
  return names[static_cast<int>(info.param)];
}
INSTANTIATE_TEST_SUITE_P(All, Runs,
                         testing::Values(RunKind::approach, RunKind::assembly, RunKind::line,
                                         RunKind::arc),
                         nameOf);

// Everything is wrong at once; what is reported first is repaired, until the run runs.
TEST_P(Runs, TestsHaveAnOrderOfPrecedence) {
  const RunKind run = GetParam();
  info.code = FT_OVERLOAD_ERROR;
  info.IPOC = 9;
  tool.isSetLoadData = tool.isSetCorrectionLimit = false;
  tool.isSetMonitoringFunctions = tool.isSetCorrectionMonitoring = false;
  tool.FTconfig.MaxLoad[1] = tool.monitoringFunctions.MaxPermissibleLoad[4] = 1;
  ft = {3, -20, 12, 0.5, 7, -0.6};
  tool.correctionMonitoring.path = -1;
  tool.correctionLimit.minPath = -1;
  bool messy = true, stalled = true, timedOut = true, settled = true, tripping = true, past = true;
  // What a call or the configuration would repair by itself.
  const auto spoil = [&] {
    running() = true;
    tool.ft_info.IPOC = stalled ? info.IPOC : -1;
    std::fill_n(tool.isFTTimeOut, 20, 1);
    if (isContact()) {
      tool.runApproachMode = true;  // the clock goes on, in the first assembly cycle as well
      tool.time_start = {};
      tool.ApproachMode = 3;
      tool.approachConfig.rcs = SENSOR;
      constexpr unsigned long centuries = 1000ul * 3600 * 24 * 365 * 1000;
      tool.approachConfig.timeOut = timedOut ? 0 : centuries;
      std::fill_n(tool.isApproachTouchOK, 20, settled ? 1 : 0);
      return;
    }
    const bool isLine = run == RunKind::line;
    tool.trackingMotionMoveType = isLine != messy ? MOVEL : MOVEC;
    tool.trackingMotionConfig.breakConditionRange[2] = tripping ? 2 : 0;
    tool.ftc_offset_last1 = tool.ftc_offset_last2 = tool.ftc_offset_last3 = RVector(6);
    tool.moveLData.stepNow = tool.moveCData.stepNow = 5;
    tool.moveLData.stepMax = tool.moveCData.stepMax = past ? 1 : 1e9;
  };

  struct Obstacle {
    int code;
    const char* text;
    std::function<void()> repair;
    bool readingTaken;
  };
  const char* basics = "The basic parameters of force control are not set!!!";
  const auto configure = [&] { configFor(run); };
  std::vector<Obstacle> obstacles = {
      {11002, basics, [&] { info.code = FT_N0RMAL; }, false},
      {11002, basics, [&] { tool.isSetLoadData = true; }, false},
      {11002, basics, [&] { tool.isSetCorrectionLimit = true; }, false},
      {11002, basics, [&] { tool.isSetMonitoringFunctions = true; }, false},
      {11002, basics, [&] { tool.isSetCorrectionMonitoring = true; }, false}};
  const Obstacle stall = {10001, "Sensor timed out!!!", [&] { stalled = false; }, false};
  const Obstacle overload = {10002, "Sensor overload!!!", [&] { tool.FTconfig.MaxLoad[1] = 1e3; },
                             true};
  const Obstacle monitoring = {11000, "Exceed the monitoring force value!!!",
                               [&] { tool.monitoringFunctions.MaxPermissibleLoad[4] = 1e3; }, true};
  if (isContact()) {
    obstacles.insert(obstacles.end(),
                     {{11004, "The contact mode parameter is not set!!!", configure, false},
                      stall,
                      overload,
                      monitoring,
                      {11005, "Exceeding the total correction value!!!",
                       [&] { tool.correctionMonitoring.path = 1; }, true},
                      {11006, "Contact mode timeout!!!", [&] { timedOut = false; }, true},
                      {80001, "End.", [&] { settled = false; }, true}});
  } else {
    obstacles.insert(obstacles.end(),
                     {{11001, "Correction mode parameters are not set!!", configure, false},
                      {11003, "The movement instruction is messy, please call clear()!!",
                       [&] { messy = false; }, false},
                      stall,
                      overload,
                      monitoring,
                      {80010, "End.", [&] { tripping = false; }, true},
                      {80001, "End.", [&] { past = false; }, true}});
  }

  for (const Obstacle& obstacle : obstacles) {
    SCOPED_TRACE(obstacle.text);
    spoil();
    std::fill_n(out, 6, untouched);
    err = {};
    err.sensor_ipoc = -1;
    EXPECT_FALSE(cycleWithoutSample(run));
    EXPECT_EQ(err.code, obstacle.code);
    EXPECT_STREQ(err.err_msg, obstacle.text);
    EXPECT_EQ(err.sensor_code, obstacle.readingTaken ? FT_N0RMAL : 0);
    EXPECT_EQ(err.sensor_ipoc, obstacle.readingTaken ? info.IPOC : -1);
    EXPECT_THAT(out, Each(untouched));
    EXPECT_EQ(running(), obstacle.code == 10001 && run != RunKind::assembly);
    obstacle.repair();
  }

  spoil();
  EXPECT_TRUE(cycleWithoutSample(run));
  EXPECT_EQ(err.code, 80000);
  EXPECT_STREQ(err.err_msg, isContact() ? "Running." : "Runing.");
  EXPECT_TRUE(running());
}

TEST_P(Runs, EqualToALimitIsWithin) {
  configFor(GetParam());
  ft = {-30, 20, 15, 1.5, -2.5, 0.5};
  for (int i = 0; i < 6; ++i) {
    tool.FTconfig.MaxLoad[i] = tool.monitoringFunctions.MaxPermissibleLoad[i] = std::fabs(ft[i]);
  }
  EXPECT_TRUE(cycle(GetParam())) << err.err_msg;
  for (int i = 0; i < 6; ++i) {
    tool.FTconfig.MaxLoad[i] = std::nextafter(std::fabs(ft[i]), 0);
    EXPECT_FALSE(cycle(GetParam()));
    EXPECT_EQ(err.code, 10002) << "axis " << i;
    tool.FTconfig.MaxLoad[i] = 1e3;

    tool.monitoringFunctions.MaxPermissibleLoad[i] = std::nextafter(std::fabs(ft[i]), 0);
    EXPECT_FALSE(cycle(GetParam()));
    EXPECT_EQ(err.code, 11000) << "axis " << i;
    tool.monitoringFunctions.MaxPermissibleLoad[i] = 1e3;
  }
}

// Assembly has a rule of its own, see below.
struct StallingRuns : Runs {};
INSTANTIATE_TEST_SUITE_P(But, StallingRuns,
                         testing::Values(RunKind::approach, RunKind::line, RunKind::arc), nameOf);

TEST_P(StallingRuns, StallIsSeenAfterTwentyCyclesWithoutASample) {
  configFor(GetParam());
  ASSERT_TRUE(cycle(GetParam()));
  const RVector start = tool.PosStart;
  pose[0] += 0.5;
  tool.correctionLimit.minPath = 1e9;
  tool.runAssemblyMode = true;
  for (int i = 0; i < 19; ++i) ASSERT_TRUE(cycleWithoutSample(GetParam())) << i;
  EXPECT_TRUE(tool.runAssemblyMode);

  EXPECT_FALSE(cycleWithoutSample(GetParam()));
  EXPECT_EQ(err.code, 10001);
  EXPECT_FALSE(tool.runAssemblyMode) << "a stall clears the assembly flag, whatever runs";
  EXPECT_TRUE(running());

  EXPECT_TRUE(cycle(GetParam())) << "one fresh sample and the same run goes on";
  EXPECT_EQ(tool.PosStart.value[0], start.value[0]);
}

// Each assembly cycle is a first one and forgets the counter: only a counter of 0 can stall.
TEST_F(ToolTest, AssemblyNoticesAStallAtCounterZeroOnly) {
  configFor(RunKind::assembly);
  tool.correctionLimit.minPath = 1e9;
  info.IPOC = 500;
  for (int i = 0; i < 60; ++i) ASSERT_TRUE(cycleWithoutSample(RunKind::assembly)) << err.err_msg;

  info.IPOC = 0;
  for (int i = 0; i < 19; ++i) ASSERT_TRUE(cycleWithoutSample(RunKind::assembly));
  EXPECT_FALSE(cycleWithoutSample(RunKind::assembly));
  EXPECT_EQ(err.code, 10001);
  EXPECT_FALSE(tool.runAssemblyMode);
}

TEST_F(ToolTest, LineAndArcInterruptingEachOther) {
  configFor(RunKind::line);
  ASSERT_TRUE(cycle(RunKind::line));
  for (RunKind run : {RunKind::arc, RunKind::line}) {
    EXPECT_FALSE(cycle(run));
    EXPECT_EQ(err.code, 11003);
    EXPECT_TRUE(cycle(run)) << "the refusal ended the other one";
  }
  tool.clear();
  configFor(RunKind::arc);
  EXPECT_TRUE(cycle(RunKind::arc)) << "clear() ends the line as well";

  configFor(RunKind::approach);
  ASSERT_TRUE(cycle(RunKind::approach));
  configFor(RunKind::line);
  EXPECT_TRUE(cycle(RunKind::line)) << "a contact run in between ends the arc";
}

TEST_F(ToolTest, AssemblyRestartsInEveryCycleButTheFirstAfterAnApproach) {
  configFor(RunKind::approach);
  ASSERT_TRUE(cycle(RunKind::approach));
  const Six corrected = {out[0], out[1], out[2], out[3], out[4], out[5]};
  const auto clock = tool.time_start;
  const double startX = tool.PosStart.value[0];
  configFor(RunKind::assembly);
  pose[0] += 3;
  ASSERT_TRUE(cycle(RunKind::assembly));
  EXPECT_EQ(tool.PosStart.value[0], startX);
  EXPECT_EQ(tool.time_start, clock);
  EXPECT_THAT(out, testing::ElementsAreArray(corrected)) << "it corrects no pose of its own";

  ASSERT_TRUE(cycle(RunKind::assembly));
  EXPECT_DOUBLE_EQ(tool.PosStart.value[0], startX + 0.003);
  EXPECT_GE(tool.time_start, clock);
}

TEST_F(ToolTest, SecondApproachKeepsItsPhaseUntilConfiguredAgain) {
  configFor(RunKind::approach);
  ASSERT_TRUE(cycle(RunKind::approach));
  EXPECT_EQ(tool.ApproachMode, 0);
  ft[2] = touchForce + 1;
  ASSERT_TRUE(cycle(RunKind::approach));
  EXPECT_EQ(tool.ApproachMode, 1);

  tool.FTconfig.MaxLoad[2] = 1;
  ASSERT_FALSE(cycle(RunKind::approach));
  tool.FTconfig.MaxLoad[2] = 1e3;
  ft[2] = 0;
  ASSERT_TRUE(cycle(RunKind::approach));
  EXPECT_EQ(tool.ApproachMode, 1) << "a new run, already in contact mode";

  configFor(RunKind::approach);
  ASSERT_TRUE(cycle(RunKind::approach));
  EXPECT_EQ(tool.ApproachMode, 0);
}

TEST_F(ToolTest, WithoutBreakRangesAnApproachEndsAfterTwentyCycles) {
  configApproach(TOOL, FZ, -10, 5);
  for (int i = 0; i < 19; ++i) {
    ASSERT_TRUE(cycle(RunKind::approach)) << i;
    follow();
  }
  EXPECT_FALSE(cycle(RunKind::approach));
  EXPECT_EQ(err.code, 80001);
  EXPECT_FALSE(tool.runApproachMode);
}

TEST_F(ToolTest, SettledCyclesMustBeTwentyInARowSinceTheLastPhaseChange) {
  const double expected = -10, band = 2;
  configApproach(SENSOR, FZ, expected, 5, {0, 0, band, 0, 0, 0});
  tool.correctionLimit.minPath = -1;
  ft[2] = 10 + band;  // the error equals the band: settled, and in contact at once
  ASSERT_TRUE(cycle(RunKind::approach));
  ASSERT_EQ(tool.ApproachMode, 1);
  for (int i = 0; i < 12; ++i) ASSERT_TRUE(cycle(RunKind::approach));
  ft[2] = 10 - 1.01 * band;
  ASSERT_TRUE(cycle(RunKind::approach));
  ft[2] = 10 - band;
  for (int i = 0; i < 19; ++i) ASSERT_TRUE(cycle(RunKind::approach));
  EXPECT_FALSE(cycle(RunKind::approach));
  EXPECT_EQ(err.code, 80001);
}

// The distances count along the axes of the current pose, not of the base.
TEST_F(ToolTest, MinimumPathPerAxisReplacesTheTotal) {
  configApproach(SENSOR, FZ, -10, 5);
  pose = {300, -200, 450, 1.5707963267948966, 0, 0};
  ASSERT_TRUE(cycle(RunKind::approach));
  tool.set_minValue(1e6, ZEL_MIN_PATH);
  const auto ends = [&](std::array<double, 3> leastPerAxis) {
    tool.set_minValue_every(leastPerAxis.data(), 0);
    std::fill_n(tool.isApproachTouchOK, 20, 1);
    tool.runApproachMode = true;  // an end above would have cleared it
    return !cycle(RunKind::approach) && err.code == 80001;
  };
  pose = {307, -203, 455, 1.5707963267948966, 0, 0};
  // base (7, -3, 5) is (-3, -7, 5) in the turned flange
  EXPECT_TRUE(ends({2.9, 6.9, 4.9}));
  EXPECT_FALSE(ends({3.1, 6.9, 4.9}));
  EXPECT_FALSE(ends({2.9, 7.1, 4.9}));
  EXPECT_FALSE(ends({2.9, 6.9, 5.1}));
}

// Axis breaks: every set of axes gives the sum of its bits; a negative range watches the other
// direction.
TEST_F(ToolTest, BreakCodeIsTheSumOfTheTrippedAxes) {
  constexpr int bits[6] = {64, 32, 8, 4, 2, 1};
  for (RunKind run : {RunKind::line, RunKind::arc}) {
    for (unsigned axes = 1; axes < 64; ++axes) {
      for (double sense : {1.0, -1.0}) {
        Six bands{};
        int sum = 0;
        for (int i = 0; i < 6; ++i) {
          bands[i] = axes >> i & 1 ? sense * (i + 1.5) : -sense * (i + 1.5);
          if (axes >> i & 1) sum += bits[i];
        }
        tool.clear();
        configTracking(SENSOR, 20, bands);
        ft = {};
        for (int i = 0; i < 5; ++i) ASSERT_TRUE(cycle(run));
        for (int i = 0; i < 6; ++i) ft[i] = sense * (2.0 + i);
        ASSERT_FALSE(cycle(run));
        EXPECT_EQ(err.code, 80002 + sum) << "axes " << axes << " sense " << sense;
        EXPECT_STREQ(err.err_msg, "End.");
      }
    }
  }
}

TEST_F(ToolTest, BreakNeedsAChangeWithinFourCycles) {
  configTracking(SENSOR, 20, {0, 0, 4, 0, 0, 0});
  for (int i = 0; i < 60; ++i) {  // 0.15 N a cycle: 8 * 3 * 0.15 < 4
    ft[2] += 0.15;
    ft[0] += 10;  // a range of zero is off
    ASSERT_TRUE(cycle(RunKind::line)) << i;
  }
  EXPECT_GT(ft[2], 4) << "a force beyond the range that came slowly";
  ft[2] += 0.25;  // 8 * (2 * 0.15 + 0.25) > 4
  EXPECT_FALSE(cycle(RunKind::line));
  EXPECT_EQ(err.code, 80010);
  EXPECT_NEAR(tool.ft_diff_2.value[2], 8 * (2 * 0.15 + 0.25), 1e-9);
}

TEST_F(ToolTest, BreakUsesTheExpectedForceOfTheApproach) {
  configApproach(SENSOR, FX, -50, 5);
  configTracking(SENSOR, 20, {4, 0, 0, 0, 0, 0});
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(cycle(RunKind::line));
  ft[0] = 40;
  EXPECT_TRUE(cycle(RunKind::line)) << "-50 + 40 is not above 4";
  ft[0] = 60;
  EXPECT_FALSE(cycle(RunKind::line));
  EXPECT_EQ(err.code, 80066);
}

}  // namespace
}  // namespace zel::test
