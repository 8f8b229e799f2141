// Recordings of static poses from the simulated cell, with known load and anything wrong with them.
#ifndef ZEL_FTC_TESTS_ANALYSIS_RECORDED_SET_H
#define ZEL_FTC_TESTS_ANALYSIS_RECORDED_SET_H

#include <Eigen/Dense>
#include <cmath>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "analysis/identification.h"
#include "sim/cell.h"

namespace zel::test {

using analysis::StaticPose;
using Eigen::AngleAxisd;
using Eigen::Matrix3d;
using Eigen::Quaterniond;
using Eigen::Vector3d;

inline Matrix3d matrixOf(const analysis::Orientation& orientation) {
  const analysis::Rotation R = analysis::rotationOf(orientation);
  return Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(R[0].data());
}

inline analysis::Angles anglesOf(const Matrix3d& R) {
  return {std::atan2(R(1, 0), R(0, 0)), std::asin(std::clamp(-R(2, 0), -1.0, 1.0)),
          std::atan2(R(2, 1), R(2, 2))};
}

struct RecordedSet {
  std::mt19937_64 random;
  sim::CellConfig cell;
  std::vector<Matrix3d> R;  ///< true orientation of the sensor
  std::vector<StaticPose> poses;
  std::vector<std::size_t> guilty;  ///< poses that a finding has to name

  /// 6 to 30 orientations all around, 10 to 50 N, noise 0.01 to 0.1 N.
  explicit RecordedSet(std::uint64_t seed) : random(seed) {
    const auto n = 6 + random() % 25;
    cell.load = {uniform(10, 50), {uniform(-80, 80), uniform(-80, 80), uniform(10, 200)}};
    for (int i = 0; i < 6; ++i) cell.offset[i] = uniform(-20, 20) * (i < 3 ? 1.0 : 0.1);
    cell.force_noise = std::pow(10.0, uniform(-2, -1));
    cell.torque_noise = cell.force_noise * uniform(0.03, 0.1);
    cell.surface.pose = {0, 0, -1e6, 0, 0, 0};
    cell.seed = random();
    for (std::size_t k = 0; k < n; ++k) R.push_back(anyTurn());
  }

  double uniform(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random);
  }
  Matrix3d anyTurn() {
    std::normal_distribution<double> normal;
    Quaterniond q;
    for (double& x : q.coeffs()) x = normal(random);
    return q.normalized().toRotationMatrix();
  }
  Vector3d anyVector(double least, double most) {
    return std::exp(uniform(std::log(least), std::log(most))) * anyTurn().col(0);
  }

  void state(StaticPose& pose, const Matrix3d& R_base_sensor) {
    const Quaterniond q(R_base_sensor);
    pose.orientation = analysis::Quaternion{q.w(), q.x(), q.y(), q.z()};
  }

  /// Takes the readings.
  void record() {
    sim::Cell robot(cell);
    for (const Matrix3d& orientation : R) {
      const auto [a, b, c] = anglesOf(orientation);
      robot.command({400, -30, 500, a, b, c});
      robot.advance(1.0);
      StaticPose& pose = poses.emplace_back();
      pose.name = std::to_string(poses.size());
      pose.position = {uniform(-600, 600), uniform(-600, 600), uniform(200, 900)};
      pose.wrench = robot.reading();
      state(pose, orientation);
    }
  }

  /// Adds a force and a torque to the reading of pose k.
  void add(std::size_t k, const Vector3d& force, const Vector3d& torque) {
    for (int i = 0; i < 3; ++i) {
      poses[k].wrench[i] += force(i);
      poses[k].wrench[i + 3] += torque(i);
    }
  }

  /// Force and torque of every reading times A.
  template <typename Map>
  void turnReadings(Map A) {
    for (StaticPose& pose : poses) {
      const Matrix3d turn = A(pose);
      auto force = Vector3d::Map(pose.wrench.data());
      auto torque = Vector3d::Map(pose.wrench.data() + 3);
      force = (turn * force).eval();
      torque = (turn * torque).eval();
    }
  }

  /// A zero that moves over the recording as shape(0..1) says.
  template <typename Shape>
  void drift(Shape shape) {
    const Vector3d force = anyVector(1, 5), torque = anyVector(0.01, 0.1);
    const auto last = static_cast<double>(poses.size() - 1);
    for (std::size_t k = 0; k < poses.size(); ++k) {
      const double part = shape(static_cast<double>(k) / last);
      add(k, part * force, part * torque);
    }
  }
};

}  // namespace zel::test

#endif
