// From a fitted explanation to numbers with standard deviations; what further poses would do for
// them. Internal.
#ifndef ZEL_FTC_ANALYSIS_SOLUTION_H
#define ZEL_FTC_ANALYSIS_SOLUTION_H

#include <Eigen/Dense>
#include <optional>
#include <string>
#include <vector>

#include "analysis/explanation.h"
#include "analysis/identification.h"

namespace zel::analysis {

Solution solutionOf(const Explanation& explanation, const LoadFit& fit);

/// Chance that gravity along the base z axis, up or down, looks as tilted by noise alone.
double chanceOfTilt(const Explanation& explanation, const LoadFit& fit);
/// Chance that noise alone looks like this weight.
double chanceOfWeight(const Explanation& explanation, const LoadFit& fit);

/// The largest share of the goal that a deviation takes, 1 or less when it is reached. Deviations
/// from few degrees of freedom are widened by Student's factor.
double worstShare(const Accuracy& accuracy, const Goal& goal, int freedom);

/// How well the orientations tell the answer.
struct Observability {
  double condition_force, condition_torque;
  std::vector<std::string> undetermined;  ///< everything that stays open
  std::string why;
};
Observability observabilityOf(const Explanation& explanation, const LoadFit& fit);

/// What the best further poses would bring.
struct Plan {
  std::optional<NextPose> next;
  std::optional<int> poses_missing;
};
Plan planOf(const Explanation& explanation, const LoadFit& fit, const Eigen::Matrix3d& mounting,
            const Goal& goal);

}  // namespace zel::analysis

#endif
