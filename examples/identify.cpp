// Identify: weight and centre of mass of what hangs on the sensor, from ten poses, among noise and
// an unknown offset. The result goes to zel_ftc_setLoadData; afterwards the compensated wrench
// stays near zero wherever the robot turns.
#include <fmt/format.h>

#include "examples/common.h"
#include "examples/identification.h"

int main(int argc, char** argv) {
  example::Options options;
  CLI::App app{"Identifies the load on the sensor from ten poses."};
  example::addOptions(app, options);

  return example::runMain(app, argc, argv, [&] {
    const zel::sim::CellConfig config = example::demoCell(options);
    zel::sim::Cell cell(config);
    example::CellLink robot(cell, options);

    const zel::sim::Load load = example::identify(robot, config.start, config.flange_sensor);
    example::printLoads(load, config.load);

    // Over to the library: compensated wrenches at other poses than the one of the zero reference.
    const example::Library library;
    example::Setup setup = example::setupOf(config, options);
    setup.load = load;
    example::configure(setup);
    example::zero(robot);
    const auto [force, torque] = example::leftOver(robot, config.start);

    // A reading and the zero reference differ by the noise of two readings.
    const bool good = force < 0.2 + 7 * options.noise && torque < 0.02 + 7 * options.noise / 30;
    fmt::print("identify: {}, weight {:.1f} N, left over {:.1f} N and {:.2f} N m\n",
               good ? "end" : "failed", load.weight, force, torque);
    return good ? 0 : 1;
  });
}
