// Checks of approach and assembly: search, contact, end, and the limits around them.
#include <algorithm>
#include <cmath>

#include "diag/check.h"
#include "diag/geometry.h"
#include "robot/limits.h"

namespace zel::diag {

namespace {

constexpr double millimetres = 1000.0;  // per metre

bool known(double value) {
  return !std::isnan(value);
}

}  // namespace

void checkSpeed(const Facts& facts, Findings& findings) {
  const auto& c = facts.contact();
  const double speed = millimetres * c.translationalMotion;  // mm/s
  if (speed < 0.0) return findings.fault(Fault::SEARCH_AWAY, -1, speed);
  if (facts.direction() > FZ || !facts.tool.isSetMonitoringFunctions) return;
  if (!known(facts.plan.stiffness)) {
    return findings.notChecked("the impact: the stiffness of the contact is not known");
  }
  // Between contact and the switch the tool goes on for a period and the delay.
  const double delay = known(facts.plan.delay) ? facts.plan.delay : 0.0;
  const double impact =
      c.switchingForce + 0.001 * speed * (facts.periodMs() + delay) * facts.plan.stiffness;
  const double limit = facts.tool.monitoringFunctions.MaxPermissibleLoad[facts.direction()];
  const double force = std::fabs(c.setExpectFT[facts.direction()]);
  if (impact > limit && limit > force) {
    findings.fault(Fault::IMPACT, facts.direction(), impact, limit);
  }
}

void checkSwitching(const Facts& facts, Findings& findings) {
  const auto& c = facts.contact();
  if (c.switchingForce <= 0.0) {
    findings.fault(Fault::SWITCHING_ZERO, -1, c.switchingForce, 0.0, "the force");
  }
  if (c.switchingTorque <= 0.0) {
    findings.fault(Fault::SWITCHING_ZERO, -1, c.switchingTorque, 0.0, "the torque");
  }
  const int d = facts.direction();
  const double switching = d < MX ? c.switchingForce : c.switchingTorque;
  const double force = std::fabs(c.setExpectFT[d]);
  if (force > 0.0 && switching >= force) {
    findings.fault(Fault::SWITCHING_ABOVE_FORCE, d, switching, force);
  }
}

void checkBreakRange(const Facts& facts, Findings& findings) {
  const double* const range = facts.contact().breakConditionRange;
  const int d = facts.direction();
  if (std::all_of(range, range + 6, [](double r) { return r == 0.0; })) {
    return findings.fault(Fault::NO_BREAK_RANGE);
  }
  if (range[d] == 0.0) findings.fault(Fault::MAIN_AXIS_FREE, d);
  const double force = std::fabs(facts.contact().setExpectFT[d]);
  if (force > 0.0 && range[d] >= force) {
    findings.fault(Fault::BREAK_RANGE_WIDE, d, range[d], force);
  }
  for (int i = 0; i < 6; ++i) {
    if (range[i] < 0.0) findings.fault(Fault::BREAK_RANGE_NEGATIVE, i, range[i]);
  }
}

void checkDeadBand(const Facts& facts, Findings& findings) {
  for (int i = 0; i < 6; ++i) {
    const double force = std::fabs(facts.expected()[i]);
    if (force > 0.0 && facts.noise(i) > force) {
      findings.fault(Fault::DEAD_BAND_ABOVE_FORCE, i, force, facts.noise(i));
    }
  }
  if (facts.isPath()) return;
  const auto& c = facts.contact();
  const auto checkSwitchingValue = [&](const char* what, double value, double noise) {
    if (value > 0.0 && noise > value) {
      findings.fault(Fault::DEAD_BAND_ABOVE_SWITCHING, -1, value, noise, what);
    }
  };
  if (facts.run == ZEL_APPROACH_RUN) {
    checkSwitchingValue("the force", c.switchingForce, facts.noise(FX));
    checkSwitchingValue("the torque", c.switchingTorque, facts.noise(MX));
  }
  for (int i = 0; i < 6; ++i) {
    const double range = c.breakConditionRange[i];
    if (range > 0.0 && facts.noise(i) > range) {
      findings.fault(Fault::DEAD_BAND_ABOVE_RANGE, i, range, facts.noise(i));
    }
  }
}

void checkBox(const Facts& facts, Findings& findings) {
  if (!facts.tool.isSetCorrectionLimit) {
    return findings.notChecked("the correction limit is not set");
  }
  bool containsStart = true;
  double lower[3], upper[3];
  for (int i = 0; i < 3; ++i) {
    lower[i] = millimetres * facts.tool.correctionLimit.min[i];
    upper[i] = millimetres * facts.tool.correctionLimit.max[i];
    if (lower[i] > upper[i]) {
      findings.fault(Fault::BOX_SWAPPED, i, lower[i], upper[i]);
    } else if (lower[i] > 0.0 || upper[i] < 0.0) {
      findings.fault(Fault::BOX_WITHOUT_START, i, lower[i] > 0.0 ? lower[i] : upper[i]);
    } else {
      continue;
    }
    containsStart = false;
  }
  if (!containsStart || facts.direction() > FZ) return;
  if (!known(facts.plan.start[0]) || !known(facts.plan.travel)) {
    return findings.notChecked("the start pose and the way to contact are not known");
  }
  const double force = facts.contact().setExpectFT[facts.direction()];
  const Vector way =
      std::copysign(facts.plan.travel, force) * searchAxis(facts.tool, facts.plan.start);
  const double moved[3] = {way.x, way.y, way.z};
  for (int i = 0; i < 3; ++i) {
    if (moved[i] > upper[i]) findings.fault(Fault::BOX_EXCLUDES_MOTION, i, moved[i], upper[i]);
    if (moved[i] < lower[i]) findings.fault(Fault::BOX_EXCLUDES_MOTION, i, moved[i], lower[i]);
  }
}

void checkCorrection(const Facts& facts, Findings& findings) {
  if (!facts.tool.isSetCorrectionMonitoring) {
    return findings.notChecked("the correction monitoring is not set");
  }
  const double path = millimetres * facts.tool.correctionMonitoring.path;
  const double angle = facts.tool.correctionMonitoring.angle;
  if (path <= 0.0) findings.fault(Fault::CORRECTION_ZERO, -1, path, 0.0, "path");
  if (angle <= 0.0) findings.fault(Fault::CORRECTION_ZERO, -1, angle, 0.0, "angle");
  if (!known(facts.plan.travel)) return findings.notChecked("the way to contact is not known");
  if (path > 0.0 && facts.plan.travel >= path) {
    findings.fault(Fault::CORRECTION_SHORT, -1, facts.plan.travel, path);
  }
}

void checkMinimumPath(const Facts& facts, Findings& findings) {
  const auto& limit = facts.tool.correctionLimit;
  const double least = millimetres * limit.minPath;
  if (facts.run == ZEL_ASSEMBLY_RUN) {
    const double largest =
        limit.set_group
            ? millimetres * *std::max_element(limit.minpath_group, limit.minpath_group + 3)
            : least;
    if (largest >= 0.0) findings.fault(Fault::ASSEMBLY_NEVER_ENDS, -1, largest);
    return;
  }
  const double most = millimetres * facts.tool.correctionMonitoring.path;
  const bool isLimited = facts.tool.isSetCorrectionMonitoring && most > 0.0;
  if (limit.set_group) {
    for (int i = 0; i < 3; ++i) {
      const double group = millimetres * limit.minpath_group[i];
      if (isLimited && group >= most) {
        findings.fault(Fault::MINIMUM_PATH_LONG, -1, group, most, "limit of the total correction");
      } else if (i != facts.direction() && group >= 0.0) {
        findings.fault(Fault::MINIMUM_PATH_GROUP, i, group);
      }
    }
    return;
  }
  if (least <= 0.0) return;
  if (isLimited && least >= most) {
    findings.fault(Fault::MINIMUM_PATH_LONG, -1, least, most, "limit of the total correction");
  } else if (!known(facts.plan.travel)) {
    findings.notChecked("the way to contact is not known");
  } else if (facts.direction() <= FZ && least > facts.plan.travel) {
    // What gives way under the force counts as travel, too.
    const double force = std::fabs(facts.contact().setExpectFT[facts.direction()]);
    const double way = facts.plan.travel + force / facts.plan.stiffness;
    if (!(facts.plan.stiffness > 0.0)) {
      findings.notChecked("how far the contact gives way is not known");
    } else if (least > way) {
      findings.fault(Fault::MINIMUM_PATH_LONG, -1, least, way, "way to contact and into it");
    }
  }
}

void checkTimeOut(const Facts& facts, Findings& findings) {
  const auto& c = facts.contact();
  const auto timeOut = static_cast<double>(c.timeOut);
  if (c.timeOut == 0) return findings.fault(Fault::NO_TIME, -1, timeOut);
  if (!known(facts.plan.travel)) return findings.notChecked("the way to contact is not known");
  if (c.translationalMotion < 0.0) return;
  // The set point is led in with an acceleration of 200 per s^2, then 20 cycles settle.
  const double search =
      c.translationalMotion > 0.0 ? facts.plan.travel / c.translationalMotion : 0.0;
  const double leadIn = 2000.0 * std::sqrt(std::fabs(c.setExpectFT[facts.direction()]) / 200.0);
  const double needed = search + leadIn + limits::historyLength * facts.periodMs();
  if (needed > timeOut) findings.fault(Fault::TIME_SHORT, -1, needed, timeOut);
}

void checkAssembly(const Facts&, Findings& findings) {
  if (history.approach.order == 0) return findings.fault(Fault::ASSEMBLY_ALONE);
  if (history.runs == 0) {
    findings.notChecked("whether an approach comes right before: its last pose is held");
  }
}

void checkPhase(const Facts& facts, Findings& findings) {
  if (facts.tool.runApproachMode) return findings.fault(Fault::APPROACH_UNDERWAY);
  if (facts.tool.ApproachMode != 0) {
    findings.fault(Fault::PHASE_KEPT, -1, facts.tool.ApproachMode);
  }
}

}  // namespace zel::diag
