// net: where the sensor is on the network.
#include <fmt/format.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/zelftc/settings.h"
#include "tools/zelftc/subcommands.h"

namespace zel::cli {
namespace {

struct Options {
  SettingsOptions settings;
  std::string ip, mask, gateway;
  std::optional<unsigned short> port;
};

/// The address comes last: the others still have to reach the sensor.
std::vector<Step> stepsOf(const Options& options) {
  std::vector<Step> steps;
  const auto address = [&](const char* what, const std::string& text,
                           bool (SensorEtherNet_UDP::*send)(const char*)) {
    if (text.empty()) return;
    steps.push_back({fmt::format("{} {}", what, text), [text, send](SensorEtherNet_UDP& device) {
                       return (device.*send)(text.c_str());
                     }});
  };
  address("mask", options.mask, &SensorEtherNet_UDP::setFTSensorNetMask);
  address("gateway", options.gateway, &SensorEtherNet_UDP::setFTSensorNetGateway);
  if (options.port) {
    steps.push_back(
        {fmt::format("port {}", *options.port), [port = *options.port](SensorEtherNet_UDP& device) {
           return device.setFTSensorNetPortNumber(port);
         }});
  }
  address("address", options.ip, &SensorEtherNet_UDP::setFTSensorNetIP);
  return steps;
}

std::vector<std::string> warningsOf(const Options& options) {
  std::vector<std::string> warnings;
  if (!options.ip.empty() || options.port) {
    warnings = {
        "This cuts the connection. At once or after its next start, the sensor is reached with",
        fmt::format("--address {} --port {}",
                    options.ip.empty() ? options.settings.sensor.address : options.ip,
                    options.port.value_or(options.settings.sensor.port)),
        "Note it down: a sensor whose address nobody knows is lost to this command."};
  }
  return warnings;
}

}  // namespace

Body addNet(CLI::App& app) {
  app.description("Sets address, mask, gateway and port of the sensor.");
  addExample(app, "--address 192.168.0.100 --ip 192.168.1.20 --save");
  const auto options = std::make_shared<Options>();
  app.add_option("--ip", options->ip, "the sensor's new address")
      ->check(dotted("the address of one device", [](std::uint32_t address) {
        const std::uint32_t first = address >> 24;  // 0: no address; from 224 on: of many devices
        return first > 0 && first < 224;
      }));
  app.add_option("--mask", options->mask, "its network mask")
      ->check(dotted("a network mask: ones, then zeros", [](std::uint32_t mask) {
        const std::uint32_t zeros = ~mask;
        return mask != 0 && (zeros & (zeros + 1)) == 0;
      }));
  app.add_option("--gateway", options->gateway, "its gateway")->check(dotted());
  app.add_option("--new-port", options->port, "its new UDP port")->check(CLI::Range(1, 65535));
  addSettingsOptions(app, options->settings);
  return [options] { return apply(options->settings, stepsOf(*options), warningsOf(*options)); };
}

}  // namespace zel::cli
