#include "examples/common.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <thread>
#include <utility>

#include "robot/ZelFTCTool.h"
#include "tool/plaintext.h"
#include "tools/command_line.h"
#include "zel_ftc_diag.h"
#include "zel_ftc_guard.h"
#include "zel_ftc_workers.h"

namespace example {
namespace {

namespace cli = zel::cli;

constexpr double pi = 3.14159265358979323846;

/// What the flat interface does not show of the cycle: phase, set point, planned pose. For the
/// records; a controller does not need it.
const ZelFTCTool& tool() {
  return *static_cast<const ZelFTCTool*>(static_cast<ZelForceControlTool*>(m_zelftcclass));
}

bool isFinite(const std::array<double, 6>& values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

/// What a tracking run adds to its records.
std::function<void(Cycle&)> noteOf(const Side& side, const Options& options) {
  return [&options, side](Cycle& cycle) {
    cycle.wanted = options.force;
    cycle.side = side(cycle.actual);
    if (cycle.code != ZEL_RUN_RUNNING) return;  // the call that ends the run does not move
    for (int i = 0; i < 3; ++i) cycle.planned[i] = 1000.0 * tool().PosMoveExpect_q.value[i];
  };
}

std::string codeText(int code) {
  switch (code) {
#define EXAMPLE_CODE_TEXT(name, value, text) \
  case value:                                \
    return text;
    ZEL_RUN_RESULTS(EXAMPLE_CODE_TEXT)
#undef EXAMPLE_CODE_TEXT
    default:
      return fmt::format("End. (axis bits {})", code - ZEL_RUN_BREAK);
  }
}

/// The system's text; of a failure also the reason.
std::string endText(int code) {
  return codeText(code) + (code < ZEL_RUN_END ? " " + lastRefusal() : "");
}

}  // namespace

void addRobotOptions(CLI::App& app, Options& options) {
  app.option_defaults()->always_capture_default();
  app.add_option("--period", options.period, "Control period, ms")->check(cli::within(4, 100));
  app.add_option("--lag", options.lag, "Time constant of the robot, s")->check(cli::notNegative());
  app.add_option("--noise", options.noise, "Standard deviation of the forces, N")
      ->check(cli::notNegative());
  app.add_option("--seed", options.seed, "Of the noise")->check(cli::notNegative());
  app.add_option("--out", options.out, "Folder of CSV and pictures")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  addSettingsOption(app, [&options](const SettingsFile& file) {
    options.settings = file;
    options.period = file.over({.setup = {.period = options.period}}).setup.period;
  });
}

void addRealtimeOption(CLI::App& app, Options& options) {
  app.add_flag("--realtime", options.realtime, "One period of simulation takes one period of time");
}

void addContactOptions(CLI::App& app, Options& options) {
  app.add_option("--force", options.force, "Contact force, N")->check(cli::positive());
  app.add_option("--gain", options.gain, "Gain, mm/s per N")->check(cli::notNegative());
  app.add_option("--approach-speed", options.approachSpeed, "mm/s")->check(cli::notNegative());
  app.add_option("--distance", options.distance, "Of the surface below the tip, mm")
      ->check(cli::within(1, 1000));
  app.add_option("--tilt", options.tilt, "Inclination of the surface along x, degrees")
      ->check(cli::within(-45, 45));
  app.add_option("--radius", options.radius,
                 "Radius of a curved surface, mm; 0 flat, negative hollow")
      ->check(cli::finite());
  app.add_option("--stiffness", options.stiffness, "Of the surface, N/mm")->check(cli::positive());
  app.add_option("--friction", options.friction, "Coulomb coefficient")->check(cli::notNegative());
}

void addPathOptions(CLI::App& app, Options& options) {
  app.add_option("--path-speed", options.pathSpeed, "mm/s")->check(cli::positive());
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

void handIn(Wrench reading) {
  if (!isFinite(reading)) throw std::runtime_error("the sensor gave a reading that is not finite");
  require(zel_ftc_obtainFTSensorData(reading.data()));
}

CellLink::CellLink(zel::sim::Cell& cell, const Options& options)
    : cell_(cell),
      period_(0.001 * options.period),
      realtime_(options.realtime),
      next_(std::chrono::steady_clock::now()),
      set_(cell.flange()) {}

bool CellLink::feed() {
  handIn(read());
  return true;
}

void CellLink::follow(const Pose& pose) {
  set_ = pose;
  cell_.command(pose);
  cell_.advance(period_.count());
  if (!realtime_) return;
  next_ += std::chrono::duration_cast<std::chrono::steady_clock::duration>(period_);
  std::this_thread::sleep_until(next_);
}

Library::Library() {
  require(zel_ftc_open(true));
  require(zel_ftc_initialFTSensor(0, nullptr));
}

Library::Library(unsigned short sensorPort, const std::string& address) {
  require(zel_ftc_open(false));
  if (zel_ftc_initialFTSensor(sensorPort, address.c_str()) == 1) return;
  std::string why = lastRefusal();  // before the reading, which is refused as well
  char fault[256];
  if (zel_ftc_getWorkerFaultText(fault, sizeof fault) == 1) why = fault;
  // The status of the failed start comes with a reading, and goes when the library closes.
  Wrench none;
  zel_ftc_obtainFTSensorData(none.data());
  const std::string status = fmt::format("status {} {}", zel_info_.code, zel_info_.code_info);
  zel_ftc_close();
  throw std::runtime_error(
      fmt::format("no sensor on {}:{}: {} ({})", address, sensorPort, why, status));
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
  // Whatever a run is configured to: only finite numbers, no jump, not far beside the path.
  setup.guard[ZEL_LIMIT_READING] = setup.guard[ZEL_LIMIT_POSE] = 0.0;
  setup.guard[ZEL_LIMIT_STEP] = 2.0;
  setup.guard[ZEL_LIMIT_PATH] = setup.guard[ZEL_LIMIT_OFF_AXIS] = 30.0;
  return options.settings ? options.settings->over({.setup = setup}).setup : setup;
}

void zero(RobotLink& robot) {
  if (!robot.feed()) throw std::runtime_error("no reading to take the zero reference from");
  require(zel_ftc_sensorReset(robot.pose().data()));
}

CycleLimits::CycleLimits(ZelRunKind run, double controlPeriod) : period(controlPeriod) {
  zel_ftc_emptyPlan(&plan);
  plan.run = run;
}

CycleLimits::CycleLimits(ZelRunKind run, const Options& options)
    : CycleLimits(run, options.period) {
  plan.stiffness = options.stiffness;
  plan.delay = 1000.0 * options.lag;
  plan.travel = options.distance;
}

namespace {

void printFindings(const zel_ftc_plan& plan) {
  std::array<zel_ftc_finding, ZEL_FINDINGS_ENOUGH> findings;
  const int count = zel_ftc_checkConfiguration(&plan, findings.data(), ZEL_FINDINGS_ENOUGH);
  for (const zel_ftc_finding* finding = &findings[0]; finding != &findings[0] + count; ++finding) {
    if (finding->severity < ZEL_FINDING_WARNING) continue;
    fmt::print("check: {}: {}\n", zel::composed(zel_ftc_findingText, finding),
               zel::composed(zel_ftc_findingRemedy, finding));
  }
}

}  // namespace

Outcome cycle(RobotLink& robot, const char* name, const Run& run, const CycleLimits& limits,
              Log& log) {
  const double period = 0.001 * limits.period;
  const auto longest = static_cast<std::size_t>(std::ceil(limits.longest / period));
  const auto every = static_cast<std::size_t>(std::ceil(limits.progress / period));
  zel_ftc_error error = {ZEL_RUN_RUNNING, 0, 0};
  const auto stopped = [&error](Outcome::By by, std::string why) {
    return Outcome{by, error.ftc_code, std::move(why)};
  };
  constexpr auto other = Outcome::By::other;
  zel_ftc_plan plan = limits.plan;
  std::copy_n(robot.pose().data(), 6, plan.start);
  printFindings(plan);
  for (std::size_t n = 0; n < longest; ++n) {
    cli::stopIfInterrupted();
    if (!robot.feed()) return stopped(other, "still running at the end of the recording");
    Cycle now = {
        name, static_cast<double>(log.size()) * period, robot.pose(), robot.actual(), {}, {}, 0};
    now.commanded = now.pose;
    const int result = run(now.commanded.data(), now.pose.data(), &error);
    if (result == -1) throw std::runtime_error(fmt::format("{}: the library is not open", name));

    std::copy_n(zel_raw_ft, 6, now.raw.begin());
    zel_ftc_getRCS_FT_Data(now.control.data());
    now.code = error.ftc_code;
    now.step = motionAlong(limits.mainAxis, now.pose, now.commanded) / period;
    if (!log.empty()) {
      now.driven = motionAlong(limits.mainAxis, log.back().actual, now.actual) / period;
    }
    limits.note(now);
    log.push_back(now);
    if (n % every == 0 || result == 0) {
      fmt::print("{:>9} {:8.3f} s   z {:8.3f} mm   force {:7.2f} N   {}\n", name, now.time,
                 now.pose[2], 0.0 - now.control[limits.mainAxis], now.code);
    }
    // The sensor first: when it could not be read, the run's code is that of the cycle before.
    if (error.ft_code != FT_N0RMAL) {
      return stopped(other, fmt::format("sensor status {} {}", error.ft_code, zel_info_.code_info));
    }
    if (result == 0) return stopped(Outcome::By::run, endText(error.ftc_code));
    if (!isFinite(now.commanded)) return stopped(other, "the corrected pose is not finite");
    zel_ftc_guard_verdict verdict;
    if (zel_ftc_guard(now.commanded.data(), now.pose.data(), &verdict) != 1) {
      return stopped(other, zel::composed(zel_ftc_guardText, &verdict));
    }
    robot.follow(now.commanded);
  }
  return stopped(Outcome::By::time, fmt::format("still running after {} s", limits.longest));
}

ApproachMode approachMode(const Options& options) {
  ApproachMode mode;
  mode.force = options.force;
  mode.gains[mode.direction] = options.gain;
  mode.speed = options.approachSpeed;
  mode.switchingForce = 0.2 * options.force;
  // Wider than the dead band, below which nothing is corrected.
  mode.breakRange[mode.direction] = std::max(0.3, 0.02 * options.force);
  return options.settings ? options.settings->over({.approach = mode}).approach : mode;
}

TrackingMode trackingMode(const Options& options) {
  TrackingMode mode;
  mode.force[mode.direction] = options.force;
  mode.gains[mode.direction] = options.gain;
  mode.speed = options.pathSpeed;
  return options.settings ? options.settings->over({.tracking = mode}).tracking : mode;
}

Outcome approach(RobotLink& robot, const ApproachMode& mode, CycleLimits limits, Log& log) {
  configureApproach(mode);
  limits.mainAxis = mode.direction;
  int phase = 0;
  limits.note = [&](Cycle& cycle) {
    // The call may have gone on to the next phase: this cycle worked in the one before.
    cycle.phase = std::exchange(phase, tool().ApproachMode);
    // The set point rises smoothly; those of MX and MZ are there at once.
    const bool rises = mode.direction != FT_MX && mode.direction != FT_MZ;
    if (cycle.phase > 0) cycle.wanted = rises ? tool().force_fhan.v1 : mode.force;
  };
  return cycle(robot, "approach", zel_ftc_runApproach, limits, log);
}

Outcome followLine(RobotLink& robot, Pose start, Pose end, const Options& options, Log& log) {
  configureTracking(trackingMode(options));
  const auto run = [&](double* out, double* now, zel_ftc_error* error) {
    return zel_ftc_runTrackingMotionL(out, start.data(), end.data(), now, error);
  };
  CycleLimits limits(ZEL_LINE_RUN, options);
  std::copy_n(end.data(), 6, limits.plan.end);
  limits.note = noteOf(besideLine(start, end), options);
  return cycle(robot, "line", run, limits, log);
}

Outcome followArc(RobotLink& robot, Pose start, Pose via, Pose end, const Options& options,
                  Log& log) {
  configureTracking(trackingMode(options));
  const auto run = [&](double* out, double* now, zel_ftc_error* error) {
    return zel_ftc_runTrackingMotionC(out, start.data(), via.data(), end.data(), now, error);
  };
  CycleLimits limits(ZEL_ARC_RUN, options);
  std::copy_n(via.data(), 6, limits.plan.via);
  std::copy_n(end.data(), 6, limits.plan.end);
  limits.note = noteOf(besideArc(start, via, end), options);
  return cycle(robot, "arc", run, limits, log);
}

Outcome hold(RobotLink& robot, double seconds, const Options& options, Log& log) {
  CycleLimits limits(ZEL_ASSEMBLY_RUN, options);
  limits.longest = seconds;
  return cycle(robot, "hold", zel_ftc_runAssembly, limits, log);
}

Outcome pushHome(RobotLink& robot, double speed, const ApproachMode& mode, const Options& options,
                 Log& log) {
  const double step = 0.001 * options.period * speed;
  const auto run = [&](double* out, double* now, zel_ftc_error* error) {
    const int result = zel_ftc_runAssembly(out, now, error);
    const Pose pose = robot.pose();
    const auto [x, y, z] = zAxis(pose);
    const Pose next = moved(pose, step * x, step * y, step * z);
    if (result == 1) std::copy(next.begin(), next.end(), out);
    return result;
  };
  CycleLimits limits(ZEL_ASSEMBLY_RUN, options);
  limits.longest = 10.0;
  limits.note = [&](Cycle& cycle) { cycle.wanted = mode.force; };
  return cycle(robot, "push", run, limits, log);
}

double motionAlong(int axis, Pose from, Pose to) {
  constexpr int component[6] = {0, 1, 2, 5, 4, 3};  // angles come in the order Z, Y, X
  Pose motion;
  zel_pose2offset(motion.data(), from.data(), to.data());
  return motion[component[axis]];
}

Pose moved(Pose pose, double dx, double dy, double dz) {
  pose[0] += dx;
  pose[1] += dy;
  pose[2] += dz;
  return pose;
}

}  // namespace example
