// The control cycle of the library written by hand with Eigen fixed-size types: the yardstick of
// the benchmarks. Same inputs, same steps, same records; transforms of constant poses are kept.
#ifndef ZEL_FTC_BENCH_EIGEN_CYCLE_H
#define ZEL_FTC_BENCH_EIGEN_CYCLE_H

#include <Eigen/Geometry>
#include <chrono>

#include "zel_ftc_types.h"

namespace eigen_cycle {

using Vector6 = Eigen::Matrix<double, 6, 1>;
using Vector7 = Eigen::Matrix<double, 7, 1>;
using Matrix6 = Eigen::Matrix<double, 6, 6>;

Eigen::Isometry3d transformOf(const Vector6& pose);
Vector6 poseOf(const Eigen::Isometry3d& T);

/// Tracking differentiator towards a set point.
struct Differentiator {
  double v1 = 0.0, v2 = 0.0;
  void step(double target, double r, double t);
};

/// What every run is configured with. Lengths in m.
struct Config {
  ZelCartesianCoordinate rcs;
  Vector6 expected, gain, band, permitted, maxLoad;
  double period;
  double weight;
  Eigen::Vector3d centre;
  double deadForce, deadTorque;
  Vector6 flange_sensor, sensor_tool;
  /// False: measurement, correction and monitoring each transform the current pose, as separate
  /// functions do. True: it is transformed once per cycle.
  bool sharesCurrentPose;
};

struct ApproachConfig {
  int direction;
  double speed, touchForce, touchTorque, timeOut, minPath;
  Eigen::Vector3d upper, lower;
  double pathLimit, angleLimit;
};

/// One cycle of a run fed from outside: what all runs do alike. A `Mode` derives from it and adds
/// start, request, correct and result.
template <typename Mode>
class Run {
 public:
  void feed(const double* wrench);
  int cycle(double* out, const double* now, zel_ftc_error* err);

 protected:
  struct Result {
    int code;
    const char* text;
  };

  explicit Run(const Config& config);
  Vector6 perAxisLaw() const;
  Eigen::Isometry3d offsetInFrame(const Eigen::Isometry3d& T,
                                  const Eigen::Isometry3d& T_offset) const;

  Config c_;
  Eigen::Isometry3d T_flange_sensor_, T_sensor_tool_, T_sensor_flange_;
  Vector6 force_ = Vector6::Zero(), history_[4] = {};

 private:
  void measure(const Eigen::Isometry3d& T_base_now, const Vector6& raw);

  Matrix6 X_tool_sensor_;
  Vector6 fed_ = Vector6::Zero(), zero_ = Vector6::Zero();
  zel_ft_info info_ = {}, last_ = {};
  int32_t counter_ = 0;
  int stalls_[20] = {};
  bool running_ = false;
};

/// An approach in contact.
class Approach : public Run<Approach> {
 public:
  Approach(const Config& config, const ApproachConfig& approach);

 private:
  friend class Run<Approach>;
  void start(const Vector6& pose);
  Vector6 request();
  Vector6 correct(const Eigen::Isometry3d& T_base_expect, const Eigen::Isometry3d& T_offset);
  Result result(const Eigen::Isometry3d& T_base_now, const Vector6& pose);

  ApproachConfig a_;
  Eigen::Isometry3d T_base_start_ = Eigen::Isometry3d::Identity();
  Vector6 start_ = Vector6::Zero();
  Differentiator forceLead_, gainLead_;
  int settled_[20] = {};
  int phase_ = 0;
  std::chrono::system_clock::time_point started_;
};

/// Step-by-step motion along a line. Steps are a position (m) and a quaternion (w, x, y, z) that is
/// added component by component.
class Line {
 public:
  Line(const Vector6& start, const Vector6& end, double speed, double period);
  /// The pose one step further on, position and quaternion; moves `nominal` on as well.
  Vector7 advance(const Vector7& expect, Vector7& nominal);
  bool ended() const { return now_ > 1.0 + stepMax_; }

 private:
  Vector7 step_;
  double stepMax_, now_ = 1.0;
};

/// The same along the circle from `start` through `via` to `end`, counter-clockwise.
class Arc {
 public:
  Arc(const Vector6& start, const Vector6& via, const Vector6& end, double speed, double period);
  Vector7 advance(const Vector7& expect, Vector7& nominal);
  bool ended() const { return now_ > 1.0 + stepMax_; }

 private:
  Eigen::Vector3d pointAt(double angle) const;

  Eigen::Isometry3d T_base_circle_;
  double radius_, sweep_;
  Eigen::Vector4d turnToVia_, turnToEnd_;
  double stepVia_, stepMax_, now_ = 1.0;
};

/// A tracking run along a `Path`.
template <typename Path>
class Tracking : public Run<Tracking<Path>> {
 public:
  Tracking(const Config& config, const Path& path, const Vector6& pathStart);

 private:
  using Base = Run<Tracking>;
  friend Base;
  void start(const Vector6& pose);
  Vector6 request() { return this->perAxisLaw(); }
  Vector6 correct(const Eigen::Isometry3d& T_base_expect, const Eigen::Isometry3d& T_offset);
  typename Base::Result result(const Eigen::Isometry3d& T_base_now, const Vector6& pose);

  Path path_;
  Vector6 pathStart_, jump_ = Vector6::Zero();
  Vector7 nominal_ = Vector7::Zero();
};

}  // namespace eigen_cycle

#endif
