// Identify: weight and centre of mass of what hangs on the sensor, from ten poses, among noise and
// an unknown offset. The result goes to zel_ftc_setLoadData; afterwards the compensated wrench
// stays near zero wherever the robot turns.
#include <fmt/format.h>

#include "examples/common.h"
#include "examples/identification.h"
#include "examples/picture.h"
#include "examples/report.h"
#include "tools/command_line.h"

int main(int argc, char** argv) {
  example::Options options;
  CLI::App app{"Identifies the load on the sensor from ten poses."};
  example::addRobotOptions(app, options);
  example::addRealtimeOption(app, options);

  return zel::cli::run(app, argc, argv, [&] {
    zel::cli::KeptFile csv(options.out + "/identify.csv");
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
    const std::vector<example::LeftOver> samples = example::leftOver(robot, config.start);
    const double force = example::largest(samples, FX), torque = example::largest(samples, MX);

    // A reading and the zero reference differ by the noise of two readings.
    const double forceLimit = 0.2 + 7 * options.noise;
    const double torqueLimit = 0.02 + 7 * options.noise / 30;
    example::write(csv.stream(), samples);
    csv.keep();
    fmt::print("csv {}\n", csv.path());
    example::drawLeftOver(options.out, "identify",
                          "Readings at ten poses, and what the compensation leaves", csv.path(),
                          samples.size(), forceLimit, torqueLimit);
    const bool good = force < forceLimit && torque < torqueLimit;
    fmt::print("identify: {}, weight {:.1f} N, left over {:.1f} N and {:.2f} N m\n",
               good ? "end" : "failed", load.weight, force, torque);
    return good ? zel::cli::done : zel::cli::notAsWanted;
  });
}
