// Mistakes of frames and orientations: what a recording would be without them. Internal.
#ifndef ZEL_FTC_ANALYSIS_FRAMES_H
#define ZEL_FTC_ANALYSIS_FRAMES_H

#include <Eigen/Dense>
#include <optional>
#include <string>
#include <vector>

#include "analysis/explanation.h"
#include "analysis/identification.h"

namespace zel::analysis {

/// A recording as it stands: orientations as they were stated, of the flange or of the sensor.
struct Stated {
  std::vector<Orientation> orientations;
  Eigen::Matrix3d mounting;  ///< R_stated_sensor
  Eigen::Matrix3Xd F, M;

  Scene scene() const;
};

/// One mistake that explains the readings, and the scene without it.
struct FrameMistake {
  Mistake what;
  std::string text;
  Scene scene;
  Eigen::Matrix3d turn = Eigen::Matrix3d::Identity();  ///< R_stated_read: how the axes are turned
  bool torques_only = false;                           ///< the forces are right
  double chance = 0.0;                                 ///< that noise makes it look so
  std::vector<std::string> others = {};                ///< explain the readings as well
};

/// Looks for the mistake whose correction explains the readings, in most poses at least, and needs
/// the fewest other mistakes besides: touched poses, gravity aslant or upwards. It has to explain
/// them overwhelmingly better than the recording as stated, at the given level for all candidates
/// together. Equally good ones are named with it. None where a turn by any angle needs less: that
/// is found with the disturbances.
std::optional<FrameMistake> findFrameMistake(const Stated& stated, double level);

/// The scene with the axes of the readings turned back by a rotation R_stated_read.
Scene turnedBack(Scene scene, const Eigen::Matrix3d& turn);

/// The rotation of the readings' axes against the stated ones that fits best; none where the poses
/// cannot tell it.
Eigen::Matrix3d turnOfReadings(const Explanation& explanation);

/// Whether a turn (or a mirroring) takes axes to axes, within two degrees.
bool isAlongAxes(const Eigen::Matrix3d& turn);

/// How the axes of the readings lie in the stated ones: "fx points along +y, ..." for a turn or
/// mirroring along the axes, else the angle of the turn and its axis.
std::string turnText(const Eigen::Matrix3d& turn);

}  // namespace zel::analysis

#endif
