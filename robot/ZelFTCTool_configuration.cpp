// Defaults, settings and mode configuration of the tool.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "robot/KeptTransform.h"
#include "robot/ZelFTCTool.h"
#include "robot/limits.h"

namespace limits = zel::limits;

namespace {

constexpr double metresPerMillimetre = 0.001;

}  // namespace

ZelForceControlTool::ZelForceControlTool() = default;
ZelForceControlTool::~ZelForceControlTool() = default;

ZelFTCTool::ZelFprceSensorConfig::ZelFprceSensorConfig() = default;
ZelFTCTool::ZelFprceSensorConfig::~ZelFprceSensorConfig() = default;

ZelFTCTool::ZelFTCTool() {
  new (keptStorage) Kept;
}
ZelFTCTool::~ZelFTCTool() = default;

void ZelFTCTool::stop() {}
void ZelFTCTool::Release() {}

void ZelFTCTool::configContact(ZelFtcApproachConfig& config, ZelCartesianCoordinate rcs,
                               ZelMainDirection mainDirection, double setExpectFT,
                               const double* setKR, double translationalMotion,
                               double switchingForce, double switchingTorque,
                               const double* breakConditionRange, unsigned long timeOut) {
  isSetApproach = isSetAssembly = isSetTrackingMotion = false;
  config.rcs = rcs;
  config.mainDirection = mainDirection;
  config.translationalMotion = translationalMotion * metresPerMillimetre;
  config.switchingForce = switchingForce;
  config.switchingTorque = switchingTorque;
  config.timeOut = timeOut;
  for (int i = 0; i < 6; ++i) {
    config.setKR[i] = setKR[i] * 0.001 * timeStep;
    config.breakConditionRange[i] = breakConditionRange[i];
    config.setExpectFT[i] = 0.0;
  }
  if (mainDirection >= FX && mainDirection <= MZ) config.setExpectFT[mainDirection] = setExpectFT;
}

bool ZelFTCTool::configApproachMode(ZelCartesianCoordinate rcs, ZelMainDirection mainDirection,
                                    double setExpectFT, double* setKR, double translationalMotion,
                                    double switchingForce, double switchingTorque,
                                    double* breakConditionRange, unsigned long timeOut) {
  configContact(approachConfig, rcs, mainDirection, setExpectFT, setKR, translationalMotion,
                switchingForce, switchingTorque, breakConditionRange, timeOut);
  isSetApproach = true;
  ApproachMode = 0;

  const ZelFtcApproachConfig& c = approachConfig;
  std::printf("%d %d %g %g %g %lu", static_cast<int>(c.rcs), static_cast<int>(c.mainDirection),
              c.translationalMotion, c.switchingForce, c.switchingTorque, c.timeOut);
  for (const double* group : {c.setKR, c.breakConditionRange, c.setExpectFT}) {
    for (int i = 0; i < 6; ++i) std::printf(" %g", group[i]);
  }
  std::printf("\n");
  return isSetApproach;
}

bool ZelFTCTool::configAssemblyMode(ZelCartesianCoordinate rcs, ZelMainDirection mainDirection,
                                    double setExpectFT, double* setKR, double translationalMotion,
                                    double switchingForce, double switchingTorque,
                                    double* breakConditionRange, unsigned long timeOut,
                                    double pathOut, double /*minPath*/, double /*minPathForce*/) {
  configContact(assemblyConfig, rcs, mainDirection, setExpectFT, setKR, translationalMotion,
                switchingForce, switchingTorque, breakConditionRange, timeOut);
  assemblyConfig.pathOut = pathOut;
  isSetAssembly = true;
  return isSetAssembly;
}

bool ZelFTCTool::configTrackingMotionMode(ZelCartesianCoordinate rcs,
                                          ZelMainDirection mainDirection, double* setExpectFT,
                                          double* setKR, double* breakConditionRange,
                                          double setDesiredSpeed) {
  isSetTrackingMotion = true;
  isSetApproach = isSetAssembly = false;
  ZelFtcTrackingMotionConfig& config = trackingMotionConfig;
  config.rcs = rcs;
  config.mainDirection = mainDirection;
  config.setDesiredSpeed = setDesiredSpeed * metresPerMillimetre;
  for (int i = 0; i < 6; ++i) {
    config.setExpectFT[i] = setExpectFT[i];
    config.breakConditionRange[i] = breakConditionRange[i];
    config.setKR[i] = setKR[i] * 0.001 * timeStep;
  }
  return isSetTrackingMotion;
}

bool ZelFTCTool::setSensorConfig(double* MaxLoad, double* flange_sensor, double* sensor_tool) {
  std::copy_n(MaxLoad, 6, FTconfig.MaxLoad);
  pose2RVector(FTconfig.flange_sensor, flange_sensor);
  pose2RVector(FTconfig.sensor_tool, sensor_tool);
  isSetSensorConfig = true;
  return isSetSensorConfig;
}

bool ZelFTCTool::setLoadData(double G, double lx, double ly, double lz) {
  if (lx > limits::largestLever || ly > limits::largestLever || lz > limits::largestLever) {
    isSetLoadData = false;
    return false;
  }
  loadData.G = G;
  loadData.lx = lx * metresPerMillimetre;
  loadData.ly = ly * metresPerMillimetre;
  loadData.lz = lz * metresPerMillimetre;
  isSetLoadData = true;
  return isSetLoadData;
}

bool ZelFTCTool::setCorrectionLimit(double* max, double* min, double ang) {
  correctionLimit.angle = ang;
  for (int i = 0; i < 3; ++i) {
    correctionLimit.max[i] = max[i] * metresPerMillimetre;
    correctionLimit.min[i] = min[i] * metresPerMillimetre;
  }
  isSetCorrectionLimit = true;
  return isSetCorrectionLimit;
}

bool ZelFTCTool::setMonitoringFunctions(double* MaxPermissibleLoad) {
  std::copy_n(MaxPermissibleLoad, 6, monitoringFunctions.MaxPermissibleLoad);
  isSetMonitoringFunctions = true;
  return isSetMonitoringFunctions;
}

bool ZelFTCTool::setCorrectionMonitoring(double path, double angle) {
  correctionMonitoring.path = path * metresPerMillimetre;
  correctionMonitoring.angle = angle;
  isSetCorrectionMonitoring = true;
  return isSetCorrectionMonitoring;
}

bool ZelFTCTool::setSensorNoiseThreshold(double f, double m) {
  const bool forceAccepted = f > 0.0 && f < limits::largestForceNoise;
  const bool torqueAccepted = m > 0.0 && m < limits::largestTorqueNoise;
  if (forceAccepted) _f_min = f;
  if (torqueAccepted) _m_min = m;
  return forceAccepted && torqueAccepted;
}

bool ZelFTCTool::setTimeStep(double msTime) {
  if (!(msTime >= limits::shortestPeriod && msTime <= limits::longestPeriod)) return false;
  timeStep = msTime * 0.001;
  return true;
}

double ZelFTCTool::getTimeStep() {
  return timeStep / 0.001;
}

bool ZelFTCTool::set_minValue(double value, int value_name) {
  switch (value_name) {
    case ZEL_MIN_PATH:
      correctionLimit.minPath = value * metresPerMillimetre;
      return true;
    case ZEL_MIN_PATH_FORCE:
      correctionLimit.minPathForce = value;
      return true;
    default:
      return false;
  }
}

bool ZelFTCTool::set_minValue_every(double* value_group, int /*value_name*/) {
  correctionLimit.set_group = true;
  for (int i = 0; i < 3; ++i) {
    correctionLimit.minpath_group[i] = value_group[i] * metresPerMillimetre;
  }
  return true;
}

void ZelFTCTool::clear() {
  isSetApproach = isSetTrackingMotion = false;
  runApproachMode = runTrackingMotionMode = false;
  std::fill(std::begin(isApproachTouchOK), std::end(isApproachTouchOK), 0);
}
