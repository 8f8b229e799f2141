// alarm: the sensor's own alarm output.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "tools/zelftc/settings.h"
#include "tools/zelftc/subcommands.h"

namespace zel::cli {
namespace {

struct Options {
  SettingsOptions settings;
  std::vector<double> threshold;
  std::string enable, contact;
  bool clear = false, raise = false, axes = false;
};

std::vector<Step> stepsOf(const Options& options) {
  std::vector<Step> steps;
  if (!options.threshold.empty()) {
    steps.push_back({fmt::format("thresholds {} (N, N m)", fmt::join(options.threshold, " ")),
                     [values = options.threshold](SensorEtherNet_UDP& device) mutable {
                       return device.setFTSensorAlarmThresholdValue(values.data());
                     }});
  }
  if (!options.contact.empty()) {
    steps.push_back({fmt::format("contact normally {}", options.contact),
                     [open = options.contact == "open"](SensorEtherNet_UDP& device) {
                       return device.setFTSensorAlarmNormalOpen(open);
                     }});
  }
  if (!options.enable.empty()) {
    steps.push_back({fmt::format("alarm {}", options.enable),
                     [on = options.enable == "on"](SensorEtherNet_UDP& device) {
                       return device.setFTSensorAlarm(on);
                     }});
  }
  if (options.raise) {
    steps.push_back({"raise the alarm now: whatever hangs on the contact reacts",
                     [](auto& device) { return device.setFTSensorAlarmSignal(); }});
  }
  if (options.clear) {
    steps.push_back({"clear the alarm: the contact goes back",
                     [](auto& device) { return device.clearFTSensorAlarmSignal(); }});
  }
  return steps;
}

/// Which axes have raised the alarm: asked, nothing changed.
Exit showAxes(const Options& options) {
  const Sensor sensor(options.settings.sensor);
  std::array<std::uint8_t, 6> raised = {};
  if (!sensor.device().getFTSensorAlarmAxis(raised.data())) {
    throw std::runtime_error(
        "the sensor did not say which axis raised the alarm: try again, \"zelftc probe\" tells how "
        "the link does");
  }
  std::vector<std::string> names;
  for (int i = 0; i < 6; ++i) {
    if (raised[i] != 0) names.emplace_back(axisNames[i]);
  }
  if (options.settings.json) {
    print(Json{{"raised_by", names}});
  } else {
    fmt::print("alarm raised by: {}\n",
               names.empty() ? "no axis" : fmt::format("{}", fmt::join(names, " ")));
  }
  return names.empty() ? done : notAsWanted;
}

}  // namespace

Body addAlarm(CLI::App& app) {
  app.description(
      "Sets up the sensor's alarm output, raises or clears the alarm, or asks which axis raised it "
      "(--axes, exit code 1 when one did). No safety function.");
  addExample(app, "--threshold 100,100,200,5,5,5 --enable on");
  const auto options = std::make_shared<Options>();
  app.add_option("--threshold", options->threshold, "of each axis, N and N m")
      ->expected(6)
      ->delimiter(',')
      ->type_name("FX,FY,FZ,MX,MY,MZ")
      ->check(positive());
  addSwitch(app, "--enable", options->enable, "whether an axis beyond its threshold raises it");
  app.add_option("--contact", options->contact, "of the output, when there is no alarm")
      ->check(CLI::IsMember({"open", "closed"}))
      ->type_name("open|closed");
  auto* const raise = app.add_flag("--raise", options->raise, "raise it now, as a test");
  app.add_flag("--clear", options->clear, "clear it")->excludes(raise);
  app.add_flag("--axes", options->axes, "ask which axis raised it, and change nothing");
  addSettingsOptions(app, options->settings);
  return [options] {
    const std::vector<Step> steps = stepsOf(*options);
    if (options->axes && (!steps.empty() || options->settings.save)) {
      throw std::runtime_error("--axes changes nothing: leave the other options out");
    }
    return options->axes ? showAxes(*options) : apply(options->settings, steps, {});
  };
}

}  // namespace zel::cli
