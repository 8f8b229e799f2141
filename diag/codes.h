// The one table of codes: run results, sensor status, kinds of refusal. Internal: not installed.
#ifndef ZEL_FTC_DIAG_CODES_H
#define ZEL_FTC_DIAG_CODES_H

#include <cstdint>

#include "zel_ftc_diag.h"

namespace zel::diag {

struct CodeRow {
  ZelCodeSpace space;
  std::int32_t code;
  const char* name;
  const char* cause;
  const char* remedy;
  /// What a refusal for it says behind the name of the function; see reasons.cpp for the letters
  /// behind the percent signs. Empty for a sensor status, which is no refusal of its own.
  const char* sentence;
};

/// The row of a code, break codes included; null for a code that does not exist in this space.
const CodeRow* findCode(ZelCodeSpace space, std::int32_t code);

/// Whether a run result is 80002 plus bits of axes.
bool isBreakCode(std::int32_t code);

/// The names of the axes whose ZelBreakBit is set, "Fx, Fz", into 24 bytes.
void writeAxes(std::uint32_t bits, char (&axes)[24]);

/// Fx, Fy, Fz, Mx, My, Mz.
extern const char* const axisNames[6];
/// x, y, z and the three angles, in the order of a pose.
extern const char* const poseNames[6];
/// N or N m.
const char* unitOfAxis(int axis);
/// The ZelBreakBit of each axis, in the order of a wrench.
extern const int breakBits[6];

}  // namespace zel::diag

#endif
