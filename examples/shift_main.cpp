// The shift example as a program; what it does stands in shift.cpp.
#include <cstdio>
#include <exception>
#include <filesystem>

#include "examples/shift.h"

int main(int argc, char** argv) try {
  const auto program = std::filesystem::read_symlink("/proc/self/exe");
  const auto simulator = program.parent_path() / "../tools/zel_sensor_sim";
  CLI::App app;
  const auto body = example::addShift(app, {simulator.lexically_normal().string()});
  return zel::cli::run(app, argc, argv, body);
} catch (const std::exception& error) {  // before there is an app that could tell
  std::fprintf(stderr, "%s\n", error.what());
  return zel::cli::notPossible;
}
