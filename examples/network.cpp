#include "examples/network.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tools/command_line.h"

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
          "--with-parent",
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

SimulatorProcess::SimulatorProcess(const std::vector<std::string>& simulator,
                                   const zel::sim::CellConfig& cell) {
  const std::string& program = simulator.front();
  std::vector<std::string> arguments = argumentsFor(cell);
  arguments.insert(arguments.begin(), simulator.begin(), simulator.end());
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);

  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe to be had");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  // A group of its own: Ctrl-C ends this process, which ends the simulator after the sensor.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  const int spawned =
      posix_spawn(&pid_, program.c_str(), &actions, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  output_ = fdopen(ends[0], "r");
  if (spawned != 0) {
    pid_ = -1;
    stop();
    throw std::runtime_error(fmt::format("{}: {}", program, std::strerror(spawned)));
  }

  char line[512] = {};
  const std::string text = std::fgets(line, sizeof line, output_) != nullptr ? line : "";
  const auto robot = text.find("robot link on");
  if (robot == std::string::npos ||
      std::sscanf(text.c_str(), "listening on 127.0.0.1:%hu", &sensorPort_) != 1 ||
      std::sscanf(text.c_str() + robot, "robot link on 127.0.0.1:%hu", &robotPort_) != 1) {
    stop();
    zel::cli::stopIfInterrupted();
    throw std::runtime_error(
        fmt::format("{} did not say where it listens, but \"{}\"", program, text));
  }
}

std::string SimulatorProcess::stop() {
  std::string last;
  if (pid_ > 0) kill(pid_, SIGTERM);
  if (output_ != nullptr) {
    for (char line[512]; std::fgets(line, sizeof line, output_) != nullptr;) last += line;
    std::fclose(output_);
  }
  if (pid_ > 0) waitpid(pid_, nullptr, 0);
  pid_ = -1;
  output_ = nullptr;
  return last;
}

void printFrames(const FrameStatistics& received, const std::string& simulator) {
  unsigned long sent = 0, skipped = 0;
  const auto line = simulator.find('\n');
  if (line != std::string::npos) {
    std::sscanf(simulator.c_str() + line + 1, "%lu frames, %lu times skipped", &sent, &skipped);
  }
  fmt::print("\nframes   {} received of {} sent, {:.1f} Hz, longest gap {:.1f} ms\n",
             received.frames, sent, received.rate(), 1000.0 * received.longestGap);
  if (skipped > 0) {
    fmt::print("         {} more the simulator could not send in time\n", skipped);
  }
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
  return true;  // a run reads the sensor itself
}

Wrench NetworkLink::read() {
  Wrench reading;
  require(zel_ftc_obtainFTSensorData(reading.data()));
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

/// Notes the frames that came since the last look. Between two looks d frames have come; the last
/// d - 1 of them may have been as close together as the rate allows: the rest of the time is a gap.
void NetworkLink::look() {
  constexpr int counts = 100001;  // the counter runs 0..100000
  const int count = networkSensor().IPOC;
  const int fresh = (count - lastCount_ + counts) % counts;
  if (fresh == 0) return;
  const auto now = steady_clock::now();
  if (frames_.frames == 0) {
    firstTime_ = now;
  } else {
    const double gap = duration<double>(now - lastTime_).count() - (fresh - 1) / frameRate;
    frames_.longestGap = std::max(frames_.longestGap, gap);
    frames_.framesSeen += fresh;
    frames_.seconds = duration<double>(now - firstTime_).count();
  }
  frames_.frames += fresh;
  lastCount_ = count;
  lastTime_ = now;
}

const FrameStatistics& NetworkLink::frames() {
  look();
  return frames_;
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
