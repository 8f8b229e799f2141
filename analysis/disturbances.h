// What happens while recording: a zero that drifts, readings at a limit, axes that are turned by
// some angle. Internal.
#ifndef ZEL_FTC_ANALYSIS_DISTURBANCES_H
#define ZEL_FTC_ANALYSIS_DISTURBANCES_H

#include <vector>

#include "analysis/explanation.h"
#include "analysis/identification.h"

namespace zel::analysis {

struct Disturbance {
  Mistake what = Mistake::drift;                       ///< drift, saturation or turned_axes
  double chance = 0.0;                                 ///< that noise looks like it
  int channel = 0;                                     ///< saturation: 0..5
  double limit = 0.0;                                  ///< saturation: N or N m
  std::vector<int> poses;                              ///< saturation: which stand there
  Eigen::Matrix3d turn = Eigen::Matrix3d::Identity();  ///< turned_axes
};

/// Adds to the explanation, one after the other, what makes it better by the information criterion
/// and by an F test at the given level (for all alternatives of a step together), and leaves
/// contacts out. `time` orders the poses, from 0 to 1.
std::vector<Disturbance> explainDisturbances(Explanation& explanation, const Eigen::VectorXd& time,
                                             double level);

}  // namespace zel::analysis

#endif
