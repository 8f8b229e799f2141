// Checks of lines and arcs: the points, the turn, the number of steps, the break test.
#include <cmath>

#include "diag/check.h"
#include "diag/geometry.h"

namespace zel::diag {

namespace {

constexpr double degreesPerRadian = 57.29577951308232;

/// A part of the path: from one programmed pose to the next.
struct Leg {
  const double* from;
  const double* to;
  const char* name;
};

/// The legs of the path, at most two.
class Legs {
 public:
  explicit Legs(const Facts& facts) {
    const auto& [run, stiffness, delay, travel, start, via, end] = facts.plan;
    known_ = !std::isnan(start[0]) && !std::isnan(end[0]);
    if (facts.run == ZEL_LINE_RUN) {
      add(start, end, "start to end");
    } else {
      known_ = known_ && !std::isnan(via[0]);
      add(start, via, "start to via");
      add(via, end, "via to end");
    }
  }

  bool known() const { return known_; }
  const Leg* begin() const { return legs_; }
  const Leg* end() const { return legs_ + count_; }

 private:
  void add(const double* from, const double* to, const char* name) {
    legs_[count_++] = {from, to, name};
  }

  Leg legs_[2] = {};
  int count_ = 0;
  bool known_ = false;
};

constexpr double samePoint = 1e-6;  // mm

Vector way(const double* from, const double* to) {
  return firstThree(to) - firstThree(from);
}

/// Whether start, via and end of an arc lie on a line, compared with their distances.
bool onALine(const zel_ftc_plan& plan) {
  const Vector a = way(plan.start, plan.via), b = way(plan.start, plan.end);
  return length(cross(a, b)) <= 1e-6 * length(a) * length(b);
}

/// Angle at p between the ways to a and to b.
double angleAt(const double* p, const double* a, const double* b) {
  const Vector u = way(p, a), v = way(p, b);
  return std::atan2(length(cross(u, v)), dot(u, v));
}

/// Length of the path, mm. An arc seen from the opposite corner: the central angle is twice the
/// inscribed one.
double lengthOf(const Facts& facts) {
  const auto& [run, stiffness, delay, travel, start, via, end] = facts.plan;
  if (facts.run == ZEL_LINE_RUN) return length(way(start, end));
  const double half = angleAt(end, start, via) + angleAt(start, via, end);
  const double radius = length(way(start, end)) / (2.0 * std::sin(angleAt(via, start, end)));
  return 2.0 * half * radius;
}

constexpr const char* posesUnknown = "the poses of the path are not known";

}  // namespace

void checkPath(const Facts& facts, Findings& findings) {
  const Legs legs(facts);
  if (!legs.known()) return findings.notChecked(posesUnknown);
  bool apart = true;
  const auto check = [&](const double* a, const double* b, const char* what) {
    if (length(way(a, b)) > samePoint) return;
    findings.fault(Fault::POINTS_COINCIDE, -1, 0.0, 0.0, what);
    apart = false;
  };
  check(facts.plan.start, facts.plan.end, "start and end");
  if (facts.run == ZEL_LINE_RUN) return;
  check(facts.plan.start, facts.plan.via, "start and via");
  check(facts.plan.via, facts.plan.end, "via and end");
  if (apart && onALine(facts.plan)) findings.fault(Fault::POINTS_ON_A_LINE);
}

void checkTurn(const Facts& facts, Findings& findings) {
  const Legs legs(facts);
  if (!legs.known()) return findings.notChecked(posesUnknown);
  constexpr double small = 20.0;  // degrees
  for (const auto& [from, to, name] : legs) {
    const double turn = degreesPerRadian * angleBetween(from, to);
    if (turn > small + 1e-9) findings.fault(Fault::LARGE_TURN, -1, turn, small, name);
    double q[4], p[4];
    quaternionFromRotation(transformFromPose(from).row, q, 4);
    quaternionFromRotation(transformFromPose(to).row, p, 4);
    if (q[0] * p[0] + q[1] * p[1] + q[2] * p[2] + q[3] * p[3] < 0.0) {
      findings.fault(Fault::TURN_THE_LONG_WAY, -1, turn, 0.0, name);
    }
  }
}

void checkSteps(const Facts& facts, Findings& findings) {
  const double speed = 1000.0 * facts.tracking().setDesiredSpeed;  // mm/s
  const Legs legs(facts);
  if (speed > 0.0 && !legs.known()) return findings.notChecked(posesUnknown);
  const double length = legs.known() ? lengthOf(facts) : 0.0;
  const double steps = speed > 0.0 ? 1000.0 * length / speed / facts.periodMs() : 0.0;
  constexpr double hour = 3600000.0;  // ms
  if (speed <= 0.0 || (length > samePoint && steps < 1.0)) {
    findings.fault(Fault::NO_STEPS, -1, speed, steps);
  } else if (steps * facts.periodMs() > hour) {
    findings.fault(Fault::MANY_STEPS, -1, steps);
  }
}

void checkBreakTest(const Facts& facts, Findings& findings) {
  for (int i = 0; i < 6; ++i) {
    // At the set force the measured one is its negative; the test adds the approach's.
    const double atRest = facts.contact().setExpectFT[i] - facts.tracking().setExpectFT[i];
    const double range = facts.tracking().breakConditionRange[i];
    if ((range > 0.0 && atRest > range) || (range < 0.0 && atRest < range)) {
      findings.fault(Fault::TRIPS_AT_REST, i, atRest, range);
    }
  }
}

}  // namespace zel::diag
