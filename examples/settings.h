// The settings of the library as a program has them: as options, in a file, and in the calls that
// make them.
#ifndef ZEL_FTC_EXAMPLES_SETTINGS_H
#define ZEL_FTC_EXAMPLES_SETTINGS_H

#include <CLI/CLI.hpp>
#include <array>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "sim/cell.h"
#include "zel_ftc_check.h"
#include "zel_ftc_guard.h"
#include "zel_ftc_lib.h"

namespace example {

using zel::sim::Pose;
using zel::sim::Wrench;

/// Why the library refused the last call, and what to do about it.
std::string lastRefusal();
/// Throws with that when a flat function did not return 1.
void require(int result);

/// Every limit off.
constexpr std::array<double, ZEL_GUARD_LIMIT_COUNT> noGuard() {
  std::array<double, ZEL_GUARD_LIMIT_COUNT> limits = {};
  limits.fill(std::numeric_limits<double>::quiet_NaN());
  return limits;
}

/// What every mode needs: period, mounting, load and limits.
struct Setup {
  double period = 4.0;  ///< ms
  Wrench sensorRating = {200, 200, 200, 10, 10, 10};
  Pose flange_sensor = {};
  Pose sensor_tool = {};
  zel::sim::Load load = {};
  Wrench permissible = {60, 60, 60, 6, 6, 6};  ///< beyond it every run stops with 11000
  double maxPath = 200;   ///< mm from the start; beyond it runs but tracking stop with 11005
  double maxAngle = 0.5;  ///< rad
  /// Where an approach may command, from its start pose, mm: three upper and three lower bounds.
  /// Empty: a tenth beyond maxPath. The box holds the robot back without a message, the limit of
  /// the total correction stops the run: keep the box outside of it.
  std::vector<double> boxMax = {}, boxMin = {};
  double deadBandForce = 0.25, deadBandTorque = 0.0025;  ///< N, N m; the library's own
  double minimumPath = 0.0;                              ///< mm, before a contact may end a run
  /// Limits of the guard, which then holds; not-a-number: off.
  std::array<double, ZEL_GUARD_LIMIT_COUNT> guard = noGuard();
};

struct ApproachMode {
  ZelRcs frame = RCS_TOOL;
  ZelDirection direction = FT_FZ;
  /// Expected force E. The tool moves along +axis for a positive E and presses until the measured
  /// force, which points back at the tool, is -E.
  double force = 10.0;
  Wrench gains = {0, 0, 3, 0, 0, 0};         ///< mm/s per N; 0 holds the axis stiff
  double speed = 20.0;                       ///< mm/s
  double switchingForce = 2.0;               ///< N: contact
  double switchingTorque = 1.0;              ///< N m: contact
  Wrench breakRange = {0, 0, 0.3, 0, 0, 0};  ///< the run ends when |E + F| stays within; 0 = any
  unsigned long timeOut = 60000;             ///< ms of wall clock
};

struct TrackingMode {
  ZelRcs frame = RCS_TOOL;
  ZelDirection direction = FT_FZ;  ///< has no effect on a tracking run
  Wrench force = {};               ///< expected force E of each axis
  Wrench gains = {};               ///< mm/s per N
  /// Signed limits: a jump to more than 15 N above the wanted force stops the run with 80010.
  Wrench breakRange = {0, 0, -15, 0, 0, 0};
  double speed = 20.0;  ///< mm/s
};

/// Everything that a settings file may say.
struct Settings {
  Setup setup = {};
  ApproachMode approach = {};
  TrackingMode tracking = {};
  zel_ftc_plan plan = unknownPlan();  ///< what the check wants to know beyond the library

  static zel_ftc_plan unknownPlan();
};

/// The options, for tuning on the command line; a settings file has the same names.
void addOptions(CLI::App& app, ApproachMode& mode);
void addOptions(CLI::App& app, Setup& setup);

/// A settings file: one "name = value" a line, lists in brackets or with spaces, comments behind #.
/// examples/settings.toml has every name.
class SettingsFile {
 public:
  /// Throws std::runtime_error that names the file and what is wrong with it.
  explicit SettingsFile(const std::string& path);
  /// The defaults with what the file says in their place.
  Settings over(Settings defaults) const;
  /// Which of these the file does not say.
  std::vector<std::string> missing(std::vector<std::string> names) const;

 private:
  std::string path_, text_;
  std::set<std::string> names_;
};

/// Adds --config FILE.
void addSettingsOption(CLI::App& app, std::function<void(const SettingsFile&)> take);

/// The calls. Throw when the library refuses one, with its reason.
void configure(const Setup& setup);
void configureSensor(const Setup& setup);
void configureLoad(const Setup& setup);
void configureBox(const Setup& setup);
void configureMonitoring(const Setup& setup);
void configureCorrection(const Setup& setup);
void configureDeadBand(const Setup& setup);
void configureMinimumPath(const Setup& setup);
void configureGuard(const Setup& setup);
void configureApproach(const ApproachMode& mode);
void configureAssembly(const ApproachMode& mode);
void configureTracking(const TrackingMode& mode);

}  // namespace example

#endif
