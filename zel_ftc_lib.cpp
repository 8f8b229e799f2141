// The flat interface: guard, check, convert, call, translate. No logic of its own.
#include "zel_ftc_lib.h"

#include <cxxabi.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <initializer_list>
#include <new>
#include <thread>

#include "ft/ZelForceSensorBase.h"
#include "ft/ZelForceSensorEtherNetUDP.h"
#include "ft/ZelForceSensorExternal.h"
#include "matrix/rigidtransform.h"
#include "robot/ZelFTCTool.h"
#include "robot/ZelForceControlTool.h"

void* m_zelftcclass = nullptr;
void* m_zelftsensorclass = nullptr;
double zel_raw_ft[6] = {};
zel_ft_info zel_info_ = {};
bool zel_is_external = false;

namespace {

constexpr int notOpen = -1;

bool isOpen() {
  return m_zelftcclass != nullptr && m_zelftsensorclass != nullptr;
}

ZelForceControlTool& tool() {
  return *static_cast<ZelForceControlTool*>(m_zelftcclass);
}
ZelSensor& sensor() {
  return *static_cast<ZelSensor*>(m_zelftsensorclass);
}

/// For the operations that the concrete class adds to the interface.
ZelFTCTool& concreteTool() {
  return static_cast<ZelFTCTool&>(tool());
}

/// The frame of every entry: -1 when the library is not open, 0 when a pointer is missing, else the
/// result of the call as 1 or 0. An exception ends here, as a 0.
template <typename Call>
int guarded(std::initializer_list<const void*> needed, Call call) {
  if (!isOpen()) return notOpen;
  for (const void* pointer : needed) {
    if (pointer == nullptr) return 0;
  }
  try {
    return zel_ftc_issetok(call());
  } catch (const abi::__forced_unwind&) {
    throw;  // no failure: the calling thread is being cancelled, in one of the sleeps
  } catch (...) {
    return 0;
  }
}

template <typename Call>
int guarded(Call call) {
  return guarded({}, call);
}

bool isFrame(ZelRcs rcs) {
  return rcs >= RCS_WORLD && rcs <= RCS_SENSOR;
}
bool isDirection(ZelDirection d) {
  return d >= FT_FX && d <= FT_MZ;
}
ZelCartesianCoordinate frame(ZelRcs rcs) {
  return static_cast<ZelCartesianCoordinate>(rcs);
}
ZelMainDirection direction(ZelDirection d) {
  return static_cast<ZelMainDirection>(d);
}

bool readSensor() {
  return sensor().getFTSensorData(zel_raw_ft, zel_info_);
}

/// One control cycle: read, run, translate. `call` runs the tool with the result pose and record.
template <typename Call>
int runCycle(std::initializer_list<const void*> needed, double* out_pos,
             const double* robot_pos_now, zel_ftc_error* err, Call call) {
  return guarded(needed, [&] {
    const bool read = readSensor();
    zel_error error;
    error.sensor_code = err->ft_code = zel_info_.code;
    error.sensor_ipoc = err->ft_ipoc = zel_info_.IPOC;
    if (!read) return false;

    zel_pose corrected;
    const bool running = call(corrected, error);
    // out_pos may be the very array of robot_pos_now.
    std::memmove(out_pos, running ? corrected : robot_pos_now, sizeof corrected);
    err->ftc_code = error.code;
    return running;
  });
}

/// Deletes an object as exactly its own type: none of the classes has a virtual destructor.
template <typename T>
void destroy(T& object) {
  object.T::~T();
  ::operator delete(&object);
}

/// Calls `read` with a local wrench and copies it out on success only.
template <typename Read>
bool copyOnSuccess(double* out, Read read) {
  zel_ft local;
  if (!read(local)) return false;
  std::copy_n(local, 6, out);
  return true;
}

}  // namespace

int zel_ftc_issetok(bool isok) {
  return isOpen() ? (isok ? 1 : 0) : notOpen;
}

// ---- open and close ---------------------------------------------------------------------------

int zel_ftc_open(bool isExternal) {
  if (isOpen()) return 0;
  ZelFTCTool* newTool = nullptr;
  ZelSensor* newSensor = nullptr;
  try {
    newTool = new ZelFTCTool;
    if (isExternal) {
      newSensor = new SensorExternal;
    } else {
      newSensor = new SensorEtherNet_UDP;
    }
  } catch (...) {
    if (newTool != nullptr) destroy(*newTool);
    return 0;
  }
  // A half-open library is opened afresh: what was there is overwritten, not released.
  m_zelftcclass = static_cast<ZelForceControlTool*>(newTool);
  m_zelftsensorclass = newSensor;
  zel_is_external = isExternal;
  return 1;
}

int zel_ftc_close(void) {
  if (m_zelftsensorclass != nullptr) {
    sensor().uninitialFTSensor();
    if (zel_is_external) {
      destroy(static_cast<SensorExternal&>(sensor()));
    } else {
      destroy(static_cast<SensorEtherNet_UDP&>(sensor()));
    }
    m_zelftsensorclass = nullptr;
  }
  if (m_zelftcclass != nullptr) {
    destroy(concreteTool());
    m_zelftcclass = nullptr;
  }
  return 1;
}

// ---- sensor -----------------------------------------------------------------------------------

int zel_ftc_initialFTSensor(unsigned short host, const char* ip) {
  return guarded([&] { return sensor().initialFTSensor(host, ip); });
}

int zel_ftc_uninitialFTSensor(void) {
  return guarded([] { return sensor().uninitialFTSensor(); });
}

int zel_ftc_obtainFTSensorData(double* m_ftData) {
  return guarded({m_ftData}, [&] {
    if (zel_is_external) return static_cast<SensorExternal&>(sensor()).setRawData(m_ftData);
    if (!readSensor()) return false;
    std::copy_n(zel_raw_ft, 6, m_ftData);
    return true;
  });
}

int zel_ftc_getFTSensorRange(double* range) {
  return guarded({range}, [&] {
    sensor().getFTSensorRange(range);
    return true;
  });
}

int zel_ftc_zeroFTSensor(void) {
  return guarded([] { return sensor().zeroFTSensor(); });
}

int zel_ftc_lowPassFilterFTSensor(int range) {
  return guarded(
      [&] { return sensor().setFTSensorLowPassFilter(static_cast<std::uint8_t>(range)); });
}

int zel_ftc_medianFilterDepthFTSensor(int range) {
  return guarded(
      [&] { return sensor().setFTSensorMedianFilter(static_cast<std::uint8_t>(range)); });
}

// ---- configuration ----------------------------------------------------------------------------

int zel_ftc_setTimeStep(double msTime) {
  return guarded([&] { return tool().setTimeStep(msTime); });
}

int zel_ftc_getTimeStep(double* msTime) {
  return guarded({msTime}, [&] {
    *msTime = tool().getTimeStep();
    return true;
  });
}

int zel_ftc_setSensorConfig(double* maxLoad, double* sensor_offset, double* tool_offect_sensor) {
  return guarded({maxLoad, sensor_offset, tool_offect_sensor}, [&] {
    return tool().setSensorConfig(maxLoad, sensor_offset, tool_offect_sensor);
  });
}

int zel_ftc_setLoadData(double g, double lx, double ly, double lz) {
  return guarded([&] { return tool().setLoadData(g, lx, ly, lz); });
}

int zel_ftc_getLoadData(double* g, double* lx, double* ly, double* lz) {
  return guarded({g, lx, ly, lz}, [&] {
    double load[4];
    if (!tool().getLoadData(load[0], load[1], load[2], load[3])) return false;
    *g = load[0];
    *lx = load[1];
    *ly = load[2];
    *lz = load[3];
    return true;
  });
}

int zel_ftc_setCorrectionLimit(double* max, double* min, double ang) {
  return guarded({max, min}, [&] { return tool().setCorrectionLimit(max, min, ang); });
}

int zel_ftc_setMonitoringFunctions(double* _monitoringFunctions) {
  return guarded({_monitoringFunctions},
                 [&] { return tool().setMonitoringFunctions(_monitoringFunctions); });
}

int zel_ftc_setCorrectionMonitoring(double path, double angle) {
  return guarded([&] { return tool().setCorrectionMonitoring(path, angle); });
}

int zel_ftc_setSensorNoiseThreshold(double f_min, double m_min) {
  return guarded([&] { return tool().setSensorNoiseThreshold(f_min, m_min); });
}

int zel_set_minValue(double value, int value_name) {
  return guarded([&] { return tool().set_minValue(value, value_name); });
}

int zel_set_minValue_every(double* value_group, int value_name) {
  return guarded({value_group},
                 [&] { return concreteTool().set_minValue_every(value_group, value_name); });
}

int zel_ftc_configApproachMode(ZelRcs rcs, ZelDirection mainDirection, double setExpectFT,
                               double* setKR, double translationalMotion, double switchingForce,
                               double switchingTorque, double* breakConditionRange,
                               unsigned long timeOut) {
  return guarded({setKR, breakConditionRange}, [&] {
    return isFrame(rcs) && isDirection(mainDirection) &&
           tool().configApproachMode(frame(rcs), direction(mainDirection), setExpectFT, setKR,
                                     translationalMotion, switchingForce, switchingTorque,
                                     breakConditionRange, timeOut);
  });
}

int zel_ftc_configAssemblyMode(ZelRcs rcs, ZelDirection mainDirection, double setExpectFT,
                               double* setKR, double translationalMotion, double switchingForce,
                               double switchingTorque, double* breakConditionRange,
                               unsigned long timeOut, double pathOut, double minPath,
                               double minPathForce) {
  return guarded({setKR, breakConditionRange}, [&] {
    return isFrame(rcs) && isDirection(mainDirection) &&
           tool().configAssemblyMode(frame(rcs), direction(mainDirection), setExpectFT, setKR,
                                     translationalMotion, switchingForce, switchingTorque,
                                     breakConditionRange, timeOut, pathOut, minPath, minPathForce);
  });
}

int zel_ftc_configTrackingMotionMode(ZelRcs rcs, ZelDirection mainDirection, double* expectFT,
                                     double* kr, double* breakConditionRange, double desiredSpeed) {
  return guarded({expectFT, kr, breakConditionRange}, [&] {
    return isFrame(rcs) && isDirection(mainDirection) &&
           tool().configTrackingMotionMode(frame(rcs), direction(mainDirection), expectFT, kr,
                                           breakConditionRange, desiredSpeed);
  });
}

// ---- load identification ----------------------------------------------------------------------

int zel_ftc_recordCalibrationLoadData(double* ft, double* robot_pos) {
  return guarded({ft, robot_pos}, [&] { return tool().recordCalibrationLoadData(ft, robot_pos); });
}

int zel_ftc_initCalibrationLoadData(void) {
  return guarded([] {
    tool().initCalibrationLoadData();
    return true;
  });
}

int zel_ftc_gravityCalibration(void) {
  return guarded([] { return tool().gravityCalibration(); });
}

// ---- readings ---------------------------------------------------------------------------------

int zel_ftc_sensorReset(double* robot_pos) {
  return guarded({robot_pos}, [&] {
    constexpr std::chrono::milliseconds freshSample(10);  // a new sample has arrived by then
    std::this_thread::sleep_for(freshSample);             // all of it, whatever signals come in
    return readSensor() && tool().sensorReset(robot_pos, zel_raw_ft, zel_info_);
  });
}

int zel_ftc_getSensorData(double* ft, double* robot_pos, ZelRcs rcs) {
  return guarded({ft, robot_pos}, [&] {
    if (!isFrame(rcs) || !readSensor()) return false;
    return copyOnSuccess(ft, [&](zel_ft& local) {
      return tool().getSensorData(local, robot_pos, frame(rcs), zel_raw_ft, zel_info_);
    });
  });
}

int zel_ftc_getRCS_FT_Data(double* ft) {
  return guarded({ft}, [&] {
    return copyOnSuccess(ft, [](zel_ft& local) { return tool().getRCS_FT_Data(local); });
  });
}

int zel_ftc_get_GraData(double* ft, double* robot_pos) {
  return guarded({ft, robot_pos}, [&] {
    readSensor();  // whether it succeeded does not matter: the last values serve
    return copyOnSuccess(ft, [&](zel_ft& local) {
      return concreteTool().get_GraData(local, robot_pos, zel_raw_ft);
    });
  });
}

// ---- runs -------------------------------------------------------------------------------------

int zel_ftc_runApproach(double* out_pos, double* robot_pos_now, zel_ftc_error* err) {
  return runCycle({out_pos, robot_pos_now, err}, out_pos, robot_pos_now, err,
                  [&](zel_pose& out, zel_error& error) {
                    return tool().runApproach(out, robot_pos_now, error, zel_raw_ft, zel_info_);
                  });
}

int zel_ftc_runAssembly(double* out_pos, double* robot_pos_now, zel_ftc_error* err) {
  return runCycle({out_pos, robot_pos_now, err}, out_pos, robot_pos_now, err,
                  [&](zel_pose& out, zel_error& error) {
                    return tool().runAssembly(out, robot_pos_now, error, zel_raw_ft, zel_info_);
                  });
}

int zel_ftc_runTrackingMotionL(double* out_pos, double* robot_pos_start, double* robot_pos_end,
                               double* robot_pos_now, zel_ftc_error* err) {
  return runCycle({out_pos, robot_pos_start, robot_pos_end, robot_pos_now, err}, out_pos,
                  robot_pos_now, err, [&](zel_pose& out, zel_error& error) {
                    return tool().runTrackingMotionL(out, robot_pos_start, robot_pos_end,
                                                     robot_pos_now, error, zel_raw_ft, zel_info_);
                  });
}

int zel_ftc_runTrackingMotionC(double* out_pos, double* robot_pos_start,
                               double* robot_pos_transition, double* robot_pos_end,
                               double* robot_pos_now, zel_ftc_error* err) {
  return runCycle(
      {out_pos, robot_pos_start, robot_pos_transition, robot_pos_end, robot_pos_now, err}, out_pos,
      robot_pos_now, err, [&](zel_pose& out, zel_error& error) {
        return tool().runTrackingMotionC(out, robot_pos_start, robot_pos_transition, robot_pos_end,
                                         robot_pos_now, error, zel_raw_ft, zel_info_);
      });
}

int zel_ftc_stop(void) {
  return guarded([] {
    tool().stop();
    return true;
  });
}

int zel_ftc_clear(void) {
  return guarded([] {
    tool().clear();
    return true;
  });
}

int zel_ftc_Release(void) {
  return guarded([] {
    tool().Release();
    return true;
  });
}

// ---- pose utilities ---------------------------------------------------------------------------

int zel_rpy2quaternion(double* pose_qua, double* pose) {
  const zel::RigidTransform T = zel::transformFromPose(pose);
  double quaternion[4];
  zel::quaternionFromRotation(T.row, quaternion, 4);
  std::copy_n(pose, 3, pose_qua);
  std::copy_n(quaternion, 4, pose_qua + 3);
  return 1;
}

int zel_quaternion2rpy(double* pose, double* pose_qua) {
  zel::poseFromTransform(zel::transformFromQuaternion(pose_qua), pose);
  return 1;
}

int zel_pose2offset(double* offset, double* p1, double* p2) {
  const zel::RigidTransform T_1_2 =
      zel::inverse(zel::transformFromPose(p1)) * zel::transformFromPose(p2);
  zel::poseFromTransform(T_1_2, offset);
  return 1;
}
