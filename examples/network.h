// The cell behind the network: a simulator process that is the sensor on the wire and the robot.
#ifndef ZEL_FTC_EXAMPLES_NETWORK_H
#define ZEL_FTC_EXAMPLES_NETWORK_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "examples/common.h"
#include "ft/ZelForceSensorEtherNetUDP.h"
#include "sim/robot_link.h"

namespace example {

/// Frames per second that the simulated sensor streams.
constexpr double frameRate = 1000.0;

/// A running zel_sensor_sim with the simulated cell. Ends with the object, or with this process.
class SimulatorProcess {
 public:
  /// Starts the simulator, a program and the arguments that it begins with, on free ports and waits
  /// until it listens. Throws std::runtime_error with the reason when it does not.
  SimulatorProcess(const std::vector<std::string>& simulator, const zel::sim::CellConfig& cell);
  ~SimulatorProcess() { stop(); }
  SimulatorProcess(const SimulatorProcess&) = delete;
  SimulatorProcess& operator=(const SimulatorProcess&) = delete;

  unsigned short sensorPort() const { return sensorPort_; }
  unsigned short robotPort() const { return robotPort_; }

  /// Ends it. Gives what it said last: its own statistics.
  std::string stop();

 private:
  pid_t pid_ = -1;
  std::FILE* output_ = nullptr;
  unsigned short sensorPort_ = 0, robotPort_ = 0;
};

/// What arrived of the stream, as seen by a thread that looks about ten times per frame.
struct FrameStatistics {
  std::int64_t frames = 0;      ///< since the stream began
  double seconds = 0.0;         ///< from the first frame seen to the last
  std::int64_t framesSeen = 0;  ///< in these seconds
  double longestGap = 0.0;      ///< s without a frame, as far as it is certain
  double rate() const { return seconds > 0.0 ? static_cast<double>(framesSeen) / seconds : 0.0; }
};

/// Prints what arrived beside what the simulator says that it has sent (see stop()).
void printFrames(const FrameStatistics& received, const std::string& simulator);

/// The network sensor as the library sees it (the library must be open with it).
SensorEtherNet_UDP& networkSensor();

/// The robot over the simulator's robot link, the readings over the library's UDP driver. One
/// period of simulation takes one period of time.
class NetworkLink : public RobotLink {
 public:
  NetworkLink(const SimulatorProcess& simulator, const Pose& start, const Options& options);
  bool feed() override;
  Wrench read() override;
  Pose pose() override { return set_; }
  Pose actual() override { return actual_; }
  void follow(const Pose& pose) override;

  /// Counts up to now; call it once more after the stream has stopped.
  const FrameStatistics& frames();

 private:
  void look();
  void waitForFrames(int count);

  zel::sim::RobotLinkClient link_;
  std::chrono::duration<double> period_;
  std::chrono::steady_clock::time_point next_;
  Pose set_, actual_;
  FrameStatistics frames_;
  int lastCount_ = 0;
  std::chrono::steady_clock::time_point firstTime_, lastTime_;
};

}  // namespace example

#endif
