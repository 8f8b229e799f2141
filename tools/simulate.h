// The simulated network sensor as a program: zel_sensor_sim, and a subcommand of zelftc.
#ifndef ZEL_FTC_TOOLS_SIMULATE_H
#define ZEL_FTC_TOOLS_SIMULATE_H

#include "tools/command_line.h"

namespace zel::cli {

/// A six-axis network force/torque sensor without hardware, on 127.0.0.1.
Body addSimulator(CLI::App& app);

}  // namespace zel::cli

#endif
