// The tests that stop or end a run. All comparisons are strict: a value equal to a limit is within.
#include <algorithm>
#include <cmath>

#include "matrix/length3.h"
#include "robot/KeptTransform.h"
#include "robot/ZelFTCTool.h"

namespace {

/// Magnitude formed by negating what is not greater than zero: of 0.0 it is -0.0.
double magnitude(double x) {
  return x > 0.0 ? x : -x;
}

bool anyExceeds(const RVector& wrench, const double* limits) {
  bool exceeds = false;
  for (int i = 0; i < 6; ++i) exceeds |= std::fabs(wrench.value[i]) > limits[i];
  return exceeds;
}

using zel::length3;

/// Shifts a history of marks by one, appends the newest; true when all 20 are set.
bool allMarked(int (&history)[20], bool mark) {
  int sum = mark;
  for (int i = 0; i < 19; ++i) {
    history[i] = history[i + 1];
    sum += history[i];
  }
  history[19] = mark;
  return sum == 20;
}

}  // namespace

bool ZelFTCTool::isSensorTimerOut(int a, int b) {
  return allMarked(isFTTimeOut, a == b);
}

bool ZelFTCTool::isOverload() {
  return anyExceeds(ft_data_raw, FTconfig.MaxLoad);
}

bool ZelFTCTool::isOverMonitoring() {
  return anyExceeds(rcs_ft_data, monitoringFunctions.MaxPermissibleLoad);
}

void ZelFTCTool::startSeenFromNow() {
  const zel::RigidTransform T_now_start =
      zel::inverse(kept().T_base_now.of(PosNow)) * kept().T_base_start.of(PosStart);
  zel::poseFromTransform(T_now_start, ftc_path_offset.value);
}

bool ZelFTCTool::isOverPossCorrMon() {
  startSeenFromNow();
  const double path = length3(ftc_path_offset.value);
  const double angle = length3(ftc_path_offset.value + 3);
  return path > correctionMonitoring.path || angle > correctionMonitoring.angle;
}

bool ZelFTCTool::isOutMinPath() {
  startSeenFromNow();
  const double* offset = ftc_path_offset.value;
  if (!correctionLimit.set_group) return length3(offset) > correctionLimit.minPath;
  const double* group = correctionLimit.minpath_group;
  return std::fabs(offset[0]) > group[0] && std::fabs(offset[1]) > group[1] &&
         std::fabs(offset[2]) > group[2];
}

bool ZelFTCTool::isTimeOut() {
  // The approach record's time-out serves every run that calls this.
  return zel_end_timer_clock(MILLISEC, time_start) > static_cast<double>(approachConfig.timeOut);
}

bool ZelFTCTool::isTriggerInterrupt() {
  // The approach record serves the assembly run as well.
  bool settled = true;
  for (int i = 0; i < 6; ++i) {
    df.value[i] = magnitude(approachConfig.setExpectFT[i] + rcs_ft_data.value[i]);
    const double range = approachConfig.breakConditionRange[i];
    if (range != 0.0 && df.value[i] > range) settled = false;
  }
  return allMarked(isApproachTouchOK, settled);
}

bool ZelFTCTool::isMoveTriggerInterrupt(int* code) {
  static constexpr int bitOfAxis[6] = {ZEL_BREAK_FX, ZEL_BREAK_FY, ZEL_BREAK_FZ,
                                       ZEL_BREAK_MX, ZEL_BREAK_MY, ZEL_BREAK_MZ};
  int tripped = 0;
  for (int i = 0; i < 6; ++i) {
    const double now = rcs_ft_data.value[i];
    const double last1 = ftc_offset_last1.value[i], last2 = ftc_offset_last2.value[i];
    const double last3 = ftc_offset_last3.value[i], last4 = ftc_offset_last4.value[i];
    const double change = (last3 - last4) + ((now - last1) + (last1 - last2) + (last2 - last3));
    const double jump = 8.0 * magnitude(change);

    // The range is the tracking record's, the set point the approach record's.
    const double range = trackingMotionConfig.breakConditionRange[i];
    const double error = approachConfig.setExpectFT[i] + now;
    const bool beyond = (range > 0.0 && error > range) || (range < 0.0 && range > error);
    const bool trips = beyond && jump > magnitude(range);
    ft_diff_2.value[i] = trips ? jump : 0.0;
    if (trips) tripped += bitOfAxis[i];
  }
  *code = tripped;
  return tripped != 0;
}

bool ZelFTCTool::isEndPosCorr() {
  switch (trackingMotionMoveType) {
    case MOVEL:
      return moveLData.stepNow > 1.0 + moveLData.stepMax;
    case MOVEC:
      return moveCData.stepNow > 1.0 + moveCData.stepMax;
    default:
      return false;
  }
}

bool ZelFTCTool::isTouch(double force, double torque, bool isTouchLast) {
  return length3(rcs_ft_data.value + 3) > torque || length3(rcs_ft_data.value) > force ||
         isTouchLast;
}
