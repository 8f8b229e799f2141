/* A check of the configuration before the robot moves: what is wrong, what is right, and what could
 * not be checked and why.
 *
 * The check looks at everything that was handed to the library since it was opened, in the order in
 * which it came, and at what the caller knows of the cell (zel_ftc_plan). It changes nothing and
 * may be called at any time, best right before the first cycle of a run.
 *
 * Conventions as in zel_ftc_diag.h. Not for the control cycle: some ten microseconds.
 *
 * Valid C11 and C++11.
 */
#ifndef ZEL_FTC_CHECK_H
#define ZEL_FTC_CHECK_H

#include <stddef.h>

#include "zel_ftc_diag.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What the library cannot know. Not-a-number: not known; of a pose, its first element. */
typedef struct zel_ftc_plan {
  ZelRunKind run;   /* the run to check for; ZEL_NO_RUN: of the mode configured last */
  double stiffness; /* of the contact: surface, tool and robot together, N/mm */
  double delay;     /* of robot and sensor together, ms */
  double travel;    /* of an approach until it touches, mm */
  double start[6], via[6], end[6]; /* start pose of any run; line: end; arc: via and end */
} zel_ftc_plan;

/* Sets everything to not known. */
ZEL_FTC_API void zel_ftc_emptyPlan(zel_ftc_plan* plan);

typedef enum ZelSeverity ZEL_ENUM_BASE {
  ZEL_FINDING_RIGHT = 0,       /* checked, nothing to say */
  ZEL_FINDING_NOT_CHECKED = 1, /* what is missing is in the text */
  ZEL_FINDING_NOTE = 2,        /* right, and worth knowing */
  ZEL_FINDING_WARNING = 3,     /* may be meant, rarely is */
  ZEL_FINDING_ERROR = 4        /* the run cannot do what it is for, or does harm */
} ZelSeverity;

/* What is checked, in the order of the report. */
typedef enum ZelCheck ZEL_ENUM_BASE {
  ZEL_CHECK_SETTINGS = 0,
  ZEL_CHECK_SENSOR,
  ZEL_CHECK_FINITE,
  ZEL_CHECK_PERMITTED_LOAD,
  ZEL_CHECK_LOAD,
  ZEL_CHECK_ZERO,
  ZEL_CHECK_UNITS,
  ZEL_CHECK_PERIOD,
  ZEL_CHECK_FRAME,
  ZEL_CHECK_MOUNTING,
  ZEL_CHECK_SET_FORCE,
  ZEL_CHECK_GAINS,
  ZEL_CHECK_STABILITY,
  ZEL_CHECK_SPEED,
  ZEL_CHECK_MONITORING,
  ZEL_CHECK_SWITCHING,
  ZEL_CHECK_BREAK_RANGE,
  ZEL_CHECK_DEAD_BAND,
  ZEL_CHECK_BOX,
  ZEL_CHECK_CORRECTION,
  ZEL_CHECK_MINIMUM_PATH,
  ZEL_CHECK_TIME_OUT,
  ZEL_CHECK_ASSEMBLY,
  ZEL_CHECK_PHASE,
  ZEL_CHECK_PATH,
  ZEL_CHECK_TURN,
  ZEL_CHECK_STEPS,
  ZEL_CHECK_BREAK_TEST,
  ZEL_CHECK_STALL,
  ZEL_CHECK_GUARD,
  ZEL_CHECK_COUNT
} ZelCheck;

typedef struct zel_ftc_finding {
  ZelCheck check;
  ZelSeverity severity;
  int32_t fault; /* number of the fault within the table of faults; -1 for right and not checked */
  int32_t axis;  /* 0..5 in the order of a wrench, or of a pose; -1 where none */
  const char* what; /* which value, where the fault alone does not say; static text */
  double value, limit;
} zel_ftc_finding;

/* Writes the findings of all checks that apply to the run, at least one of each: every fault, or
 * that it is right, or that it could not be checked. Returns their number, of which at most
 * `capacity` are written (ZEL_FINDINGS_ENOUGH always suffices); -1 while the library is not open.
 * A null plan knows nothing. */
enum { ZEL_FINDINGS_ENOUGH = 128 };
ZEL_FTC_API int32_t zel_ftc_checkConfiguration(const zel_ftc_plan* plan, zel_ftc_finding* findings,
                                               int32_t capacity);

/* The sentence of a finding with its amounts, and what to do about it ("" where nothing). */
ZEL_FTC_API size_t zel_ftc_findingText(const zel_ftc_finding* finding, char* text, size_t capacity);
ZEL_FTC_API size_t zel_ftc_findingRemedy(const zel_ftc_finding* finding, char* text,
                                         size_t capacity);
/* The heading in docs/behaviour.md that tells more; "" where there is none. Static text. */
ZEL_FTC_API const char* zel_ftc_findingSection(const zel_ftc_finding* finding);
/* The name of the fault ("FRAME_WITHOUT_FORCE"), or of the check where there is none. */
ZEL_FTC_API const char* zel_ftc_findingName(const zel_ftc_finding* finding);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
