// Recordings of poses and wrenches, read from CSV files.
#ifndef ZEL_FTC_EXAMPLES_RECORDING_H
#define ZEL_FTC_EXAMPLES_RECORDING_H

#include <string>
#include <vector>

#include "examples/common.h"

namespace example {

struct Sample {
  Pose pose;       ///< flange in the base, mm and rad
  Wrench reading;  ///< sensor frame, N and N m
};

/// Reads a recording: a header line with at least the columns x, y, z [mm], a, b, c [rad, about
/// Z, Y, X], fx, fy, fz [N], mx, my, mz [N m] in any order, one line per period. Other columns are
/// ignored. Throws std::runtime_error, naming file, line and column, for a missing or repeated
/// column, a line with too few or too many values, and everything that is not a finite number.
std::vector<Sample> readRecording(const std::string& path);

/// A recording behind the library: the recorded poses and readings go in, the corrected poses lead
/// nowhere.
class RecordingLink : public RobotLink {
 public:
  explicit RecordingLink(const std::vector<Sample>& samples) : samples_(samples) {}
  bool feed() override;
  Wrench read() override { return samples_.at(now_).reading; }
  Pose pose() override;
  Pose actual() override { return pose(); }
  void follow(const Pose&) override { ++now_; }

 private:
  const std::vector<Sample>& samples_;
  std::size_t now_ = 0;
};

}  // namespace example

#endif
