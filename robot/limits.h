// What the tool's settings accept, for the tool itself and for whoever explains a refusal.
// Internal: not installed.
#ifndef ZEL_FTC_ROBOT_LIMITS_H
#define ZEL_FTC_ROBOT_LIMITS_H

namespace zel::limits {

constexpr double shortestPeriod = 4.0, longestPeriod = 100.0;  ///< ms, both accepted
constexpr double largestLever = 500.0;                         ///< mm, accepted
constexpr double largestArm = 0.5;           ///< m, of an identified load, accepted
constexpr double largestForceNoise = 100.0;  ///< N, not accepted
constexpr double largestTorqueNoise = 10.0;  ///< N m, not accepted
constexpr int calibrationSamples = 10;       ///< that can be recorded
constexpr int historyLength = 20;            ///< cycles that settle or stall a run

}  // namespace zel::limits

#endif
