// Settings for the flat functions with limits that nothing here reaches.
#ifndef ZEL_FTC_TESTS_INTERFACE_FLAT_FIXTURE_H
#define ZEL_FTC_TESTS_INTERFACE_FLAT_FIXTURE_H

#include <gtest/gtest.h>

#include <array>

#include "zel_ftc_lib.h"

namespace zel::test {

using Six = std::array<double, 6>;

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

inline void configureApproach() {
  Six gain = {1, 2, 3, 40, 50, 60}, band = {0, 0, 2, 0, 0, 0};
  testing::internal::CaptureStdout();
  zel_ftc_configApproachMode(RCS_SENSOR, FT_FZ, -10, gain.data(), 5, 4, 0.5, band.data(), 3600000);
  testing::internal::GetCapturedStdout();
}

}  // namespace zel::test

#endif
