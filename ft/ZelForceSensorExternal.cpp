#include "ft/ZelForceSensorExternal.h"

#include <algorithm>
#include <iterator>

#include "ft/sensor_status.h"

SensorExternal::SensorExternal() = default;

SensorExternal::~SensorExternal() {
  SensorExternal::uninitialFTSensor();
}

void SensorExternal::clearIPOC() {
  IPOC = 0;
}

void SensorExternal::countIPOC() {
  IPOC = zel::nextPacketCount(IPOC);
}

void SensorExternal::setCODE(ZelInfoCode code) {
  CODE = code;
}

bool SensorExternal::setRawData(const double* in) {
  if (!bConnect || in == nullptr) return false;
  std::copy_n(in, 6, rawData);
  countIPOC();
  setCODE(FT_N0RMAL);
  return true;
}

bool SensorExternal::getRawData(double* out) {
  if (!bConnect || out == nullptr) return false;
  std::copy_n(rawData, 6, out);
  return true;
}

void SensorExternal::getInfo(zel_ft_info_t& info) {
  zel::fillStatus(info, IPOC, CODE, zel::SensorKind::external);
}

bool SensorExternal::initialFTSensor(int, const char*) {
  setCODE(COMM_INIT);
  if (bConnect) return true;
  clearIPOC();
  std::fill(std::begin(rawData), std::end(rawData), 0.0);
  bConnect = true;
  return true;
}

bool SensorExternal::getFTSensorData(double* out, zel_ft_info_t& info) {
  const bool result = bConnect && getRawData(out);
  getInfo(info);
  return result;
}

bool SensorExternal::uninitialFTSensor() {
  bSensorRun = false;
  bConnect = false;
  return true;
}

// ---- what a sensor of its own would do ----------------------------------------------------------

void SensorExternal::getFTSensorRange(double*) {}
void SensorExternal::getFTSensorInfo(zel_ft_info_t&) {}

bool SensorExternal::zeroFTSensor() {
  return true;
}
bool SensorExternal::saveFTSensorUserSetting() {
  return true;
}
bool SensorExternal::setFTSensorStartSample() {
  return true;
}
bool SensorExternal::setFTSensorStopSample() {
  return true;
}
bool SensorExternal::setFTSensorLowPassFilter(std::uint8_t) {
  return true;
}
bool SensorExternal::setFTSensorToolTransform(double*) {
  return true;
}
bool SensorExternal::setFTSensorIIRFilter(bool) {
  return true;
}
bool SensorExternal::setFTSensorFIRFilter(bool) {
  return true;
}
bool SensorExternal::setFTSensorMedianFilter(std::uint8_t) {
  return true;
}
bool SensorExternal::setFTSensorSmoothAverFilter(std::uint8_t) {
  return true;
}
bool SensorExternal::setFTSensorKalmanFilter(bool, KalmanFilterPara, KalmanFilterPara) {
  return true;
}
bool SensorExternal::setFTSensorNetIP(const char*) {
  return true;
}
bool SensorExternal::setFTSensorNetMask(const char*) {
  return true;
}
bool SensorExternal::setFTSensorNetGateway(const char*) {
  return true;
}
bool SensorExternal::setFTSensorNetPortNumber(std::uint16_t) {
  return true;
}
bool SensorExternal::setFTSensorAlarmSignal() {
  return true;
}
bool SensorExternal::clearFTSensorAlarmSignal() {
  return true;
}
bool SensorExternal::setFTSensorAlarm(bool) {
  return true;
}
bool SensorExternal::getFTSensorAlarmAxis(std::uint8_t*) {
  return true;
}
bool SensorExternal::setFTSensorAlarmNormalOpen(bool) {
  return true;
}
bool SensorExternal::setFTSensorAlarmThresholdValue(double*) {
  return true;
}
