#include "sim/sensor_device.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "ft/sensor_protocol.h"

namespace zel::sim {

namespace {

constexpr std::uint8_t statusNormal = 0;
constexpr std::uint8_t statusOverload = 254;
constexpr std::uint8_t statusDataError = 255;
constexpr std::uint8_t continuousCapture = 2;

/// Thousandths, to the nearest, at the ends of the range where the value is beyond.
std::int32_t toThousandths(double value) {
  constexpr double lowest = std::numeric_limits<std::int32_t>::min();
  constexpr double highest = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(std::round(value * 1000.0), lowest, highest));
}

Bytes packet(std::uint8_t status, std::uint8_t command, const Bytes& payload) {
  Bytes bytes(payload.size() + protocol::fixedBody + protocol::overhead);
  protocol::writePacket(bytes.data(), status, command, payload.data(), payload.size());
  return bytes;
}

Bytes channelBytes(const std::array<std::int32_t, 6>& channels) {
  Bytes bytes(24);
  for (std::size_t i = 0; i < 6; ++i) protocol::writeInt32(bytes.data() + 4 * i, channels[i]);
  return bytes;
}

}  // namespace

struct SensorDevice::Rule {
  std::uint8_t code;
  const char* name;
  std::size_t payload;                                    ///< bytes expected
  Answer (SensorDevice::*answer)(const std::uint8_t*){};  ///< null: known, not supported
};

const SensorDevice::Rule SensorDevice::rules[] = {
    {1, "READ_DEVICE_ID", 0},
    {2, "CONTINUE_CAPTURE", 0, &SensorDevice::startStreaming},
    {3, "STOP_CAPTURE", 0, &SensorDevice::stopStreaming},
    {4, "SINGAL_CAPTURE", 0, &SensorDevice::singleCapture},
    {5, "SET_SAMPLE_RATE", 0},
    {6, "SET_BAUD_RATE", 0},
    {7, "RESTORE_USER_PROFILE", 0},
    {8, "RESTORE_FACTORY_PROFILE", 0},
    {9, "SAVE_TO_PROFILE", 0, &SensorDevice::save},
    {10, "GET_FW_INFO", 0},
    {11, "ZERO_RESET", 0, &SensorDevice::zeroReset},
    {12, "WAVE_FILTERING", 0},
    {15, "CAL_FORCE", 0},
    {16, "GET_DEVICE_INFO", 0, &SensorDevice::identify},
    {17, "ENABLE_KALMAN_FILTER", 1, &SensorDevice::setSwitch<&SensorSettings::kalman>},
    {18, "SET_KALMAN_FILTER_PARA", 18, &SensorDevice::setKalmanPara},
    {19, "TOOL_TRANSFORM", 24, &SensorDevice::setSix<&SensorSettings::tool_transform>},
    {21, "PROBE_SENSOR", 0},
    {22, "ACTIVE_SENSOR_2", 0},
    {23, "GET_STATE_CODE", 0},
    {24, "SET_FILTER_RANG", 1, &SensorDevice::setByte<&SensorSettings::low_pass>},
    {25, "SET_NET_IP", 4, &SensorDevice::setAddress<&SensorSettings::net_ip>},
    {26, "SET_NET_MASK", 4, &SensorDevice::setAddress<&SensorSettings::net_mask>},
    {27, "SET_NET_GATEWAY", 4, &SensorDevice::setAddress<&SensorSettings::net_gateway>},
    {28, "SET_NET_PORT_NUMBER", 2, &SensorDevice::setNetPort},
    {29, "GET_SENSOR_ERR_CODE", 0},
    {30, "CHANGE_PARSE_MODE", 0},
    {31, "SET_DEBUG_MODE", 0},
    {32, "SET_MEDIAN_FILTER_PARA", 1, &SensorDevice::setByte<&SensorSettings::median_depth>},
    {33, "OUTPUT_ACC_GYRO_DATA", 0},
    {35, "CLEAR_ALARM_SIGNAL", 0, &SensorDevice::clearAlarm},
    {36, "SET_ALARM_THRESHOLD_VALUE", 24, &SensorDevice::setSix<&SensorSettings::alarm_threshold>},
    {37, "ENABLE_ALARM_OUTPUT", 1, &SensorDevice::setSwitch<&SensorSettings::alarm>},
    {38, "GET_ALARM_AXIS", 0, &SensorDevice::alarmAxis},
    {39, "SET_ALARM_NORMAL_OPEN", 1,
     &SensorDevice::setSwitch<&SensorSettings::alarm_normally_open>},
    {40, "SET_ALARM_SIGNAL", 0, &SensorDevice::raiseAlarm},
    {49, "SET_SMOOTH_AVER_FILTER_PARA", 1, &SensorDevice::setByte<&SensorSettings::smooth_depth>},
    {50, "ENABLE_FIR_FILTER", 1, &SensorDevice::setSwitch<&SensorSettings::fir>},
    {55, "ENABLE_IIR_FILTER", 1, &SensorDevice::setSwitch<&SensorSettings::iir>},
    {207, "SET_AVERGE_NUM", 0},
    {209, "SET_ADC_GAIN", 0},
    {210, "GET_ADC_GAIN", 0},
};

SensorDevice::SensorDevice(const ZelSensor::DeviceModelInfo& identity, WrenchSource source,
                           double rate)
    : identity_(identity), source_(std::move(source)), rate_(rate) {
  std::copy_n(rangeOfModel(identity_.model), 6, settings_.alarm_threshold.begin());
  saved_ = settings_;
}

Bytes SensorDevice::execute(const std::uint8_t* datagram, std::size_t length,
                            SensorCommand& received) {
  const auto ignore = [&received](std::string why) {
    received.text = std::move(why);
    return Bytes{};
  };
  constexpr std::size_t shortest = protocol::fixedBody + protocol::overhead;
  if (length < shortest || datagram[0] != protocol::head1 || datagram[1] != protocol::head2 ||
      length != datagram[2] + protocol::overhead || datagram[length - 2] != protocol::tail1 ||
      datagram[length - 1] != protocol::tail2) {
    return ignore(fmt::format("ignored: {} bytes that are not one command packet", length));
  }
  if (!protocol::crcMatches(datagram)) return ignore("ignored: command packet with a wrong CRC");

  received.code = datagram[5];
  received.payload.assign(datagram + 6, datagram + 3 + datagram[2]);
  const Rule* const rule =
      std::find_if(std::begin(rules), std::end(rules),
                   [&received](const Rule& known) { return known.code == received.code; });
  if (rule == std::end(rules)) {
    return ignore(fmt::format("ignored: unknown command {}", received.code));
  }
  received.text = fmt::format("{} ({})", rule->name, rule->code);
  if (rule->answer == nullptr) return ignore("ignored: " + received.text + " is not supported");
  if (received.payload.size() != rule->payload) {
    return ignore(fmt::format("ignored: {} has {} payload bytes instead of {}", received.text,
                              received.payload.size(), rule->payload));
  }

  const Answer answer = (this->*rule->answer)(received.payload.data());
  if (!answer.accepted) {
    return ignore("ignored: " + received.text + ": " + answer.arguments);
  }
  received.accepted = true;
  if (!answer.arguments.empty()) received.text += ": " + answer.arguments;
  return answer.reply ? packet(answer.status, rule->code, answer.payload) : Bytes{};
}

std::optional<SensorDevice::Reading> SensorDevice::measure() {
  const std::optional<Wrench> physical = source_(static_cast<double>(samples_) / rate_);
  ended_ = !physical;
  if (ended_) {
    streaming_ = false;
    return std::nullopt;
  }

  Reading reading{statusNormal, {}};
  const double* const range = rangeOfModel(identity_.model);
  for (std::size_t i = 0; i < 6; ++i) {
    if (!std::isfinite((*physical)[i])) return Reading{statusDataError, {}};
    const double measured = (*physical)[i] - settings_.zero[i];
    // The driver turns the torques round after decoding.
    reading.channels[i] = toThousandths(i < 3 ? measured : -measured);
    if (std::fabs((*physical)[i]) > range[i]) reading.status = statusOverload;
    if (settings_.alarm && std::fabs(measured) > std::fabs(settings_.alarm_threshold[i])) {
      alarm_axis_[i] = 1;
      alarm_raised_ = true;
    }
  }
  return reading;
}

std::optional<SensorDevice::Reading> SensorDevice::sample() {
  const std::optional<Reading> reading = measure();
  if (reading) ++samples_;
  return reading;
}

Bytes SensorDevice::nextFrame() {
  const std::optional<Reading> reading = sample();
  if (!reading) return {};
  return packet(reading->status, continuousCapture, channelBytes(reading->channels));
}

void SensorDevice::restart() {
  streaming_ = false;
  alarm_raised_ = false;
  alarm_axis_ = {};
  settings_ = saved_;
}

SensorDevice::Answer SensorDevice::startStreaming(const std::uint8_t*) {
  streaming_ = true;
  return {.reply = false};
}

SensorDevice::Answer SensorDevice::stopStreaming(const std::uint8_t*) {
  streaming_ = false;
  return {.reply = false};
}

SensorDevice::Answer SensorDevice::singleCapture(const std::uint8_t*) {
  const std::optional<Reading> reading = sample();
  if (!reading) return {.accepted = false, .arguments = "the wrench source has ended"};
  return {.status = reading->status, .payload = channelBytes(reading->channels)};
}

SensorDevice::Answer SensorDevice::save(const std::uint8_t*) {
  saved_ = settings_;
  return {};
}

SensorDevice::Answer SensorDevice::zeroReset(const std::uint8_t*) {
  const std::optional<Wrench> load = source_(static_cast<double>(samples_) / rate_);
  const auto finite = [](double value) { return std::isfinite(value); };
  if (!load || !std::all_of(load->begin(), load->end(), finite)) {
    return {.accepted = false, .arguments = "there is no load to measure"};
  }
  settings_.zero = *load;
  return {.arguments = fmt::format("zero is now {:.3f} N, N m", fmt::join(*load, " "))};
}

SensorDevice::Answer SensorDevice::identify(const std::uint8_t*) {
  return {.payload = {identity_.year, identity_.month, identity_.date, identity_.model,
                      identity_.range, static_cast<std::uint8_t>(identity_.id & 0xFF),
                      static_cast<std::uint8_t>(identity_.id >> 8)}};
}

SensorDevice::Answer SensorDevice::setKalmanPara(const std::uint8_t* payload) {
  Answer answer;
  for (KalmanFilterPara& para : settings_.kalman_para) {
    para.kalman_K = payload[0];
    para.kalman_threshold = protocol::readInt32(payload + 1);
    para.num_check = static_cast<std::uint32_t>(protocol::readInt32(payload + 5));
    answer.arguments +=
        fmt::format("{}K {} threshold {} checks {}", answer.arguments.empty() ? "" : ", ",
                    para.kalman_K, para.kalman_threshold, para.num_check);
    payload += 9;
  }
  return answer;
}

SensorDevice::Answer SensorDevice::setNetPort(const std::uint8_t* payload) {
  settings_.net_port = static_cast<std::uint16_t>(payload[0] | payload[1] << 8);
  return {.arguments = fmt::format("{}", settings_.net_port)};
}

SensorDevice::Answer SensorDevice::clearAlarm(const std::uint8_t*) {
  alarm_raised_ = false;
  alarm_axis_ = {};
  return {};
}

SensorDevice::Answer SensorDevice::raiseAlarm(const std::uint8_t*) {
  alarm_raised_ = true;
  return {};
}

SensorDevice::Answer SensorDevice::alarmAxis(const std::uint8_t*) {
  measure();
  return {.payload = {alarm_axis_.begin(), alarm_axis_.end()},
          .arguments = fmt::format("{}", fmt::join(alarm_axis_, " "))};
}

template <std::uint8_t SensorSettings::*member>
SensorDevice::Answer SensorDevice::setByte(const std::uint8_t* payload) {
  settings_.*member = payload[0];
  return {.arguments = fmt::format("{}", payload[0])};
}

template <bool SensorSettings::*member>
SensorDevice::Answer SensorDevice::setSwitch(const std::uint8_t* payload) {
  if (payload[0] > 1) {
    return {.accepted = false, .arguments = fmt::format("{} is neither 0 nor 1", payload[0])};
  }
  settings_.*member = payload[0] == 1;
  return {.arguments = payload[0] == 1 ? "on" : "off"};
}

template <std::array<std::uint8_t, 4> SensorSettings::*member>
SensorDevice::Answer SensorDevice::setAddress(const std::uint8_t* payload) {
  std::copy_n(payload, 4, (settings_.*member).begin());
  return {.arguments = fmt::format("{}", fmt::join(settings_.*member, "."))};
}

template <std::array<double, 6> SensorSettings::*member>
SensorDevice::Answer SensorDevice::setSix(const std::uint8_t* payload) {
  for (std::size_t i = 0; i < 6; ++i) {
    (settings_.*member)[i] = protocol::readInt32(payload + 4 * i) / 1000.0;
  }
  return {.arguments = fmt::format("{:.3f}", fmt::join(settings_.*member, " "))};
}

}  // namespace zel::sim
