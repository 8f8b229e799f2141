// A wrench recorded with a real sensor, played back sample by sample.
#ifndef ZEL_FTC_SIM_RECORDING_H
#define ZEL_FTC_SIM_RECORDING_H

#include <optional>
#include <string>
#include <vector>

#include "sim/cell.h"

namespace zel::sim {

/// Six columns named fx, fy, fz (N), mx, my, mz (N m), in any order, one row per sample.
class Recording {
 public:
  enum class End {
    loop,  ///< starts over
    stop   ///< there is nothing after the last sample
  };

  /// Throws std::runtime_error that names the file, the line and the column of what is wrong: a
  /// missing, unknown or repeated column, a row that is too short or too long, a value that is not
  /// a finite number, no row at all.
  static Recording load(const std::string& path);

  /// The sample that holds `seconds` after the start when `rate` samples were taken per second.
  std::optional<Wrench> at(double seconds, double rate, End end) const;

  std::size_t size() const { return samples_.size(); }

 private:
  std::vector<Wrench> samples_;
};

}  // namespace zel::sim

#endif
