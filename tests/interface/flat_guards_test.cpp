// What every flat function checks before it does anything: an open library, pointers, selectors.
#include <gmock/gmock.h>

#include <cstring>
#include <functional>
#include <vector>

#include "flat_fixture.h"

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
  static const std::vector<Function> all = {
      {"zel_ftc_initialFTSensor", 0,
       [](const Slots&) { return zel_ftc_initialFTSensor(1, nullptr); }},
      {"zel_ftc_obtainFTSensorData", 1,
       [](const Slots& p) { return zel_ftc_obtainFTSensorData(p[0]); }},
      {"zel_ftc_getFTSensorRange", 1,
       [](const Slots& p) { return zel_ftc_getFTSensorRange(p[0]); }},
      {"zel_ftc_zeroFTSensor", 0, [](const Slots&) { return zel_ftc_zeroFTSensor(); }},
      {"zel_ftc_lowPassFilterFTSensor", 0,
       [](const Slots&) { return zel_ftc_lowPassFilterFTSensor(1); }},
      {"zel_ftc_medianFilterDepthFTSensor", 0,
       [](const Slots&) { return zel_ftc_medianFilterDepthFTSensor(1); }},
      {"zel_ftc_setTimeStep", 0, [](const Slots&) { return zel_ftc_setTimeStep(8); }},
      {"zel_ftc_getTimeStep", 1, [](const Slots& p) { return zel_ftc_getTimeStep(p[0]); }},
      {"zel_ftc_setSensorConfig", 3,
       [](const Slots& p) { return zel_ftc_setSensorConfig(p[0], p[1], p[2]); }},
      {"zel_ftc_setLoadData", 0, [](const Slots&) { return zel_ftc_setLoadData(1, 2, 3, 4); }},
      {"zel_ftc_getLoadData", 4,
       [](const Slots& p) { return zel_ftc_getLoadData(p[0], p[1], p[2], p[3]); }},
      {"zel_ftc_setCorrectionLimit", 2,
       [](const Slots& p) { return zel_ftc_setCorrectionLimit(p[0], p[1], 1); }},
      {"zel_ftc_setMonitoringFunctions", 1,
       [](const Slots& p) { return zel_ftc_setMonitoringFunctions(p[0]); }},
      {"zel_ftc_setCorrectionMonitoring", 0,
       [](const Slots&) { return zel_ftc_setCorrectionMonitoring(1, 2); }},
      {"zel_ftc_setSensorNoiseThreshold", 0,
       [](const Slots&) { return zel_ftc_setSensorNoiseThreshold(1, 2); }},
      {"zel_set_minValue", 0, [](const Slots&) { return zel_set_minValue(1, 5001); }},
      {"zel_set_minValue_every", 1, [](const Slots& p) { return zel_set_minValue_every(p[0], 1); }},
      {"zel_ftc_configApproachMode", 2,
       [](const Slots& p) {
         return zel_ftc_configApproachMode(RCS_TOOL, FT_FZ, 1, p[0], 2, 3, 4, p[1], 5);
       }},
      {"zel_ftc_configAssemblyMode", 2,
       [](const Slots& p) {
         return zel_ftc_configAssemblyMode(RCS_TOOL, FT_FZ, 1, p[0], 2, 3, 4, p[1], 5, 6, 7, 8);
       }},
      {"zel_ftc_configTrackingMotionMode", 3,
       [](const Slots& p) {
         return zel_ftc_configTrackingMotionMode(RCS_TOOL, FT_FZ, p[0], p[1], p[2], 1);
       }},
      {"zel_ftc_recordCalibrationLoadData", 2,
       [](const Slots& p) { return zel_ftc_recordCalibrationLoadData(p[0], p[1]); }},
      {"zel_ftc_initCalibrationLoadData", 0,
       [](const Slots&) { return zel_ftc_initCalibrationLoadData(); }},
      {"zel_ftc_gravityCalibration", 0, [](const Slots&) { return zel_ftc_gravityCalibration(); }},
      {"zel_ftc_sensorReset", 1, [](const Slots& p) { return zel_ftc_sensorReset(p[0]); }},
      {"zel_ftc_getSensorData", 2,
       [](const Slots& p) { return zel_ftc_getSensorData(p[0], p[1], RCS_SENSOR); }},
      {"zel_ftc_getRCS_FT_Data", 1, [](const Slots& p) { return zel_ftc_getRCS_FT_Data(p[0]); }},
      {"zel_ftc_get_GraData", 2, [](const Slots& p) { return zel_ftc_get_GraData(p[0], p[1]); }},
      {"zel_ftc_runApproach", 3,
       [](const Slots& p) { return zel_ftc_runApproach(p[0], p[1], record(p[2])); }},
      {"zel_ftc_runAssembly", 3,
       [](const Slots& p) { return zel_ftc_runAssembly(p[0], p[1], record(p[2])); }},
      {"zel_ftc_runTrackingMotionL", 5,
       [](const Slots& p) {
         return zel_ftc_runTrackingMotionL(p[0], p[1], p[2], p[3], record(p[4]));
       }},
      {"zel_ftc_runTrackingMotionC", 6,
       [](const Slots& p) {
         return zel_ftc_runTrackingMotionC(p[0], p[1], p[2], p[3], p[4], record(p[5]));
       }},
      {"zel_ftc_clear", 0, [](const Slots&) { return zel_ftc_clear(); }},
      {"zel_ftc_stop", 0, [](const Slots&) { return zel_ftc_stop(); }},
      {"zel_ftc_Release", 0, [](const Slots&) { return zel_ftc_Release(); }},
      {"zel_ftc_uninitialFTSensor", 0, [](const Slots&) { return zel_ftc_uninitialFTSensor(); }},
  };
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
  const std::vector<std::pair<int, int>> bad = {{4, FT_FZ},    {-1, FT_FZ},    {1000000, FT_FZ},
                                                {RCS_TOOL, 6}, {RCS_TOOL, -1}, {-7, 99}};
  const auto session = [&](bool withBadCalls) {
    zel_ftc_close();
    zel_ftc_open(true);
    zel_ftc_initialFTSensor(0, nullptr);
    configureBasics();
    configureApproach();
    Six odd = {9, 9, 9, 9, 9, 9};
    std::vector<double> seen;
    for (int n = 0; n < 12; ++n) {
      if (withBadCalls) {
        for (const auto& [r, d] : bad) {
          const auto rcs = static_cast<ZelRcs>(r);
          const auto direction = static_cast<ZelDirection>(d);
          EXPECT_EQ(
              zel_ftc_configApproachMode(rcs, direction, 9, odd.data(), 9, 9, 9, odd.data(), 9), 0);
          EXPECT_EQ(zel_ftc_configAssemblyMode(rcs, direction, 9, odd.data(), 9, 9, 9, odd.data(),
                                               9, 9, 9, 9),
                    0);
          EXPECT_EQ(zel_ftc_configTrackingMotionMode(rcs, direction, odd.data(), odd.data(),
                                                     odd.data(), 9),
                    0);
        }
      }
      reading[2] = n < 5 ? 0 : 7;
      feed(reading);
      EXPECT_EQ(zel_ftc_runApproach(out.data(), pose.data(), &err), 1);
      seen.insert(seen.end(), out.begin(), out.end());
    }
    return seen;
  };
  EXPECT_EQ(session(true), session(false));
}

}  // namespace
}  // namespace zel::test
