// Shift: the whole story over UDP. Connect to the sensor, identify the load, zero, approach, follow
// a line and an arc under a steady force, push a part home, close.
//
// The sensor and the robot are a process of their own, the simulator. With a real cell, the
// sensor's address takes the place of 127.0.0.1 and the robot's interface that of NetworkLink.
#include "examples/shift.h"

#include <fmt/format.h>

#include <memory>

#include "examples/common.h"
#include "examples/identification.h"
#include "examples/network.h"
#include "examples/report.h"

namespace example {
namespace {

/// The steps of a shift, one after the other as long as each ends as it should.
struct Shift {
  Options options;
  NetworkLink& robot;
  Log& log;
  ApproachMode mode = approachMode(options);
  std::string codes = {}, failure = {};

  bool step(const char* title, const std::function<Outcome()>& run) {
    fmt::print("\n-- {}\n", title);
    const Outcome outcome = run();
    codes += " " + outcome.brief();
    if (!outcome.ended()) failure = fmt::format("{}: {}", title, outcome.text());
    return outcome.ended();
  }

  Outcome contact() {
    Outcome outcome = approach(robot, mode, CycleLimits(ZEL_APPROACH_RUN, options), log);
    print(summarise(log, mode), mode, outcome);
    return outcome;
  }

  Outcome line() {
    const Pose start = robot.pose(), end = moved(start, 80, 0, 0);
    Outcome outcome = followLine(robot, start, end, options, log);
    printTracking("line", log, mode.direction, end, outcome);
    return outcome;
  }

  Outcome arc() {
    const Pose start = robot.pose(), via = moved(start, -30, 30, 0), end = moved(start, -60, 0, 0);
    Outcome outcome = followArc(robot, start, via, end, options, log);
    printTracking("arc", log, mode.direction, end, outcome);
    return outcome;
  }

  Outcome seat() {
    ApproachMode seated = mode;
    seated.force = 2 * options.force;
    seated.breakRange[mode.direction] = 1.0;
    configureAssembly(seated);
    require(zel_set_minValue(-1.0, ZEL_MIN_PATH));
    Outcome outcome = pushHome(robot, 1.0, seated, options, log);
    fmt::print("force at the end {:.1f} N\nresult  {}\n", heldForce(log.back(), mode.direction),
               outcome.text());
    return outcome;
  }
};

zel::cli::Exit workShift(const Options& options, const std::vector<std::string>& simulatorCommand) {
  Records records(options.out, "shift");
  const zel::sim::CellConfig cell = demoCell(options);
  SimulatorProcess simulator(simulatorCommand, cell);
  const Library library(simulator.sensorPort());
  const ZelSensor::DeviceModelInfo& id = networkSensor().dev_info;
  Wrench range;
  require(zel_ftc_getFTSensorRange(range.data()));
  fmt::print("sensor   model {}, serial number {}, calibrated {:02}-{:02}-{:02}, range {} N, N m\n",
             id.model, id.id, id.year, id.month, id.date, fmt::join(range, " "));
  NetworkLink robot(simulator, cell.start, options);

  fmt::print("\n-- identify the load\n");
  Setup setup = setupOf(cell, options);
  setup.load = identify(robot, cell.start, cell.flange_sensor);
  printLoads(setup.load, cell.load);

  for (int n = 0; n < 100; ++n) robot.follow(cell.start);
  configure(setup);
  zero(robot);
  Shift shift{options, robot, records.log};
  const bool good = shift.step("approach", [&] { return shift.contact(); }) &&
                    shift.step("line", [&] { return shift.line(); }) &&
                    shift.step("arc", [&] { return shift.arc(); }) &&
                    shift.step("push home", [&] { return shift.seat(); });

  require(zel_ftc_uninitialFTSensor());
  printFrames(robot.frames(), simulator.stop());
  records.finish("Approach, line, arc and push home, sensor over UDP", shift.mode);
  if (!good) {
    fmt::print("shift: failed, {}\n", shift.failure);
    return zel::cli::notAsWanted;
  }
  fmt::print("shift: end{}\n", shift.codes);
  return zel::cli::done;
}

}  // namespace

zel::cli::Body addShift(CLI::App& app, const std::vector<std::string>& simulator) {
  app.description("A simulated robot works a shift, with the sensor on the network (127.0.0.1).");
  const auto options = std::make_shared<Options>();
  addRobotOptions(app, *options);
  addContactOptions(app, *options);
  addPathOptions(app, *options);
  const auto program = std::make_shared<std::string>();
  app.add_option("--simulator", *program, "The simulator's program, instead of that of this build");
  return [=] { return workShift(*options, program->empty() ? simulator : std::vector{*program}); };
}

}  // namespace example
