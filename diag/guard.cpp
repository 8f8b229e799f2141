#include "diag/guard.h"

#include <time.h>

#include <algorithm>
#include <cmath>

#include "diag/geometry.h"
#include "diag/history.h"
#include "diag/library.h"
#include "diag/reasons.h"
#include "diag/text.h"
#include "ft/ZelForceSensorEtherNetUDP.h"
#include "ft/ZelForceSensorExternal.h"
#include "zel_ftc_guard.h"

namespace zel::diag {

namespace {

struct LimitRow {
  const char* name;
  const char* unit;
  const char* what;
};
constexpr LimitRow limitRows[] = {
#define ZEL_GUARD_ROW(name, unit, what) {#name, unit, what},
    ZEL_GUARD_LIMITS(ZEL_GUARD_ROW)
#undef ZEL_GUARD_ROW
};

bool isLimit(ZelGuardLimit which) {
  return which >= 0 && which < ZEL_GUARD_LIMIT_COUNT;
}

/// ms of a clock that nobody sets.
double timeOf(clockid_t clock) {
  timespec t;
  clock_gettime(clock, &t);
  return 1e3 * static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_nsec);
}
double exactTime() {
  return timeOf(CLOCK_MONOTONIC);
}
/// A tick or more behind the exact clock, at a fraction of its cost.
double coarseTime() {
  return timeOf(CLOCK_MONOTONIC_COARSE);
}

/// Frames or readings that the sensor has had.
std::int32_t samplesOf(ZelSensor& sensor) {
  return zel_is_external ? static_cast<SensorExternal&>(sensor).IPOC
                         : static_cast<SensorEtherNet_UDP&>(sensor).IPOC.load();
}

/// Finite as long as the sum is.
bool allFinite(const double* v) {
  return std::isfinite((v[0] + v[1]) + (v[2] + v[3]) + (v[4] + v[5]));
}

/// The part of v across the unit vector n.
Vector across(const Vector& v, const Vector& n) {
  return v - dot(v, n) * n;
}
/// Of an internal pose, in mm.
Vector positionOf(const RVector& pose) {
  return {1000.0 * pose.value[0], 1000.0 * pose.value[1], 1000.0 * pose.value[2]};
}

/// Never less than angleBetween, which the triangle inequality bounds by the sum of the turns.
double angleBound(const double* a, const double* b) {
  return std::fabs(a[3] - b[3]) + std::fabs(a[4] - b[4]) + std::fabs(a[5] - b[5]);
}

/// What a run was programmed to keep to, in mm. A path is a line or a circle.
struct Course {
  enum { none, line, circle, axis } shape = none;
  Vector origin = {};  ///< start of the line, centre of the circle, start of the approach
  Vector along = {};   ///< unit vector: of the line, normal of the circle, axis of the approach
  double size = 0.0;   ///< length of the line, radius of the circle

  /// A vector as long as the distance of p: from the line between its ends, the circle, the axis.
  Vector deviationOf(const Vector& p) const {
    const Vector v = p - origin;
    const double way = dot(v, along);
    if (shape == circle) return {length(across(v, along)) - size, way, 0.0};
    const double within = shape == line ? std::clamp(way, 0.0, size) : way;
    return v - within * along;
  }
};

Course courseOf(const ZelFTCTool& tool, ZelRunKind run, const double* start) {
  Course course;
  if (run == ZEL_LINE_RUN) {
    const Vector from = positionOf(tool.PosStart);
    const Vector way = positionOf(tool.PosEnd) - from;
    const double distance = length(way);
    if (distance > 0.0) course = {Course::line, from, (1.0 / distance) * way, distance};
  } else if (run == ZEL_ARC_RUN) {
    const auto& arc = tool.moveCData;
    const auto column = [&](int j, double scale) {
      const auto& M = arc.conversionMatrix;
      return Vector{scale * M[0][j], scale * M[1][j], scale * M[2][j]};
    };
    course = {Course::circle, column(3, 1000.0), column(2, 1.0), 1000.0 * arc.radius};
  } else if (run == ZEL_APPROACH_RUN && tool.approachConfig.mainDirection <= FZ) {
    course = {Course::axis, firstThree(start), searchAxis(tool, start), 0.0};
  }
  return course;
}

struct Limit {
  double limit = 0.0;
  double square = 0.0;  ///< of the limit
  ZelGuardAction action = ZEL_GUARD_OFF;
};

class Guard {
 public:
  Limit limits[ZEL_GUARD_LIMIT_COUNT];

  bool holds() const { return verdict_.action == ZEL_GUARD_HOLD; }
  void reset() {
    verdict_.action = ZEL_GUARD_OFF;
    hasPassed_ = false;
    hasForce_ = false;
  }

  const zel_ftc_guard_verdict& judge(double* pose, const double* now);

 private:
  void judgeMotion(const double* pose, const double* now);
  void judgeRun(const double* pose, const double* now);
  void judgeForce();
  void judgeSample();
  void judgeRunTime();
  void judgeTurn(ZelGuardLimit which, const double* from, const double* to);
  void note(ZelGuardLimit which, double value);
  void conclude();

  bool judges(ZelGuardLimit which) const { return limits[which].action != ZEL_GUARD_OFF; }
  /// What is not a number is beyond every limit.
  void judgeValue(ZelGuardLimit which, double value) {
    if (judges(which) && !(value <= limits[which].limit)) note(which, value);
  }
  void judgeLength(ZelGuardLimit which, const Vector& v) {
    const double square = dot(v, v);
    if (square < limits[which].square) return;
    judgeValue(which, std::sqrt(square));
  }

  zel_ftc_guard_verdict found_ = {};  ///< in this call
  zel_ftc_guard_verdict verdict_ = {};
  double eventBegan_ = 0.0;  // ms

  bool hasPassed_ = false;
  double passed_[6] = {};  ///< pose commanded last

  std::uint64_t run_ = 0;  ///< number of the run that the following belong to
  double runStart_[6] = {};
  double runBegan_ = 0.0;  // ms
  Course course_;

  std::uint64_t calls_ = 0;  ///< cycles of runs seen
  bool hasForce_ = false;
  Vector force_ = {}, torque_ = {};

  std::int32_t sample_ = -1;
  bool isStale_ = false;
  double staleSince_ = 0.0;  // ms
};

Guard guard;

/// HOLD is graver than any warning; of equals the first counts.
void Guard::note(ZelGuardLimit which, double value) {
  const ZelGuardAction action = limits[which].action;
  const bool isGraver = found_.action == ZEL_GUARD_OFF ||
                        (action == ZEL_GUARD_HOLD && found_.action != ZEL_GUARD_HOLD);
  if (isGraver) found_ = {action, which, false, 0, value, limits[which].limit, 0.0};
}

void Guard::judgeTurn(ZelGuardLimit which, const double* from, const double* to) {
  if (!judges(which) || angleBound(from, to) <= limits[which].limit) return;
  judgeValue(which, angleBetween(from, to));
}

void Guard::judgeMotion(const double* pose, const double* now) {
  const double* const from = hasPassed_ ? passed_ : now;
  judgeLength(ZEL_LIMIT_STEP, firstThree(pose) - firstThree(from));
  judgeTurn(ZEL_LIMIT_TURN, from, pose);
}

void Guard::judgeRun(const double* pose, const double* now) {
  if (history.runs == 0 || history.calls == calls_) return;  // no cycle of a run since
  if (run_ != history.runs) {
    run_ = history.runs;
    runBegan_ = exactTime();
    std::copy_n(now, 6, runStart_);
    course_ = courseOf(concreteTool(), history.run, runStart_);
  }
  judgeLength(ZEL_LIMIT_DISTANCE, firstThree(pose) - firstThree(runStart_));
  judgeTurn(ZEL_LIMIT_ROTATION, runStart_, pose);
  const ZelGuardLimit path = course_.shape == Course::axis ? ZEL_LIMIT_OFF_AXIS : ZEL_LIMIT_PATH;
  if (course_.shape != Course::none) judgeLength(path, course_.deviationOf(firstThree(pose)));
  judgeRunTime();
}

void Guard::judgeForce() {
  if (history.calls == calls_ || !history.measured()) {
    hasForce_ = false;
    return;
  }
  const double* const wrench = concreteTool().ft_data_tool.value;
  const Vector force = firstThree(wrench), torque = firstThree(wrench + 3);
  judgeLength(ZEL_LIMIT_FORCE, force);
  judgeLength(ZEL_LIMIT_TORQUE, torque);
  if (hasForce_) {
    judgeLength(ZEL_LIMIT_FORCE_CHANGE, force - force_);
    judgeLength(ZEL_LIMIT_TORQUE_CHANGE, torque - torque_);
  }
  force_ = force;
  torque_ = torque;
  hasForce_ = true;
}

/// From the first call that finds no new sample on: as long as they come no clock is asked.
void Guard::judgeSample() {
  if (!judges(ZEL_LIMIT_SAMPLE_AGE)) return;
  const std::int32_t sample = samplesOf(sensor());
  const bool isNew = sample != sample_;
  sample_ = sample;
  if (!isNew && isStale_) judgeValue(ZEL_LIMIT_SAMPLE_AGE, exactTime() - staleSince_);
  if (!isNew && !isStale_) staleSince_ = exactTime();
  isStale_ = !isNew;
}

/// The exact clock is asked once the coarse one, which is late, finds the limit exceeded.
void Guard::judgeRunTime() {
  const ZelGuardLimit which = ZEL_LIMIT_RUN_TIME;
  if (!judges(which) || coarseTime() - runBegan_ <= limits[which].limit) return;
  judgeValue(which, exactTime() - runBegan_);
}

/// Whether this is a new event, the one before going on, or none.
void Guard::conclude() {
  if (found_.action == ZEL_GUARD_OFF) {
    if (verdict_.action == ZEL_GUARD_OFF) return;
    verdict_ = {ZEL_GUARD_OFF, ZEL_LIMIT_READING, false, verdict_.event, 0.0, 0.0, 0.0};
  } else if (verdict_.action == found_.action && verdict_.which == found_.which) {
    verdict_.first = false;
    verdict_.duration = exactTime() - eventBegan_;
  } else {
    const std::uint64_t event = verdict_.event + 1;
    verdict_ = found_;
    verdict_.event = event;
    verdict_.first = true;
    eventBegan_ = exactTime();
  }
}

const zel_ftc_guard_verdict& Guard::judge(double* pose, const double* now) {
  if (!holds()) {
    found_.action = ZEL_GUARD_OFF;
    if (judges(ZEL_LIMIT_READING) && !allFinite(zel_raw_ft)) note(ZEL_LIMIT_READING, std::nan(""));
    if (judges(ZEL_LIMIT_POSE) && !(allFinite(pose) && allFinite(now))) {
      note(ZEL_LIMIT_POSE, std::nan(""));
    }
    judgeMotion(pose, now);
    judgeRun(pose, now);
    judgeForce();
    judgeSample();
  }
  calls_ = history.calls;
  conclude();

  if (!holds()) {
    if (!allFinite(pose)) return verdict_;  // not to be held later
    std::copy_n(pose, 6, passed_);
    hasPassed_ = true;
  } else if (hasPassed_ || allFinite(now)) {
    std::copy_n(hasPassed_ ? passed_ : now, 6, pose);
  }
  return verdict_;
}

}  // namespace

void startGuardAfresh() {
  guard = Guard();
}

int guardLimitsOff() {
  return static_cast<int>(std::count_if(std::begin(guard.limits), std::end(guard.limits),
                                        [](const Limit& l) { return l.action == ZEL_GUARD_OFF; }));
}

bool guardHolds() {
  return guard.holds();
}

}  // namespace zel::diag

using zel::diag::guard;

int zel_ftc_setGuardLimit(ZelGuardLimit which, double limit, ZelGuardAction action) {
  if (!zel::isOpen()) return -1;
  const bool isAction = action >= ZEL_GUARD_OFF && action <= ZEL_GUARD_HOLD;
  if (!zel::diag::isLimit(which) || !isAction || !std::isfinite(limit) || limit < 0.0) return 0;
  guard.limits[which] = {limit, limit * limit, action};
  return 1;
}

int zel_ftc_getGuardLimit(ZelGuardLimit which, zel_ftc_guard_limit* limit) {
  if (!zel::isOpen()) return -1;
  if (!zel::diag::isLimit(which) || limit == nullptr) return 0;
  const auto& [name, unit, what] = zel::diag::limitRows[which];
  *limit = {name, unit, what, guard.limits[which].limit, guard.limits[which].action};
  return 1;
}

int zel_ftc_guard(double* pose, const double* robot_pos_now, zel_ftc_guard_verdict* verdict) {
  if (!zel::isOpen()) return -1;
  if (pose == nullptr || robot_pos_now == nullptr) return 0;
  const zel_ftc_guard_verdict& judged = guard.judge(pose, robot_pos_now);
  if (verdict != nullptr) *verdict = judged;
  return judged.action == ZEL_GUARD_HOLD ? 0 : 1;
}

int zel_ftc_resetGuard(void) {
  if (!zel::isOpen()) return -1;
  guard.reset();
  return 1;
}

size_t zel_ftc_guardText(const zel_ftc_guard_verdict* verdict, char* text, size_t capacity) {
  zel::diag::Text out(text, capacity);
  if (verdict == nullptr || !zel::diag::isLimit(verdict->which)) return out.length();
  if (verdict->action == ZEL_GUARD_OFF) return (out << "nothing is exceeded").length();
  const auto& [name, unit, what] = zel::diag::limitRows[verdict->which];
  out << (verdict->action == ZEL_GUARD_HOLD ? "the guard holds: " : "the guard warns: ") << what;
  if (*unit != '\0') {
    const int digits = zel::diag::digitsToTellApart(verdict->value, verdict->limit);
    (out << " is ").number(verdict->value, digits) << " " << unit << ", must be at most ";
    out.number(verdict->limit, digits) << " " << unit;
  }
  return out.length();
}
