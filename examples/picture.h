// Pictures of the records, drawn with gnuplot.
#ifndef ZEL_FTC_EXAMPLES_PICTURE_H
#define ZEL_FTC_EXAMPLES_PICTURE_H

#include <string>
#include <vector>

#include "examples/report.h"

namespace example {

/// One sheet: a gnuplot script <name>.gp that draws <name>.png beside it. The numbers and texts set
/// are its variables; panels stand one below the other, each begins with eval(panel).
class Sheet {
 public:
  /// `csv`: what is drawn. `rows`: the number of panels.
  Sheet(const std::string& folder, const std::string& name, const std::string& title,
        const std::string& csv, int rows);
  void set(const std::string& variable, double value);
  void set(const std::string& variable, const std::string& text);
  /// Draws the panels and names the picture; or says what is missing, false, and an older picture
  /// stays. Throws when the script cannot be written, and when interrupted.
  bool draw(const std::string& panels);

 private:
  std::string base_, script_;
};

/// Two sheets of a log that stands in `csv`, <name>.png and <name>_axes.png. The first: force on
/// the main axis beside what the mode wants; the moments around the first contact, with commanded
/// step and phase; deviation from the path, and the path from above. The second: the other axes.
/// `recorded`: the robot did not follow, so that its motion is drawn beside the commanded step.
/// False when there is no picture, as for all that draw.
bool drawLog(const std::string& folder, const std::string& name, const std::string& title,
             const std::string& csv, const Log& log, const ApproachMode& mode, bool recorded);

/// Readings at poses in `csv` and what is left of them, and the limits that this is judged by; none
/// where those are not numbers.
bool drawLeftOver(const std::string& folder, const std::string& name, const std::string& title,
                  const std::string& csv, std::size_t poses, double forceLimit = none,
                  double torqueLimit = none);

/// The readings of a sensor over time: columns t, fx..mz.
bool drawReadings(const std::string& folder, const std::string& name, const std::string& title,
                  const std::string& csv, double seconds);

}  // namespace example

#endif
