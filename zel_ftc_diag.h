/* Why: the reason of the last refusal, every code explained, the health of the sensor's link, and a
 * view into the control cycle.
 *
 * Conventions, valid for every function here:
 *  1. Nothing here changes what the library does: no function of zel_ftc_lib.h behaves differently
 *     because one of these was called.
 *  2. Return value of the functions that fill a record: -1 the library is not open (where that
 *     matters), 0 nothing to tell or a null pointer (the record is untouched), 1 filled.
 *  3. Functions that compose a text take a buffer and its capacity in bytes, write at most that
 *     much, a terminating NUL included, and return the length of the whole text without the NUL: a
 *     result of at least `capacity` says that the text was cut. A null buffer or a capacity of 0
 *     asks for the length alone. There is always a text.
 *  4. Units as in zel_ftc_lib.h: mm, rad, N, N m, ms.
 *  5. Threads: from the one control thread, like everything of the flat interface. Nothing locks,
 *     throws or allocates; no system call but the clock. Fit for every control cycle, the texts
 *     too, although composing one takes longer than a run function.
 *  6. Names (const char*) in the records are static text, valid while the library is loaded.
 *
 * Valid C11 and C++11.
 */
#ifndef ZEL_FTC_DIAG_H
#define ZEL_FTC_DIAG_H

#include <stddef.h>

#include "zel_ftc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- The reason of the last refusal -------------------------------------------------------
 *
 * Every 0 and every -1 of a function of zel_ftc_lib.h leaves a record: one per process, the last
 * one; it outlives zel_ftc_close. What never changes it: a call that returned 1 (or cannot refuse:
 * zel_ftc_close and the pose utilities), and every function of this header, of zel_ftc_check.h, of
 * zel_ftc_guard.h and of zel_ftc_workers.h. */

typedef enum ZelReasonKind ZEL_ENUM_BASE {
  ZEL_REASON_NONE = 0,               /* nothing has been refused yet */
  ZEL_REASON_NOT_OPEN = 1,           /* the library is not open */
  ZEL_REASON_ALREADY_OPEN = 2,       /* zel_ftc_open while open */
  ZEL_REASON_OUT_OF_MEMORY = 3,      /* no memory for the tool, the sensor or a thread */
  ZEL_REASON_NULL_POINTER = 4,       /* argument */
  ZEL_REASON_OUT_OF_RANGE = 5,       /* argument, value, what it must be */
  ZEL_REASON_NOT_FINITE = 6,         /* argument, value, what it must be */
  ZEL_REASON_WRONG_ORDER = 7,        /* argument: what must be done first */
  ZEL_REASON_SAMPLE_USED = 8,        /* value: the counter of the sample that was used before */
  ZEL_REASON_NOTHING_RECORDED = 9,   /* no calibration sample, and no load set before */
  ZEL_REASON_LIST_FULL = 10,         /* limit: how many samples there may be */
  ZEL_REASON_IMPLAUSIBLE_LOAD = 11,  /* argument (lx or ly), value, limit */
  ZEL_REASON_NOT_CONNECTED = 12,     /* the sensor is not initialised */
  ZEL_REASON_BAD_ADDRESS = 13,       /* argument; detail: the text given */
  ZEL_REASON_PORT_TAKEN = 14,        /* value: the local port; system_error */
  ZEL_REASON_NO_SOCKET = 15,         /* system_error */
  ZEL_REASON_NO_THREAD = 16,         /* detail: which worker; system_error */
  ZEL_REASON_NO_ANSWER = 17,         /* detail: the command; value: how long it was awaited, ms */
  ZEL_REASON_BAD_ANSWER = 18,        /* detail: the command; argument: what was wrong with it */
  ZEL_REASON_SENSOR_NOT_NORMAL = 19, /* code: the sensor status */
  ZEL_REASON_RUN_FAILED = 20,        /* code: the run result */
  ZEL_REASON_RUN_ENDED = 21,         /* code: 80001 and above: a normal end */
  ZEL_REASON_HANDED_IN = 22,         /* zel_ftc_issetok(false): the result was the caller's own */
  ZEL_REASON_INTERNAL = 23,          /* an unexpected exception was caught */
  ZEL_REASON_KINDS = 24              /* their number */
} ZelReasonKind;

/* What a value had to be, exactly as the check compares. */
typedef enum ZelRelation ZEL_ENUM_BASE {
  ZEL_MUST_NONE = 0,
  ZEL_MUST_BE_AT_MOST = 1,  /* value <= limit */
  ZEL_MUST_BE_AT_LEAST = 2, /* value >= limit */
  ZEL_MUST_BE_FROM_TO = 3,  /* limit <= value <= upper_limit */
  ZEL_MUST_BE_BETWEEN = 4,  /* limit < value < upper_limit */
  ZEL_MUST_BE_ONE_OF = 5    /* limit or upper_limit */
} ZelRelation;

/* Bits of zel_ftc_reason.bits for run result 11002: what is missing. */
typedef enum ZelMissing ZEL_ENUM_BASE {
  ZEL_MISSING_NORMAL_SENSOR = 1,
  ZEL_MISSING_LOAD = 2,
  ZEL_MISSING_CORRECTION_LIMIT = 4,
  ZEL_MISSING_MONITORING = 8,
  ZEL_MISSING_CORRECTION_MONITORING = 16
} ZelMissing;

/* Fields that do not apply are 0, "" and, for `element`, -1. */
typedef struct zel_ftc_reason {
  uint64_t number; /* of this refusal, counted from 1: tells a new one from an old one */
  ZelReasonKind kind;
  int32_t result;       /* what the function returned: 0 or -1 */
  const char* function; /* its name */
  const char* argument; /* which argument, axis or quantity */
  int32_t element;      /* which element of an array */
  ZelRelation relation; /* of value and limit */
  double value;         /* the value met; a magnitude where magnitudes are compared */
  double limit, upper_limit;
  const char* unit;     /* of value and limits */
  int32_t code;         /* run result or sensor status */
  uint32_t bits;        /* 11002: ZelMissing; 80002 and above: ZelBreakBit of the tripped axes */
  int32_t system_error; /* errno */
  char detail[32];      /* text that is not static, cut and NUL-terminated */
} zel_ftc_reason;

/* The last refusal. 0 when nothing has been refused since the library was loaded. */
ZEL_FTC_API int zel_ftc_lastReason(zel_ftc_reason* reason);

/* Its sentence, for example
 *   zel_ftc_setTimeStep: msTime is 3.99 ms, must be from 4 to 100 ms
 *   zel_ftc_runApproach ended with 11000: the compensated Fz is 80.2 N, must be at most 80 N
 * with as many digits as it takes to tell value and limit apart; a null reason stands for the last
 * one. */
ZEL_FTC_API size_t zel_ftc_reasonText(const zel_ftc_reason* reason, char* text, size_t capacity);

/* What to do about it. */
ZEL_FTC_API size_t zel_ftc_reasonRemedy(const zel_ftc_reason* reason, char* text, size_t capacity);

/* ---- Every code explained ----------------------------------------------------------------- */

typedef enum ZelCodeSpace ZEL_ENUM_BASE {
  ZEL_CODES_RUN = 0,    /* zel_ftc_error.ftc_code */
  ZEL_CODES_SENSOR = 1, /* zel_ftc_error.ft_code, zel_info_.code: sensor and link */
  ZEL_CODES_REASON = 2  /* ZelReasonKind */
} ZelCodeSpace;

typedef struct zel_ftc_code_info {
  int32_t code;
  const char* name;   /* of the enumerator */
  const char* text;   /* the system's own; "" for reasons */
  const char* cause;  /* "" where there is none to tell */
  const char* remedy; /* "" where there is nothing to do */
  char axes[24];      /* break codes: the tripped axes, "Fx, Fz"; otherwise "" */
} zel_ftc_code_info;

/* 0 for a code that does not exist in this space. Needs no open library. */
ZEL_FTC_API int zel_ftc_explainCode(ZelCodeSpace space, int32_t code, zel_ftc_code_info* info);

/* The codes of a space, one after the other: fills the entry with this index, counted from 0; 0
 * behind the last one. Of the break codes it lists 80002 alone. Needs no open library. */
ZEL_FTC_API int zel_ftc_listCodes(ZelCodeSpace space, int32_t index, zel_ftc_code_info* info);

/* ---- Health of the sensor's link ----------------------------------------------------------
 *
 * Counted since the last zel_ftc_initialFTSensor, successful or not, that found the sensor down. */

typedef struct zel_ftc_link_health {
  uint64_t datagrams;           /* received, from any address */
  uint64_t bytes;               /* in them; of a longer one the first 128 */
  uint64_t foreign_datagrams;   /* of these from another address than the sensor's: accepted too */
  uint64_t dropped_datagrams;   /* of these lost because the queue was full */
  uint64_t cut_datagrams;       /* of these longer than 128 bytes: their rest is lost */
  uint64_t good_frames;         /* readings published */
  uint64_t wrong_checksums;     /* packets dropped for it */
  uint64_t skipped_bytes;       /* dropped to find the next packet */
  uint64_t frames_beyond_range; /* good frames with a value above the range of the model */
  uint64_t bad_status_frames;   /* good frames whose status byte was not 0 */
  int32_t last_bad_status;      /* the last such byte; 0 before the first */
  uint64_t exchanges;           /* commands whose answer was awaited */
  uint64_t failed_exchanges;    /* of these without a good answer */
  double rate; /* good frames per second, over the last full second; 0 until the first is over, and
                  once the newest frame is older than a second */
  double longest_gap; /* between two good frames of one stretch of streaming, ms */
  double age;         /* of the newest good frame, ms; -1 before the first */
} zel_ftc_link_health;

/* One consistent snapshot: no frame is counted whose datagram is not. 0 for an external sensor,
 * which has no link. */
ZEL_FTC_API int zel_ftc_linkHealth(zel_ftc_link_health* health);

/* ---- Every frame of the network sensor ----------------------------------------------------
 *
 * A cycle wants the newest reading, and gets it from zel_ftc_lib.h. Who records or filters at the
 * sensor's own rate wants all of them: they wait in a queue, a second's worth at 1 kHz. A frame
 * that finds it full is not kept; the numbers tell. */

enum { ZEL_KEPT_FRAMES = 1024 };

typedef struct zel_ftc_frame {
  uint64_t number; /* of the good frames since that zel_ftc_initialFTSensor, from 1 on */
  double time;     /* when the library had it, s of CLOCK_MONOTONIC */
  int32_t counter; /* zel_info_.IPOC with this frame */
  int32_t status;  /* zel_info_.code with this frame */
  double value[6]; /* N, N m, as the sensor gives them */
} zel_ftc_frame;

/* Whether frames are kept, from now on and through every zel_ftc_initialFTSensor; not after
 * zel_ftc_open. What waits is forgotten. 0 for an external sensor. */
ZEL_FTC_API int zel_ftc_keepFrames(bool on);

/* Takes the oldest frame that waits. 0 when there is none. */
ZEL_FTC_API int zel_ftc_nextFrame(zel_ftc_frame* frame);

/* ---- A view into the control cycle -------------------------------------------------------- */

typedef enum ZelRunKind ZEL_ENUM_BASE {
  ZEL_NO_RUN = 0, /* no run function has been called since open */
  ZEL_APPROACH_RUN = 1,
  ZEL_ASSEMBLY_RUN = 2,
  ZEL_LINE_RUN = 3,
  ZEL_ARC_RUN = 4
} ZelRunKind;

/* One answer to "why does it not end?" or "why does it not move?". */
typedef enum ZelWhyKind ZEL_ENUM_BASE {
  ZEL_WHY_NOT_RUNNING = 0,      /* code: the last result; no run is in progress */
  ZEL_WHY_SEARCHING = 1,        /* value: force or torque, limit: the switching value */
  ZEL_WHY_BLIND_FRAME = 2,      /* the mode's frame sees no force */
  ZEL_WHY_OUT_OF_BAND = 3,      /* axis; value: |F + E|, limit: the break range */
  ZEL_WHY_SETTLING = 4,         /* value: settled cycles, limit: 20 */
  ZEL_WHY_MINIMUM_PATH = 5,     /* value: travelled, limit: minimum path, mm; axis: of a group */
  ZEL_WHY_START_FOLLOWS = 6,    /* assembly: the start pose follows the robot */
  ZEL_WHY_ON_THE_PATH = 7,      /* value: steps done, limit: steps of the path */
  ZEL_WHY_PATH_WITHOUT_END = 8, /* value: steps of the path, not a number that is ever passed */
  ZEL_WHY_STALLED = 9,          /* value: cycles without a new sample, limit: 20 */
  ZEL_WHY_ASSEMBLY_HOLDS = 10,  /* an assembly run corrects no pose */
  ZEL_WHY_NO_GAIN = 11,         /* axis: its gain is 0 */
  ZEL_WHY_BALANCED = 12,        /* axis: its step is below 1 um or 10 urad; value: F + E */
  ZEL_WHY_NO_SPEED = 13,        /* search or path speed is 0 */
  ZEL_WHY_BOX = 14,             /* axis: x, y, z; value: the bound of the correction box, mm */
  ZEL_WHY_NOT_A_NUMBER = 15,    /* axis of the commanded pose */
  ZEL_WHY_GUARD_HOLDS = 16,     /* the guard has tripped and holds the pose */
  ZEL_WHY_NO_READING = 17,      /* the sensor cannot be read; code: its status */
  ZEL_WHY_KINDS = 18
} ZelWhyKind;

typedef struct zel_ftc_why {
  ZelWhyKind kind;
  int32_t axis; /* 0..5 in the order of a wrench or of a pose, -1 where none */
  double value, limit;
  int32_t code;
} zel_ftc_why;

enum { ZEL_WHY_CAPACITY = 16 };

typedef struct zel_ftc_cycle_view {
  ZelRunKind run;   /* the run whose function was called last */
  bool running;     /* it is in progress */
  int32_t code;     /* its last result; 0 before the first */
  uint64_t cycles;  /* of this run, counted from 1 */
  ZelRcs frame;     /* in which it measures */
  int32_t phase;    /* of an approach: 0 towards contact, 1 in contact */
  bool in_contact;  /* approach: phase 1 and above; others: the switching values are exceeded */
  double wrench[6]; /* measured, compensated, in that frame, N and N m */
  double force_error[6]; /* F + E: what the controller drives to zero */
  double step[6];        /* asked for by the controller in this cycle: mm, then rad in pose order */
  int32_t settled;       /* cycles in a row with every monitored axis in its band; 20 end a run */
  int32_t stalled;       /* cycles in a row without a new sample; 20 fail with 10001 */
  double path, path_limit;   /* from the start pose, mm */
  double angle, angle_limit; /* rad */
  double minimum_path;       /* mm; the group of three where one is set: see minimum_path_group */
  bool has_minimum_path_group;
  double minimum_path_group[3]; /* mm */
  bool minimum_path_covered;
  bool box_high[3], box_low[3]; /* approach: the commanded x, y, z stands at this side of the box */
  double path_step, path_steps; /* line and arc: k of n; 0 otherwise */
  double elapsed;               /* since the start of the run, ms */
  double time_out;              /* of contact runs, ms; 0 for line and arc, which have none */
  bool guarded;                 /* the guard is armed, see zel_ftc_guard.h */
  int32_t unguarded_limits;     /* how many of its limits are off */
  int32_t not_ending_count, not_moving_count;
  zel_ftc_why not_ending[ZEL_WHY_CAPACITY]; /* why the run does not end, all that hold now */
  zel_ftc_why not_moving[ZEL_WHY_CAPACITY]; /* why the robot does not move along its main axis */
} zel_ftc_cycle_view;

/* How things stood at the end of the last cycle. */
ZEL_FTC_API int zel_ftc_cycleView(zel_ftc_cycle_view* view);

/* The sentence of one answer. A null pointer gives "". */
ZEL_FTC_API size_t zel_ftc_whyText(const zel_ftc_why* why, char* text, size_t capacity);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
