// Offline identification of the load on a force/torque sensor, with diagnosis of the recording.
#ifndef ZEL_FTC_ANALYSIS_IDENTIFICATION_H
#define ZEL_FTC_ANALYSIS_IDENTIFICATION_H

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "analysis/poses.h"

namespace zel::analysis {

/// May the answer be used? `usable`: with what its reason names in mind.
enum class Verdict { good, usable, do_not_use };

/// A number with its standard deviation. What the poses cannot tell is not a number.
struct Estimate {
  double value = std::numeric_limits<double>::quiet_NaN();
  double deviation = std::numeric_limits<double>::infinity();
  bool determined() const { return std::isfinite(deviation); }
};

/// One answer and how well it fits.
struct Solution {
  Estimate weight;                        ///< N
  std::array<Estimate, 3> centre;         ///< centre of mass in the sensor frame, mm
  std::array<Estimate, 3> force_offset;   ///< N
  std::array<Estimate, 3> torque_offset;  ///< N m
  /// The centre by regression on the measured forces, as ldd_tool does it, mm. Noise and drift of
  /// the forces pull it off the truth, so `centre` is the better estimate.
  Vector centre_on_measured_forces{};
  Vector gravity{};           ///< direction of gravity, base axes; (0, 0, -1) is straight down
  Estimate tilt;              ///< angle between it and straight down, rad
  double force_rms = 0.0;     ///< residual of one force component, N
  double torque_rms = 0.0;    ///< residual of one torque component, N m
  double force_noise = 0.0;   ///< the same per degree of freedom: noise of one component, N
  double torque_noise = 0.0;  ///< N m
  int freedom = 0;            ///< degrees of freedom of the forces: rows beyond the unknowns
};

/// What can be wrong with a recording. The names are those of `nameOf`.
enum class Mistake {
  not_a_rotation,
  too_few_poses,
  readings_in_base_axes,
  inverted_rotation,
  quaternion_order,
  angle_convention,
  angle_unit,
  turned_axes,
  reversed_axis,
  gravity_sign,
  tilted_base,
  position_unit,
  torque_unit,
  drift,
  contact,
  saturation,
  similar_orientations,
  no_weight,
  scatter
};

/// "drift", "contact", ... for machine-readable output; never renamed.
const char* nameOf(Mistake mistake);
const char* nameOf(Verdict verdict);

struct Finding {
  Mistake what;
  std::string text;    ///< what, where and how much: one sentence
  std::string advice;  ///< what to do about it
  /// Chance that a recording without the mistake looks like this; 0 where a rule says so, not a
  /// test.
  double chance = 0.0;
  Verdict leaves = Verdict::do_not_use;  ///< the best verdict that is possible with it
  std::vector<std::size_t> poses;        ///< indices of the poses it names
};

struct PoseResidual {
  Vector force{};         ///< reading minus model of the answer, N
  Vector torque{};        ///< N m
  double size = 0.0;      ///< length in standard deviations of force and torque together
  bool left_out = false;  ///< takes no part in the answer
};

/// Standard deviations of weight (N) and centre of mass (mm); infinite: cannot be told.
struct Accuracy {
  double weight = std::numeric_limits<double>::infinity();
  Vector centre = {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(),
                   std::numeric_limits<double>::infinity()};
};

/// The orientation that would improve the answer most.
struct NextPose {
  Angles angles{};   ///< of the recorded frame (flange or sensor) in the base
  Vector gravity{};  ///< direction of gravity in sensor axes there
  Accuracy before, after;
};

struct Goal {
  double weight;  ///< standard deviation wanted, N
  double centre;  ///< of each coordinate, mm
};

struct Options {
  /// Angles of the sensor frame on the frame whose orientation was recorded: zero when the sensor's
  /// own poses were recorded, those of the mounting when the flange's were.
  Angles mounting{};
  /// Largest magnitude that the sensor gives per channel; readings there are taken as saturated.
  std::optional<Wrench> range = std::nullopt;
  std::optional<Goal> goal = std::nullopt;
};

struct Report {
  Verdict verdict = Verdict::do_not_use;
  std::string reason;  ///< of the verdict, one sentence
  Solution recorded;   ///< the recording taken at its word, all poses that have a rotation
  /// The answer without everything that was found; absent when there is nothing to take out.
  std::optional<Solution> corrected;
  const Solution& answer() const { return corrected ? *corrected : recorded; }
  /// g, lx, ly, lz for zel_ftc_setLoadData (N, mm), of the answer. Absent with do_not_use.
  std::optional<std::array<double, 4>> load_data;

  std::vector<Finding> findings;
  std::vector<PoseResidual> residuals;  ///< of the answer, one per pose
  std::vector<std::size_t> worst;       ///< up to three poses, the worst first

  double condition_force = 0.0;  ///< of the equations, 1 is best
  double condition_torque = 0.0;
  std::vector<std::string> undetermined;  ///< quantities that these poses cannot tell: "lz"
  std::string undetermined_why;           ///< "all poses have gravity along z"

  std::optional<NextPose> next;  ///< absent with fewer than three poses
  Goal goal{};                   ///< Options::goal, or the limits of `good` without one
  bool goal_reached = false;
  /// Poses still needed for it when they are chosen well; absent when thirty are not enough.
  std::optional<int> poses_missing;
};

/// Identifies weight, centre of mass and offsets from static poses, looks for what is wrong with
/// the recording, and judges the answer. Any number of poses, one row of equations each: a pose
/// with many readings counts once, by its mean.
///
/// Readings are raw: sensor axes, torque about the sensor's origin, as the sensor gives them.
/// Model: F = R'G + F0, M = l x (R'G) + M0 with R = R_base_sensor and G free in the base. Weight
/// |G| agrees with ldd_tool.
///
/// Throws std::invalid_argument when a number of poses or options is not finite or beyond
/// `largestNumber`, a range or goal is not above 0, and when there is no pose at all. Same input,
/// same report. Allocates; not for the control thread.
Report identify(std::span<const StaticPose> poses, const Options& options = {});

/// The report as text, at most 80 columns wide, no escape codes. Throws std::invalid_argument for
/// poses that are not as many as those of the report.
std::string table(const Report& report, std::span<const StaticPose> poses);

}  // namespace zel::analysis

#endif
