#include "examples/settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "tool/plaintext.h"
#include "tools/command_line.h"
#include "zel_ftc_diag.h"

namespace example {
namespace {

namespace cli = zel::cli;

const std::map<std::string, ZelRcs> frames = {
    {"WORLD", RCS_WORLD}, {"BASE", RCS_BASE}, {"TOOL", RCS_TOOL}, {"SENSOR", RCS_SENSOR}};
const std::map<std::string, ZelDirection> directions = {
    {"FX", FT_FX}, {"FY", FT_FY}, {"FZ", FT_FZ}, {"MX", FT_MX}, {"MY", FT_MY}, {"MZ", FT_MZ}};
constexpr struct {
  std::string_view name, unit, what;
} guardLimits[] = {
#define EXAMPLE_GUARD_LIMIT(name, unit, what) {#name, unit, what},
    ZEL_GUARD_LIMITS(EXAMPLE_GUARD_LIMIT)
#undef EXAMPLE_GUARD_LIMIT
};

/// "--guard-sample-age" for ZEL_LIMIT_SAMPLE_AGE.
std::string guardOption(std::string_view limit) {
  std::string option = "--guard";
  for (const char c : limit.substr(std::string_view("ZEL_LIMIT").size())) {
    option += c == '_' ? '-' : static_cast<char>(std::tolower(c));
  }
  return option;
}

void addOptions(CLI::App& app, TrackingMode& mode) {
  const auto add = [&app](const char* name, auto& value, const char* what) {
    app.add_option(name, value, what)->check(cli::finite());
  };
  app.add_option("--path-frame", mode.frame, "WORLD, BASE, TOOL or SENSOR")
      ->transform(CLI::CheckedTransformer(frames, CLI::ignore_case).description(""));
  add("--path-force", mode.force, "Expected force of each axis, N and N m");
  add("--path-gains", mode.gains, "Six gains, mm/s per N");
  add("--path-break-range", mode.breakRange, "Six signed limits of F + E; 0 = not monitored");
  add("--path-speed", mode.speed, "mm/s");
}

void addOptions(CLI::App& app, zel_ftc_plan& plan) {
  const std::map<std::string, ZelRunKind> runs = {{"approach", ZEL_APPROACH_RUN},
                                                  {"assembly", ZEL_ASSEMBLY_RUN},
                                                  {"line", ZEL_LINE_RUN},
                                                  {"arc", ZEL_ARC_RUN}};
  app.add_option("--run", plan.run, "approach, assembly, line or arc")
      ->transform(CLI::CheckedTransformer(runs).description(""));
  app.add_option("--stiffness", plan.stiffness, "Of the contact, N/mm")->check(cli::positive());
  app.add_option("--delay", plan.delay, "Of robot and sensor together, ms")
      ->check(cli::notNegative());
  app.add_option("--travel", plan.travel, "Of an approach until it touches, mm")
      ->check(cli::notNegative());
  const auto pose = [&app](const char* name, double(&value)[6], const char* what) {
    app.add_option_function<std::vector<double>>(
           name, [&value](const std::vector<double>& v) { std::copy(v.begin(), v.end(), value); },
           what)
        ->expected(6)
        ->check(cli::finite());
  };
  pose("--start", plan.start, "Start pose of the run, mm and rad");
  pose("--via", plan.via, "Of an arc");
  pose("--end", plan.end, "Of a line or an arc");
}

/// Everything that a settings file may say.
void addOptions(CLI::App& app, Settings& settings) {
  addOptions(app, settings.setup);
  addOptions(app, settings.approach);
  addOptions(app, settings.tracking);
  addOptions(app, settings.plan);
  app.allow_config_extras(CLI::config_extras_mode::error);
}

}  // namespace

std::string lastRefusal() {
  const zel_ftc_reason* const last = nullptr;
  const std::string what = zel::composed(zel_ftc_reasonText, last);
  const std::string remedy = zel::composed(zel_ftc_reasonRemedy, last);
  return remedy.empty() ? what : fmt::format("{}: {}", what, remedy);
}

void require(int result) {
  if (result != 1) throw std::runtime_error(lastRefusal());
}

void configure(const Setup& setup) {
  // The period first: it scales the gains of the modes.
  require(zel_ftc_setTimeStep(setup.period));
  configureSensor(setup);
  configureLoad(setup);
  configureBox(setup);
  configureMonitoring(setup);
  configureCorrection(setup);
  configureDeadBand(setup);
  configureMinimumPath(setup);
  configureGuard(setup);
}

// The flat interface takes pointers to plain arrays: each call works on a copy.

void configureSensor(const Setup& setup) {
  Setup s = setup;
  require(
      zel_ftc_setSensorConfig(s.sensorRating.data(), s.flange_sensor.data(), s.sensor_tool.data()));
}

void configureLoad(const Setup& setup) {
  const auto& [x, y, z] = setup.load.centre;
  require(zel_ftc_setLoadData(setup.load.weight, x, y, z));
}

void configureBox(const Setup& setup) {
  const double box = 1.1 * setup.maxPath;
  double up[3] = {box, box, box};
  double down[3] = {-box, -box, -box};
  std::copy(setup.boxMax.begin(), setup.boxMax.end(), up);
  std::copy(setup.boxMin.begin(), setup.boxMin.end(), down);
  require(zel_ftc_setCorrectionLimit(up, down, setup.maxAngle));
}

void configureMonitoring(const Setup& setup) {
  Wrench permissible = setup.permissible;
  require(zel_ftc_setMonitoringFunctions(permissible.data()));
}

void configureCorrection(const Setup& setup) {
  require(zel_ftc_setCorrectionMonitoring(setup.maxPath, setup.maxAngle));
}

void configureDeadBand(const Setup& setup) {
  require(zel_ftc_setSensorNoiseThreshold(setup.deadBandForce, setup.deadBandTorque));
}

void configureMinimumPath(const Setup& setup) {
  require(zel_set_minValue(setup.minimumPath, ZEL_MIN_PATH));
}

void configureGuard(const Setup& setup) {
  for (int i = 0; i < ZEL_GUARD_LIMIT_COUNT; ++i) {
    if (std::isnan(setup.guard[i])) continue;
    zel_ftc_setGuardLimit(static_cast<ZelGuardLimit>(i), setup.guard[i], ZEL_GUARD_HOLD);
  }
}

void configureApproach(const ApproachMode& mode) {
  ApproachMode m = mode;
  fmt::print("mode, as the library prints it: ");
  require(zel_ftc_configApproachMode(m.frame, m.direction, m.force, m.gains.data(), m.speed,
                                     m.switchingForce, m.switchingTorque, m.breakRange.data(),
                                     m.timeOut));
}

void addOptions(CLI::App& app, ApproachMode& mode) {
  app.add_option("--frame", mode.frame, "WORLD, BASE, TOOL or SENSOR")
      ->transform(CLI::CheckedTransformer(frames, CLI::ignore_case).description(""));
  app.add_option("--direction", mode.direction, "FX, FY, FZ, MX, MY or MZ")
      ->transform(CLI::CheckedTransformer(directions, CLI::ignore_case).description(""));
  const auto add = [&app](const char* name, auto& value, const char* what) {
    app.add_option(name, value, what)->check(cli::finite());
  };
  add("--force", mode.force, "Expected force E, N or N m; held is -E");
  add("--gains", mode.gains, "Six gains, mm/s per N");
  add("--speed", mode.speed, "Approach speed, mm/s");
  add("--switching-force", mode.switchingForce, "Contact, N");
  add("--switching-torque", mode.switchingTorque, "Contact, N m");
  add("--break-range", mode.breakRange, "Six ranges of |E + F|; 0 = not monitored");
  app.add_option("--time-out", mode.timeOut, "ms of wall clock")->check(cli::notNegative());
}

void addOptions(CLI::App& app, Setup& setup) {
  const auto add = [&app](const char* name, auto& value, const char* what) {
    return app.add_option(name, value, what)->check(cli::finite());
  };
  add("--period", setup.period, "Control period, ms")->check(cli::within(4, 100));
  add("--load", setup.load.weight, "Weight of the load, N");
  add("--load-centre", setup.load.centre, "Its centre of mass, sensor frame, mm");
  add("--flange-sensor", setup.flange_sensor, "Pose of the sensor on the flange");
  add("--sensor-tool", setup.sensor_tool, "Pose of the tool on the sensor");
  add("--sensor-rating", setup.sensorRating, "Six limits of the raw reading");
  add("--permissible", setup.permissible, "Six limits of the compensated wrench");
  add("--max-path", setup.maxPath, "Limit of the total correction, mm");
  add("--max-angle", setup.maxAngle, "Limit of the total correction, rad");
  add("--box-max", setup.boxMax, "Upper bounds of an approach from its start, mm")->expected(3);
  add("--box-min", setup.boxMin, "Lower bounds")->expected(3);
  add("--dead-band-force", setup.deadBandForce, "Smaller forces count as 0, N");
  add("--dead-band-torque", setup.deadBandTorque, "Smaller torques count as 0, N m");
  add("--minimum-path", setup.minimumPath, "Before a contact may end a run, mm");
  for (int i = 0; i < ZEL_GUARD_LIMIT_COUNT; ++i) {
    const auto& [name, unit, what] = guardLimits[i];
    app.add_option(
           guardOption(name), setup.guard[i],
           fmt::format("The guard holds beyond: {}{}{}", what, unit.empty() ? "" : ", ", unit))
        ->default_str("off")
        ->check(cli::notNegative())
        ->group("Guard");
  }
}

void configureTracking(const TrackingMode& mode) {
  TrackingMode m = mode;
  require(zel_ftc_configTrackingMotionMode(m.frame, m.direction, m.force.data(), m.gains.data(),
                                           m.breakRange.data(), m.speed));
}

void configureAssembly(const ApproachMode& mode) {
  configureApproach(mode);
  ApproachMode m = mode;
  require(zel_ftc_configAssemblyMode(m.frame, m.direction, m.force, m.gains.data(), m.speed,
                                     m.switchingForce, m.switchingTorque, m.breakRange.data(),
                                     m.timeOut, 0.0, 0.0, 0.0));
}

zel_ftc_plan Settings::unknownPlan() {
  zel_ftc_plan plan;
  zel_ftc_emptyPlan(&plan);
  return plan;
}

SettingsFile::SettingsFile(const std::string& path) : path_(path) {
  constexpr std::size_t largest = 1 << 20;
  const auto refuse = [&](const char* why) {
    throw std::runtime_error(fmt::format("{}: {}", path, why));
  };
  std::ifstream file(path, std::ios::binary);
  text_.resize(largest + 1);
  file.read(text_.data(), static_cast<std::streamsize>(text_.size()));
  text_.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
  if (text_.empty()) refuse("cannot be read, or is empty");
  if (text_.size() > largest) refuse("is no settings file, more than 1 MB");
  if (text_.find('\0') != std::string::npos) refuse("is no text in ASCII or UTF-8");
  over({});  // says what is wrong
  std::istringstream stream(text_);
  for (const CLI::ConfigItem& item : CLI::ConfigTOML().from_config(stream)) {
    names_.insert(item.fullname());
  }
  if (names_.empty()) refuse("sets nothing");
}

Settings SettingsFile::over(Settings defaults) const {
  CLI::App app;
  addOptions(app, defaults);
  std::istringstream stream(text_);
  try {
    app.parse_from_stream(stream);
  } catch (const CLI::ConfigError& error) {
    const std::string what = error.what();
    if (what.ends_with(".++")) throw std::runtime_error(path_ + ": sections are not used");
    throw std::runtime_error(
        fmt::format("{}: there is no setting \"{}\"", path_, what.substr(what.rfind(' ') + 1)));
  } catch (const CLI::ParseError& error) {
    throw std::runtime_error(fmt::format("{}: {}", path_, error.what()));
  }
  return defaults;
}

std::vector<std::string> SettingsFile::missing(std::vector<std::string> names) const {
  names.erase(std::remove_if(names.begin(), names.end(),
                             [this](const std::string& name) { return names_.count(name) > 0; }),
              names.end());
  return names;
}

void addSettingsOption(CLI::App& app, std::function<void(const SettingsFile&)> take) {
  app.add_option_function<std::string>(
         "--config",
         [take = std::move(take)](const std::string& path) {
           try {
             take(SettingsFile(path));
           } catch (const std::runtime_error& error) {
             throw CLI::ValidationError("--config", error.what());
           }
         },
         "Settings of the library from a file, see examples/settings.toml")
      ->type_name("FILE");
}

}  // namespace example
