// What every flat function checks before it does anything, open and close, and the identification
// of a load. At work the functions are compared in control_cycle_test.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <tuple>

#include "robot/ZelFTCTool.h"
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

struct OpenLibrary : testing::Test {
  OpenLibrary() { EXPECT_EQ(zel_ftc_open(true) + zel_ftc_initialFTSensor(0, nullptr), 2); }
  ~OpenLibrary() override { zel_ftc_close(); }
};

TEST_F(OpenLibrary, MissingArrayIsAFailureWithNothingTouched) {
  for (Vec<6>& array : arrays) array.setConstant(0.125);
  zel_info_.IPOC = -4711;
  everyFunction([](auto f) {
    for (int missing = 0; missing < arraysOf(f); ++missing) {
      EXPECT_EQ(call(f, missing, 1), 0) << nameOf(f) << " without array " << missing;
    }
    for (const Vec<6>& array : arrays) EXPECT_TRUE((array.array() == 0.125).all()) << nameOf(f);
  });
  EXPECT_EQ(zel_info_.IPOC, -4711) << "the sensor has been read";
}

TEST_F(OpenLibrary, ExternalSensorAcceptsSettingsAndHasNoRange) {
  double range = 7;
  EXPECT_EQ(zel_ftc_getFTSensorRange(&range) + zel_ftc_zeroFTSensor(), 2);
  EXPECT_EQ(range, 7);
  EXPECT_EQ(zel_ftc_lowPassFilterFTSensor(3) + zel_ftc_medianFilterDepthFTSensor(256), 2);
}

// The centre of mass comes out mirrored. Implausible is one that is then far out in x or y, and
// there on the positive side only.
TEST_F(OpenLibrary, CalibrationFindsTheLoadOfTenSamples) {
  Random random;
  const auto& tool = static_cast<ZelFTCTool&>(*static_cast<ZelForceControlTool*>(m_zelftcclass));
  Vec<6> mounting{12, -7, 40, 0.7, -0.4, 0.3};
  zel_ftc_setSensorConfig(mounting.data(), mounting.data(), mounting.data());
  EXPECT_EQ(zel_ftc_gravityCalibration(), 0) << "no samples";
  for (const Vec<3>& arm : {Vec<3>{-0.51, 0.1, 0.1}, Vec<3>{0.1, -0.51, 0.1},
                            Vec<3>{-0.1, 0.2, -0.8}, Vec<3>{0.9, 0.8, -0.1}}) {
    const Load load = {31, arm};
    const bool plausible = arm[0] > -0.5 && arm[1] > -0.5;
    EXPECT_EQ(zel_ftc_initCalibrationLoadData(), 1);
    for (int n = 0; n < 11; ++n) {
      Vec<6> pose = random.vector<6>(-3, 3), reading{3, -5, 7, 0.2, -0.3, 0.5};
      reading -= load.gravityAt(times(transformOf(pose), transformOf(mounting)));
      EXPECT_EQ(zel_ftc_recordCalibrationLoadData(reading.data(), pose.data()), n < 10);
    }
    EXPECT_EQ(zel_ftc_gravityCalibration(), plausible);
    Vec<4> found, expected;
    EXPECT_EQ(zel_ftc_getLoadData(&found[0], &found[1], &found[2], &found[3]), plausible);
    if (plausible) expected << 31, -1000 * arm;
    EXPECT_TRUE(found.isApprox(expected, 1e-9)) << found;
    EXPECT_NEAR(tool.loadData.G, 31, 1e-8);
    EXPECT_EQ(tool.loadData.lx == 0 && tool.loadData.ly == 0 && tool.loadData.lz == 0, !plausible);
  }
  zel_ftc_initCalibrationLoadData();
  EXPECT_EQ(zel_ftc_gravityCalibration(), 1) << "no samples: the load found before stays";
}

}  // namespace
