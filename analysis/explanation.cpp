#include "analysis/explanation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

namespace zel::analysis {

void silence(const Explanation& e, int first_channel, Model& model) {
  for (int k = 0; k < model.poses(); ++k) {
    model.rows[k] = 3;
    for (int i = 0; i < 3; ++i) {
      if (!e.clipped(first_channel + i, k)) continue;
      model.A.row(3 * k + i).setZero();
      model.y(3 * k + i) = 0.0;
      --model.rows[k];
    }
  }
}

namespace {

Eigen::Matrix3d skew(const Eigen::Vector3d& v) {
  Eigen::Matrix3d S;
  S << 0.0, -v.z(), v.y(), v.z(), 0.0, -v.x(), -v.y(), v.x(), 0.0;
  return S;
}

/// One half of the model: `block(k)` is what multiplies the first three unknowns at pose k; then
/// come the offset and, with a drift, its amount.
template <typename Block>
Model modelOf(const Explanation& e, const Eigen::Matrix3Xd& readings, int first_channel,
              double floor, Block block) {
  const int n = e.scene.poses();
  const bool drifts = e.drift.size() > 0;
  Model model{Design::Zero(3 * n, drifts ? 9 : 6), Eigen::VectorXd(3 * n),
              Eigen::ArrayXi::Constant(n, 3), floor};
  for (int k = 0; k < n; ++k) {
    auto A = model.A.middleRows<3>(3 * k);
    A.leftCols<3>() = block(k);
    A.middleCols<3>(3).setIdentity();
    if (drifts) A.rightCols<3>().diagonal().setConstant(e.drift(k));
    model.y.segment<3>(3 * k) = readings.col(k);
  }
  silence(e, first_channel, model);
  return model;
}

}  // namespace

Model forceModel(const Explanation& e) {
  return modelOf(e, e.scene.F, 0, forceFloor, [&](int k) { return e.scene.R[k].transpose(); });
}

Eigen::Matrix3d matrixOf(const Orientation& orientation) {
  const Rotation R = rotationOf(orientation);
  return Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(R[0].data());
}

Tolerance Scene::tolerance() const {
  if (R.empty()) return {forceFloor, torqueFloor};
  constexpr double share = 0.005;
  const auto median = [](Eigen::ArrayXd values) {
    const auto middle = values.size() / 2;
    std::nth_element(values.begin(), values.begin() + middle, values.end());
    return values(middle);
  };
  const auto difference = [&](const Eigen::Matrix3Xd& readings) {
    Eigen::Vector3d centre;
    for (int i = 0; i < 3; ++i) centre(i) = median(readings.row(i));
    return median((readings.colwise() - centre).colwise().norm());
  };
  return {std::max(forceFloor, share * difference(F)),
          std::max(torqueFloor, share * difference(M))};
}

double LoadFit::score(const Explanation& e) const {
  constexpr double confidence = 0.01;
  const auto rows = static_cast<double>(force_model.y.size());
  const auto half = [&](const Model& model, const Fit& fit, double more_rss) {
    if (fit.dof < 1) return std::numeric_limits<double>::infinity();
    const double tolerated = fit.dof * model.floor * model.floor;
    return rows *
           std::log((fit.rss + more_rss + tolerated) / quantileOfChiSquare(confidence, fit.dof));
  };
  const auto left_out = std::count(e.used.begin(), e.used.end(), 0);
  const auto parameters = static_cast<double>(force_model.A.cols() + check_model.A.cols() +
                                              6 * left_out + e.parameters);
  return half(force_model, force, e.clipped_rss[0]) + half(check_model, check, e.clipped_rss[1]) +
         parameters * std::log(2.0 * rows);
}

LoadFit fitLoad(const Explanation& e) {
  LoadFit result;
  result.force_model = forceModel(e);
  result.force = fit(result.force_model, e.used);
  result.G = result.force.x.head<3>();
  result.torque_model = modelOf(e, e.scene.M, 3, torqueFloor, [&](int k) -> Eigen::Matrix3d {
    return -skew(e.scene.R[k].transpose() * result.G);
  });
  result.torque = fit(result.torque_model, e.used);

  const Eigen::Matrix3d lever = skew(result.torque.x.head<3>());
  result.check_model = result.torque_model;
  Design& A = result.check_model.A;
  A.conservativeResize(Eigen::NoChange, A.cols() + 3);
  for (int k = 0; k < e.scene.poses(); ++k) {
    A.block<3, 3>(3 * k, A.cols() - 3) = lever * e.scene.R[k].transpose();
  }
  silence(e, 3, result.check_model);
  result.check = fit(result.check_model, e.used);
  return result;
}

Poses concentrated(const Model& force, Poses used, int keep, int steps, double& rss) {
  std::vector<int> order(used.size());
  for (int step = 0; step < steps; ++step) {
    const Fit f = fit(force, used);
    const auto distance = [&](int k) { return f.residual.segment<3>(3 * k).squaredNorm(); };
    std::iota(order.begin(), order.end(), 0);
    std::nth_element(order.begin(), order.begin() + keep - 1, order.end(),
                     [&](int a, int b) { return distance(a) < distance(b); });
    Poses next(used.size(), 0);
    rss = 0.0;
    for (int i = 0; i < keep; ++i) {
      next[order[i]] = 1;
      rss += distance(order[i]);
    }
    if (next == used) break;
    used = std::move(next);
  }
  return used;
}

double chanceOfPose(const LoadFit& f, const Tolerance& tolerance, int k) {
  return eitherOf(chanceOfDistance(f.force_model, f.force, k, tolerance.force),
                  chanceOfDistance(f.check_model, f.check, k, tolerance.torque)) *
         f.force_model.poses();
}

namespace {

/// Whether poses tell about as much as all do. Fewer that miss an axis fit anything along it, and
/// the others then lie far from a prediction that nothing supports.
bool tellsAsMuch(const LoadFit& part, const LoadFit& whole) {
  constexpr double worse = 300.0;  // of a standard deviation
  const auto half = [](const Fit& p, const Fit& w) {
    return p.rank == w.rank &&
           (p.inverse.diagonal().array() <= worse * worse * w.inverse.diagonal().array()).all();
  };
  return half(part.force, whole.force) && half(part.torque, whole.torque) &&
         half(part.check, whole.check);
}

}  // namespace

Poses withoutContacts(const Explanation& explanation, double level) {
  const int n = explanation.scene.poses();
  Explanation e = explanation;
  e.used.assign(n, 1);
  constexpr int start_size = 4, starts = 60, rough_steps = 2, final_steps = 20;
  const int keep = n - std::min(n / 3, n - start_size);
  if (n <= start_size) return e.used;

  const LoadFit whole = fitLoad(e);
  const Model& force = whole.force_model;
  const auto mayRemain = [&](const Poses& subset) {
    e.used = subset;
    return tellsAsMuch(fitLoad(e), whole);
  };
  double least = std::numeric_limits<double>::infinity();
  Poses best;
  std::mt19937_64 random(1);
  std::vector<int> deck(n);
  std::iota(deck.begin(), deck.end(), 0);
  for (int start = 0; start <= starts; ++start) {
    Poses subset(n, start == 0 ? 1 : 0);
    for (int i = 0; start > 0 && i < start_size; ++i) {
      std::swap(deck[i], deck[i + static_cast<int>(random() % static_cast<unsigned>(n - i))]);
      subset[deck[i]] = 1;
    }
    double rss = 0.0;
    subset = concentrated(force, std::move(subset), keep, rough_steps, rss);
    if (rss < least && mayRemain(subset)) {
      least = rss;
      best = std::move(subset);
    }
  }
  if (best.empty()) return Poses(n, 1);
  if (!mayRemain(concentrated(force, best, keep, final_steps, least))) e.used = std::move(best);

  while (true) {
    const LoadFit f = fitLoad(e);
    int closest = -1;
    double chance = 0.0;
    for (int k = 0; k < n; ++k) {
      if (e.used[k]) continue;
      const double c = chanceOfPose(f, e.tolerance, k);
      if (closest < 0 || c > chance) {
        closest = k;
        chance = c;
      }
    }
    if (closest < 0 || chance < level) return e.used;
    e.used[closest] = 1;
  }
}

}  // namespace zel::analysis
