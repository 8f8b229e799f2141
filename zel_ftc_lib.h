/* The flat interface of the force-control library: what a robot controller links.
 *
 * Conventions, valid for every function here:
 *  1. Return value: -1 the library is not open (checked before anything else), 0 failure or the run
 *     ended, 1 success. The functions of the last group (pose utilities) need no open library.
 *  2. Units: mm, rad, N, N m, ms. A pose is x, y, z, then the angles about Z, Y, X:
 *     R = RotZ(a) * RotY(b) * RotX(c). A wrench is Fx, Fy, Fz, Mx, My, Mz.
 *  3. Frames: a robot pose is the flange in the robot base.
 *  4. Arrays have six elements unless said otherwise. Inputs are never written. Outputs are written
 *     on success only, except where a run says so. A null pointer where one is needed gives 0 with
 *     nothing touched (pose utilities do not check their pointers).
 *  5. Threads: everything from the one control thread. Nothing locks, nothing throws; it may be
 *     under any scheduling policy and tied to a core, the workers of a sensor take over neither.
 *  6. Real time: the run functions, zel_ftc_obtainFTSensorData, zel_ftc_getSensorData,
 *     zel_ftc_getRCS_FT_Data and zel_ftc_get_GraData neither allocate nor make a system call except
 *     for reading the clock (UDP sensor: while it streams). Four functions print a line, so keep
 *     them out of the cycle: zel_ftc_configApproachMode, zel_ftc_getLoadData, a refused
 *     zel_ftc_sensorReset, and zel_ftc_initialFTSensor when the system has no socket.
 *  7. Why: zel_ftc_diag.h tells the reason of every 0 and -1, with amounts and remedy.
 *     zel_ftc_check.h checks the configuration before the robot moves, zel_ftc_guard.h watches the
 *     commanded pose, zel_ftc_workers.h places the network sensor's threads.
 *
 * Valid C11 and C++11.
 */
#ifndef ZEL_FTC_LIB_H
#define ZEL_FTC_LIB_H

#include "zel_ftc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Library-wide state: read-only for callers ------------------------------------------- */

extern ZEL_FTC_API void* m_zelftcclass;      /* the tool, null while closed */
extern ZEL_FTC_API void* m_zelftsensorclass; /* the sensor, null while closed */
extern ZEL_FTC_API double zel_raw_ft[6];     /* the last raw reading, sensor frame */
extern ZEL_FTC_API zel_ft_info zel_info_;    /* the status that came with it */
extern ZEL_FTC_API bool zel_is_external;     /* true: readings are fed by the caller */

/* Only a read refreshes zel_raw_ft and zel_info_: a run, zel_ftc_sensorReset,
 * zel_ftc_getSensorData, zel_ftc_get_GraData and, with the network sensor,
 * zel_ftc_obtainFTSensorData. After a failed start or setting they still tell of an earlier
 * reading: read once, then look at zel_info_. */

/* ---- Open and close ---------------------------------------------------------------------- */

/* Creates the tool and the sensor: fed by the caller (isExternal) or on the network.
 * 0 when already open (nothing changes). */
ZEL_FTC_API int zel_ftc_open(bool isExternal);

/* Stops the sensor, releases both objects. Always 1, also when nothing was open. */
ZEL_FTC_API int zel_ftc_close(void);

/* ---- Sensor ------------------------------------------------------------------------------ */

/* Brings the sensor up. host is the port number of the network sensor, ip its dotted address; an
 * external sensor ignores both (ip may be null there), and so does a sensor that is up already: 1,
 * it stays the one that it is until zel_ftc_uninitialFTSensor.
 * Network sensor: takes the local UDP port 52000 for itself and starts two threads until
 * zel_ftc_uninitialFTSensor; one of them spins, so that a frame is there the moment it has arrived,
 * and wants a processor core of its own (zel_ftc_workers.h: cores, priorities, and how to let it
 * wait instead). A sensor that streams still, for a controller that has crashed, is stopped first.
 * 0 with everything taken down again: it can be tried again at once. A read then tells the reason
 * in zel_info_: COMM_IP_ERROR the address is not four dotted numbers, COMM_PORT_ERROR no socket,
 * local port taken or no answer, COMM_THREAD_OPEN_ERROR no thread, or not where it was to run. */
ZEL_FTC_API int zel_ftc_initialFTSensor(unsigned short host, const char* ip);
ZEL_FTC_API int zel_ftc_uninitialFTSensor(void);

/* External sensor: hands in the six raw values of this cycle, before any run function.
 * Network sensor: copies the newest reading out; 0 (array untouched) when it is not a normal one.
 */
ZEL_FTC_API int zel_ftc_obtainFTSensorData(double* m_ftData);

/* Nominal range per axis. 1 even when the sensor has none to tell (array untouched). */
ZEL_FTC_API int zel_ftc_getFTSensorRange(double* range);
ZEL_FTC_API int zel_ftc_zeroFTSensor(void);

/* Sensor-side filters; range is cut to its low 8 bits. */
ZEL_FTC_API int zel_ftc_lowPassFilterFTSensor(int range);
ZEL_FTC_API int zel_ftc_medianFilterDepthFTSensor(int range);

/* ---- Configuration ----------------------------------------------------------------------- */

/* Control period, 4..100 ms. Gains are scaled with the period when a mode is configured: set the
 * period first. */
ZEL_FTC_API int zel_ftc_setTimeStep(double msTime);
ZEL_FTC_API int zel_ftc_getTimeStep(double* msTime);

/* Permitted load per axis, the sensor's pose on the flange, the tool's pose on the sensor. */
ZEL_FTC_API int zel_ftc_setSensorConfig(double* maxLoad, double* sensor_offset,
                                        double* tool_offect_sensor);

/* Weight of the load (N) and its centre of mass in the sensor frame (mm).
 * 0 when a length exceeds 500: nothing is stored and runs report 11002 until a load is set.
 * Only the upper bound is checked. */
ZEL_FTC_API int zel_ftc_setLoadData(double g, double lx, double ly, double lz);
ZEL_FTC_API int zel_ftc_getLoadData(double* g, double* lx, double* ly, double* lz);

/* Box around the start pose that an approach may command: three upper and three lower bounds (mm,
 * arrays of three); what is beyond is cut without a code. ang (rad) is stored and not used. */
ZEL_FTC_API int zel_ftc_setCorrectionLimit(double* max, double* min, double ang);

/* Largest compensated wrench per axis in the mode's frame; beyond it a run ends with 11000. */
ZEL_FTC_API int zel_ftc_setMonitoringFunctions(double* _monitoringFunctions);

/* Farthest from the start pose of an approach, its travel included, mm and rad; beyond it 11005.
 * Lines and arcs have no such limit. */
ZEL_FTC_API int zel_ftc_setCorrectionMonitoring(double path, double angle);

/* Dead band of the compensated wrench: 0 < f_min < 100 N, 0 < m_min < 10 N m. A value that passes
 * is stored even when the other is refused. */
ZEL_FTC_API int zel_ftc_setSensorNoiseThreshold(double f_min, double m_min);

/* Path that must be covered before a contact may end a run: value_name 5001 in mm; 5002 is stored
 * and not used. zel_set_minValue_every takes three values (mm), one per axis; value_name is
 * ignored. */
ZEL_FTC_API int zel_set_minValue(double value, int value_name);
ZEL_FTC_API int zel_set_minValue_every(double* value_group, int value_name);

/* The modes. Configuring one makes the other two unusable until they are configured again.
 * setKR: gain per axis, mm/s per N (rad/s * 1000 per N m). translationalMotion, desiredSpeed: mm/s.
 * timeOut: ms. breakConditionRange, 0 = axis not monitored: of approach and assembly the band of
 * the control error; of tracking a signed limit of F + E (E of the approach mode) that trips beyond
 * it, in the direction of its sign, and on a sudden change only. */
ZEL_FTC_API int zel_ftc_configApproachMode(ZelRcs rcs, ZelDirection mainDirection,
                                           double setExpectFT, double* setKR,
                                           double translationalMotion, double switchingForce,
                                           double switchingTorque, double* breakConditionRange,
                                           unsigned long timeOut);
ZEL_FTC_API int zel_ftc_configAssemblyMode(ZelRcs rcs, ZelDirection mainDirection,
                                           double setExpectFT, double* setKR,
                                           double translationalMotion, double switchingForce,
                                           double switchingTorque, double* breakConditionRange,
                                           unsigned long timeOut, double pathOut, double minPath,
                                           double minPathForce);
ZEL_FTC_API int zel_ftc_configTrackingMotionMode(ZelRcs rcs, ZelDirection mainDirection,
                                                 double* expectFT, double* kr,
                                                 double* breakConditionRange, double desiredSpeed);

/* ---- Load identification ----------------------------------------------------------------- */

/* Records one static sample (raw wrench, flange pose); the eleventh is refused. */
ZEL_FTC_API int zel_ftc_recordCalibrationLoadData(double* ft, double* robot_pos);
ZEL_FTC_API int zel_ftc_initCalibrationLoadData(void);
ZEL_FTC_API int zel_ftc_gravityCalibration(void);

/* ---- Readings ---------------------------------------------------------------------------- */

/* Takes the zero reference at this pose, robot at rest and without contact. Sleeps 10 ms first.
 * 0 when no new sample has arrived since the last one used. */
ZEL_FTC_API int zel_ftc_sensorReset(double* robot_pos);

/* Compensated wrench of a fresh reading in the given frame, dead band applied. */
ZEL_FTC_API int zel_ftc_getSensorData(double* ft, double* robot_pos, ZelRcs rcs);

/* The wrench that the last cycle worked with. */
ZEL_FTC_API int zel_ftc_getRCS_FT_Data(double* ft);

/* Compensated wrench in the sensor frame, without dead band. */
ZEL_FTC_API int zel_ftc_get_GraData(double* ft, double* robot_pos);

/* ---- Runs: one call per control cycle ---------------------------------------------------------
 * robot_pos_now is the set pose, commanded last, not a measured one that lags behind it.
 * 1: out_pos is the pose to command, but for zel_ftc_runAssembly, which corrects nothing: its
 * out_pos is left from an earlier run, or six zeros, not to be commanded. 0: the run failed or
 * ended (err->ftc_code tells which) and out_pos is robot_pos_now. When the sensor read itself
 * failed: 0, err->ft_code and err->ft_ipoc are fresh, out_pos and err->ftc_code keep their values.
 */

ZEL_FTC_API int zel_ftc_runApproach(double* out_pos, double* robot_pos_now, zel_ftc_error* err);
ZEL_FTC_API int zel_ftc_runAssembly(double* out_pos, double* robot_pos_now, zel_ftc_error* err);
ZEL_FTC_API int zel_ftc_runTrackingMotionL(double* out_pos, double* robot_pos_start,
                                           double* robot_pos_end, double* robot_pos_now,
                                           zel_ftc_error* err);
ZEL_FTC_API int zel_ftc_runTrackingMotionC(double* out_pos, double* robot_pos_start,
                                           double* robot_pos_transition, double* robot_pos_end,
                                           double* robot_pos_now, zel_ftc_error* err);

/* Ends a run from outside; clears the approach and tracking configurations. */
ZEL_FTC_API int zel_ftc_clear(void);
/* Accepted, without effect. */
ZEL_FTC_API int zel_ftc_stop(void);
ZEL_FTC_API int zel_ftc_Release(void);

/* ---- Pose utilities: always 1, pointers not checked, output first ------------------------ */

/* pose_qua: seven values x, y, z, w, qx, qy, qz. */
ZEL_FTC_API int zel_rpy2quaternion(double* pose_qua, double* pose);
/* The quaternion is not normalised. */
ZEL_FTC_API int zel_quaternion2rpy(double* pose, double* pose_qua);
/* The pose p2 expressed in the frame p1. */
ZEL_FTC_API int zel_pose2offset(double* offset, double* p1, double* p2);

#ifdef __cplusplus
} /* extern "C" */

/* The return convention: -1 when the library is not open, else isok as 1 or 0. C++ linkage. */
ZEL_FTC_API int zel_ftc_issetok(bool isok);
#endif

#endif
