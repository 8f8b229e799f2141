// zelftc: sensor, configuration and recordings from the command line.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <stdexcept>
#include <string>

#include "tools/simulate.h"
#include "tools/zelftc/subcommands.h"

namespace {

namespace cli = zel::cli;

constexpr struct Subcommand {
  const char* name;
  const char* what;
  cli::Body (*add)(CLI::App& app);
} subcommands[] = {
    {"probe", "who a sensor is and how its link does", cli::addProbe},
    {"watch", "six axes live in the terminal; record every frame", cli::addWatch},
    {"zero", "make the present load the sensor's zero", cli::addZero},
    {"filter", "set the filters inside the sensor", cli::addFilter},
    {"net", "set address, mask, gateway and port of the sensor", cli::addNet},
    {"alarm", "set up, raise, clear or ask for the sensor's alarm", cli::addAlarm},
    {"identify", "identify the load, and judge the answer", cli::addIdentify},
    {"check", "check a settings file before anything moves", cli::addCheck},
    {"codes", "explain the numbers that the library gives", cli::addCodes},
    {"plot", "draw the pictures of a recording", cli::addPlot},
    {"simulate", "be a sensor without hardware, on 127.0.0.1", cli::addSimulator},
    {"demo", "a simulated robot works a shift", cli::addDemo},
};

}  // namespace

int main(int argc, char** argv) try {
  const auto* const chosen =
      std::find_if(std::begin(subcommands), std::end(subcommands),
                   [&](const Subcommand& s) { return argc > 1 && s.name == std::string(argv[1]); });
  if (chosen != std::end(subcommands)) {
    return cli::run(std::string("zelftc ") + chosen->name, chosen->add, argc - 1, argv + 1);
  }

  CLI::App app(
      "Force/torque sensor, load, configuration and recordings from the command line. "
      "\"zelftc SUBCOMMAND --help\" tells more, with an example.",
      "zelftc");
  app.set_version_flag("--version", "zelftc " ZEL_FTC_VERSION);
  for (const Subcommand& subcommand : subcommands) {
    app.add_subcommand(subcommand.name, subcommand.what);
  }
  return cli::run(app, argc, argv, []() -> cli::Exit {
    throw std::runtime_error("name a subcommand; \"zelftc --help\" lists them");
  });
} catch (const std::exception& error) {  // before there is an app that could tell
  std::fprintf(stderr, "%s\n", error.what());
  return zel::cli::notPossible;
}
