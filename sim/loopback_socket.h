// UDP sockets on 127.0.0.1 and the descriptors around them, owned.
#ifndef ZEL_FTC_SIM_LOOPBACK_SOCKET_H
#define ZEL_FTC_SIM_LOOPBACK_SOCKET_H

#include <cstdint>
#include <utility>

namespace zel::sim {

/// Owns a file descriptor.
class Fd {
 public:
  Fd() = default;
  explicit Fd(int fd) : fd_(fd) {}
  Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Fd& operator=(Fd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Fd();

  int get() const { return fd_; }

 private:
  int fd_ = -1;
};

/// A non-blocking UDP socket bound to 127.0.0.1:`port`, 0 for any free port. Throws
/// std::system_error that names the port when it cannot be had.
Fd bindLoopback(std::uint16_t port);

/// A non-blocking UDP socket connected to 127.0.0.1:`port`.
Fd connectLoopback(std::uint16_t port);

/// The local port of a bound socket.
std::uint16_t localPort(const Fd& socket);

/// Wakes a thread that polls the descriptor. Any thread may signal.
class WakeEvent {
 public:
  WakeEvent();
  int fd() const { return event_.get(); }
  void signal();
  void clear();

 private:
  Fd event_;
};

}  // namespace zel::sim

#endif
