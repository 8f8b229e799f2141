// The interface through which the flat functions drive force control.
#ifndef ZEL_FTC_ROBOT_ZELFORCECONTROLTOOL_H
#define ZEL_FTC_ROBOT_ZELFORCECONTROLTOOL_H

#include "zel_ftc_types.h"

/// Force control of one tool. See ZelFTCTool, the one implementation, for the operations.
///
/// The order of the operations is binary interface: never insert or reorder. The destructor is not
/// virtual: a tool is never deleted through this class. Everything runs on the control thread.
class ZEL_FTC_API ZelForceControlTool {
 public:
  virtual bool configApproachMode(ZelCartesianCoordinate rcs, ZelMainDirection mainDirection,
                                  double setExpectFT, double* setKR, double translationalMotion,
                                  double switchingForce, double switchingTorque,
                                  double* breakConditionRange, unsigned long timeOut) = 0;
  virtual bool configAssemblyMode(ZelCartesianCoordinate rcs, ZelMainDirection mainDirection,
                                  double setExpectFT, double* setKR, double translationalMotion,
                                  double switchingForce, double switchingTorque,
                                  double* breakConditionRange, unsigned long timeOut,
                                  double pathOut, double minPath, double minPathForce) = 0;
  virtual bool configTrackingMotionMode(ZelCartesianCoordinate rcs, ZelMainDirection mainDirection,
                                        double* setExpectFT, double* setKR,
                                        double* breakConditionRange, double setDesiredSpeed) = 0;
  virtual bool setSensorConfig(double* MaxLoad, double* flange_sensor, double* sensor_tool) = 0;
  virtual bool setLoadData(double G, double lx, double ly, double lz) = 0;
  virtual bool setCorrectionLimit(double* max, double* min, double ang) = 0;
  virtual bool setMonitoringFunctions(double* MaxPermissibleLoad) = 0;
  virtual bool setCorrectionMonitoring(double path, double angle) = 0;
  virtual bool runAssembly(zel_pose& out, double* robot_pos_now, zel_error& err, double* ft,
                           zel_ft_info info) = 0;
  virtual bool runApproach(zel_pose& out, double* robot_pos_now, zel_error& err, double* ft,
                           zel_ft_info info) = 0;
  virtual bool runTrackingMotionL(zel_pose& out, double* start, double* end, double* now,
                                  zel_error& err, double* ft, zel_ft_info info) = 0;
  virtual bool runTrackingMotionC(zel_pose& out, double* start, double* transition, double* end,
                                  double* now, zel_error& err, double* ft, zel_ft_info info) = 0;
  virtual bool sensorReset(double* robot_pos, double* m_ft, zel_ft_info ft_info_) = 0;
  virtual bool recordCalibrationLoadData(double* ft, double* robot_pos) = 0;
  virtual void initCalibrationLoadData() = 0;
  virtual bool gravityCalibration() = 0;
  virtual bool getLoadData(double& G, double& lx, double& ly, double& lz) = 0;
  virtual bool getSensorData(zel_ft& out, double* robot_pos, ZelCartesianCoordinate rcs, double* ft,
                             zel_ft_info info) = 0;
  virtual bool getRCS_FT_Data(zel_ft& out) = 0;
  virtual bool setSensorNoiseThreshold(double f, double m) = 0;
  virtual bool setTimeStep(double msTime) = 0;
  virtual double getTimeStep() = 0;
  virtual void stop() = 0;
  virtual void clear() = 0;
  virtual void Release() = 0;
  virtual bool set_minValue(double value, int value_name) = 0;

 protected:
  ZelForceControlTool();
  ZelForceControlTool(const ZelForceControlTool&) = default;
  ZelForceControlTool& operator=(const ZelForceControlTool&) = default;
  ~ZelForceControlTool();
};

#endif
