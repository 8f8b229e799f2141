/* A guard: keeps the commanded pose inside limits that do not depend on the task being configured
 * well.
 *
 * A controller calls zel_ftc_guard once per period, after the run function and before it commands
 * the pose. Each limit is off until it is set; a limit that is exceeded warns, or holds: the pose
 * to command is then the last one that passed, until zel_ftc_resetGuard. It judges the pose that is
 * about to be commanded, not a measured one that lags behind, and works for all four runs and for
 * poses that come from no run at all.
 *
 *   memcpy(out, now, sizeof(zel_pose)); // a failed sensor read leaves out as it is
 *   int result = zel_ftc_runApproach(out, now, &err);
 *   zel_ftc_guard(out, now, &verdict);
 *   if (verdict.first) tell(&verdict);
 *   if (finite(out)) command(out);
 *
 * This is no safety function in the sense of the standards (ISO 10218, ISO 13849): it runs in the
 * same process, on the same readings, as what it watches. It catches mistakes early; the robot's
 * safety controller has to do without it.
 *
 * Conventions as in zel_ftc_diag.h. One guard per process; zel_ftc_open starts it with every limit
 * off. zel_ftc_guard takes 25 to 40 ns with every limit on, where a run function takes 300 to 440,
 * and makes no system call but the clock.
 *
 * Valid C11 and C++11.
 */
#ifndef ZEL_FTC_GUARD_H
#define ZEL_FTC_GUARD_H

#include <stddef.h>

#include "zel_ftc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What is limited: name, unit, what is judged. A value equal to its limit is within.
 * ZEL_LIMIT_READING, _POSE, _STEP, _TURN and _SAMPLE_AGE are judged in every call, the others,
 * force and torque among them, in a call that comes after a cycle of a run. The limits of the first
 * two have no meaning. The force is that of every frame alike, the torque that at the tool. The
 * time without a new sample counts from the first guarded cycle that had none. The time of a run is
 * told by a clock that ticks every 1 to 10 ms: its limit is met that much late, never early. */
#define ZEL_GUARD_LIMITS(X)                                                                  \
  X(ZEL_LIMIT_READING, "", "a raw reading that is not finite")                               \
  X(ZEL_LIMIT_POSE, "", "a pose, handed in or to command, that is not finite")               \
  X(ZEL_LIMIT_STEP, "mm", "the step from the pose commanded last")                           \
  X(ZEL_LIMIT_TURN, "rad", "the turn from the pose commanded last")                          \
  X(ZEL_LIMIT_DISTANCE, "mm", "the distance from the start pose of the run")                 \
  X(ZEL_LIMIT_ROTATION, "rad", "the rotation from the start pose of the run")                \
  X(ZEL_LIMIT_PATH, "mm", "the distance from the programmed line or arc")                    \
  X(ZEL_LIMIT_OFF_AXIS, "mm", "the distance of an approach from the axis it searches along") \
  X(ZEL_LIMIT_SAMPLE_AGE, "ms", "the time without a new sample")                             \
  X(ZEL_LIMIT_RUN_TIME, "ms", "the time since the start of the run")                         \
  X(ZEL_LIMIT_FORCE, "N", "the compensated force")                                           \
  X(ZEL_LIMIT_TORQUE, "N m", "the compensated torque at the tool")                           \
  X(ZEL_LIMIT_FORCE_CHANGE, "N", "the change of the compensated force since the last cycle") \
  X(ZEL_LIMIT_TORQUE_CHANGE, "N m", "the change of the compensated torque since the last cycle")

typedef enum ZelGuardLimit ZEL_ENUM_BASE {
#define ZEL_GUARD_ENUMERATOR(name, unit, what) name,
  ZEL_GUARD_LIMITS(ZEL_GUARD_ENUMERATOR)
#undef ZEL_GUARD_ENUMERATOR
      ZEL_GUARD_LIMIT_COUNT
} ZelGuardLimit;

/* What happens when a limit is exceeded, and what ends it. */
typedef enum ZelGuardAction ZEL_ENUM_BASE {
  ZEL_GUARD_OFF = 0,  /* not judged */
  ZEL_GUARD_WARN = 1, /* the pose passes; ends when the cause is gone */
  ZEL_GUARD_HOLD = 2  /* the pose is held; ends with zel_ftc_resetGuard */
} ZelGuardAction;

/* One limit, as it is set. */
typedef struct zel_ftc_guard_limit {
  const char* name; /* of the enumerator */
  const char* unit;
  const char* what; /* what is judged */
  double limit;
  ZelGuardAction action;
} zel_ftc_guard_limit;

/* Sets a limit. 0, nothing changed, for a limit or an action that does not exist, and for a limit
 * that is not finite or negative. -1: not open. */
ZEL_FTC_API int zel_ftc_setGuardLimit(ZelGuardLimit which, double limit, ZelGuardAction action);
/* 0, nothing touched, for a limit that does not exist and a null pointer. -1: not open. */
ZEL_FTC_API int zel_ftc_getGuardLimit(ZelGuardLimit which, zel_ftc_guard_limit* limit);

typedef struct zel_ftc_guard_verdict {
  ZelGuardAction action; /* OFF: nothing is exceeded; otherwise of the gravest limit exceeded */
  ZelGuardLimit which;   /* the limit exceeded */
  bool first;            /* the first verdict of this event: what to report once */
  uint64_t event;        /* number of the event, counted from 1 since open; 0: none yet */
  double value, limit;   /* when the event began */
  double duration;       /* of the event so far, ms */
} zel_ftc_guard_verdict;

/* Judges the pose about to be commanded (in and out) after this period's run function.
 * robot_pos_now is what the run function was given: the reference of the first step, and the pose
 * held when none has passed yet.
 * 1: command the pose, which is unchanged. 0: held, the pose has been replaced by the one to
 * command; or a null pointer, nothing touched. When there is no finite pose to hold, 0 with the
 * pose unchanged: do not move. -1: not open, nothing touched. verdict may be null. */
ZEL_FTC_API int zel_ftc_guard(double* pose, const double* robot_pos_now,
                              zel_ftc_guard_verdict* verdict);

/* Ends every event. The next pose is judged against robot_pos_now. 1, or -1 when not open. */
ZEL_FTC_API int zel_ftc_resetGuard(void);

/* The sentence of a verdict, for example
 *   the guard holds: the step from the pose commanded last is 3.2 mm, must be at most 1 mm */
ZEL_FTC_API size_t zel_ftc_guardText(const zel_ftc_guard_verdict* verdict, char* text,
                                     size_t capacity);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
