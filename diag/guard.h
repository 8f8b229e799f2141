// The guard as the rest of the diagnosis sees it. Internal: not installed.
#ifndef ZEL_FTC_DIAG_GUARD_H
#define ZEL_FTC_DIAG_GUARD_H

namespace zel::diag {

/// Every limit off, nothing held.
void startGuardAfresh();
/// How many limits are off.
int guardLimitsOff();
bool guardHolds();

}  // namespace zel::diag

#endif
