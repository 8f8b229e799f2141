// A configured tool with the robot at one pose and a reading that the tests change.
#ifndef ZEL_FTC_TESTS_ROBOT_TOOL_FIXTURE_H
#define ZEL_FTC_TESTS_ROBOT_TOOL_FIXTURE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

#include "random_inputs.h"
#include "robot/ZelFTCTool.h"

namespace zel::test {

enum class RunKind { approach, assembly, line, arc };

/// Basics set with limits that nothing here reaches; the load is zero, the dead band small.
class ToolTest : public testing::Test {
 protected:
  ToolTest() {
    Six load = {1e3, 1e3, 1e3, 1e2, 1e2, 1e2};
    tool.setSensorConfig(load.data(), mounting.data(), tip.data());
    tool.setLoadData(0, 0, 0, 0);
    std::array<double, 3> most = {500, 500, 500}, least = {-500, -500, -500};
    tool.setCorrectionLimit(most.data(), least.data(), 1);
    tool.setMonitoringFunctions(load.data());
    tool.setCorrectionMonitoring(1e3, 10);
    tool.setSensorNoiseThreshold(0.01, 0.001);
    std::fill_n(out, 6, untouched);
  }

  void configApproach(int frame, int direction, double expected, double speed,
                      const Six& bands = {}, unsigned long timeOut = 3600000) {
    testing::internal::CaptureStdout();
    Six band = bands;
    tool.configApproachMode(static_cast<ZelCartesianCoordinate>(frame),
                            static_cast<ZelMainDirection>(direction), expected, gains.data(), speed,
                            touchForce, touchTorque, band.data(), timeOut);
    testing::internal::GetCapturedStdout();
  }

  void configAssembly(int frame, int direction, double expected, double speed) {
    Six band = {};
    tool.configAssemblyMode(static_cast<ZelCartesianCoordinate>(frame),
                            static_cast<ZelMainDirection>(direction), expected, gains.data(), speed,
                            touchForce, touchTorque, band.data(), 3600000, 0, 0, 0);
  }

  void configTracking(int frame, double speed, Six bands = {}, Six expected = {}) {
    tool.configTrackingMotionMode(static_cast<ZelCartesianCoordinate>(frame), FZ, expected.data(),
                                  gains.data(), bands.data(), speed);
  }

  void configFor(RunKind run) {
    if (run == RunKind::approach) configApproach(SENSOR, FZ, -10, 5);
    if (run == RunKind::assembly) {
      // An assembly run takes its measuring frame and its time-out from the approach.
      tool.approachConfig.rcs = SENSOR;
      tool.approachConfig.timeOut = 3600000;
      configAssembly(SENSOR, FZ, -10, 5);
    }
    if (run == RunKind::line || run == RunKind::arc) configTracking(SENSOR, 50);
  }

  /// One cycle with a fresh sample.
  bool cycle(RunKind run) {
    info.IPOC = info.IPOC + 1;
    return cycleWithoutSample(run);
  }

  /// One cycle whose sample counter did not advance.
  bool cycleWithoutSample(RunKind run) {
    switch (run) {
      case RunKind::approach:
        return tool.runApproach(out, pose.data(), err, ft.data(), info);
      case RunKind::assembly:
        return tool.runAssembly(out, pose.data(), err, ft.data(), info);
      case RunKind::line:
        return tool.runTrackingMotionL(out, from.data(), to.data(), pose.data(), err, ft.data(),
                                       info);
      case RunKind::arc:
        return tool.runTrackingMotionC(out, from.data(), over.data(), to.data(), pose.data(), err,
                                       ft.data(), info);
    }
    return false;
  }

  /// The robot goes where the last cycle sent it.
  void follow() { std::copy_n(out, 6, pose.begin()); }

  static constexpr double untouched = -12345;

  ZelFTCTool tool;
  zel_ft_info info = [] {
    zel_ft_info i{};
    i.code = FT_N0RMAL;
    return i;
  }();
  zel_error err{};
  zel_pose out;
  Six pose = {300, -200, 450, 0.4, -0.7, 2.1};
  Six ft{};
  Six from = pose, over = {330, -190, 455, 0.5, -0.6, 2.0}, to = {350, -230, 440, 0.6, -0.5, 1.9};
  Six gains = {1, 2, 3, 40, 50, 60};
  Six mounting{}, tip{};
  double touchForce = 4, touchTorque = 0.5;
};

}  // namespace zel::test

#endif
