#include "analysis/frames.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <tuple>

#include "analysis/solution.h"

namespace zel::analysis {

namespace {

using Eigen::AngleAxisd;
using Eigen::Matrix3d;
using Eigen::Quaterniond;
using Eigen::Vector3d;

Matrix3d about(const Vector3d& axis, double angle) {
  return AngleAxisd(angle, axis).toRotationMatrix();
}
const Vector3d X = Vector3d::UnitX(), Y = Vector3d::UnitY(), Z = Vector3d::UnitZ();

Matrix3d turnByVector(const Vector3d& v) {
  return v.norm() > 0.0 ? about(v.normalized(), v.norm()) : Matrix3d::Identity();
}

/// What an orientation means when it was written down in another way than stated. Only those of the
/// recorded form apply.
struct Misreading {
  Mistake what;
  const char* text;
  Matrix3d (*of_quaternion)(const Quaternion&);
  Matrix3d (*of_angles)(const Angles&);
};

constexpr double turn_of_degree = std::numbers::pi / 180.0;

const Misreading misreadings[] = {
    {Mistake::quaternion_order, "the quaternions are in the order x, y, z, w, not w, x, y, z",
     [](const Quaternion& q) { return Quaterniond(q.z, q.w, q.x, q.y).toRotationMatrix(); },
     nullptr},
    {Mistake::quaternion_order, "the quaternions are in the order w, x, y, z, not x, y, z, w",
     [](const Quaternion& q) { return Quaterniond(q.x, q.y, q.z, q.w).toRotationMatrix(); },
     nullptr},
    {Mistake::angle_convention, "the first and the third angle are exchanged", nullptr,
     [](const Angles& g) -> Matrix3d { return about(Z, g.c) * about(Y, g.b) * about(X, g.a); }},
    {Mistake::angle_convention, "the angles are about X, Y', Z'', not about Z, Y', X''", nullptr,
     [](const Angles& g) -> Matrix3d { return about(X, g.a) * about(Y, g.b) * about(Z, g.c); }},
    {Mistake::angle_convention, "the angles belong to the rotations in the opposite order", nullptr,
     [](const Angles& g) -> Matrix3d { return about(X, g.c) * about(Y, g.b) * about(Z, g.a); }},
    {Mistake::angle_convention, "the angles are about Z, Y', Z'', not about Z, Y', X''", nullptr,
     [](const Angles& g) -> Matrix3d { return about(Z, g.a) * about(Y, g.b) * about(Z, g.c); }},
    {Mistake::angle_convention, "the three numbers are a rotation vector, not angles", nullptr,
     [](const Angles& g) {
       return turnByVector({g.a, g.b, g.c});
     }},
    {Mistake::angle_unit, "the angles are in radians, not in degrees", nullptr,
     [](const Angles& g) -> Matrix3d {
       return about(Z, g.a / turn_of_degree) * about(Y, g.b / turn_of_degree) *
              about(X, g.c / turn_of_degree);
     }},
    {Mistake::angle_unit, "the angles are in degrees, not in radians", nullptr,
     [](const Angles& g) -> Matrix3d {
       return about(Z, g.a * turn_of_degree) * about(Y, g.b * turn_of_degree) *
              about(X, g.c * turn_of_degree);
     }},
};

/// The 23 right-angled turns.
std::vector<Matrix3d> rightAngledTurns() {
  std::vector<Matrix3d> turns;
  std::array<int, 3> axis = {0, 1, 2};
  do {
    for (int signs = 0; signs < 8; ++signs) {
      Matrix3d Q = Matrix3d::Zero();
      for (int i = 0; i < 3; ++i) Q(i, axis[i]) = (signs >> i & 1) != 0 ? -1.0 : 1.0;
      if (Q.determinant() > 0.0 && !Q.isIdentity()) turns.push_back(Q);
    }
  } while (std::next_permutation(axis.begin(), axis.end()));
  return turns;
}

/// The recording as stated first, which is no mistake, then every mistake.
std::vector<FrameMistake> candidates(const Stated& stated) {
  std::vector<FrameMistake> list;
  const Scene scene = stated.scene();
  const auto n = stated.orientations.size();

  FrameMistake base{Mistake::readings_in_base_axes,
                    "the readings are in base axes, not in sensor axes", scene};
  FrameMistake inverted{Mistake::inverted_rotation,
                        "the rotations are inverted: they turn from the base to the sensor", scene};
  for (std::size_t k = 0; k < n; ++k) {
    const auto column = static_cast<Eigen::Index>(k);
    base.scene.F.col(column) = scene.R[k].transpose() * scene.F.col(column);
    base.scene.M.col(column) = scene.R[k].transpose() * scene.M.col(column);
    inverted.scene.R[k] = matrixOf(stated.orientations[k]).transpose() * stated.mounting;
  }
  list.push_back({Mistake::gravity_sign, "", scene});
  list.push_back(std::move(base));
  list.push_back(std::move(inverted));

  for (const Misreading& m : misreadings) {
    FrameMistake mistake{m.what, m.text, scene};
    bool applies = true;
    for (std::size_t k = 0; applies && k < n; ++k) {
      const auto* q = std::get_if<Quaternion>(&stated.orientations[k]);
      const auto* angles = std::get_if<Angles>(&stated.orientations[k]);
      if (q != nullptr && m.of_quaternion != nullptr) {
        mistake.scene.R[k] = m.of_quaternion(*q) * stated.mounting;
      } else if (angles != nullptr && m.of_angles != nullptr) {
        mistake.scene.R[k] = m.of_angles(*angles) * stated.mounting;
      } else {
        applies = false;
      }
    }
    if (applies) list.push_back(std::move(mistake));
  }

  for (const Matrix3d& turn : rightAngledTurns()) {
    FrameMistake turned{Mistake::turned_axes, turnText(turn), turnedBack(scene, turn), turn};
    list.push_back(std::move(turned));
  }
  for (int i = 0; i < 6; ++i) {
    const bool torque = i >= 3;
    FrameMistake reversed{
        Mistake::reversed_axis,
        fmt::format("{}{} has the opposite sign", torque ? 'm' : 'f', "xyz"[i % 3]), scene};
    (torque ? reversed.scene.M : reversed.scene.F).row(i % 3) *= -1.0;
    reversed.torques_only = torque;
    list.push_back(std::move(reversed));
  }
  return list;
}

struct Quality {
  double force, torque;  ///< variance of one row
  int freedom_force, freedom_torque;

  double volume() const { return force * torque; }
  double logarithm() const {
    return freedom_force * std::log(force) + freedom_torque * std::log(torque);
  }
};

/// Chance that noise alone makes the forces, or the torques, of `other` fit as much better.
double chanceOfForces(const Quality& quality, const Quality& other) {
  return tailOfF(quality.force / other.force, quality.freedom_force, other.freedom_force);
}
double chanceOfTorques(const Quality& quality, const Quality& other) {
  return tailOfF(quality.torque / other.torque, quality.freedom_torque, other.freedom_torque);
}

Quality qualityOf(const LoadFit& f) {
  return {f.force.variance(forceFloor), f.torque.variance(torqueFloor), f.force.dof, f.torque.dof};
}

/// Quality of the two thirds of the poses that fit best, so that a contact does not decide.
Quality qualityOfMost(const Scene& scene) {
  Explanation e(scene);
  const int n = scene.poses();
  double rss = 0.0;
  e.used = concentrated(forceModel(e), e.used, n - n / 3, 2, rss);
  return qualityOf(fitLoad(e));
}

bool asGood(const Quality& quality, const Quality& best, double level) {
  return eitherOf(chanceOfForces(quality, best), chanceOfTorques(quality, best)) > level;
}

constexpr double not_worse = 1e-4;  // chance that noise alone makes one account worse
constexpr double as_good = 0.01;

/// A candidate with everything else that has to be wrong for it to be right.
struct Account {
  const FrameMistake* candidate;
  bool as_stated;
  Poses used;
  Quality quality;
  int mistakes;   ///< its own, a touched pose each, gravity that is not straight down
  bool mirrored;  ///< a turn that comes with gravity upwards: a mirroring

  bool simplerThan(const Account& other) const {
    return std::tuple(mistakes, mirrored) < std::tuple(other.mistakes, other.mirrored);
  }
};

Account accountOf(const FrameMistake& candidate, bool as_stated, double level) {
  constexpr double least_tilt = 3.0 * turn_of_degree;  // less is within what sensors are off
  Explanation e(candidate.scene);
  e.used = withoutContacts(e, level);
  const LoadFit f = fitLoad(e);
  const bool up = f.G.z() > 0.0, mirrored = up && !candidate.turn.isIdentity();
  const bool tilted =
      std::fabs(f.G.z()) < std::cos(least_tilt) * f.G.norm() && chanceOfTilt(e, f) < level;
  const auto touched = static_cast<int>(std::count(e.used.begin(), e.used.end(), 0));
  const int mistakes = !as_stated + touched + tilted + (up && !mirrored);
  return {&candidate, as_stated, e.used, qualityOf(f), mistakes, mirrored};
}

/// The accounts that leave about the least. First by most of the poses, then by all that nothing
/// touched.
std::vector<Account> closestAccounts(const std::vector<FrameMistake>& list, double level) {
  std::vector<Quality> most;
  most.reserve(list.size());
  for (const FrameMistake& candidate : list) most.push_back(qualityOfMost(candidate.scene));
  const Quality& best = *std::min_element(
      most.begin(), most.end(),
      [](const Quality& a, const Quality& b) { return a.logarithm() < b.logarithm(); });
  std::vector<Account> accounts;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (asGood(most[i], best, not_worse)) accounts.push_back(accountOf(list[i], i == 0, level));
  }
  const Quality closest =
      std::min_element(accounts.begin(), accounts.end(), [](const Account& a, const Account& b) {
        return a.quality.volume() < b.quality.volume();
      })->quality;
  std::erase_if(accounts, [&](const Account& a) { return !asGood(a.quality, closest, not_worse); });
  return accounts;
}

/// The one with the fewest mistakes; of equals the recording as stated, then the closest.
const Account& simplestOf(const std::vector<Account>& accounts) {
  return *std::min_element(accounts.begin(), accounts.end(),
                           [](const Account& a, const Account& b) {
                             if (a.simplerThan(b) || b.simplerThan(a)) return a.simplerThan(b);
                             if (a.as_stated || b.as_stated) return a.as_stated && !b.as_stated;
                             return a.quality.logarithm() < b.quality.logarithm();
                           });
}

/// Whether a turn by any angle needs less besides. It is looked for with the disturbances.
bool anyTurnIsSimpler(FrameMistake turned, const Account& chosen, double level) {
  if (chosen.mistakes <= 1) return false;
  turned.turn = turnOfReadings(Explanation(turned.scene));
  turned.scene = turnedBack(std::move(turned.scene), turned.turn);
  const Account account = accountOf(turned, false, level);
  return account.simplerThan(chosen) && asGood(account.quality, chosen.quality, not_worse);
}

}  // namespace

Scene Stated::scene() const {
  Scene scene{{}, F, M};
  scene.R.reserve(orientations.size());
  for (const Orientation& orientation : orientations) {
    scene.R.emplace_back(matrixOf(orientation) * mounting);
  }
  return scene;
}

Scene turnedBack(Scene scene, const Matrix3d& turn) {
  for (Matrix3d& R : scene.R) R = R * turn.transpose();
  return scene;
}

std::optional<FrameMistake> findFrameMistake(const Stated& stated, double level) {
  const std::vector<FrameMistake> list = candidates(stated);
  const std::vector<Account> accounts = closestAccounts(list, level);
  const Account& chosen = simplestOf(accounts);
  if (chosen.as_stated || anyTurnIsSimpler(list.front(), chosen, level)) return std::nullopt;

  Explanation as_stated(list.front().scene);
  as_stated.used = chosen.used;
  FrameMistake result = *chosen.candidate;
  const auto chance = result.torques_only ? chanceOfTorques : chanceOfForces;
  result.chance =
      static_cast<double>(list.size()) * chance(qualityOf(fitLoad(as_stated)), chosen.quality);
  if (!(result.chance < level)) return std::nullopt;
  for (const Account& other : accounts) {
    if (&other == &chosen || other.mistakes > chosen.mistakes ||
        !asGood(other.quality, chosen.quality, as_good)) {
      continue;
    }
    const FrameMistake& mistake = *other.candidate;
    result.others.push_back(other.mirrored ? turnText(-mistake.turn) : mistake.text);
  }
  return result;
}

namespace {

/// Columns of the three unknowns at each pose, in front of the offset and the drift.
template <typename Block>
Model withColumns(const Explanation& e, const Model& force, int first_kept, Block block) {
  Model wider = force;
  const auto kept = force.A.cols() - first_kept;
  const auto added = block(0).cols();
  wider.A.resize(force.A.rows(), added + kept);
  wider.A.rightCols(kept) = force.A.rightCols(kept);
  for (int k = 0; k < force.poses(); ++k) wider.A.block(3 * k, 0, 3, added) = block(k);
  silence(e, 0, wider);
  return wider;
}

/// The turn of readings that a free linear map from the direction of gravity, up or down the base z
/// axis, to the force comes closest to.
Matrix3d roughTurn(const Explanation& e, const Model& force) {
  using Block = Eigen::Matrix<double, 3, 9>;
  const Model free = withColumns(e, force, 3, [&](int k) {
    Block block = Block::Zero();
    for (int i = 0; i < 3; ++i) block.block<1, 3>(i, 3 * i) = e.scene.R[k].row(2);
    return block;
  });
  const Eigen::VectorXd x = fit(free, e.used).x;
  const Matrix3d map = Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(x.data());
  const Eigen::JacobiSVD<Matrix3d, Eigen::NoQRPreconditioner> svd(
      map, Eigen::ComputeFullU | Eigen::ComputeFullV);
  const Matrix3d turn = svd.matrixU() * svd.matrixV().transpose();
  return turn * turn.determinant();
}

}  // namespace

Matrix3d turnOfReadings(const Explanation& explanation) {
  const Model stated = forceModel(explanation);
  Explanation e = explanation;
  Matrix3d best = Matrix3d::Identity();
  double least = fit(stated, e.used).rss;
  for (Matrix3d turn : {best, roughTurn(explanation, stated)}) {
    for (int step = 0; step < 10; ++step) {
      e.scene = turnedBack(explanation.scene, turn);
      const Model force = forceModel(e);
      const Fit f = fit(force, e.used);
      if (f.rss < least) {
        least = f.rss;
        best = turn;
      }
      // A small further turn d changes the gravity force by d x force.
      const Model wider = withColumns(e, force, 0, [&](int k) {
        const Vector3d gravity = e.scene.R[k].transpose() * f.x.head<3>();
        Matrix3d block;
        for (int j = 0; j < 3; ++j) block.col(j) = Vector3d::Unit(j).cross(gravity);
        return block;
      });
      const Fit small_turn = fit(wider, e.used);
      if (small_turn.rank < wider.A.cols()) return Matrix3d::Identity();
      const Vector3d d = small_turn.x.head<3>();
      turn = turnByVector(d) * turn;
      if (d.norm() < 1e-6) break;
    }
  }
  return best;
}

bool isAlongAxes(const Matrix3d& turn) {
  const Matrix3d whole = turn.array().round().matrix();
  return (turn - whole).norm() < 0.05 && (whole.transpose() * whole).isIdentity();
}

std::string turnText(const Matrix3d& turn) {
  if (!isAlongAxes(turn)) {
    const AngleAxisd angle_axis(turn);
    const Vector3d& axis = angle_axis.axis();
    return fmt::format(
        "the axes of the readings are turned by {:.1f} deg about ({:.2f}, {:.2f}, {:.2f}) of the "
        "stated sensor axes",
        angle_axis.angle() / turn_of_degree, axis.x(), axis.y(), axis.z());
  }
  std::string text = "the axes of the readings are not the stated sensor axes:";
  for (int i = 0; i < 3; ++i) {
    int j = 0;
    turn.row(i).cwiseAbs().maxCoeff(&j);
    text += fmt::format("{} f{} points along {}{}", i == 0 ? "" : ",", "xyz"[i],
                        turn(i, j) > 0.0 ? '+' : '-', "xyz"[j]);
  }
  return text;
}

}  // namespace zel::analysis
