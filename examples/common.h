// What the examples share: the robot as the controller sees it, the library's session, and one
// function per mode. Readings, poses and runs go through the flat interface, the way a robot
// controller does it.
#ifndef ZEL_FTC_EXAMPLES_COMMON_H
#define ZEL_FTC_EXAMPLES_COMMON_H

#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "examples/settings.h"
#include "sim/cell.h"
#include "zel_ftc_check.h"
#include "zel_ftc_lib.h"

namespace example {

/// No value: drawn as a gap.
constexpr double none = std::numeric_limits<double>::quiet_NaN();

/// Where poses and readings come from and where corrected poses go: a simulated cell, a recording,
/// a robot.
class RobotLink {
 public:
  virtual ~RobotLink() = default;

  /// Hands this cycle's reading to the library, where the controller has to. False when there is
  /// none any more.
  virtual bool feed() = 0;

  /// A raw reading, for a controller that works on it itself.
  virtual Wrench read() = 0;

  /// The pose to hand to the library: the set pose, where the robot was last told to go. The
  /// library adds each cycle's step to the pose that it is given, so a measured pose that lags
  /// behind would take away a part of every step: a path would end short of its end point.
  virtual Pose pose() = 0;

  /// Where the robot really is, for the records.
  virtual Pose actual() = 0;

  /// Sends the robot to a pose and lets one period pass.
  virtual void follow(const Pose& pose) = 0;
};

struct Options {
  double period = 4.0;        ///< ms
  double force = 10.0;        ///< N, along the tool's z axis into the surface
  double gain = 3.0;          ///< mm/s per N along the tool's z axis
  double approachSpeed = 20;  ///< mm/s
  double pathSpeed = 20;      ///< mm/s
  double distance = 50.0;     ///< of the surface from the tip, mm
  double tilt = 0.0;          ///< of the surface about the base y axis, degrees
  double radius = 0.0;        ///< of the surface, mm; 0 = flat
  double stiffness = 10.0;    ///< N/mm
  double friction = 0.2;      ///< Coulomb coefficient
  double lag = 0.01;          ///< of the robot, s
  double noise = 0.03;        ///< of the forces, N; the torques get 1/30 of the number in N m
  std::uint64_t seed = 1;     ///< of the noise
  bool realtime = false;      ///< one period of simulation takes one period of time
  std::string out = "out";    ///< folder of CSV and pictures
  std::optional<SettingsFile> settings = std::nullopt;  ///< stand above all of these
};

/// The options of a program, by what it does with them.
void addRobotOptions(CLI::App& app, Options& options);    ///< period, lag, noise, records
void addRealtimeOption(CLI::App& app, Options& options);  ///< for the cell in this process
void addContactOptions(CLI::App& app, Options& options);  ///< surface and approach
void addPathOptions(CLI::App& app, Options& options);     ///< lines and arcs

/// A tool that looks down on a surface below its tip, 12 N of load on the sensor.
zel::sim::CellConfig demoCell(const Options& options);

/// Hands a reading to the library. Throws when it is not finite: what is not a number passes every
/// limit of the library and may even end an approach in free air.
void handIn(Wrench reading);

/// The simulated cell behind an external sensor.
class CellLink : public RobotLink {
 public:
  CellLink(zel::sim::Cell& cell, const Options& options);
  bool feed() override;
  Wrench read() override { return cell_.reading(); }
  Pose pose() override { return set_; }
  Pose actual() override { return cell_.flange(); }
  void follow(const Pose& pose) override;

 private:
  zel::sim::Cell& cell_;
  std::chrono::duration<double> period_;
  bool realtime_;
  std::chrono::steady_clock::time_point next_;
  Pose set_;
};

/// Keeps the library open.
class Library {
 public:
  /// With a sensor whose readings the controller feeds.
  Library();
  /// With a network sensor. Throws when it cannot be reached, with reason and sensor status.
  explicit Library(unsigned short sensorPort, const std::string& address = "127.0.0.1");
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

/// The setup that fits the cell: a robot's commissioning would measure these values.
Setup setupOf(const zel::sim::CellConfig& cell, const Options& options);

/// Takes the zero reference: robot at rest, nothing touched.
void zero(RobotLink& robot);

/// One control cycle. `control` is the compensated wrench in the frame of the mode.
struct Cycle {
  const char* run;
  double time;  ///< s since the first cycle of the log
  Pose pose;    ///< handed to the library
  Pose actual;
  Wrench raw;
  Wrench control;
  int code;
  Pose commanded = {};                                 ///< sent to the robot
  double step = none;                                  ///< that is along the main axis, mm/s
  double driven = none;                                ///< by the robot since the last cycle, mm/s
  double wanted = none;                                ///< force on the main axis, N
  int phase = -1;                                      ///< of an approach; other runs have none
  std::array<double, 3> planned = {none, none, none};  ///< on the path without correction, mm
  double side = none;                                  ///< of the path, where the robot is, mm
};
using Log = std::vector<Cycle>;

/// A run of any mode: out_pos, robot_pos_now, error record.
using Run = std::function<int(double*, double*, zel_ftc_error*)>;

struct CycleLimits {
  zel_ftc_plan plan;      ///< for the check of the configuration; the start is the robot's pose
  double period = 4.0;    ///< ms
  double longest = 60.0;  ///< s; tracking and assembly runs have no time-out of their own
  double progress = 0.5;  ///< s between progress lines
  int mainAxis = FZ;      ///< of the wrench, for progress lines and records
  /// Adds what belongs to the mode to the record of a cycle, after the call of the run.
  std::function<void(Cycle&)> note = [](Cycle&) {};

  /// Nothing is known of the cell.
  CycleLimits(ZelRunKind run, double controlPeriod);
  CycleLimits(ZelRunKind run, const Options& options);
};

/// How a run went.
struct Outcome {
  enum class By { run, time, other };
  By by = By::other;           ///< what stopped it: the run itself, the longest time, see why
  int code = ZEL_RUN_RUNNING;  ///< the last one
  std::string why;             ///< text of the code, or what else stopped the run

  bool ended() const { return by == By::run && code == ZEL_RUN_END; }
  /// The code, or what else stopped the run.
  std::string brief() const { return by == By::run ? std::to_string(code) : why; }
  /// The same, with the text of the code.
  std::string text() const { return by == By::run ? brief() + " " + why : why; }
};

/// Prints what the check of the configuration finds, then calls the run once per period until it
/// ends or fails, the guard holds the robot, the link has no more readings, or the longest time has
/// passed. SIGINT, SIGTERM and SIGHUP throw.
Outcome cycle(RobotLink& robot, const char* name, const Run& run, const CycleLimits& limits,
              Log& log);

ApproachMode approachMode(const Options& options);
Outcome approach(RobotLink& robot, const ApproachMode& mode, CycleLimits limits, Log& log);

/// Where a position lies to the side of a path, mm: across the path and the tool's z axis.
using Side = std::function<double(const Pose&)>;
Side besideLine(const Pose& start, const Pose& end);
Side besideArc(const Pose& start, const Pose& via, const Pose& end);
/// How far a position is from the end of a path, seen along the tool's z axis, mm.
double besideEnd(const Pose& pose, const Pose& end);

/// Tracking along a path with a steady force. An approach comes first.
TrackingMode trackingMode(const Options& options);
Outcome followLine(RobotLink& robot, Pose start, Pose end, const Options& options, Log& log);
Outcome followArc(RobotLink& robot, Pose start, Pose via, Pose end, const Options& options,
                  Log& log);

/// The assembly run watches and does not move the robot (see the assembly example): `hold` follows
/// the pose that it returns, `pushHome` lets the tool advance at `speed` mm/s along its z axis
/// until the run ends at the force of the mode.
Outcome hold(RobotLink& robot, double seconds, const Options& options, Log& log);
Outcome pushHome(RobotLink& robot, double speed, const ApproachMode& mode, const Options& options,
                 Log& log);

/// The motion from one pose to another seen along an axis of wrenches (FZ: along z, MZ: about z) of
/// the flange, mm or rad.
double motionAlong(int axis, Pose from, Pose to);

/// The z axis of a pose in the base: the direction in which the examples press.
std::array<double, 3> zAxis(Pose pose);

/// The pose, moved by (dx, dy, dz) mm in the base.
Pose moved(Pose pose, double dx, double dy, double dz);

}  // namespace example

#endif
