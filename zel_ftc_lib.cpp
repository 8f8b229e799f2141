// The flat interface: guard, check, convert, call, translate. No logic of its own.
#include "zel_ftc_lib.h"

#include <cxxabi.h>

#include <algorithm>
#include <chrono>
#include <initializer_list>
#include <new>
#include <thread>

#include "diag/guard.h"
#include "diag/history.h"
#include "diag/library.h"
#include "diag/linkmonitor.h"
#include "diag/reasons.h"
#include "diag/text.h"
#include "ft/ZelForceSensorBase.h"
#include "ft/ZelForceSensorEtherNetUDP.h"
#include "ft/ZelForceSensorExternal.h"
#include "matrix/rigidtransform.h"
#include "robot/ZelFTCTool.h"
#include "robot/ZelForceControlTool.h"
#include "robot/limits.h"

void* m_zelftcclass = nullptr;
void* m_zelftsensorclass = nullptr;
double zel_raw_ft[6] = {};
zel_ft_info zel_info_ = {};
bool zel_is_external = false;

using namespace zel;

namespace {

constexpr int notOpen = -1;

/// A pointer that a function cannot do without, and the name of its argument.
struct Needed {
  const char* argument;
  const void* pointer;
};

/// Why a call failed that has only one way to fail, or none.
constexpr auto neverFails = [] { return diag::because(ZEL_REASON_INTERNAL); };

/// The frame of every entry: -1 when the library is not open, 0 when a pointer is missing, else the
/// result of the call as 1 or 0. Whatever is not 1 leaves the reason that `why` gives. An
/// exception ends here, as a 0.
template <typename Call, typename Why>
int guarded(const char* function, std::initializer_list<Needed> needed, Call call, Why why) {
  if (!isOpen()) return diag::refuse(function, notOpen, diag::because(ZEL_REASON_NOT_OPEN));
  for (const auto& [argument, pointer] : needed) {
    if (pointer != nullptr) continue;
    return diag::refuse(function, 0, diag::because(ZEL_REASON_NULL_POINTER, argument));
  }
  try {
    if (call()) return 1;
  } catch (const abi::__forced_unwind&) {
    throw;  // no failure: the calling thread is being cancelled, in one of the sleeps
  } catch (const std::bad_alloc&) {
    return diag::refuse(function, 0, diag::because(ZEL_REASON_OUT_OF_MEMORY));
  } catch (...) {
    return diag::refuse(function, 0, diag::because(ZEL_REASON_INTERNAL));
  }
  return diag::refuse(function, 0, why());
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

zel_ftc_reason unfitFrame(ZelRcs rcs) {
  return diag::unfit("rcs", rcs, {ZEL_MUST_BE_FROM_TO, RCS_WORLD, RCS_SENSOR});
}

/// Why a mode was refused: the one selector that is out of range.
zel_ftc_reason unfitSelector(ZelRcs rcs, ZelDirection mainDirection) {
  if (!isFrame(rcs)) return unfitFrame(rcs);
  return diag::unfit("mainDirection", mainDirection, {ZEL_MUST_BE_FROM_TO, FT_FX, FT_MZ});
}

zel_ftc_reason loadNotSet() {
  return diag::because(ZEL_REASON_WRONG_ORDER, "no load is set: zel_ftc_setLoadData comes first");
}

bool readSensor() {
  diag::linkMonitor.forgetFault();
  return sensor().getFTSensorData(zel_raw_ft, zel_info_);
}

/// A command to the sensor.
template <typename Call>
int commanded(const char* function, Call call) {
  return guarded(
      function, {},
      [&] {
        diag::linkMonitor.forgetFault();
        return call();
      },
      [] { return diag::sensorRefused(); });
}

/// One control cycle: read, run, translate. `call` runs the tool with the result pose and record.
template <typename Call>
int runCycle(const char* function, ZelRunKind kind, std::initializer_list<Needed> needed,
             double* out_pos, const double* robot_pos_now, zel_ftc_error* err, Call call) {
  bool read = false;
  return guarded(
      function, needed,
      [&] {
        read = readSensor();
        zel_error error;
        error.sensor_code = err->ft_code = zel_info_.code;
        error.sensor_ipoc = err->ft_ipoc = zel_info_.IPOC;
        if (!read) {
          diag::history.unread = zel_info_.code;
          return false;
        }

        zel_pose corrected;
        const bool running = call(corrected, error);
        // out_pos may be the very array of robot_pos_now.
        std::memmove(out_pos, running ? corrected : robot_pos_now, sizeof corrected);
        err->ftc_code = error.code;
        diag::history.ran(kind, running, error.code);
        return running;
      },
      [&] {
        return read ? diag::runEnded(concreteTool(), kind, err->ftc_code) : diag::sensorRefused();
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
  if (!isOpen()) return diag::refuse(__func__, notOpen, diag::because(ZEL_REASON_NOT_OPEN));
  return isok ? 1 : diag::refuse(__func__, 0, diag::because(ZEL_REASON_HANDED_IN));
}

// ---- open and close ---------------------------------------------------------------------------

int zel_ftc_open(bool isExternal) {
  if (isOpen()) {
    zel_ftc_reason open = diag::because(ZEL_REASON_ALREADY_OPEN);
    diag::Text(open.detail, sizeof open.detail) << (zel_is_external ? "external" : "network");
    return diag::refuse(__func__, 0, open);
  }
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
    return diag::refuse(__func__, 0, diag::because(ZEL_REASON_OUT_OF_MEMORY));
  }
  // A half-open library is opened afresh: what was there is overwritten, not released.
  m_zelftcclass = static_cast<ZelForceControlTool*>(newTool);
  m_zelftsensorclass = newSensor;
  zel_is_external = isExternal;
  diag::history = {};
  diag::startGuardAfresh();
  diag::linkMonitor.keepFrames(false);
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
  return guarded(
      __func__, {},
      [&] {
        diag::linkMonitor.forgetFault();
        return sensor().initialFTSensor(host, ip);
      },
      [&] {
        return ip == nullptr ? diag::because(ZEL_REASON_NULL_POINTER, "ip")
                             : diag::sensorRefused(ip);
      });
}

int zel_ftc_uninitialFTSensor(void) {
  return commanded(__func__, [] { return sensor().uninitialFTSensor(); });
}

int zel_ftc_obtainFTSensorData(double* m_ftData) {
  return guarded(
      __func__, {{"m_ftData", m_ftData}},
      [&] {
        if (zel_is_external) return static_cast<SensorExternal&>(sensor()).setRawData(m_ftData);
        if (!readSensor()) return false;
        std::copy_n(zel_raw_ft, 6, m_ftData);
        return true;
      },
      [] { return diag::sensorRefused(); });
}

int zel_ftc_getFTSensorRange(double* range) {
  return guarded(
      __func__, {{"range", range}},
      [&] {
        sensor().getFTSensorRange(range);
        return true;
      },
      neverFails);
}

int zel_ftc_zeroFTSensor(void) {
  return diag::noted(diag::history.sensorZero,
                     commanded(__func__, [] { return sensor().zeroFTSensor(); }));
}

int zel_ftc_lowPassFilterFTSensor(int range) {
  return commanded(__func__, [&] {
    return sensor().setFTSensorLowPassFilter(static_cast<std::uint8_t>(range));
  });
}

int zel_ftc_medianFilterDepthFTSensor(int range) {
  return commanded(
      __func__, [&] { return sensor().setFTSensorMedianFilter(static_cast<std::uint8_t>(range)); });
}

// ---- configuration ----------------------------------------------------------------------------

int zel_ftc_setTimeStep(double msTime) {
  const auto why = [&] {
    return diag::unfit("msTime", msTime,
                       {ZEL_MUST_BE_FROM_TO, limits::shortestPeriod, limits::longestPeriod}, "ms");
  };
  return diag::noted(diag::history.period,
                     guarded(
                         __func__, {}, [&] { return tool().setTimeStep(msTime); }, why));
}

int zel_ftc_getTimeStep(double* msTime) {
  return guarded(
      __func__, {{"msTime", msTime}},
      [&] {
        *msTime = tool().getTimeStep();
        return true;
      },
      neverFails);
}

int zel_ftc_setSensorConfig(double* maxLoad, double* sensor_offset, double* tool_offect_sensor) {
  return diag::noted(
      diag::history.mounting,
      guarded(
          __func__,
          {{"maxLoad", maxLoad},
           {"sensor_offset", sensor_offset},
           {"tool_offect_sensor", tool_offect_sensor}},
          [&] { return tool().setSensorConfig(maxLoad, sensor_offset, tool_offect_sensor); },
          neverFails));
}

int zel_ftc_setLoadData(double g, double lx, double ly, double lz) {
  const auto why = [&] {
    const bool isX = lx > limits::largestLever, isY = ly > limits::largestLever;
    return diag::unfit(isX   ? "lx"
                       : isY ? "ly"
                             : "lz",
                       isX   ? lx
                       : isY ? ly
                             : lz,
                       {ZEL_MUST_BE_AT_MOST, limits::largestLever}, "mm");
  };
  return diag::noted(diag::history.load,
                     guarded(
                         __func__, {}, [&] { return tool().setLoadData(g, lx, ly, lz); }, why));
}

int zel_ftc_getLoadData(double* g, double* lx, double* ly, double* lz) {
  return guarded(
      __func__, {{"g", g}, {"lx", lx}, {"ly", ly}, {"lz", lz}},
      [&] {
        double load[4];
        if (!tool().getLoadData(load[0], load[1], load[2], load[3])) return false;
        *g = load[0];
        *lx = load[1];
        *ly = load[2];
        *lz = load[3];
        return true;
      },
      loadNotSet);
}

int zel_ftc_setCorrectionLimit(double* max, double* min, double ang) {
  return guarded(
      __func__, {{"max", max}, {"min", min}},
      [&] { return tool().setCorrectionLimit(max, min, ang); }, neverFails);
}

int zel_ftc_setMonitoringFunctions(double* _monitoringFunctions) {
  return guarded(
      __func__, {{"_monitoringFunctions", _monitoringFunctions}},
      [&] { return tool().setMonitoringFunctions(_monitoringFunctions); }, neverFails);
}

int zel_ftc_setCorrectionMonitoring(double path, double angle) {
  return guarded(
      __func__, {}, [&] { return tool().setCorrectionMonitoring(path, angle); }, neverFails);
}

int zel_ftc_setSensorNoiseThreshold(double f_min, double m_min) {
  return guarded(
      __func__, {}, [&] { return tool().setSensorNoiseThreshold(f_min, m_min); },
      [&] {
        if (!(f_min > 0.0 && f_min < limits::largestForceNoise)) {
          return diag::unfit("f_min", f_min, {ZEL_MUST_BE_BETWEEN, 0, limits::largestForceNoise},
                             "N");
        }
        return diag::unfit("m_min", m_min, {ZEL_MUST_BE_BETWEEN, 0, limits::largestTorqueNoise},
                           "N m");
      });
}

int zel_set_minValue(double value, int value_name) {
  return guarded(
      __func__, {}, [&] { return tool().set_minValue(value, value_name); },
      [&] {
        return diag::unfit("value_name", value_name,
                           {ZEL_MUST_BE_ONE_OF, ZEL_MIN_PATH, ZEL_MIN_PATH_FORCE});
      });
}

int zel_set_minValue_every(double* value_group, int value_name) {
  return guarded(
      __func__, {{"value_group", value_group}},
      [&] { return concreteTool().set_minValue_every(value_group, value_name); }, neverFails);
}

int zel_ftc_configApproachMode(ZelRcs rcs, ZelDirection mainDirection, double setExpectFT,
                               double* setKR, double translationalMotion, double switchingForce,
                               double switchingTorque, double* breakConditionRange,
                               unsigned long timeOut) {
  return diag::noted(diag::history.approach,
                     guarded(
                         __func__, {{"setKR", setKR}, {"breakConditionRange", breakConditionRange}},
                         [&] {
                           return isFrame(rcs) && isDirection(mainDirection) &&
                                  tool().configApproachMode(frame(rcs), direction(mainDirection),
                                                            setExpectFT, setKR, translationalMotion,
                                                            switchingForce, switchingTorque,
                                                            breakConditionRange, timeOut);
                         },
                         [&] { return unfitSelector(rcs, mainDirection); }));
}

int zel_ftc_configAssemblyMode(ZelRcs rcs, ZelDirection mainDirection, double setExpectFT,
                               double* setKR, double translationalMotion, double switchingForce,
                               double switchingTorque, double* breakConditionRange,
                               unsigned long timeOut, double pathOut, double minPath,
                               double minPathForce) {
  return diag::noted(diag::history.assembly,
                     guarded(
                         __func__, {{"setKR", setKR}, {"breakConditionRange", breakConditionRange}},
                         [&] {
                           return isFrame(rcs) && isDirection(mainDirection) &&
                                  tool().configAssemblyMode(
                                      frame(rcs), direction(mainDirection), setExpectFT, setKR,
                                      translationalMotion, switchingForce, switchingTorque,
                                      breakConditionRange, timeOut, pathOut, minPath, minPathForce);
                         },
                         [&] { return unfitSelector(rcs, mainDirection); }));
}

int zel_ftc_configTrackingMotionMode(ZelRcs rcs, ZelDirection mainDirection, double* expectFT,
                                     double* kr, double* breakConditionRange, double desiredSpeed) {
  return diag::noted(
      diag::history.tracking,
      guarded(
          __func__,
          {{"expectFT", expectFT}, {"kr", kr}, {"breakConditionRange", breakConditionRange}},
          [&] {
            return isFrame(rcs) && isDirection(mainDirection) &&
                   tool().configTrackingMotionMode(frame(rcs), direction(mainDirection), expectFT,
                                                   kr, breakConditionRange, desiredSpeed);
          },
          [&] { return unfitSelector(rcs, mainDirection); }));
}

// ---- load identification ----------------------------------------------------------------------

int zel_ftc_recordCalibrationLoadData(double* ft, double* robot_pos) {
  return guarded(
      __func__, {{"ft", ft}, {"robot_pos", robot_pos}},
      [&] { return tool().recordCalibrationLoadData(ft, robot_pos); }, diag::listFull);
}

int zel_ftc_initCalibrationLoadData(void) {
  return guarded(
      __func__, {},
      [] {
        tool().initCalibrationLoadData();
        return true;
      },
      neverFails);
}

int zel_ftc_gravityCalibration(void) {
  const int result =
      diag::noted(diag::history.load, guarded(
                                          __func__, {}, [] { return tool().gravityCalibration(); },
                                          [] { return diag::calibrationFailed(concreteTool()); }));
  const bool hasIdentified = result == 1 && concreteTool().gravityCalibrationData.size > 0;
  return hasIdentified ? diag::noted(diag::history.identified, result) : result;
}

// ---- readings ---------------------------------------------------------------------------------

int zel_ftc_sensorReset(double* robot_pos) {
  bool read = false;
  return diag::noted(diag::history.zero,
                     guarded(
                         __func__, {{"robot_pos", robot_pos}},
                         [&] {
                           // A new sample has arrived by then, whatever signals come in.
                           std::this_thread::sleep_for(std::chrono::milliseconds(10));
                           read = readSensor();
                           return read && tool().sensorReset(robot_pos, zel_raw_ft, zel_info_);
                         },
                         [&] { return read ? diag::sampleUsed() : diag::sensorRefused(); }));
}

int zel_ftc_getSensorData(double* ft, double* robot_pos, ZelRcs rcs) {
  bool read = false;
  return guarded(
      __func__, {{"ft", ft}, {"robot_pos", robot_pos}},
      [&] {
        if (!isFrame(rcs)) return false;
        read = readSensor();
        return read && copyOnSuccess(ft, [&](zel_ft& local) {
                 return tool().getSensorData(local, robot_pos, frame(rcs), zel_raw_ft, zel_info_);
               });
      },
      [&] {
        if (!isFrame(rcs)) return unfitFrame(rcs);
        if (!read || zel_info_.code != FT_N0RMAL) return diag::sensorRefused();
        return loadNotSet();
      });
}

int zel_ftc_getRCS_FT_Data(double* ft) {
  return guarded(
      __func__, {{"ft", ft}},
      [&] { return copyOnSuccess(ft, [](zel_ft& local) { return tool().getRCS_FT_Data(local); }); },
      loadNotSet);
}

int zel_ftc_get_GraData(double* ft, double* robot_pos) {
  return guarded(
      __func__, {{"ft", ft}, {"robot_pos", robot_pos}},
      [&] {
        readSensor();  // whether it succeeded does not matter: the last values serve
        return copyOnSuccess(ft, [&](zel_ft& local) {
          return concreteTool().get_GraData(local, robot_pos, zel_raw_ft);
        });
      },
      neverFails);
}

// ---- runs -------------------------------------------------------------------------------------

int zel_ftc_runApproach(double* out_pos, double* robot_pos_now, zel_ftc_error* err) {
  return runCycle(__func__, ZEL_APPROACH_RUN,
                  {{"out_pos", out_pos}, {"robot_pos_now", robot_pos_now}, {"err", err}}, out_pos,
                  robot_pos_now, err, [&](zel_pose& out, zel_error& error) {
                    return tool().runApproach(out, robot_pos_now, error, zel_raw_ft, zel_info_);
                  });
}

int zel_ftc_runAssembly(double* out_pos, double* robot_pos_now, zel_ftc_error* err) {
  return runCycle(__func__, ZEL_ASSEMBLY_RUN,
                  {{"out_pos", out_pos}, {"robot_pos_now", robot_pos_now}, {"err", err}}, out_pos,
                  robot_pos_now, err, [&](zel_pose& out, zel_error& error) {
                    return tool().runAssembly(out, robot_pos_now, error, zel_raw_ft, zel_info_);
                  });
}

int zel_ftc_runTrackingMotionL(double* out_pos, double* robot_pos_start, double* robot_pos_end,
                               double* robot_pos_now, zel_ftc_error* err) {
  return runCycle(__func__, ZEL_LINE_RUN,
                  {{"out_pos", out_pos},
                   {"robot_pos_start", robot_pos_start},
                   {"robot_pos_end", robot_pos_end},
                   {"robot_pos_now", robot_pos_now},
                   {"err", err}},
                  out_pos, robot_pos_now, err, [&](zel_pose& out, zel_error& error) {
                    return tool().runTrackingMotionL(out, robot_pos_start, robot_pos_end,
                                                     robot_pos_now, error, zel_raw_ft, zel_info_);
                  });
}

int zel_ftc_runTrackingMotionC(double* out_pos, double* robot_pos_start,
                               double* robot_pos_transition, double* robot_pos_end,
                               double* robot_pos_now, zel_ftc_error* err) {
  return runCycle(__func__, ZEL_ARC_RUN,
                  {{"out_pos", out_pos},
                   {"robot_pos_start", robot_pos_start},
                   {"robot_pos_transition", robot_pos_transition},
                   {"robot_pos_end", robot_pos_end},
                   {"robot_pos_now", robot_pos_now},
                   {"err", err}},
                  out_pos, robot_pos_now, err, [&](zel_pose& out, zel_error& error) {
                    return tool().runTrackingMotionC(out, robot_pos_start, robot_pos_transition,
                                                     robot_pos_end, robot_pos_now, error,
                                                     zel_raw_ft, zel_info_);
                  });
}

int zel_ftc_stop(void) {
  return guarded(
      __func__, {},
      [] {
        tool().stop();
        return true;
      },
      neverFails);
}

int zel_ftc_clear(void) {
  return guarded(
      __func__, {},
      [] {
        tool().clear();
        diag::history.ended();
        return true;
      },
      neverFails);
}

int zel_ftc_Release(void) {
  return guarded(
      __func__, {},
      [] {
        tool().Release();
        return true;
      },
      neverFails);
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
