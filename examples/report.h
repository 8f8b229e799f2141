// What the examples make of a log: figures, a CSV with every cycle, pictures.
#ifndef ZEL_FTC_EXAMPLES_REPORT_H
#define ZEL_FTC_EXAMPLES_REPORT_H

#include <optional>
#include <string>
#include <vector>

#include "examples/common.h"
#include "tools/command_line.h"
#include "tools/kept_file.h"

namespace example {

/// The force held along an axis, counted like the expected force: minus the measured one.
inline double heldForce(const Cycle& cycle, int axis) {
  return 0.0 - cycle.control[axis];
}

struct Statistics {
  std::size_t count = 0;
  double mean = 0.0, deviation = 0.0, least = 0.0, greatest = 0.0;
};
Statistics statisticsOf(const std::vector<double>& values);

/// Statistics of the held force over the cycles of one run.
Statistics forceStatistics(const Log& log, const std::string& run, int axis);

/// An approach in figures. Contact is what the library takes for it: force or torque of the control
/// frame beyond the switching values.
struct ApproachSummary {
  std::optional<std::size_t> contact;  ///< index of the first cycle in contact
  double contactTime = 0.0;            ///< s
  double settledForce = 0.0;           ///< mean held force of the last 20 cycles
  double overshoot = 0.0;              ///< N beyond the expected force, 0 if it never was
  /// The impact: where the force was greatest before it dropped, and where least before it rose
  /// with the set point. Nothing when it did not drop.
  std::optional<Cycle> peak, drop;
};
ApproachSummary summarise(const Log& log, const ApproachMode& mode);

/// Prints contact, settled force, overshoot and how the run went.
void print(const ApproachSummary& summary, const ApproachMode& mode, const Outcome& outcome);

/// Prints force statistics, deviation from the path and how a tracking run ("line" or "arc") went.
void printTracking(const std::string& run, const Log& log, int axis, const Pose& end,
                   const Outcome& outcome);

/// Writes every cycle. Columns: run; t [s]; x, y, z [mm], a, b, c [rad] the pose handed to the
/// library; fx..mz [N, N m] the raw reading; cfx..cmz the compensated wrench in the frame of the
/// mode; ax, ay, az [mm] where the flange was; ox, oy, oz [mm], oa, ob, oc [rad] the pose sent to
/// the robot; px, py, pz [mm] planned and side [mm] of the path, where the flange was; wanted [N]
/// the force that the mode holds or seeks on its main axis, empty in free air; step, driven [mm/s,
/// rad/s] the motion along that axis, as sent and as the flange has moved since the cycle before;
/// phase of an approach; code. The replay example reads these files.
std::string writeCsv(const std::string& folder, const std::string& name, const Log& log);

/// Reads such a file. Throws std::runtime_error, naming file, line and column of what is wrong.
Log readLog(const std::string& path);

/// The records of a program: CSV and pictures.
class Records {
 public:
  /// Throws std::runtime_error when the folder cannot be written: before anything has moved.
  Records(std::string folder, std::string name);
  /// What came before an interruption or an error is kept: as CSV.
  ~Records();
  Records(const Records&) = delete;
  Records& operator=(const Records&) = delete;

  /// Writes and draws the log; `recorded` when the robot did not follow.
  void finish(const std::string& title, const ApproachMode& mode, bool recorded = false);

  Log log;

 private:
  void keepCsv();

  std::string folder_, name_;
  zel::cli::KeptFile csv_;
  bool open_ = true;
};

/// What a program that works with the simulated cell in this process starts with: records, cell,
/// link, the library opened, configured and zeroed.
struct Session {
  Session(const std::string& sessionName, const Options& sessionOptions);
  /// Approaches and prints the figures.
  Outcome approach();
  /// Prints the figures of a tracking run after the approach and the closing line. Exit code.
  zel::cli::Exit finishTracking(const Pose& end, const Outcome& outcome);
  /// Records, closing line and exit code of a program whose approach has not ended as it should.
  zel::cli::Exit finishWithoutContact(const Outcome& approach);

  std::string name;
  Options options;
  Records records;
  zel::sim::CellConfig config;
  zel::sim::Cell cell;
  CellLink robot;
  Library library;
  ApproachMode mode;
};

}  // namespace example

#endif
