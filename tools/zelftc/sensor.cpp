#include "tools/zelftc/sensor.h"

#include <arpa/inet.h>

#include <chrono>
#include <csignal>
#include <thread>
#include <utility>

#include "examples/network.h"
#include "tools/command_line.h"
#include "zel_ftc_workers.h"

namespace zel::cli {
namespace {

/// Before the library opens. A terminal has no core to spare for a thread that spins.
const SensorOptions& prepared(const SensorOptions& options) {
  std::signal(SIGPIPE, SIG_IGN);
  zel_ftc_workers workers;
  zel_ftc_getWorkers(&workers);
  workers.unpack_waits = true;
  if (options.realtime) {
    workers.receive = {ZEL_ANY_CORE, ZEL_SCHED_FIFO, 30};
    workers.unpack = {ZEL_ANY_CORE, ZEL_SCHED_FIFO, 20};
  }
  zel_ftc_setWorkers(&workers);
  return options;
}

}  // namespace

const char* const axisNames[6] = {"Fx", "Fy", "Fz", "Mx", "My", "Mz"};

const char* unitOf(int axis) {
  return axis < FT_MX ? "N" : "N m";
}

CLI::Validator dotted(const std::string& what, std::function<bool(std::uint32_t)> passes) {
  return CLI::Validator(
      [what, passes = std::move(passes)](const std::string& text) {
        in_addr address = {};
        const bool parsed = inet_pton(AF_INET, text.c_str(), &address) == 1;
        return parsed && passes(ntohl(address.s_addr))
                   ? ""
                   : fmt::format("\"{}\" is not {}", text, what);
      },
      "");
}

void addSensorOptions(CLI::App& app, SensorOptions& options) {
  app.add_option("--address", options.address, "of the sensor, four dotted numbers")
      ->check(dotted())
      ->capture_default_str();
  app.add_option("--port", options.port, "UDP port of the sensor")
      ->check(CLI::Range(1, 65535))
      ->capture_default_str();
}

Sensor::Sensor(const SensorOptions& options) : library_(prepared(options).port, options.address) {}

SensorEtherNet_UDP& Sensor::device() const {
  return example::networkSensor();
}

Six Sensor::range() const {
  Six range = {};
  example::require(zel_ftc_getFTSensorRange(range.data()));
  return range;
}

Reading Sensor::read() const {
  Reading reading;
  device().getFTSensorData(reading.value.data(), reading.status);
  return reading;
}

zel_ftc_link_health Sensor::health() const {
  zel_ftc_link_health health = {};
  zel_ftc_linkHealth(&health);
  return health;
}

void Sensor::wait(double seconds) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::duration<double>(seconds);
  while (Clock::now() < end) {
    stopIfInterrupted();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

std::string identityText(const ZelSensor::DeviceModelInfo& identity) {
  return fmt::format("model {}, serial number {}, calibrated {:02}-{:02}-{:02}", identity.model,
                     identity.id, identity.year, identity.month, identity.date);
}

std::string statusText(const zel_ft_info& status) {
  return fmt::format("{} {}", static_cast<int>(status.code), status.code_info);
}

std::string remedyOf(int status) {
  zel_ftc_code_info info;
  return zel_ftc_explainCode(ZEL_CODES_SENSOR, status, &info) == 1 ? info.remedy : "";
}

Json jsonOf(const ZelSensor::DeviceModelInfo& identity) {
  return {{"model", identity.model},
          {"range_number", identity.range},
          {"serial_number", identity.id},
          {"calibrated",
           fmt::format("{:02}-{:02}-{:02}", identity.year, identity.month, identity.date)}};
}

Json jsonOf(const Reading& reading) {
  return {{"value", reading.value},
          {"counter", static_cast<int>(reading.status.IPOC)},
          {"status", static_cast<int>(reading.status.code)},
          {"status_text", reading.status.code_info}};
}

Json jsonOf(const zel_ftc_link_health& health) {
  return {{"rate", health.rate},
          {"longest_gap", health.longest_gap},
          {"age", health.age},
          {"datagrams", health.datagrams},
          {"bytes", health.bytes},
          {"good_frames", health.good_frames},
          {"foreign_datagrams", health.foreign_datagrams},
          {"dropped_datagrams", health.dropped_datagrams},
          {"cut_datagrams", health.cut_datagrams},
          {"wrong_checksums", health.wrong_checksums},
          {"skipped_bytes", health.skipped_bytes},
          {"frames_beyond_range", health.frames_beyond_range},
          {"bad_status_frames", health.bad_status_frames},
          {"last_bad_status", health.last_bad_status},
          {"exchanges", health.exchanges},
          {"failed_exchanges", health.failed_exchanges}};
}

}  // namespace zel::cli
