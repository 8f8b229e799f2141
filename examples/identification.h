// Load identification: what hangs on the sensor, from ten poses.
#ifndef ZEL_FTC_EXAMPLES_IDENTIFICATION_H
#define ZEL_FTC_EXAMPLES_IDENTIFICATION_H

#include "examples/common.h"

namespace example {

/// Takes the tool through ten poses around `start` (200 mm higher, turned) and identifies the load
/// from the mean readings at rest, with ldd_tool. The zero of the sensor need not be known.
zel::sim::Load identify(RobotLink& robot, const Pose& start, const Pose& flange_sensor);

void printLoads(const zel::sim::Load& found, const zel::sim::Load& truth);

/// What the compensation leaves of force and torque at ten other poses, the largest components:
/// near zero for a load that is known well.
struct LeftOver {
  double force = 0.0, torque = 0.0;
};
LeftOver leftOver(RobotLink& robot, const Pose& start);

}  // namespace example

#endif
