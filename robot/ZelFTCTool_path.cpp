// Preparation of a line or an arc, and the conversions between caller poses and internal ones.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "matrix/inverse.h"
#include "matrix/rigidtransform.h"
#include "matrix/vectorops.h"
#include "robot/ZelFTCTool.h"

namespace {

/// Brings an angle of atan2 into [0, 2 pi).
double positiveAngle(double angle) {
  return angle < 0.0 ? angle + 2.0 * 3.141592653589793 : angle;
}

RVector quaternionOf(const RVector& pose) {
  RVector q(4);
  zel::quaternionFromRotation(zel::transformFromPose(pose.value).row, q.value, 4);
  return q;
}

RVector positionOf(const RVector& pose) {
  RVector p(3);
  std::copy_n(pose.value, 3, p.value);
  return p;
}

}  // namespace

void ZelFTCTool::pose2RVector(RVector& rv, double* pose) {
  for (int i = 0; i < 3; ++i) {
    rv.value[i] = 0.001 * pose[i];
    rv.value[i + 3] = pose[i + 3];
  }
}

void ZelFTCTool::RVector2pose(zel_pose& pose, RVector rv) {
  writePose(pose, rv);
}

void ZelFTCTool::writePose(double* pose, const RVector& rv) {
  for (int i = 0; i < 3; ++i) {
    pose[i] = 1000.0 * rv.value[i];
    pose[i + 3] = rv.value[i + 3];
  }
}

void ZelFTCTool::getMoveLRVector(RVector& rv_q, RVector rv_a, RVector rv_b) {
  const RVector travel = positionOf(rv_b) - positionOf(rv_a);
  const RVector turn = quaternionOf(rv_b) - quaternionOf(rv_a);
  const double steps = zel::norm(travel) / trackingMotionConfig.setDesiredSpeed / timeStep;
  rv_q = zel::joined(travel, turn) / steps;
  moveLData.stepMax = steps;
  moveLData.stepNow = 1.0;
}

void ZelFTCTool::getMoveCRVector(RVector rv_a, RVector rv_b, RVector rv_c) {
  const RVector P1 = positionOf(rv_a), P2 = positionOf(rv_b), P3 = positionOf(rv_c);
  const RVector q_a = quaternionOf(rv_a), q_b = quaternionOf(rv_b), q_c = quaternionOf(rv_c);

  // The centre lies in the plane of the three points and at the same distance from them.
  const RVector n = zel::cross(P1 - P3, P2 - P3);
  const RVector rows[3] = {n, P2 - P1, P3 - P2};
  double A[3][3];
  for (int i = 0; i < 3; ++i) std::copy_n(rows[i].value, 3, A[i]);
  const double square1 = zel::dot(P1, P1), square2 = zel::dot(P2, P2), square3 = zel::dot(P3, P3);
  const double b[3] = {zel::dot(n, P3), (square2 - square1) / 2.0, (square3 - square2) / 2.0};
  RVector centre(3);
  zel::solveNormalEquations(A, b, 3, centre.value);
  const RVector spoke = P1 - centre;
  const double radius = zel::norm(spoke);

  // Circle frame: x towards the start point, z along the plane normal.
  const RVector x = spoke / radius;
  const RVector z = n / zel::norm(n);
  const RVector y = zel::cross(z, x);
  const RVector columns[4] = {x, y, z, centre};
  for (int j = 0; j < 4; ++j) {
    for (int i = 0; i < 3; ++i) moveCData.conversionMatrix[i][j] = columns[j].value[i];
    moveCData.conversionMatrix[3][j] = j == 3 ? 1.0 : 0.0;
  }

  zel::RigidTransform T_base_circle;
  std::memcpy(T_base_circle.row, moveCData.conversionMatrix, sizeof T_base_circle.row);
  const zel::RigidTransform T_circle_base = zel::inverse(T_base_circle);
  const auto angleOf = [&](const RVector& P) {
    double p[2];
    for (int i = 0; i < 2; ++i) {
      const double* T = T_circle_base.row[i];
      p[i] = 0.0 + T[0] * P.value[0] + T[1] * P.value[1] + T[2] * P.value[2] + T[3];
    }
    return positiveAngle(std::atan2(p[1], p[0]));
  };
  const double viaAngle = angleOf(P2);
  const double endAngle = angleOf(P3);

  for (int i = 0; i < 3; ++i) moveCData.centerOfCircle[i] = centre.value[i];
  moveCData.radius = radius;
  // Clockwise sweeps do not mirror the via angle.
  moveCData.radian = endAngle > viaAngle ? endAngle : -(6.283185307179586 - endAngle);
  moveCData.radian_b = viaAngle;
  const double speed = trackingMotionConfig.setDesiredSpeed;
  moveCData.stepB = std::fabs(radius * moveCData.radian_b) / speed / timeStep;
  moveCData.stepMax = std::fabs(radius * moveCData.radian) / speed / timeStep;
  moveCData.stepNow = 1.0;

  for (int j = 0; j < 4; ++j) {
    MoveCrv_c_q.value[3 + j] =
        (q_c.value[j] - q_b.value[j]) / (moveCData.stepMax - moveCData.stepB);
    MoveCrv_b_q.value[3 + j] = (q_b.value[j] - q_a.value[j]) / moveCData.stepB;
  }
}
