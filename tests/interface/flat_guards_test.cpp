// What every flat function checks before it does anything: an open library, pointers, selectors.
#include <gmock/gmock.h>

#include <cstring>
#include <functional>
#include <vector>

#include "flat_fixture.h"
#include "robot/ZelFTCTool.h"

namespace zel::test {
namespace {

using Slots = std::vector<double*>;

/// One flat function: how many arrays it takes, and the call with these arrays. Null where `call`
/// is given null.
struct Function {
  const char* name;
  std::size_t arrays;
  std::function<int(const Slots&)> call;
};

zel_ftc_error* record(double* slot) {
  return static_cast<zel_ftc_error*>(static_cast<void*>(slot));
}

const std::vector<Function>& functions() {
#define ZEL_CALL(arrays, call)                                          \
  Function {                                                            \
#call, arrays, []([[maybe_unused]] const Slots& p) { return call; } \
  }
  static const std::vector<Function> all = {
      ZEL_CALL(0, zel_ftc_initialFTSensor(1, nullptr)),
      ZEL_CALL(1, zel_ftc_obtainFTSensorData(p[0])),
      ZEL_CALL(1, zel_ftc_getFTSensorRange(p[0])),
      ZEL_CALL(0, zel_ftc_zeroFTSensor()),
      ZEL_CALL(0, zel_ftc_lowPassFilterFTSensor(1)),
      ZEL_CALL(0, zel_ftc_medianFilterDepthFTSensor(1)),
      ZEL_CALL(0, zel_ftc_setTimeStep(8)),
      ZEL_CALL(1, zel_ftc_getTimeStep(p[0])),
      ZEL_CALL(3, zel_ftc_setSensorConfig(p[0], p[1], p[2])),
      ZEL_CALL(0, zel_ftc_setLoadData(1, 2, 3, 4)),
      ZEL_CALL(4, zel_ftc_getLoadData(p[0], p[1], p[2], p[3])),
      ZEL_CALL(2, zel_ftc_setCorrectionLimit(p[0], p[1], 1)),
      ZEL_CALL(1, zel_ftc_setMonitoringFunctions(p[0])),
      ZEL_CALL(0, zel_ftc_setCorrectionMonitoring(1, 2)),
      ZEL_CALL(0, zel_ftc_setSensorNoiseThreshold(1, 2)),
      ZEL_CALL(0, zel_set_minValue(1, 5001)),
      ZEL_CALL(1, zel_set_minValue_every(p[0], 1)),
      ZEL_CALL(2, zel_ftc_configApproachMode(RCS_TOOL, FT_FZ, 1, p[0], 2, 3, 4, p[1], 5)),
      ZEL_CALL(2, zel_ftc_configAssemblyMode(RCS_TOOL, FT_FZ, 1, p[0], 2, 3, 4, p[1], 5, 6, 7, 8)),
      ZEL_CALL(3, zel_ftc_configTrackingMotionMode(RCS_TOOL, FT_FZ, p[0], p[1], p[2], 1)),
      ZEL_CALL(2, zel_ftc_recordCalibrationLoadData(p[0], p[1])),
      ZEL_CALL(0, zel_ftc_initCalibrationLoadData()),
      ZEL_CALL(0, zel_ftc_gravityCalibration()),
      ZEL_CALL(1, zel_ftc_sensorReset(p[0])),
      ZEL_CALL(2, zel_ftc_getSensorData(p[0], p[1], RCS_SENSOR)),
      ZEL_CALL(1, zel_ftc_getRCS_FT_Data(p[0])),
      ZEL_CALL(2, zel_ftc_get_GraData(p[0], p[1])),
      ZEL_CALL(3, zel_ftc_runApproach(p[0], p[1], record(p[2]))),
      ZEL_CALL(3, zel_ftc_runAssembly(p[0], p[1], record(p[2]))),
      ZEL_CALL(5, zel_ftc_runTrackingMotionL(p[0], p[1], p[2], p[3], record(p[4]))),
      ZEL_CALL(6, zel_ftc_runTrackingMotionC(p[0], p[1], p[2], p[3], p[4], record(p[5]))),
      ZEL_CALL(0, zel_ftc_clear()),
      ZEL_CALL(0, zel_ftc_stop()),
      ZEL_CALL(0, zel_ftc_Release()),
      ZEL_CALL(0, zel_ftc_uninitialFTSensor()),
  };
#undef ZEL_CALL
  return all;
}

void expectEveryFunctionClosed() {
  for (const Function& f : functions()) {
    EXPECT_EQ(f.call(Slots(f.arrays, nullptr)), -1) << f.name;
  }
  Six gain{}, band{};
  constexpr auto badFrame = static_cast<ZelRcs>(4);
  EXPECT_EQ(zel_ftc_configApproachMode(badFrame, FT_FZ, 1, gain.data(), 2, 3, 4, band.data(), 5),
            -1);
  EXPECT_EQ(zel_ftc_getSensorData(gain.data(), band.data(), badFrame), -1);
  EXPECT_EQ(zel_ftc_issetok(true), -1);
  EXPECT_EQ(zel_ftc_issetok(false), -1);
}

TEST(ClosedLibrary, EveryFunctionSaysSoBeforeItLooksAtItsArguments) {
  expectEveryFunctionClosed();
  ASSERT_EQ(zel_ftc_open(true), 1);
  ASSERT_EQ(zel_ftc_close(), 1);
  expectEveryFunctionClosed();
}

TEST(ClosedLibrary, RunsWriteNothing) {
  Six out = {1, 2, 3, 4, 5, 6}, pose{};
  zel_ftc_error err = {7, 8, 9};
  EXPECT_EQ(zel_ftc_runApproach(out.data(), pose.data(), &err), -1);
  EXPECT_THAT(out, testing::ElementsAre(1, 2, 3, 4, 5, 6));
  EXPECT_EQ(err.ftc_code, 7);
  EXPECT_EQ(err.ft_code, 8);
  EXPECT_EQ(err.ft_ipoc, 9);
}

TEST(OpenAndClose, EachTwice) {
  EXPECT_EQ(zel_ftc_close(), 1) << "nothing to close";
  ASSERT_EQ(zel_ftc_open(true), 1);
  void* const tool = m_zelftcclass;
  void* const sensor = m_zelftsensorclass;
  EXPECT_EQ(zel_ftc_open(false), 0);
  EXPECT_TRUE(zel_is_external) << "the first mode stays";
  EXPECT_EQ(m_zelftcclass, tool);
  EXPECT_EQ(m_zelftsensorclass, sensor);
  EXPECT_EQ(zel_ftc_issetok(true), 1);
  EXPECT_EQ(zel_ftc_issetok(false), 0);
  EXPECT_EQ(zel_ftc_close(), 1);
  EXPECT_EQ(m_zelftcclass, nullptr);
  EXPECT_EQ(m_zelftsensorclass, nullptr);
  EXPECT_EQ(zel_ftc_close(), 1);
}

TEST(OpenAndClose, HalfOpenLibraryCountsAsClosedAndIsOpenedAfresh) {
  for (void** missing : {&m_zelftcclass, &m_zelftsensorclass}) {
    ASSERT_EQ(zel_ftc_open(true), 1);
    void* const tool = m_zelftcclass;
    void* const sensor = m_zelftsensorclass;
    *missing = nullptr;
    expectEveryFunctionClosed();
    EXPECT_EQ(zel_ftc_open(true), 1);
    EXPECT_NE(m_zelftcclass, tool);
    EXPECT_NE(m_zelftsensorclass, sensor);
    EXPECT_EQ(zel_ftc_issetok(true), 1);
    EXPECT_EQ(zel_ftc_close(), 1);
    m_zelftcclass = tool;
    m_zelftsensorclass = sensor;
    zel_ftc_close();
  }
}

TEST_F(FlatTest, MissingArrayIsAFailureWithNothingTouched) {
  feed(reading);
  configureApproach();
  constexpr double canary = 0.125;
  for (const Function& f : functions()) {
    for (std::size_t missing = 0; missing < f.arrays; ++missing) {
      std::vector<Six> arrays(f.arrays);
      Slots slots;
      for (Six& array : arrays) {
        array.fill(canary);
        slots.push_back(array.data());
      }
      slots[missing] = nullptr;
      zel_info_.IPOC = -4711;
      EXPECT_EQ(f.call(slots), 0) << f.name << " without array " << missing;
      EXPECT_EQ(zel_info_.IPOC, -4711) << f.name << " has read the sensor";
      for (const Six& array : arrays) EXPECT_THAT(array, testing::Each(canary)) << f.name;
    }
  }
}

TEST_F(FlatTest, SelectorsOutOfRangeLeaveTheConfiguration) {
  configureApproach();
  const auto& tool = static_cast<ZelFTCTool&>(*static_cast<ZelForceControlTool*>(m_zelftcclass));
  const auto approach = tool.approachConfig;
  Six odd = {9, 9, 9, 9, 9, 9};
  double* const p = odd.data();
  for (const auto& [r, d] : std::vector<std::pair<int, int>>{
           {4, FT_FZ}, {-1, FT_FZ}, {1000000, FT_FZ}, {RCS_TOOL, 6}, {RCS_TOOL, -1}, {-7, 99}}) {
    const auto rcs = static_cast<ZelRcs>(r);
    const auto direction = static_cast<ZelDirection>(d);
    EXPECT_EQ(zel_ftc_configApproachMode(rcs, direction, 9, p, 9, 9, 9, p, 9), 0);
    EXPECT_EQ(zel_ftc_configAssemblyMode(rcs, direction, 9, p, 9, 9, 9, p, 9, 9, 9, 9), 0);
    EXPECT_EQ(zel_ftc_configTrackingMotionMode(rcs, direction, p, p, p, 9), 0);
  }
  EXPECT_EQ(std::memcmp(&tool.approachConfig, &approach, sizeof approach), 0);
  EXPECT_TRUE(tool.isSetApproach && !tool.isSetAssembly && !tool.isSetTrackingMotion);
}

}  // namespace
}  // namespace zel::test
