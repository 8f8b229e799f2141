// The interface through which the library drives every force/torque sensor.
#ifndef ZEL_FTC_FT_ZELFORCESENSORBASE_H
#define ZEL_FTC_FT_ZELFORCESENSORBASE_H

#include <cstdint>

#include "zel_ftc_types.h"

/// Parameters of the sensor's own Kalman filter.
struct KalmanFilterPara_t {
  std::uint8_t kalman_K;
  std::int32_t kalman_threshold;
  std::uint32_t num_check;
};
using KalmanFilterPara = KalmanFilterPara_t;

/// A six-axis force/torque sensor.
///
/// Results are true for done. Sensors keep a status (`CODE`, a ZelInfoCode) and a packet counter
/// (`IPOC`) that getFTSensorData hands out. The order of the operations is binary interface: never
/// insert or reorder. A sensor is taken down with uninitialFTSensor, which its own destructor calls
/// as well; the destructor is not virtual, so a sensor is never deleted through this class.
class ZEL_FTC_API ZelSensor {
 public:
  /// Identity that a sensor reports.
  struct DeviceModelInfo {
    std::uint8_t model;  ///< model number, selects the range table
    std::uint8_t range;
    std::uint16_t id;
    std::uint8_t year;
    std::uint8_t month;
    std::uint8_t date;
  };

  /// Make the current load the sensor's zero.
  virtual bool zeroFTSensor() = 0;
  /// Stop the sensor and release its resources.
  virtual bool uninitialFTSensor() = 0;
  /// Make the sensor keep its present settings.
  virtual bool saveFTSensorUserSetting() = 0;
  /// Nominal range of the connected model, six values (N, N m).
  virtual void getFTSensorRange(double* out) = 0;
  /// Reserved; status travels with getFTSensorData.
  virtual void getFTSensorInfo(zel_ft_info_t& info) = 0;
  virtual bool setFTSensorStartSample() = 0;
  virtual bool setFTSensorStopSample() = 0;
  virtual bool setFTSensorLowPassFilter(std::uint8_t setting) = 0;
  /// Bring the sensor up. Port and dotted IPv4 address are those of a network sensor.
  virtual bool initialFTSensor(int port, const char* ip) = 0;
  /// Newest reading (six values, N and N m) and, in every case, the status record.
  virtual bool getFTSensorData(double* out, zel_ft_info_t& info) = 0;
  /// Tool transform that the sensor applies to its readings, six values.
  virtual bool setFTSensorToolTransform(double* transform) = 0;
  virtual bool setFTSensorIIRFilter(bool enable) = 0;
  virtual bool setFTSensorFIRFilter(bool enable) = 0;
  virtual bool setFTSensorMedianFilter(std::uint8_t depth) = 0;
  virtual bool setFTSensorSmoothAverFilter(std::uint8_t depth) = 0;
  /// Set both parameter records, then switch the filter.
  virtual bool setFTSensorKalmanFilter(bool enable, KalmanFilterPara first,
                                       KalmanFilterPara second) = 0;
  virtual bool setFTSensorNetIP(const char* address) = 0;
  virtual bool setFTSensorNetMask(const char* mask) = 0;
  virtual bool setFTSensorNetGateway(const char* address) = 0;
  virtual bool setFTSensorNetPortNumber(std::uint16_t port) = 0;
  virtual bool setFTSensorAlarmSignal() = 0;
  virtual bool clearFTSensorAlarmSignal() = 0;
  virtual bool setFTSensorAlarm(bool enable) = 0;
  /// Which axis raised the alarm: six bytes, one per axis.
  virtual bool getFTSensorAlarmAxis(std::uint8_t* out) = 0;
  /// Normally open (true) or normally closed alarm contact.
  virtual bool setFTSensorAlarmNormalOpen(bool normallyOpen) = 0;
  /// Alarm threshold per axis, six values.
  virtual bool setFTSensorAlarmThresholdValue(double* thresholds) = 0;

 protected:
  ZelSensor() = default;
  ZelSensor(const ZelSensor&) = default;
  ZelSensor& operator=(const ZelSensor&) = default;
  ~ZelSensor() = default;
};

#endif
