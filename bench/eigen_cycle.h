// The control cycle of the library written by hand with Eigen fixed-size types: the yardstick of
// the benchmarks. Same inputs, same steps, same records; transforms of constant poses are kept and
// the current pose is transformed once per cycle.
#ifndef ZEL_FTC_BENCH_EIGEN_CYCLE_H
#define ZEL_FTC_BENCH_EIGEN_CYCLE_H

#include <Eigen/Geometry>
#include <chrono>

#include "zel_ftc_types.h"

namespace eigen_cycle {

using Vector6 = Eigen::Matrix<double, 6, 1>;
using Matrix6 = Eigen::Matrix<double, 6, 6>;

Eigen::Isometry3d transformOf(const Vector6& pose);
Vector6 poseOf(const Eigen::Isometry3d& T);

/// Tracking differentiator towards a set point.
struct Differentiator {
  double v1 = 0.0, v2 = 0.0;
  void step(double target, double r, double t);
};

/// An approach run in contact, fed from outside.
class Approach {
 public:
  struct Config {
    ZelCartesianCoordinate rcs;
    int direction;
    Vector6 expected, gain, band, permitted, maxLoad;
    double speed, touchForce, touchTorque, period, timeOut, minPath;
    double weight;
    Eigen::Vector3d centre, upper, lower;
    double pathLimit, angleLimit, deadForce, deadTorque;
    Vector6 flange_sensor, sensor_tool;
    /// False: measurement, correction and monitoring each transform the current pose, as separate
    /// functions do. True: it is transformed once per cycle.
    bool sharesCurrentPose;
  };

  explicit Approach(const Config& config);
  void feed(const double* wrench);
  int cycle(double* out, const double* now, zel_ftc_error* err);

 private:
  Config c_;
  Eigen::Isometry3d T_flange_sensor_, T_sensor_tool_, T_sensor_flange_, T_base_start_;
  Matrix6 X_tool_sensor_;
  Vector6 fed_ = Vector6::Zero(), zero_ = Vector6::Zero(), start_ = Vector6::Zero();
  Vector6 force_ = Vector6::Zero(), history_[4] = {};
  Differentiator forceLead_, gainLead_;
  zel_ft_info info_ = {}, last_ = {};
  int32_t counter_ = 0;
  int stalls_[20] = {}, settled_[20] = {};
  bool running_ = false;
  int phase_ = 0;
  std::chrono::system_clock::time_point started_;
};

}  // namespace eigen_cycle

#endif
