// Where a position lies beside a line or an arc.
#include <Eigen/Geometry>

#include "examples/common.h"

namespace example {
namespace {

using Eigen::Vector3d;

Vector3d position(const Pose& pose) {
  return Vector3d(pose.data());
}

Vector3d pressing(const Pose& pose) {
  return Vector3d(zAxis(pose).data());
}

}  // namespace

std::array<double, 3> zAxis(Pose pose) {
  double q[7];
  zel_rpy2quaternion(q, pose.data());
  const Vector3d z = Eigen::Quaterniond(q[3], q[4], q[5], q[6]) * Vector3d::UnitZ();
  return {z.x(), z.y(), z.z()};
}

Side besideLine(const Pose& start, const Pose& end) {
  const Vector3d from = position(start);
  const Vector3d sideways = (position(end) - from).cross(pressing(start)).normalized();
  return [=](const Pose& pose) { return (position(pose) - from).dot(sideways); };
}

Side besideArc(const Pose& start, const Pose& via, const Pose& end) {
  // Circumscribed circle of a triangle with v and w the sides from its corner a:
  // a + (|v|^2 w - |w|^2 v) x (v x w) / (2 |v x w|^2).
  const Vector3d a = position(start), v = position(via) - a, w = position(end) - a;
  const Vector3d n = v.cross(w);
  const Vector3d toCentre =
      (v.squaredNorm() * w - w.squaredNorm() * v).cross(n) / (2.0 * n.squaredNorm());
  const Vector3d centre = a + toCentre;
  const Eigen::Hyperplane<double, 3> plane(n.normalized(), a);
  return [=](const Pose& pose) {
    return (plane.projection(position(pose)) - centre).norm() - toCentre.norm();
  };
}

double besideEnd(const Pose& pose, const Pose& end) {
  return pressing(end).cross(position(pose) - position(end)).norm();
}

}  // namespace example
