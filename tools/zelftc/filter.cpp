// filter: the filters inside the sensor.
#include <fmt/format.h>
#include <fmt/ranges.h>

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
  std::optional<int> low_pass, median, smooth;
  std::string fir, iir, kalman;
  std::vector<unsigned> kalman_first, kalman_second;
};

KalmanFilterPara parametersOf(const std::vector<unsigned>& values) {
  if (values.empty()) return {};
  return {static_cast<std::uint8_t>(values[0]), static_cast<std::int32_t>(values[1]), values[2]};
}

std::vector<Step> stepsOf(const Options& options) {
  std::vector<Step> steps;
  const auto add = [&](bool given, std::string what,
                       std::function<bool(SensorEtherNet_UDP&)> send) {
    if (given) steps.push_back({std::move(what), std::move(send)});
  };
  const auto number = [&](const char* what, const std::optional<int>& value, auto send) {
    add(value.has_value(), fmt::format("{} {}", what, value.value_or(0)),
        [value, send](SensorEtherNet_UDP& device) { return send(device, *value); });
  };
  const auto onOff = [&](const char* what, const std::string& value,
                         bool (SensorEtherNet_UDP::*send)(bool)) {
    add(!value.empty(), fmt::format("{} {}", what, value),
        [on = value == "on", send](SensorEtherNet_UDP& device) { return (device.*send)(on); });
  };
  number("low-pass filter", options.low_pass,
         [](auto&, int value) { return zel_ftc_lowPassFilterFTSensor(value) == 1; });
  number("median filter", options.median,
         [](auto&, int value) { return zel_ftc_medianFilterDepthFTSensor(value) == 1; });
  number("smoothing mean", options.smooth, [](auto& device, int value) {
    return device.setFTSensorSmoothAverFilter(static_cast<std::uint8_t>(value));
  });
  onOff("FIR filter", options.fir, &SensorEtherNet_UDP::setFTSensorFIRFilter);
  onOff("IIR filter", options.iir, &SensorEtherNet_UDP::setFTSensorIIRFilter);
  std::string kalman = "Kalman filter " + options.kalman;
  const auto addParameters = [&kalman](const char* which, const std::vector<unsigned>& values) {
    if (!values.empty()) kalman += fmt::format(", {} parameters {}", which, fmt::join(values, " "));
  };
  addParameters("first", options.kalman_first);
  addParameters("second", options.kalman_second);
  add(!options.kalman.empty(), kalman,
      [on = options.kalman == "on", first = parametersOf(options.kalman_first),
       second = parametersOf(options.kalman_second)](SensorEtherNet_UDP& device) {
        return device.setFTSensorKalmanFilter(on, first, second);
      });
  return steps;
}

}  // namespace

Body addFilter(CLI::App& app) {
  app.description(
      "Sets the filters inside the sensor. They smooth and they delay: a delay lowers the gain "
      "that a controller can use. The sensor does not tell its present settings.");
  addExample(app, "--low-pass 3 --median 0 --iir off");
  const auto options = std::make_shared<Options>();
  const auto number = [&](const char* name, std::optional<int>& value, const char* what) {
    app.add_option(name, value, what)->check(CLI::Range(0, 255));
  };
  number("--low-pass", options->low_pass, "setting of the low-pass filter, 0..255");
  number("--median", options->median, "depth of the median filter, 0..255");
  number("--smooth", options->smooth, "depth of the moving mean, 0..255");
  addSwitch(app, "--fir", options->fir, "FIR filter");
  addSwitch(app, "--iir", options->iir, "IIR filter");
  addSwitch(app, "--kalman", options->kalman, "Kalman filter");
  auto* const kalman = app.get_option("--kalman");
  const auto parameters = [&](const char* name, std::vector<unsigned>& values) {
    app.add_option(name, values, "its parameters: gain 0..255, threshold, number of checks")
        ->expected(3)
        ->delimiter(',')
        ->type_name("K,THRESHOLD,CHECKS")
        ->check(within(0, 2147483647).description(""))
        ->needs(kalman);
  };
  parameters("--kalman-first", options->kalman_first);
  parameters("--kalman-second", options->kalman_second);
  addSettingsOptions(app, options->settings);
  return [options] {
    for (const auto* values : {&options->kalman_first, &options->kalman_second}) {
      if (options->kalman == "on" && values->empty()) {
        throw std::runtime_error("--kalman on needs --kalman-first and --kalman-second");
      }
      if (!values->empty() && values->front() > 255) {
        throw std::runtime_error("the gain of a Kalman filter is a number from 0 to 255");
      }
    }
    return apply(options->settings, stepsOf(*options), {});
  };
}

}  // namespace zel::cli
