#include "examples/identification.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "matrix/ldd_tool.h"

namespace example {
namespace {

/// Turns of the tool about Z, Y, X against the start pose, rad: as different as the robot allows.
constexpr double turns[][3] = {{0, 0, 0},       {0, 0, 0.9},     {0.5, 0, -0.9}, {0, 0.9, 0},
                               {-0.4, -0.9, 0}, {0.3, 0.6, 0.7}, {0, -0.6, 0.7}, {0.2, 0.6, -0.7},
                               {1, -0.6, -0.7}, {-1, 0.3, 1.2}};

Pose turned(Pose pose, const double (&turn)[3]) {
  for (int i = 0; i < 3; ++i) pose[3 + i] += turn[i];
  return moved(pose, 0, 0, 200);
}

/// Goes to a pose, waits until the robot is at rest, gives the mean of 25 readings.
Wrench restAt(const Pose& pose, RobotLink& robot) {
  for (int n = 0; n < 100; ++n) robot.follow(pose);
  Wrench mean = {};
  for (int n = 0; n < 25; ++n) {
    robot.follow(pose);
    const Wrench reading = robot.read();
    for (int i = 0; i < 6; ++i) mean[i] += reading[i] / 25;
  }
  return mean;
}

}  // namespace

zel::sim::Load identify(RobotLink& robot, const Pose& start, const Pose& flange_sensor) {
  // Lengths in metres. The robot reports flange poses, so the tool of the identification is the
  // flange itself.
  ldd_tool tool;
  for (const auto& turn : turns) {
    const Pose pose = turned(start, turn);
    Wrench reading = restAt(pose, robot);
    robot_pose_para poses = {};
    for (int i = 0; i < 6; ++i) {
      const double unit = i < 3 ? 0.001 : 1.0;
      poses.pose_base2tcp[i] = unit * pose[i];
      poses.pose_flange2ft_tool[i] = unit * flange_sensor[i];
    }
    tool.recordCalibrationLoadData(reading.data(), poses);
  }
  tool.gravityCalibration();
  load_para found = {};
  tool.getLoadPara(&found);
  // zel_ftc_setLoadData takes millimetres.
  return {found.g, {1000 * found.lx, 1000 * found.ly, 1000 * found.lz}};
}

void printLoads(const zel::sim::Load& found, const zel::sim::Load& truth) {
  fmt::print("weight {:7.3f} N, true {:.3f}\ncentre {:.2f} mm, true {:.2f}\n", found.weight,
             truth.weight, fmt::join(found.centre, ", "), fmt::join(truth.centre, ", "));
}

LeftOver leftOver(RobotLink& robot, const Pose& start) {
  LeftOver largest;
  for (const auto& turn : turns) {
    restAt(turned(start, {-turn[0], -turn[1], 0.5 * turn[2]}), robot);
    if (!robot.feed()) throw std::runtime_error("no reading at rest");
    Wrench rest = {};
    require(zel_ftc_get_GraData(rest.data(), robot.pose().data()), "zel_ftc_get_GraData");
    for (int i = 0; i < 3; ++i) {
      largest.force = std::max(largest.force, std::fabs(rest[i]));
      largest.torque = std::max(largest.torque, std::fabs(rest[i + 3]));
    }
  }
  return largest;
}

}  // namespace example
