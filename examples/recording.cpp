#include "examples/recording.h"

#include <algorithm>

#include "sim/finite_csv.h"

namespace example {

std::vector<Sample> readRecording(const std::string& path) {
  std::vector<Sample> samples;
  for (const auto& row : zel::sim::readFiniteCsv<12>(
           path, {"x", "y", "z", "a", "b", "c", "fx", "fy", "fz", "mx", "my", "mz"},
           zel::sim::OtherColumns::ignored)) {
    Sample& sample = samples.emplace_back();
    std::copy_n(row.begin(), 6, sample.pose.begin());
    std::copy_n(row.begin() + 6, 6, sample.reading.begin());
  }
  return samples;
}

bool RecordingLink::feed() {
  if (now_ >= samples_.size()) return false;
  handIn(samples_[now_].reading);
  return true;
}

Pose RecordingLink::pose() {
  return samples_[std::min(now_, samples_.size() - 1)].pose;
}

}  // namespace example
