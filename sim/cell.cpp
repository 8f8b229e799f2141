#include "sim/cell.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <stdexcept>
#include <string>

#include "matrix/loadmodel.h"
#include "matrix/rigidtransform.h"

namespace zel::sim {
namespace {

using Vector = std::array<double, 3>;

constexpr double metresPerMillimetre = 0.001;

/// Below this sliding speed (mm/s) friction fades in proportion, so that a tip at rest feels none.
constexpr double slidingSpeed = 0.05;

double dot(const Vector& a, const Vector& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Vector cross(const Vector& a, const Vector& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

Vector combine(double s, const Vector& a, double t, const Vector& b) {
  return {s * a[0] + t * b[0], s * a[1] + t * b[1], s * a[2] + t * b[2]};
}

Vector scaled(double s, const Vector& a) {
  return {s * a[0], s * a[1], s * a[2]};
}

/// v, given in the frame b, in the axes of the frame a of T_a_b.
Vector rotated(const RigidTransform& T, const Vector& v) {
  Vector out;
  for (int i = 0; i < 3; ++i) {
    out[i] = T.row[i][0] * v[0] + T.row[i][1] * v[1] + T.row[i][2] * v[2];
  }
  return out;
}

/// Column j of T: an axis of b for 0..2, the origin of b for 3, in the frame a.
Vector column(const RigidTransform& T, int j) {
  return {T.row[0][j], T.row[1][j], T.row[2][j]};
}

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

/// The rotation of `from` turned by the given part of the shortest turn to the rotation of `to`.
RigidTransform turned(const RigidTransform& from, const RigidTransform& to, double part) {
  const RigidTransform T_base_from = rotationOf(from), T_base_to = rotationOf(to);
  const RigidTransform T_from_to = inverse(T_base_from) * T_base_to;

  double q[4];
  quaternionFromRotation(T_from_to.row, q, 4);
  if (q[0] < 0.0) {
    for (double& value : q) value = -value;
  }
  const double sine = std::sqrt(q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  if (sine == 0.0) return T_base_to;
  const double half = part * std::atan2(sine, q[0]);
  const double scale = std::sin(half) / sine;
  const double step[4] = {std::cos(half), scale * q[1], scale * q[2], scale * q[3]};
  RigidTransform T_from_step = {};
  rotationFromQuaternion(step, T_from_step.row);
  return T_base_from * T_from_step;
}

}  // namespace

struct Cell::State {
  explicit State(const CellConfig& c)
      : config(c),
        T_flange_sensor(transformFromPose(c.flange_sensor.data())),
        T_base_surface(transformFromPose(c.surface.pose.data())),
        flange(c.start),
        commanded(c.start),
        random(c.seed) {
    tip = tipNow();
  }

  RigidTransform T_base_sensor() const {
    return transformFromPose(flange.data()) * T_flange_sensor;
  }

  Vector p_sensor_tip() const {
    return {config.sensor_tool[0], config.sensor_tool[1], config.sensor_tool[2]};
  }

  Vector tipNow() const {
    const RigidTransform T = T_base_sensor();
    return combine(1.0, rotated(T, p_sensor_tip()), 1.0, column(T, 3));
  }

  struct Touch {
    double depth;   ///< mm below the surface, negative above
    Vector normal;  ///< outward, base axes
  };

  Touch touch() const {
    const Vector outward = column(T_base_surface, 2);
    const double radius = config.surface.radius;
    const Vector fromOrigin = combine(1.0, tip, -1.0, column(T_base_surface, 3));
    if (radius == 0.0) return {-dot(fromOrigin, outward), outward};

    // A negative radius puts the centre in front of the surface: a hollow.
    const Vector fromCentre = combine(1.0, fromOrigin, radius, outward);
    const double distance = std::sqrt(dot(fromCentre, fromCentre));
    if (distance == 0.0) return {radius, outward};
    const double side = radius > 0.0 ? 1.0 : -1.0;
    return {side * (std::fabs(radius) - distance), scaled(side / distance, fromCentre)};
  }

  /// Contact force on the tip, base axes.
  Vector contactForce() const {
    const auto [depth, normal] = touch();
    if (depth <= 0.0) return {};
    const double away = dot(velocity, normal);
    const double press =
        std::max(0.0, config.surface.stiffness * depth - config.surface.damping * away);
    const Vector sliding = combine(1.0, velocity, -away, normal);
    const double speed = std::max(std::sqrt(dot(sliding, sliding)), slidingSpeed);
    return combine(press, normal, -config.surface.friction * press / speed, sliding);
  }

  CellConfig config;
  RigidTransform T_flange_sensor, T_base_surface;
  Pose flange, commanded;
  Vector tip;            ///< base, mm
  Vector velocity = {};  ///< of the tip, base axes, mm/s
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
    const RigidTransform T =
        turned(transformFromPose(s.flange.data()), transformFromPose(s.commanded.data()), part);
    for (int i = 0; i < 3; ++i) s.flange[i] += part * (s.commanded[i] - s.flange[i]);
    anglesFromRotation(T.row, s.flange.data() + 3);
  }
  const Vector before = s.tip;
  s.tip = s.tipNow();
  s.velocity = combine(1.0 / seconds, s.tip, -1.0 / seconds, before);
}

Pose Cell::flange() const {
  return state_->flange;
}

double Cell::penetration() const {
  return std::max(0.0, state_->touch().depth);
}

Wrench Cell::contact() const {
  const State& s = *state_;
  const Vector force = rotated(inverse(s.T_base_sensor()), s.contactForce());
  const Vector moment = cross(s.p_sensor_tip(), force);
  Wrench wrench;
  for (int i = 0; i < 3; ++i) {
    wrench[i] = force[i];
    wrench[i + 3] = metresPerMillimetre * moment[i];
  }
  return wrench;
}

Wrench Cell::reading() {
  State& s = *state_;
  Wrench gravity;
  const auto& [weight, centre] = s.config.load;
  gravityWrench(s.T_base_sensor().row[2], weight, metresPerMillimetre * centre[0],
                metresPerMillimetre * centre[1], metresPerMillimetre * centre[2], gravity.data());
  Wrench wrench = contact();
  for (int i = 0; i < 6; ++i) {
    const double noise = i < 3 ? s.config.force_noise : s.config.torque_noise;
    wrench[i] += s.config.offset[i] - gravity[i] + noise * s.normal(s.random);
    if (s.config.quantise) wrench[i] = std::round(wrench[i] * 1000.0) / 1000.0;
  }
  return wrench;
}

}  // namespace zel::sim
