// Checks of what every run needs: settings, load, zero, frames, forces and gains.
#include <algorithm>
#include <cmath>

#include "diag/check.h"
#include "diag/geometry.h"
#include "diag/guard.h"
#include "diag/library.h"
#include "diag/reasons.h"
#include "ft/ZelForceSensorEtherNetUDP.h"
#include "ft/ZelForceSensorExternal.h"
#include "matrix/length3.h"
#include "robot/limits.h"
#include "zel_ftc_guard.h"

namespace zel::diag {

namespace {

constexpr double degreesPerRadian = 57.29577951308232;

void checkFiniteValues(Findings& findings, const char* what, const double* values, int count) {
  const double* const found =
      std::find_if_not(values, values + count, [](double x) { return std::isfinite(x); });
  if (found == values + count) return;
  findings.fault(Fault::NOT_FINITE, static_cast<std::int32_t>(found - values), *found, 0.0, what);
}

}  // namespace

void checkSettings(const Facts& facts, Findings& findings) {
  const std::uint32_t missing = missingSettings(facts.tool);
  if (missing != 0) findings.fault(Fault::MISSING_SETTINGS, -1, missing);
  const bool configured = facts.isPath()                  ? facts.tool.isSetTrackingMotion
                          : facts.run == ZEL_ASSEMBLY_RUN ? facts.tool.isSetAssembly
                                                          : facts.tool.isSetApproach;
  if (configured) return;
  findings.fault(Fault::MODE_NOT_CONFIGURED, -1,
                 facts.isPath() ? ZEL_RUN_TRACKING_NOT_SET : ZEL_RUN_CONTACT_NOT_SET);
}

void checkSensor(const Facts&, Findings& findings) {
  const bool connected = zel_is_external ? static_cast<SensorExternal&>(sensor()).bConnect
                                         : static_cast<SensorEtherNet_UDP&>(sensor()).bConnect;
  if (!connected) findings.fault(Fault::SENSOR_NOT_INITIALISED);
}

void checkFinite(const Facts& facts, Findings& findings) {
  const ZelFTCTool& t = facts.tool;
  const auto check = [&](const char* what, const double* values, int count) {
    checkFiniteValues(findings, what, values, count);
  };
  check("the weight of the load", &t.loadData.G, 1);
  check("the centre of mass of the load", &t.loadData.lx, 3);
  check("the permitted load", t.FTconfig.MaxLoad, 6);
  check("the pose of the sensor on the flange", t.FTconfig.flange_sensor.value, 6);
  check("the pose of the tool on the sensor", t.FTconfig.sensor_tool.value, 6);
  check("a monitoring limit", t.monitoringFunctions.MaxPermissibleLoad, 6);
  check("an upper bound of the correction box", t.correctionLimit.max, 3);
  check("a lower bound of the correction box", t.correctionLimit.min, 3);
  check("the limit of the total path", &t.correctionMonitoring.path, 1);
  check("the limit of the total angle", &t.correctionMonitoring.angle, 1);
  check("the minimum path", &t.correctionLimit.minPath, 1);
  check("the minimum path per axis", t.correctionLimit.minpath_group, 3);
  check("the zero reference", t.ldd_ft0.value, 6);
  check("the set force", facts.expected(), 6);
  check("a gain", facts.gains(), 6);
  if (facts.isPath()) {
    check("a break range", facts.tracking().breakConditionRange, 6);
    check("the path speed", &facts.tracking().setDesiredSpeed, 1);
  } else {
    check("a break range", facts.contact().breakConditionRange, 6);
    check("the search speed", &facts.contact().translationalMotion, 1);
    check("the switching force", &facts.contact().switchingForce, 1);
    check("the switching torque", &facts.contact().switchingTorque, 1);
  }
}

void checkPermittedLoad(const Facts& facts, Findings& findings) {
  if (!facts.tool.isSetSensorConfig) return findings.fault(Fault::NO_SENSOR_CONFIG);
  for (int i = 0; i < 6; ++i) {
    const double permitted = facts.tool.FTconfig.MaxLoad[i];
    if (permitted <= 0.0) findings.fault(Fault::PERMITTED_LOAD_ZERO, i, permitted);
  }
}

void checkLoad(const Facts& facts, Findings& findings) {
  if (!facts.tool.isSetLoadData) return findings.notChecked("no load is set");
  const auto& load = facts.tool.loadData;
  const double centre = 1000.0 * length3(&load.lx);
  if (history.identified.order > history.load.order) findings.fault(Fault::LOAD_MIRRORED);
  if (load.G < 0.0) findings.fault(Fault::NEGATIVE_WEIGHT, -1, load.G);
  if (load.G == 0.0 && centre > 0.0) findings.fault(Fault::WEIGHT_ZERO);
  if (load.G == 0.0 && centre == 0.0) {
    findings.notChecked("a load of 0 N is right only when nothing hangs on the sensor");
  }
  if (centre > limits::largestLever) {
    findings.fault(Fault::CENTRE_IMPLAUSIBLE, -1, centre, limits::largestLever);
  }
}

void checkZero(const Facts&, Findings& findings) {
  const std::uint64_t zero = history.zero.order;
  if (zero == 0) return findings.fault(Fault::NO_ZERO);
  const auto younger = [&](const Setting& setting, const char* what) {
    if (setting.order > zero) findings.fault(Fault::ZERO_TOO_OLD, -1, 0.0, 0.0, what);
  };
  younger(history.load, "the load");
  younger(history.mounting, "the mounting");
  younger(history.sensorZero, "the sensor's own zero");
}

void checkUnits(const Facts& facts, Findings& findings) {
  const auto check = [&](const char* what, double length) {
    constexpr double shorterThanAnything = 1.0;  // mm; nothing at all is 0
    if (length > 0.0 && length < shorterThanAnything) {
      findings.fault(Fault::METRES, -1, length, 0.0, what);
    }
  };
  check("the pose of the sensor on the flange",
        1000.0 * length3(facts.tool.FTconfig.flange_sensor.value));
  check("the pose of the tool on the sensor",
        1000.0 * length3(facts.tool.FTconfig.sensor_tool.value));
  check("the centre of mass", 1000.0 * length3(&facts.tool.loadData.lx));
  check("the start pose", length3(facts.plan.start));
}

void checkPeriod(const Facts& facts, Findings& findings) {
  if (history.period.order == 0) findings.fault(Fault::PERIOD_NOT_SET, -1, facts.periodMs());
  const Setting& mode = facts.isPath() ? history.tracking : history.approach;
  if (mode.period == facts.tool.timeStep) return;
  findings.fault(Fault::PERIOD_CHANGED, -1, 1000.0 * mode.period, facts.periodMs());
}

void checkFrame(const Facts& facts, Findings& findings) {
  if (facts.frame() == WORLD || facts.frame() == BASE) findings.fault(Fault::BLIND_FRAME);
}

void checkMounting(const Facts& facts, Findings& findings) {
  const RigidTransform T_flange_sensor = transformFromPose(facts.tool.FTconfig.flange_sensor.value);
  const RigidTransform T_flange_tool =
      T_flange_sensor * transformFromPose(facts.tool.FTconfig.sensor_tool.value);
  constexpr double parallel = 1.0;  // degrees
  if (facts.frame() == TOOL) {
    const double angle = degreesPerRadian * angleOf(T_flange_tool.row);
    constexpr double rounding = 1e-7;  // degrees, of mountings that cancel out
    const bool turnsOn = facts.run == ZEL_APPROACH_RUN;
    if (turnsOn && angle > rounding) findings.fault(Fault::KEEPS_TURNING, -1, angle);
    if (!turnsOn && angle > parallel) findings.fault(Fault::FORCE_TURNED, -1, angle);
  } else if (facts.frame() == SENSOR) {
    const double angle = degreesPerRadian * angleOf(T_flange_sensor.row);
    if (angle > parallel) findings.fault(Fault::FORCE_TURNED, -1, angle);
  }
}

void checkSetForce(const Facts& facts, Findings& findings) {
  const double* const E = facts.expected();
  const int d = facts.direction();
  if (facts.isPath()) {
    if (std::all_of(E, E + 6, [](double e) { return e == 0.0; })) {
      findings.fault(Fault::NO_SET_FORCE);
    }
    return;
  }
  if (E[d] == 0.0) {
    findings.fault(Fault::NO_DIRECTION, d);
  }
  if (facts.run == ZEL_APPROACH_RUN && (d == MX || d == MZ)) {
    findings.fault(Fault::CROSSED_TORQUE, d);
  }
}

void checkGains(const Facts& facts, Findings& findings) {
  for (int i = 0; i < 6; ++i) {
    const double E = facts.expected()[i], gain = facts.gains()[i];
    if (gain < 0.0) findings.fault(Fault::NEGATIVE_GAIN, i);
    if (gain == 0.0 && E != 0.0) findings.fault(Fault::NO_GAIN, i);
    if (gain > 0.0 && E == 0.0) findings.fault(Fault::COMPLIANT_AXIS, i);
  }
}

/// One force axis in contact is an integrator with gain p (the part of the force error that a
/// period removes) behind m periods of delay. It is stable up to p = 2 sin(pi / (2 (2 m + 1))),
/// which is 2 without delay (Jury's criterion; Astrom & Wittenmark, Computer-Controlled Systems).
void checkStability(const Facts& facts, Findings& findings) {
  if (!(facts.plan.stiffness > 0.0)) {
    return findings.notChecked("the stiffness of the contact is not known");
  }
  constexpr double pi = 3.141592653589793;
  const double delay = facts.plan.delay > 0.0 ? facts.plan.delay : 0.0;
  const double periods = std::ceil(delay / facts.periodMs());
  const double stable = 2.0 * std::sin(pi / (2.0 * (2.0 * periods + 1.0)));
  const double smooth = 0.5 * stable;
  constexpr double recommended = 0.2;
  for (int i = 0; i < 3; ++i) {
    const double p = 1000.0 * facts.gains()[i] * facts.plan.stiffness;
    if (p > stable) {
      findings.fault(Fault::UNSTABLE, i, p, stable);
    } else if (p > smooth) {
      findings.fault(Fault::RINGING, i, p, smooth);
    } else if (p > recommended) {
      findings.fault(Fault::HIGH_GAIN, i, p, recommended);
    }
  }
}

void checkMonitoring(const Facts& facts, Findings& findings) {
  if (!facts.tool.isSetMonitoringFunctions) {
    return findings.notChecked("the monitoring functions are not set");
  }
  for (int i = 0; i < 6; ++i) {
    const double limit = facts.tool.monitoringFunctions.MaxPermissibleLoad[i];
    const double force = std::fabs(facts.expected()[i]);
    if (force > 0.0 && limit <= force) {
      findings.fault(Fault::MONITORING_BELOW_FORCE, i, force, limit);
    } else if (limit <= 0.0) {
      findings.fault(Fault::MONITORING_ZERO, i, limit);
    }
  }
}

void checkStall(const Facts& facts, Findings& findings) {
  const double speed =
      facts.isPath() ? facts.tracking().setDesiredSpeed : facts.contact().translationalMotion;
  constexpr double shortWay = 10.0;  // mm
  const double way = limits::historyLength * facts.periodMs() * std::fabs(speed);
  if (way > shortWay) findings.fault(Fault::STALL_TRAVEL, -1, way);
}

void checkGuard(const Facts&, Findings& findings) {
  const int off = guardLimitsOff();
  if (off == ZEL_GUARD_LIMIT_COUNT) {
    findings.fault(Fault::GUARD_OFF);
  } else if (off > 0) {
    findings.fault(Fault::GUARD_HALF, -1, off, ZEL_GUARD_LIMIT_COUNT);
  }
}

}  // namespace zel::diag
