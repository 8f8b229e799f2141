// Preparation of a line or an arc, and the conversions between caller poses and internal ones.
#include <cmath>

#include "robot/ZelFTCTool.h"

namespace {

/// Brings an angle of atan2 into [0, 2 pi).
double positiveAngle(double angle) {
  return angle < 0.0 ? angle + 2.0 * 3.141592653589793 : angle;
}

RVector quaternionOf(const RVector& pose) {
  RVector q(4);
  RVector::Ori2Quaternion(RMatrix::Pos2TR(pose, ZYX), q);
  return q;
}

RVector positionOf(const RVector& pose) {
  return RVector(pose.value, 3);
}

}  // namespace

void ZelFTCTool::pose2RVector(RVector& rv, const double* pose) {
  for (int i = 0; i < 3; ++i) {
    rv.value[i] = 0.001 * pose[i];
    rv.value[i + 3] = pose[i + 3];
  }
}

void ZelFTCTool::RVector2pose(zel_pose& pose, const RVector& rv) {
  for (int i = 0; i < 3; ++i) {
    pose[i] = 1000.0 * rv.value[i];
    pose[i + 3] = rv.value[i + 3];
  }
}

void ZelFTCTool::getMoveLRVector(RVector& rv_q, const RVector& rv_a, const RVector& rv_b) {
  const RVector travel = positionOf(rv_b) - positionOf(rv_a);
  const RVector turn = quaternionOf(rv_b) - quaternionOf(rv_a);
  const double steps = RVector::norm(travel) / trackingMotionConfig.setDesiredSpeed / timeStep;
  rv_q = RVector::catRVector(travel, turn) / steps;
  moveLData.stepMax = steps;
  moveLData.stepNow = 1.0;
}

void ZelFTCTool::getMoveCRVector(const RVector& rv_a, const RVector& rv_b, const RVector& rv_c) {
  const RVector P1 = positionOf(rv_a), P2 = positionOf(rv_b), P3 = positionOf(rv_c);
  const RVector q_a = quaternionOf(rv_a), q_b = quaternionOf(rv_b), q_c = quaternionOf(rv_c);

  // The centre lies in the plane of the three points and at the same distance from them.
  const RVector n = RVector::cross3(P1 - P3, P2 - P3);
  const RVector rows[3] = {n, P2 - P1, P3 - P2};
  RMatrix A(3, 3);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) A.value[i][j] = rows[i].value[j];
  }
  const double square1 = RVector::dotRVector(P1, P1);
  const double square2 = RVector::dotRVector(P2, P2);
  const double square3 = RVector::dotRVector(P3, P3);
  RVector b(3);
  b.value[0] = RVector::dotRVector(n, P3);
  b.value[1] = (square2 - square1) / 2.0;
  b.value[2] = (square3 - square2) / 2.0;

  const RMatrix At = RMatrix::RTranspose(A);
  RMatrix inverse(3, 3);
  RMatrix::RMatrixInv2(At * A, inverse);
  const RVector centre = inverse * At * b;
  const RVector spoke = P1 - centre;
  const double radius = RVector::norm(spoke);

  // Circle frame: x towards the start point, z along the plane normal.
  const RVector x = spoke / radius;
  const RVector z = n / RVector::norm(n);
  const RVector y = RVector::cross3(z, x);
  const RVector columns[4] = {x, y, z, centre};
  for (int j = 0; j < 4; ++j) {
    for (int i = 0; i < 3; ++i) moveCData.conversionMatrix[i][j] = columns[j].value[i];
    moveCData.conversionMatrix[3][j] = j == 3 ? 1.0 : 0.0;
  }

  const RMatrix T_circle_base = RMatrix::TrInv(RMatrix(moveCData.conversionMatrix, 4));
  const auto angleOf = [&](const RVector& P) {
    const double homogeneous[4] = {P.value[0], P.value[1], P.value[2], 1.0};
    const RVector p = T_circle_base * RVector(homogeneous, 4);
    return positiveAngle(std::atan2(p.value[1], p.value[0]));
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
