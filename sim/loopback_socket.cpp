#include "sim/loopback_socket.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace zel::sim {

namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

Fd openSocket() {
  Fd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (socket.get() < 0) fail("cannot open a UDP socket");
  return socket;
}

}  // namespace

Fd::~Fd() {
  if (fd_ >= 0) ::close(fd_);
}

sockaddr_in loopbackAddress(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

Fd bindLoopback(std::uint16_t port) {
  Fd socket = openSocket();
  const sockaddr_in address = loopbackAddress(port);
  if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    fail(fmt::format("cannot bind 127.0.0.1:{}", port));
  }
  return socket;
}

Fd connectLoopback(std::uint16_t port) {
  Fd socket = openSocket();
  const sockaddr_in address = loopbackAddress(port);
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    fail(fmt::format("cannot reach 127.0.0.1:{}", port));
  }
  return socket;
}

std::uint16_t localPort(const Fd& socket) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  if (::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    fail("cannot read the port of a socket");
  }
  return ntohs(address.sin_port);
}

WakeEvent::WakeEvent() : event_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  if (event_.get() < 0) fail("cannot create an event descriptor");
}

void WakeEvent::signal() {
  ::eventfd_write(event_.get(), 1);
}

void WakeEvent::clear() {
  eventfd_t count;
  ::eventfd_read(event_.get(), &count);
}

}  // namespace zel::sim
