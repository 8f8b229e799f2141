// Shift: the whole story over UDP. Connect to the sensor, identify the load, zero, approach, follow
// a line and an arc under a steady force, push a part home, close.
//
// The sensor and the robot are a process of their own, zel_sensor_sim. With a real cell, the
// sensor's address takes the place of 127.0.0.1 and the robot's interface that of NetworkLink.
#include <fmt/format.h>

#include <filesystem>

#include "examples/common.h"
#include "examples/identification.h"
#include "examples/network.h"
#include "examples/report.h"

int main(int argc, char** argv) {
  example::Options options;
  std::string simulatorProgram =
      (std::filesystem::path(argv[0]).parent_path() / "../tools/zel_sensor_sim").string();
  CLI::App app{"A simulated robot works a shift, with the sensor on the network."};
  example::addOptions(app, options);
  app.add_option("--simulator", simulatorProgram, "The simulator's program");

  return example::runMain(app, argc, argv, [&] {
    using namespace example;
    const zel::sim::CellConfig cell = demoCell(options);
    const SimulatorProcess simulator(simulatorProgram, cell);
    const Library library(simulator.sensorPort());
    const ZelSensor::DeviceModelInfo& id = networkSensor().dev_info;
    Wrench range;
    require(zel_ftc_getFTSensorRange(range.data()), "zel_ftc_getFTSensorRange");
    fmt::print(
        "sensor   model {}, serial number {}, calibrated {:02}-{:02}-{:02}, range {} N, N m\n",
        id.model, id.id, id.year, id.month, id.date, fmt::join(range, " "));
    NetworkLink robot(simulator, cell.start, options);

    fmt::print("\n-- identify the load\n");
    Setup setup = setupOf(cell, options);
    setup.load = identify(robot, cell.start, cell.flange_sensor);
    printLoads(setup.load, cell.load);

    fmt::print("\n-- zero at rest, approach\n");
    for (int n = 0; n < 100; ++n) robot.follow(cell.start);
    configure(setup);
    zero(robot);
    const ApproachMode mode = approachMode(options);
    Log log;
    std::vector<int> codes = {approach(robot, mode, {.period = options.period}, log)};
    print(summarise(log, mode), mode, codes.back());

    fmt::print("\n-- line\n");
    Pose start = robot.pose();
    Pose end = moved(start, 80, 0, 0);
    codes.push_back(followLine(robot, start, end, options, log));
    printTracking("line", log, mode.direction, lineDeviation(log, start, end), codes.back());

    fmt::print("\n-- arc\n");
    start = robot.pose();
    const Pose via = moved(start, -30, 30, 0);
    end = moved(start, -60, 0, 0);
    codes.push_back(followArc(robot, start, via, end, options, log));
    printTracking("arc", log, mode.direction, arcDeviation(log, start, via, end), codes.back());

    fmt::print("\n-- push home\n");
    ApproachMode seated = mode;
    seated.force = 2 * options.force;
    seated.breakRange[mode.direction] = 1.0;
    configureAssembly(seated);
    require(zel_set_minValue(-1.0, ZEL_MIN_PATH), "zel_set_minValue");
    codes.push_back(pushHome(robot, 1.0, options, log));
    fmt::print("seated at {:.1f} N, result code {} {}\n\n", heldForce(log.back(), mode.direction),
               codes.back(), codeText(codes.back()));

    const FrameStatistics& frames = robot.frames();
    fmt::print("frames   {} at {:.1f} Hz, {} lost, worst gap {:.2f} ms\n", frames.frames,
               frames.rate(), frames.lost(), 1000.0 * frames.worstGap);
    record(options.out, "shift", log,
           {.title = "Approach, line, arc and push home, sensor over UDP",
            .axis = mode.direction,
            .wanted = mode.force,
            .marks = marksOf(log, mode),
            .pathFromAbove = true});
    const bool good =
        std::all_of(codes.begin(), codes.end(), [](int c) { return c == ZEL_RUN_END; });
    fmt::print("shift: {} {}\n", good ? "end" : "failed", fmt::join(codes, " "));
    return good ? 0 : 1;
  });
}
