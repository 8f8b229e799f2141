// Least squares with three rows per pose, and the tests that compare two such fits. Internal.
#ifndef ZEL_FTC_ANALYSIS_LEASTSQUARES_H
#define ZEL_FTC_ANALYSIS_LEASTSQUARES_H

#include <Eigen/Dense>
#include <vector>

namespace zel::analysis {

/// Columns in groups of three: gravity or centre of mass, offset, then up to two more groups.
using Design = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

/// Poses that take part in a fit.
using Poses = std::vector<char>;

/// y = A x + noise, rows 3k..3k+2 of pose k. A row that says nothing (a clipped reading) is zero in
/// A and y.
struct Model {
  Design A;
  Eigen::VectorXd y;
  Eigen::ArrayXi rows;  ///< rows of each pose that say something
  double floor;         ///< the smallest noise that is believed: rounding is no noise

  int poses() const { return static_cast<int>(rows.size()); }
};

struct Fit {
  Eigen::VectorXd x;         ///< of the smallest length where the rows leave a choice
  Eigen::MatrixXd inverse;   ///< (A'A)^-1, of the determined part
  Eigen::VectorXd residual;  ///< y - A x of every row, of poses left out too
  double rss = 0.0;          ///< of the poses that take part
  int rank = 0;              ///< of the rows that take part
  int dof = 0;               ///< their number - rank

  /// Variance of one row.
  double variance(double floor) const;
};

Fit fit(const Model& model, const Poses& used);

/// P(F >= statistic) for d1 and d2 degrees of freedom; 1 without any.
double tailOfF(double statistic, double d1, double d2);

/// What a sum of squares with d degrees of freedom stays below with the given probability.
double quantileOfChiSquare(double probability, double d);

/// Chance that nothing but noise makes the wider model as much better as it is: the F test of
/// nested models.
double chanceOfGain(const Model& model, const Fit& narrow, const Fit& wide);

/// Chance that pose k, which the fit leaves out, lies as far from its prediction; noise below
/// `tolerance` is taken as that.
double chanceOfDistance(const Model& model, const Fit& fit, int k, double tolerance);

/// Chance of the less likely of two, which may depend on each other: an orientation that is off
/// shows in force and torque (Bonferroni).
double eitherOf(double p, double q);

}  // namespace zel::analysis

#endif
