// How a controller in another process moves the robot of the simulated cell: one UDP exchange on
// 127.0.0.1 per control cycle. The controller's request is what lets time pass in the cell, so a
// run can be faster or slower than real time; without requests the cell rests.
//
// All numbers are little-endian. Request, 64 bytes: "ZRL1", sequence (u32), flange pose to follow
// (six f64: mm, rad), time to pass (f64, s). Reply, 64 bytes: "ZRL1", the sequence answered (u32),
// flange pose reached (six f64), penetration of the tool tip (f64, mm).
#ifndef ZEL_FTC_SIM_ROBOT_LINK_H
#define ZEL_FTC_SIM_ROBOT_LINK_H

#include <cstdint>
#include <mutex>
#include <thread>

#include "sim/cell.h"
#include "sim/loopback_socket.h"

namespace zel::sim {

/// Where the robot is.
struct RobotState {
  Pose flange{};             ///< in the base, mm and rad
  double penetration = 0.0;  ///< of the tool tip into the surface, mm
};

/// The longest time that one request may let pass, s.
constexpr double longestStep = 10.0;

/// A cell shared by the sensor, which reads it, and the robot link, which moves it. Any thread.
class SharedCell {
 public:
  explicit SharedCell(const CellConfig& config) : cell_(config) {}

  RobotState move(const Pose& base_flange, double seconds);
  RobotState state() const;
  Wrench reading();

 private:
  mutable std::mutex mutex_;
  Cell cell_;
};

/// The simulator's end. Requests that are malformed are ignored: a pose or time that is not finite,
/// a time below 0 or above longestStep.
class RobotLinkServer {
 public:
  /// Binds 127.0.0.1:`port` (0 = any free port) and serves on a thread of its own until destroyed.
  /// The cell must outlive the server. Throws std::system_error when the port is taken.
  RobotLinkServer(SharedCell& cell, std::uint16_t port);
  ~RobotLinkServer();
  RobotLinkServer(const RobotLinkServer&) = delete;
  RobotLinkServer& operator=(const RobotLinkServer&) = delete;

  std::uint16_t port() const { return localPort(socket_); }

 private:
  void run();

  SharedCell& cell_;
  Fd socket_;
  WakeEvent wake_;
  std::thread thread_;
};

/// The controller's end. One thread.
class RobotLinkClient {
 public:
  /// `timeout` is how long an exchange waits for its reply, s.
  explicit RobotLinkClient(std::uint16_t port, double timeout = 1.0);

  /// Commands a flange pose (in the base, mm and rad), lets `seconds` pass in the cell and returns
  /// where the robot is then. The sensor's next samples are taken there.
  /// Throws std::invalid_argument for a pose or time that a server would not accept, and
  /// std::runtime_error when nothing listens on the port or no reply comes in time; whether the
  /// robot has moved is then not known.
  RobotState exchange(const Pose& base_flange, double seconds);

 private:
  std::uint16_t port_;
  double timeout_;
  Fd socket_;
  std::uint32_t sequence_ = 0;
};

}  // namespace zel::sim

#endif
