// Stand-alone load identification and gravity compensation.
#ifndef ZEL_FTC_MATRIX_LDD_TOOL_H
#define ZEL_FTC_MATRIX_LDD_TOOL_H

#include <cstddef>

#include "matrix/rvector.h"
#include "zel_ftc_types.h"

/// The load on a force/torque sensor.
struct load_para_t {
  double g;           ///< weight, N
  double lx, ly, lz;  ///< centre of mass in the sensor frame, m
};
using load_para = load_para_t;

/// The poses of one moment: x, y, z, then the angles about Z, Y, X in rad.
struct robot_pose_para_t {
  double pose_base2tcp[6];        ///< T_base_tcp: the tool centre point in the robot base
  double pose_flange2tool[6];     ///< T_flange_tool: the tool frame on the flange
  double pose_flange2ft_tool[6];  ///< T_flange_ft: the sensor frame on the flange
};
using robot_pose_para = robot_pose_para_t;

/// The same as vectors of six elements.
struct ZEL_FTC_API robot_pose_rvector_para_t {
  RVector pose_base2tcp;
  RVector pose_flange2tool;
  RVector pose_flange2ft_tool;

  robot_pose_rvector_para_t();
};
using robot_pose_rvector_para = robot_pose_rvector_para_t;

/// Identifies the load mounted on a force/torque sensor (weight and centre of mass) from up to ten
/// static poses, and removes its gravity and the sensor's offset from raw readings.
///
/// Order of calls: clear(); at each of three to ten poses with clearly different orientations hold
/// the robot still and recordCalibrationLoadData(); gravityCalibration(); at a reference pose
/// without contact sensorReset(); then in every cycle zeroGravTrafo().
///
/// This is the identification to use with the force-control tool too: hand `g`, `lx`, `ly`, `lz` to
/// zel_ftc_setLoadData. That function takes millimetres, while the lengths here are torque by
/// force, N m / N, and so come in metres whatever the length unit of the poses: multiply them by
/// 1000. (The tool's own zel_ftc_gravityCalibration reports the centre of mass of an ordinary
/// sensor with the opposite sign.)
///
/// Conventions: T_base_ft = T_base_tcp * inverse(T_flange_tool) * T_flange_ft is the pose of the
/// sensor in the base. Wrenches are Fx, Fy, Fz [N], Mx, My, Mz [N m] in sensor axes. Gravity acts
/// along the base z axis; the sensor reads minus the wrench of getG2Sensor from the load's weight.
///
/// Every operation with poses comes with vectors and with plain arrays of six; both give the same
/// bits. Vectors handed out have six elements; an output may be the same object as an input.
/// Pointers to arrays and poses are not checked. No operation reports failure, allocates or locks;
/// all but gravityCalibration() are short enough for a control cycle. One thread at a time.
class ZEL_FTC_API ldd_tool {
 public:
  static constexpr std::size_t capacity = 10;

  std::size_t size = 0;               ///< recorded samples, 0..10
  double FTData[capacity][6] = {};    ///< raw wrench of each sample
  double PoseData[capacity][6] = {};  ///< pose of the sensor in the base (T_base_ft) at each sample
  load_para _load_para = {};          ///< zero until gravityCalibration() or setLoadPara()
  bool IsAmpty = true;                ///< true from construction on; nothing reads it

  /// No samples, no load.
  ldd_tool();
  ~ldd_tool();
  ldd_tool(const ldd_tool&) = default;
  ldd_tool& operator=(const ldd_tool&) = default;

  /// Back to the state of construction: no samples, no load.
  void clear();

  /// Stores one static sample. From the eleventh on samples are dropped without notice.
  void recordCalibrationLoadData(RVector ft_sensor_raw, robot_pose_rvector_para_t input_rprp);
  void recordCalibrationLoadData(double* ft_sensor_raw, robot_pose_para_t input_rpp);

  /// Identifies the load from all stored samples by least squares: M = l x F + M0 and
  /// F = R_ft_base G + F0, normal equations. The offsets M0 and F0 and the direction of G are
  /// dropped. Without samples the load stays as it was. Fewer than three clearly different
  /// orientations leave the equations singular: the load is then not a number or means nothing.
  /// Takes about 4 kB of stack.
  void gravityCalibration();

  /// Copies the load out; nothing happens with a null pointer.
  void getLoadPara(load_para_t* para);
  /// Restores a known load; takes the place of an identification.
  void setLoadPara(load_para_t para);

  /// Gravity wrench of the load at these poses: force g * (base z axis in sensor axes), torque
  /// l x force. Zero while no load is known.
  void getG2Sensor(RVector& ldd_ft, robot_pose_rvector_para_t input_rprp);
  void getG2Sensor(double* ldd_ft, robot_pose_para_t input_rpp);

  /// The sensor's offset, from a reading at rest and without contact: gravity wrench + reading.
  void sensorReset(RVector& ldd_ft_zero, robot_pose_rvector_para_t input_rprp,
                   RVector ft_sensor_raw);
  void sensorReset(double* ldd_ft_zero, robot_pose_para_t input_rpp, double* ft_sensor_raw);

  /// The external wrench alone: (reading + gravity wrench) - offset.
  void zeroGravTrafo(RVector& ft_sensor_zerograv, robot_pose_rvector_para_t input_rprp,
                     RVector ft_sensor_raw, RVector ldd_ft_zero);
  void zeroGravTrafo(double* ft_sensor_zerograv, robot_pose_para_t input_rpp, double* ft_sensor_raw,
                     double* ldd_ft_zero);

  /// A wrench in sensor axes expressed in tool axes: force and torque times R_tool_ft. The torque
  /// keeps the sensor as its moment point: no lever arm is added. pose_base2tcp is not used.
  void expressForceInFrame(RVector& ft_rcs, RVector ft_sensor,
                           robot_pose_rvector_para_t input_rprp);
  void expressForceInFrame(double* ft_rcs, double* ft_sensor, robot_pose_para_t input_rpp);

  /// A wrench in tool axes rotated by the angles of an offset pose (its x, y, z are ignored): force
  /// and torque times R_rcs_tool, no lever arm.
  void expressForceInFrame(RVector& ft_rcs, RVector ft_tool, RVector pos_offset2tool);
  void expressForceInFrame(double* ft_rcs, double* ft_tool, double* pos_offset2tool);
};

#endif
