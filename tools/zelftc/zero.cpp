// zero: the present load becomes the sensor's zero.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <memory>

#include "tools/zelftc/settings.h"
#include "tools/zelftc/subcommands.h"

namespace zel::cli {

Body addZero(CLI::App& app) {
  app.description(
      "Makes the present load the zero of the sensor itself. The zero reference of a controller "
      "(zel_ftc_sensorReset) has to be taken again afterwards.");
  addExample(app, "--address 192.168.0.100 --save");
  const auto options = std::make_shared<SettingsOptions>();
  addSettingsOptions(app, *options);
  return [options] {
    const auto show = [&](const Sensor& sensor) {
      Sensor::wait(0.1);
      if (!options->json) fmt::print("reading {:.3f}\n", fmt::join(sensor.read().value, " "));
    };
    return apply(
        *options,
        {{"zero: the present load reads as 0", [](auto&) { return zel_ftc_zeroFTSensor() == 1; }}},
        {"The zero that it had is lost."}, show);
  };
}

}  // namespace zel::cli
