// Force measurement: gravity and zero compensation, change of frame, dead band.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "matrix/loadmodel.h"
#include "robot/ZelFTCTool.h"

void zel::KeptWrenchTransform::take(const RVector& pose) {
  const RMatrix T_rcs_sensor = RMatrix::TrInv(RMatrix::Pos2TR(pose, ZYX));
  const RMatrix R = RMatrix::subRMatrix(T_rcs_sensor, 0, 2, 0, 2);
  const RMatrix P = RVector::Skew(RMatrix::subRVector(T_rcs_sensor, 0, 2, 3, COLUMN));
  RMatrix X(6, 6);
  RMatrix::catRMatrix(X, 0, 2, 0, 2, R);
  RMatrix::catRMatrix(X, 3, 5, 0, 2, P * R);
  RMatrix::catRMatrix(X, 3, 5, 3, 5, R);
  for (int i = 0; i < 6; ++i) {
    for (int j = 0; j < 6; ++j) column_[j][i] = X.value[i][j];
  }
  pose_.take(pose);
}

void ZelFTCTool::getG2Sensor(RVector& out, const RVector& pose) {
  const zel::RigidTransform& T_base_flange = T_base_now.of(pose);
  zel::Pair up[2];  // row 2 of T_base_sensor: the base z axis in sensor coordinates
  zel::rowOfProduct(T_base_flange.row[2], T_flange_sensor.of(FTconfig.flange_sensor), up);
  const double z[3] = {up[0][0], up[0][1], up[1][0]};
  zel::gravityWrench(z, loadData.G, loadData.lx, loadData.ly, loadData.lz, out.value);
}

void ZelFTCTool::expressForceInFrame_T(RVector& f_rcs, const RVector& f_sensor,
                                       const RVector& tool_offect_sensor) {
  X_rcs_sensor.apply(tool_offect_sensor, f_sensor.value, f_rcs.value);
}

RVector ZelFTCTool::withoutGravityAndZero(const RVector& ft) const {
  RVector wrench(6);
  for (int i = 0; i < 6; ++i) {
    wrench.value[i] = (ft.value[i] + ldd_ftNow.value[i]) - ldd_ft0.value[i];
  }
  return wrench;
}

void ZelFTCTool::ZeroGravTrafo(const RVector& ft, const RVector& pose, ZelCartesianCoordinate rcs) {
  getG2Sensor(ldd_ftNow, pose);
  const RVector wc = withoutGravityAndZero(ft);
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
  const RVector wc = withoutGravityAndZero(ft_data_raw);
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
