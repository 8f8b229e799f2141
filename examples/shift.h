// The shift as a program: the example of this name, and the demonstration of zelftc.
#ifndef ZEL_FTC_EXAMPLES_SHIFT_H
#define ZEL_FTC_EXAMPLES_SHIFT_H

#include <string>
#include <vector>

#include "tools/command_line.h"

namespace example {

/// A simulated robot works a shift. `simulator`: the program that is sensor and robot, and the
/// arguments that it begins with.
zel::cli::Body addShift(CLI::App& app, const std::vector<std::string>& simulator);

}  // namespace example

#endif
