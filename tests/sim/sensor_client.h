// A driver's end of the wire for the tests of the sensor simulator: a plain UDP socket, packets
// written and read without the code under test.
#ifndef ZEL_FTC_TESTS_SIM_SENSOR_CLIENT_H
#define ZEL_FTC_TESTS_SIM_SENSOR_CLIENT_H

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace zel::sim::test {

using Bytes = std::vector<std::uint8_t>;

/// "F6 6F" -> {0xF6, 0x6F}
inline Bytes hex(const std::string& text) {
  Bytes bytes;
  std::istringstream in(text);
  for (int value; in >> std::hex >> value;) bytes.push_back(static_cast<std::uint8_t>(value));
  return bytes;
}

inline const Bytes startCapture = hex("F6 6F 03 00 00 02 DE EC 6F F6");
inline const Bytes stopCapture = hex("F6 6F 03 00 00 03 FF FC 6F F6");
inline const Bytes singleCapture = hex("F6 6F 03 00 00 04 18 8C 6F F6");
inline const Bytes zeroReset = hex("F6 6F 03 00 00 0B F7 7D 6F F6");
inline const Bytes askIdentity = hex("F6 6F 03 00 00 10 AD DE 6F F6");

/// CRC-16 of polynomial 0x1021, initial value 0xFFFF, one bit at a time.
inline std::uint16_t bitwiseCrc(const std::uint8_t* bytes, std::size_t length) {
  std::uint16_t crc = 0xFFFF;
  for (std::size_t i = 0; i < 8 * length; ++i) {
    const int bit = bytes[i / 8] >> (7 - i % 8) & 1;
    const bool carry = (crc >> 15) != bit;
    crc = static_cast<std::uint16_t>(crc << 1);
    if (carry) crc ^= 0x1021;
  }
  return crc;
}

inline Bytes command(std::uint8_t code, const Bytes& payload = {}) {
  const std::size_t n = payload.size() + 3;
  Bytes packet(n + 7);
  packet[0] = 0xF6;
  packet[1] = 0x6F;
  packet[2] = static_cast<std::uint8_t>(n);
  packet[5] = code;
  std::copy(payload.begin(), payload.end(), packet.begin() + 6);
  const std::uint16_t crc = bitwiseCrc(&packet[3], n);
  packet[n + 3] = static_cast<std::uint8_t>(crc);
  packet[n + 4] = static_cast<std::uint8_t>(crc >> 8);
  packet[n + 5] = 0x6F;
  packet[n + 6] = 0xF6;
  return packet;
}

/// The reply that merely repeats the command.
inline Bytes acknowledgement(std::uint8_t code) {
  return command(code);
}

/// Channel i of a data frame, as transmitted.
inline std::int32_t channel(const Bytes& frame, std::size_t i) {
  std::uint32_t value = 0;
  for (std::size_t k = 0; k < 4; ++k) value |= std::uint32_t{frame.at(6 + 4 * i + k)} << (8 * k);
  return static_cast<std::int32_t>(value);
}

inline bool isWholePacket(const Bytes& bytes) {
  if (bytes.size() < 10 || bytes[0] != 0xF6 || bytes[1] != 0x6F) return false;
  const std::size_t n = bytes[2];
  return bytes.size() == n + 7 && bytes[n + 5] == 0x6F && bytes[n + 6] == 0xF6 &&
         bitwiseCrc(bytes.data() + 3, n) == (bytes[n + 3] | bytes[n + 4] << 8);
}

class UdpClient {
 public:
  explicit UdpClient(std::uint16_t port) : fd_(::socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(0, ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address));
  }
  UdpClient(const UdpClient&) = delete;
  UdpClient& operator=(const UdpClient&) = delete;
  ~UdpClient() { ::close(fd_); }

  void send(const Bytes& bytes) {
    EXPECT_EQ(static_cast<ssize_t>(bytes.size()), ::send(fd_, bytes.data(), bytes.size(), 0));
  }
  void send(const std::string& text) { send(Bytes(text.begin(), text.end())); }

  /// The next datagram; fails the test, empty, when none comes.
  Bytes receive() {
    constexpr int patience = 20'000;
    pollfd event{fd_, POLLIN, 0};
    Bytes bytes(2000);
    const ssize_t length =
        ::poll(&event, 1, patience) == 1 ? ::recv(fd_, bytes.data(), bytes.size(), 0) : -1;
    EXPECT_GE(length, 0) << "no datagram";
    bytes.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return bytes;
  }
  std::vector<Bytes> receive(std::size_t count) {
    std::vector<Bytes> datagrams;
    while (datagrams.size() < count) {
      datagrams.push_back(receive());
      if (datagrams.back().empty()) break;
    }
    return datagrams;
  }
  Bytes exchange(const Bytes& request) {
    send(request);
    return receive();
  }
  /// Stops the stream and drops what is under way.
  void stopStream() {
    send(stopCapture);
    send(askIdentity);
    while (receive().size() != 17) continue;
  }

 private:
  int fd_;
};

}  // namespace zel::sim::test

#endif
