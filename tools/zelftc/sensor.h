// The network sensor for the subcommands: up while the object lives, stopped when it goes, whatever
// ends the program.
#ifndef ZEL_FTC_TOOLS_ZELFTC_SENSOR_H
#define ZEL_FTC_TOOLS_ZELFTC_SENSOR_H

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "examples/common.h"
#include "ft/ZelForceSensorEtherNetUDP.h"
#include "tools/command_line.h"
#include "tools/zelftc/json.h"
#include "zel_ftc_diag.h"

namespace zel::cli {

using Six = std::array<double, 6>;

extern const char* const axisNames[6];
/// N or N m.
const char* unitOf(int axis);

/// Checks an option for four dotted numbers up to 255 that pass, the first one in the highest byte.
/// `what` completes the sentence "... is not".
CLI::Validator dotted(
    const std::string& what = "four dotted numbers from 0 to 255",
    std::function<bool(std::uint32_t)> passes = [](std::uint32_t) { return true; });

struct SensorOptions {
  std::string address = "127.0.0.1";
  unsigned short port = defaultSensorPort;
  bool realtime = false;  ///< the library's two threads run under SCHED_FIFO
};
void addSensorOptions(CLI::App& app, SensorOptions& options);

/// How a reading came.
struct Reading {
  Six value = {};      ///< N, N m, as the sensor gives them
  zel_ft_info status;  ///< code, text and counter that came with it
};

class Sensor {
 public:
  /// Brings the sensor up: about half a second. Throws with reason and remedy. From here on a
  /// closed pipe is an error of the one who writes, not the end of the program: the sensor has to
  /// be stopped first.
  explicit Sensor(const SensorOptions& options);

  SensorEtherNet_UDP& device() const;
  Six range() const;
  /// The newest reading, whatever its status.
  Reading read() const;
  zel_ftc_link_health health() const;
  /// Lets the stream run for some seconds; an interruption throws.
  static void wait(double seconds);

 private:
  example::Library library_;
};

/// "model 1, serial number 7, calibrated 24-01-31".
std::string identityText(const ZelSensor::DeviceModelInfo& identity);
/// "10000 Sensor Normal": number and text.
std::string statusText(const zel_ft_info& status);
/// What is to be done about a sensor status.
std::string remedyOf(int status);

Json jsonOf(const ZelSensor::DeviceModelInfo& identity);
Json jsonOf(const Reading& reading);
Json jsonOf(const zel_ftc_link_health& health);

}  // namespace zel::cli

#endif
