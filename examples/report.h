// What the examples make of a log: figures, a CSV with every cycle, a picture.
#ifndef ZEL_FTC_EXAMPLES_REPORT_H
#define ZEL_FTC_EXAMPLES_REPORT_H

#include <optional>
#include <string>
#include <vector>

#include "examples/common.h"

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

/// Statistics of the held force over the cycles of one run, its first `settling` seconds left out.
Statistics forceStatistics(const Log& log, const std::string& run, int axis, double settling = 0.0);

/// An approach in figures. Contact is what the library takes for it: force or torque of the control
/// frame beyond the switching values.
struct ApproachSummary {
  std::optional<std::size_t> contact;  ///< index of the first cycle in contact
  double contactTime = 0.0;            ///< s
  double settledForce = 0.0;           ///< mean held force of the last 20 cycles
  double overshoot = 0.0;              ///< N beyond the expected force, 0 if it never was
};
ApproachSummary summarise(const Log& log, const ApproachMode& mode);

/// Prints contact, settled force, overshoot and result code.
void print(const ApproachSummary& summary, const ApproachMode& mode, int code);

/// The text that belongs to a result code of a run.
std::string codeText(int code);

/// How the path was kept, seen along the direction `normal` of the force: deviation to the side of
/// the path, and the distance to its end point at the end. mm.
struct PathDeviation {
  Statistics side;
  double endPoint = 0.0;
};
PathDeviation lineDeviation(const Log& log, const Pose& start, const Pose& end);
PathDeviation arcDeviation(const Log& log, const Pose& start, const Pose& via, const Pose& end);

/// Writes every cycle. Columns: run; t [s]; x, y, z [mm], a, b, c [rad] the pose handed to the
/// library; fx..mz [N, N m] the raw reading; cfx..cmz the compensated wrench in the frame of the
/// mode; ax, ay, az [mm] where the flange was; code. The replay example reads these files.
std::string writeCsv(const std::string& folder, const std::string& name, const Log& log);

struct Mark {
  double time;
  std::string text;
};
/// The first contact of the approach and the end of every run, for the picture.
std::vector<Mark> marksOf(const Log& log, const ApproachMode& mode);

struct Picture {
  std::string title;
  int axis = 2;         ///< of the force shown
  double wanted = 0.0;  ///< expected force
  std::vector<Mark> marks = {};
  bool pathFromAbove = false;  ///< adds the path in the x-y plane
};
/// Writes <name>.csv and draws force and position over time into <name>.png with gnuplot; says so
/// when gnuplot is missing. The gnuplot commands stay beside the picture.
void record(const std::string& folder, const std::string& name, const Log& log,
            const Picture& picture);

/// Prints force statistics, deviation and result code of a tracking run ("line" or "arc").
void printTracking(const std::string& run, const Log& log, int axis, const PathDeviation& path,
                   int code);

/// Prints force statistics and deviation of a tracking run ("line" or "arc"), records the session
/// and prints the closing line. Gives the exit status.
int finishTracking(const std::string& run, const Session& session, const PathDeviation& path,
                   int code, const Options& options);

}  // namespace example

#endif
