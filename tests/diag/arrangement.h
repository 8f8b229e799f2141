// A set-up of the library that is right, field by field, so that a test can spoil one of them.
#ifndef ZEL_FTC_TESTS_DIAG_ARRANGEMENT_H
#define ZEL_FTC_TESTS_DIAG_ARRANGEMENT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <optional>
#include <string>

#include "sim/cell.h"
#include "zel_ftc_check.h"
#include "zel_ftc_lib.h"

namespace zel::test {

using Six = std::array<double, 6>;
using Three = std::array<double, 3>;

struct Arrangement {
  ZelRunKind run = ZEL_APPROACH_RUN;
  double period = 4;
  Six permitted = {200, 200, 200, 10, 10, 10};
  Six mounting = {0, 0, 30, 0, 0, 0}, tip = {0, 0, 120, 0, 0, 0};
  double weight = 12;
  Three centre = {2, -3, 45};
  Three up = {220, 220, 220}, down = {-220, -220, -220};
  Six monitoring = {60, 60, 60, 6, 6, 6};
  double path = 200, angle = 0.5;
  double forceNoise = 0.25, torqueNoise = 0.0025;
  double minimumPath = 0;
  std::optional<Three> minimumPathGroup;
  ZelRcs frame = RCS_TOOL;
  ZelDirection direction = FT_FZ;
  double force = 10;
  Six gains = {0, 0, 3, 0, 0, 0};
  double speed = 20;
  double touchForce = 2, touchTorque = 1;
  Six band = {0, 0, 0.3, 0, 0, 0};
  unsigned long timeOut = 60000;
  Six pathForce = {0, 0, 10, 0, 0, 0}, pathBreak = {0, 0, -15, 0, 0, 0};
  double pathSpeed = 20;
  double stiffness = 10, delay = 10, travel = 50;
  Six start = {400, 0, 300, 0, 0, 3.141592653589793};
  Six via = {370, 30, 300, 0, 0, 3.141592653589793}, end = {340, 0, 300, 0, 0, 3.141592653589793};

  void configureApproach() {
    zel_ftc_configApproachMode(frame, direction, force, gains.data(), speed, touchForce,
                               touchTorque, band.data(), timeOut);
  }
  void configureMode() {
    if (run == ZEL_ASSEMBLY_RUN) {
      zel_ftc_configAssemblyMode(frame, direction, force, gains.data(), speed, touchForce,
                                 touchTorque, band.data(), timeOut, 0, 0, 0);
    } else if (run != ZEL_APPROACH_RUN) {
      zel_ftc_configTrackingMotionMode(frame, direction, pathForce.data(), gains.data(),
                                       pathBreak.data(), pathSpeed);
    }
  }

  /// Everything in the right order, on a library that is open and has a sensor.
  void make(const Six& reading) {
    zel_ftc_setTimeStep(period);
    zel_ftc_setSensorConfig(permitted.data(), mounting.data(), tip.data());
    zel_ftc_setLoadData(weight, centre[0], centre[1], centre[2]);
    zel_ftc_setCorrectionLimit(up.data(), down.data(), angle);
    zel_ftc_setMonitoringFunctions(monitoring.data());
    zel_ftc_setCorrectionMonitoring(path, angle);
    zel_ftc_setSensorNoiseThreshold(forceNoise, torqueNoise);
    zel_set_minValue(minimumPath, ZEL_MIN_PATH);
    if (minimumPathGroup) zel_set_minValue_every(minimumPathGroup->data(), 0);
    Six fed = reading;
    zel_ftc_obtainFTSensorData(fed.data());
    zel_ftc_sensorReset(start.data());
    configureApproach();
    configureMode();
  }

  zel_ftc_plan plan() const {
    zel_ftc_plan p;
    zel_ftc_emptyPlan(&p);
    p.run = run;
    p.stiffness = stiffness;
    p.delay = delay;
    p.travel = travel;
    std::copy_n(start.data(), 6, p.start);
    std::copy_n(end.data(), 6, p.end);
    if (run == ZEL_ARC_RUN) std::copy_n(via.data(), 6, p.via);
    return p;
  }

  /// The cell that this is a set-up for: a tool that looks down on a surface.
  sim::CellConfig cell() const {
    sim::CellConfig c;
    c.start = start;
    c.lag = 0.01;
    c.flange_sensor = mounting;
    c.sensor_tool = tip;
    c.load = {weight, centre};
    c.offset = {3.1, -5.2, 12.3, 0.11, -0.23, 0.05};
    c.force_noise = 0.03;
    c.torque_noise = 0.001;
    c.surface.pose = {start[0], 0, 150 - travel, 0, 0, 0};
    c.surface.stiffness = stiffness;
    c.surface.damping = 0.002 * stiffness;
    c.surface.friction = 0.2;
    return c;
  }
};

/// Keeps an open library with an external sensor; what is printed is swallowed unless a test fails.
struct OpenLibrary : testing::Test {
  OpenLibrary() {
    testing::internal::CaptureStdout();
    zel_ftc_open(true);
    zel_ftc_initialFTSensor(0, nullptr);
  }
  ~OpenLibrary() override {
    zel_ftc_close();
    const std::string printed = testing::internal::GetCapturedStdout();
    if (HasFailure()) std::cout << printed;
  }
};

/// The text that a function of the diagnosis composes, through a buffer that just fits; a shorter
/// one gets the beginning and nothing behind its end.
template <typename Compose>
std::string textOf(Compose compose) {
  const std::size_t length = compose(nullptr, 0);
  std::string text(length + 1, '#'), half(length + 1, '#');
  EXPECT_EQ(compose(text.data(), text.size()), length);
  EXPECT_EQ(compose(half.data(), length / 2 + 1), length);
  EXPECT_EQ(half, text.substr(0, length / 2) + '\0' + std::string(length - length / 2, '#'));
  text.resize(length);
  return text;
}

}  // namespace zel::test

#endif
