#include "ft/ZelForceSensorExternal.h"

#include <algorithm>
#include <iterator>

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
