#include "eigen_cycle.h"

#include <cmath>
#include <cstring>

namespace eigen_cycle {

using Eigen::AngleAxisd;
using Eigen::Isometry3d;
using Eigen::Matrix3d;
using Eigen::Vector3d;
using Eigen::Vector4d;

Isometry3d transformOf(const Vector6& pose) {
  Isometry3d T = Isometry3d::Identity();
  T.linear() = (AngleAxisd(pose[3], Vector3d::UnitZ()) * AngleAxisd(pose[4], Vector3d::UnitY()) *
                AngleAxisd(pose[5], Vector3d::UnitX()))
                   .toRotationMatrix();
  T.translation() = pose.head<3>();
  return T;
}

Vector6 poseOf(const Isometry3d& T) {
  const auto R = T.linear();
  Vector6 pose;
  pose.head<3>() = T.translation();
  if (std::fabs(R(0, 0)) < 1e-16 && std::fabs(R(1, 0)) < 1e-16) {
    pose[3] = 0.0;
    pose[4] = std::atan2(-R(2, 0), R(0, 0));
    pose[5] = std::atan2(-R(1, 2), R(1, 1));
    return pose;
  }
  const double a = std::atan2(R(1, 0), R(0, 0));
  const double s = std::sin(a), k = std::cos(a);
  pose[3] = a;
  pose[4] = std::atan2(-R(2, 0), R(0, 0) * k + R(1, 0) * s);
  pose[5] = std::atan2(R(0, 2) * s - R(1, 2) * k, R(1, 1) * k - R(0, 1) * s);
  return pose;
}

void Differentiator::step(double target, double r, double t) {
  const double d = r * t, d0 = t * d;
  const double y = (v1 - target) + t * v2;
  const double a0 = std::sqrt(d * d + 8.0 * r * std::fabs(y));
  const double a = std::fabs(y) > d0 ? v2 + (a0 - d) / 2.0 * (y / std::fabs(y)) : v2 + y / t;
  const double u = std::fabs(a) > d ? -r * a / std::fabs(a) : -r * a / d;
  v1 += v2 * t;
  v2 += u * t;
}

namespace {

Matrix6 wrenchTransform(const Isometry3d& T) {
  const Matrix3d R = T.linear();
  const Vector3d p = T.translation();
  Matrix3d P;
  P << 0, -p.z(), p.y(), p.z(), 0, -p.x(), -p.y(), p.x(), 0;
  Matrix6 X = Matrix6::Zero();
  X.topLeftCorner<3, 3>() = R;
  X.bottomLeftCorner<3, 3>() = P * R;
  X.bottomRightCorner<3, 3>() = R;
  return X;
}

bool allMarked(int (&history)[20], bool mark) {
  int sum = mark;
  for (int i = 0; i < 19; ++i) {
    history[i] = history[i + 1];
    sum += history[i];
  }
  history[19] = mark;
  return sum == 20;
}

void writeText(char* to, const char* text) {
  std::memcpy(to, text, std::strlen(text) + 1);
}

constexpr int offsetOfForce[6] = {0, 1, 2, 5, 4, 3};

/// Position and quaternion (w, x, y, z).
Vector7 withQuaternion(const Isometry3d& T) {
  const Eigen::Quaterniond q(T.linear());
  Vector7 pose;
  pose << T.translation(), q.w(), q.x(), q.y(), q.z();
  return pose;
}

/// The quaternion is not normalised.
Isometry3d transformOfQuaternion(const Vector7& pose) {
  const double w = pose[3], x = pose[4], y = pose[5], z = pose[6];
  Isometry3d T = Isometry3d::Identity();
  T.linear() << 2 * (w * w + x * x) - 1, 2 * (x * y - w * z), 2 * (x * z + w * y),  //
      2 * (x * y + w * z), 2 * (w * w + y * y) - 1, 2 * (y * z - w * x),            //
      2 * (x * z - w * y), 2 * (y * z + w * x), 2 * (w * w + z * z) - 1;
  T.translation() = pose.head<3>();
  return T;
}

}  // namespace

// ---- what all runs do alike --------------------------------------------------------------------

template <typename Mode>
Run<Mode>::Run(const Config& config)
    : c_(config),
      T_flange_sensor_(transformOf(config.flange_sensor)),
      T_sensor_tool_(transformOf(config.sensor_tool)),
      T_sensor_flange_(T_flange_sensor_.inverse()),
      X_tool_sensor_(wrenchTransform(T_sensor_tool_.inverse())) {}

template <typename Mode>
void Run<Mode>::feed(const double* wrench) {
  fed_ = Eigen::Map<const Vector6>(wrench);
  ++counter_;
}

template <typename Mode>
void Run<Mode>::measure(const Isometry3d& T_base_now, const Vector6& raw) {
  const Isometry3d T_base_sensor = T_base_now * T_flange_sensor_;
  const Vector3d up = T_base_sensor.linear().row(2);
  Vector6 gravity;
  gravity.head<3>() = c_.weight * up;
  gravity.tail<3>() = c_.centre.cross(gravity.head<3>());
  const Vector6 wrench = raw + gravity - zero_;
  const Vector6 toolWrench = X_tool_sensor_ * wrench;
  switch (c_.rcs) {
    case TOOL:
      force_ = toolWrench;
      break;
    case SENSOR:
      force_ = wrench;
      break;
    default:
      force_.setZero();
      break;
  }
  for (int i = 0; i < 3; ++i) {
    if (c_.deadForce > std::fabs(force_[i])) force_[i] = 0.0;
    if (c_.deadTorque > std::fabs(force_[i + 3])) force_[i + 3] = 0.0;
  }
}

template <typename Mode>
Vector6 Run<Mode>::perAxisLaw() const {
  Vector6 offset;
  for (int k = 0; k < 6; ++k) {
    offset[offsetOfForce[k]] = (force_[k] + c_.expected[k]) * c_.gain[k];
  }
  return offset;
}

template <typename Mode>
Isometry3d Run<Mode>::offsetInFrame(const Isometry3d& T, const Isometry3d& T_offset) const {
  switch (c_.rcs) {
    case TOOL:
      return T * T_offset;
    case SENSOR:
      return T * T_sensor_flange_ * T_flange_sensor_ * T_offset;
    default:
      return T_offset * T;
  }
}

template <typename Mode>
int Run<Mode>::cycle(double* out, const double* now, zel_ftc_error* err) {
  Mode& mode = static_cast<Mode&>(*this);
  info_.code = FT_N0RMAL;
  info_.IPOC = counter_;
  writeText(info_.code_info, "The sensor is operating normally.");
  const Vector6 raw = fed_;
  zel_error error;
  err->ft_code = error.sensor_code = info_.code;
  err->ft_ipoc = error.sensor_ipoc = info_.IPOC;

  const auto fail = [&](int code, const char* text) {
    running_ = false;
    error.code = code;
    writeText(error.err_msg, text);
    std::memcpy(out, now, 6 * sizeof(double));
    err->ftc_code = code;
    return 0;
  };

  Vector6 pose = Eigen::Map<const Vector6>(now);
  pose.head<3>() *= 0.001;
  if (!running_) {
    mode.start(pose);
    last_.IPOC = 0;
    running_ = true;
  }
  if (allMarked(stalls_, last_.IPOC == info_.IPOC)) return fail(10001, "Sensor timed out!!!");
  last_ = info_;
  if ((raw.array().abs() > c_.maxLoad.array()).any()) return fail(10002, "Sensor overload!!!");

  const Isometry3d T_base_now = transformOf(pose);
  measure(T_base_now, raw);
  if ((force_.array().abs() > c_.permitted.array()).any()) {
    return fail(11000, "Exceed the monitoring force value!!!");
  }

  const Vector6 offset = mode.request();
  history_[3] = history_[2];
  history_[2] = history_[1];
  history_[1] = history_[0];
  history_[0] = force_;

  const Isometry3d T_base_expect = c_.sharesCurrentPose ? T_base_now : transformOf(pose);
  Vector6 command = mode.correct(T_base_expect, transformOf(offset));

  const Result result = mode.result(T_base_now, pose);
  if (result.code != 80000) return fail(result.code, result.text);
  command.head<3>() *= 1000.0;
  Eigen::Map<Vector6>(out, 6) = command;
  error.code = result.code;
  writeText(error.err_msg, result.text);
  err->ftc_code = error.code;
  return 1;
}

// ---- approach ----------------------------------------------------------------------------------

Approach::Approach(const Config& config, const ApproachConfig& approach)
    : Run(config), a_(approach) {}

void Approach::start(const Vector6& pose) {
  started_ = std::chrono::system_clock::now();
  start_ = pose;
  T_base_start_ = transformOf(start_);
  forceLead_ = gainLead_ = {};
}

Vector6 Approach::request() {
  const int d = a_.direction;
  if (phase_ == 0) {
    Vector6 offset = Vector6::Zero();
    const double e = c_.expected[d];
    offset[offsetOfForce[d]] = std::fabs(e) / e * a_.speed * c_.period;
    if (force_.tail<3>().norm() > a_.touchTorque || force_.head<3>().norm() > a_.touchForce) {
      phase_ = 1;
      std::memset(settled_, 0, sizeof settled_);
    }
    return offset;
  }
  Vector6 offset = perAxisLaw();
  forceLead_.step(c_.expected[d], 200.0, c_.period);
  gainLead_.step(c_.gain[d], 200.0, c_.period);
  offset[d] = (force_[d] + forceLead_.v1) * gainLead_.v1;
  return offset;
}

Vector6 Approach::correct(const Isometry3d& T_base_expect, const Isometry3d& T_offset) {
  Isometry3d T = T_base_expect;
  if (c_.rcs == TOOL) {
    T.linear() = T_base_expect.linear() * T_flange_sensor_.linear() * T_sensor_tool_.linear();
  }
  Vector6 command = poseOf(offsetInFrame(T, T_offset));
  command.head<3>() =
      command.head<3>().cwiseMax(start_.head<3>() + a_.lower).cwiseMin(start_.head<3>() + a_.upper);
  return command;
}

Approach::Result Approach::result(const Isometry3d& T_base_now, const Vector6& pose) {
  const Isometry3d T_base_end = c_.sharesCurrentPose ? T_base_now : transformOf(pose);
  const Vector6 travelled = poseOf(T_base_end.inverse() * T_base_start_);
  if (travelled.head<3>().norm() > a_.pathLimit || travelled.tail<3>().norm() > a_.angleLimit) {
    return {11005, "Exceeding the total correction value!!!"};
  }
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::system_clock::now() - started_);
  if (static_cast<double>(elapsed.count()) > a_.timeOut) return {11006, "Contact mode timeout!!!"};
  bool settled = true;
  for (int i = 0; i < 6; ++i) {
    const double error6 = std::fabs(c_.expected[i] + force_[i]);
    if (c_.band[i] != 0.0 && error6 > c_.band[i]) settled = false;
  }
  if (allMarked(settled_, settled) && travelled.head<3>().norm() > a_.minPath) {
    return {80001, "End."};
  }
  return {80000, "Running."};
}

// ---- tracking ----------------------------------------------------------------------------------

Line::Line(const Vector6& start, const Vector6& end, double speed, double period) {
  stepMax_ = (end - start).head<3>().norm() / speed / period;
  step_ = (withQuaternion(transformOf(end)) - withQuaternion(transformOf(start))) / stepMax_;
}

Vector7 Line::advance(const Vector7& expect, Vector7& nominal) {
  nominal += step_;
  now_ += 1.0;
  return expect + step_;
}

Arc::Arc(const Vector6& start, const Vector6& via, const Vector6& end, double speed,
         double period) {
  const Vector3d P1 = start.head<3>(), P2 = via.head<3>(), P3 = end.head<3>();
  const Vector3d n = (P1 - P3).cross(P2 - P3);
  Matrix3d A;
  A << n.transpose(), (P2 - P1).transpose(), (P3 - P2).transpose();
  const Vector3d b(n.dot(P3), (P2.squaredNorm() - P1.squaredNorm()) / 2,
                   (P3.squaredNorm() - P2.squaredNorm()) / 2);
  const Vector3d centre = A.inverse() * b;
  radius_ = (P1 - centre).norm();
  T_base_circle_ = Isometry3d::Identity();
  T_base_circle_.linear().col(0) = (P1 - centre) / radius_;
  T_base_circle_.linear().col(2) = n.normalized();
  T_base_circle_.linear().col(1) = n.normalized().cross((P1 - centre) / radius_);
  T_base_circle_.translation() = centre;
  const auto angleOf = [&](const Vector3d& P) {
    const Vector3d p = T_base_circle_.inverse() * P;
    const double angle = std::atan2(p.y(), p.x());
    return angle < 0 ? angle + 2 * M_PI : angle;
  };
  sweep_ = angleOf(P3);
  stepVia_ = radius_ * angleOf(P2) / speed / period;
  stepMax_ = radius_ * sweep_ / speed / period;
  const Vector4d q1 = withQuaternion(transformOf(start)).tail<4>();
  const Vector4d q2 = withQuaternion(transformOf(via)).tail<4>();
  const Vector4d q3 = withQuaternion(transformOf(end)).tail<4>();
  turnToVia_ = (q2 - q1) / stepVia_;
  turnToEnd_ = (q3 - q2) / (stepMax_ - stepVia_);
}

Vector3d Arc::pointAt(double angle) const {
  return T_base_circle_ * Vector3d(radius_ * std::cos(angle), radius_ * std::sin(angle), 0.0);
}

Vector7 Arc::advance(const Vector7& expect, Vector7& nominal) {
  Vector7 step;
  step.head<3>() = pointAt(now_ * sweep_ / stepMax_) - pointAt((now_ - 1.0) * sweep_ / stepMax_);
  step.tail<4>() = stepVia_ > now_ ? turnToVia_ : turnToEnd_;
  nominal += step;
  now_ += 1.0;
  return expect + step;
}

template <typename Path>
Tracking<Path>::Tracking(const Config& config, const Path& path, const Vector6& pathStart)
    : Base(config), path_(path), pathStart_(pathStart) {}

template <typename Path>
void Tracking<Path>::start(const Vector6& /*pose*/) {
  nominal_ = withQuaternion(transformOf(pathStart_));
}

template <typename Path>
Vector6 Tracking<Path>::correct(const Isometry3d& T_base_expect, const Isometry3d& T_offset) {
  const Vector7 next = path_.advance(withQuaternion(T_base_expect), nominal_);
  return poseOf(this->offsetInFrame(transformOfQuaternion(next), T_offset));
}

template <typename Path>
typename Tracking<Path>::Base::Result Tracking<Path>::result(const Isometry3d& /*T_base_now*/,
                                                             const Vector6& /*pose*/) {
  static constexpr int bitOfAxis[6] = {64, 32, 8, 4, 2, 1};
  const auto& last = this->history_;
  // The set point of the approach record is zero here: the error is the force itself.
  const Vector6 change =
      (last[2] - last[3]) + ((this->force_ - last[0]) + (last[0] - last[1]) + (last[1] - last[2]));
  int tripped = 0;
  for (int i = 0; i < 6; ++i) {
    const double jump = 8.0 * std::fabs(change[i]), range = this->c_.band[i];
    const bool beyond =
        (range > 0.0 && this->force_[i] > range) || (range < 0.0 && range > this->force_[i]);
    const bool trips = beyond && jump > std::fabs(range);
    jump_[i] = trips ? jump : 0.0;
    if (trips) tripped += bitOfAxis[i];
  }
  if (tripped != 0) return {80002 + tripped, "End."};
  if (path_.ended()) return {80001, "End."};
  return {80000, "Runing."};
}

template class Run<Approach>;
template class Tracking<Line>;
template class Run<Tracking<Line>>;
template class Tracking<Arc>;
template class Run<Tracking<Arc>>;

}  // namespace eigen_cycle
