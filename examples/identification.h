// Load identification: what hangs on the sensor, from ten poses.
#ifndef ZEL_FTC_EXAMPLES_IDENTIFICATION_H
#define ZEL_FTC_EXAMPLES_IDENTIFICATION_H

#include <ostream>
#include <vector>

#include "examples/common.h"

namespace example {

/// Takes the tool through ten poses around `start` (200 mm higher, turned) and identifies the load
/// from the mean readings at rest, with ldd_tool. The zero of the sensor need not be known. Weight
/// and centre are in N and mm, as zel_ftc_setLoadData takes them. Throws std::runtime_error when
/// they are not finite.
zel::sim::Load identify(RobotLink& robot, const Pose& start, const Pose& flange_sensor);

void printLoads(const zel::sim::Load& found, const zel::sim::Load& truth);

/// A reading at rest, raw and as the compensation leaves it: near zero for a load that is known
/// well.
struct LeftOver {
  Pose pose;
  Wrench reading, left;
};
/// At ten poses other than those of the identification.
std::vector<LeftOver> leftOver(RobotLink& robot, const Pose& start);

/// Writes the samples: pose (1..10); x_mm..c_rad, of the flange; fx..mz the reading; lfx..lmz what
/// is left of it. `zelftc identify` reads the file.
void write(std::ostream& csv, const std::vector<LeftOver>& samples);

/// The largest component left of the forces (FX) or torques (MX).
double largest(const std::vector<LeftOver>& samples, int firstAxis);

}  // namespace example

#endif
