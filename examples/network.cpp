#include "examples/network.h"

#include <fmt/format.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <thread>
#include <vector>

extern char** environ;

namespace example {
namespace {

using std::chrono::duration;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

template <typename Values>
std::string list(const Values& values) {
  return fmt::format("{}", fmt::join(values, ","));
}

std::vector<std::string> argumentsFor(const zel::sim::CellConfig& cell) {
  const auto number = [](double value) { return fmt::format("{}", value); };
  return {"--quiet",
          "--port",
          "0",
          "--rate",
          number(frameRate),
          "--cell",
          "--robot-link",
          "0",
          "--start",
          list(cell.start),
          "--lag",
          number(1000.0 * cell.lag),
          "--flange-sensor",
          list(cell.flange_sensor),
          "--sensor-tool",
          list(cell.sensor_tool),
          "--load",
          number(cell.load.weight),
          "--load-centre",
          list(cell.load.centre),
          "--offset",
          list(cell.offset),
          "--force-noise",
          number(cell.force_noise),
          "--torque-noise",
          number(cell.torque_noise),
          "--noise-seed",
          fmt::format("{}", cell.seed),
          "--surface",
          list(cell.surface.pose),
          "--stiffness",
          number(cell.surface.stiffness),
          "--damping",
          number(cell.surface.damping),
          "--friction",
          number(cell.surface.friction),
          "--radius",
          number(cell.surface.radius)};
}

}  // namespace

SimulatorProcess::SimulatorProcess(const std::string& program, const zel::sim::CellConfig& cell) {
  std::vector<std::string> arguments = argumentsFor(cell);
  arguments.insert(arguments.begin(), program);
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);

  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("no pipe to be had");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, ends[0]);
  const int spawned = posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  output_ = fdopen(ends[0], "r");
  if (spawned != 0) pid_ = -1;

  char line[512] = {};
  const char* ready = output_ != nullptr ? std::fgets(line, sizeof line, output_) : nullptr;
  const std::string text = ready != nullptr ? ready : "";
  const auto robot = text.find("robot link on");
  if (robot == std::string::npos ||
      std::sscanf(text.c_str(), "listening on 127.0.0.1:%hu", &sensorPort_) != 1 ||
      std::sscanf(text.c_str() + robot, "robot link on 127.0.0.1:%hu", &robotPort_) != 1) {
    stop();
    throw std::runtime_error(fmt::format("{} did not start: {}", program, text));
  }
}

void SimulatorProcess::stop() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  if (output_ != nullptr) std::fclose(output_);
}

std::int64_t FrameStatistics::lost() const {
  const std::int64_t expected = std::llround(seconds * frameRate) + 1;
  return std::max<std::int64_t>(0, expected - frames);
}

SensorEtherNet_UDP& networkSensor() {
  return *static_cast<SensorEtherNet_UDP*>(static_cast<ZelSensor*>(m_zelftsensorclass));
}

NetworkLink::NetworkLink(const SimulatorProcess& simulator, const Pose& start,
                         const Options& options)
    : link_(simulator.robotPort()),
      period_(0.001 * options.period),
      next_(steady_clock::now()),
      set_(start),
      actual_(start) {}

bool NetworkLink::feed() {
  Wrench reading;
  return zel_ftc_obtainFTSensorData(reading.data()) == 1;
}

Wrench NetworkLink::read() {
  Wrench reading;
  require(zel_ftc_obtainFTSensorData(reading.data()), "zel_ftc_obtainFTSensorData");
  return reading;
}

void NetworkLink::follow(const Pose& pose) {
  set_ = pose;
  actual_ = link_.exchange(pose, period_.count()).flange;
  // One frame may have been under way when the robot moved: the second one is of the new pose.
  waitForFrames(2);
  next_ += std::chrono::duration_cast<steady_clock::duration>(period_);
  while (steady_clock::now() < next_) {
    std::this_thread::sleep_for(microseconds(100));
    look();
  }
  next_ = std::max(next_, steady_clock::now() - milliseconds(1));  // what was late is not made up
}

/// Notes the frames that came since the last look.
void NetworkLink::look() {
  constexpr int counts = 100001;  // the counter runs 0..100000
  const int count = networkSensor().IPOC;
  const zel_clock time = networkSensor().time_start;
  if (frames_.frames == 0) {
    firstTime_ = lastTime_ = time;
    frames_.frames = 1;
  } else if (count != lastCount_) {
    frames_.frames += (count - lastCount_ + counts) % counts;
    frames_.worstGap = std::max(frames_.worstGap, duration<double>(time - lastTime_).count());
    frames_.seconds = duration<double>(time - firstTime_).count();
    lastTime_ = time;
  }
  lastCount_ = count;
}

/// A sensor that has fallen silent is left to the library: the run tells.
void NetworkLink::waitForFrames(int count) {
  const auto patience = steady_clock::now() + milliseconds(50);
  const std::int64_t wanted = frames_.frames + count;
  for (look(); frames_.frames < wanted && steady_clock::now() < patience; look()) {
    std::this_thread::sleep_for(microseconds(100));
  }
}

}  // namespace example
