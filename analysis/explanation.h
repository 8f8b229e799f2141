// The model of a recording - load, offsets, and what disturbed it - and its fit. Internal.
#ifndef ZEL_FTC_ANALYSIS_EXPLANATION_H
#define ZEL_FTC_ANALYSIS_EXPLANATION_H

#include <Eigen/Dense>
#include <utility>
#include <vector>

#include "analysis/leastsquares.h"
#include "analysis/poses.h"

namespace zel::analysis {

/// The smallest noise that is believed, N and N m: rounding to mN and mN m, as sensors transmit.
constexpr double forceFloor = 3e-4, torqueFloor = 3e-4;

/// Differences that are no mistake, N and N m: what calibration of the sensor and accuracy of the
/// robot leave. They follow the orientation, so that a few poses may look like exceptions.
struct Tolerance {
  double force, torque;
};

struct Scene {
  std::vector<Eigen::Matrix3d> R;  ///< R_base_sensor of each pose
  Eigen::Matrix3Xd F, M;           ///< readings, sensor axes
  int poses() const { return static_cast<int>(R.size()); }
  /// Half a percent of what the readings of most poses differ by.
  Tolerance tolerance() const;
};

Eigen::Matrix3d matrixOf(const Orientation& orientation);

/// What is assumed about a recording.
struct Explanation {
  explicit Explanation(Scene s)
      : scene(std::move(s)), tolerance(scene.tolerance()), used(scene.R.size(), 1) {
    clipped.setConstant(6, scene.poses(), false);
  }

  Scene scene;  ///< with mistakes of the frames put right
  Tolerance tolerance;
  Eigen::VectorXd drift;  ///< shape over the poses, from -1 to 0 at the end; empty: steady zero
  Eigen::Array<bool, 6, Eigen::Dynamic> clipped;  ///< readings that stand at a limit
  Eigen::Vector2d clipped_rss = {0, 0};  ///< their scatter about their limits: force, torque
  int parameters = 0;                    ///< spent beside load, drift and contacts
  Poses used;                            ///< poses without contact
};

struct LoadFit {
  Model force_model, torque_model, check_model;
  Fit force;   ///< F = R'G + F0 [+ drift]
  Fit torque;  ///< M = l x (R'G) + M0 [+ drift] with the G of the force
  /// The torques with a G of their own, to first order about the fit above: its residuals are free
  /// of the forces' noise, so that tests on forces and torques are independent.
  Fit check;
  Eigen::Vector3d G;  ///< gravity force, base axes

  /// Compares explanations of the same readings, the smallest is the best: the logarithm of the
  /// noise variance per row, taken at its upper confidence bound so that an explanation that leaves
  /// few degrees of freedom does not win by chance, and log(rows) for every parameter (Schwarz,
  /// "Estimating the dimension of a model", 1978).
  double score(const Explanation& explanation) const;
};

/// Takes the rows that say nothing out of a model of the channels from `first_channel` on.
void silence(const Explanation& explanation, int first_channel, Model& model);

Model forceModel(const Explanation& explanation);
LoadFit fitLoad(const Explanation& explanation);

/// As many poses as `used` has to keep: those with the smallest residuals of the force, found by
/// concentration steps from `used` on (Rousseeuw and Van Driessen, "Computing LTS regression for
/// large data sets", 2006). `rss` is their sum of squares.
Poses concentrated(const Model& force, Poses used, int keep, int steps, double& rss);

/// Poses that nothing touched: a least-trimmed-squares start that lets up to a third of the poses
/// be wrong, then every pose that agrees with the others is taken back, the closest first, at the
/// given level for the whole recording (Hadi and Simonoff, "Procedures for the identification of
/// multiple outliers in linear models", 1993). Poses without which the others tell less, as both
/// that have gravity along one axis of the sensor, are not left out together.
Poses withoutContacts(const Explanation& explanation, double level);

/// Chance that pose k, left out, lies so far from the others' prediction, times the poses.
double chanceOfPose(const LoadFit& fit, const Tolerance& tolerance, int k);

}  // namespace zel::analysis

#endif
