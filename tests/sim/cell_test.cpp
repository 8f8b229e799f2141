// The simulated cell against hand computations and against Eigen's rotations.
#include "sim/cell.h"

#include <gmock/gmock.h>

#include <Eigen/Dense>
#include <cmath>
#include <limits>
#include <random>

namespace {

using Eigen::AngleAxisd;
using Eigen::Matrix3d;
using Eigen::Vector3d;
using testing::DoubleNear;
using testing::Pointwise;
using zel::sim::Cell;
using zel::sim::CellConfig;
using zel::sim::Pose;
using zel::sim::Wrench;

constexpr double pi = 3.14159265358979323846;
constexpr double period = 0.004;

Matrix3d rotationOf(const Pose& pose) {
  return (AngleAxisd(pose[3], Vector3d::UnitZ()) * AngleAxisd(pose[4], Vector3d::UnitY()) *
          AngleAxisd(pose[5], Vector3d::UnitX()))
      .toRotationMatrix();
}

Vector3d positionOf(const Pose& pose) {
  return {pose[0], pose[1], pose[2]};
}

Wrench wrenchOf(const Vector3d& force, const Vector3d& moment) {
  return {force.x(), force.y(), force.z(), moment.x(), moment.y(), moment.z()};
}

MATCHER_P2(WrenchNear, expected, tolerance, "") {
  return testing::ExplainMatchResult(Pointwise(DoubleNear(tolerance), expected), arg,
                                     result_listener);
}

/// No noise, no quantisation, the surface far below.
CellConfig quiet() {
  CellConfig config;
  config.quantise = false;
  config.surface.pose = {0, 0, -1e6, 0, 0, 0};
  return config;
}

/// A tip at `start` that moves on a straight line at constant speed for a few cycles.
void slide(Cell& cell, Pose pose, const Vector3d& velocity, int cycles) {
  for (int n = 1; n <= cycles; ++n) {
    Pose next = pose;
    for (int i = 0; i < 3; ++i) next[i] += velocity[i] * period * n;
    cell.command(next);
    cell.advance(period);
  }
}

TEST(CellGravity, WeightPullsDownTheBaseAxisAtTheCentreOfMass) {
  // Sensor upright: the weight is (0, 0, -10), its moment (20, -30, 50) mm x (0, 0, -10) N.
  CellConfig config = quiet();
  config.load = {10.0, {20.0, -30.0, 50.0}};
  EXPECT_THAT(Cell(config).reading(), WrenchNear(Wrench{0, 0, -10, 0.3, 0.2, 0}, 1e-12));
}

TEST(CellGravity, FollowsEveryOrientationAndTheMounting) {
  std::mt19937_64 random(11);
  std::uniform_real_distribution<double> angle(-pi, pi);
  for (int n = 0; n < 50; ++n) {
    CellConfig config = quiet();
    config.start = {400, -30, 250, angle(random), angle(random), angle(random)};
    config.flange_sensor = {3, -4, 30, 0.7, -0.2, 0.4};
    config.load = {17.5, {12.0, -7.0, 61.0}};
    config.offset = {1.5, -2.5, 3.5, -0.1, 0.2, 0.3};

    const Matrix3d R_base_sensor = rotationOf(config.start) * rotationOf(config.flange_sensor);
    const Vector3d weight = R_base_sensor.transpose() * Vector3d(0, 0, -17.5);
    Wrench expected = wrenchOf(weight, Vector3d(0.012, -0.007, 0.061).cross(weight));
    for (int i = 0; i < 6; ++i) expected[i] += config.offset[i];
    EXPECT_THAT(Cell(config).reading(), WrenchNear(expected, 1e-12)) << "sample " << n;
  }
}

TEST(CellContact, InclinedWallPushesAlongItsNormalWithTheLeverArmOfTheTip) {
  CellConfig config = quiet();
  config.start = {400, -30, 250, 0.3, -0.4, 2.9};
  config.flange_sensor = {3, -4, 30, 0.7, -0.2, 0.4};
  config.sensor_tool = {5, 2, 120, 0, 0, 0};
  const Matrix3d R_base_flange = rotationOf(config.start);
  const Matrix3d R_base_sensor = R_base_flange * rotationOf(config.flange_sensor);
  const Vector3d p_tip = positionOf(config.start) +
                         R_base_flange * positionOf(config.flange_sensor) +
                         R_base_sensor * positionOf(config.sensor_tool);

  // The surface passes 0.8 mm in front of the tip; the frame's origin lies elsewhere in it.
  config.surface.pose = {0, 0, 0, 1.1, 0.5, -0.3};
  config.surface.stiffness = 12.5;
  const Matrix3d R_base_surface = rotationOf(config.surface.pose);
  const Vector3d p_surface = p_tip + R_base_surface * Vector3d(40, -25, 0.8);
  for (int i = 0; i < 3; ++i) config.surface.pose[i] = p_surface[i];

  Cell cell(config);
  const Vector3d force = R_base_sensor.transpose() * (10.0 * R_base_surface.col(2));
  const Wrench expected = wrenchOf(force, Vector3d(0.005, 0.002, 0.120).cross(force));
  EXPECT_NEAR(cell.penetration(), 0.8, 1e-10);
  EXPECT_THAT(cell.contact(), WrenchNear(expected, 1e-8));
  EXPECT_THAT(cell.reading(), WrenchNear(expected, 1e-8));
}

TEST(CellContact, CurvedSurfacesFallAwayOrRiseFromTheirOrigin) {
  CellConfig config = quiet();
  config.surface.pose = {};
  config.surface.stiffness = 10.0;
  config.surface.radius = 100.0;
  // On the ray at atan(3/4) from the pole, 0.5 mm below the sphere about (0, 0, -100).
  config.start = {59.7, 0, 79.6 - 100.0, 0, 0, 0};
  EXPECT_THAT(Cell(config).contact(), WrenchNear(Wrench{3.0, 0, 4.0, 0, 0, 0}, 1e-9));

  // The same in a hollow about (0, 0, 100): beyond the sphere, pushed back towards its centre.
  config.surface.radius = -100.0;
  config.start = {60.3, 0, 100.0 - 80.4, 0, 0, 0};
  EXPECT_THAT(Cell(config).contact(), WrenchNear(Wrench{-3.0, 0, 4.0, 0, 0, 0}, 1e-9));
  config.start = {0, 0, 1.0, 0, 0, 0};
  EXPECT_EQ(Cell(config).penetration(), 0.0);
  EXPECT_EQ(Cell(config).contact(), Wrench{}) << "in front of the surface";
}

TEST(CellContact, FrictionOpposesTangentialMotion) {
  CellConfig config = quiet();
  config.start = {0, 0, -1, 0, 0, 0};
  config.surface.pose = {};
  config.surface.stiffness = 20.0;
  config.surface.friction = 0.25;
  Cell cell(config);
  EXPECT_THAT(cell.contact(), WrenchNear(Wrench{0, 0, 20, 0, 0, 0}, 1e-12)) << "at rest";

  slide(cell, config.start, {-3, 4, 0}, 5);
  EXPECT_THAT(cell.contact(), WrenchNear(Wrench{3, -4, 20, 0, 0, 0}, 1e-9));

  cell.advance(period);
  EXPECT_THAT(cell.contact(), WrenchNear(Wrench{0, 0, 20, 0, 0, 0}, 1e-12)) << "at rest again";
}

TEST(CellContact, DampingResistsAndNeverPulls) {
  CellConfig config = quiet();
  config.start = {0, 0, -1, 0, 0, 0};
  config.surface.pose = {};
  config.surface.damping = 0.1;
  Cell cell(config);
  slide(cell, config.start, {0, 0, -5}, 1);  // 1.02 mm deep, going deeper
  EXPECT_NEAR(cell.contact()[2], 10.2 + 0.5, 1e-9);

  slide(cell, config.start, {0, 0, 100}, 1);  // 0.6 mm deep, leaving at 105 mm/s
  EXPECT_EQ(cell.contact()[2], 0.0);
}

TEST(CellRobot, LagsExponentially) {
  CellConfig config = quiet();
  config.lag = 0.05;
  Cell cell(config);
  cell.command({100, -200, 50, 0, 0, 1.2});
  for (int n = 0; n < 25; ++n) cell.advance(period);
  const double covered = 1.0 - std::exp(-0.1 / 0.05);
  EXPECT_THAT(cell.flange(), Pointwise(DoubleNear(1e-9), Pose{100 * covered, -200 * covered,
                                                              50 * covered, 0, 0, 1.2 * covered}));
}

TEST(CellRobot, TurnsTheShortestWay) {
  CellConfig config = quiet();
  config.lag = 0.01;
  config.start = {0, 0, 0, 0.2, -0.3, pi - 0.05};
  Cell cell(config);
  // Across the seam at pi, 0.1 rad apart.
  cell.command({0, 0, 0, 0.2, -0.3, -pi + 0.05});
  cell.advance(0.01);
  const Matrix3d turn = rotationOf(config.start).transpose() * rotationOf(cell.flange());
  EXPECT_NEAR(AngleAxisd(turn).angle(), 0.1 * (1.0 - std::exp(-1.0)), 1e-9);
}

TEST(CellReading, QuantisesToMillinewtons) {
  CellConfig config = quiet();
  config.quantise = true;
  config.offset = {1.23456, -1.23456, 0.0004, -0.0006, 0.00051, 7.0};
  const Wrench reading = Cell(config).reading();
  EXPECT_THAT(reading, WrenchNear(Wrench{1.235, -1.235, 0.0, -0.001, 0.001, 7.0}, 1e-15));
}

TEST(CellReading, NoiseHasTheStatedSpreadAndRepeatsWithTheSeed) {
  CellConfig config = quiet();
  config.force_noise = 0.2;
  config.torque_noise = 0.004;
  Cell cell(config), twin(config);
  ++config.seed;
  Cell other(config);
  bool differs = false;

  constexpr int n = 20000;
  Wrench squares = {};
  for (int k = 0; k < n; ++k) {
    const Wrench reading = cell.reading();
    EXPECT_EQ(reading, twin.reading());
    differs |= reading != other.reading();
    for (int i = 0; i < 6; ++i) squares[i] += reading[i] * reading[i];
  }
  EXPECT_TRUE(differs);
  // The spread of n samples is known to 1/sqrt(2 n) = 0.5 %; four times that is allowed.
  for (int i = 0; i < 6; ++i) {
    const double stated = i < 3 ? 0.2 : 0.004;
    EXPECT_NEAR(std::sqrt(squares[i] / n), stated, 0.02 * stated) << "axis " << i;
  }
}

TEST(CellBadInput, RefusesWhatIsNotANumberAndNegativeMagnitudes) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  const auto refused = [](auto change) {
    CellConfig config = quiet();
    change(config);
    EXPECT_THROW(Cell{config}, std::invalid_argument);
  };
  refused([](CellConfig& c) { c.start[4] = nan; });
  refused([](CellConfig& c) { c.surface.stiffness = -1.0; });
  refused([](CellConfig& c) { c.lag = nan; });

  Cell cell(quiet());
  EXPECT_THROW(cell.command({0, 0, nan, 0, 0, 0}), std::invalid_argument);
  EXPECT_THROW(cell.advance(-period), std::invalid_argument);
  cell.advance(period);
  EXPECT_EQ(cell.flange(), Pose{}) << "a refused command changes nothing";
}

}  // namespace
