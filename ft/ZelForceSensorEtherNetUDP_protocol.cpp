// The network sensor: packets, exchanges, commands and the decoding of frames.
#include <immintrin.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "diag/linkmonitor.h"
#include "ft/ZelForceSensorEtherNetUDP.h"
#include "ft/sensor_protocol.h"
#include "ft/sensor_status.h"

using std::chrono::milliseconds;
using std::this_thread::sleep_for;
namespace protocol = zel::protocol;

namespace {

using protocol::commandOf;
using protocol::payloadOffset;
using zel::diag::Answer;
using zel::diag::linkMonitor;

/// Thousandths of a value, truncated toward zero, low 32 bits.
std::uint32_t lowBitsOfThousandths(double value) {
  constexpr double modulus = 4294967296.0;
  return static_cast<std::uint32_t>(
      static_cast<std::int64_t>(std::fmod(std::trunc(value * 1000.0), modulus)));
}

void writeUint32(std::uint8_t* bytes, std::uint32_t value) {
  protocol::writeInt32(bytes, static_cast<std::int32_t>(value));
}

/// Single precision up to the thousandths, torques with the opposite sign.
void decodeChannels(const std::uint8_t* body, double* value) {
  for (int i = 0; i < 6; ++i) {
    const auto raw = static_cast<float>(protocol::readInt32(body + payloadOffset + 4 * i));
    const double decoded = raw / 1000.0F;
    value[i] = i < 3 ? decoded : -decoded;
  }
}

}  // namespace

/// The body of an answer; what the answer leaves out is 0.
struct SensorEtherNet_UDP::Reply {
  std::uint8_t body[protocol::largestBody] = {};

  const std::uint8_t* payload() const { return body + payloadOffset; }
};

// ---- packets ----------------------------------------------------------------------------------

std::uint16_t SensorEtherNet_UDP::crc16Cal(const std::uint8_t* data, int len) {
  return protocol::crc16(data, data == nullptr ? 0 : static_cast<std::size_t>(std::max(len, 0)));
}

int SensorEtherNet_UDP::createCmdPack(std::uint8_t cmd, const std::uint8_t* args, int args_len,
                                      std::uint8_t* ret) {
  if (args_len < 0 || ret == nullptr) return 0;
  const auto length = static_cast<std::size_t>(args_len);
  if (length > protocol::largestPayload || (length > 0 && args == nullptr)) return 0;
  return static_cast<int>(protocol::writePacket(ret, 0, cmd, args, length));
}

bool SensorEtherNet_UDP::verifyPacket(const std::uint8_t* packet) {
  return packet != nullptr && protocol::crcMatches(packet);
}

unsigned long SensorEtherNet_UDP::inet_addr_(const char* text) {
  if (text == nullptr) return 0;
  std::uint32_t address = 0;
  const char* begin = text;
  for (int position = 0; position < 4; ++position) {
    const char* end = position < 3 ? std::strchr(begin, '.') : nullptr;
    const bool last = end == nullptr;
    if (last) end = begin + std::strlen(begin);
    std::uint32_t number = 0;
    std::uint32_t weight = 1;
    for (const char* c = end; c != begin; weight *= 10) {
      --c;
      number += static_cast<std::uint32_t>(*c - '0') * weight;
    }
    address += number << (8 * position);
    if (last) break;
    begin = end + 1;
  }
  return address;
}

// ---- exchanges --------------------------------------------------------------------------------

/// One try.
bool SensorEtherNet_UDP::claimQueue() {
  return !queueClaimed.exchange(true, std::memory_order_acquire);
}

/// For the caller's thread. The unpack thread claims the queue for a moment only; should it have
/// been preempted there, this gives up after `patience` ms.
bool SensorEtherNet_UDP::claimQueue(int patience) {
  constexpr int spins = 1000;
  for (int i = 0; i < spins; ++i) {
    if (claimQueue()) return true;
    _mm_pause();
  }
  for (int i = 0; i < patience; ++i) {
    sleep_for(milliseconds(1));
    if (claimQueue()) return true;
  }
  return false;
}

void SensorEtherNet_UDP::releaseQueue() {
  queueClaimed.store(false, std::memory_order_release);
}

/// Drops what is queued, unless the unpack thread is held up in the middle of a packet.
void SensorEtherNet_UDP::emptyQueue() {
  if (!claimQueue(0)) return;
  R_FIFO.Clear();
  releaseQueue();
}

int SensorEtherNet_UDP::sendToSensor(const std::uint8_t* buf, int len) {
  if (sock_Client == -1 || buf == nullptr || len < 0) return -1;
  return static_cast<int>(sendto(sock_Client, buf, static_cast<std::size_t>(len), 0,
                                 reinterpret_cast<const sockaddr*>(&addr_sensor),
                                 sizeof addr_sensor));
}

int SensorEtherNet_UDP::readFromSensor(std::uint8_t* data, int len, int timeout) {
  if (data == nullptr || len <= 0) return 0;
  for (bool second = false; R_FIFO.GetDataCount() < len && timeout > 0; second = !second) {
    sleep_for(milliseconds(1));
    if (second) --timeout;
  }
  if (timeout < 1) return 0;
  R_FIFO.ReadBuffer(data, len);
  R_FIFO.Clear(len);
  return len;
}

/// Sends a command. False when there is no such packet; whether it arrives shows in the answer.
bool SensorEtherNet_UDP::post(int cmd, const std::uint8_t* args, int arg_len) {
  std::uint8_t packet[protocol::largestPacket];
  const int length = createCmdPack(static_cast<std::uint8_t>(cmd), args, arg_len, packet);
  if (length == 0) return false;
  sendToSensor(packet, length);
  return true;
}

/// Sends a command and takes its answer, whose body goes into ret.
bool SensorEtherNet_UDP::exchange(int cmd, const std::uint8_t* args, int arg_len, std::uint8_t* ret,
                                  int headWait, int bodyWait) {
  Answer answer = Answer::none;
  if (claimQueue(headWait)) {
    R_FIFO.Clear();  // stale bytes are no answer
    if (post(cmd, args, arg_len)) answer = readReply(ret, headWait, bodyWait);
    releaseQueue();
  }
  linkMonitor.exchange(static_cast<std::uint8_t>(cmd), answer, 2 * headWait);  // 2 ms a unit
  return answer == Answer::good;
}

Answer SensorEtherNet_UDP::readReply(std::uint8_t* ret, int headWait, int bodyWait) {
  std::uint8_t packet[protocol::largestPacket];
  constexpr int head = protocol::bodyOffset;
  if (readFromSensor(packet, head, headWait) == 0) {
    return R_FIFO.GetDataCount() > 0 ? Answer::cut : Answer::none;
  }
  if (packet[0] != PACKET_HEAD1 || packet[1] != PACKET_HEAD2) return Answer::noPacket;
  const int n = packet[2];
  if (readFromSensor(packet + head, n + int{protocol::trailer}, bodyWait) == 0) return Answer::cut;
  if (!verifyPacket(packet)) return Answer::wrongChecksum;
  if (ret != nullptr) std::copy_n(packet + head, n, ret);
  return Answer::good;
}

bool SensorEtherNet_UDP::simpleCommunication(int cmd, std::uint8_t* ret, int timeout_ms) {
  if (timeout_ms == 0 || ret == nullptr) {
    emptyQueue();
    return post(cmd, nullptr, 0);
  }
  return exchange(cmd, nullptr, 0, ret, timeout_ms, timeout_ms + 100);
}

bool SensorEtherNet_UDP::simpleCommunication2(int cmd, const std::uint8_t* args, int arg_len,
                                              std::uint8_t* ret, int timeout_ms) {
  if (timeout_ms == 0) {
    emptyQueue();
    return post(cmd, args, arg_len);
  }
  return exchange(cmd, args, arg_len, ret, timeout_ms + 100, timeout_ms + 100);
}

void SensorEtherNet_UDP::changeToBinaryMode() {
  constexpr std::string_view text = protocol::binaryRequest;
  sendToSensor(reinterpret_cast<const std::uint8_t*>(text.data()), static_cast<int>(text.size()));
  sleep_for(milliseconds(200));
  emptyQueue();
}

// ---- commands ---------------------------------------------------------------------------------

/// Runs a command: sends it with its payload, waits and judges the answer as its row says.
bool SensorEtherNet_UDP::command(const protocol::Command& row, const std::uint8_t* payload,
                                 Reply& reply) {
  const auto length = static_cast<int>(row.payload);
  const bool answered = length == 0
                            ? simpleCommunication(row.code, reply.body, row.wait)
                            : simpleCommunication2(row.code, payload, length, reply.body, row.wait);
  const bool accepted =
      row.check == protocol::Check::answered || reply.body[protocol::commandOffset] == row.code;
  if (answered && accepted) return true;
  if (answered) linkMonitor.answeredOtherCommand(row.code);
  setCODE(row.failure);
  return false;
}

/// A command whose answer tells no more than that it was taken.
bool SensorEtherNet_UDP::command(const protocol::Command& row, const std::uint8_t* payload) {
  Reply reply;
  return command(row, payload, reply);
}

bool SensorEtherNet_UDP::switchCommand(const protocol::Command& row, bool on) {
  const std::uint8_t payload = on ? 1 : 0;
  return command(row, &payload);
}

bool SensorEtherNet_UDP::sixValueCommand(const protocol::Command& row, const double* values) {
  if (values == nullptr) return false;
  std::uint8_t payload[protocol::sixValues];
  for (int i = 0; i < 6; ++i) {
    if (!std::isfinite(values[i] * 1000.0)) {
      setCODE(row.failure);
      return false;
    }
    writeUint32(payload + 4 * i, lowBitsOfThousandths(values[i]));
  }
  return command(row, payload);
}

bool SensorEtherNet_UDP::addressCommand(const protocol::Command& row, const char* text) {
  if (!protocol::isFourDottedNumbers(text)) {
    setCODE(COMM_IP_ERROR);
    return false;
  }
  std::uint8_t payload[4];
  writeUint32(payload, static_cast<std::uint32_t>(inet_addr_(text)));
  return command(row, payload);
}

bool SensorEtherNet_UDP::getDevModelInfo(DeviceModelInfo& info) {
  Reply reply;
  if (!command(commandOf(COMMAND_GET_DEVICE_INFO), nullptr, reply)) return false;
  const std::uint8_t* const identity = reply.payload();
  info.year = identity[0];
  info.month = identity[1];
  info.date = identity[2];
  info.model = identity[3];
  info.range = identity[4];
  info.id = static_cast<std::uint16_t>(identity[5] | identity[6] << 8);
  std::copy_n(zel::rangeOfModel(info.model), 6, ft_range);
  return true;
}

bool SensorEtherNet_UDP::getAlarmAxis(std::uint8_t* out) {
  Reply reply;
  if (out == nullptr || !command(commandOf(COMMAND_GET_ALARM_AXIS), nullptr, reply)) return false;
  std::copy_n(reply.payload(), 6, out);
  return true;
}

bool SensorEtherNet_UDP::startSample() {
  if (bSampleMode) return true;
  simpleCommunication(COMMAND_CONTINUE_CAPTURE, nullptr, 0);
  setStreaming(true);
  sleep_for(milliseconds(50));
  return true;
}

bool SensorEtherNet_UDP::stopSample() {
  if (!bSampleMode) return true;
  simpleCommunication(COMMAND_STOP_CAPTURE, nullptr, 0);
  setStreaming(false);
  sleep_for(milliseconds(50));
  return true;
}

bool SensorEtherNet_UDP::zeroReset() {
  return command(commandOf(COMMAND_ZERO_RESET));
}

bool SensorEtherNet_UDP::saveUserSetting() {
  return command(commandOf(COMMAND_SAVE_TO_PROFILE));
}

bool SensorEtherNet_UDP::setLowPassFilter(std::uint8_t setting) {
  return command(commandOf(COMMAND_SET_FILTER_RANG), &setting);
}

bool SensorEtherNet_UDP::setToolTransform(const double* transform) {
  return sixValueCommand(commandOf(COMMAND_TOOL_TRANSFORM), transform);
}

bool SensorEtherNet_UDP::setEnableIIRFilter(bool enable) {
  return switchCommand(commandOf(COMMAND_ENABLE_IIR_FILTER), enable);
}

bool SensorEtherNet_UDP::setEnableFIRFilter(bool enable) {
  return switchCommand(commandOf(COMMAND_ENABLE_FIR_FILTER), enable);
}

bool SensorEtherNet_UDP::setMedianFilterDepth(std::uint8_t depth) {
  return command(commandOf(COMMAND_SET_MEDIAN_FILTER_PARA), &depth);
}

bool SensorEtherNet_UDP::setSmoothAverFilterDepth(std::uint8_t depth) {
  return command(commandOf(COMMAND_SET_SMOOTH_AVER_FILTER_PARA), &depth);
}

bool SensorEtherNet_UDP::setKalmanFilterPara(KalmanFilterPara first, KalmanFilterPara second) {
  std::uint8_t payload[18];
  std::uint8_t* bytes = payload;
  for (const KalmanFilterPara& record : {first, second}) {
    bytes[0] = record.kalman_K;
    protocol::writeInt32(bytes + 1, record.kalman_threshold);
    writeUint32(bytes + 5, record.num_check);
    bytes += 9;
  }
  return command(commandOf(COMMAND_SET_KALMAN_FILTER_PARA), payload);
}

bool SensorEtherNet_UDP::setEnableKalmanFilter(bool enable) {
  return switchCommand(commandOf(COMMAND_ENABLE_KALMAN_FILTER), enable);
}

bool SensorEtherNet_UDP::setNetIP(const char* address) {
  return addressCommand(commandOf(COMMAND_SET_NET_IP), address);
}

bool SensorEtherNet_UDP::setNetMask(const char* mask) {
  return addressCommand(commandOf(COMMAND_SET_NET_MASK), mask);
}

bool SensorEtherNet_UDP::setNetGateway(const char* address) {
  return addressCommand(commandOf(COMMAND_SET_NET_GATEWAY), address);
}

bool SensorEtherNet_UDP::setNetPortNumber(std::uint16_t port) {
  const std::uint8_t payload[2] = {static_cast<std::uint8_t>(port & 0xFF),
                                   static_cast<std::uint8_t>(port >> 8)};
  return command(commandOf(COMMAND_SET_NET_PORT_NUMBER), payload);
}

bool SensorEtherNet_UDP::setAlarmSignal() {
  return command(commandOf(COMMAND_SET_ALARM_SIGNAL));
}

bool SensorEtherNet_UDP::clearAlarmSignal() {
  return command(commandOf(COMMAND_CLEAR_ALARM_SIGNAL));
}

bool SensorEtherNet_UDP::setEnableAlarm(bool enable) {
  return switchCommand(commandOf(COMMAND_ENABLE_ALARM_OUTPUT), enable);
}

bool SensorEtherNet_UDP::setEnableAlarmNormalOpen(bool normallyOpen) {
  return switchCommand(commandOf(COMMAND_SET_ALARM_NORMAL_OPEN), normallyOpen);
}

bool SensorEtherNet_UDP::setAlarmThresholdValue(const double* thresholds) {
  return sixValueCommand(commandOf(COMMAND_SET_ALARM_THRESHOLD_VALUE), thresholds);
}

// ---- frames -----------------------------------------------------------------------------------

bool SensorEtherNet_UDP::isBeyondRange(const double* values) {
  bool beyond = false;
  for (int i = 0; i < 6; ++i) beyond = beyond || std::fabs(values[i]) > ft_range[i];
  return beyond;
}

/// What a status byte and the values to check against the range say; 0 when they say nothing.
ZelInfoCode SensorEtherNet_UDP::told(std::uint8_t status, const double* checked) {
  if (status == protocol::statusOverload || isBeyondRange(checked)) return FT_OVERLOAD_ERROR;
  if (status == protocol::statusNormal) return FT_N0RMAL;
  return status == protocol::statusDataError ? FT_DATA_ERROR : ZelInfoCode{};
}

void SensorEtherNet_UDP::updatData(const std::uint8_t* data, int len) {
  if (data == nullptr || len < static_cast<int>(payloadOffset)) return;
  const std::uint8_t cmd = data[protocol::commandOffset];
  if (cmd == COMMAND_ZERO_RESET) {
    SET_CMD_ZERO = true;
    return;
  }
  if (!protocol::isDataFrame(cmd)) return;

  std::uint8_t body[payloadOffset + protocol::sixValues] = {};  // a short frame ends in zeros
  std::copy_n(data, std::min(static_cast<std::size_t>(len), sizeof body), body);
  zel::SensorFrame frame;
  decodeChannels(body, frame.value);
  const ZelInfoCode code = told(body[protocol::statusOffset], frame.value);
  frame.code = code != 0 ? code : CODE.load();
  frame.ipoc = zel::nextPacketCount(IPOC);
  frame.number = ++framesTaken;
  time_start = zel_start_timer_clock();
  // The reading first: whoever waits for the status or the count finds it there. The status once,
  // and final: nobody sees "normal" for an overloaded frame.
  rawData.publish(frame);
  linkMonitor.frame(body[protocol::statusOffset], isBeyondRange(frame.value), frame);
  if (code != 0) CODE = code;
  IPOC = frame.ipoc;
}

bool SensorEtherNet_UDP::singleCapture(double* out) {
  Reply reply;
  if (out == nullptr || !command(commandOf(COMMAND_SINGAL_CAPTURE), nullptr, reply)) return false;
  decodeChannels(reply.body, out);
  // The range check is that of the last streamed reading.
  const ZelInfoCode code = told(reply.body[protocol::statusOffset], newestFrame().value);
  if (code != 0) setCODE(code);
  countIPOC();
  return CODE == FT_N0RMAL;
}
