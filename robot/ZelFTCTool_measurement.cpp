// Force measurement: gravity and zero compensation, change of frame, dead band.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "matrix/loadmodel.h"
#include "matrix/vectorops.h"
#include "robot/KeptTransform.h"
#include "robot/ZelFTCTool.h"

void zel::KeptWrenchTransform::take(const RVector& pose) {
  const RigidTransform T_rcs_sensor = inverse(transformFromPose(pose.value));
  const auto& R = T_rcs_sensor.row;
  const double p[3] = {R[0][3], R[1][3], R[2][3]};
  double P[3][3];
  crossProductMatrix(p, P);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      column_[j][i] = column_[j + 3][i + 3] = R[i][j];
      column_[j][i + 3] = 0.0 + P[i][0] * R[0][j] + P[i][1] * R[1][j] + P[i][2] * R[2][j];
      column_[j + 3][i] = 0.0;
    }
  }
  pose_.take(pose);
}

void ZelFTCTool::gravityAt(const RVector& pose, double* wrench) {
  const zel::RigidTransform& T_base_flange = kept().T_base_now.of(pose);
  double up[4];  // row 2 of T_base_sensor: the base z axis in sensor coordinates
  zel::rowOfProduct(T_base_flange.row[2], kept().T_flange_sensor.of(FTconfig.flange_sensor), up);
  zel::gravityWrench(up, loadData.G, loadData.lx, loadData.ly, loadData.lz, wrench);
}

void ZelFTCTool::getG2Sensor(RVector& out, RVector pose) {
  gravityAt(pose, out.value);
}

void ZelFTCTool::expressForceInFrame_T(RVector& f_rcs, RVector f_sensor,
                                       RVector tool_offect_sensor) {
  kept().X_rcs_sensor.apply(tool_offect_sensor, f_sensor.value, f_rcs.value);
}

void ZelFTCTool::withoutGravityAndZero(const RVector& ft, double* wrench) const {
  for (int i = 0; i < 6; ++i) {
    wrench[i] = (ft.value[i] + ldd_ftNow.value[i]) - ldd_ft0.value[i];
  }
}

void ZelFTCTool::ZeroGravTrafo(RVector ft, RVector pose, ZelCartesianCoordinate rcs) {
  measure(ft, pose, rcs);
}

void ZelFTCTool::measure(const RVector& ft, const RVector& pose, ZelCartesianCoordinate rcs) {
  gravityAt(pose, ldd_ftNow.value);
  double wc[6];
  withoutGravityAndZero(ft, wc);
  kept().X_rcs_sensor.apply(FTconfig.sensor_tool, wc, ft_data_tool.value);
  switch (rcs) {
    case WORLD:
    case BASE:
      rcs_ft_data = ft_data_base;
      break;
    case TOOL:
      rcs_ft_data = ft_data_tool;
      break;
    case SENSOR:
      std::copy_n(wc, 6, rcs_ft_data.value);
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
  measure(ft_data_raw, PosNow, rcs);
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
  gravityAt(PosNow, ldd_ftNow.value);
  std::copy_n(m_ft, 6, ft_data_raw.value);
  withoutGravityAndZero(ft_data_raw, ft);
  return true;
}

namespace {

void printRow(const double* row, std::size_t n) {
  for (std::size_t j = 0; j < n; ++j) std::printf("%12g", row[j]);
  std::printf("\n");
}

template <typename Matrix>
void printMatrix(const Matrix& M, const char* caption) {
  std::printf("%s\n", caption);
  for (std::size_t i = 0; i < M.iRow; ++i) printRow(M.value[i], M.iCol);
}

}  // namespace

void ZelFTCTool::printRMatrix(RMatrix M, const char* caption) {
  printMatrix(M, caption);
}

void ZelFTCTool::printRMatrix(RMatrix30 M, const char* caption) {
  printMatrix(M, caption);
}

void ZelFTCTool::printRV(RVector v, const char* caption) {
  std::printf("%s\n", caption);
  printRow(v.value, zel::sizeOf(v));
}
