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

  SensorExternal();
  ~SensorExternal();
  SensorExternal(const SensorExternal&) = delete;
  SensorExternal& operator=(const SensorExternal&) = delete;

  /// Hands in a reading (six values). False, nothing changed, while not initialised.
  bool setRawData(const double* in);
  /// Copies the newest reading out. False, nothing copied, while not initialised.
  bool getRawData(double* out);

  void clearIPOC();
  void countIPOC();
  void setCODE(ZelInfoCode code);
  void getInfo(zel_ft_info_t& info);

  bool zeroFTSensor() override;
  /// Reading, counter and status keep their values.
  bool uninitialFTSensor() override;
  bool saveFTSensorUserSetting() override;
  void getFTSensorRange(double*) override;
  void getFTSensorInfo(zel_ft_info_t&) override;
  bool setFTSensorStartSample() override;
  bool setFTSensorStopSample() override;
  bool setFTSensorLowPassFilter(std::uint8_t) override;
  /// Port and address are ignored. The status reads COMM_INIT until the next reading; initialising
  /// again keeps the reading and the counter.
  bool initialFTSensor(int port, const char* ip) override;
  bool getFTSensorData(double* out, zel_ft_info_t& info) override;
  bool setFTSensorToolTransform(double*) override;
  bool setFTSensorIIRFilter(bool) override;
  bool setFTSensorFIRFilter(bool) override;
  bool setFTSensorMedianFilter(std::uint8_t) override;
  bool setFTSensorSmoothAverFilter(std::uint8_t) override;
  bool setFTSensorKalmanFilter(bool, KalmanFilterPara, KalmanFilterPara) override;
  bool setFTSensorNetIP(const char*) override;
  bool setFTSensorNetMask(const char*) override;
  bool setFTSensorNetGateway(const char*) override;
  bool setFTSensorNetPortNumber(std::uint16_t) override;
  bool setFTSensorAlarmSignal() override;
  bool clearFTSensorAlarmSignal() override;
  bool setFTSensorAlarm(bool) override;
  bool getFTSensorAlarmAxis(std::uint8_t*) override;
  bool setFTSensorAlarmNormalOpen(bool) override;
  bool setFTSensorAlarmThresholdValue(double*) override;
};

#endif
