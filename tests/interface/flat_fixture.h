// An open library with the external sensor, fed with one reading per cycle.
#ifndef ZEL_FTC_TESTS_INTERFACE_FLAT_FIXTURE_H
#define ZEL_FTC_TESTS_INTERFACE_FLAT_FIXTURE_H

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "zel_ftc_lib.h"

namespace zel::test {

using Six = std::array<double, 6>;

/// Everything that a run needs, with limits that nothing here reaches.
inline void configureBasics() {
  Six load = {1e3, 1e3, 1e3, 1e2, 1e2, 1e2};
  Six mounting = {12, -7, 40, 0.7, -0.4, 0.3}, tip = {5, -9, 130, -0.6, 0.8, 1.1};
  double most[] = {500, 500, 500}, least[] = {-500, -500, -500};
  zel_ftc_setTimeStep(4);
  zel_ftc_setSensorConfig(load.data(), mounting.data(), tip.data());
  zel_ftc_setLoadData(20, 10, -15, 60);
  zel_ftc_setCorrectionLimit(most, least, 1);
  zel_ftc_setMonitoringFunctions(load.data());
  zel_ftc_setCorrectionMonitoring(1e3, 10);
}

inline void configureApproach(ZelRcs rcs = RCS_SENSOR, ZelDirection direction = FT_FZ) {
  Six gain = {1, 2, 3, 40, 50, 60}, band = {0, 0, 2, 0, 0, 0};
  testing::internal::CaptureStdout();
  zel_ftc_configApproachMode(rcs, direction, -10, gain.data(), 5, 4, 0.5, band.data(), 3600000);
  testing::internal::GetCapturedStdout();
}

inline void configureAssembly() {
  Six gain = {1, 2, 3, 40, 50, 60}, band = {0, 0, 2, 0, 0, 0};
  zel_ftc_configAssemblyMode(RCS_SENSOR, FT_FZ, -10, gain.data(), 5, 4, 0.5, band.data(), 3600000,
                             0, 0, 0);
}

inline void configureTracking() {
  Six gain = {1, 2, 3, 40, 50, 60}, band{}, expected = {0, 0, -5, 0, 0, 0};
  zel_ftc_configTrackingMotionMode(RCS_TOOL, FT_FZ, expected.data(), gain.data(), band.data(), 50);
}

class FlatTest : public testing::Test {
 protected:
  FlatTest() {
    EXPECT_EQ(zel_ftc_open(true), 1);
    EXPECT_EQ(zel_ftc_initialFTSensor(0, nullptr), 1);
    configureBasics();
  }
  ~FlatTest() override { zel_ftc_close(); }

  void feed(Six reading) { ASSERT_EQ(zel_ftc_obtainFTSensorData(reading.data()), 1); }

  Six pose = {300, -200, 450, 0.4, -0.7, 2.1}, out{};
  Six start = pose, via = {330, -190, 455, 0.5, -0.6, 2.0}, end = {350, -230, 440, 0.6, -0.5, 1.9};
  Six reading = {1, -2, 3, 0.1, -0.2, 0.3};
  zel_ftc_error err = {1, 2, 3};
};

}  // namespace zel::test

#endif
