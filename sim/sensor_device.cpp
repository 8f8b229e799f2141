#include "sim/sensor_device.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "ft/sensor_protocol.h"
#include "ft/sensor_status.h"

namespace zel::sim {

namespace {

using Sensor = SensorEtherNet_UDP;  // whose class constants number the commands

/// Thousandths, to the nearest, at the ends of the range where the value is beyond.
std::int32_t toThousandths(double value) {
  constexpr double lowest = std::numeric_limits<std::int32_t>::min();
  constexpr double highest = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(std::round(value * 1000.0), lowest, highest));
}

Bytes packet(std::uint8_t status, std::uint8_t command, const Bytes& payload) {
  Bytes bytes(payload.size() + protocol::shortestPacket);
  protocol::writePacket(bytes.data(), status, command, payload.data(), payload.size());
  return bytes;
}

Bytes channelBytes(const std::array<std::int32_t, 6>& channels) {
  Bytes bytes(protocol::channelBytes);
  for (std::size_t i = 0; i < 6; ++i) protocol::writeInt32(bytes.data() + 4 * i, channels[i]);
  return bytes;
}

}  // namespace

/// What a command of the protocol does here; a command without a rule is known and not supported.
struct SensorDevice::Rule {
  std::uint8_t code;
  Answer (SensorDevice::*answer)(const std::uint8_t* payload);
};

const SensorDevice::Rule SensorDevice::rules[] = {
    {Sensor::COMMAND_CONTINUE_CAPTURE, &SensorDevice::startStreaming},
    {Sensor::COMMAND_STOP_CAPTURE, &SensorDevice::stopStreaming},
    {Sensor::COMMAND_SINGAL_CAPTURE, &SensorDevice::singleCapture},
    {Sensor::COMMAND_SAVE_TO_PROFILE, &SensorDevice::save},
    {Sensor::COMMAND_ZERO_RESET, &SensorDevice::zeroReset},
    {Sensor::COMMAND_GET_DEVICE_INFO, &SensorDevice::identify},
    {Sensor::COMMAND_ENABLE_KALMAN_FILTER, &SensorDevice::setSwitch<&SensorSettings::kalman>},
    {Sensor::COMMAND_SET_KALMAN_FILTER_PARA, &SensorDevice::setKalmanPara},
    {Sensor::COMMAND_TOOL_TRANSFORM, &SensorDevice::setSix<&SensorSettings::tool_transform>},
    {Sensor::COMMAND_SET_FILTER_RANG, &SensorDevice::setByte<&SensorSettings::low_pass>},
    {Sensor::COMMAND_SET_NET_IP, &SensorDevice::setAddress<&SensorSettings::net_ip>},
    {Sensor::COMMAND_SET_NET_MASK, &SensorDevice::setAddress<&SensorSettings::net_mask>},
    {Sensor::COMMAND_SET_NET_GATEWAY, &SensorDevice::setAddress<&SensorSettings::net_gateway>},
    {Sensor::COMMAND_SET_NET_PORT_NUMBER, &SensorDevice::setNetPort},
    {Sensor::COMMAND_SET_MEDIAN_FILTER_PARA, &SensorDevice::setByte<&SensorSettings::median_depth>},
    {Sensor::COMMAND_CLEAR_ALARM_SIGNAL, &SensorDevice::clearAlarm},
    {Sensor::COMMAND_SET_ALARM_THRESHOLD_VALUE,
     &SensorDevice::setSix<&SensorSettings::alarm_threshold>},
    {Sensor::COMMAND_ENABLE_ALARM_OUTPUT, &SensorDevice::setSwitch<&SensorSettings::alarm>},
    {Sensor::COMMAND_GET_ALARM_AXIS, &SensorDevice::alarmAxis},
    {Sensor::COMMAND_SET_ALARM_NORMAL_OPEN,
     &SensorDevice::setSwitch<&SensorSettings::alarm_normally_open>},
    {Sensor::COMMAND_SET_ALARM_SIGNAL, &SensorDevice::raiseAlarm},
    {Sensor::COMMAND_SET_SMOOTH_AVER_FILTER_PARA,
     &SensorDevice::setByte<&SensorSettings::smooth_depth>},
    {Sensor::COMMAND_ENABLE_FIR_FILTER, &SensorDevice::setSwitch<&SensorSettings::fir>},
    {Sensor::COMMAND_ENABLE_IIR_FILTER, &SensorDevice::setSwitch<&SensorSettings::iir>},
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
  if (length < protocol::shortestPacket || datagram[0] != Sensor::PACKET_HEAD1 ||
      datagram[1] != Sensor::PACKET_HEAD2 || length != datagram[2] + protocol::overhead ||
      datagram[length - 2] != Sensor::PACKET_TAIL1 ||
      datagram[length - 1] != Sensor::PACKET_TAIL2) {
    return ignore(fmt::format("ignored: {} bytes that are not one command packet", length));
  }
  if (!protocol::crcMatches(datagram)) return ignore("ignored: command packet with a wrong CRC");

  const std::uint8_t* const body = datagram + protocol::bodyOffset;
  received.code = body[protocol::commandOffset];
  received.payload.assign(body + protocol::payloadOffset, body + datagram[2]);
  const protocol::Command* const command = protocol::findCommand(received.code);
  if (command == nullptr) return ignore(fmt::format("ignored: unknown command {}", received.code));
  received.text = fmt::format("{} ({})", command->name, command->code);
  const Rule* const rule =
      std::find_if(std::begin(rules), std::end(rules),
                   [&received](const Rule& known) { return known.code == received.code; });
  if (rule == std::end(rules)) return ignore("ignored: " + received.text + " is not supported");
  if (received.payload.size() != command->payload) {
    return ignore(fmt::format("ignored: {} has {} payload bytes instead of {}", received.text,
                              received.payload.size(), command->payload));
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

  Reading reading{protocol::statusNormal, {}};
  const double* const range = rangeOfModel(identity_.model);
  for (std::size_t i = 0; i < 6; ++i) {
    if (!std::isfinite((*physical)[i])) return Reading{protocol::statusDataError, {}};
    const double measured = (*physical)[i] - settings_.zero[i];
    // The driver turns the torques round after decoding.
    reading.channels[i] = toThousandths(i < 3 ? measured : -measured);
    if (std::fabs((*physical)[i]) > range[i]) reading.status = protocol::statusOverload;
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
  return packet(reading->status, Sensor::COMMAND_CONTINUE_CAPTURE, channelBytes(reading->channels));
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
