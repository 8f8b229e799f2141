// The simulated cell against the physics in closed form.
#include "sim/cell.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <utility>

using namespace zel::sim;
using Eigen::AngleAxisd, Eigen::Isometry3d, Eigen::Matrix3d, Eigen::Translation3d, Eigen::Vector3d;
using Vector6 = Eigen::Matrix<double, 6, 1>;

namespace {

constexpr double period = 0.004;

Isometry3d frameOf(const Pose& pose) {
  return Translation3d(pose[0], pose[1], pose[2]) * AngleAxisd(pose[3], Vector3d::UnitZ()) *
         AngleAxisd(pose[4], Vector3d::UnitY()) * AngleAxisd(pose[5], Vector3d::UnitX());
}

void expectNear(const Wrench& wrench, const Vector3d& force, const Vector3d& moment) {
  const Vector6 expected = (Vector6() << force, moment).finished();
  EXPECT_LT((Vector6(wrench.data()) - expected).norm(), 1e-8) << testing::PrintToString(wrench);
}

TEST(Cell, WallAndWeightActOnTheSensorHoweverItIsTurned) {
  CellConfig config{.start = {400, -30, 250, 0.3, -0.4, 2.9},
                    .flange_sensor = {3, -4, 30, 0.7, -0.2, 0.4},
                    .sensor_tool = {5, 2, 120, 0, 0, 0},
                    .load = {17.5, {12, -7, 61}},
                    .offset = {1.5, -2.5, 3.5, -0.1, 0.2, 0.3},
                    .quantise = false,
                    .surface = {.pose = {0, 0, 0, 1.1, 0.5, -0.3}, .stiffness = 12.5}};
  const Vector3d p_tip(5, 2, 120), p_load(12, -7, 61);
  const Isometry3d T_base_sensor = frameOf(config.start) * frameOf(config.flange_sensor);
  const Matrix3d R_sensor_base = T_base_sensor.rotation().transpose();
  const Matrix3d R_base_surface = frameOf(config.surface.pose).rotation();
  // The surface passes 0.8 mm in front of the tip; its origin lies elsewhere in it.
  const Vector3d p_surface = T_base_sensor * p_tip + R_base_surface * Vector3d(40, -25, 0.8);
  std::copy_n(p_surface.data(), 3, config.surface.pose.begin());

  const Vector3d push = R_sensor_base * R_base_surface.col(2) * (12.5 * 0.8);
  const Vector3d weight = R_sensor_base * Vector3d(0, 0, -17.5);
  expectNear(Cell(config).reading(), push + weight + Vector3d(1.5, -2.5, 3.5),
             (p_tip.cross(push) + p_load.cross(weight)) / 1000 + Vector3d(-0.1, 0.2, 0.3));
  EXPECT_NEAR(Cell(config).penetration(), 0.8, 1e-9);
}

TEST(Cell, SurfacesPushBackDampAndRub) {
  const struct {
    Surface surface;
    Vector3d tip, velocity, force;
  } cases[] = {
      {{.friction = 0.25}, {0, 0, -2}, {0, 0, 0}, {0, 0, 20}},
      {{.friction = 0.25}, {0, 0, -2}, {-3, 4, 0}, {3, -4, 20}},
      {{.friction = 0.25}, {0, 0, -2}, {0.01, 0, 0}, {-1, 0, 20}},  // fades below 0.05 mm/s
      {{.friction = 0.25}, {0, 0, 0.01}, {3, 0, 0}, {0, 0, 0}},
      {{.damping = 0.1}, {0, 0, -1}, {2, 0, -5}, {0, 0, 10.5}},
      {{.damping = 0.1}, {0, 0, -1}, {0, 0, 105}, {0, 0, 0}},  // never pulls
      // 0.5 mm below the sphere about (0, 0, -100), on the ray at atan(3/4) from the pole; the same
      // in the hollow about (0, 0, 100); in front of it; in the centre of the sphere.
      {{.radius = 100}, {59.7, 0, 79.6 - 100}, {0, 0, 0}, {3, 0, 4}},
      {{.radius = -100}, {60.3, 0, 100 - 80.4}, {0, 0, 0}, {-3, 0, 4}},
      {{.radius = -100}, {0, 0, 1}, {0, 0, 0}, {0, 0, 0}},
      {{.radius = 100}, {0, 0, -100}, {0, 0, 0}, {0, 0, 1000}},
  };
  for (const auto& [surface, tip, velocity, force] : cases) {
    const Vector3d from = tip - velocity * period;
    Cell cell({.start = {from[0], from[1], from[2]}, .load = {}, .surface = surface});
    cell.command({tip[0], tip[1], tip[2]});
    cell.advance(period);
    expectNear(cell.contact(), force, {0, 0, 0});
  }
}

TEST(Cell, FollowsWithALagOnTheShortestWay) {
  const Pose start = {0, 0, 0, 0.2, -0.3, 3.09}, goal = {100, -200, 50, 0.3, 0.1, -3.04};
  Cell cell({.start = start, .lag = 0.05, .load = {}, .surface = {}});
  cell.command(goal);
  for (int n = 0; n < 25; ++n) cell.advance(period);
  const double covered = 1 - std::exp(-0.1 / 0.05);
  AngleAxisd turn((frameOf(start).inverse() * frameOf(goal)).rotation());
  turn.angle() *= covered;
  EXPECT_TRUE(frameOf(cell.flange())
                  .isApprox(Translation3d(covered * frameOf(goal).translation()) *
                            frameOf(start).rotate(turn)));
}

TEST(Cell, RoundsAndAddsTheStatedNoise) {
  CellConfig config;
  config.offset = {1.23456, -1.23456, 0.0004, -0.0006, 0.00051, 7};
  expectNear(Cell(config).reading(), {1.235, -1.235, 0}, {-0.001, 0.001, 7});
  config = {
      .load = {}, .force_noise = 0.2, .torque_noise = 0.004, .quantise = false, .surface = {}};
  Cell cell(config), twin(config);
  Vector6 squares = Vector6::Zero();
  constexpr int n = 20000;
  for (int k = 0; k < n; ++k) {
    const Wrench reading = cell.reading();
    EXPECT_EQ(reading, twin.reading());
    squares += Vector6(reading.data()).cwiseAbs2() / n;
  }
  // The spread of n samples is known to 1/sqrt(2 n) = 0.5 %; four times that is allowed.
  for (int i = 0; i < 6; ++i)
    EXPECT_NEAR(std::sqrt(squares[i]), i < 3 ? 0.2 : 0.004, i < 3 ? 0.004 : 0.00008);
}

TEST(Cell, RefusesWhatIsNotANumberAndNegativeMagnitudes) {
  CellConfig c;
  Surface& s = c.surface;
  double* const magnitudes[] = {&c.lag,       &c.load.weight, &c.force_noise, &c.torque_noise,
                                &s.stiffness, &s.damping,     &s.friction};
  double* const numbers[] = {&s.radius,         &c.start[4],       &c.flange_sensor[0],
                             &c.sensor_tool[1], &c.load.centre[2], &c.offset[5],
                             &s.pose[3]};
  for (int i = 0; i < 7; ++i) {
    for (const auto& [field, bad] : {std::pair{magnitudes[i], -1.0},
                                     {magnitudes[i], NAN},
                                     {magnitudes[i], INFINITY},
                                     {numbers[i], NAN}}) {
      const double good = std::exchange(*field, bad);
      EXPECT_THROW(Cell{c}, std::invalid_argument) << i;
      *field = good;
    }
  }
  EXPECT_THROW(Cell(c).command({0, 0, NAN, 0, 0, 0}), std::invalid_argument);
  EXPECT_THROW(Cell(c).advance(-period), std::invalid_argument);
}

}  // namespace
