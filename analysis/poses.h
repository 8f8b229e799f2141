// Static poses for the identification of a load: where the sensor was and what it read.
#ifndef ZEL_FTC_ANALYSIS_POSES_H
#define ZEL_FTC_ANALYSIS_POSES_H

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace zel::analysis {

using Vector = std::array<double, 3>;
/// Fx, Fy, Fz in N, Mx, My, Mz in N m.
using Wrench = std::array<double, 6>;

using Rotation = std::array<Vector, 3>;  ///< rows of a rotation matrix
struct Quaternion {
  double w, x, y, z;
};
/// Angles in rad about Z, Y, X: R = RotZ(a) * RotY(b) * RotX(c).
struct Angles {
  double a, b, c;
};

/// An orientation in the robot base in the form in which it was recorded: mistakes are made in that
/// form (components in another order, another unit), and are looked for in it.
using Orientation = std::variant<Rotation, Quaternion, Angles>;

/// The rotation as it stands: nothing is normalised.
Rotation rotationOf(const Orientation& orientation);

/// One standstill of the robot.
struct StaticPose {
  std::string name;  ///< for messages: "4" or a label of the recording
  Orientation orientation = Rotation{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  std::optional<Vector> position;  ///< mm in the base; takes no part in the identification
  std::optional<double> time;      ///< s; orders the poses when all of them have one
  Wrench wrench{};                 ///< raw reading in sensor axes, the mean of its rows
  std::size_t rows = 1;            ///< readings behind the mean
  std::size_t line = 0;            ///< first line in the file, 0 without a file
};

/// Collects readings row by row and takes rows of the same pose together. Rows belong to the same
/// pose while they follow each other with the same label; without labels, with equal numbers for
/// orientation and position. Memory grows with the poses, not with the rows.
class PoseCollector {
 public:
  /// One row: `row.wrench` is a single reading; `row.name` is the label, empty for none. A pose
  /// without a label is called by its number, from 1.
  void add(const StaticPose& row);
  const std::vector<StaticPose>& poses() const { return poses_; }

 private:
  bool continues(const StaticPose& row) const;

  std::vector<StaticPose> poses_;
  bool labelled_ = false;  ///< the last pose has a label
};

/// The most poses and the most rows that are read from a file.
constexpr std::size_t mostPoses = 1000;
constexpr std::size_t mostRows = 10'000'000;
/// The largest magnitude of a number of any unit; nothing that is measured comes near it.
constexpr double largestNumber = 1e12;

/// Reads poses from a CSV file: a header line, then one line per reading, comma separated, decimal
/// points, UTF-8 or ASCII, in any order of columns. Units stand in the column names:
///
///   qw, qx, qy, qz            orientation as a quaternion of unit length (within 0.001), or
///   a_deg, b_deg, c_deg       as angles about Z, Y, X in degrees, or
///   a_rad, b_rad, c_rad       the same in radians
///   x_mm, y_mm, z_mm          position, or x_m, y_m, z_m in metres; may be left out
///   fx, fy, fz                raw force in sensor axes, N
///   mx, my, mz                raw torque in sensor axes about the sensor's origin, N m
///   time_s                    may be left out
///   pose                      label of the standstill, may be left out: see PoseCollector
///
/// Empty lines are skipped, spaces around cells as well. The file is read line by line. Throws
/// std::runtime_error with one sentence that names file, line and column for: a file that cannot
/// be read or is empty, UTF-16, a column that is missing, repeated, unknown or says the same in a
/// second unit, a row that is too short or too long, a cell that is not a number or beyond
/// `largestNumber`, an angle of more than one turn, a quaternion that is not of unit length, more
/// poses or rows than the limits above.
std::vector<StaticPose> readPoses(const std::string& path);

}  // namespace zel::analysis

#endif
