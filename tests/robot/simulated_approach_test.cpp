// Whole approaches in the simulated cell through the flat functions: every frame, every direction.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>

#include "matrix/rigidtransform.h"
#include "sim/cell.h"
#include "zel_ftc_lib.h"

namespace {

using zel::sim::Cell;
using zel::sim::CellConfig;
using zel::sim::Pose;
using zel::sim::Wrench;

constexpr double pi = 3.14159265358979323846;

/// How the tip moves in flange axes while the tool searches along +direction, and the surface that
/// stands in its way.
struct Search {
  double force;     // expected, N or N m
  double speed;     // mm/s, or rad/s * 1000
  double gain;      // keeps the loop at about a tenth of the contact's stiffness per cycle
  double tip[3];    // tool on the sensor, mm
  double way[3];    // from the tip to the surface, mm, along the axes of the search
  double angle[2];  // of the surface about y and x of the flange: its normal points against the way
};

// The tip is 150 mm in front of the flange, 120 mm in front of the sensor. Turning about x moves it
// along -y, about y along +x, and about z, 40 mm beside the axis, along +y.
constexpr Search searches[6] = {
    {8.0, 20, 3, {0, 0, 120}, {5, 0, 0}, {-pi / 2, 0}},
    {8.0, 20, 3, {0, 0, 120}, {0, 5, 0}, {0, pi / 2}},
    {8.0, 20, 3, {0, 0, 120}, {0, 0, 5}, {0, pi}},
    {0.5, 50, 140, {0, 0, 120}, {0, -3, 0}, {0, -pi / 2}},
    {0.5, 50, 140, {0, 0, 120}, {3, 0, 0}, {-pi / 2, 0}},
    {0.2, 50, 1500, {40, 0, 120}, {0, 2, 0}, {0, pi / 2}},
};

/// The cell with the surface in the way of a search along flange axes, or along base axes.
CellConfig cellFor(const Search& search, bool alongBase) {
  CellConfig config;
  config.start = {400, -100, 500, 0.3, -0.2, 2.9};
  config.lag = 0.005;
  config.flange_sensor = {0, 0, 30, 0, 0, 0};
  config.sensor_tool = {search.tip[0], search.tip[1], search.tip[2], 0, 0, 0};
  config.load = {12.0, {2, -3, 45}};
  config.offset = {3, -5, 12, 0.1, -0.2, 0.05};
  const double tipOnFlange[6] = {search.tip[0], search.tip[1], search.tip[2] + 30, 0, 0, 0};
  const double surfaceAtTip[6] = {search.way[0],   search.way[1],  search.way[2], 0,
                                  search.angle[0], search.angle[1]};
  zel::RigidTransform T_base_tip =
      zel::transformFromPose(config.start.data()) * zel::transformFromPose(tipOnFlange);
  if (alongBase) {
    const double upright[6] = {T_base_tip.row[0][3], T_base_tip.row[1][3], T_base_tip.row[2][3]};
    T_base_tip = zel::transformFromPose(upright);
  }
  zel::poseFromTransform(T_base_tip * zel::transformFromPose(surfaceAtTip),
                         config.surface.pose.data());
  config.surface.stiffness = 10.0;
  config.surface.damping = 0.02;
  return config;
}

class SimulatedApproach : public testing::TestWithParam<std::tuple<ZelRcs, ZelDirection>> {
 protected:
  void SetUp() override {
    ASSERT_EQ(zel_ftc_open(true), 1);
    ASSERT_EQ(zel_ftc_initialFTSensor(0, nullptr), 1);
  }
  void TearDown() override { zel_ftc_close(); }
};

TEST_P(SimulatedApproach, EndsAsTheFrameAndDirectionLetIt) {
  const auto [frame, direction] = GetParam();
  const Search& search = searches[direction];
  const bool seesForces = frame == RCS_TOOL || frame == RCS_SENSOR;
  const bool isTorque = direction >= FT_MX;
  CellConfig config = cellFor(search, !seesForces);
  Cell cell(config);
  Wrench rating = {1000, 1000, 1000, 100, 100, 100}, permissible = {60, 60, 60, 20, 20, 20};
  Wrench gains = {}, breakRange = {};
  gains[direction] = search.gain;
  breakRange[direction] = 0.05 * search.force;
  double box[3] = {500, 500, 500}, lower[3] = {-500, -500, -500};
  ASSERT_EQ(zel_ftc_setTimeStep(4), 1);
  ASSERT_EQ(zel_ftc_setSensorConfig(rating.data(), config.flange_sensor.data(),
                                    config.sensor_tool.data()),
            1);
  ASSERT_EQ(zel_ftc_setLoadData(12.0, 2, -3, 45), 1);
  ASSERT_EQ(zel_ftc_setCorrectionLimit(box, lower, 1), 1);
  ASSERT_EQ(zel_ftc_setMonitoringFunctions(permissible.data()), 1);
  ASSERT_EQ(zel_ftc_setCorrectionMonitoring(50, 0.3), 1);
  Wrench reading = cell.reading();
  ASSERT_EQ(zel_ftc_obtainFTSensorData(reading.data()), 1);
  Pose pose = config.start;
  ASSERT_EQ(zel_ftc_sensorReset(pose.data()), 1);
  ASSERT_EQ(zel_ftc_configApproachMode(frame, direction, search.force, gains.data(), search.speed,
                                       1.0, 0.1, breakRange.data(), 600000),
            1);

  zel_ftc_error error = {};
  bool touched = false;
  for (int cycle = 0; cycle < 5000; ++cycle) {
    reading = cell.reading();
    ASSERT_EQ(zel_ftc_obtainFTSensorData(reading.data()), 1);
    const int running = zel_ftc_runApproach(pose.data(), pose.data(), &error);
    touched = touched || cell.penetration() > 0.0;
    if (running != 1) break;
    cell.command(pose);
    cell.advance(0.004);
  }

  if (!seesForces) {
    // Presses on without noticing, until the total correction is reached. (A turn is about the base
    // origin there and carries the tool away from the surface.)
    EXPECT_EQ(error.ftc_code, ZEL_RUN_OVER_CORRECTION);
    EXPECT_TRUE(touched || isTorque);
    return;
  }
  EXPECT_TRUE(touched);
  if (frame == RCS_TOOL && isTorque) {
    // A contact at the tip has no torque there: the tool turns on until the force is too large.
    EXPECT_EQ(error.ftc_code, ZEL_RUN_OVER_MONITORING);
    return;
  }
  EXPECT_EQ(error.ftc_code, ZEL_RUN_END);
  EXPECT_NEAR(cell.contact()[direction], -search.force, 0.06 * search.force);
}

std::string nameOf(const testing::TestParamInfo<SimulatedApproach::ParamType>& info) {
  static constexpr const char* frames[] = {"World", "Base", "Tool", "Sensor"};
  static constexpr const char* directions[] = {"Fx", "Fy", "Fz", "Mx", "My", "Mz"};
  return std::string(frames[std::get<0>(info.param)]) + directions[std::get<1>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(
    EveryFrameAndDirection, SimulatedApproach,
    testing::Combine(testing::Values(RCS_WORLD, RCS_BASE, RCS_TOOL, RCS_SENSOR),
                     testing::Values(FT_FX, FT_FY, FT_FZ, FT_MX, FT_MY, FT_MZ)),
    nameOf);

}  // namespace
