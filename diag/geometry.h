// The little geometry that guard and check share, in mm. Internal: not installed.
#ifndef ZEL_FTC_DIAG_GEOMETRY_H
#define ZEL_FTC_DIAG_GEOMETRY_H

#include <cmath>

#include "matrix/rigidtransform.h"
#include "robot/ZelFTCTool.h"

namespace zel::diag {

struct Vector {
  double x, y, z;
};

inline Vector operator-(const Vector& a, const Vector& b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vector operator*(double s, const Vector& v) {
  return {s * v.x, s * v.y, s * v.z};
}
inline double dot(const Vector& a, const Vector& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vector cross(const Vector& a, const Vector& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double length(const Vector& v) {
  return std::sqrt(dot(v, v));
}
inline Vector firstThree(const double* v) {
  return {v[0], v[1], v[2]};
}

/// Angle of the rotation block of R, 0..pi.
template <typename Rows>
double angleOf(const Rows& R) {
  const Vector twiceSine = {R[2][1] - R[1][2], R[0][2] - R[2][0], R[1][0] - R[0][1]};
  return std::atan2(length(twiceSine), R[0][0] + R[1][1] + R[2][2] - 1.0);
}

/// Angle of the rotation from the orientation of one pose to that of the other, 0..pi.
inline double angleBetween(const double* a, const double* b) {
  return angleOf((inverse(transformFromPose(a)) * transformFromPose(b)).row);
}

/// The axis, in the base, along which an approach that starts at this pose searches when its main
/// direction is a force: of the base, of the flange, or of the flange turned by the mountings.
inline Vector searchAxis(const ZelFTCTool& tool, const double* start) {
  const ZelFTCTool::ZelFtcApproachConfig& c = tool.approachConfig;
  constexpr double base[6] = {};
  RigidTransform T = transformFromPose(c.rcs == WORLD || c.rcs == BASE ? base : start);
  if (c.rcs == TOOL) {
    T = T * transformFromPose(tool.FTconfig.flange_sensor.value) *
        transformFromPose(tool.FTconfig.sensor_tool.value);
  }
  const int d = c.mainDirection;
  return {T.row[0][d], T.row[1][d], T.row[2][d]};
}

}  // namespace zel::diag

#endif
