// The physics of the cell, written with Eigen alone: the library's own transforms and gravity take
// no part, so that a wrong sign there shows.
#include "sim/cell.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <random>
#include <stdexcept>
#include <string>

namespace zel::sim {
namespace {

using Eigen::AngleAxisd;
using Eigen::Isometry3d;
using Eigen::Matrix3d;
using Eigen::Quaterniond;
using Eigen::Vector3d;

constexpr double metresPerMillimetre = 0.001;

/// Below this sliding speed (mm/s) friction fades in proportion, so that a tip at rest feels none.
constexpr double slidingSpeed = 0.05;

template <typename Values>
void requireFinite(const Values& values, const char* what) {
  if (!std::all_of(values.begin(), values.end(), [](double x) { return std::isfinite(x); })) {
    throw std::invalid_argument(std::string("cell: ") + what + " is not finite");
  }
}

void requireNotNegative(double value, const char* what) {
  if (!(value >= 0.0) || !std::isfinite(value)) {
    throw std::invalid_argument(std::string("cell: ") + what + " is negative or not finite");
  }
}

void check(const CellConfig& config) {
  requireFinite(config.start, "start");
  requireFinite(config.flange_sensor, "flange_sensor");
  requireFinite(config.sensor_tool, "sensor_tool");
  requireFinite(config.load.centre, "load.centre");
  requireFinite(config.offset, "offset");
  requireFinite(config.surface.pose, "surface.pose");
  requireFinite(std::array{config.surface.radius}, "surface.radius");
  requireNotNegative(config.lag, "lag");
  requireNotNegative(config.load.weight, "load.weight");
  requireNotNegative(config.force_noise, "force_noise");
  requireNotNegative(config.torque_noise, "torque_noise");
  requireNotNegative(config.surface.stiffness, "surface.stiffness");
  requireNotNegative(config.surface.damping, "surface.damping");
  requireNotNegative(config.surface.friction, "surface.friction");
}

Vector3d position(const Pose& pose) {
  return {pose[0], pose[1], pose[2]};
}

Quaterniond orientation(const Pose& pose) {
  return AngleAxisd(pose[3], Vector3d::UnitZ()) * AngleAxisd(pose[4], Vector3d::UnitY()) *
         AngleAxisd(pose[5], Vector3d::UnitX());
}

Isometry3d transform(const Pose& pose) {
  return Eigen::Translation3d(position(pose)) * orientation(pose);
}

/// The pose of a transform. With the Y angle at +-90 degrees the other two turn about one axis: the
/// Z angle is then 0.
Pose poseOf(const Vector3d& p, const Quaterniond& orientation) {
  const Matrix3d R = orientation.toRotationMatrix();
  const double aboutZ = std::hypot(R(0, 0), R(1, 0)) < 1e-16 ? 0.0 : std::atan2(R(1, 0), R(0, 0));
  const Matrix3d YX = AngleAxisd(-aboutZ, Vector3d::UnitZ()) * R;
  return {p.x(),
          p.y(),
          p.z(),
          aboutZ,
          std::atan2(-YX(2, 0), YX(0, 0)),
          std::atan2(-YX(1, 2), YX(1, 1))};
}

/// Force (N) at a point (mm from the sensor origin), both in sensor axes, as the sensor feels it.
Wrench wrenchOf(const Vector3d& force, const Vector3d& point) {
  const Vector3d moment = metresPerMillimetre * point.cross(force);
  return {force.x(), force.y(), force.z(), moment.x(), moment.y(), moment.z()};
}

}  // namespace

struct Cell::State {
  explicit State(const CellConfig& c)
      : config(c),
        T_flange_sensor(transform(c.flange_sensor)),
        T_base_surface(transform(c.surface.pose)),
        p_sensor_tip(position(c.sensor_tool)),
        flange(c.start),
        commanded(c.start),
        random(c.seed) {
    p_base_tip = tipNow();
  }

  Isometry3d T_base_sensor() const { return transform(flange) * T_flange_sensor; }
  Vector3d tipNow() const { return T_base_sensor() * p_sensor_tip; }

  /// A force in base axes, in sensor axes.
  Vector3d inSensor(const Vector3d& force) const {
    return T_base_sensor().linear().transpose() * force;
  }

  struct Touch {
    double depth;     ///< mm below the surface, negative above
    Vector3d normal;  ///< outward, base axes
  };

  Touch touch() const {
    const Vector3d outward = T_base_surface.linear().col(2);
    const double radius = config.surface.radius;
    const Vector3d fromOrigin = p_base_tip - T_base_surface.translation();
    if (radius == 0.0) return {-fromOrigin.dot(outward), outward};

    // A negative radius puts the centre in front of the surface: a hollow.
    const Vector3d fromCentre = fromOrigin + radius * outward;
    const double distance = fromCentre.norm();
    if (distance == 0.0) return {radius, outward};
    const double side = radius > 0.0 ? 1.0 : -1.0;
    return {side * (std::fabs(radius) - distance), side / distance * fromCentre};
  }

  /// Contact force on the tip, base axes.
  Vector3d contactForce() const {
    const auto [depth, normal] = touch();
    if (depth <= 0.0) return Vector3d::Zero();
    const double away = velocity.dot(normal);
    const double press =
        std::max(0.0, config.surface.stiffness * depth - config.surface.damping * away);
    const Vector3d sliding = velocity - away * normal;
    const double speed = std::max(sliding.norm(), slidingSpeed);
    return press * normal - config.surface.friction * press / speed * sliding;
  }

  CellConfig config;
  Isometry3d T_flange_sensor, T_base_surface;
  Vector3d p_sensor_tip;  ///< the tip in the sensor frame, mm
  Pose flange, commanded;
  Vector3d p_base_tip;                   ///< mm
  Vector3d velocity = Vector3d::Zero();  ///< of the tip, base axes, mm/s
  std::mt19937_64 random;
  std::normal_distribution<double> normal;
};

Cell::Cell(const CellConfig& config) {
  check(config);
  state_ = std::make_unique<State>(config);
}
Cell::~Cell() = default;
Cell::Cell(Cell&&) noexcept = default;
Cell& Cell::operator=(Cell&&) noexcept = default;

void Cell::command(const Pose& base_flange) {
  requireFinite(base_flange, "the commanded pose");
  state_->commanded = base_flange;
}

void Cell::advance(double seconds) {
  requireNotNegative(seconds, "the time to pass");
  if (seconds == 0.0) return;
  State& s = *state_;
  if (s.config.lag == 0.0) {
    s.flange = s.commanded;
  } else {
    const double part = -std::expm1(-seconds / s.config.lag);
    const Vector3d from = position(s.flange);
    s.flange = poseOf(from + part * (position(s.commanded) - from),
                      orientation(s.flange).slerp(part, orientation(s.commanded)));
  }
  const Vector3d before = s.p_base_tip;
  s.p_base_tip = s.tipNow();
  s.velocity = (s.p_base_tip - before) / seconds;
}

Pose Cell::flange() const {
  return state_->flange;
}

double Cell::penetration() const {
  return std::max(0.0, state_->touch().depth);
}

Wrench Cell::contact() const {
  const State& s = *state_;
  return wrenchOf(s.inSensor(s.contactForce()), s.p_sensor_tip);
}

Wrench Cell::reading() {
  State& s = *state_;
  const auto& [weight, centre] = s.config.load;
  const Wrench gravity =
      wrenchOf(s.inSensor(-weight * Vector3d::UnitZ()), Vector3d(centre[0], centre[1], centre[2]));
  Wrench wrench = contact();
  for (int i = 0; i < 6; ++i) {
    const double noise = i < 3 ? s.config.force_noise : s.config.torque_noise;
    wrench[i] += gravity[i] + s.config.offset[i] + noise * s.normal(s.random);
    if (s.config.quantise) wrench[i] = std::round(wrench[i] * 1000.0) / 1000.0;
  }
  return wrench;
}

}  // namespace zel::sim
