/* A controller written in C: includes the flat headers alone, names every function, and walks
 * through one life of the library. Returns 0 or the line that failed. */
#include "zel_ftc_lib.h"
#include "zel_ftc_workers.h"

int c_controller(void);

typedef void (*any_function)(void);

static const any_function every_function[] = {
    (any_function)zel_ftc_open,
    (any_function)zel_ftc_close,
    (any_function)zel_ftc_initialFTSensor,
    (any_function)zel_ftc_uninitialFTSensor,
    (any_function)zel_ftc_obtainFTSensorData,
    (any_function)zel_ftc_getFTSensorRange,
    (any_function)zel_ftc_zeroFTSensor,
    (any_function)zel_ftc_lowPassFilterFTSensor,
    (any_function)zel_ftc_medianFilterDepthFTSensor,
    (any_function)zel_ftc_setTimeStep,
    (any_function)zel_ftc_getTimeStep,
    (any_function)zel_ftc_setSensorConfig,
    (any_function)zel_ftc_setLoadData,
    (any_function)zel_ftc_getLoadData,
    (any_function)zel_ftc_setCorrectionLimit,
    (any_function)zel_ftc_setMonitoringFunctions,
    (any_function)zel_ftc_setCorrectionMonitoring,
    (any_function)zel_ftc_setSensorNoiseThreshold,
    (any_function)zel_set_minValue,
    (any_function)zel_set_minValue_every,
    (any_function)zel_ftc_configApproachMode,
    (any_function)zel_ftc_configAssemblyMode,
    (any_function)zel_ftc_configTrackingMotionMode,
    (any_function)zel_ftc_recordCalibrationLoadData,
    (any_function)zel_ftc_initCalibrationLoadData,
    (any_function)zel_ftc_gravityCalibration,
    (any_function)zel_ftc_sensorReset,
    (any_function)zel_ftc_getSensorData,
    (any_function)zel_ftc_getRCS_FT_Data,
    (any_function)zel_ftc_get_GraData,
    (any_function)zel_ftc_runApproach,
    (any_function)zel_ftc_runAssembly,
    (any_function)zel_ftc_runTrackingMotionL,
    (any_function)zel_ftc_runTrackingMotionC,
    (any_function)zel_ftc_clear,
    (any_function)zel_ftc_stop,
    (any_function)zel_ftc_Release,
    (any_function)zel_rpy2quaternion,
    (any_function)zel_quaternion2rpy,
    (any_function)zel_pose2offset,
    (any_function)zel_ftc_setWorkers,
    (any_function)zel_ftc_getWorkers,
    (any_function)zel_ftc_getWorkerFault,
    (any_function)zel_ftc_getWorkerFaultText,
};

#define REQUIRE(condition) \
  if (!(condition)) return __LINE__

_Static_assert(sizeof(ZelInfoCode) == 4, "enumerations have 32 bits");
_Static_assert(sizeof(zel_ft_info) == 4 + 4 + 256, "layout of the status record");
_Static_assert(sizeof(zel_error) == 3 * 4 + 256, "layout of the run record");
_Static_assert(sizeof(zel_ftc_error) == 3 * 4, "layout of the flat run record");
_Static_assert(sizeof(zel_pose) == 48 && sizeof(zel_ft) == 48, "six doubles");

int c_controller(void) {
  zel_pose pose = {1, 2, 3, 0, 0, 0};
  zel_pose back = {0};
  double quaternion[7];
  zel_ft reading = {1, 2, 3, 4, 5, 6};
  double period = 0;
  unsigned i;

  for (i = 0; i < sizeof every_function / sizeof every_function[0]; ++i) REQUIRE(every_function[i]);

  REQUIRE(zel_ftc_setTimeStep(8) == -1);
  REQUIRE(zel_ftc_open(true) == 1);
  REQUIRE(zel_ftc_open(true) == 0);
  REQUIRE(m_zelftcclass && m_zelftsensorclass && zel_is_external);
  REQUIRE(zel_ftc_initialFTSensor(0, 0) == 1);
  REQUIRE(zel_ftc_setTimeStep(8) == 1);
  REQUIRE(zel_ftc_getTimeStep(&period) == 1 && period == 8);
  REQUIRE(zel_ftc_obtainFTSensorData(reading) == 1);
  REQUIRE(zel_ftc_close() == 1);
  REQUIRE(!m_zelftcclass && !m_zelftsensorclass);
  REQUIRE(zel_ftc_getTimeStep(&period) == -1);

  REQUIRE(zel_rpy2quaternion(quaternion, pose) == 1 && quaternion[3] == 1);
  REQUIRE(zel_quaternion2rpy(back, quaternion) == 1 && back[2] == 3);
  REQUIRE(zel_pose2offset(back, pose, pose) == 1 && back[0] == 0);
  return 0;
}
