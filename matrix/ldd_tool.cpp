#include "matrix/ldd_tool.h"

#include <algorithm>

#include "matrix/loadmodel.h"
#include "matrix/rigidtransform.h"

namespace {

using zel::RigidTransform;

const double* elements(const RVector& v) {
  return v.value;
}
const double* elements(const double* v) {
  return v;
}

template <typename Poses>
RigidTransform sensorInBase(const Poses& poses) {
  const RigidTransform T_base_tcp = zel::transformFromPose(elements(poses.pose_base2tcp));
  const RigidTransform T_flange_tool = zel::transformFromPose(elements(poses.pose_flange2tool));
  const RigidTransform T_flange_ft = zel::transformFromPose(elements(poses.pose_flange2ft_tool));
  return T_base_tcp * zel::inverse(T_flange_tool) * T_flange_ft;
}

RigidTransform rotationOfPose(const double* pose) {
  const double rotation[6] = {0.0, 0.0, 0.0, pose[3], pose[4], pose[5]};
  return zel::transformFromPose(rotation);
}

/// The tool axes in sensor axes, without translation. The detour over the angles is part of the
/// result's last bits.
template <typename Poses>
RigidTransform toolAxesInSensor(const Poses& poses) {
  const RigidTransform T_flange_tool = zel::transformFromPose(elements(poses.pose_flange2tool));
  const RigidTransform T_flange_ft = zel::transformFromPose(elements(poses.pose_flange2ft_tool));
  const RigidTransform T_ft_tool = zel::inverse(T_flange_ft) * T_flange_tool;
  double pose[6];
  zel::poseFromTransform(T_ft_tool, pose);
  return rotationOfPose(pose);
}

/// Applies `rotate` to the force and to the torque of a wrench, each as the position of a transform
/// with zero angles.
template <typename Rotate>
void rotateWrench(const double* wrench, double* rotated, Rotate rotate) {
  for (int part = 0; part < 6; part += 3) {
    const double position[6] = {wrench[part], wrench[part + 1], wrench[part + 2]};
    const RigidTransform T = rotate(zel::transformFromPose(position));
    for (int i = 0; i < 3; ++i) rotated[part + i] = T.row[i][3];
  }
}

template <typename Poses>
void record(ldd_tool& tool, const double* ft_sensor_raw, const Poses& poses) {
  if (tool.size >= ldd_tool::capacity) return;
  std::copy_n(ft_sensor_raw, 6, tool.FTData[tool.size]);
  zel::poseFromTransform(sensorInBase(poses), tool.PoseData[tool.size]);
  ++tool.size;
}

template <typename Poses>
void gravityWrench(const load_para& load, const Poses& poses, double* ldd_ft) {
  const RigidTransform T_base_ft = sensorInBase(poses);
  zel::gravityWrench(T_base_ft.row[2], load.g, load.lx, load.ly, load.lz, ldd_ft);
}

template <typename Poses>
void offset(const load_para& load, const Poses& poses, const double* ft_sensor_raw,
            double* ldd_ft_zero) {
  double ldd_ft[6];
  gravityWrench(load, poses, ldd_ft);
  for (int i = 0; i < 6; ++i) ldd_ft_zero[i] = ldd_ft[i] + ft_sensor_raw[i];
}

template <typename Poses>
void compensate(const load_para& load, const Poses& poses, const double* ft_sensor_raw,
                const double* ldd_ft_zero, double* ft_sensor_zerograv) {
  double ldd_ft[6];
  gravityWrench(load, poses, ldd_ft);
  for (int i = 0; i < 6; ++i) {
    ft_sensor_zerograv[i] = (ft_sensor_raw[i] + ldd_ft[i]) - ldd_ft_zero[i];
  }
}

template <typename Poses>
void expressInTool(const Poses& poses, const double* ft_sensor, double* ft_rcs) {
  const RigidTransform R_tool_ft = zel::inverse(toolAxesInSensor(poses));
  rotateWrench(ft_sensor, ft_rcs, [&](const RigidTransform& T_v) { return R_tool_ft * T_v; });
}

/// Hands the six elements of a new vector to `fill`, then assigns it: an input may be the output.
template <typename Fill>
void fillSix(RVector& out, Fill fill) {
  RVector six(6);
  fill(six.value);
  out = six;
}

}  // namespace

robot_pose_rvector_para_t::robot_pose_rvector_para_t()
    : pose_base2tcp(6), pose_flange2tool(6), pose_flange2ft_tool(6) {}

ldd_tool::ldd_tool() = default;
ldd_tool::~ldd_tool() = default;

void ldd_tool::clear() {
  *this = ldd_tool();
}

void ldd_tool::recordCalibrationLoadData(RVector ft_sensor_raw,
                                         robot_pose_rvector_para_t input_rprp) {
  record(*this, ft_sensor_raw.value, input_rprp);
}

void ldd_tool::recordCalibrationLoadData(double* ft_sensor_raw, robot_pose_para_t input_rpp) {
  record(*this, ft_sensor_raw, input_rpp);
}

void ldd_tool::gravityCalibration() {
  if (size == 0) return;
  const zel::LoadFit fit = zel::fitLoad(FTData, PoseData, size, zel::MomentModel::armCrossForce);
  _load_para = {fit.weight(), fit.arm[0], fit.arm[1], fit.arm[2]};
}

void ldd_tool::getLoadPara(load_para_t* para) {
  if (para != nullptr) *para = _load_para;
}

void ldd_tool::setLoadPara(load_para_t para) {
  _load_para = para;
}

void ldd_tool::getG2Sensor(RVector& ldd_ft, robot_pose_rvector_para_t input_rprp) {
  fillSix(ldd_ft, [&](double* out) { gravityWrench(_load_para, input_rprp, out); });
}

void ldd_tool::getG2Sensor(double* ldd_ft, robot_pose_para_t input_rpp) {
  gravityWrench(_load_para, input_rpp, ldd_ft);
}

void ldd_tool::sensorReset(RVector& ldd_ft_zero, robot_pose_rvector_para_t input_rprp,
                           RVector ft_sensor_raw) {
  fillSix(ldd_ft_zero,
          [&](double* out) { offset(_load_para, input_rprp, ft_sensor_raw.value, out); });
}

void ldd_tool::sensorReset(double* ldd_ft_zero, robot_pose_para_t input_rpp,
                           double* ft_sensor_raw) {
  offset(_load_para, input_rpp, ft_sensor_raw, ldd_ft_zero);
}

void ldd_tool::zeroGravTrafo(RVector& ft_sensor_zerograv, robot_pose_rvector_para_t input_rprp,
                             RVector ft_sensor_raw, RVector ldd_ft_zero) {
  fillSix(ft_sensor_zerograv, [&](double* out) {
    compensate(_load_para, input_rprp, ft_sensor_raw.value, ldd_ft_zero.value, out);
  });
}

void ldd_tool::zeroGravTrafo(double* ft_sensor_zerograv, robot_pose_para_t input_rpp,
                             double* ft_sensor_raw, double* ldd_ft_zero) {
  compensate(_load_para, input_rpp, ft_sensor_raw, ldd_ft_zero, ft_sensor_zerograv);
}

void ldd_tool::expressForceInFrame(RVector& ft_rcs, RVector ft_sensor,
                                   robot_pose_rvector_para_t input_rprp) {
  fillSix(ft_rcs, [&](double* out) { expressInTool(input_rprp, ft_sensor.value, out); });
}

void ldd_tool::expressForceInFrame(double* ft_rcs, double* ft_sensor, robot_pose_para_t input_rpp) {
  expressInTool(input_rpp, ft_sensor, ft_rcs);
}

void ldd_tool::expressForceInFrame(RVector& ft_rcs, RVector ft_tool, RVector pos_offset2tool) {
  fillSix(ft_rcs,
          [&](double* out) { expressForceInFrame(out, ft_tool.value, pos_offset2tool.value); });
}

void ldd_tool::expressForceInFrame(double* ft_rcs, double* ft_tool, double* pos_offset2tool) {
  const RigidTransform R_rcs_tool = rotationOfPose(pos_offset2tool);
  const RigidTransform R_tool_rcs = zel::inverse(R_rcs_tool);
  rotateWrench(ft_tool, ft_rcs,
               [&](const RigidTransform& T_v) { return R_rcs_tool * T_v * R_tool_rcs; });
}
