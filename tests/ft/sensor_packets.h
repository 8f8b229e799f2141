// Packets of the network sensor as literal bytes and built from their definition, without the code
// under test.
#ifndef ZEL_FTC_TESTS_FT_SENSOR_PACKETS_H
#define ZEL_FTC_TESTS_FT_SENSOR_PACKETS_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

namespace testing_ft {

using Bytes = std::vector<std::uint8_t>;

/// "F6 6F" -> {0xF6, 0x6F}
inline Bytes fromHex(const std::string& text) {
  std::istringstream in(text);
  Bytes bytes;
  for (unsigned value; in >> std::hex >> value;) bytes.push_back(static_cast<std::uint8_t>(value));
  return bytes;
}

inline std::string toHex(const Bytes& bytes) {
  std::ostringstream out;
  out << std::hex << std::uppercase << std::setfill('0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    out << (i > 0 ? " " : "") << std::setw(2) << int{bytes[i]};
  }
  return out.str();
}

/// A packet around the N bytes of `body`. CRC bit by bit, from its definition.
inline Bytes packetAround(const Bytes& body) {
  unsigned crc = 0xFFFF;
  for (std::uint8_t byte : body) {
    crc ^= unsigned{byte} << 8;
    for (int bit = 0; bit < 8; ++bit) crc = (crc << 1 ^ (crc & 0x8000 ? 0x1021 : 0)) & 0xFFFF;
  }
  Bytes packet(body.size() + 7);
  packet[0] = 0xF6;
  packet[1] = 0x6F;
  packet[2] = static_cast<std::uint8_t>(body.size());
  std::copy(body.begin(), body.end(), packet.begin() + 3);
  auto end = packet.end() - 4;
  for (unsigned byte : {crc & 0xFF, crc >> 8, 0x6FU, 0xF6U}) {
    *end++ = static_cast<std::uint8_t>(byte);
  }
  return packet;
}

/// A command, or the reply that repeats its code.
inline Bytes command(std::uint8_t code, const Bytes& payload = {}) {
  Bytes body = {0, 0, code};
  for (std::uint8_t byte : payload) body.push_back(byte);
  return packetAround(body);
}

/// A data frame: six channels in thousandths, behind them `extra` bytes that mean nothing.
inline Bytes frameOf(const std::array<std::int32_t, 6>& channels, std::uint8_t status = 0,
                     std::uint8_t command = 2, std::size_t extra = 0) {
  Bytes body = {0, status, command};
  for (std::int32_t channel : channels) {
    for (int i = 0; i < 4; ++i) {
      body.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(channel) >> (8 * i)));
    }
  }
  body.resize(body.size() + extra, 0x5A);
  return packetAround(body);
}

/// Channel i of a data frame, as transmitted.
inline std::int32_t channel(const Bytes& frame, std::size_t i) {
  std::uint32_t value = 0;
  for (std::size_t k = 0; k < 4; ++k) value |= std::uint32_t{frame.at(6 + 4 * i + k)} << (8 * k);
  return static_cast<std::int32_t>(value);
}

inline const std::string binarySwitch = "3C 42 49 4E 41 52 59 3E";  // <BINARY>
inline const std::string startCommand = "F6 6F 03 00 00 02 DE EC 6F F6";
inline const std::string stopCommand = "F6 6F 03 00 00 03 FF FC 6F F6";
inline const std::string captureCommand = "F6 6F 03 00 00 04 18 8C 6F F6";
inline const std::string zeroCommand = "F6 6F 03 00 00 0B F7 7D 6F F6";
inline const std::string identityQuery = "F6 6F 03 00 00 10 AD DE 6F F6";
/// 2024-11-30, model 2 (150, 150, 200 N; 4, 4, 4 N m), range 9, id 0x1234.
inline const std::string identityAnswer = "F6 6F 0A 00 00 10 18 0B 1E 02 09 34 12 D0 F8 6F F6";

}  // namespace testing_ft

#endif
