#include "examples/identification.h"

#include <fmt/format.h>
#include <fmt/ostream.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "matrix/ldd_tool.h"
#include "tools/command_line.h"

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
  zel::cli::stopIfInterrupted();
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
  ldd_tool tool;
  for (const auto& turn : turns) {  // three to ten poses, clearly different orientations
    const Pose pose = turned(start, turn);
    Wrench reading = restAt(pose, robot);
    robot_pose_para poses = {};  // flange poses: the tool on the flange stays zero
    for (int i = 0; i < 6; ++i) {
      const double unit = i < 3 ? 0.001 : 1.0;  // m, rad
      poses.pose_base2tcp[i] = unit * pose[i];
      poses.pose_flange2ft_tool[i] = unit * flange_sensor[i];
    }
    tool.recordCalibrationLoadData(reading.data(), poses);
  }
  tool.gravityCalibration();
  load_para found = {};
  tool.getLoadPara(&found);
  // N m / N: the lengths come in metres, zel_ftc_setLoadData takes millimetres.
  const zel::sim::Load load = {found.g, {1000 * found.lx, 1000 * found.ly, 1000 * found.lz}};
  const auto& [x, y, z] = load.centre;
  if (!std::isfinite(load.weight + x + y + z)) {
    throw std::runtime_error("the load cannot be told from these poses");
  }
  return load;
}

void printLoads(const zel::sim::Load& found, const zel::sim::Load& truth) {
  fmt::print("weight {:7.3f} N, true {:.3f}\ncentre {:.2f} mm, true {:.2f}\n", found.weight,
             truth.weight, fmt::join(found.centre, ", "), fmt::join(truth.centre, ", "));
}

std::vector<LeftOver> leftOver(RobotLink& robot, const Pose& start) {
  std::vector<LeftOver> samples;
  for (const auto& turn : turns) {
    LeftOver& sample = samples.emplace_back();
    sample.pose = turned(start, {-turn[0], -turn[1], 0.5 * turn[2]});
    restAt(sample.pose, robot);
    robot.feed();
    require(zel_ftc_get_GraData(sample.left.data(), sample.pose.data()));
    std::copy_n(zel_raw_ft, 6, sample.reading.begin());
  }
  return samples;
}

void write(std::ostream& csv, const std::vector<LeftOver>& samples) {
  csv << "pose,x_mm,y_mm,z_mm,a_rad,b_rad,c_rad,fx,fy,fz,mx,my,mz,lfx,lfy,lfz,lmx,lmy,lmz\n";
  int n = 0;
  for (const LeftOver& sample : samples) {
    fmt::print(csv, "{},{},{},{}\n", ++n, fmt::join(sample.pose, ","),
               fmt::join(sample.reading, ","), fmt::join(sample.left, ","));
  }
}

double largest(const std::vector<LeftOver>& samples, int firstAxis) {
  double value = 0.0;
  for (const LeftOver& sample : samples) {
    for (int i = firstAxis; i < firstAxis + 3; ++i) {
      value = std::max(value, std::fabs(sample.left[i]));
    }
  }
  return value;
}

}  // namespace example
