// The network sensor: packets, exchanges, commands and the decoding of frames.
#include <immintrin.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "ft/ZelForceSensorEtherNetUDP.h"
#include "ft/sensor_protocol.h"

using std::chrono::milliseconds;
using std::this_thread::sleep_for;
namespace protocol = zel::protocol;

namespace {

constexpr int largestPayload = 252;
constexpr int largestBody = 255;
constexpr int payloadOffset = static_cast<int>(protocol::fixedBody);
constexpr int shortestDataFrame = payloadOffset + 6 * 4;

/// What a command with a payload waits for its answer. Those without have a wait of their own.
constexpr int payloadWait = 100;

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

/// The N bytes of an answer.
struct SensorEtherNet_UDP::Reply {
  std::uint8_t body[largestBody] = {};

  std::uint8_t command() const { return body[VALID_DATA_COMMAND_BYTE_OFFSET]; }
  std::uint8_t status() const { return body[1]; }
};

// ---- packets ----------------------------------------------------------------------------------

std::uint16_t SensorEtherNet_UDP::crc16Cal(const std::uint8_t* data, int len) {
  return protocol::crc16(data, data == nullptr ? 0 : static_cast<std::size_t>(std::max(len, 0)));
}

int SensorEtherNet_UDP::createCmdPack(std::uint8_t cmd, const std::uint8_t* args, int args_len,
                                      std::uint8_t* ret) {
  if (args_len < 0 || args_len > largestPayload || ret == nullptr) return 0;
  if (args_len > 0 && args == nullptr) return 0;
  return static_cast<int>(
      protocol::writePacket(ret, 0, cmd, args, static_cast<std::size_t>(args_len)));
}

bool SensorEtherNet_UDP::verifyPacket(const std::uint8_t* packet) {
  return packet != nullptr && protocol::crcMatches(packet);
}

bool SensorEtherNet_UDP::isFourDottedNumbers(const char* text) {
  if (text == nullptr) return false;
  int numbers = 0;
  for (const char* c = text;; ++c) {
    if (*c < '0' || *c > '9') return false;
    while (*c >= '0' && *c <= '9') ++c;
    ++numbers;
    if (*c == '\0') return numbers == 4;
    if (*c != '.') return false;
  }
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

/// Sends a command and takes its answer. Returns N, the length of the answer's body, or -1.
int SensorEtherNet_UDP::exchange(int cmd, const std::uint8_t* args, int arg_len, std::uint8_t* ret,
                                 int headWait, int bodyWait) {
  if (!claimQueue(headWait)) return -1;
  R_FIFO.Clear();  // stale bytes are no answer
  const int n = post(cmd, args, arg_len) ? readReply(ret, headWait, bodyWait) : -1;
  releaseQueue();
  return n;
}

int SensorEtherNet_UDP::readReply(std::uint8_t* ret, int headWait, int bodyWait) {
  std::uint8_t packet[protocol::largestPacket];
  constexpr int head = 3;
  if (readFromSensor(packet, head, headWait) == 0) return -1;
  if (packet[0] != PACKET_HEAD1 || packet[1] != PACKET_HEAD2) return -1;
  const int n = packet[2];
  constexpr int crcAndTail = 4;
  if (readFromSensor(packet + head, n + crcAndTail, bodyWait) == 0) return -1;
  if (!verifyPacket(packet)) return -1;
  if (ret != nullptr) std::copy_n(packet + head, n, ret);
  return n;
}

bool SensorEtherNet_UDP::simpleCommunication(int cmd, std::uint8_t* ret, int timeout_ms) {
  if (timeout_ms == 0 || ret == nullptr) {
    emptyQueue();
    return post(cmd, nullptr, 0);
  }
  return exchange(cmd, nullptr, 0, ret, timeout_ms, timeout_ms + 100) >= 0;
}

bool SensorEtherNet_UDP::simpleCommunication2(int cmd, const std::uint8_t* args, int arg_len,
                                              std::uint8_t* ret, int timeout_ms) {
  if (timeout_ms == 0) {
    emptyQueue();
    return post(cmd, args, arg_len);
  }
  return exchange(cmd, args, arg_len, ret, timeout_ms + 100, timeout_ms + 100) >= 0;
}

void SensorEtherNet_UDP::changeToBinaryMode() {
  constexpr char text[] = "<BINARY>";
  sendToSensor(reinterpret_cast<const std::uint8_t*>(text), sizeof text - 1);
  sleep_for(milliseconds(200));
  emptyQueue();
}

// ---- commands ---------------------------------------------------------------------------------

/// A command whose answer is read: at least `shortest` bytes that carry the command's code.
bool SensorEtherNet_UDP::query(int cmd, int wait, int shortest, Reply& reply) {
  return exchange(cmd, nullptr, 0, reply.body, wait, wait + 100) >= shortest &&
         reply.command() == cmd;
}

bool SensorEtherNet_UDP::command(int cmd, int wait) {
  Reply reply;
  if (query(cmd, wait, payloadOffset, reply)) return true;
  setCODE(COMM_CMDRETURN_ERROR);
  return false;
}

bool SensorEtherNet_UDP::command(int cmd, const std::uint8_t* args, int arg_len, Check check) {
  Reply reply;
  if (simpleCommunication2(cmd, args, arg_len, reply.body, payloadWait) &&
      (check == Check::answered || reply.command() == cmd)) {
    return true;
  }
  setCODE(COMM_CMDRETURN_ERROR);
  return false;
}

bool SensorEtherNet_UDP::switchCommand(int cmd, bool on) {
  const std::uint8_t payload = on ? 1 : 0;
  return command(cmd, &payload, 1, Check::answered);
}

bool SensorEtherNet_UDP::sixValueCommand(int cmd, const double* values) {
  if (values == nullptr) return false;
  std::uint8_t payload[24];
  for (int i = 0; i < 6; ++i) {
    if (!std::isfinite(values[i] * 1000.0)) {
      setCODE(COMM_CMDRETURN_ERROR);
      return false;
    }
    writeUint32(payload + 4 * i, lowBitsOfThousandths(values[i]));
  }
  return command(cmd, payload, sizeof payload);
}

bool SensorEtherNet_UDP::addressCommand(int cmd, const char* text) {
  if (!isFourDottedNumbers(text)) {
    setCODE(COMM_IP_ERROR);
    return false;
  }
  std::uint8_t payload[4];
  writeUint32(payload, static_cast<std::uint32_t>(inet_addr_(text)));
  return command(cmd, payload, sizeof payload);
}

bool SensorEtherNet_UDP::getDevModelInfo(DeviceModelInfo& info) {
  constexpr int shortest = payloadOffset + 7;
  Reply reply;
  if (!query(COMMAND_GET_DEVICE_INFO, 400, shortest, reply)) {
    setCODE(COMM_PORT_ERROR);
    return false;
  }
  const std::uint8_t* identity = reply.body + payloadOffset;
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
  if (out == nullptr) return false;
  constexpr int axes = 6;
  Reply reply;
  if (!query(COMMAND_GET_ALARM_AXIS, 200, payloadOffset + axes, reply)) {
    setCODE(COMM_PORT_ERROR);
    return false;
  }
  std::copy_n(reply.body + payloadOffset, axes, out);
  return true;
}

bool SensorEtherNet_UDP::startSample() {
  if (bSampleMode) return true;
  simpleCommunication(COMMAND_CONTINUE_CAPTURE, nullptr, 0);
  bSampleMode = true;
  sleep_for(milliseconds(50));
  return true;
}

bool SensorEtherNet_UDP::stopSample() {
  if (!bSampleMode) return true;
  simpleCommunication(COMMAND_STOP_CAPTURE, nullptr, 0);
  bSampleMode = false;
  sleep_for(milliseconds(50));
  return true;
}

bool SensorEtherNet_UDP::zeroReset() {
  return command(COMMAND_ZERO_RESET, 100);
}

bool SensorEtherNet_UDP::saveUserSetting() {
  return command(COMMAND_SAVE_TO_PROFILE, 4000);
}

bool SensorEtherNet_UDP::setLowPassFilter(std::uint8_t setting) {
  return command(COMMAND_SET_FILTER_RANG, &setting, 1);
}

bool SensorEtherNet_UDP::setToolTransform(const double* transform) {
  return sixValueCommand(COMMAND_TOOL_TRANSFORM, transform);
}

bool SensorEtherNet_UDP::setEnableIIRFilter(bool enable) {
  return switchCommand(COMMAND_ENABLE_IIR_FILTER, enable);
}

bool SensorEtherNet_UDP::setEnableFIRFilter(bool enable) {
  return switchCommand(COMMAND_ENABLE_FIR_FILTER, enable);
}

bool SensorEtherNet_UDP::setMedianFilterDepth(std::uint8_t depth) {
  return command(COMMAND_SET_MEDIAN_FILTER_PARA, &depth, 1, Check::answered);
}

bool SensorEtherNet_UDP::setSmoothAverFilterDepth(std::uint8_t depth) {
  return command(COMMAND_SET_SMOOTH_AVER_FILTER_PARA, &depth, 1);
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
  return command(COMMAND_SET_KALMAN_FILTER_PARA, payload, sizeof payload);
}

bool SensorEtherNet_UDP::setEnableKalmanFilter(bool enable) {
  return switchCommand(COMMAND_ENABLE_KALMAN_FILTER, enable);
}

bool SensorEtherNet_UDP::setNetIP(const char* address) {
  return addressCommand(COMMAND_SET_NET_IP, address);
}

bool SensorEtherNet_UDP::setNetMask(const char* mask) {
  return addressCommand(COMMAND_SET_NET_MASK, mask);
}

bool SensorEtherNet_UDP::setNetGateway(const char* address) {
  return addressCommand(COMMAND_SET_NET_GATEWAY, address);
}

bool SensorEtherNet_UDP::setNetPortNumber(std::uint16_t port) {
  const std::uint8_t payload[2] = {static_cast<std::uint8_t>(port & 0xFF),
                                   static_cast<std::uint8_t>(port >> 8)};
  return command(COMMAND_SET_NET_PORT_NUMBER, payload, sizeof payload);
}

bool SensorEtherNet_UDP::setAlarmSignal() {
  return command(COMMAND_SET_ALARM_SIGNAL, 300);
}

bool SensorEtherNet_UDP::clearAlarmSignal() {
  return command(COMMAND_CLEAR_ALARM_SIGNAL, 300);
}

bool SensorEtherNet_UDP::setEnableAlarm(bool enable) {
  return switchCommand(COMMAND_ENABLE_ALARM_OUTPUT, enable);
}

bool SensorEtherNet_UDP::setEnableAlarmNormalOpen(bool normallyOpen) {
  return switchCommand(COMMAND_SET_ALARM_NORMAL_OPEN, normallyOpen);
}

bool SensorEtherNet_UDP::setAlarmThresholdValue(const double* thresholds) {
  return sixValueCommand(COMMAND_SET_ALARM_THRESHOLD_VALUE, thresholds);
}

// ---- frames -----------------------------------------------------------------------------------

/// The status of a frame from its status byte and the values to check against the range. CODE is
/// stored once, with the final status, so that nobody sees "normal" for an overloaded frame.
ZelInfoCode SensorEtherNet_UDP::noteStatus(std::uint8_t status, const double* checked) {
  bool overload = status == 254;
  for (int i = 0; i < 6; ++i) overload = overload || std::fabs(checked[i]) > ft_range[i];
  if (!overload && status != 0 && status != 255) return CODE;  // says nothing about the reading
  const ZelInfoCode code = overload ? FT_OVERLOAD_ERROR : status == 0 ? FT_N0RMAL : FT_DATA_ERROR;
  setCODE(code);
  return code;
}

void SensorEtherNet_UDP::updatData(const std::uint8_t* data, int len) {
  if (data == nullptr || len < payloadOffset) return;
  const std::uint8_t cmd = data[VALID_DATA_COMMAND_BYTE_OFFSET];
  if (cmd == COMMAND_ZERO_RESET) {
    SET_CMD_ZERO = true;
    return;
  }
  const bool isReading = cmd == COMMAND_SINGAL_CAPTURE || cmd == COMMAND_CONTINUE_CAPTURE;
  if (!isReading || len < shortestDataFrame) return;

  zel::SensorFrame frame;
  decodeChannels(data, frame.value);
  frame.code = noteStatus(data[1], frame.value);
  time_start = zel_start_timer_clock();
  // The reading goes last: whoever sees it sees its status and its count, or later ones.
  countIPOC();
  rawData.publish(frame);
}

bool SensorEtherNet_UDP::singleCapture(double* out) {
  if (out == nullptr) return false;
  Reply reply;
  if (!query(COMMAND_SINGAL_CAPTURE, 200, shortestDataFrame, reply)) {
    setCODE(COMM_CMDRETURN_ERROR);
    return false;
  }
  decodeChannels(reply.body, out);
  noteStatus(reply.status(), rawData.newest().value);  // range: of the last streamed reading
  countIPOC();
  return CODE == FT_N0RMAL;
}
