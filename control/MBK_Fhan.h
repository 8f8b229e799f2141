// A second-order tracking differentiator.
#ifndef ZEL_FTC_CONTROL_MBK_FHAN_H
#define ZEL_FTC_CONTROL_MBK_FHAN_H

#include "control/ControlBase.h"
#include "zel_ftc_types.h"

/// Leads a set point in smoothly: v1 follows it time-optimally within the acceleration bound r, v2
/// is its rate. The `fhan` synthesis function of active disturbance rejection control (J. Han,
/// "From PID to Active Disturbance Rejection Control", IEEE Trans. Industrial Electronics, 2009).
class ZEL_FTC_API MBK_Fhan : public ControlBase {
 public:
  double f0;     ///< last control output: the acceleration applied in the last step
  double v1;     ///< tracked value
  double v2;     ///< its rate
  bool IsAmpty;  ///< set by construction and clear; nothing reads it

  /// All zero.
  MBK_Fhan();

  /// Acceleration for state (v1, v2), set point fr, speed factor r > 0 and step t > 0 (seconds).
  /// Comparisons are strict: equality takes the linear branch.
  static double fhan(double v1, double fr, double v2, double r, double t);
  /// One step of A towards fr. Real-time safe.
  static void run(MBK_Fhan& A, double fr, double r, double t);
  /// Back to zero.
  static void clear(MBK_Fhan& A);
};

#endif
