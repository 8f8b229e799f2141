#include "examples/common.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <stdexcept>
#include <thread>

namespace example {
namespace {

constexpr double pi = 3.14159265358979323846;

}  // namespace

void addOptions(CLI::App& app, Options& options) {
  const auto& positive = CLI::PositiveNumber;
  const auto& notNegative = CLI::NonNegativeNumber;
  app.option_defaults()->always_capture_default();
  app.add_option("--period", options.period, "Control period, ms")->check(CLI::Range(4.0, 100.0));
  app.add_option("--force", options.force, "Contact force, N")->check(positive);
  app.add_option("--gain", options.gain, "Gain, mm/s per N")->check(notNegative);
  app.add_option("--approach-speed", options.approachSpeed, "mm/s")->check(notNegative);
  app.add_option("--path-speed", options.pathSpeed, "mm/s")->check(positive);
  app.add_option("--distance", options.distance, "Of the surface below the tip, mm")
      ->check(CLI::Range(1.0, 1000.0));
  app.add_option("--tilt", options.tilt, "Inclination of the surface along x, degrees")
      ->check(CLI::Range(-45.0, 45.0));
  app.add_option("--radius", options.radius,
                 "Radius of a curved surface, mm; 0 flat, negative hollow");
  app.add_option("--stiffness", options.stiffness, "Of the surface, N/mm")->check(positive);
  app.add_option("--friction", options.friction, "Coulomb coefficient")->check(notNegative);
  app.add_option("--lag", options.lag, "Time constant of the robot, s")->check(notNegative);
  app.add_option("--noise", options.noise, "Standard deviation of the forces, N")
      ->check(notNegative);
  app.add_option("--seed", options.seed, "Of the noise");
  app.add_flag("--realtime", options.realtime, "One period of simulation takes one period of time");
  app.add_option("--out", options.out, "Folder of CSV and pictures")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  requireFinite(app);
}

void requireFinite(CLI::App& app) {
  // The range checks of the parser let not-a-number through.
  const CLI::Validator finite(
      [](const std::string& text) {
        return std::isfinite(std::strtod(text.c_str(), nullptr)) ? "" : text + " is not finite";
      },
      "");
  for (CLI::Option* option : app.get_options()) {
    if (option->get_type_name().find("FLOAT") != std::string::npos) option->check(finite);
  }
}

int runMain(CLI::App& app, int argc, char** argv, const std::function<int()>& example) {
  try {
    app.parse(argc, argv);
    return example();
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  } catch (const std::exception& error) {
    std::fflush(stdout);
    fmt::print(stderr, "{}: {}\n", argv[0], error.what());
    return 2;
  }
}

zel::sim::CellConfig demoCell(const Options& options) {
  zel::sim::CellConfig cell;
  cell.start = {400, 0, 300, 0, 0, pi};  // turned over: the tool's z axis points down
  cell.lag = options.lag;
  cell.flange_sensor = {0, 0, 30, 0, 0, 0};
  cell.sensor_tool = {0, 0, 120, 0, 0, 0};
  cell.load = {12.0, {2.0, -3.0, 45.0}};
  cell.offset = {3.1, -5.2, 12.3, 0.11, -0.23, 0.05};
  cell.force_noise = options.noise;
  cell.torque_noise = options.noise / 30.0;
  cell.seed = options.seed;
  cell.surface.pose = {400, 0, 150 - options.distance, 0, options.tilt * pi / 180.0, 0};
  cell.surface.radius = options.radius;
  cell.surface.stiffness = options.stiffness;
  cell.surface.damping = 0.002 * options.stiffness;
  cell.surface.friction = options.friction;
  return cell;
}

CellLink::CellLink(zel::sim::Cell& cell, const Options& options)
    : cell_(cell),
      period_(0.001 * options.period),
      realtime_(options.realtime),
      next_(std::chrono::steady_clock::now()),
      set_(cell.flange()) {}

bool CellLink::feed() {
  Wrench reading = read();
  return zel_ftc_obtainFTSensorData(reading.data()) == 1;
}

void CellLink::follow(const Pose& pose) {
  set_ = pose;
  cell_.command(pose);
  cell_.advance(period_.count());
  if (!realtime_) return;
  next_ += std::chrono::duration_cast<std::chrono::steady_clock::duration>(period_);
  std::this_thread::sleep_until(next_);
}

void require(int result, const char* call) {
  if (result != 1) throw std::runtime_error(fmt::format("{} returned {}", call, result));
}

Library::Library() {
  require(zel_ftc_open(true), "zel_ftc_open");
  require(zel_ftc_initialFTSensor(0, nullptr), "zel_ftc_initialFTSensor");
}

Library::Library(unsigned short sensorPort) {
  require(zel_ftc_open(false), "zel_ftc_open");
  const int result = zel_ftc_initialFTSensor(sensorPort, "127.0.0.1");
  if (result != 1) zel_ftc_close();
  require(result, "zel_ftc_initialFTSensor");
}

Library::~Library() {
  zel_ftc_close();
}

Setup setupOf(const zel::sim::CellConfig& cell, const Options& options) {
  Setup setup;
  setup.period = options.period;
  setup.flange_sensor = cell.flange_sensor;
  setup.sensor_tool = cell.sensor_tool;
  setup.load = cell.load;
  return setup;
}

void configure(const Setup& setup) {
  Setup s = setup;  // the flat interface takes pointers to plain arrays
  const auto& [x, y, z] = s.load.centre;
  // The box holds the robot back without a message, the limit of the total correction stops the
  // run: keep the box outside of it.
  const double box = 1.1 * s.maxPath;
  double up[3] = {box, box, box};
  double down[3] = {-box, -box, -box};

  // The period first: it scales the gains of the modes.
  require(zel_ftc_setTimeStep(s.period), "zel_ftc_setTimeStep");
  require(
      zel_ftc_setSensorConfig(s.sensorRating.data(), s.flange_sensor.data(), s.sensor_tool.data()),
      "zel_ftc_setSensorConfig");
  require(zel_ftc_setLoadData(s.load.weight, x, y, z), "zel_ftc_setLoadData");
  require(zel_ftc_setCorrectionLimit(up, down, s.maxAngle), "zel_ftc_setCorrectionLimit");
  require(zel_ftc_setMonitoringFunctions(s.permissible.data()), "zel_ftc_setMonitoringFunctions");
  require(zel_ftc_setCorrectionMonitoring(s.maxPath, s.maxAngle),
          "zel_ftc_setCorrectionMonitoring");
}

void zero(RobotLink& robot) {
  if (!robot.feed()) throw std::runtime_error("no reading to take the zero reference from");
  require(zel_ftc_sensorReset(robot.pose().data()), "zel_ftc_sensorReset");
}

int cycle(RobotLink& robot, const char* name, const Run& run, const CycleLimits& limits, Log& log) {
  const double period = 0.001 * limits.period;
  const auto longest = static_cast<std::size_t>(std::ceil(limits.longest / period));
  const auto every = static_cast<std::size_t>(std::ceil(limits.progress / period));
  zel_ftc_error error = {ZEL_RUN_RUNNING, 0, 0};
  for (std::size_t n = 0; n < longest && robot.feed(); ++n) {
    Cycle now = {
        name, static_cast<double>(log.size()) * period, robot.pose(), robot.actual(), {}, {}, 0};
    Pose corrected = now.pose;
    const int result = run(corrected.data(), now.pose.data(), &error);
    if (result == -1) throw std::runtime_error(fmt::format("{}: the library is not open", name));

    std::copy_n(zel_raw_ft, 6, now.raw.begin());
    zel_ftc_getRCS_FT_Data(now.control.data());
    now.code = error.ftc_code;
    log.push_back(now);
    if (n % every == 0 || result == 0) {
      fmt::print("{:>9} {:8.3f} s   z {:8.3f} mm   force {:7.2f} N   {}\n", name, now.time,
                 now.pose[2], 0.0 - now.control[limits.progressAxis], now.code);
    }
    if (result == 0) break;
    robot.follow(corrected);
  }
  return error.ftc_code;
}

ApproachMode approachMode(const Options& options) {
  ApproachMode mode;
  mode.force = options.force;
  mode.gains[mode.direction] = options.gain;
  mode.speed = options.approachSpeed;
  mode.switchingForce = 0.2 * options.force;
  mode.breakRange[mode.direction] = 0.02 * options.force;
  return mode;
}

void configureApproach(const ApproachMode& mode) {
  ApproachMode m = mode;
  require(zel_ftc_configApproachMode(m.frame, m.direction, m.force, m.gains.data(), m.speed,
                                     m.switchingForce, m.switchingTorque, m.breakRange.data(),
                                     m.timeOut),
          "zel_ftc_configApproachMode");
}

int approach(RobotLink& robot, const ApproachMode& mode, CycleLimits limits, Log& log) {
  configureApproach(mode);
  limits.progressAxis = mode.direction;
  return cycle(robot, "approach", zel_ftc_runApproach, limits, log);
}

void addOptions(CLI::App& app, ApproachMode& mode) {
  const std::map<std::string, ZelRcs> frames = {
      {"WORLD", RCS_WORLD}, {"BASE", RCS_BASE}, {"TOOL", RCS_TOOL}, {"SENSOR", RCS_SENSOR}};
  const std::map<std::string, ZelDirection> directions = {
      {"FX", FT_FX}, {"FY", FT_FY}, {"FZ", FT_FZ}, {"MX", FT_MX}, {"MY", FT_MY}, {"MZ", FT_MZ}};
  app.add_option("--frame", mode.frame, "WORLD, BASE, TOOL or SENSOR")
      ->transform(CLI::CheckedTransformer(frames, CLI::ignore_case));
  app.add_option("--direction", mode.direction, "FX, FY, FZ, MX, MY or MZ")
      ->transform(CLI::CheckedTransformer(directions, CLI::ignore_case));
  app.add_option("--force", mode.force, "Expected force E, N or N m; held is -E");
  app.add_option("--gains", mode.gains, "Six gains, mm/s per N");
  app.add_option("--speed", mode.speed, "Approach speed, mm/s");
  app.add_option("--switching-force", mode.switchingForce, "Contact, N");
  app.add_option("--switching-torque", mode.switchingTorque, "Contact, N m");
  app.add_option("--break-range", mode.breakRange, "Six ranges of |E + F|; 0 = not monitored");
  app.add_option("--time-out", mode.timeOut, "ms of wall clock");
  requireFinite(app);
}

void addOptions(CLI::App& app, Setup& setup) {
  app.add_option("--period", setup.period, "Control period, ms")->check(CLI::Range(4.0, 100.0));
  app.add_option("--load", setup.load.weight, "Weight of the load, N");
  app.add_option("--load-centre", setup.load.centre, "Its centre of mass, sensor frame, mm");
  app.add_option("--flange-sensor", setup.flange_sensor, "Pose of the sensor on the flange");
  app.add_option("--sensor-tool", setup.sensor_tool, "Pose of the tool on the sensor");
  app.add_option("--sensor-rating", setup.sensorRating, "Six limits of the raw reading");
  app.add_option("--permissible", setup.permissible, "Six limits of the compensated wrench");
  app.add_option("--max-path", setup.maxPath, "Limit of the total correction, mm");
  app.add_option("--max-angle", setup.maxAngle, "Limit of the total correction, rad");
  requireFinite(app);
}

void configureTracking(const Options& options) {
  Wrench expected = {0, 0, options.force, 0, 0, 0};
  Wrench gains = {0, 0, options.gain, 0, 0, 0};
  // A jump to more than 15 N above the wanted force stops the run with 80010.
  Wrench breakRange = {0, 0, -15, 0, 0, 0};
  require(zel_ftc_configTrackingMotionMode(RCS_TOOL, FT_FZ, expected.data(), gains.data(),
                                           breakRange.data(), options.pathSpeed),
          "zel_ftc_configTrackingMotionMode");
}

int followLine(RobotLink& robot, Pose start, Pose end, const Options& options, Log& log) {
  configureTracking(options);
  const auto run = [&](double* out, double* now, zel_ftc_error* error) {
    return zel_ftc_runTrackingMotionL(out, start.data(), end.data(), now, error);
  };
  return cycle(robot, "line", run, {.period = options.period}, log);
}

int followArc(RobotLink& robot, Pose start, Pose via, Pose end, const Options& options, Log& log) {
  configureTracking(options);
  const auto run = [&](double* out, double* now, zel_ftc_error* error) {
    return zel_ftc_runTrackingMotionC(out, start.data(), via.data(), end.data(), now, error);
  };
  return cycle(robot, "arc", run, {.period = options.period}, log);
}

void configureAssembly(const ApproachMode& mode) {
  configureApproach(mode);
  ApproachMode m = mode;
  require(zel_ftc_configAssemblyMode(m.frame, m.direction, m.force, m.gains.data(), m.speed,
                                     m.switchingForce, m.switchingTorque, m.breakRange.data(),
                                     m.timeOut, 0.0, 0.0, 0.0),
          "zel_ftc_configAssemblyMode");
}

int hold(RobotLink& robot, double seconds, const Options& options, Log& log) {
  return cycle(robot, "hold", zel_ftc_runAssembly, {.period = options.period, .longest = seconds},
               log);
}

int pushHome(RobotLink& robot, double speed, const Options& options, Log& log) {
  const double step = 0.001 * options.period * speed;
  const auto run = [&](double* out, double* now, zel_ftc_error* error) {
    const int result = zel_ftc_runAssembly(out, now, error);
    const Pose pose = robot.pose();
    const auto [x, y, z] = zAxis(pose);
    const Pose next = moved(pose, step * x, step * y, step * z);
    if (result == 1) std::copy(next.begin(), next.end(), out);
    return result;
  };
  return cycle(robot, "push", run, {.period = options.period, .longest = 10.0}, log);
}

Session::Session(const Options& options)
    : config(demoCell(options)), cell(config), robot(cell, options), mode(approachMode(options)) {
  configure(setupOf(config, options));
  zero(robot);
  const int code = approach(robot, mode, {.period = options.period}, log);
  if (code != ZEL_RUN_END) {
    throw std::runtime_error(fmt::format("no steady contact: the approach gave {}", code));
  }
}

std::array<double, 3> zAxis(Pose pose) {
  double q[7];
  zel_rpy2quaternion(q, pose.data());
  const double w = q[3], x = q[4], y = q[5], z = q[6];
  return {2 * (x * z + w * y), 2 * (y * z - w * x), 1 - 2 * (x * x + y * y)};
}

Pose moved(Pose pose, double dx, double dy, double dz) {
  pose[0] += dx;
  pose[1] += dy;
  pose[2] += dz;
  return pose;
}

}  // namespace example
