#include "ft/sensor_status.h"

#include <cstring>

namespace zel {

namespace {

const double sizeA_range[6] = {150, 150, 200, 4, 4, 4};
const double sizeB_range[6] = {600, 600, 800, 15, 15, 15};
const double sizeC_range[6] = {1000, 1000, 1600, 30, 30, 30};
const double sizeD_range[6] = {3000, 3000, 4000, 150, 150, 150};

}  // namespace

const double* rangeOfModel(std::uint8_t model) {
  switch (model) {
    case 2:
      return sizeA_range;
    case 5:
      return sizeC_range;
    case 3:
      return sizeD_range;
    default:  // model 1, and every model that is not known
      return sizeB_range;
  }
}

namespace {

struct StatusText {
  ZelInfoCode code;
  std::string_view text;      // of the network sensor
  std::string_view external;  // of the external sensor where it differs
};

#define ZEL_AFTER_SALES ", please contact the manufacturer's after-sales service!"
#define ZEL_NO_SENSOR(sensorClass) \
  "Error:The " sensorClass         \
  " adapter box cannot connect to the sensor, please check whether the sensor wiring is normal!"

constexpr StatusText statusTexts[] = {
    {FT_N0RMAL, "The sensor is operating normally.", {}},
    {ETHERNET_NO_SENSOR_ERROR, ZEL_NO_SENSOR("SensorEtherNet_UDP"),
     ZEL_NO_SENSOR("SensorExternal")},
    {FT_GET_MATRIX_ERROR,
     "Error:The sensor calibration data cannot be obtained" ZEL_AFTER_SALES,
     {}},
    {FT_TEMP_COF_ERROR,
     "Error:Failed to obtain sensor temperature compensation information" ZEL_AFTER_SALES,
     {}},
    {FT_ADC_GAIN_ERROR,
     "Error:Failed to obtain the sensor ADC gain information" ZEL_AFTER_SALES,
     {}},
    {FT_ADC_NUM_ERROR, "Error:If the ADC value of the sensor is abnormal" ZEL_AFTER_SALES, {}},
    {FT_ZERO_RESET_ERROR, "Error:The sensor zero reset is abnormal" ZEL_AFTER_SALES, {}},
    {FT_SET_DAC_ERROR, "Error:ADC value writing is abnormal" ZEL_AFTER_SALES, {}},
    {FT_NULL_MATRIX_ERROR, "Error:The sensor has no calibration data" ZEL_AFTER_SALES, {}},
    {FT_DATA_ERROR, "Error:The sensor data is abnormal" ZEL_AFTER_SALES, {}},
    {FT_ATTITUDE_SENSOR_INIT_ERROR,
     "Info:The initialization of the attitude sensor failed. If the F/T sensor data is normal, the "
     "current warning can be ignored!",
     {}},
    {FT_ATTITUDE_SENSOR_DATA_ERROR,
     "Info:The data of the attitude sensor is abnormal. If the data of the F/T sensor is normal, "
     "the current warning can be ignored!",
     {}},
    {FT_OVERLOAD_ERROR,
     "Error:The sensor is currently overloaded and there is a risk of damage.Please check the "
     "current force state and the collision protection threshold!",
     {}},
    {FT_NO_REFERENCE_VOLTAGE_ERROR,
     "Error:The sensor has no reference voltage value" ZEL_AFTER_SALES,
     {}},
    {FT_NO_CROSSTALK_MATRIX_ERROR,
     "Error:The sensor has no crosstalk compensation record" ZEL_AFTER_SALES,
     {}},
    {COMM_N0RMAL, "Info:Sensor communication is normal.", {}},
    {COMM_CLOSE, "Info:Sensor communication has been disconnected.", {}},
    {COMM_INIT, "Info:Initializing sensor communication.", {}},
    {COMM_IP_ERROR,
     "Error:The sensor IP is abnormal, please check the current IP address of the sensor and "
     "ensure that it is connected to the same network segment!",
     {}},
    {COMM_PORT_ERROR,
     "Error:The sensor port is abnormal, please check the current port of the sensor to ensure "
     "that there is no port conflict in the connection with the network segment!",
     {}},
    {COMM_TIMEOUT_ERROR, "Error:Sensor timeout!", {}},
    {COMM_CMDRETURN_ERROR, "Error:Sensor command setting failed!", {}},
    {COMM_THREAD_OPEN_ERROR, "Error:Unable to create sensor communication thread!", {}},
};

#undef ZEL_AFTER_SALES
#undef ZEL_NO_SENSOR

}  // namespace

std::string_view statusText(ZelInfoCode code, SensorKind kind) {
  for (const StatusText& row : statusTexts) {
    if (row.code != code) continue;
    return kind == SensorKind::external && !row.external.empty() ? row.external : row.text;
  }
  return {};
}

void fillStatus(zel_ft_info_t& info, std::int32_t ipoc, ZelInfoCode code, SensorKind kind) {
  info.IPOC = ipoc;
  info.code = code;
  const std::string_view text = statusText(code, kind);
  // Every text is a literal: its terminator is copied with it.
  if (!text.empty()) std::memcpy(info.code_info, text.data(), text.size() + 1);
}

}  // namespace zel
