// The check of the configuration: its table of faults and what a check works with. Internal: not
// installed.
#ifndef ZEL_FTC_DIAG_CHECK_H
#define ZEL_FTC_DIAG_CHECK_H

#include <cstdint>

#include "diag/history.h"
#include "robot/ZelFTCTool.h"
#include "zel_ftc_check.h"

namespace zel::diag {

/// Every fault: name, severity, heading of docs/behaviour.md, sentence, remedy. Letters of a
/// sentence: v value, l limit, f axis of a wrench, p axis of a pose, u unit of that axis of a
/// wrench, w which value, m settings that are missing.
#define ZEL_FAULTS(X)                                                                             \
  X(MISSING_SETTINGS, ERROR, "11002 also means \"sensor not normal\"",                            \
    "%m: the run fails with 11002", "make the missing settings")                                  \
  X(MODE_NOT_CONFIGURED, ERROR, "One mode at a time",                                             \
    "the mode of this run is not configured: it fails with %v", "configure it last")              \
  X(SENSOR_NOT_INITIALISED, ERROR, "A failed sensor read leaves two outputs as they were",        \
    "the sensor is not initialised: no run gets a reading", "call zel_ftc_initialFTSensor")       \
  X(NOT_FINITE, ERROR, "Not-a-number passes every limit", "%w is %v",                             \
    "find out where it comes from")                                                               \
  X(NO_SENSOR_CONFIG, ERROR, "No sensor configuration means overload",                            \
    "zel_ftc_setSensorConfig was never called: any reading but zero ends the run with 10002",     \
    "set the permitted load and the mounting")                                                    \
  X(PERMITTED_LOAD_ZERO, ERROR, "No sensor configuration means overload",                         \
    "the permitted load of %f is %v %u: any reading beyond ends the run with 10002",              \
    "set the rating of the sensor")                                                               \
  X(NEGATIVE_WEIGHT, ERROR, "setLoadData checks upper bounds only",                               \
    "the weight of the load is "                                                                  \
    "%v N",                                                                                       \
    "set the weight as a positive number")                                                        \
  X(WEIGHT_ZERO, WARNING, "setLoadData checks upper bounds only",                                 \
    "the load has a centre of mass and no weight", "set the weight, N")                           \
  X(CENTRE_IMPLAUSIBLE, WARNING, "setLoadData checks upper bounds only",                          \
    "the centre of mass lies %v mm from the sensor, more than %l mm is implausible",              \
    "set it in mm, in sensor axes")                                                               \
  X(LOAD_MIRRORED, ERROR, "The tool's own calibration mirrors the centre of mass",                \
    "the load comes from zel_ftc_gravityCalibration: its centre of mass has the opposite sign",   \
    "identify with ldd_tool and hand the result to zel_ftc_setLoadData")                          \
  X(NO_ZERO, ERROR, "The zero reference belongs to load and mounting",                            \
    "zel_ftc_sensorReset has not been called: the offset of the sensor counts as force",          \
    "take the zero at rest, without contact")                                                     \
  X(ZERO_TOO_OLD, ERROR, "The zero reference belongs to load and mounting",                       \
    "%w was changed after the zero reference was taken", "take the zero last")                    \
  X(METRES, WARNING, "Signs, gains and limits are not checked",                                   \
    "%w is %v mm long: metres for millimetres?", "hand in millimetres")                           \
  X(PERIOD_NOT_SET, WARNING, "Gains keep the period of their configuration",                      \
    "zel_ftc_setTimeStep was never called: the period counts as %v ms", "set the period first")   \
  X(PERIOD_CHANGED, ERROR, "Gains keep the period of their configuration",                        \
    "the mode was configured at a period of %v ms, now it is %l ms: its gains are off",           \
    "set the period first, then the mode")                                                        \
  X(BLIND_FRAME, ERROR, "WORLD and BASE see no force", "the frame of the mode sees no force",     \
    "use RCS_TOOL or RCS_SENSOR")                                                                 \
  X(KEEPS_TURNING, ERROR, "Rotated mountings",                                                    \
    "the mounting is turned by %v degrees: an approach in RCS_TOOL turns the robot by that in "   \
    "every cycle",                                                                                \
    "mount sensor and tool parallel to the flange, or take the rotation out of the pose")         \
  X(FORCE_TURNED, ERROR, "Rotated mountings",                                                     \
    "forces are measured along axes turned by %v degrees against those of the motion",            \
    "mount sensor and tool parallel to the flange, or turn the readings")                         \
  X(NO_DIRECTION, ERROR, "Not-a-number passes every limit",                                       \
    "the set force of the main axis %f is 0: the search has no direction", "set the force")       \
  X(NO_SET_FORCE, WARNING, "Nobody pulls back to the path", "no axis has a set force",            \
    "set the force that the path shall hold")                                                     \
  X(CROSSED_TORQUE, WARNING, "MX and MZ are crossed",                                             \
    "main direction %f: the lead-in works on the other one of Mx and Mz",                         \
    "prefer forces or FT_MY, or keep both gains small")                                           \
  X(NO_GAIN, ERROR, "Other axes comply", "%f has a set force and no gain: it never reaches it",   \
    "set a gain")                                                                                 \
  X(NEGATIVE_GAIN, ERROR, "Signs, gains and limits are not checked",                              \
    "the gain of %f is negative: it drives away from the set force", "turn the sign round")       \
  X(COMPLIANT_AXIS, NOTE, "Other axes comply", "%f has a gain and no set force: it yields", "")   \
  X(UNSTABLE, ERROR, "Signs, gains and limits are not checked",                                   \
    "%f: gain x period x stiffness is %v, above %l the contact never settles", "lower the gain")  \
  X(RINGING, WARNING, "Signs, gains and limits are not checked",                                  \
    "%f: gain x period x stiffness is %v, above %l the force overshoots", "lower the gain")       \
  X(HIGH_GAIN, WARNING, "Signs, gains and limits are not checked",                                \
    "%f: gain x period x stiffness is %v, keep it at %l or below", "lower the gain")              \
  X(SEARCH_AWAY, ERROR, "Signs, gains and limits are not checked",                                \
    "the search speed is %v mm/s: it moves away from the surface", "turn the sign round")         \
  X(IMPACT, WARNING, "Signs, gains and limits are not checked",                                   \
    "the impact is about %v %u, the monitoring limit is %l %u: the run ends with 11000",          \
    "search slower, or raise the limit")                                                          \
  X(MONITORING_BELOW_FORCE, ERROR, "Signs, gains and limits are not checked",                     \
    "%f: the set force is %v %u, the monitoring limit %l %u: the run ends with 11000",            \
    "raise the limit")                                                                            \
  X(MONITORING_ZERO, ERROR, "Signs, gains and limits are not checked",                            \
    "the monitoring limit of %f is %v %u: the run ends with 11000 at the first touch",            \
    "set what part and tool can take")                                                            \
  X(SWITCHING_ABOVE_FORCE, ERROR, "Contact is tested over all axes",                              \
    "the search goes on up to %v %u, the set force is %l %u",                                     \
    "set the switching value below the set force")                                                \
  X(SWITCHING_ZERO, WARNING, "Contact is tested over all axes",                                   \
    "the switching value of %w is %v: anything above the noise threshold counts as contact",      \
    "set it above cable forces and friction")                                                     \
  X(NO_BREAK_RANGE, ERROR, "With all break ranges 0 it ends without contact",                     \
    "no break range is set: the run ends after 20 cycles, in free air",                           \
    "set the range of the main axis")                                                             \
  X(MAIN_AXIS_FREE, ERROR, "With all break ranges 0 it ends without contact",                     \
    "the break range of the main axis %f is 0: its force is not waited for",                      \
    "set the range of the main axis")                                                             \
  X(BREAK_RANGE_WIDE, ERROR, "With all break ranges 0 it ends without contact",                   \
    "%f: the break range is %v %u, not smaller than the set force of %l %u",                      \
    "set it to 2 to 3 times the noise")                                                           \
  X(BREAK_RANGE_NEGATIVE, ERROR, "Signs, gains and limits are not checked",                       \
    "the break range of %f is %v %u: the force never counts as settled", "turn the sign round")   \
  X(DEAD_BAND_ABOVE_FORCE, ERROR, "The dead band",                                                \
    "%f: the set force is %v %u, below the noise threshold of %l %u: it cannot be held",          \
    "lower the noise threshold")                                                                  \
  X(DEAD_BAND_ABOVE_SWITCHING, WARNING, "The dead band",                                          \
    "the switching value of %w is %v, below the noise threshold of %l",                           \
    "raise the switching value")                                                                  \
  X(DEAD_BAND_ABOVE_RANGE, WARNING, "The dead band",                                              \
    "%f: the break range is %v %u, below the noise threshold of %l %u", "raise the range")        \
  X(BOX_SWAPPED, ERROR, "The correction box",                                                     \
    "the correction box has its lower bound of %p at %v mm, above the upper one at %l mm",        \
    "swap them")                                                                                  \
  X(BOX_WITHOUT_START, ERROR, "The correction box",                                               \
    "the correction box of %p begins %v mm from the start pose: the first step jumps there",      \
    "let the box contain the start pose")                                                         \
  X(BOX_EXCLUDES_MOTION, ERROR, "The correction box",                                             \
    "the approach moves %v mm along %p, the correction box ends at %l mm", "widen the box")       \
  X(CORRECTION_ZERO, ERROR, "Total correction and minimum path count the whole travel",           \
    "the limit of the total %w is %v: the run ends with 11005", "set a limit")                    \
  X(CORRECTION_SHORT, ERROR, "Total correction and minimum path count the whole travel",          \
    "the way to contact is %v mm, the limit of the total correction %l mm: 11005",                \
    "raise the limit")                                                                            \
  X(MINIMUM_PATH_LONG, ERROR, "Total correction and minimum path count the whole travel",         \
    "the minimum path is %v mm, the %w %l mm: the run does not end with 80001",                   \
    "lower the minimum path")                                                                     \
  X(MINIMUM_PATH_GROUP, WARNING, "Per-axis minimum path",                                         \
    "%p too has to move by more than %v mm before the run can end",                               \
    "give axes that shall not count a negative value")                                            \
  X(ASSEMBLY_NEVER_ENDS, ERROR, "The assembly run",                                               \
    "the minimum path is %v mm; the path of an assembly run is always 0: it never ends",          \
    "set a negative minimum path")                                                                \
  X(ASSEMBLY_ALONE, ERROR, "The assembly run",                                                    \
    "the approach mode was never configured: the run ends by its values, all of them 0",          \
    "configure the approach mode first")                                                          \
  X(NO_TIME, ERROR, "The time-out is wall-clock time", "the time-out is %v ms", "set a time-out") \
  X(TIME_SHORT, ERROR, "The time-out is wall-clock time",                                         \
    "travel and settling take about %v ms, the time-out is %l ms", "raise the time-out")          \
  X(PHASE_KEPT, ERROR, "A second approach keeps its phase",                                       \
    "the approach starts in phase %v: it does not search", "configure the mode again")            \
  X(APPROACH_UNDERWAY, NOTE, "An approach that is broken off is still running",                   \
    "an approach is in progress: the next call goes on with it", "")                              \
  X(POINTS_COINCIDE, ERROR, "Degenerate paths", "%w are the same point", "choose other points")   \
  X(POINTS_ON_A_LINE, ERROR, "Degenerate paths", "start, via and end lie on a line",              \
    "run a line, or choose another via point")                                                    \
  X(LARGE_TURN, WARNING, "Orientation along a line or an arc",                                    \
    "the tool turns by %v degrees from %w, above %l it ends short", "split the path")             \
  X(TURN_THE_LONG_WAY, ERROR, "Orientation along a line or an arc",                               \
    "the quaternion changes sign from %w: the tool turns the long way round",                     \
    "turn with a motion of your own")                                                             \
  X(NO_STEPS, ERROR, "Degenerate paths", "the path speed of %v mm/s gives %l steps",              \
    "set a positive speed, below the length of the path per period")                              \
  X(MANY_STEPS, WARNING, "Degenerate paths", "the path has %v steps, more than an hour",          \
    "check the speed, mm/s")                                                                      \
  X(TRIPS_AT_REST, WARNING, "The break test",                                                     \
    "%f: at the set force the break test sees %v %u, beyond its range of %l %u",                  \
    "configure the approach with the same force, or change the range")                            \
  X(STALL_TRAVEL, NOTE, "Samples may stand still for 20 cycles",                                  \
    "a stalled sensor is noticed after up to %v mm", "watch ft_ipoc, or set the guard")           \
  X(GUARD_OFF, NOTE, "", "the guard is off", "set its limits: zel_ftc_guard.h")                   \
  X(GUARD_HALF, NOTE, "", "the guard is half configured: %v of its %l limits are off",            \
    "set the others: zel_ftc_guard.h")

enum class Fault : std::int32_t {
#define ZEL_FAULT_ENUMERATOR(name, severity, section, sentence, remedy) name,
  ZEL_FAULTS(ZEL_FAULT_ENUMERATOR)
#undef ZEL_FAULT_ENUMERATOR
};

/// What a check looks at.
struct Facts {
  const ZelFTCTool& tool;
  const zel_ftc_plan& plan;
  ZelRunKind run;

  bool isPath() const { return run == ZEL_LINE_RUN || run == ZEL_ARC_RUN; }
  /// Of an approach, and of what decides over the end of an assembly run.
  const ZelFTCTool::ZelFtcApproachConfig& contact() const { return tool.approachConfig; }
  const ZelFTCTool::ZelFtcTrackingMotionConfig& tracking() const {
    return tool.trackingMotionConfig;
  }
  ZelCartesianCoordinate frame() const { return isPath() ? tracking().rcs : contact().rcs; }
  const double* expected() const {
    return isPath() ? tracking().setExpectFT : contact().setExpectFT;
  }
  const double* gains() const { return isPath() ? tracking().setKR : contact().setKR; }
  int direction() const { return contact().mainDirection; }
  double noise(int axis) const { return axis < MX ? tool._f_min : tool._m_min; }
  double periodMs() const { return 1000.0 * tool.timeStep; }
};

/// What comes out of one check.
class Findings {
 public:
  virtual void fault(Fault fault, std::int32_t axis = -1, double value = 0.0, double limit = 0.0,
                     const char* what = "") = 0;
  /// Says what is missing for (a part of) the check.
  virtual void notChecked(const char* missing) = 0;

 protected:
  ~Findings() = default;
};

using CheckFunction = void (*)(const Facts& facts, Findings& findings);

// check_general.cpp
void checkSettings(const Facts&, Findings&);
void checkSensor(const Facts&, Findings&);
void checkFinite(const Facts&, Findings&);
void checkPermittedLoad(const Facts&, Findings&);
void checkLoad(const Facts&, Findings&);
void checkZero(const Facts&, Findings&);
void checkUnits(const Facts&, Findings&);
void checkPeriod(const Facts&, Findings&);
void checkFrame(const Facts&, Findings&);
void checkMounting(const Facts&, Findings&);
void checkSetForce(const Facts&, Findings&);
void checkGains(const Facts&, Findings&);
void checkStability(const Facts&, Findings&);
void checkMonitoring(const Facts&, Findings&);
void checkStall(const Facts&, Findings&);
void checkGuard(const Facts&, Findings&);
// check_contact.cpp
void checkSpeed(const Facts&, Findings&);
void checkSwitching(const Facts&, Findings&);
void checkBreakRange(const Facts&, Findings&);
void checkDeadBand(const Facts&, Findings&);
void checkBox(const Facts&, Findings&);
void checkCorrection(const Facts&, Findings&);
void checkMinimumPath(const Facts&, Findings&);
void checkTimeOut(const Facts&, Findings&);
void checkAssembly(const Facts&, Findings&);
void checkPhase(const Facts&, Findings&);
// check_path.cpp
void checkPath(const Facts&, Findings&);
void checkTurn(const Facts&, Findings&);
void checkSteps(const Facts&, Findings&);
void checkBreakTest(const Facts&, Findings&);

}  // namespace zel::diag

#endif
