// Load identification from recorded poses.
#include <algorithm>
#include <cstdio>

#include "matrix/loadmodel.h"
#include "robot/KeptTransform.h"
#include "robot/ZelFTCTool.h"
#include "robot/limits.h"

bool ZelFTCTool::recordCalibrationLoadData(double* ft, double* robot_pos) {
  ZelFtcGravityCalibrationData& data = gravityCalibrationData;
  if (data.size >= zel::loadSamples) return false;
  std::copy_n(ft, 6, ft_data_raw.value);
  std::copy_n(ft, 6, ft_data);
  pos_tool = FTconfig.flange_sensor;
  pose2RVector(PosNow, robot_pos);
  const zel::RigidTransform T_base_sensor =
      kept().T_base_now.of(PosNow) * kept().T_flange_pos_tool.of(pos_tool);
  std::copy_n(ft_data_raw.value, 6, data.FTData[data.size]);
  zel::poseFromTransform(T_base_sensor, data.PoseData[data.size]);
  ++data.size;
  return true;
}

void ZelFTCTool::initCalibrationLoadData() {
  gravityCalibrationData = {};
}

bool ZelFTCTool::gravityCalibration() {
  const ZelFtcGravityCalibrationData& data = gravityCalibrationData;
  if (data.size == 0) return isSetLoadData;
  const zel::LoadFit fit =
      zel::fitLoad(data.FTData, data.PoseData, data.size, zel::MomentModel::forceCrossArm);
  loadData.lx = fit.arm[0];
  loadData.ly = fit.arm[1];
  loadData.lz = fit.arm[2];
  loadData.G = fit.weight();

  // One-sided, and without a test of lz: a large negative arm and any lz are accepted.
  isSetLoadData = !(loadData.lx > zel::limits::largestArm || loadData.ly > zel::limits::largestArm);
  if (!isSetLoadData) loadData.lx = loadData.ly = loadData.lz = 0.0;
  return isSetLoadData;
}

bool ZelFTCTool::getLoadData(double& G, double& lx, double& ly, double& lz) {
  if (isSetLoadData) {
    G = loadData.G;
    lx = 1000.0 * loadData.lx;
    ly = 1000.0 * loadData.ly;
    lz = 1000.0 * loadData.lz;
  }
  std::printf(" function is getLoadData!\n");
  return isSetLoadData;
}
