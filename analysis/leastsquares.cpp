#include "analysis/leastsquares.h"

#include <algorithm>
#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/fisher_f.hpp>
#include <cmath>

namespace zel::analysis {

double Fit::variance(double floor) const {
  return std::max(dof > 0 ? rss / dof : 0.0, floor * floor);
}

Fit fit(const Model& model, const Poses& used) {
  // No size is known to the compiler, which unrolls and takes three times as long otherwise;
  // nothing is allocated all the same.
  constexpr int most = 15;
  using Square = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, 0, most, most>;
  using Column = Eigen::Matrix<double, Eigen::Dynamic, 1, 0, most, 1>;
  const Eigen::Index columns = model.A.cols();
  Square normal = Square::Zero(columns, columns);
  Column right = Column::Zero(columns);
  Fit result;
  for (int k = 0; k < model.poses(); ++k) {
    if (!used[k]) continue;
    const auto A = model.A.middleRows<3>(3 * k);
    normal += A.transpose().lazyProduct(A);
    right += A.transpose().lazyProduct(model.y.segment<3>(3 * k));
    result.dof += model.rows[k];
  }

  // Directions of which only rounding is left are not determined.
  Eigen::CompleteOrthogonalDecomposition<Square> solver;
  solver.setThreshold(1e-10);
  solver.compute(normal);
  const Square inverse = solver.pseudoInverse();
  result.rank = static_cast<int>(solver.rank());
  result.dof -= result.rank;

  const Column x = inverse * right;
  result.x = x;
  result.inverse = inverse;
  result.residual = model.y;
  for (int k = 0; k < model.poses(); ++k) {
    auto residual = result.residual.segment<3>(3 * k);
    residual -= model.A.middleRows<3>(3 * k).lazyProduct(x);
    if (used[k]) result.rss += residual.squaredNorm();
  }
  return result;
}

namespace {

using Policy = boost::math::policies::policy<boost::math::policies::promote_double<false>>;

}  // namespace

double tailOfF(double statistic, double d1, double d2) {
  if (d1 <= 0.0 || d2 <= 0.0 || !(statistic > 0.0)) return 1.0;
  return cdf(complement(boost::math::fisher_f_distribution<double, Policy>(d1, d2),
                        std::min(statistic, 1e100)));
}

double quantileOfChiSquare(double probability, double d) {
  return quantile(boost::math::chi_squared_distribution<double, Policy>(d), probability);
}

double chanceOfGain(const Model& model, const Fit& narrow, const Fit& wide) {
  const int more = narrow.dof - wide.dof;
  if (more <= 0) return 1.0;
  return tailOfF((narrow.rss - wide.rss) / (more * wide.variance(model.floor)), more, wide.dof);
}

double chanceOfDistance(const Model& model, const Fit& fit, int k, double tolerance) {
  // The residual of a new pose spreads by I + A C A' of the noise.
  const auto A = model.A.middleRows<3>(3 * k);
  const Eigen::Matrix3d spread = Eigen::Matrix3d::Identity() + A * fit.inverse * A.transpose();
  const Eigen::Vector3d e = fit.residual.segment<3>(3 * k);
  const double distance = e.dot(spread.ldlt().solve(e));
  return tailOfF(distance / (model.rows[k] * fit.variance(tolerance)), model.rows[k], fit.dof);
}

double eitherOf(double p, double q) {
  return std::min(1.0, 2.0 * std::min(p, q));
}

}  // namespace zel::analysis
