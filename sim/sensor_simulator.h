// A six-axis network sensor without hardware: speaks the sensor's UDP protocol on 127.0.0.1, takes
// the wrench from wherever the user likes, and fails on request.
//
// Start here to test a program that talks to the sensor; the executable zel_sensor_sim offers the
// same from the command line.
#ifndef ZEL_FTC_SIM_SENSOR_SIMULATOR_H
#define ZEL_FTC_SIM_SENSOR_SIMULATOR_H

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sim/sensor_device.h"
#include "sim/sensor_faults.h"

namespace zel::sim {

struct SensorSimulatorConfig {
  std::uint16_t port = 0;  ///< UDP port on 127.0.0.1; 0 = any free one
  double rate = 1000.0;    ///< frames per second, 1..4000
  ZelSensor::DeviceModelInfo identity{
      .model = 1, .range = 0, .id = 1, .year = 24, .month = 1, .date = 1};
  WrenchSource source{};  ///< asked on the simulator's thread, must not throw; empty = no load
  std::string binary_answer{};  ///< datagram that answers "<BINARY>"; empty = none
  SensorFaults faults{};
  /// Called on the simulator's thread for each command received; what it waits for, the stream
  /// waits for. May call the simulator, but not start or stop it.
  std::function<void(const SensorCommand&)> log{};
};

struct SensorStatistics {
  std::uint64_t frames = 0;       ///< streamed frames produced, those lost to faults included
  std::uint64_t skipped = 0;      ///< frame times passed over because the machine was too busy
  std::uint64_t datagrams = 0;    ///< sent
  std::uint64_t bytes = 0;        ///< sent
  std::uint64_t suppressed = 0;   ///< datagrams not sent because the sensor was silent
  std::uint64_t send_errors = 0;  ///< datagrams that the system did not take
  std::uint64_t commands = 0;     ///< accepted
  std::uint64_t ignored = 0;      ///< datagrams received that were no command, or no valid one
  double mean_lateness = 0.0;     ///< of a frame against its time, s
  double worst_lateness = 0.0;    ///< s
  std::array<std::uint64_t, faultKinds> faults{};  ///< strikes of each, in the order of Fault
};

/// One simulated sensor. Its own thread answers and streams between start() and stop(); all
/// members may be called from any thread, start() and stop() from one at a time.
///
/// A command is answered to its sender, and the stream goes to whoever asked for it last. The first
/// frame leaves one period after the request; frame times do not drift. A frame that is late is
/// sent at once; after a gap of more than 10 ms the stream goes on without what was missed.
class SensorSimulator {
 public:
  /// Throws std::invalid_argument when a value of the configuration is out of range.
  explicit SensorSimulator(SensorSimulatorConfig config);
  ~SensorSimulator();
  SensorSimulator(const SensorSimulator&) = delete;
  SensorSimulator& operator=(const SensorSimulator&) = delete;

  /// Binds the port and starts answering. Throws std::system_error when the port is taken; the
  /// simulator can then be started again. Nothing happens when it runs already.
  void start();
  /// Ends the thread and frees the port. Settings, counters and the received commands stay.
  void stop();

  /// The port bound by the last start().
  std::uint16_t port() const;
  /// Changes the faults from the next packet on. Throws std::invalid_argument as
  /// SensorFaults::check does.
  void setFaults(const SensorFaults& faults);

  SensorStatistics statistics() const;
  SensorSettings settings() const;
  bool streaming() const;
  bool alarmRaised() const;
  /// The wrench source has ended.
  bool ended() const;
  /// The last commands received, oldest first, at most 10000.
  std::vector<SensorCommand> commands() const;

 private:
  class Loop;
  std::unique_ptr<Loop> loop_;
};

}  // namespace zel::sim

#endif
