// What the control cycle computes from a pose and keeps until the pose changes.
#ifndef ZEL_FTC_ROBOT_KEPTTRANSFORM_H
#define ZEL_FTC_ROBOT_KEPTTRANSFORM_H

#include <emmintrin.h>

#include "matrix/rigidtransform.h"
#include "matrix/rvector.h"

namespace zel {

/// The pose that something kept belongs to; at first the zero pose. Compared bit by bit, so that
/// what is kept is always what would be computed.
class KeptPose {
 public:
  bool is(const RVector& pose) const {
    __m128i equal = _mm_set1_epi8(-1);
    for (int i = 0; i < 6; i += 2) {
      const __m128i kept = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&pose_[i]));
      const __m128i given = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&pose.value[i]));
      equal = _mm_and_si128(equal, _mm_cmpeq_epi8(kept, given));
    }
    return _mm_movemask_epi8(equal) == 0xFFFF;
  }

  void take(const RVector& pose) {
    for (int i = 0; i < 6; ++i) pose_[i] = pose.value[i];
  }

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
  RigidTransform T_ = {{{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}}}};
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
  RigidTransform T_ = {{{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}}}};
  RigidTransform inverse_ = zel::inverse(T_);
  RigidTransform rotation_ = zel::rotationOf(T_);
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
    constexpr Pair zero = {0.0, 0.0};
    Pair sum[3] = {zero, zero, zero};
    for (int j = 0; j < 6; ++j) {
      for (int i = 0; i < 3; ++i) sum[i] += columnPair_[j][i] * wrench_sensor[j];
    }
    for (int i = 0; i < 3; ++i) {
      wrench_rcs[2 * i] = sum[i][0];
      wrench_rcs[2 * i + 1] = sum[i][1];
    }
  }

 private:
  void take(const RVector& pose);

  KeptPose pose_;
  union {
    double column_[6][6] = {};
    Pair columnPair_[6][3];
  };
};

}  // namespace zel

#endif
