// The runs: one sequence for all four, in which each differs by a row of the table, and
// sensorReset.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

#include "matrix/rigidtransform.h"
#include "robot/ZelFTCTool.h"

namespace {

std::string_view textOf(int code) {
  switch (code) {
#define ZEL_RUN_TEXT(name, value, text) \
  case name:                            \
    return text;
    ZEL_RUN_RESULTS(ZEL_RUN_TEXT)
#undef ZEL_RUN_TEXT
    default:
      return "End.";  // ZEL_RUN_BREAK plus the bits of the tripped axes
  }
}

void writeResult(zel_error& err, int code, std::string_view text) {
  err.code = code;
  // Every text is a literal: its terminator is copied with it.
  std::memcpy(err.err_msg, text.data(), text.size() + 1);
}

}  // namespace

struct ZelFTCTool::RunCall {
  double* start;       // tracking runs only
  double* transition;  // arc only
  double* end;         // tracking runs only
  double* now;
  zel_pose& out;
  zel_error& err;
  double* ft;
  const zel_ft_info& info;
};

struct ZelFTCTool::RunMode {
  using Flag = bool ZelFTCTool::*;

  Flag configured;
  ZelRunCode notConfigured;
  Flag running;                 // set in every cycle, cleared by a failure or the end
  Flag underway;                // false: this is the first cycle of a run
  std::array<Flag, 3> cleared;  // in every cycle
  void (ZelFTCTool::*start)(const RunCall&);
  std::optional<ZelMoveType> foreignMove;  // an unfinished run of this motion is in the way
  ZelCartesianCoordinate (*measureFrame)(const ZelFTCTool&);
  ZelCartesianCoordinate (*correctFrame)(const ZelFTCTool&);
  int (ZelFTCTool::*result)();
  std::string_view runningText;
};

namespace {

ZelCartesianCoordinate approachFrame(const ZelFTCTool& t) {
  return t.approachConfig.rcs;
}
ZelCartesianCoordinate assemblyFrame(const ZelFTCTool& t) {
  return t.assemblyConfig.rcs;
}
ZelCartesianCoordinate trackingFrame(const ZelFTCTool& t) {
  return t.trackingMotionConfig.rcs;
}

}  // namespace

const ZelFTCTool::RunMode ZelFTCTool::approachRun = {
    &ZelFTCTool::isSetApproach,
    ZEL_RUN_CONTACT_NOT_SET,
    &ZelFTCTool::runApproachMode,
    &ZelFTCTool::runApproachMode,
    {&ZelFTCTool::runTrackingMotionMode, &ZelFTCTool::runDragMode, &ZelFTCTool::isApproachTouch},
    &ZelFTCTool::startContact,
    std::nullopt,
    approachFrame,
    approachFrame,
    &ZelFTCTool::contactResult,
    "Running."};

// Looks at the approach run's flag and clears it: every assembly cycle is a first one. Measures in
// the approach frame and corrects in its own.
const ZelFTCTool::RunMode ZelFTCTool::assemblyRun = {
    &ZelFTCTool::isSetAssembly,
    ZEL_RUN_CONTACT_NOT_SET,
    &ZelFTCTool::runAssemblyMode,
    &ZelFTCTool::runApproachMode,
    {&ZelFTCTool::runApproachMode, &ZelFTCTool::runTrackingMotionMode,
     &ZelFTCTool::isAssemblyTouch},
    &ZelFTCTool::startContact,
    std::nullopt,
    approachFrame,
    assemblyFrame,
    &ZelFTCTool::contactResult,
    "Running."};

const ZelFTCTool::RunMode ZelFTCTool::lineRun = {&ZelFTCTool::isSetTrackingMotion,
                                                 ZEL_RUN_TRACKING_NOT_SET,
                                                 &ZelFTCTool::runTrackingMotionMode,
                                                 &ZelFTCTool::runTrackingMotionMode,
                                                 {&ZelFTCTool::runApproachMode, nullptr, nullptr},
                                                 &ZelFTCTool::startLine,
                                                 MOVEC,
                                                 trackingFrame,
                                                 trackingFrame,
                                                 &ZelFTCTool::trackingResult,
                                                 "Runing."};

const ZelFTCTool::RunMode ZelFTCTool::arcRun = {&ZelFTCTool::isSetTrackingMotion,
                                                ZEL_RUN_TRACKING_NOT_SET,
                                                &ZelFTCTool::runTrackingMotionMode,
                                                &ZelFTCTool::runTrackingMotionMode,
                                                {&ZelFTCTool::runApproachMode, nullptr, nullptr},
                                                &ZelFTCTool::startArc,
                                                MOVEL,
                                                trackingFrame,
                                                trackingFrame,
                                                &ZelFTCTool::trackingResult,
                                                "Runing."};

bool ZelFTCTool::run(const RunMode& mode, const RunCall& call) {
  zel_error& err = call.err;
  const auto endWith = [&](int code) {
    this->*mode.running = false;
    writeResult(err, code, textOf(code));
    return false;
  };

  if (call.info.code != FT_N0RMAL || !isSetLoadData || !isSetCorrectionLimit ||
      !isSetMonitoringFunctions || !isSetCorrectionMonitoring) {
    return endWith(ZEL_RUN_BASICS_NOT_SET);
  }
  if (!(this->*mode.configured)) return endWith(mode.notConfigured);

  if (!(this->*mode.underway)) {
    (this->*mode.start)(call);
    ft_info.IPOC = 0;  // the stall test starts afresh
  }
  for (const RunMode::Flag flag : mode.cleared) {
    if (flag != nullptr) this->*flag = false;
  }
  this->*mode.running = true;
  if (mode.foreignMove == trackingMotionMoveType) return endWith(ZEL_RUN_MESSY_MOVE);

  pos_tool = FTconfig.flange_sensor;
  pose2RVector(PosNow, call.now);

  if (isSensorTimerOut(ft_info.IPOC, call.info.IPOC)) {
    // A stall leaves the run in progress, except for an assembly run.
    runAssemblyMode = false;
    writeResult(err, ZEL_RUN_SENSOR_TIMEOUT, textOf(ZEL_RUN_SENSOR_TIMEOUT));
    return false;
  }
  ft_info = call.info;
  std::copy_n(call.ft, 6, ft_data_raw.value);
  err.sensor_code = ft_info.code;
  err.sensor_ipoc = ft_info.IPOC;
  if (isOverload()) return endWith(ZEL_RUN_SENSOR_OVERLOAD);

  measure(ft_data_raw, PosNow, mode.measureFrame(*this));
  if (isOverMonitoring()) return endWith(ZEL_RUN_OVER_MONITORING);

  FTCtrl();
  PosExpect = PosNow;
  PosCorr(mode.correctFrame(*this));

  const int result = (this->*mode.result)();
  if (result != ZEL_RUN_RUNNING) return endWith(result);
  writePose(call.out, PosFTC);
  writeResult(err, ZEL_RUN_RUNNING, mode.runningText);
  return true;
}

int ZelFTCTool::contactResult() {
  if (isOverPossCorrMon()) return ZEL_RUN_OVER_CORRECTION;
  if (isTimeOut()) return ZEL_RUN_TIMEOUT;
  if (isTriggerInterrupt() && isOutMinPath()) return ZEL_RUN_END;
  return ZEL_RUN_RUNNING;
}

int ZelFTCTool::trackingResult() {
  int trippedAxes = 0;
  if (isMoveTriggerInterrupt(&trippedAxes)) return ZEL_RUN_BREAK + trippedAxes;
  if (isEndPosCorr()) return ZEL_RUN_END;
  return ZEL_RUN_RUNNING;
}

void ZelFTCTool::startContact(const RunCall& call) {
  time_start = zel_start_timer_clock();
  pose2RVector(PosStart, call.now);
  MBK_Fhan::clear(force_fhan);
  MBK_Fhan::clear(speed_fhan);
}

void ZelFTCTool::startLine(const RunCall& call) {
  startPath(call, MOVEL);
  getMoveLRVector(MoveLrv_q, PosStart, PosEnd);
  MBK_Fhan::clear(force_r);
  force_r.v1 = trackingMotionConfig.setExpectFT[FZ];  // whatever the main direction
}

void ZelFTCTool::startArc(const RunCall& call) {
  startPath(call, MOVEC);
  pose2RVector(PosCTransition, call.transition);
  getMoveCRVector(PosStart, PosCTransition, PosEnd);
}

void ZelFTCTool::startPath(const RunCall& call, ZelMoveType type) {
  trackingMotionMoveType = type;
  time_start = zel_start_timer_clock();
  pose2RVector(PosStart, call.start);
  pose2RVector(PosEnd, call.end);
  PosMoveExpect_q = RVector(7);
  std::copy_n(PosStart.value, 3, PosMoveExpect_q.value);
  zel::quaternionFromRotation(zel::transformFromPose(PosStart.value).row, PosMoveExpect_q.value + 3,
                              4);
}

bool ZelFTCTool::runApproach(zel_pose& out, double* robot_pos_now, zel_error& err, double* ft,
                             zel_ft_info info) {
  return run(approachRun, {nullptr, nullptr, nullptr, robot_pos_now, out, err, ft, info});
}

bool ZelFTCTool::runAssembly(zel_pose& out, double* robot_pos_now, zel_error& err, double* ft,
                             zel_ft_info info) {
  return run(assemblyRun, {nullptr, nullptr, nullptr, robot_pos_now, out, err, ft, info});
}

bool ZelFTCTool::runTrackingMotionL(zel_pose& out, double* start, double* end, double* now,
                                    zel_error& err, double* ft, zel_ft_info info) {
  return run(lineRun, {start, nullptr, end, now, out, err, ft, info});
}

bool ZelFTCTool::runTrackingMotionC(zel_pose& out, double* start, double* transition, double* end,
                                    double* now, zel_error& err, double* ft, zel_ft_info info) {
  return run(arcRun, {start, transition, end, now, out, err, ft, info});
}

bool ZelFTCTool::sensorReset(double* robot_pos, double* m_ft, zel_ft_info ft_info_) {
  if (ft_info.IPOC == ft_info_.IPOC) {
    std::printf("out\n");
    return false;
  }
  ft_info = ft_info_;
  std::copy_n(m_ft, 6, ft_data_raw.value);
  pos_tool = FTconfig.flange_sensor;
  pose2RVector(PosNow, robot_pos);
  gravityAt(PosNow, ldd_ft0.value);
  ldd_ft0 = ldd_ft0 + ft_data_raw;
  return true;
}
