// Identify: weight and centre of mass of what hangs on the sensor, from ten poses, among noise and
// an unknown offset. The result goes to zel_ftc_setLoadData; afterwards the compensated wrench
// stays near zero wherever the robot turns.
//
// Units: ldd_tool gives lengths in metres (torques in N m over forces in N), zel_ftc_setLoadData
// takes millimetres.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "examples/common.h"
#include "matrix/ldd_tool.h"

namespace {

/// Turns of the tool about Z, Y, X against the start pose, rad: as different as the robot allows.
constexpr double turns[][3] = {{0, 0, 0},       {0, 0, 0.9},     {0.5, 0, -0.9}, {0, 0.9, 0},
                               {-0.4, -0.9, 0}, {0.3, 0.6, 0.7}, {0, -0.6, 0.7}, {0.2, 0.6, -0.7},
                               {1, -0.6, -0.7}, {-1, 0.3, 1.2}};

example::Pose turned(example::Pose pose, const double (&turn)[3]) {
  for (int i = 0; i < 3; ++i) pose[3 + i] += turn[i];
  return example::moved(pose, 0, 0, 200);
}

/// Goes to a pose, waits until the robot is at rest, gives the mean of 25 readings.
example::Wrench restAt(const example::Pose& pose, example::CellLink& robot, zel::sim::Cell& cell) {
  for (int n = 0; n < 250; ++n) robot.follow(pose);
  example::Wrench mean = {};
  for (int n = 0; n < 25; ++n) {
    robot.follow(pose);
    const example::Wrench reading = cell.reading();
    for (int i = 0; i < 6; ++i) mean[i] += reading[i] / 25;
  }
  return mean;
}

}  // namespace

int main(int argc, char** argv) {
  example::Options options;
  CLI::App app{"Identifies the load on the sensor from ten poses."};
  example::addOptions(app, options);

  return example::runMain(app, argc, argv, [&] {
    const zel::sim::CellConfig config = example::demoCell(options);
    zel::sim::Cell cell(config);
    example::CellLink robot(cell, options);

    // The robot reports flange poses, so the tool of the identification is the flange itself.
    ldd_tool tool;
    for (const auto& turn : turns) {
      const example::Pose pose = turned(config.start, turn);
      const example::Wrench reading = restAt(pose, robot, cell);
      robot_pose_para poses = {};
      for (int i = 0; i < 6; ++i) {
        poses.pose_base2tcp[i] = i < 3 ? 0.001 * pose[i] : pose[i];
        poses.pose_flange2ft_tool[i] = (i < 3 ? 0.001 : 1.0) * config.flange_sensor[i];
      }
      tool.recordCalibrationLoadData(reading.data(), poses);
    }
    tool.gravityCalibration();
    load_para found = {};
    tool.getLoadPara(&found);
    const zel::sim::Load load = {found.g, {1000 * found.lx, 1000 * found.ly, 1000 * found.lz}};
    const auto& [weight, centre] = config.load;
    fmt::print("weight {:7.3f} N, true {:.3f}\ncentre {:.2f} mm, true {:.2f}\n", load.weight,
               weight, fmt::join(load.centre, ", "), fmt::join(centre, ", "));

    // Over to the library: compensated wrenches at other poses than the one of the zero reference.
    const example::Library library;
    example::Setup setup = example::setupOf(config, options);
    setup.load = load;
    example::configure(setup);
    example::zero(robot);
    double force = 0.0, torque = 0.0;
    for (const auto& turn : turns) {
      const example::Pose pose = turned(config.start, {-turn[0], -turn[1], 0.5 * turn[2]});
      restAt(pose, robot, cell);
      example::Wrench rest = {};
      if (!robot.feed()) return 1;
      example::require(zel_ftc_get_GraData(rest.data(), robot.pose().data()),
                       "zel_ftc_get_GraData");
      for (int i = 0; i < 3; ++i) {
        force = std::max(force, std::fabs(rest[i]));
        torque = std::max(torque, std::fabs(rest[i + 3]));
      }
    }
    // A reading and the zero reference differ by the noise of two readings.
    const bool good = force < 0.2 + 7 * options.noise && torque < 0.02 + 7 * options.noise / 30;
    fmt::print("identify: {}, weight {:.1f} N, left over {:.1f} N and {:.2f} N m\n",
               good ? "end" : "failed", load.weight, force, torque);
    return good ? 0 : 1;
  });
}
