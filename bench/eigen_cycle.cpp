#include "eigen_cycle.h"

#include <cmath>
#include <cstring>

namespace eigen_cycle {

using Eigen::AngleAxisd;
using Eigen::Isometry3d;
using Eigen::Matrix3d;
using Eigen::Vector3d;

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

}  // namespace

Approach::Approach(const Config& config)
    : c_(config),
      T_flange_sensor_(transformOf(config.flange_sensor)),
      T_sensor_tool_(transformOf(config.sensor_tool)),
      T_sensor_flange_(T_flange_sensor_.inverse()),
      T_base_start_(Isometry3d::Identity()),
      X_tool_sensor_(wrenchTransform(T_sensor_tool_.inverse())) {}

void Approach::feed(const double* wrench) {
  fed_ = Eigen::Map<const Vector6>(wrench);
  ++counter_;
}

int Approach::cycle(double* out, const double* now, zel_ftc_error* err) {
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
    started_ = std::chrono::system_clock::now();
    start_ = pose;
    T_base_start_ = transformOf(start_);
    forceLead_ = gainLead_ = {};
    last_.IPOC = 0;
    running_ = true;
  }
  if (allMarked(stalls_, last_.IPOC == info_.IPOC)) return fail(10001, "Sensor timed out!!!");
  last_ = info_;
  if ((raw.array().abs() > c_.maxLoad.array()).any()) return fail(10002, "Sensor overload!!!");

  // Measurement
  const Isometry3d T_base_now = transformOf(pose);
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
  if ((force_.array().abs() > c_.permitted.array()).any()) {
    return fail(11000, "Exceed the monitoring force value!!!");
  }

  // Controller
  Vector6 offset = Vector6::Zero();
  if (phase_ == 0) {
    const double e = c_.expected[c_.direction];
    offset[offsetOfForce[c_.direction]] = std::fabs(e) / e * c_.speed * c_.period;
    if (force_.tail<3>().norm() > c_.touchTorque || force_.head<3>().norm() > c_.touchForce) {
      phase_ = 1;
      std::memset(settled_, 0, sizeof settled_);
    }
  } else {
    for (int k = 0; k < 6; ++k) {
      offset[offsetOfForce[k]] = (force_[k] + c_.expected[k]) * c_.gain[k];
    }
    forceLead_.step(c_.expected[c_.direction], 200.0, c_.period);
    gainLead_.step(c_.gain[c_.direction], 200.0, c_.period);
    offset[c_.direction] = (force_[c_.direction] + forceLead_.v1) * gainLead_.v1;
  }
  history_[3] = history_[2];
  history_[2] = history_[1];
  history_[1] = history_[0];
  history_[0] = force_;

  // Correction
  const Isometry3d T_base_expect = c_.sharesCurrentPose ? T_base_now : transformOf(pose);
  const Isometry3d T_offset = transformOf(offset);
  Isometry3d corrected;
  switch (c_.rcs) {
    case TOOL: {
      Isometry3d turned = T_base_expect;
      turned.linear() =
          T_base_expect.linear() * T_flange_sensor_.linear() * T_sensor_tool_.linear();
      corrected = turned * T_offset;
      break;
    }
    case SENSOR:
      corrected = T_base_expect * T_sensor_flange_ * T_flange_sensor_ * T_offset;
      break;
    default:
      corrected = T_offset * T_base_expect;
      break;
  }
  Vector6 command = poseOf(corrected);
  command.head<3>() =
      command.head<3>().cwiseMax(start_.head<3>() + c_.lower).cwiseMin(start_.head<3>() + c_.upper);

  // Termination
  const Isometry3d T_base_end = c_.sharesCurrentPose ? T_base_now : transformOf(pose);
  const Vector6 travelled = poseOf(T_base_end.inverse() * T_base_start_);
  if (travelled.head<3>().norm() > c_.pathLimit || travelled.tail<3>().norm() > c_.angleLimit) {
    return fail(11005, "Exceeding the total correction value!!!");
  }
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::system_clock::now() - started_);
  if (static_cast<double>(elapsed.count()) > c_.timeOut) {
    return fail(11006, "Contact mode timeout!!!");
  }
  bool settled = true;
  for (int i = 0; i < 6; ++i) {
    const double error6 = std::fabs(c_.expected[i] + force_[i]);
    if (c_.band[i] != 0.0 && error6 > c_.band[i]) settled = false;
  }
  if (allMarked(settled_, settled) && travelled.head<3>().norm() > c_.minPath) {
    return fail(80001, "End.");
  }

  command.head<3>() *= 1000.0;
  Eigen::Map<Vector6>(out, 6) = command;
  error.code = 80000;
  writeText(error.err_msg, "Running.");
  err->ftc_code = error.code;
  return 1;
}

}  // namespace eigen_cycle
