#include "analysis/identification.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <stdexcept>

#include "analysis/disturbances.h"
#include "analysis/frames.h"
#include "analysis/solution.h"

namespace zel::analysis {

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

// Chances of a false alarm, each for a whole recording.
constexpr double frame_level = 1e-4;
constexpr double disturbance_level = 1e-3;  // drift, saturation, turned axes; and contacts
constexpr double scatter_level = 0.05;      // that noise within its limit seems beyond it
constexpr double gravity_level = 1e-3;      // tilted base; weight that cannot be seen

// What is good enough: share of the weight, with a smallest value, N; centre of mass, mm.
constexpr double good_weight = 0.01, usable_weight = 0.05, least_weight = 0.05;
constexpr double good_centre = 2.0, usable_centre = 10.0;

constexpr double degree = std::numbers::pi / 180.0;
constexpr double least_tilt = 1.0 * degree;   // what robots are levelled to
constexpr double usable_tilt = 3.0 * degree;  // 5 % of the weight shows up sideways
constexpr double loud_force = 0.05;           // noise, as a share of the weight
constexpr double loud_torque = 10.0;          // noise, as a shift of the centre of mass, mm
constexpr double rotation_rounding = 1e-3;

constexpr const char* channelNames[] = {"fx", "fy", "fz", "mx", "my", "mz"};

struct MistakeRow {
  Mistake mistake;
  const char* name;
  Verdict leaves;   ///< the best verdict that is left
  bool correction;  ///< the answer can be given without it
  const char* advice;
};
constexpr MistakeRow mistakeRows[] = {
    {Mistake::not_a_rotation, "not_a_rotation", Verdict::usable, false,
     "check what wrote these orientations; these poses are left out"},
    {Mistake::too_few_poses, "too_few_poses", Verdict::do_not_use, false,
     "record at least six poses with clearly different orientations"},
    {Mistake::readings_in_base_axes, "readings_in_base_axes", Verdict::do_not_use, true,
     "record raw readings, or turn force and torque back by the transposed rotation"},
    {Mistake::inverted_rotation, "inverted_rotation", Verdict::do_not_use, true,
     "transpose the rotations (conjugate the quaternions)"},
    {Mistake::quaternion_order, "quaternion_order", Verdict::do_not_use, true,
     "name the quaternion columns in the order of the source"},
    {Mistake::angle_convention, "angle_convention", Verdict::do_not_use, true,
     "convert the angles to a about Z, b about Y, c about X (R = RotZ RotY RotX)"},
    {Mistake::angle_unit, "angle_unit", Verdict::do_not_use, true,
     "state the unit of the angles as it is"},
    {Mistake::turned_axes, "turned_axes", Verdict::do_not_use, true,
     "put the mounting of the sensor right, in the robot's configuration too"},
    {Mistake::reversed_axis, "reversed_axis", Verdict::do_not_use, true,
     "check the signs of the readings where they are taken"},
    {Mistake::gravity_sign, "gravity_sign", Verdict::do_not_use, true,
     "reverse all readings; where only the forces are reversed, the centre is mirrored as well. "
     "On a robot that hangs from the ceiling choose a base frame with z upward"},
    {Mistake::tilted_base, "tilted_base", Verdict::usable, false,
     "level the base frame: the compensation takes gravity along base z"},
    {Mistake::position_unit, "position_unit", Verdict::usable, false,
     "state the unit of the positions as it is; the answer does not depend on them"},
    {Mistake::torque_unit, "torque_unit", Verdict::do_not_use, true, "convert the torques to N m"},
    {Mistake::drift, "drift", Verdict::usable, true, "let the sensor warm up and record again"},
    {Mistake::contact, "contact", Verdict::usable, true,
     "repeat these poses without touching anything; look at cables and hoses"},
    {Mistake::saturation, "saturation", Verdict::usable, true,
     "check range and amplifier of this channel; these readings are left out"},
    {Mistake::similar_orientations, "similar_orientations", Verdict::do_not_use, false,
     "add the pose that is named below"},
    {Mistake::no_weight, "no_weight", Verdict::do_not_use, false,
     "check that the load hangs on the sensor and that the readings are raw, not compensated"},
    {Mistake::scatter, "scatter", Verdict::usable, false,
     "average longer at rest; look for play, cables and wrong orientations"},
};

const MistakeRow& rowOf(Mistake mistake) {
  return *std::find_if(std::begin(mistakeRows), std::end(mistakeRows),
                       [&](const MistakeRow& row) { return row.mistake == mistake; });
}

bool isRotation(const Matrix3d& R) {
  return (R.transpose() * R - Matrix3d::Identity()).norm() < rotation_rounding &&
         R.determinant() > 0.0;
}

template <std::size_t N>
bool finite(const std::array<double, N>& values) {
  return std::all_of(values.begin(), values.end(),
                     [](double x) { return std::fabs(x) <= largestNumber; });
}

void requireUsable(const Options& options) {
  const auto positive = [](double x) { return x > 0.0 && x <= largestNumber; };
  const auto [a, b, c] = options.mounting;
  if (!finite(Vector{a, b, c})) {
    throw std::invalid_argument("mounting: three angles wanted that are finite and not huge");
  }
  if (options.range && !std::all_of(options.range->begin(), options.range->end(), positive)) {
    throw std::invalid_argument("range: six numbers above 0 wanted");
  }
  if (options.goal && !(positive(options.goal->weight) && positive(options.goal->centre))) {
    throw std::invalid_argument("goal: two numbers above 0 wanted");
  }
}

void requireFinite(std::span<const StaticPose> poses) {
  for (const StaticPose& pose : poses) {
    const Rotation R = rotationOf(pose.orientation);
    if (!finite(pose.wrench) || !finite(R[0]) || !finite(R[1]) || !finite(R[2]) ||
        !finite(pose.position.value_or(Vector{})) || !finite(Vector{pose.time.value_or(0.0)})) {
      throw std::invalid_argument("pose " + pose.name +
                                  " has a number that is not finite, or a huge one");
    }
  }
  if (poses.empty()) throw std::invalid_argument("there is no pose to identify a load from");
}

/// Order of the poses from 0 to 1: by their times when all have one, else as they come.
Eigen::VectorXd timeOf(std::span<const StaticPose> poses, const std::vector<std::size_t>& kept) {
  const auto n = static_cast<Eigen::Index>(kept.size());
  Eigen::VectorXd time = Eigen::VectorXd::LinSpaced(n, 0.0, 1.0);
  if (!std::all_of(poses.begin(), poses.end(), [](const StaticPose& p) { return p.time; })) {
    return time;
  }
  Eigen::VectorXd given(n);
  for (Eigen::Index i = 0; i < n; ++i) given(i) = *poses[kept[static_cast<std::size_t>(i)]].time;
  const double first = given.minCoeff(), span = given.maxCoeff() - first;
  return span > 0.0 ? Eigen::VectorXd((given.array() - first) / span) : time;
}

class Identification {
 public:
  Identification(std::span<const StaticPose> poses, const Options& options)
      : poses_(poses), options_(options) {}

  Report run() {
    requireUsable(options_);
    requireFinite(poses_);
    report_.residuals.resize(poses_.size());
    keepRotations();
    checkPositions();
    if (kept_.size() < 3) {
      find(
          Mistake::too_few_poses,
          fmt::format("weight and centre of mass take three poses at least, not {}", kept_.size()));
      judge();
      return std::move(report_);
    }
    e_ = Explanation(stated_.scene());
    report_.recorded = solutionOf(e_, fitLoad(e_));

    putFramesRight();
    leaveOutOfRange();
    explain();
    fit_ = fitLoad(e_);
    nameContacts();
    checkGravity();
    checkTorqueUnit();
    const Solution answer = solutionOf(e_, fit_);
    checkAnswer(answer);
    if (std::any_of(report_.findings.begin(), report_.findings.end(),
                    [](const Finding& f) { return rowOf(f.what).correction; })) {
      report_.corrected = answer;
    }
    fillResiduals();
    plan();
    judge();
    return std::move(report_);
  }

 private:
  Finding& find(Mistake what, std::string text, double chance = 0.0,
                std::vector<std::size_t> poses = {}) {
    const MistakeRow& row = rowOf(what);
    return report_.findings.emplace_back(
        Finding{what, std::move(text), row.advice, chance, row.leaves, std::move(poses)});
  }

  std::string names(const std::vector<std::size_t>& poses) const {
    std::string text = poses.size() == 1 ? "pose " : "poses ";
    for (std::size_t i = 0; i < poses.size(); ++i) {
      text += (i == 0 ? "" : ", ") + poses_[poses[i]].name;
    }
    return text;
  }

  template <typename Indices>
  std::vector<std::size_t> original(const Indices& kept) const {
    std::vector<std::size_t> poses;
    poses.reserve(kept.size());
    for (const auto k : kept) poses.push_back(kept_[static_cast<std::size_t>(k)]);
    std::sort(poses.begin(), poses.end());
    return poses;
  }

  void keepRotations() {
    std::vector<std::size_t> wrong;
    stated_.mounting = matrixOf(options_.mounting);
    for (std::size_t k = 0; k < poses_.size(); ++k) {
      const bool right = isRotation(matrixOf(poses_[k].orientation));
      (right ? kept_ : wrong).push_back(k);
      report_.residuals[k].left_out = !right;
    }
    const auto n = static_cast<Eigen::Index>(kept_.size());
    stated_.F.resize(3, n);
    stated_.M.resize(3, n);
    for (Eigen::Index i = 0; i < n; ++i) {
      const StaticPose& pose = poses_[kept_[static_cast<std::size_t>(i)]];
      stated_.orientations.push_back(pose.orientation);
      stated_.F.col(i) = Vector3d::Map(pose.wrench.data());
      stated_.M.col(i) = Vector3d::Map(pose.wrench.data() + 3);
    }
    if (!wrong.empty()) {
      const std::string text = names(wrong) + ": the orientation is no rotation";
      find(Mistake::not_a_rotation, text, 0.0, std::move(wrong));
    }
  }

  void checkPositions() {
    // No sensor comes within 20 mm of the base's origin only, and no robot reaches 50 m.
    double farthest = 0.0;
    for (const StaticPose& pose : poses_) {
      if (pose.position) farthest = std::max(farthest, Vector3d::Map(pose.position->data()).norm());
    }
    if (farthest > 50'000.0) {
      find(Mistake::position_unit,
           fmt::format("positions up to {:.0f} m: millimetres are stated as metres",
                       farthest / 1000.0));
    } else if (farthest > 0.0 && farthest < 20.0) {
      find(Mistake::position_unit,
           fmt::format("all positions within {:.3g} mm: metres are stated as millimetres",
                       farthest));
    }
  }

  void putFramesRight() {
    auto mistake = findFrameMistake(stated_, frame_level);
    if (!mistake) return;
    e_.scene = std::move(mistake->scene);
    turn_ = mistake->turn;
    turn_chance_ = mistake->chance;
    others_ = std::move(mistake->others);
    if (mistake->what == Mistake::turned_axes) return;  // once all turns are known
    find(mistake->what, mistake->text + alsoText(), mistake->chance);
  }

  std::string alsoText() const {
    std::string text;
    for (const std::string& other : others_) text += "; as likely: " + other;
    return text;
  }

  void leaveOutOfRange() {
    if (!options_.range) return;
    constexpr double full = 0.999;
    for (int channel = 0; channel < 6; ++channel) {
      const double limit = (*options_.range)[static_cast<std::size_t>(channel)];
      std::vector<int> there;
      for (std::size_t k = 0; k < kept_.size(); ++k) {
        const double reading = poses_[kept_[k]].wrench[static_cast<std::size_t>(channel)];
        if (std::fabs(reading) < full * limit) continue;
        e_.clipped(channel, static_cast<Eigen::Index>(k)) = true;
        there.push_back(static_cast<int>(k));
      }
      if (!there.empty()) nameSaturation(channel, limit, there, 0.0);
    }
  }

  void nameSaturation(int channel, double limit, const std::vector<int>& there, double chance) {
    std::vector<std::size_t> poses = original(there);
    const std::string text =
        fmt::format("{} is saturated: it stands at {:.4g} {} in {}", channelNames[channel], limit,
                    channel < 3 ? "N" : "N m", names(poses));
    find(Mistake::saturation, text, chance, std::move(poses));
  }

  void explain() {
    const Eigen::VectorXd time = timeOf(poses_, kept_);
    for (const Disturbance& d : explainDisturbances(e_, time, disturbance_level)) {
      if (d.what == Mistake::turned_axes) {
        turn_ = d.turn * turn_;
        turn_chance_ = std::max(turn_chance_, d.chance);
      } else if (d.what == Mistake::saturation) {
        nameSaturation(d.channel, d.limit, d.poses, d.chance);
      } else {
        nameDrift(time, d.chance);
      }
    }
  }

  void nameDrift(const Eigen::VectorXd& time, double chance) {
    const LoadFit fit = fitLoad(e_);
    const Vector3d force = fit.force.x.tail<3>(), torque = fit.torque.x.tail<3>();
    // Steady from the first pose on after which all that remains stays within the noise.
    const double noise = std::sqrt(fit.force.variance(forceFloor));
    std::vector<std::size_t> order(kept_.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
      return time(static_cast<Eigen::Index>(a)) < time(static_cast<Eigen::Index>(b));
    });
    auto steady = order.size();
    while (steady > 0 &&
           force.norm() * std::fabs(e_.drift(static_cast<Eigen::Index>(order[steady - 1]))) <=
               noise) {
      --steady;
    }
    const bool settles = steady + 2 < order.size();
    find(Mistake::drift,
         fmt::format("the zero drifted by {:.2f} N and {:.3f} N m over the recording ({:.2f}, "
                     "{:.2f}, {:.2f} N), {}",
                     force.norm(), torque.norm(), force.x(), force.y(), force.z(),
                     settles ? "steady from pose " + poses_[kept_[order[steady]]].name + " on"
                             : std::string("not steady at its end")),
         chance);
  }

  void nameContacts() {
    std::vector<std::size_t> touched;
    std::string sizes;
    double chance = 0.0;
    for (std::size_t k = 0; k < kept_.size(); ++k) {
      if (e_.used[k]) continue;
      const auto i = static_cast<Eigen::Index>(k);
      chance = std::max(chance, chanceOfPose(fit_, e_.tolerance, static_cast<int>(k)));
      sizes += fmt::format("{}{:.2f} N and {:.3f} N m in pose {}", touched.empty() ? "" : ", ",
                           fit_.force.residual.segment<3>(3 * i).norm(),
                           fit_.torque.residual.segment<3>(3 * i).norm(), poses_[kept_[k]].name);
      touched.push_back(kept_[k]);
      report_.residuals[kept_[k]].left_out = true;
    }
    if (touched.empty()) return;
    const std::string text = "something touched the load: " + sizes + " that no load explains";
    find(Mistake::contact, text, chance, std::move(touched));
  }

  void checkGravity() {
    const double chance_of_weight = chanceOfWeight(e_, fit_);
    seen_ = chance_of_weight < gravity_level;
    const bool up = seen_ && fit_.G.normalized().z() > 0.5;
    const bool turned = !turn_.isIdentity();
    // Whole axes with gravity upward are a mirroring: the same axes with all signs reversed.
    const bool mirrored = up && turned && isAlongAxes(turn_);
    if (turned) {
      find(Mistake::turned_axes, turnText(mirrored ? Matrix3d(-turn_) : turn_) + alsoText(),
           turn_chance_);
    }
    if (up) {
      if (!mirrored) {
        find(
            Mistake::gravity_sign,
            "gravity points up: the readings have the opposite sign, or the base hangs upside down",
            chance_of_weight);
      }
      e_.scene.F *= -1.0;
      e_.scene.M *= -1.0;
      fit_ = fitLoad(e_);
    }
    const Vector3d g = fit_.G.normalized();
    const double tilt = std::acos(std::clamp(-g.z(), -1.0, 1.0));
    const double chance = chanceOfTilt(e_, fit_);
    if (!seen_ || tilt < least_tilt || chance >= gravity_level) return;
    Finding& finding = find(
        Mistake::tilted_base,
        fmt::format("gravity is {:.1f} deg off the base z axis, along ({:.3f}, {:.3f}, {:.3f}): "
                    "compensation would leave {:.2f} N",
                    tilt / degree, g.x(), g.y(), g.z(), fit_.G.norm() * std::sin(tilt)),
        chance);
    if (tilt > usable_tilt) finding.leaves = Verdict::do_not_use;
  }

  void checkTorqueUnit() {
    // No tool reaches a kilometre, and few reach a metre: torques in N mm lie between.
    const double length = fit_.torque.x.head<3>().norm();
    const double noise = std::sqrt(fit_.check.variance(torqueFloor)) / fit_.G.norm();
    if (!seen_ || length - 4.0 * noise < 1.0 || length > 1000.0) return;
    find(Mistake::torque_unit,
         fmt::format("the centre of mass would be {:.1f} m away: the torques are in N mm", length));
    e_.scene.M *= 0.001;
    fit_ = fitLoad(e_);
  }

  void checkAnswer(const Solution& answer) {
    const Observability seen = observabilityOf(e_, fit_);
    report_.condition_force = seen.condition_force;
    report_.condition_torque = seen.condition_torque;
    report_.undetermined = seen.undetermined;
    report_.undetermined_why = seen.why;
    const bool open = !answer.weight.determined() ||
                      std::any_of(answer.centre.begin(), answer.centre.end(),
                                  [](const Estimate& c) { return !c.determined(); });
    if (answer.weight.determined() && !seen_) {
      const std::string text = fmt::format(
          "the weight, {:.2f} N, does not stand out from the noise", answer.weight.value);
      if (open) report_.undetermined_why = text;
      find(Mistake::no_weight, text);
    } else if (open) {
      find(Mistake::similar_orientations,
           fmt::format("these orientations do not tell {}: {}", fmt::join(seen.undetermined, ", "),
                       seen.why));
    } else {
      const double weight = answer.weight.value;
      if (boundBelow(answer.force_noise, fit_.force.dof) > loud_force * weight) {
        find(Mistake::scatter,
             fmt::format("the forces scatter by {:.2f} N, {:.0f} % of the weight, and no known "
                         "mistake explains it",
                         answer.force_noise, 100.0 * answer.force_noise / weight));
      }
      if (boundBelow(answer.torque_noise, fit_.check.dof) > loud_torque / 1000.0 * weight) {
        find(Mistake::scatter,
             fmt::format("the torques scatter by {:.3f} N m, as if the centre of mass moved by "
                         "{:.0f} mm, and no known mistake explains it",
                         answer.torque_noise, 1000.0 * answer.torque_noise / weight));
      }
    }
  }

  /// Noise that is exceeded surely enough, from an estimate with some degrees of freedom.
  static double boundBelow(double noise, int freedom) {
    if (freedom < 1) return 0.0;
    return noise * std::sqrt(freedom / quantileOfChiSquare(1.0 - scatter_level, freedom));
  }

  void fillResiduals() {
    const double force = fit_.force.variance(forceFloor);
    const double torque = fit_.torque.variance(torqueFloor);
    for (std::size_t k = 0; k < kept_.size(); ++k) {
      const auto i = static_cast<Eigen::Index>(k);
      PoseResidual& r = report_.residuals[kept_[k]];
      const Vector3d f = fit_.force.residual.segment<3>(3 * i);
      const Vector3d m = fit_.torque.residual.segment<3>(3 * i);
      std::copy_n(f.data(), 3, r.force.begin());
      std::copy_n(m.data(), 3, r.torque.begin());
      r.size = std::sqrt(f.squaredNorm() / force + m.squaredNorm() / torque);
      report_.worst.push_back(kept_[k]);
    }
    std::stable_sort(report_.worst.begin(), report_.worst.end(), [&](std::size_t a, std::size_t b) {
      return report_.residuals[a].size > report_.residuals[b].size;
    });
    report_.worst.resize(std::min<std::size_t>(3, report_.worst.size()));
  }

  Goal limits(double weight_share, double centre) const {
    return {std::max(weight_share * fit_.G.norm(), least_weight), centre};
  }

  void plan() {
    report_.goal = options_.goal.value_or(limits(good_weight, good_centre));
    Plan plan = planOf(e_, fit_, stated_.mounting * turn_.transpose(), report_.goal);
    report_.next = plan.next;
    report_.poses_missing = plan.poses_missing;
    report_.goal_reached = plan.poses_missing == 0;
  }

  void judge() {
    Verdict verdict = Verdict::good;
    for (const Finding& finding : report_.findings) {
      if (finding.leaves > verdict) report_.reason = finding.text;
      verdict = std::max(verdict, finding.leaves);
    }
    const auto degrade = [&](Verdict to, const std::string& why) {
      if (verdict >= to) return;
      verdict = to;
      report_.reason = why;
    };
    if (report_.next) {
      const Accuracy& now = report_.next->before;
      const int freedom = report_.answer().freedom;
      const std::string figures =
          fmt::format("standard deviations {:.2g} N and {:.2g} mm", now.weight,
                      *std::max_element(now.centre.begin(), now.centre.end()));
      if (worstShare(now, limits(usable_weight, usable_centre), freedom) > 1.0) {
        degrade(Verdict::do_not_use, "too uncertain: " + figures);
      } else if (!report_.goal_reached) {
        degrade(Verdict::usable, "not accurate: " + figures);
      }
      if (kept_.size() < 6) {
        degrade(Verdict::usable,
                "fewer than six poses leave little to notice a contact or a drift by");
      }
      if (verdict == Verdict::good) report_.reason = "nothing wrong was found; " + figures;
    }
    report_.verdict = verdict;
    if (verdict == Verdict::do_not_use) return;
    const Solution& answer = report_.answer();
    report_.load_data = {answer.weight.value, answer.centre[0].value, answer.centre[1].value,
                         answer.centre[2].value};
  }

  std::span<const StaticPose> poses_;
  const Options& options_;
  std::vector<std::size_t> kept_;  ///< poses with a rotation
  Stated stated_;
  Explanation e_{Scene{}};
  LoadFit fit_;
  Matrix3d turn_ = Matrix3d::Identity();
  double turn_chance_ = 0.0;
  std::vector<std::string> others_;
  bool seen_ = false;  ///< the weight stands out from the noise
  Report report_;
};

}  // namespace

const char* nameOf(Mistake mistake) {
  return rowOf(mistake).name;
}

const char* nameOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::good:
      return "good";
    case Verdict::usable:
      return "usable";
    case Verdict::do_not_use:
      break;
  }
  return "do not use";
}

Report identify(std::span<const StaticPose> poses, const Options& options) {
  return Identification(poses, options).run();
}

}  // namespace zel::analysis
