// demo: the shift example, with this very program as the simulator.
#include <filesystem>

#include "examples/shift.h"
#include "tools/zelftc/subcommands.h"

namespace zel::cli {

Body addDemo(CLI::App& app) {
  Body body = example::addShift(app, {std::filesystem::read_symlink("/proc/self/exe"), "simulate"});
  addExample(app, "--out out --force 15");
  return body;
}

}  // namespace zel::cli
