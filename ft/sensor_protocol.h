// The framing of the network sensor's UDP protocol, shared by the driver and the sensor simulator.
// Internal: not installed.
//
// Packet: F6 6F | N | reserved | status | command | payload | CRC-16 low, high | 6F F6
// N counts the bytes from `reserved` to the end of the payload: payload length + 3.
#ifndef ZEL_FTC_FT_SENSOR_PROTOCOL_H
#define ZEL_FTC_FT_SENSOR_PROTOCOL_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zel::protocol {

constexpr std::uint8_t head1 = 0xF6;
constexpr std::uint8_t head2 = 0x6F;
constexpr std::uint8_t tail1 = 0x6F;
constexpr std::uint8_t tail2 = 0xF6;
constexpr std::size_t overhead = 7;   ///< bytes of a packet besides the N counted ones
constexpr std::size_t fixedBody = 3;  ///< reserved, status, command
constexpr std::size_t largestPacket = 255 + overhead;

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
/// is at most 252.
inline std::size_t writePacket(std::uint8_t* packet, std::uint8_t status, std::uint8_t command,
                               const std::uint8_t* payload, std::size_t payloadLength) {
  const std::size_t n = payloadLength + fixedBody;
  packet[0] = head1;
  packet[1] = head2;
  packet[2] = static_cast<std::uint8_t>(n);
  packet[3] = 0;
  packet[4] = status;
  packet[5] = command;
  if (payloadLength > 0) std::memcpy(packet + 6, payload, payloadLength);
  const std::uint16_t crc = crc16(packet + 3, n);
  packet[3 + n] = static_cast<std::uint8_t>(crc & 0xFF);
  packet[4 + n] = static_cast<std::uint8_t>(crc >> 8);
  packet[5 + n] = tail1;
  packet[6 + n] = tail2;
  return n + overhead;
}

/// Whether the CRC stored behind the N bytes is the CRC of them. Head and tail are not looked at.
inline bool crcMatches(const std::uint8_t* packet) {
  const std::size_t n = packet[2];
  const auto stored = static_cast<std::uint16_t>(packet[3 + n] | packet[4 + n] << 8);
  return stored == crc16(packet + 3, n);
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
