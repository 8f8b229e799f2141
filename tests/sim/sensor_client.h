// A driver's end of the wire for the tests of the sensor simulator: a plain UDP socket, packets
// written and read without the code under test.
#ifndef ZEL_FTC_TESTS_SIM_SENSOR_CLIENT_H
#define ZEL_FTC_TESTS_SIM_SENSOR_CLIENT_H

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

#include "tests/ft/sensor_packets.h"

namespace zel::sim::test {

using testing_ft::Bytes;
using testing_ft::channel;
using testing_ft::command;
using testing_ft::fromHex;

inline const Bytes startCapture = fromHex(testing_ft::startCommand);
inline const Bytes singleCapture = fromHex(testing_ft::captureCommand);
inline const Bytes zeroReset = fromHex(testing_ft::zeroCommand);
inline const Bytes askIdentity = fromHex(testing_ft::identityQuery);

inline bool isWholePacket(const Bytes& bytes) {
  return bytes.size() >= 10 &&
         bytes == testing_ft::packetAround(Bytes(bytes.begin() + 3, bytes.end() - 4));
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
    send(fromHex(testing_ft::stopCommand));
    send(askIdentity);
    while (receive().size() != 17) continue;
  }

 private:
  int fd_;
};

}  // namespace zel::sim::test

#endif
