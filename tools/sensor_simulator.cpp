// zel_sensor_sim: the simulated network sensor under its own name.
#include "tools/simulate.h"

int main(int argc, char** argv) {
  return zel::cli::run("zel_sensor_sim", zel::cli::addSimulator, argc, argv);
}
