// The force-control tool: configuration, force measurement, controller, correction and runs.
#ifndef ZEL_FTC_ROBOT_ZELFTCTOOL_H
#define ZEL_FTC_ROBOT_ZELFTCTOOL_H

#include <cstddef>

#include "control/MBK_Fhan.h"
#include "matrix/rmatrix.h"
#include "matrix/rmatrix30.h"
#include "matrix/rvector.h"
#include "robot/ZelForceControlTool.h"
#include "zel_clock.h"
#include "zel_ftc_types.h"

namespace zel {
struct RigidTransform;
}

/// Force control of one tool on one robot.
///
/// Frames: base (robot base), flange, sensor (on the flange), tool (on the sensor). Caller poses
/// are in mm and rad, the members in m and rad; wrenches in N and N m. A measured wrench is the
/// force that the surroundings exert on the tool. The controller drives the measured force towards
/// minus the expected one: a tool whose z axis points at the surface and that shall press with 10 N
/// expects +10 along z, moves along +z and settles at -10.
///
/// Which source file holds what:
///   ZelFTCTool_configuration.cpp  defaults, settings, clear
///   ZelFTCTool_measurement.cpp    gravity and zero compensation, frames, dead band
///   ZelFTCTool_calibration.cpp    load identification from recorded poses
///   ZelFTCTool_controller.cpp     force error to displacement request
///   ZelFTCTool_correction.cpp     displacement request to corrected pose
///   ZelFTCTool_path.cpp           line and arc, unit conversions
///   ZelFTCTool_monitoring.cpp     the tests that stop or end a run
///   ZelFTCTool_runs.cpp           the sequence of a run, sensorReset
///
/// One thread. No operation throws. The cycle operations (the runs, the readings) neither allocate
/// nor make a system call except for reading the clock; the configuration of an approach,
/// getLoadData and a refused sensorReset print a line. The members are open for diagnostics and
/// tests; a controller changes them through the operations only. Pointers are not checked here but
/// in the flat interface.
class ZEL_FTC_API ZelFTCTool : public ZelForceControlTool {
 public:
  // ---- records --------------------------------------------------------------------------------

  struct ZEL_FTC_API ZelFprceSensorConfig {
    double MaxLoad[6] = {};    ///< permitted load of the sensor per axis, N and N m
    RVector flange_sensor{6};  ///< pose of the sensor on the flange, m
    RVector sensor_tool{6};    ///< pose of the tool on the sensor, m

    ZelFprceSensorConfig();
    ~ZelFprceSensorConfig();
    ZelFprceSensorConfig(const ZelFprceSensorConfig&) = default;
    ZelFprceSensorConfig& operator=(const ZelFprceSensorConfig&) = default;
  };

  struct ZelFprceSensorLoadData {
    double G;           ///< weight, N
    double lx, ly, lz;  ///< centre of mass in the sensor frame, m
  };

  struct ZelFtcApproachConfig {
    ZelCartesianCoordinate rcs;
    ZelMainDirection mainDirection;
    double setExpectFT[6];          ///< expected force; only the main component is set
    double setKR[6];                ///< gain per force component and cycle: m/N, rad/(N m)
    double translationalMotion;     ///< approach speed, m/s
    double switchingForce;          ///< contact, N
    double switchingTorque;         ///< contact, N m
    double breakConditionRange[6];  ///< settled band of the control error; 0 = not monitored
    unsigned long timeOut;          ///< ms
  };

  struct ZelFtcAssemblyConfig : ZelFtcApproachConfig {
    double pathOut;  ///< stored, not used
  };

  struct ZelFtcTrackingMotionConfig {
    ZelCartesianCoordinate rcs;
    ZelMainDirection mainDirection;
    double setExpectFT[6];
    double setKR[6];
    double breakConditionRange[6];  ///< sudden-change band; sign selects the direction, 0 = none
    double setDesiredSpeed;         ///< m/s along the path
  };

  struct ZelFtcCorrectionLimit {
    double max[3], min[3];    ///< box around the start pose of an approach, m
    double angle;             ///< stored, not used
    double minPath;           ///< m
    double minPathForce;      ///< stored, not used
    double minpath_group[3];  ///< m per axis
    bool set_group;           ///< minpath_group replaces minPath
  };

  struct ZelFtcCorrectionMonitoring {
    double path, angle;  ///< m, rad
  };

  struct ZelFtcMonitoringFunctions {
    double MaxPermissibleLoad[6];
  };

  struct ZelFtcGravityCalibrationData {
    double FTData[10][6];    ///< raw wrenches
    double PoseData[10][6];  ///< sensor poses in the base, m
    std::size_t size;        ///< samples recorded, 0..10
  };

  struct ZelFtcMoveCData {
    double radius;
    double centerOfCircle[3];
    double radian;                  ///< signed sweep to the end point
    double radian_b;                ///< angle of the via point
    double conversionMatrix[4][4];  ///< circle frame in the base
    double stepB;                   ///< cycles to the via point
    double stepMax;                 ///< cycles of the arc
    double stepNow;
  };

  struct ZelFtcMoveLData {
    double stepMax;  ///< cycles of the line
    double stepNow;
  };

  // ---- state, in order ------------------------------------------------------------------------

  ZelFprceSensorConfig FTconfig;
  ZelFprceSensorLoadData loadData = {};
  ZelFtcApproachConfig approachConfig = {};
  ZelFtcAssemblyConfig assemblyConfig = {};
  ZelFtcTrackingMotionConfig trackingMotionConfig = {};
  ZelFtcCorrectionLimit correctionLimit = {};
  ZelFtcMonitoringFunctions monitoringFunctions = {};
  ZelFtcCorrectionMonitoring correctionMonitoring = {};
  ZelFtcGravityCalibrationData gravityCalibrationData = {};
  ZelFtcMoveCData moveCData = {};
  ZelFtcMoveLData moveLData = {};

  bool isSetApproach = false;
  bool isSetAssembly = false;
  bool isSetTrackingMotion = false;
  bool isSetSensorConfig = false;  ///< not a precondition of a run
  bool isSetLoadData = false;
  bool isSetCorrectionLimit = false;
  bool isSetMonitoringFunctions = false;
  bool isSetCorrectionMonitoring = false;
  bool isSensorRun = false;
  ZelMoveType trackingMotionMoveType = MOVEJ;  ///< motion of the active tracking run
  double ft_data[6] = {};
  RVector rcs_ft_data_1{6};
  RVector rcs_ft_data{6};  ///< compensated wrench in the mode's frame, dead band applied
  RVector ft_data_raw{6};  ///< raw wrench of this cycle, sensor frame
  double maxPath = 0.0, maxAngle = 0.0;
  unsigned long startingtime = 0, time_now = 0;
  int isFTTimeOut[20] = {};  ///< newest last; 1 = the sample counter did not change
  zel_clock time_start = {};
  double timeStep = 0.008;         ///< s
  double _f_min = 0.25;            ///< dead band, N
  double _m_min = 0.0025;          ///< dead band, N m
  int isApproachTouchOK[20] = {};  ///< newest last; 1 = every monitored component in its band
  int isAssemblyTouchOK[20] = {};
  bool runApproachMode = false;
  bool runAssemblyMode = false;
  bool runTrackingMotionMode = false;
  bool runDragMode = false;
  bool isApproachTouch = false, isAssemblyTouch = false;  ///< latches passed to isTouch
  /// Phase: 0 towards contact, 1 in contact. No operation enters 2 (biased); 3 (plain) follows it.
  int ApproachMode = 0;
  bool isFistZeroFT = true;
  RVector PosStart{6}, PosNow{6}, PosEnd{6}, PosCTransition{6};
  RVector MoveLrv_q{7};              ///< step of a line: dx, dy, dz, quaternion increment
  RVector MoveCrv_c_q{7};            ///< quaternion increment of an arc behind the via point
  RVector MoveCrv_b_q{7};            ///< and before it
  RVector PosMoveExpect_q{7};        ///< nominal path pose without force correction
  RVector PosExpect{6}, PosFTC{6};   ///< pose before and after the correction
  RVector ldd_ft0{6}, ldd_ftNow{6};  ///< zero reference; gravity wrench at the current pose
  RVector ft_data_tool{6};           ///< compensated wrench, tool frame
  RVector ft_data_base{6};           ///< never updated: force control in WORLD and BASE sees it
  RVector pos_tool{6};
  RVector ftc_offset{6};  ///< displacement request: m, then rad in pose order (about Z, Y, X)
  /// The last four measured wrenches in the mode's frame (not offsets), newest first.
  RVector ftc_offset_last1{6}, ftc_offset_last2{6}, ftc_offset_last3{6}, ftc_offset_last4{6};
  RVector ft_diff_2{6}, df{6};
  RVector ftc_path_offset{6};  ///< start pose seen from the current pose
  double approachFx = 0.0, approachFy = 0.0;
  MBK_Fhan force_fhan, speed_fhan, force_r;
  zel_ft_info ft_info = {};  ///< sensor status of the last cycle

  /// Unconfigured: every flag false, period 8 ms, dead band 0.25 N and 0.0025 N m, all else zero.
  ZelFTCTool();
  ~ZelFTCTool();
  ZelFTCTool(const ZelFTCTool&) = default;
  ZelFTCTool& operator=(const ZelFTCTool&) = default;

  // ---- configuration ---------------------------------------------------------------------------
  //
  // Lengths arrive in mm and are stored in m. Gains are stored multiplied by the control period:
  // set the period before a mode. Configuring a mode makes the other two unusable.

  /// Also writes the stored values to standard output, in one line, and restarts at phase 0.
  bool configApproachMode(ZelCartesianCoordinate rcs, ZelMainDirection mainDirection,
                          double setExpectFT, double* setKR, double translationalMotion,
                          double switchingForce, double switchingTorque,
                          double* breakConditionRange, unsigned long timeOut) override;
  /// minPath and minPathForce are ignored: use set_minValue.
  bool configAssemblyMode(ZelCartesianCoordinate rcs, ZelMainDirection mainDirection,
                          double setExpectFT, double* setKR, double translationalMotion,
                          double switchingForce, double switchingTorque,
                          double* breakConditionRange, unsigned long timeOut, double pathOut,
                          double minPath, double minPathForce) override;
  bool configTrackingMotionMode(ZelCartesianCoordinate rcs, ZelMainDirection mainDirection,
                                double* setExpectFT, double* setKR, double* breakConditionRange,
                                double setDesiredSpeed) override;
  bool setSensorConfig(double* MaxLoad, double* flange_sensor, double* sensor_tool) override;
  /// Refused when a length exceeds 500 mm (upper bound only): nothing is stored and no load counts
  /// as set any more.
  bool setLoadData(double G, double lx, double ly, double lz) override;
  bool setCorrectionLimit(double* max, double* min, double ang) override;
  bool setMonitoringFunctions(double* MaxPermissibleLoad) override;
  bool setCorrectionMonitoring(double path, double angle) override;
  /// 0 < f < 100 N, 0 < m < 10 N m; a value that passes is stored even when the other is refused.
  bool setSensorNoiseThreshold(double f, double m) override;
  /// 4..100 ms.
  bool setTimeStep(double msTime) override;
  /// ms.
  double getTimeStep() override;
  /// ZelMinValueName; any other name is refused.
  bool set_minValue(double value, int value_name) override;
  virtual bool get_GraData(zel_ft& ft, double* robot_pos, double* m_ft);
  /// Minimum path per axis (mm); value_name is ignored.
  virtual bool set_minValue_every(double* value_group, int value_name);

  /// Accepted, without effect.
  void stop() override;
  void Release() override;
  /// Ends approach and tracking runs and forgets their configurations. Assembly is left alone.
  void clear() override;

  // ---- runs: one call per control cycle ---------------------------------------------------------
  //
  // True: `out` is the pose to command. False: the run failed or ended, err tells which, `out` is
  // untouched.

  bool runApproach(zel_pose& out, double* robot_pos_now, zel_error& err, double* ft,
                   zel_ft_info info) override;
  /// `out` is the corrected pose left from before: an assembly run computes the controller output
  /// and does not apply it. Start pose and clock restart in every cycle.
  bool runAssembly(zel_pose& out, double* robot_pos_now, zel_error& err, double* ft,
                   zel_ft_info info) override;
  /// The path poses are read in the first cycle only.
  bool runTrackingMotionL(zel_pose& out, double* start, double* end, double* now, zel_error& err,
                          double* ft, zel_ft_info info) override;
  bool runTrackingMotionC(zel_pose& out, double* start, double* transition, double* end,
                          double* now, zel_error& err, double* ft, zel_ft_info info) override;
  /// Takes the zero reference. False, with the line "out", when no new sample has arrived since the
  /// last one used.
  bool sensorReset(double* robot_pos, double* m_ft, zel_ft_info ft_info_) override;

  // ---- load identification --------------------------------------------------------------------

  /// False from the eleventh sample on.
  bool recordCalibrationLoadData(double* ft, double* robot_pos) override;
  void initCalibrationLoadData() override;
  /// Identifies the load from the recorded samples. The moment is modelled as F x l while the
  /// compensation uses l x F: for an ordinary sensor the centre of mass comes out mirrored.
  /// Identify with ldd_tool and hand the result to setLoadData instead. Takes about 4 kB of stack.
  bool gravityCalibration() override;
  /// N and mm. Prints a line.
  bool getLoadData(double& G, double& lx, double& ly, double& lz) override;

  // ---- readings -------------------------------------------------------------------------------

  bool getSensorData(zel_ft& out, double* robot_pos, ZelCartesianCoordinate rcs, double* ft,
                     zel_ft_info info) override;
  bool getRCS_FT_Data(zel_ft& out) override;

  // ---- measurement ----------------------------------------------------------------------------

  /// Gravity wrench of the load in the sensor frame at a flange pose (m).
  void getG2Sensor(RVector& out, RVector pose);
  /// Expresses a sensor-frame wrench in the frame whose pose on the sensor is given (m): force R f,
  /// torque R m + p x (R f).
  void expressForceInFrame_T(RVector& f_rcs, RVector f_sensor, RVector tool_offect_sensor);
  /// Removes gravity and zero offset, changes the frame, applies the dead band; into rcs_ft_data.
  void ZeroGravTrafo(RVector ft, RVector pose, ZelCartesianCoordinate rcs);
  /// Dead band in place; a value equal to the threshold stays.
  void ftTSL(RVector& ft);

  // ---- controller and correction --------------------------------------------------------------

  /// One controller step: rcs_ft_data to ftc_offset.
  void FTCtrl();
  /// PosExpect and ftc_offset to PosFTC; advances the path of a tracking run by one step.
  void PosCorr(ZelCartesianCoordinate rcs);

  // ---- path -----------------------------------------------------------------------------------

  /// A caller's pose (mm) into the first six elements of a vector (m).
  void pose2RVector(RVector& rv, double* pose);
  /// And back.
  void RVector2pose(zel_pose& pose, RVector rv);
  /// Prepares a line; no length or no speed gives steps that are not numbers.
  void getMoveLRVector(RVector& rv_q, RVector rv_a, RVector rv_b);
  /// Prepares the arc from rv_a through rv_b to rv_c.
  void getMoveCRVector(RVector rv_a, RVector rv_b, RVector rv_c);

  // ---- monitoring -----------------------------------------------------------------------------

  /// The counters were equal in each of the last 20 calls.
  bool isSensorTimerOut(int a, int b);
  bool isOverload();
  bool isOverMonitoring();
  bool isOverPossCorrMon();
  bool isTimeOut();
  /// Every monitored component was in its band in each of the last 20 calls.
  bool isTriggerInterrupt();
  bool isOutMinPath();
  /// A sudden force change beyond the break range; writes the sum of the ZelBreakBit of its axes.
  bool isMoveTriggerInterrupt(int* code);
  bool isEndPosCorr();
  /// Contact force or torque exceeded, else isTouchLast.
  bool isTouch(double force, double torque, bool isTouchLast);

  // ---- diagnostics: captioned dumps on standard output ----------------------------------------

  void printRMatrix(RMatrix M, const char* caption);
  void printRMatrix(RMatrix30 M, const char* caption);
  void printRV(RVector v, const char* caption);

 private:
  // Internal from here on; not exported.

  /// How the run of one mode differs from the others; the sequence itself stands once.
  struct RunMode;
  /// The arguments of one call.
  struct RunCall;
  ZEL_FTC_HIDDEN static const RunMode approachRun, assemblyRun, lineRun, arcRun;

  ZEL_FTC_HIDDEN bool run(const RunMode& mode, const RunCall& call);
  ZEL_FTC_HIDDEN void startContact(const RunCall& call);
  ZEL_FTC_HIDDEN void startLine(const RunCall& call);
  ZEL_FTC_HIDDEN void startArc(const RunCall& call);
  ZEL_FTC_HIDDEN void startPath(const RunCall& call, ZelMoveType type);
  ZEL_FTC_HIDDEN int contactResult();
  ZEL_FTC_HIDDEN int trackingResult();

  ZEL_FTC_HIDDEN void gravityAt(const RVector& pose, double* wrench);
  ZEL_FTC_HIDDEN void withoutGravityAndZero(const RVector& ft, double* wrench) const;
  ZEL_FTC_HIDDEN void measure(const RVector& ft, const RVector& pose, ZelCartesianCoordinate rcs);
  ZEL_FTC_HIDDEN void perAxisLaw(const double* E, const double* KR);
  ZEL_FTC_HIDDEN void approachStep(const ZelFtcApproachConfig& config);
  ZEL_FTC_HIDDEN void leadInLaw(const ZelFtcApproachConfig& config);
  ZEL_FTC_HIDDEN void enterPhase(int phase);
  ZEL_FTC_HIDDEN void startSeenFromNow();
  ZEL_FTC_HIDDEN zel::RigidTransform advancePath(const zel::RigidTransform& T_base_expect);
  ZEL_FTC_HIDDEN static void writePose(double* pose, const RVector& rv);
  ZEL_FTC_HIDDEN void configContact(ZelFtcApproachConfig& config, ZelCartesianCoordinate rcs,
                                    ZelMainDirection mainDirection, double setExpectFT,
                                    const double* setKR, double translationalMotion,
                                    double switchingForce, double switchingTorque,
                                    const double* breakConditionRange, unsigned long timeOut);

  /// Transforms of poses that have not changed, so that a cycle need not compute them again: in
  /// place, because a cycle allocates nothing.
  struct Kept;
  ZEL_FTC_HIDDEN Kept& kept();
  alignas(16) std::byte keptStorage[1632];
};

#endif
