// Approach: the tool moves down until it touches a surface and presses with a steady force. The
// run ends with 80001 when the force has stayed within the break range for 20 cycles.
#include <fmt/format.h>

#include "examples/common.h"
#include "examples/report.h"

int main(int argc, char** argv) {
  example::Options options;
  CLI::App app{"A simulated robot approaches a surface until contact."};
  example::addOptions(app, options);

  return example::runMain(app, argc, argv, [&] {
    const zel::sim::CellConfig config = example::demoCell(options);
    zel::sim::Cell cell(config);
    example::CellLink robot(cell, options);

    // Open and initialise; period, mounting, load and limits; the zero reference at rest.
    const example::Library library;
    example::configure(example::setupOf(config, options));
    example::zero(robot);

    // The mode, then one call of zel_ftc_runApproach per period until it ends.
    const example::ApproachMode mode = example::approachMode(options);
    example::Log log;
    const int code = example::approach(robot, mode, {.period = options.period}, log);

    const example::ApproachSummary summary = example::summarise(log, mode);
    example::print(summary, mode, code);
    example::record(options.out, "approach", log,
                    {.title = "Approach",
                     .axis = mode.direction,
                     .wanted = mode.force,
                     .marks = example::marksOf(log, mode)});

    if (code != ZEL_RUN_END || !summary.contact) {
      fmt::print("approach: failed {}\n", code);
      return 1;
    }
    fmt::print("approach: end {}, contact {:.2f} s, force {:.1f} N\n", code, summary.contactTime,
               summary.settledForce);
    return 0;
  });
}
