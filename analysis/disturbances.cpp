#include "analysis/disturbances.h"

#include <algorithm>
#include <boost/math/tools/minima.hpp>
#include <cmath>
#include <numeric>
#include <optional>
#include <utility>

#include "analysis/frames.h"

namespace zel::analysis {

namespace {

using Eigen::VectorXd;

/// How the zero moves: each shape runs from -1 to 0 over the time from 0 to 1, so that the offset
/// of the fit is the one at the end.
VectorXd settling(const VectorXd& time, double decay) {
  const double end = std::exp(-1.0 / decay);
  return -((-time.array() / decay).exp() - end) / (1.0 - end);
}
VectorXd rampUntil(const VectorXd& time, double end) {
  return (time.array() / end).min(1.0) - 1.0;
}
VectorXd rampFrom(const VectorXd& time, double start) {
  return ((time.array() - start) / (1.0 - start)).max(0.0) - 1.0;
}
VectorXd jumpBefore(const VectorXd& time, double at) {
  return (time.array() < at).select(VectorXd::Constant(time.size(), -1.0), 0.0);
}

struct Drift {
  VectorXd (*shape)(const VectorXd& time, double parameter);
  double parameter;
  double low, high;  ///< where a better parameter may lie
};

std::vector<Drift> drifts(const VectorXd& time) {
  std::vector<Drift> list;
  constexpr double shortest = 0.03, finer = 1.5;
  constexpr int decays = 10;
  for (int i = 0; i < decays; ++i) {
    const double decay = shortest * std::pow(finer, i);
    list.push_back({settling, decay, decay / finer, decay * finer});
  }
  std::vector<double> t(time.begin(), time.end());
  std::sort(t.begin(), t.end());
  const auto n = t.size(), stride = std::max<std::size_t>(1, n / 60);
  for (std::size_t s = 1; s < n; s += stride) {
    const double before = t[s - std::min(s, stride)], at = t[s],
                 after = t[std::min(s + stride, n - 1)];
    // What concerns less than three poses at an end is a contact.
    if (s >= 2 && at > 0.0) list.push_back({rampUntil, at, std::max(before, 1e-3), after});
    if (s + 2 < n && at < 1.0) list.push_back({rampFrom, at, before, std::min(after, 0.999)});
    if (s >= 3 && s + 3 <= n && t[s - 1] < at) {
      const bool exact = stride == 1;
      list.push_back({jumpBefore, at, exact ? at : before, exact ? at : after});
    }
  }
  return list;
}

struct Step {
  Step(Mistake what, const Explanation& e) : next(e) { disturbance.what = what; }

  Disturbance disturbance;
  Explanation next;
  double score = 0.0;
  int hidden_parameters = 0;  ///< found by the step, beside columns and rows
  std::optional<Drift> drift;
};

void addDrifts(const Explanation& e, const VectorXd& time, std::vector<Step>& steps) {
  if (e.drift.size() > 0) return;
  for (const Drift& drift : drifts(time)) {
    Step& step = steps.emplace_back(Mistake::drift, e);
    step.drift = drift;
    step.next.drift = drift.shape(time, drift.parameter);
    step.next.parameters += 1;
  }
}

/// The parameter of the drift between the poses.
void refine(Step& step, const VectorXd& time) {
  if (!step.drift || step.drift->low >= step.drift->high) return;
  constexpr int bits = 14;
  const auto score = [&](double parameter) {
    step.next.drift = step.drift->shape(time, parameter);
    return fitLoad(step.next).score(step.next);
  };
  const double first = score(step.drift->parameter);
  const auto [parameter, least] =
      boost::math::tools::brent_find_minima(score, step.drift->low, step.drift->high, bits);
  step.next.drift = step.drift->shape(time, least < first ? parameter : step.drift->parameter);
}

void addTurn(const Explanation& e, std::vector<Step>& steps) {
  constexpr double least_angle = 0.035;  // 2 deg; less is within what mountings do
  const Eigen::Matrix3d turn = turnOfReadings(e);
  if (Eigen::AngleAxisd(turn).angle() < least_angle) return;
  Step& step = steps.emplace_back(Mistake::turned_axes, e);
  step.disturbance.turn = turn;
  step.next.scene = turnedBack(e.scene, turn);
  step.next.parameters += 3;
  step.hidden_parameters = 3;
}

/// Readings of one channel that crowd at its end while the model expects them beyond. When the two
/// outermost are equal, as those of a clipped channel, the crowd consists of runs of equal
/// readings.
void addSaturations(const Explanation& e, std::vector<Step>& steps) {
  constexpr double crowd = 0.02;  // of the channel's range
  const int n = e.scene.poses();
  const LoadFit now = fitLoad(e);
  for (int channel = 0; channel < 6; ++channel) {
    if (e.clipped.row(channel).any()) continue;
    const bool torque = channel >= 3;
    const VectorXd readings = (torque ? e.scene.M : e.scene.F).row(channel % 3);
    for (const double side : {1.0, -1.0}) {
      std::vector<int> order(static_cast<std::size_t>(n));
      std::iota(order.begin(), order.end(), 0);
      std::sort(order.begin(), order.end(),
                [&](int a, int b) { return side * readings(a) > side * readings(b); });
      const auto inOrder = [&](int place) {
        return readings(order[static_cast<std::size_t>(place)]);
      };
      const double range = std::fabs(inOrder(0) - inOrder(n - 1));
      Explanation next = e;
      next.parameters += 2;  // where the limit is, and which readings stand there
      for (int m = 1; m <= n - 3; ++m) {
        const int last = order[static_cast<std::size_t>(m - 1)];
        if (std::fabs(inOrder(0) - readings(last)) > crowd * range) break;
        next.clipped(channel, last) = true;
        if (m < 2) continue;
        const bool end_of_equals = inOrder(m - 2) == inOrder(m - 1) && inOrder(m - 1) != inOrder(m);
        if (inOrder(0) == inOrder(1) && !end_of_equals) continue;

        Step step(Mistake::saturation, next);
        step.disturbance.channel = channel;
        step.disturbance.poses.assign(order.begin(), order.begin() + m);
        double mean = 0.0, squares = 0.0;
        for (const int k : step.disturbance.poses) mean += readings(k) / m;
        for (const int k : step.disturbance.poses) {
          squares += (readings(k) - mean) * (readings(k) - mean);
        }
        step.disturbance.limit = mean;
        step.next.clipped_rss[torque ? 1 : 0] += squares;
        steps.push_back(std::move(step));
      }
    }
  }
}

/// Whether a drift is more than what a sensor that is a little off looks like: its errors follow
/// the orientation, and with few poses the order may fit them by chance.
bool matters(const Step& step) {
  if (step.disturbance.what != Mistake::drift) return true;
  constexpr double tolerances = 4.0;
  const LoadFit f = fitLoad(step.next);
  return f.force.x.tail<3>().norm() > tolerances * step.next.tolerance.force ||
         f.torque.x.tail<3>().norm() > tolerances * step.next.tolerance.torque;
}

double chanceOf(const Step& step, const Explanation& before, std::ptrdiff_t alternatives) {
  Explanation narrow_explanation = before;
  narrow_explanation.used = step.next.used;
  const LoadFit narrow = fitLoad(narrow_explanation);
  LoadFit wide = fitLoad(step.next);
  wide.force.dof -= step.hidden_parameters;
  return eitherOf(chanceOfGain(narrow.force_model, narrow.force, wide.force),
                  chanceOfGain(narrow.check_model, narrow.check, wide.check)) *
         static_cast<double>(alternatives);
}

}  // namespace

std::vector<Disturbance> explainDisturbances(Explanation& e, const VectorXd& time, double level) {
  constexpr int most = 3;
  constexpr std::ptrdiff_t looked_at = 3;
  std::vector<Disturbance> found;
  e.used = withoutContacts(e, level);
  while (found.size() < most) {
    std::vector<Step> steps;
    addDrifts(e, time, steps);
    addTurn(e, steps);
    addSaturations(e, steps);
    if (steps.empty()) break;

    // First by a rough score, with the contacts known so far or none; then the best of them with
    // the contacts that each leaves.
    const double now = fitLoad(e).score(e);
    const Poses all(e.used.size(), 1);
    for (Step& step : steps) {
      step.score = fitLoad(step.next).score(step.next);
      if (e.used == all) continue;
      const Poses known = std::exchange(step.next.used, all);
      const double without = fitLoad(step.next).score(step.next);
      if (without > step.score) step.next.used = known;
      step.score = std::min(step.score, without);
    }
    const auto by_score = [](const Step& a, const Step& b) { return a.score < b.score; };
    std::sort(steps.begin(), steps.end(), by_score);
    if (e.used == all && steps.front().score >= now) break;
    const auto alternatives = std::ssize(steps);
    if (alternatives > looked_at) steps.erase(steps.begin() + looked_at, steps.end());
    for (Step& step : steps) {
      refine(step, time);
      step.next.used = withoutContacts(step.next, level);
      step.score = fitLoad(step.next).score(step.next);
    }
    Step& best = *std::min_element(steps.begin(), steps.end(), by_score);
    if (best.score >= now || !matters(best)) break;
    best.disturbance.chance = chanceOf(best, e, alternatives);
    if (!(best.disturbance.chance < level)) break;
    e = std::move(best.next);
    found.push_back(std::move(best.disturbance));
  }
  return found;
}

}  // namespace zel::analysis
