/* Where and how the two worker threads of the network sensor run.
 *
 * The receive thread takes datagrams from the socket, the unpack thread makes readings of them;
 * both live from zel_ftc_initialFTSensor to zel_ftc_uninitialFTSensor. Nothing of the thread that
 * initialises the sensor is passed on to them but its nice value: they run under SCHED_OTHER, on
 * the cores that the process had when the library was loaded, with all signals blocked, under the
 * names "zel_ft_receive" and "zel_ft_unpack". This header changes core, policy and priority, and
 * how the unpack thread passes its time:
 *
 *   it spins (default)   a frame is a reading as soon as it has arrived; takes one core, all of it
 *   it waits             takes next to no processor time; a frame is a reading a wake-up later
 *
 * A controller without a core to spare lets it wait. docs/guide.md gives the figures of both.
 *
 * Conventions:
 *  1. Return value: 1 done, 0 refused with nothing changed or written. Good whether the library is
 *     open or not, for an external sensor as well (it has no workers).
 *  2. The setting is kept per process. zel_ftc_initialFTSensor takes it over when it starts the
 *     workers; a sensor that is up goes on as it is. Opening and closing the library leave it.
 *  3. Threads: from the one control thread, as everything of zel_ftc_lib.h. Not for the cycle.
 *
 * Valid C11 and C++11.
 */
#ifndef ZEL_FTC_WORKERS_H
#define ZEL_FTC_WORKERS_H

#include <stddef.h>

#include "zel_ftc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum ZelWorker ZEL_ENUM_BASE { ZEL_WORKER_RECEIVE = 0, ZEL_WORKER_UNPACK = 1 } ZelWorker;

/* Scheduling policies of the system: sched(7). */
typedef enum ZelWorkerPolicy ZEL_ENUM_BASE {
  ZEL_SCHED_OTHER = 0, /* time sharing */
  ZEL_SCHED_FIFO = 1,  /* real time, until it sleeps */
  ZEL_SCHED_RR = 2     /* real time, in turns with its equals */
} ZelWorkerPolicy;

/* A core for zel_ftc_worker.core: every core that the process had when the library was loaded. */
#define ZEL_ANY_CORE (-1)

typedef struct zel_ftc_worker_t {
  int32_t core;           /* 0..1023, or ZEL_ANY_CORE */
  ZelWorkerPolicy policy; /* the real-time ones need CAP_SYS_NICE or a sufficient RLIMIT_RTPRIO */
  int32_t priority;       /* 1..99 in real time, the highest goes first; else 0 */
} zel_ftc_worker_t, zel_ftc_worker;

typedef struct zel_ftc_workers_t {
  zel_ftc_worker receive;
  zel_ftc_worker unpack;
  bool unpack_waits; /* false: it spins */
} zel_ftc_workers_t, zel_ftc_workers;

/* How the next start runs its workers. Begin with what zel_ftc_getWorkers gives, then change it.
 * 0 when a value is out of range, or when the unpack thread would spin in real time on the very
 * core of the receive thread, which has no higher priority there and would never run.
 * A thread that spins in real time keeps everything of lower priority off its core, the caller
 * too: give it a core that nobody else needs.
 * Whether the machine has the core and the process the right shows at the start: without them
 * zel_ftc_initialFTSensor gives 0 with COMM_THREAD_OPEN_ERROR and takes everything down again. */
ZEL_FTC_API int zel_ftc_setWorkers(const zel_ftc_workers* workers);

/* The present setting. */
ZEL_FTC_API int zel_ftc_getWorkers(zel_ftc_workers* workers);

/* What could not be had. */
typedef enum ZelWorkerStep ZEL_ENUM_BASE {
  ZEL_WORKER_THREAD = 1,    /* the thread itself */
  ZEL_WORKER_CORE = 2,      /* its core */
  ZEL_WORKER_SCHEDULING = 3 /* its policy and priority */
} ZelWorkerStep;

/* The facts of a start that failed with COMM_THREAD_OPEN_ERROR. */
typedef struct zel_ftc_worker_fault_t {
  ZelWorkerStep step;
  ZelWorker worker;
  zel_ftc_worker asked; /* the setting of that worker */
  int32_t error;        /* the system's error number, as in errno.h */
} zel_ftc_worker_fault_t, zel_ftc_worker_fault;

/* Why the workers of the last start could not be had. 0 when they could, and before any start. */
ZEL_FTC_API int zel_ftc_getWorkerFault(zel_ftc_worker_fault* fault);

/* The same as a sentence that says what to do, for example "cannot run the receive thread under
 * SCHED_FIFO priority 80: Operation not permitted; needs CAP_SYS_NICE or RLIMIT_RTPRIO >= 80".
 * At most size bytes are written, the terminator included; 256 hold every sentence. */
ZEL_FTC_API int zel_ftc_getWorkerFaultText(char* text, size_t size);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
