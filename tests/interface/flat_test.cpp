// What every flat function checks before it does anything, open and close, and the identification
// of a load. At work the functions are compared in control_cycle_test.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <tuple>

#include "tests/matrix/reference.h"
#include "zel_ftc_lib.h"

namespace {

using namespace reference;

static_assert(sizeof(ZelInfoCode) == 4 && sizeof(zel_ft_info) == 4 + 4 + 256 &&
              sizeof(zel_error) == 3 * 4 + 256 && sizeof(zel_ftc_error) == 3 * 4);

Vec<6> arrays[6];

template <typename A>
A argument(int& next, int missing, int number) {
  if constexpr (std::is_pointer_v<A>) {
    void* const array = arrays[next].data();
    return next++ == missing ? nullptr : static_cast<A>(array);
  } else {
    return static_cast<A>(number);
  }
}

/// Calls a flat function with `arrays`, of which one may be missing, and with `number` for
/// everything else.
template <typename... A>
int call(int (*function)(A...), [[maybe_unused]] int missing, [[maybe_unused]] int number) {
  [[maybe_unused]] int next = 0;
  return std::apply(function, std::tuple<A...>{argument<A>(next, missing, number)...});
}

template <typename... A>
int arraysOf(int (*)(A...)) {
  return (0 + ... + std::is_pointer_v<A>);
}

const char* nameOf(auto function) {
  Dl_info symbol = {};
  dladdr(reinterpret_cast<void*>(function), &symbol);
  return symbol.dli_sname;
}

void everyFunction(auto visit) {
  const auto visitAll = [&](auto... functions) { (visit(functions), ...); };
  visitAll(zel_ftc_obtainFTSensorData, zel_ftc_getFTSensorRange, zel_ftc_zeroFTSensor,
           zel_ftc_lowPassFilterFTSensor, zel_ftc_medianFilterDepthFTSensor, zel_ftc_setTimeStep,
           zel_ftc_getTimeStep, zel_ftc_setSensorConfig, zel_ftc_setLoadData, zel_ftc_getLoadData,
           zel_ftc_setCorrectionLimit, zel_ftc_setMonitoringFunctions,
           zel_ftc_setCorrectionMonitoring, zel_ftc_setSensorNoiseThreshold,
           zel_ftc_configApproachMode, zel_ftc_configAssemblyMode, zel_ftc_configTrackingMotionMode,
           zel_ftc_recordCalibrationLoadData, zel_ftc_initCalibrationLoadData,
           zel_ftc_gravityCalibration, zel_ftc_sensorReset, zel_ftc_getSensorData,
           zel_ftc_getRCS_FT_Data, zel_ftc_get_GraData, zel_ftc_runApproach, zel_ftc_runAssembly,
           zel_ftc_runTrackingMotionL, zel_ftc_runTrackingMotionC, zel_ftc_clear, zel_ftc_stop,
           zel_ftc_Release, zel_ftc_uninitialFTSensor, zel_set_minValue, zel_set_minValue_every);
}

void expectClosed() {
  everyFunction([](auto f) {
    EXPECT_EQ(call(f, -1, 1), -1) << nameOf(f);
    EXPECT_EQ(call(f, 0, 99), -1) << nameOf(f) << ", before it looks at its arguments";
  });
  EXPECT_EQ(zel_ftc_issetok(true) + zel_ftc_issetok(false), -2);
  EXPECT_EQ(zel_ftc_initialFTSensor(1, nullptr), -1);
}

TEST(OpenAndClose, HalfAnOpenLibraryIsAClosedOne) {
  EXPECT_EQ(zel_ftc_close(), 1) << "nothing to close";
  expectClosed();
  ASSERT_EQ(zel_ftc_open(true), 1);
  void *const tool = m_zelftcclass, *const sensor = m_zelftsensorclass;
  EXPECT_EQ(zel_ftc_open(false), 0);
  EXPECT_TRUE(zel_is_external && m_zelftcclass == tool && m_zelftsensorclass == sensor);
  EXPECT_EQ(zel_ftc_issetok(true) * 10 + zel_ftc_issetok(false), 10);
  for (void** missing : {&m_zelftcclass, &m_zelftsensorclass}) {
    *missing = nullptr;
    expectClosed();
    EXPECT_EQ(zel_ftc_open(true), 1);
    EXPECT_TRUE(m_zelftcclass != tool && m_zelftsensorclass != sensor) << "opened afresh";
    EXPECT_EQ(zel_ftc_close(), 1);
    EXPECT_TRUE(m_zelftcclass == nullptr && m_zelftsensorclass == nullptr);
    m_zelftcclass = tool;
    m_zelftsensorclass = sensor;
  }
  zel_ftc_close();
  expectClosed();
}

TEST(OpenLibrary, MissingArrayIsAFailureWithNothingTouched) {
  EXPECT_EQ(zel_ftc_open(true) + zel_ftc_initialFTSensor(0, nullptr), 2);
  for (Vec<6>& array : arrays) array.setConstant(0.125);
  zel_info_.IPOC = -4711;
  everyFunction([](auto f) {
    for (int missing = 0; missing < arraysOf(f); ++missing) {
      EXPECT_EQ(call(f, missing, 1), 0) << nameOf(f) << " without array " << missing;
    }
    for (const Vec<6>& array : arrays) EXPECT_TRUE((array.array() == 0.125).all()) << nameOf(f);
  });
  EXPECT_EQ(zel_info_.IPOC, -4711) << "the sensor has been read";
  zel_ftc_initialFTSensor(0, nullptr);
  EXPECT_EQ(zel_ftc_getFTSensorRange(arrays[0].data()), 1);
  EXPECT_EQ(arrays[0][0], 0.125) << "an external sensor has no range, and accepts settings";
  EXPECT_EQ(zel_ftc_lowPassFilterFTSensor(3) + zel_ftc_medianFilterDepthFTSensor(256), 2);
  EXPECT_EQ(zel_ftc_zeroFTSensor() + zel_ftc_close(), 2);
}

}  // namespace
