#include "sim/recording.h"

#include <cmath>

#include "sim/finite_csv.h"

namespace zel::sim {

Recording Recording::load(const std::string& path) {
  Recording recording;
  recording.samples_ =
      readFiniteCsv<6>(path, {"fx", "fy", "fz", "mx", "my", "mz"}, OtherColumns::refused);
  return recording;
}

std::optional<Wrench> Recording::at(double seconds, double rate, End end) const {
  // A sample time that falls on a row in exact arithmetic must not land just before it.
  constexpr double rounding = 1e-6;
  const double row = std::floor(seconds * rate + rounding);
  const auto count = static_cast<double>(samples_.size());
  if (row >= count && end == End::stop) return std::nullopt;
  return samples_[static_cast<std::size_t>(std::fmod(row, count))];
}

}  // namespace zel::sim
