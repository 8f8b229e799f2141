#include "sim/loopback_socket.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace zel::sim {

namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// A UDP socket given 127.0.0.1:`port` by ::bind or ::connect.
Fd openWith(int (*attach)(int, const sockaddr*, socklen_t), const char* failure,
            std::uint16_t port) {
  Fd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (socket.get() < 0) fail("cannot open a UDP socket");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (attach(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    fail(fmt::format("{} 127.0.0.1:{}", failure, port));
  }
  return socket;
}

}  // namespace

Fd::~Fd() {
  if (fd_ >= 0) ::close(fd_);
}

Fd bindLoopback(std::uint16_t port) {
  return openWith(::bind, "cannot bind", port);
}

Fd connectLoopback(std::uint16_t port) {
  return openWith(::connect, "cannot reach", port);
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
