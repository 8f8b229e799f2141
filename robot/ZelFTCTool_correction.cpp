// From the displacement request to the corrected pose.
#include <cmath>

#include "robot/KeptTransform.h"
#include "robot/ZelFTCTool.h"

namespace {

/// Point of a circle in the base: M * (r cos a, r sin a, 0, 1).
void pointOnCircle(const ZelFTCTool::ZelFtcMoveCData& circle, double angle, double* point) {
  const double p[4] = {circle.radius * std::cos(angle), circle.radius * std::sin(angle), 0.0, 1.0};
  for (int i = 0; i < 3; ++i) {
    point[i] = 0.0;
    for (int j = 0; j < 4; ++j) point[i] += circle.conversionMatrix[i][j] * p[j];
  }
}

}  // namespace

/// The expected pose moved on by one step of the programmed path. Quaternion increments are added
/// component by component; the sum is not normalised.
zel::RigidTransform ZelFTCTool::advancePath(const zel::RigidTransform& T_base_expect) {
  double q_expect[4];
  zel::quaternionFromRotation(T_base_expect.row, q_expect, 4);
  double next[7] = {};
  double* nominal = PosMoveExpect_q.value;

  switch (trackingMotionMoveType) {
    case MOVEL: {
      const double* step = MoveLrv_q.value;
      for (int i = 0; i < 3; ++i) next[i] = PosExpect.value[i] + step[i];
      for (int j = 0; j < 4; ++j) next[3 + j] = step[3 + j] + q_expect[j];
      for (int i = 0; i < 7; ++i) nominal[i] += step[i];
      moveLData.stepNow += 1.0;
      break;
    }
    case MOVEC: {
      const double step = moveCData.stepNow;
      double to[3], from[3];
      pointOnCircle(moveCData, step * moveCData.radian / moveCData.stepMax, to);
      pointOnCircle(moveCData, (step - 1.0) * moveCData.radian / moveCData.stepMax, from);
      for (int i = 0; i < 3; ++i) {
        next[i] = (to[i] + PosExpect.value[i]) - from[i];
        nominal[i] = (to[i] + nominal[i]) - from[i];
      }
      const double* turn = (moveCData.stepB > step ? MoveCrv_b_q : MoveCrv_c_q).value;
      for (int j = 3; j < 7; ++j) {
        next[j] = turn[j] + q_expect[j - 3];
        nominal[j] += turn[j];
      }
      moveCData.stepNow += 1.0;
      break;
    }
    default:
      break;
  }

  return zel::transformFromQuaternion(next);
}

void ZelFTCTool::PosCorr(ZelCartesianCoordinate rcs) {
  if (!runApproachMode && !runTrackingMotionMode) return;  // an assembly run corrects nothing

  const zel::RigidTransform* T_base_path = &kept().T_base_now.of(PosExpect);
  zel::RigidTransform T_base_next;
  if (!runApproachMode) {
    T_base_next = advancePath(*T_base_path);
    T_base_path = &T_base_next;
  }

  // WORLD and BASE move in the fixed frame, the others in the moving one.
  zel::RigidTransform corrected;
  if (rcs == WORLD || rcs == BASE) {
    corrected = zel::transformFromPose(ftc_offset.value) * *T_base_path;
  } else if (rcs == SENSOR) {
    // The two mountings cancel but for rounding.
    const zel::RigidTransform T_base_moving =
        *T_base_path * kept().T_flange_sensor.inverseOf(FTconfig.flange_sensor) *
        kept().T_flange_pos_tool.of(pos_tool);
    corrected = T_base_moving * zel::transformFromPose(ftc_offset.value);
  } else if (rcs == TOOL && runApproachMode) {
    // The mounting rotations stay in the result: a robot that follows it keeps turning.
    const zel::RigidTransform T_base_moving =
        *T_base_path * kept().T_flange_sensor.rotationOf(FTconfig.flange_sensor) *
        kept().T_sensor_tool.rotationOf(FTconfig.sensor_tool);
    corrected = T_base_moving * zel::transformFromPose(ftc_offset.value);
  } else {
    corrected = *T_base_path * zel::transformFromPose(ftc_offset.value);
  }
  zel::poseFromTransform(corrected, PosFTC.value);

  if (!runApproachMode) return;
  for (int i = 0; i < 3; ++i) {
    const double lowest = correctionLimit.min[i] + PosStart.value[i];
    const double highest = correctionLimit.max[i] + PosStart.value[i];
    if (lowest > PosFTC.value[i]) PosFTC.value[i] = lowest;
    if (PosFTC.value[i] > highest) PosFTC.value[i] = highest;
  }
}
