// The shift example as a program; what it does stands in shift.cpp.
#include <filesystem>

#include "examples/shift.h"

int main(int argc, char** argv) {
  const auto program = std::filesystem::read_symlink("/proc/self/exe");
  const auto simulator = program.parent_path() / "../tools/zel_sensor_sim";
  CLI::App app;
  const auto body = example::addShift(app, {simulator.lexically_normal().string()});
  return zel::cli::run(app, argc, argv, body);
}
