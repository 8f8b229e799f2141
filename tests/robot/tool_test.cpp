// What the flat functions do not show of the tool: its state at birth, what it prints, and the
// lead-in filter on its own.
#include <gtest/gtest.h>

#include "robot/ZelFTCTool.h"

namespace {

TEST(Tool, IsBornWithNothingConfiguredAndNothingRunning) {
  ZelFTCTool t;
  EXPECT_FALSE(t.isSetApproach || t.isSetAssembly || t.isSetTrackingMotion || t.isSetSensorConfig ||
               t.isSensorRun || t.runApproachMode || t.runAssemblyMode || t.runTrackingMotionMode ||
               t.runDragMode || t.isApproachTouch || t.isAssemblyTouch || !t.isFistZeroFT);
  EXPECT_TRUE(!t.isTouch(1, 1, false) && t.isTouch(1, 1, true)) << "a contact that was latched";
}

std::string printed(auto act) {
  testing::internal::CaptureStdout();
  act();
  return testing::internal::GetCapturedStdout();
}

TEST(Tool, PrintsInFourPlacesOnly) {
  ZelFTCTool tool;
  double gain[6] = {1, 2, 3, 4, 5, 7}, band[6] = {0.5, 0, -1, 2, 6, 3}, x = 0;
  tool.setTimeStep(10);
  EXPECT_TRUE(tool.setSensorConfig(gain, gain, gain) && tool.isSetSensorConfig);
  const auto configure = [&] {
    tool.configApproachMode(TOOL, MY, -12.5, gain, 15, 4, 0.3, band, 5000);
    tool.configAssemblyMode(BASE, FX, 6, gain, 25, 3, 0.2, band, 800, 42, 43, 44);
    tool.configTrackingMotionMode(BASE, FX, gain, gain, band, 250);
  };
  EXPECT_EQ(printed(configure),
            "2 4 0.015 4 0.3 5000 1e-05 2e-05 3e-05 4e-05 5e-05 7e-05 0.5 0 -1 2 6 3 "
            "0 0 0 0 -12.5 0\n");
  EXPECT_TRUE(tool.assemblyConfig.pathOut == 42 && tool.assemblyConfig.timeOut == 800);
  EXPECT_EQ(printed([&] { tool.getLoadData(x, x, x, x); }), " function is getLoadData!\n");
  EXPECT_EQ(printed([&] { tool.sensorReset(band, gain, {}); }), "out\n");
  const std::string unit = "caption\n           1           0\n           0           1\n";
  EXPECT_EQ(printed([&] { tool.printRMatrix(RMatrix(2), "caption"); }), unit);
  EXPECT_EQ(printed([&] { tool.printRMatrix(RMatrix30(2), "caption"); }), unit);
  EXPECT_EQ(printed([&] { tool.printRV(RVector(band, 2), "v"); }), "v\n         0.5           0\n");
}

TEST(Tool, WhatEqualsALimitOfAPathIsWithin) {
  // Random paths never come out at whole steps, nor jumps at a break range.
  ZelFTCTool t;
  for (const ZelMoveType move : {MOVEL, MOVEC}) {
    t.trackingMotionMoveType = move;
    for (double* step : {&t.moveLData.stepNow, &t.moveCData.stepNow}) *step = 8;
    for (double* most : {&t.moveLData.stepMax, &t.moveCData.stepMax}) *most = 7;
    EXPECT_FALSE(t.isEndPosCorr());
    for (double* step : {&t.moveLData.stepNow, &t.moveCData.stepNow}) *step = 8.5;
    EXPECT_TRUE(t.isEndPosCorr());
  }
  t.trackingMotionConfig.breakConditionRange[FZ] = 4;
  for (RVector* v : {&t.rcs_ft_data, &t.ftc_offset_last1, &t.ftc_offset_last2, &t.ftc_offset_last3})
    v->value[FZ] = 4.5;
  int code = 0;
  for (const auto& [before, bit] : {std::pair(4.0, 0), {3.875, int{ZEL_BREAK_FZ}}}) {
    t.ftc_offset_last4.value[FZ] = before;
    EXPECT_EQ(t.isMoveTriggerInterrupt(&code), bit != 0);
    EXPECT_EQ(code, bit);
  }
}

TEST(LeadIn, EqualityTakesTheLinearBranch) {
  // Both branches meet at |y| = d0; rounding tells them apart: the other one gives -3 here.
  const double r = 3, t = 0.01, d = r * t, d0 = t * d;
  EXPECT_EQ(MBK_Fhan::fhan(d0, 0, 0, r, t), -r * (d0 / t) / d);
  MBK_Fhan f;
  f.f0 = f.v1 = f.v2 = 1;
  MBK_Fhan::clear(f);
  EXPECT_TRUE(f.f0 == 0 && f.v1 == 0 && f.v2 == 0 && f.IsAmpty);
}

}  // namespace
