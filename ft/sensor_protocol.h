// The UDP protocol of the network sensor, shared by the driver, the sensor simulator and its fault
// injector: framing, status bytes, the table of commands. Numbers that have a name in
// SensorEtherNet_UDP are taken from there. Internal: not installed.
//
// Packet: F6 6F | N | reserved | status | command | payload | CRC-16 low, high | 6F F6
// N counts the bytes from `reserved` to the end of the payload, the body: payload length + 3.
#ifndef ZEL_FTC_FT_SENSOR_PROTOCOL_H
#define ZEL_FTC_FT_SENSOR_PROTOCOL_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "ft/ZelForceSensorEtherNetUDP.h"

namespace zel::protocol {

constexpr std::size_t bodyOffset = 3;                   ///< behind the head and N
constexpr std::size_t fixedBody = 3;                    ///< reserved, status, command
constexpr std::size_t trailer = 4;                      ///< CRC and tail
constexpr std::size_t overhead = bodyOffset + trailer;  ///< bytes of a packet besides the body
constexpr std::size_t largestBody = 255;
constexpr std::size_t largestPayload = largestBody - fixedBody;
constexpr std::size_t shortestPacket = fixedBody + overhead;
constexpr std::size_t largestPacket = largestBody + overhead;

// In a body.
constexpr std::size_t statusOffset = 1;
constexpr std::size_t commandOffset = SensorEtherNet_UDP::VALID_DATA_COMMAND_BYTE_OFFSET;
constexpr std::size_t payloadOffset = fixedBody;

/// The UDP port of the host, which cannot be chosen.
constexpr std::uint16_t localPort = 52000;

// Status byte of a data frame. Other values say nothing about the reading.
constexpr std::uint8_t statusNormal = 0;
constexpr std::uint8_t statusOverload = 254;
constexpr std::uint8_t statusDataError = 255;

/// Bytes of six values of 32 bits in thousandths: the payload of a data frame, of two settings.
constexpr std::size_t sixValues = 24;

/// A datagram without framing that switches the sensor to packets.
constexpr std::string_view binaryRequest = "<BINARY>";

// ---- commands ---------------------------------------------------------------------------------

/// What makes a command succeed: an answer, or an answer that carries the command's code.
enum class Check : std::uint8_t { answered, commandByte };

/// A command of the protocol. Without a wait no answer is read, which goes for the two that switch
/// the stream and for those that the driver never sends.
struct Command {
  const char* name;
  std::uint8_t code;
  std::uint8_t payload = 0;  ///< bytes of the request
  std::uint16_t wait = 0;    ///< for the answer, in units of readFromSensor
  Check check = Check::commandByte;
  ZelInfoCode failure = COMM_CMDRETURN_ERROR;  ///< CODE when the answer is missing or wrong
};

#define ZEL_COMMAND(name, ...) \
  { #name, SensorEtherNet_UDP::COMMAND_##name __VA_OPT__(, ) __VA_ARGS__ }
inline constexpr Command commands[] = {
    ZEL_COMMAND(READ_DEVICE_ID),
    ZEL_COMMAND(CONTINUE_CAPTURE),
    ZEL_COMMAND(STOP_CAPTURE),
    ZEL_COMMAND(SINGAL_CAPTURE, 0, 200),
    ZEL_COMMAND(SET_SAMPLE_RATE),
    ZEL_COMMAND(SET_BAUD_RATE),
    ZEL_COMMAND(RESTORE_USER_PROFILE),
    ZEL_COMMAND(RESTORE_FACTORY_PROFILE),
    ZEL_COMMAND(SAVE_TO_PROFILE, 0, 4000),
    ZEL_COMMAND(GET_FW_INFO),
    ZEL_COMMAND(ZERO_RESET, 0, 100),
    ZEL_COMMAND(WAVE_FILTERING),
    ZEL_COMMAND(CAL_FORCE),
    ZEL_COMMAND(GET_DEVICE_INFO, 0, 400, Check::commandByte, COMM_PORT_ERROR),
    ZEL_COMMAND(ENABLE_KALMAN_FILTER, 1, 100, Check::answered),
    ZEL_COMMAND(SET_KALMAN_FILTER_PARA, 18, 100),
    ZEL_COMMAND(TOOL_TRANSFORM, sixValues, 100),
    ZEL_COMMAND(PROBE_SENSOR),
    ZEL_COMMAND(ACTIVE_SENSOR_2),
    ZEL_COMMAND(GET_STATE_CODE),
    ZEL_COMMAND(SET_FILTER_RANG, 1, 100),
    ZEL_COMMAND(SET_NET_IP, 4, 100),
    ZEL_COMMAND(SET_NET_MASK, 4, 100),
    ZEL_COMMAND(SET_NET_GATEWAY, 4, 100),
    ZEL_COMMAND(SET_NET_PORT_NUMBER, 2, 100),
    ZEL_COMMAND(GET_SENSOR_ERR_CODE),
    ZEL_COMMAND(CHANGE_PARSE_MODE),
    ZEL_COMMAND(SET_DEBUG_MODE),
    ZEL_COMMAND(SET_MEDIAN_FILTER_PARA, 1, 100, Check::answered),
    ZEL_COMMAND(OUTPUT_ACC_GYRO_DATA),
    ZEL_COMMAND(CLEAR_ALARM_SIGNAL, 0, 300),
    ZEL_COMMAND(SET_ALARM_THRESHOLD_VALUE, sixValues, 100),
    ZEL_COMMAND(ENABLE_ALARM_OUTPUT, 1, 100, Check::answered),
    ZEL_COMMAND(GET_ALARM_AXIS, 0, 200, Check::commandByte, COMM_PORT_ERROR),
    ZEL_COMMAND(SET_ALARM_NORMAL_OPEN, 1, 100, Check::answered),
    ZEL_COMMAND(SET_ALARM_SIGNAL, 0, 300),
    ZEL_COMMAND(SET_SMOOTH_AVER_FILTER_PARA, 1, 100),
    ZEL_COMMAND(ENABLE_FIR_FILTER, 1, 100, Check::answered),
    ZEL_COMMAND(ENABLE_IIR_FILTER, 1, 100, Check::answered),
    ZEL_COMMAND(SET_AVERGE_NUM),
    ZEL_COMMAND(SET_ADC_GAIN),
    ZEL_COMMAND(GET_ADC_GAIN),
};
#undef ZEL_COMMAND

/// The row of a code, null for a code that is no command.
constexpr const Command* findCommand(std::uint8_t code) {
  for (const Command& command : commands) {
    if (command.code == code) return &command;
  }
  return nullptr;
}

/// The row of a code known to be one.
consteval const Command& commandOf(std::uint8_t code) {
  return *findCommand(code);
}

constexpr bool isDataFrame(std::uint8_t command) {
  return command == SensorEtherNet_UDP::COMMAND_CONTINUE_CAPTURE ||
         command == SensorEtherNet_UDP::COMMAND_SINGAL_CAPTURE;
}

/// Whether a text is four numbers with dots between them, of any size.
inline bool isFourDottedNumbers(const char* text) {
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

// ---- packets ----------------------------------------------------------------------------------

/// CRC-16, polynomial 0x1021, initial value 0xFFFF, most significant bit first, no reflection, no
/// final XOR (CRC-16/CCITT-FALSE), four bits at a time. The nine digits "123456789" give 0x29B1.
inline std::uint16_t crc16(const std::uint8_t* data, std::size_t length) {
  static constexpr std::uint16_t crc_ta_4[16] = {0x0000, 0x1021, 0x2042, 0x3063, 0x4084, 0x50A5,
                                                 0x60C6, 0x70E7, 0x8108, 0x9129, 0xA14A, 0xB16B,
                                                 0xC18C, 0xD1AD, 0xE1CE, 0xF1EF};
  std::uint16_t crc = 0xFFFF;
  for (std::size_t i = 0; i < length; ++i) {
    crc = static_cast<std::uint16_t>((crc << 4) ^ crc_ta_4[(data[i] >> 4) ^ (crc >> 12)]);
    crc = static_cast<std::uint16_t>((crc << 4) ^ crc_ta_4[(data[i] & 0x0F) ^ (crc >> 12)]);
  }
  return crc;
}

/// Writes a packet into `packet` (payloadLength + 10 bytes) and returns its length. payloadLength
/// is at most largestPayload.
inline std::size_t writePacket(std::uint8_t* packet, std::uint8_t status, std::uint8_t command,
                               const std::uint8_t* payload, std::size_t payloadLength) {
  const std::size_t n = payloadLength + fixedBody;
  packet[0] = SensorEtherNet_UDP::PACKET_HEAD1;
  packet[1] = SensorEtherNet_UDP::PACKET_HEAD2;
  packet[2] = static_cast<std::uint8_t>(n);
  std::uint8_t* const body = packet + bodyOffset;
  body[0] = 0;
  body[statusOffset] = status;
  body[commandOffset] = command;
  if (payloadLength > 0) std::memcpy(body + payloadOffset, payload, payloadLength);
  const std::uint16_t crc = crc16(body, n);
  body[n] = static_cast<std::uint8_t>(crc & 0xFF);
  body[n + 1] = static_cast<std::uint8_t>(crc >> 8);
  body[n + 2] = SensorEtherNet_UDP::PACKET_TAIL1;
  body[n + 3] = SensorEtherNet_UDP::PACKET_TAIL2;
  return n + overhead;
}

/// Whether the CRC stored behind the N bytes is the CRC of them. Head and tail are not looked at.
inline bool crcMatches(const std::uint8_t* packet) {
  const std::size_t n = packet[2];
  const std::uint8_t* const body = packet + bodyOffset;
  return static_cast<std::uint16_t>(body[n] | body[n + 1] << 8) == crc16(body, n);
}

/// Little-endian 32-bit integer.
inline std::int32_t readInt32(const std::uint8_t* bytes) {
  return static_cast<std::int32_t>(
      static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
      static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24);
}

inline void writeInt32(std::uint8_t* bytes, std::int32_t value) {
  const auto u = static_cast<std::uint32_t>(value);
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(u >> (8 * i));
}

}  // namespace zel::protocol

#endif
