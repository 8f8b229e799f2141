#include "analysis/solution.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <numbers>
#include <numeric>

namespace zel::analysis {

namespace {

using Eigen::Matrix3d;
using Eigen::MatrixXd;
using Eigen::Vector3d;

constexpr double mm_per_m = 1000.0;
const char* const axisNames[] = {"x", "y", "z"};

/// A quantity counts as not determined when its deviation is more than so many times what the same
/// number of well-spread orientations would give: no number of repetitions makes up for that.
constexpr double hopeless = 30.0;

/// What the rows of some poses tell: the normal equations of both fits. The torque's unknowns are
/// weight times centre, so that all columns have the same size.
class Information {
 public:
  Information(const Explanation& e, const LoadFit& fit)
      : G(fit.G),
        weight(std::max(fit.G.norm(), forceFloor)),
        centre(fit.torque.x.head<3>()),
        force_variance(fit.force.variance(forceFloor)),
        torque_variance(fit.check.variance(torqueFloor)),
        freedom(fit.force.dof),
        force_(MatrixXd::Zero(fit.force_model.A.cols(), fit.force_model.A.cols())),
        torque_(force_),
        coupling_(MatrixXd::Zero(force_.rows(), 3)) {
    for (int k = 0; k < fit.force_model.poses(); ++k) {
      if (!e.used[k]) continue;
      add(e.scene.R[k], fit.force_model.A.middleRows<3>(3 * k),
          fit.torque_model.A.middleRows<3>(3 * k));
    }
  }

  /// One more pose without drift.
  void add(const Matrix3d& R) {
    MatrixXd force = MatrixXd::Zero(3, force_.cols());
    force.middleCols<3>(3).setIdentity();
    MatrixXd torque = force;
    const Vector3d f = R.transpose() * G;
    for (int j = 0; j < 3; ++j) {
      force.col(j) = R.row(j);
      torque.col(j) = Vector3d::Unit(j).cross(f);
    }
    add(R, force, torque);
    freedom += 3;
  }

  MatrixXd forceCovariance() const { return force_variance * regularInverse(force_); }

  /// Of weight times centre, and of the torque offset. The uncertainty of G comes on top of the
  /// noise of the torques.
  MatrixXd torqueCovariance() const {
    const MatrixXd inverse = regularInverse(torque_);
    const MatrixXd J = inverse * coupling_;
    return torque_variance * inverse + J * forceCovariance().topLeftCorner<3, 3>() * J.transpose();
  }

  double weightDeviation() const {
    const Vector3d up = G / weight;
    return std::sqrt(up.dot(forceCovariance().topLeftCorner<3, 3>() * up));
  }

  Accuracy accuracy() const {
    const MatrixXd C = torqueCovariance();
    Accuracy a{weightDeviation(), {}};
    for (int i = 0; i < 3; ++i) a.centre[i] = mm_per_m * std::sqrt(C(i, i)) / weight;
    return a;
  }

  /// The same, infinite where the poses cannot tell.
  Accuracy told() const {
    const auto lacking = deficiency();
    Accuracy a = accuracy();
    if (!(lacking[0] <= hopeless)) a.weight = Accuracy().weight;
    for (int i = 0; i < 3; ++i) {
      if (!(lacking[1 + i] <= hopeless)) a.centre[i] = Accuracy().centre[i];
    }
    return a;
  }

  /// Deviation of each quantity against the one of as many well-spread poses: G's part along
  /// gravity, centre, force offset, torque offset.
  std::array<double, 10> deficiency() const {
    const MatrixXd CF = regularInverse(force_), CT = regularInverse(torque_);
    const double n = poses_;
    const Vector3d up = G / weight;
    std::array<double, 10> d{};
    d[0] = std::sqrt(n * up.dot(CF.topLeftCorner<3, 3>() * up));
    for (int i = 0; i < 3; ++i) {
      d[1 + i] = std::sqrt(n * 2.0 / 3.0 * CT(i, i));
      d[4 + i] = std::sqrt(n * CF(3 + i, 3 + i));
      d[7 + i] = std::sqrt(n * CT(3 + i, 3 + i));
    }
    return d;
  }

  double conditionForce() const { return condition(force_); }
  double conditionTorque() const { return condition(torque_); }

  Vector3d G;
  double weight;
  Vector3d centre;
  double force_variance, torque_variance;
  int freedom;

 private:
  void add(const Matrix3d& R, const MatrixXd& force, MatrixXd torque) {
    MatrixXd lever(3, 3);  // what a change of G changes of the torque: l x (R'dG)
    for (int j = 0; j < 3; ++j) lever.col(j) = centre.cross(R.row(j).transpose());
    for (int i = 0; i < 3; ++i) {
      if (torque(i, 3 + i) == 0.0) lever.row(i).setZero();
    }
    torque.leftCols<3>() /= weight;
    force_ += force.transpose() * force;
    torque_ += torque.transpose() * torque;
    coupling_ += torque.transpose() * lever;
    poses_ += 1.0;
  }

  MatrixXd regularInverse(const MatrixXd& normal) const {
    constexpr double relative = 1e-9;
    const MatrixXd identity = MatrixXd::Identity(normal.rows(), normal.rows());
    return (normal + relative * poses_ * identity).ldlt().solve(identity);
  }

  static double condition(const MatrixXd& normal) {
    const auto values = Eigen::SelfAdjointEigenSolver<MatrixXd>(normal).eigenvalues();
    if (!(values(0) > 0.0)) return std::numeric_limits<double>::infinity();
    return std::sqrt(values(values.size() - 1) / values(0));
  }

  MatrixXd force_, torque_, coupling_;
  double poses_ = 0.0;
};

Estimate estimate(double value, double variance, double deficiency) {
  if (!(deficiency <= hopeless)) return {};
  return {value, std::sqrt(variance)};
}

Vector arrayOf(const Vector3d& v) {
  return {v.x(), v.y(), v.z()};
}

/// M = l x F + M0 on the measured forces.
Vector centreOnMeasuredForces(const Explanation& e, const LoadFit& fit) {
  Model model = fit.torque_model;
  for (int k = 0; k < model.poses(); ++k) {
    for (int j = 0; j < 3; ++j) {
      model.A.block<3, 1>(3 * k, j) = Vector3d::Unit(j).cross(e.scene.F.col(k));
    }
    for (int i = 0; i < 3; ++i) {
      if (e.clipped(3 + i, k)) model.A.row(3 * k + i).setZero();
    }
  }
  return arrayOf(mm_per_m * analysis::fit(model, e.used).x.head<3>());
}

/// The direction that all of these share, when they lie on one line (either way) within a degree.
std::optional<Vector3d> commonLine(const std::vector<Vector3d>& directions) {
  Matrix3d scatter = Matrix3d::Zero();
  for (const Vector3d& d : directions) scatter += d * d.transpose();
  const Eigen::SelfAdjointEigenSolver<Matrix3d> eigen(scatter);
  if (eigen.eigenvalues()(1) > 3e-3 * eigen.eigenvalues()(2)) return std::nullopt;
  return eigen.eigenvectors().col(2);
}

std::string lineText(const Vector3d& direction) {
  int axis = 0;
  const double along = direction.cwiseAbs().maxCoeff(&axis);
  if (along > 0.99) return axisNames[axis];
  return fmt::format("({:.2f}, {:.2f}, {:.2f})", direction.x(), direction.y(), direction.z());
}

/// Why the orientations leave something open.
std::string reasonOf(const Explanation& e, const Vector3d& G) {
  std::vector<Vector3d> gravity, turns;
  const Matrix3d* first = nullptr;
  for (int k = 0; k < e.scene.poses(); ++k) {
    if (!e.used[k]) continue;
    const Matrix3d& R = e.scene.R[k];
    if (first == nullptr) first = &R;
    gravity.emplace_back(R.transpose() * G.normalized());
    const Eigen::AngleAxisd turn(R * first->transpose());
    turns.emplace_back(std::sin(turn.angle() / 2.0) * turn.axis());
  }
  const bool same_side = std::all_of(gravity.begin(), gravity.end(), [&](const Vector3d& g) {
    return g.dot(gravity.front()) > 0.0;
  });
  const double widest = std::accumulate(
      turns.begin(), turns.end(), 0.0,
      [](double angle, const Vector3d& turn) { return std::max(angle, turn.norm()); });
  if (widest < 0.05) return "all poses have nearly the same orientation";
  if (const auto line = commonLine(gravity)) {
    return same_side ? fmt::format("all poses have gravity in the same direction of the sensor")
                     : fmt::format("all poses have gravity along {}", lineText(*line));
  }
  if (const auto axis = commonLine(turns)) {
    return fmt::format("all poses are turned about the same axis of the base, {}", lineText(*axis));
  }
  return "the orientations are too similar";
}

/// Few degrees of freedom make a deviation uncertain itself: Student's factor for 95 %, against
/// many.
double studentFactor(int freedom) {
  if (freedom < 1) return std::numeric_limits<double>::infinity();
  return quantile(boost::math::students_t(freedom), 0.975) / 1.96;
}

}  // namespace

double worstShare(const Accuracy& accuracy, const Goal& goal, int freedom) {
  const double centre = *std::max_element(accuracy.centre.begin(), accuracy.centre.end());
  return studentFactor(freedom) * std::max(accuracy.weight / goal.weight, centre / goal.centre);
}

Solution solutionOf(const Explanation& e, const LoadFit& fit) {
  const Information info(e, fit);
  const auto lacking = info.deficiency();
  const MatrixXd CF = info.forceCovariance(), CT = info.torqueCovariance();
  const Vector3d F0 = fit.force.x.segment<3>(3), M0 = fit.torque.x.segment<3>(3);

  Solution s;
  const double weight_deviation = info.weightDeviation();
  s.weight = estimate(fit.G.norm(), weight_deviation * weight_deviation, lacking[0]);
  for (int i = 0; i < 3; ++i) {
    const double per_weight = mm_per_m / info.weight;
    s.centre[i] =
        estimate(mm_per_m * info.centre(i), per_weight * per_weight * CT(i, i), lacking[1 + i]);
    s.force_offset[i] = estimate(F0(i), CF(3 + i, 3 + i), lacking[4 + i]);
    s.torque_offset[i] = estimate(M0(i), CT(3 + i, 3 + i), lacking[7 + i]);
  }
  s.centre_on_measured_forces = centreOnMeasuredForces(e, fit);
  s.gravity = arrayOf(fit.G / info.weight);
  s.tilt = {std::acos(std::clamp(-s.gravity[2], -1.0, 1.0)),
            std::sqrt((CF(0, 0) + CF(1, 1)) / 2.0) / info.weight};

  const auto rms = [&](const Model& model, double rss) {
    double rows = 0.0;
    for (int k = 0; k < model.poses(); ++k) rows += e.used[k] ? model.rows[k] : 0;
    return rows > 0.0 ? std::sqrt(rss / rows) : 0.0;
  };
  s.force_rms = rms(fit.force_model, fit.force.rss);
  s.torque_rms = rms(fit.torque_model, fit.torque.rss);
  s.force_noise = std::sqrt(info.force_variance);
  s.torque_noise = std::sqrt(info.torque_variance);
  s.freedom = fit.force.dof;
  return s;
}

double chanceOfTilt(const Explanation& e, const LoadFit& fit) {
  const Eigen::Vector2d sideways = fit.G.head<2>();
  const Eigen::Matrix2d C = Information(e, fit).forceCovariance().topLeftCorner<2, 2>();
  return tailOfF(sideways.dot(C.ldlt().solve(sideways)) / 2.0, 2, fit.force.dof);
}

double chanceOfWeight(const Explanation& e, const LoadFit& fit) {
  const Matrix3d C = Information(e, fit).forceCovariance().topLeftCorner<3, 3>();
  return tailOfF(fit.G.dot(C.ldlt().solve(fit.G)) / 3.0, 3, fit.force.dof);
}

Observability observabilityOf(const Explanation& e, const LoadFit& fit) {
  const Information info(e, fit);
  Observability result{info.conditionForce(), info.conditionTorque(), {}, {}};
  const auto lacking = info.deficiency();
  const char* const names[10] = {"weight",
                                 "lx",
                                 "ly",
                                 "lz",
                                 "force offset x",
                                 "force offset y",
                                 "force offset z",
                                 "torque offset x",
                                 "torque offset y",
                                 "torque offset z"};
  for (std::size_t i = 0; i < lacking.size(); ++i) {
    if (!(lacking[i] <= hopeless)) result.undetermined.emplace_back(names[i]);
  }
  if (!result.undetermined.empty()) result.why = reasonOf(e, fit.G);
  return result;
}

Plan planOf(const Explanation& e, const LoadFit& fit, const Matrix3d& mounting, const Goal& goal) {
  constexpr int most_poses = 30;
  constexpr double step = std::numbers::pi / 4.0;
  struct Candidate {
    Angles angles;
    Matrix3d R;
    double likeness = -1.0;  ///< trace of the turn from the nearest recorded pose, 3 is none
  };
  std::vector<Candidate> candidates;
  for (int a = 0; a <= 2; a += 2) {
    for (int b = -2; b <= 2; ++b) {
      for (int c = -3; c <= 4; ++c) {
        Candidate candidate{{a * step, b * step, c * step}, {}};
        candidate.R = matrixOf(candidate.angles) * mounting;
        for (const Matrix3d& R : e.scene.R) {
          candidate.likeness = std::max(candidate.likeness, candidate.R.cwiseProduct(R).sum());
        }
        candidates.push_back(candidate);
      }
    }
  }

  // Greedy: the pose that shrinks the product of the deviations most; of those as good as the best
  // within 5 % the one nearest to what the robot has already reached.
  const auto size = [](const Accuracy& a) {
    return a.weight * a.centre[0] * a.centre[1] * a.centre[2];
  };
  Information info(e, fit);
  Plan plan;
  for (int added = 0; added <= most_poses; ++added) {
    const Accuracy before = info.told();
    const bool reached = worstShare(before, goal, info.freedom) <= 1.0;
    if (reached) plan.poses_missing = added;
    if (plan.next && reached) break;

    std::vector<double> sizes;
    for (const Candidate& candidate : candidates) {
      Information trial = info;
      trial.add(candidate.R);
      sizes.push_back(size(trial.accuracy()));
    }
    const double least = *std::min_element(sizes.begin(), sizes.end());
    const Candidate* best = nullptr;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
      if (sizes[i] > 1.05 * least) continue;
      if (best == nullptr || candidates[i].likeness > best->likeness) best = &candidates[i];
    }
    info.add(best->R);
    if (!plan.next) {
      plan.next = NextPose{best->angles, arrayOf(best->R.transpose() * fit.G / info.weight), before,
                           info.told()};
    }
    if (reached) break;
  }
  return plan;
}

}  // namespace zel::analysis
