// What the control cycle computes from a pose and keeps until the pose changes. Internal: not
// installed.
#ifndef ZEL_FTC_ROBOT_KEPTTRANSFORM_H
#define ZEL_FTC_ROBOT_KEPTTRANSFORM_H

#include <cstring>
#include <new>
#include <type_traits>

#include "matrix/rigidtransform.h"
#include "matrix/rvector.h"
#include "robot/ZelFTCTool.h"

namespace zel {

/// The pose that something kept belongs to; at first the zero pose. Compared bit by bit, so that
/// what is kept is always what would be computed.
class KeptPose {
 public:
  bool is(const RVector& pose) const {
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): the bits are what is meant
    return std::memcmp(pose_, pose.value, sizeof pose_) == 0;
  }
  void take(const RVector& pose) { std::memcpy(pose_, pose.value, sizeof pose_); }

 private:
  double pose_[6] = {};
};

/// The transform of a pose: the current pose is transformed once per cycle, whoever asks first.
class KeptTransform {
 public:
  const RigidTransform& of(const RVector& pose) {
    if (!pose_.is(pose)) {
      pose_.take(pose);
      T_ = transformFromPose(pose.value);
    }
    return T_;
  }

 private:
  KeptPose pose_;
  RigidTransform T_ = identity;
};

/// What the cycle needs of a pose that only configuration changes: computed once.
class KeptMounting {
 public:
  const RigidTransform& of(const RVector& pose) { return at(pose).T_; }
  const RigidTransform& inverseOf(const RVector& pose) { return at(pose).inverse_; }
  const RigidTransform& rotationOf(const RVector& pose) { return at(pose).rotation_; }

 private:
  const KeptMounting& at(const RVector& pose) {
    if (!pose_.is(pose)) {
      pose_.take(pose);
      T_ = transformFromPose(pose.value);
      inverse_ = zel::inverse(T_);
      rotation_ = zel::rotationOf(T_);
    }
    return *this;
  }

  KeptPose pose_;
  RigidTransform T_ = identity;
  RigidTransform inverse_ = zel::inverse(identity);
  RigidTransform rotation_ = identity;
};

/// The 6 x 6 transform that expresses a sensor-frame wrench (force, torque) in the frame with the
/// given pose on the sensor: force R f, torque R m + p x (R f) with (R, p) the inverse of the pose.
class KeptWrenchTransform {
 public:
  KeptWrenchTransform() {
    for (int i = 0; i < 6; ++i) column_[i][i] = 1.0;
  }

  /// wrench_rcs = X * wrench_sensor, six values each; sums run over the columns from 0.0.
  void apply(const RVector& pose, const double* wrench_sensor, double* wrench_rcs) {
    if (!pose_.is(pose)) take(pose);
    double sum[6] = {};
    for (int j = 0; j < 6; ++j) {
      for (int i = 0; i < 6; ++i) sum[i] += column_[j][i] * wrench_sensor[j];
    }
    std::memcpy(wrench_rcs, sum, sizeof sum);
  }

 private:
  void take(const RVector& pose);

  KeptPose pose_;
  double column_[6][6] = {};
};

}  // namespace zel

/// Lives in the storage that a tool sets aside for it and is copied with it, byte for byte.
struct ZelFTCTool::Kept {
  zel::KeptTransform T_base_now, T_base_start;
  zel::KeptMounting T_flange_sensor, T_flange_pos_tool, T_sensor_tool;
  zel::KeptWrenchTransform X_rcs_sensor;
};

inline ZelFTCTool::Kept& ZelFTCTool::kept() {
  static_assert(sizeof(Kept) == sizeof keptStorage && alignof(Kept) <= 16);
  static_assert(std::is_trivially_copyable_v<Kept>);
  return *std::launder(reinterpret_cast<Kept*>(keptStorage));
}

#endif
