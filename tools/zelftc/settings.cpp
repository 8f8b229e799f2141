#include "tools/zelftc/settings.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <stdexcept>

#include "tool/plaintext.h"

namespace zel::cli {
namespace {

bool answerIsYes() {
  fmt::print(stderr, "Send this? [y/N] ");
  std::string answer;
  std::getline(std::cin, answer);
  stopIfInterrupted();
  return answer == "y" || answer == "Y" || answer == "yes";
}

void send(const Sensor& sensor, const Step& step, const std::vector<std::string>& sent) {
  if (step.send(sensor.device())) return;
  zel_ft_info status;
  sensor.device().getInfo(status);
  throw std::runtime_error(
      fmt::format("the sensor did not take \"{}\" (status {}): {}; sent before it: {}", step.what,
                  statusText(status), remedyOf(status.code),
                  sent.empty() ? "nothing" : fmt::format("{}", fmt::join(sent, ", "))));
}

}  // namespace

void addSettingsOptions(CLI::App& app, SettingsOptions& options) {
  addSensorOptions(app, options.sensor);
  app.add_flag("--save", options.save,
               "the sensor keeps all its present settings over a power cut");
  app.add_flag("-y,--yes", options.yes, "send without asking back, for scripts");
  addJsonFlag(app, options.json);
}

void addSwitch(CLI::App& app, const std::string& name, std::string& value,
               const std::string& what) {
  app.add_option(name, value, what)->check(CLI::IsMember({"on", "off"}))->type_name("on|off");
}

Exit apply(const SettingsOptions& options, std::vector<Step> steps,
           const std::vector<std::string>& warnings,
           const std::function<void(const Sensor&)>& then) {
  if (steps.empty() && !options.save) {
    throw std::runtime_error("nothing to send: say what to set, --help lists it");
  }
  if (!options.yes && isatty(STDIN_FILENO) != 1) {
    throw std::runtime_error(
        "nothing sent: there is no terminal to ask back on; --yes sends without asking");
  }
  if (options.save) {
    steps.push_back({"save: the present settings become permanent",
                     [](auto& device) { return device.saveFTSensorUserSetting(); }});
  }

  const Sensor sensor(options.sensor);
  std::FILE* const out = options.json ? stderr : stdout;
  fmt::print(out, "to {}:{}, {}:\n", options.sensor.address, options.sensor.port,
             identityText(sensor.device().dev_info));
  for (const Step& step : steps) fmt::print(out, "  {}\n", wrapped(step.what, 2));
  for (const std::string& warning : warnings) fmt::print(out, "{}\n", wrapped(warning, 0));
  std::fflush(out);
  if (!options.yes && !answerIsYes()) {
    fmt::print(out, "nothing sent\n");
    return notAsWanted;
  }

  std::vector<std::string> sent;
  for (const Step& step : steps) {
    stopIfInterrupted();
    send(sensor, step, sent);
    sent.push_back(step.what);
  }
  if (options.json) {
    print(Json{{"sent", sent}, {"saved", options.save}});
  } else {
    fmt::print("done{}\n",
               options.save ? ", saved" : "; gone at the next power cut (--save keeps it)");
  }
  then(sensor);
  return done;
}

}  // namespace zel::cli
