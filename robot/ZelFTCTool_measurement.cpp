// Force measurement: gravity and zero compensation, change of frame, dead band.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "matrix/loadmodel.h"
#include "robot/ZelFTCTool.h"

bool ZelFTCTool::KeptTransform::update(const RVector& pose) {
  std::uint64_t difference = 0;
  for (int i = 0; i < 6; ++i) {
    std::uint64_t kept, given;
    std::memcpy(&kept, &pose_[i], sizeof kept);
    std::memcpy(&given, &pose.value[i], sizeof given);
    difference |= kept ^ given;
  }
  if (difference == 0) return false;
  std::copy_n(pose.value, 6, pose_);
  T = zel::transformFromPose(pose_);
  return true;
}

void ZelFTCTool::getG2Sensor(RVector& out, const RVector& pose) {
  const zel::RigidTransform T_base_sensor =
      T_base_now.of(pose) * T_flange_sensor.of(FTconfig.flange_sensor);
  zel::gravityWrench(T_base_sensor.R[2], loadData.G, loadData.lx, loadData.ly, loadData.lz,
                     out.value);
}

void ZelFTCTool::expressForceInFrame_T(RVector& f_rcs, const RVector& f_sensor,
                                       const RVector& tool_offect_sensor) {
  if (T_sensor_rcs.update(tool_offect_sensor)) {
    const RMatrix T_rcs_sensor = RMatrix::TrInv(RMatrix::Pos2TR(tool_offect_sensor, ZYX));
    const RMatrix R = RMatrix::subRMatrix(T_rcs_sensor, 0, 2, 0, 2);
    const RMatrix P = RVector::Skew(RMatrix::subRVector(T_rcs_sensor, 0, 2, 3, COLUMN));
    wrench_rcs_sensor = RMatrix(6, 6);
    RMatrix::catRMatrix(wrench_rcs_sensor, 0, 2, 0, 2, R);
    RMatrix::catRMatrix(wrench_rcs_sensor, 3, 5, 0, 2, P * R);
    RMatrix::catRMatrix(wrench_rcs_sensor, 3, 5, 3, 5, R);
  }
  f_rcs = wrench_rcs_sensor * f_sensor;
}

void ZelFTCTool::ZeroGravTrafo(const RVector& ft, const RVector& pose, ZelCartesianCoordinate rcs) {
  getG2Sensor(ldd_ftNow, pose);
  const RVector wc = (ft + ldd_ftNow) - ldd_ft0;
  expressForceInFrame_T(ft_data_tool, wc, FTconfig.sensor_tool);
  switch (rcs) {
    case WORLD:
    case BASE:
      rcs_ft_data = ft_data_base;
      break;
    case TOOL:
      rcs_ft_data = ft_data_tool;
      break;
    case SENSOR:
      rcs_ft_data = wc;
      break;
    default:
      rcs_ft_data = ft;
      break;
  }
  ftTSL(rcs_ft_data);
}

void ZelFTCTool::ftTSL(RVector& ft) {
  for (int i = 0; i < 3; ++i) {
    if (_f_min > std::fabs(ft.value[i])) ft.value[i] = 0.0;
    if (_m_min > std::fabs(ft.value[i + 3])) ft.value[i + 3] = 0.0;
  }
}

bool ZelFTCTool::getSensorData(zel_ft& out, double* robot_pos, ZelCartesianCoordinate rcs,
                               double* ft, zel_ft_info info) {
  if (info.code != FT_N0RMAL || !isSetLoadData) return false;
  pos_tool = FTconfig.flange_sensor;
  pose2RVector(PosNow, robot_pos);
  ft_info = info;
  std::copy_n(ft, 6, ft_data_raw.value);
  ZeroGravTrafo(ft_data_raw, PosNow, rcs);
  std::copy_n(rcs_ft_data.value, 6, out);
  return true;
}

bool ZelFTCTool::getRCS_FT_Data(zel_ft& out) {
  if (!isSetLoadData) return false;
  std::copy_n(rcs_ft_data.value, 6, out);
  return true;
}

bool ZelFTCTool::get_GraData(zel_ft& ft, double* robot_pos, double* m_ft) {
  pose2RVector(PosNow, robot_pos);
  getG2Sensor(ldd_ftNow, PosNow);
  std::copy_n(m_ft, 6, ft_data_raw.value);
  const RVector wc = (ft_data_raw + ldd_ftNow) - ldd_ft0;
  std::copy_n(wc.value, 6, ft);
  return true;
}

namespace {

template <typename Matrix>
void printMatrix(const Matrix& M, const char* caption) {
  std::printf("%s\n", caption);
  for (std::size_t i = 0; i < M.iRow; ++i) {
    for (std::size_t j = 0; j < M.iCol; ++j) std::printf("%12g", M.value[i][j]);
    std::printf("\n");
  }
}

}  // namespace

void ZelFTCTool::printRMatrix(const RMatrix& M, const char* caption) {
  printMatrix(M, caption);
}

void ZelFTCTool::printRMatrix(const RMatrix30& M, const char* caption) {
  printMatrix(M, caption);
}

void ZelFTCTool::printRV(const RVector& v, const char* caption) {
  std::printf("%s\n", caption);
  for (std::size_t i = 0; i < v.size; ++i) std::printf("%12g", v.value[i]);
  std::printf("\n");
}
