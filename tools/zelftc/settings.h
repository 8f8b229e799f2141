// What the subcommands that change a sensor share: say what will be sent, ask back, send, save.
#ifndef ZEL_FTC_TOOLS_ZELFTC_SETTINGS_H
#define ZEL_FTC_TOOLS_ZELFTC_SETTINGS_H

#include <functional>
#include <string>
#include <vector>

#include "tools/command_line.h"
#include "tools/zelftc/sensor.h"

namespace zel::cli {

struct SettingsOptions {
  SensorOptions sensor;
  bool yes = false;
  bool save = false;
  bool json = false;
};
/// Sensor, --yes, --save, --json.
void addSettingsOptions(CLI::App& app, SettingsOptions& options);

/// One command to the sensor.
struct Step {
  std::string what;
  std::function<bool(SensorEtherNet_UDP&)> send;
};

/// Shows sensor, steps and warnings, asks back, sends the steps in order and saves when asked for.
/// Throws, nothing sent, without steps, or without --yes where there is no terminal; and when the
/// sensor refuses a step, which is named together with those that came before it.
/// notAsWanted when the answer is no. `then` is called with the sensor at the end.
Exit apply(
    const SettingsOptions& options, std::vector<Step> steps,
    const std::vector<std::string>& warnings,
    const std::function<void(const Sensor&)>& then = [](const Sensor&) {});

/// An option that takes on or off; "" when it is not given.
void addSwitch(CLI::App& app, const std::string& name, std::string& value, const std::string& what);

}  // namespace zel::cli

#endif
