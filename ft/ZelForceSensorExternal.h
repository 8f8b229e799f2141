// A sensor that the caller reads himself and feeds into the library.
#ifndef ZEL_FTC_FT_ZELFORCESENSOREXTERNAL_H
#define ZEL_FTC_FT_ZELFORCESENSOREXTERNAL_H

#include "ft/ZelForceSensorBase.h"

/// The external sensor. The caller hands in each reading with setRawData, once per control cycle
/// and before any run function; getFTSensorData returns what was handed in last.
///
/// Everything runs on the control thread; feeding and reading are real-time safe. The settings of
/// the interface are accepted and do nothing: this sensor has no filters, network or alarm of its
/// own, and no range. The fields are open for diagnostics; change them through the operations.
class ZEL_FTC_API SensorExternal : public ZelSensor {
 public:
  bool bConnect = false;    ///< initialised: readings are accepted and handed out
  bool bSensorRun = false;  ///< cleared by uninitialFTSensor, otherwise without meaning here
  DeviceModelInfo dev_info = {};
  bool bSampleMode = false;
  double rawData[6] = {};   ///< newest reading, N and N m
  double ft_range[6] = {};  ///< never filled
  int IPOC = 0;             ///< readings handed in since initialisation (wraps after 100000)
  ZelInfoCode CODE = {};    ///< 0 until the first initialisation

  SensorExternal() = default;
  ~SensorExternal() { uninitialFTSensor(); }
  SensorExternal(const SensorExternal&) = delete;
  SensorExternal& operator=(const SensorExternal&) = delete;

  /// Hands in a reading (six values). False, nothing changed, while not initialised.
  bool setRawData(const double* in);
  /// Copies the newest reading out. False, nothing copied, while not initialised.
  bool getRawData(double* out);

  void clearIPOC() { IPOC = 0; }
  void countIPOC() { IPOC = zel::nextPacketCount(IPOC); }
  void setCODE(ZelInfoCode code) { CODE = code; }
  void getInfo(zel_ft_info_t& info);

  bool zeroFTSensor() override { return true; }
  /// Reading, counter and status keep their values.
  bool uninitialFTSensor() override;
  bool saveFTSensorUserSetting() override { return true; }
  void getFTSensorRange(double*) override {}
  void getFTSensorInfo(zel_ft_info_t&) override {}
  bool setFTSensorStartSample() override { return true; }
  bool setFTSensorStopSample() override { return true; }
  bool setFTSensorLowPassFilter(std::uint8_t) override { return true; }
  /// Port and address are ignored. The status reads COMM_INIT until the next reading; initialising
  /// again keeps the reading and the counter.
  bool initialFTSensor(int port, const char* ip) override;
  bool getFTSensorData(double* out, zel_ft_info_t& info) override;
  bool setFTSensorToolTransform(double*) override { return true; }
  bool setFTSensorIIRFilter(bool) override { return true; }
  bool setFTSensorFIRFilter(bool) override { return true; }
  bool setFTSensorMedianFilter(std::uint8_t) override { return true; }
  bool setFTSensorSmoothAverFilter(std::uint8_t) override { return true; }
  bool setFTSensorKalmanFilter(bool, KalmanFilterPara, KalmanFilterPara) override { return true; }
  bool setFTSensorNetIP(const char*) override { return true; }
  bool setFTSensorNetMask(const char*) override { return true; }
  bool setFTSensorNetGateway(const char*) override { return true; }
  bool setFTSensorNetPortNumber(std::uint16_t) override { return true; }
  bool setFTSensorAlarmSignal() override { return true; }
  bool clearFTSensorAlarmSignal() override { return true; }
  bool setFTSensorAlarm(bool) override { return true; }
  bool getFTSensorAlarmAxis(std::uint8_t*) override { return true; }
  bool setFTSensorAlarmNormalOpen(bool) override { return true; }
  bool setFTSensorAlarmThresholdValue(double*) override { return true; }
};

#endif
